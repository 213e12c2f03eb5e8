// The session's snapshot names become object ids: make, where ids or memory cannot be had.
#include "bed/row.h"

namespace {

using namespace bed;

// Two nodes of a session of the row's own, in a list; the snapshot objects of both are named.
struct Snapshots {
    Snapshots(Bed& bed, const char* name) : session(bed.text(name)) {
        split[0].domain = bed.node("/data");
        split[1].domain = bed.node("/logs");
        bed.call().preselect(nullptr, session, list, 2);
        tell(bed, 0, "/dev/snapA");
        tell(bed, 1, "/dev/snapB");
    }
    void tell(Bed& bed, int node, const char* snapshot) {
        zfi_snapreplica_ele element{split[node].domain->objid, Bed::objid(snapshot), nullptr, 0, 0};
        EXPECT_EQ(bed.call().update_snapshot_handle(session, &element), ZFI_OK);
    }

    char* session;
    zfi_splitnode split[2]{};
    zfi_splitnode* list[2] = {&split[0], &split[1]};
};

int makeBoth(Bed& bed, const char* session, const Faults& faults) {
    Snapshots snapshots(bed, session);
    bed.begin({});
    bed.outObjects = reinterpret_cast<znfi_objid**>(&bed);
    setFaults(faults);
    const int status = bed.call().make(nullptr, snapshots.session, snapshots.list, 2, &bed.outObjects, &bed.outInt);
    clearFaults();
    EXPECT_EQ(snapshots.split[0].domain->state, ZFI_STATE_MADE);
    EXPECT_EQ(snapshots.split[1].domain->state, ZFI_STATE_MADE);
    return status;
}

void countWithoutIds(Bed& bed) {
    EXPECT_EQ(bed.outInt, 2);
    EXPECT_EQ(bed.outObjects, nullptr);
}

const Row kMake[] = {
    {.name = "two_named_snapshots_are_two_ids_in_order",
     .call = [](Bed& bed) { return makeBoth(bed, "make two", {}); },
     .trace = entry("make", {}),
     .after =
         [](Bed& bed) {
             ASSERT_EQ(bed.outInt, 2);
             EXPECT_STREQ(bed.outObjects[0]->name, "/dev/snapA");
             EXPECT_STREQ(bed.outObjects[1]->name, "/dev/snapB");
             znfi_free_buf(bed.outObjects, 2 * sizeof *bed.outObjects);
         }},
    {.name = "no_memory_for_the_array_answers_0_the_count_and_no_ids",
     .call = [](Bed& bed) { return makeBoth(bed, "make without memory", {.noBufferAtCall = 1}); },
     .trace = entry("make", {}),
     .after = countWithoutIds},
    {.name = "one_id_that_cannot_be_made_answers_0_the_count_and_no_ids",
     .call = [](Bed& bed) { return makeBoth(bed, "make without id", {.noObjidFor = "/dev/snapB"}); },
     .trace = entry("make", {}),
     .after = countWithoutIds},
};
CONTRACT_TABLE(Make, kMake);

}  // namespace
