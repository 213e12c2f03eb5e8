// What the provider is, and a node's state in and out of the framework's keeping.
#include <cstring>

#include "bed/row.h"

namespace {

using namespace bed;

Trace processes(const Trace& inside) {
    return entry("process_providerstate", method("processProviderState", inside));
}

int process(Bed& bed, int operation, zfi_blob* blob) {
    return bed.call().process_providerstate(bed.lastNode(), blob, static_cast<zfi_op_providerstate>(operation));
}

const State kState = {.device = "/dev/sdb1", .type = "ext3", .options = "rw", .altName = "/mnt/x_alt"};
const std::string kText =
    "<DEV_NAME>/dev/sdb1</DEV_NAME>\n<FS_TYPE>ext3</FS_TYPE>\n<FS_VERSION></FS_VERSION><MNT_OPTS>rw</MNT_OPTS>\n"
    "<ALT_NAME>/mnt/x_alt</ALT_NAME>\n";

// Restoring calls the five setters or assigns the fields: the text alone tells.
int restoreText(Bed& bed, std::string content, int encoding = ZFI_BLOB_TEXT) {
    zfi_blob blob{content.size() + 1, content.data(), encoding, 0};
    return process(bed, ZFI_STATE_RESTORE, &blob);
}

Row restores(const char* name, const std::string& content, const State& expected) {
    return {.name = name,
            .before = [](Bed& bed) { bed.restored("/data", kState); },
            .call = [content](Bed& bed) { return restoreText(bed, content); },
            .trace = processes({}),
            .after = [expected](Bed& bed) { EXPECT_EQ(bed.stateOf(bed.lastNode()), expected.text()); }};
}

void keepsState(Bed& bed) {
    EXPECT_EQ(bed.stateOf(bed.lastNode()), kText);
}

const Row kState_[] = {
    {.name = "the_saved_text_is_four_lines_with_version_and_options_on_one",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .call = [](Bed& bed) { return process(bed, ZFI_STATE_SAVE, &bed.blob); },
     .trace = processes(progress("getNodeState: [" + kText + "] [" + std::to_string(kText.size()) + "]:[" + kText +
                                 "] [" + std::to_string(kText.size() + 1) + "], mnt_opts=[rw]")),
     .after =
         [](Bed& bed) {
             EXPECT_STREQ(bed.blob.data, kText.c_str());
             EXPECT_EQ(bed.blob.length, kText.size() + 1);
             EXPECT_EQ(bed.blob.encoding, ZFI_BLOB_TEXT);
         }},
    restores("a_restored_state_is_the_saved_one", kState.text(), kState),
    restores("empty_values_come_back_empty", State{}.text(), {}),
    restores("all_five_values_come_back", State{"server:/x", "nfs4", "4", "rw,hard", "/x_alt"}.text(),
             {"server:/x", "nfs4", "4", "rw,hard", "/x_alt"}),
    restores("a_value_that_holds_its_closing_tag_is_cut",
             "<DEV_NAME>a</DEV_NAME>b</DEV_NAME>\n<FS_TYPE></FS_TYPE>\n<FS_VERSION></FS_VERSION><MNT_OPTS></MNT_OPTS>\n"
             "<ALT_NAME></ALT_NAME>\n",
             {.device = "a"}),
    restores("a_closing_tag_before_its_opening_tag_reaches_to_the_end",
             "</ALT_NAME><DEV_NAME>d</DEV_NAME><FS_TYPE>t</FS_TYPE><FS_VERSION>1</FS_VERSION><MNT_OPTS>o</MNT_OPTS>"
             "<ALT_NAME>rest of it",
             {"d", "t", "1", "o", "rest of it"}),
    restores("a_missing_opening_tag_takes_the_text_from_the_tags_length_on",
             "0123456789device</DEV_NAME><FS_TYPE>t</FS_TYPE><FS_VERSION>1</FS_VERSION><MNT_OPTS>o</MNT_OPTS>"
             "<ALT_NAME>a</ALT_NAME>",
             {"9device", "t", "1", "o", "a"}),
    {.name = "another_encoding_changes_nothing_and_is_said_once",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .call = [](Bed& bed) { return restoreText(bed, State{.device = "/dev/other"}.text(), 2); },
     .trace = processes(warning("setNodeState() Blob uses non-string encoding.")),
     .after = keepsState},
    {.name = "a_length_of_0_changes_nothing_and_says_nothing",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .call =
         [](Bed& bed) {
             zfi_blob blob{0, bed.text("<DEV_NAME>x</DEV_NAME>"), ZFI_BLOB_TEXT, 0};
             return process(bed, ZFI_STATE_RESTORE, &blob);
         },
     .trace = processes({}),
     .after = keepsState},
    {.name = "restoring_from_null_data_is_refused",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .call =
         [](Bed& bed) {
             zfi_blob blob{10, nullptr, ZFI_BLOB_TEXT, 0};
             return process(bed, ZFI_STATE_RESTORE, &blob);
         },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = processes(error("CTARNPlugin::processProviderState: either blob or blob->data is NULL")),
     .after = keepsState},
    {.name = "restoring_from_a_null_blob_is_refused",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .call = [](Bed& bed) { return process(bed, ZFI_STATE_RESTORE, nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = processes(error("CTARNPlugin::processProviderState: either blob or blob->data is NULL")),
     .after = keepsState},
    {.name = "saving_into_a_null_blob_is_the_private_datas_to_refuse",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .call = [](Bed& bed) { return process(bed, ZFI_STATE_SAVE, nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = processes({}),
     .after = keepsState},
    {.name = "a_failure_of_the_private_data_is_the_answer",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .faults = {.noBufferAtCall = 1},
     .call =
         [](Bed& bed) {
             bed.blob.length = 77;
             return process(bed, ZFI_STATE_SAVE, &bed.blob);
         },
     .status = ZFI_ERR_NO_MEMORY,
     .trace = processes({}),
     .after =
         [](Bed& bed) {
             EXPECT_EQ(bed.blob.data, nullptr);
             EXPECT_EQ(bed.blob.length, 77U) << "a blob that cannot be filled is left alone";
             keepsState(bed);
         }},
    {.name = "what_the_blob_held_before_is_the_frameworks",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .call =
         [](Bed& bed) {
             auto* old = static_cast<char*>(znfi_alloc_buf(sizeof "old"));
             std::strcpy(old, "old");
             bed.blob = {sizeof "old", old, 2, 0};
             const int status = process(bed, ZFI_STATE_SAVE, &bed.blob);
             EXPECT_NE(bed.blob.data, old);
             EXPECT_STREQ(old, "old");
             znfi_free_buf(old, sizeof "old");  // a second time would be counted
             return status;
         },
     .trace = processes(progress("getNodeState: [" + kText + "] [" + std::to_string(kText.size()) + "]:[" + kText +
                                 "] [" + std::to_string(kText.size() + 1) + "], mnt_opts=[rw]")),
     .after =
         [](Bed& bed) {
             EXPECT_STREQ(bed.blob.data, kText.c_str());
             EXPECT_EQ(bed.blob.length, kText.size() + 1);
             EXPECT_EQ(bed.blob.encoding, ZFI_BLOB_TEXT);
         }},
    {.name = "any_other_operation_does_nothing",
     .before = [](Bed& bed) { bed.restored("/data", kState); },
     .call = [](Bed& bed) { return process(bed, 2, nullptr); },
     .trace = processes({}),
     .after = keepsState},
    {.name = "a_new_node_saves_empty_values",
     .before = [](Bed& bed) { bed.node("/new"); },
     .call = [](Bed& bed) { return process(bed, ZFI_STATE_SAVE, &bed.blob); },
     .trace =
         processes(progress("getNodeState: [" + State{}.text() + "] [" + std::to_string(State{}.text().size()) + "]:[" +
                            State{}.text() + "] [" + std::to_string(State{}.text().size() + 1) + "], mnt_opts=[]"))},
};
CONTRACT_TABLE(ProviderState, kState_);

// A text that is shorter than where a value would start: the library's own range error leaves the entry point. Values
// read before it stay, and the scopes are closed.
TEST(ProviderStateEscape, a_text_that_is_too_short_leaves_a_range_error) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    bed.restored("/data", kState);
    bed.begin({});
    EXPECT_THROW(restoreText(bed, "012345678"), std::out_of_range);
    EXPECT_EQ(takeTrace().render(), processes({}).render());
    EXPECT_EQ(renderMessages(bed.call()), "");
    State partly = kState;
    partly.device = "";
    partly.type = "8";
    EXPECT_EQ(bed.stateOf(bed.lastNode()), partly.text());
}

std::vector<std::string> typesOf(const zfi_provider_list* list) {
    std::vector<std::string> types;
    for (char** type = list->fiTypes; *type != nullptr; ++type) {
        types.emplace_back(*type);
    }
    return types;
}

TEST(ProviderInfo, lists_exactly_five_types_and_version_7) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    Bed bed;
    bed.begin({});
    zfi_provider_list* list = nullptr;
    ASSERT_EQ(bed.call().get_provider_info(&list), ZFI_OK);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(takeTrace().render(), entry("get_provider_info", method("getProviderInfo")).render());
    EXPECT_EQ(list->next, nullptr);
    EXPECT_STREQ(list->name, "tarnfi");
    EXPECT_EQ(list->capabilities, 16U);
    EXPECT_EQ(list->kind, 2U);
    EXPECT_EQ(list->version.major, 7);
    EXPECT_EQ(list->version.minor, 0);
    EXPECT_EQ(list->version.update, 0);
    EXPECT_EQ(list->version.build, 0);
    EXPECT_EQ(typesOf(list), (std::vector<std::string>{"ext2", "ext3", "jfs", "reiserfs", "xfs"}));
    znfi_free_providerlist(list);
}

int infoInto(Bed& bed) {
    auto* list = reinterpret_cast<zfi_provider_list*>(&bed);
    const int status = bed.call().get_provider_info(&list);
    EXPECT_EQ(list, nullptr);
    return status;
}

const Row kInfo[] = {
    {.name = "a_framework_that_cannot_build_a_record_gets_an_empty_list",
     .faults = {.noProviderNode = true},
     .call = infoInto,
     .trace = entry("get_provider_info", method("getProviderInfo"))},
    {.name = "the_list_is_null_after_a_failure",
     .faults = {.raise = [] { throw 42; }},
     .call = infoInto,
     .status = ZFI_ERR_FAILED,
     .trace = entry("get_provider_info", method("getProviderInfo")),
     .messages = {{"MSG_ERROR_UNHANDLED_INT_EXCEPTION", {"42", "providers/tarn/tarn_plugin", "#"}}}},
    {.name = "a_null_list_is_refused",
     .call = [](Bed& bed) { return bed.call().get_provider_info(nullptr); },
     .status = ZFI_ERR_INVALID_ARGUMENT,
     .trace = entry("get_provider_info", {})},
};
CONTRACT_TABLE(ProviderInfoFailure, kInfo);

Row supports(const char* name, const char* type, int answer) {
    return {.name = name,
            .call =
                [type](Bed& bed) {
                    Node& node = bed.node("/data");
                    node->fiTypeResult = &bed.outInt;
                    return bed.call().supports_fitype(node, bed.text(type));
                },
            .status = answer,
            .trace = entry("supports_fitype", method("supportsFiType")),
            .after = [answer](Bed& bed) { EXPECT_EQ(bed.outInt, answer); }};
}

const Row kSupports[] = {
    supports("any", "any", 1),
    supports("ufs_lockfs", "ufs_lockfs", 1),
    supports("xfs_freeze", "xfs_freeze", 1),
    supports("not_ufs", "ufs", 0),
    supports("not_capitals", "XFS_FREEZE", 0),
    supports("not_a_longer_name", "xfs_freeze2", 0),
    supports("not_an_empty_name", "", 0),
    {.name = "not_a_null_type",
     .call =
         [](Bed& bed) {
             bed.node("/data")->fiTypeResult = &bed.outInt;
             return bed.call().supports_fitype(bed.lastNode(), nullptr);
         },
     .trace = entry("supports_fitype", method("supportsFiType"))},
    {.name = "not_a_null_node_and_no_result_pointer",
     .call =
         [](Bed& bed) {
             return bed.call().supports_fitype(nullptr, bed.text("any")) +
                    bed.call().supports_fitype(bed.node("/data"), bed.text("any"));
         },
     .trace = {entry("supports_fitype", method("supportsFiType")), entry("supports_fitype", method("supportsFiType"))}},
};
CONTRACT_TABLE(SupportsFiType, kSupports);

}  // namespace
