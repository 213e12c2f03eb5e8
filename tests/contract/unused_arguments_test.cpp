// Arguments that a method does not use: whatever stands there, even what points nowhere, makes no difference.
#include <cstring>

#include "bed/layout.h"
#include "bed/row.h"

namespace {

using namespace bed;

template <typename T>
T* nowhere() {
    return reinterpret_cast<T*>(static_cast<uintptr_t>(0x10));
}

Trace found(const std::string& options) {
    return {detail("mnt_fsname [/dev/sdb1]"), detail("fstype [ext3]"), detail("mnt_opts [" + options + "]"),
            recordsMount()};
}

void restored(Bed& bed) {
    bed.restored("/data", {.device = "/dev/sdb1", .type = "xfs", .options = "rw"});
}

const char* const kTable = "/dev/sdb1 /data ext3 rw 0 0\n";
const Trace kMakesPoint = primitive("createMntPoint", "/bin/mkdir -p  \"/data_alt\"");
const Command kMkdir = {"/bin/mkdir", "-p", "/data_alt"};
const Command kMount = {"/bin/mount", "-o", "ro,nouuid", "/dev/sdc1", "/data_alt"};
const std::string kMountText = "/bin/mount  -o ro,nouuid \"/dev/sdc1\" \"/data_alt\"";

const Row kUnused[] = {
    {.name = "init_node_looks_at_its_node_only",
     .host = {.mountTable = kTable},
     .call =
         [](Bed& bed) {
             return bed.call().init_node(bed.node("/data"), nowhere<zfi_domain*>(), -1, nowhere<znfi_objid>());
         },
     .trace = entry("init_node", method("initNode", found("rw")))},
    {.name = "init_altnode_looks_at_its_target_only",
     .host = {.mountTable = kTable},
     .call =
         [](Bed& bed) {
             return bed.call().init_altnode(nowhere<zfi_domain>(), nowhere<zfi_domain>(), bed.node("/data"));
         },
     .trace = entry("init_altnode", method("initAltNode", found("rw")))},
    {.name = "is_parent_pgn_ignores_its_third",
     .call = [](Bed& bed) { return bed.call().is_parent_pgn(bed.text("/none"), &bed.outInt, -1); },
     .trace = entry("is_parent_pgn", method("isParentPgn", method("isDeviceAccessible")))},
    {.name = "quiesce_ignores_count_and_options",
     .before = restored,
     .call =
         [](Bed& bed) {
             zfi_quiescenode record{nullptr, bed.lastNode(), nullptr};
             zfi_quiescenode* list[] = {&record};
             return bed.call().quiesce(nowhere<zfi_quiescenode>(), list, -1, nowhere<char>());
         },
     .trace = entry("quiesce", method("quiesce", progress("Command : /usr/sbin/xfs_freeze -f  /data"))),
     .commands = {{"/usr/sbin/xfs_freeze", "-f", "/data"}}},
    {.name = "unquiesce_ignores_the_count",
     .before = restored,
     .call =
         [](Bed& bed) {
             zfi_quiescenode record{nullptr, bed.lastNode(), nullptr};
             zfi_quiescenode* list[] = {&record};
             bed.call().unquiesce(nowhere<zfi_quiescenode>(), list, -1);
             return 0;
         },
     .trace = entry("unquiesce", method("unquiesce", progress("Command : /usr/sbin/xfs_freeze -u  /data"))),
     .commands = {{"/usr/sbin/xfs_freeze", "-u", "/data"}}},
    {.name = "build_alttree_ignores_source_objects_and_count",
     .before = restored,
     .call =
         [](Bed& bed) {
             znfi_objid* snapshots[] = {Bed::objid("/dev/sdc1"), nowhere<znfi_objid>()};
             return bed.call().build_alttree(bed.lastNode(), nowhere<char>(), nowhere<znfi_objid*>(), snapshots, -1,
                                             &bed.outObject);
         },
     .trace = entry("build_alttree",
                    method("buildAltTree", {kMakesPoint, progress("Command : " + kMountText), method("setAltName")})),
     .commands = {kMkdir, kMount}},
    {.name = "import_tree_ignores_source_objects_and_count",
     .before = restored,
     .call =
         [](Bed& bed) {
             znfi_objid* snapshots[] = {Bed::objid("/dev/sdc1"), nowhere<znfi_objid>()};
             return bed.call().import_tree(bed.lastNode(), nowhere<znfi_objid*>(), snapshots, -1, &bed.outObject);
         },
     .trace = entry("import_tree", method("importTreeNode",
                                          {progress("Info, import tree node: /data, rw, null, null, "),
                                           progress("Info, import tree altTreeNodeIds: /dev/sdc1 "),
                                           error("tarn_get_mntent_value: device [] is not mounted"), kMakesPoint,
                                           progress("Info, import tree node: mount with command [" + kMountText + "]"),
                                           method("setAltName")})),
     .commands = {kMkdir, kMount}},
    {.name = "reaccess_altnode_looks_at_object_and_intent_only",
     .call =
         [](Bed& bed) {
             return bed.call().reaccess_altnode(nowhere<zfi_domain>(), Bed::objid("/"), nowhere<znfi_objid>(),
                                                nowhere<char>(), nowhere<znfi_objid*>(), nowhere<znfi_objid*>(), -1,
                                                ZFI_INTENT_READ);
         },
     .trace = entry("reaccess_altnode", method("reAccessAltNode"))},
    {.name = "deport_tree_looks_at_its_node_for_a_text_only",
     .call =
         [](Bed& bed) {
             bed.access.imported = -1;
             return bed.call().deport_tree(nowhere<zfi_domain>(), bed.node("/data_alt"), &bed.access);
         },
     .trace = entry("deport_tree", method("deportTree"))},
    {.name = "deport_tree_with_flag_0_looks_at_no_node",
     .call =
         [](Bed& bed) {
             bed.access.imported = 0;
             return bed.call().deport_tree(nowhere<zfi_domain>(), nowhere<zfi_domain>(), &bed.access);
         },
     .trace = entry("deport_tree", method("deportTree"))},
    {.name = "online_ignores_the_parent",
     .call =
         [](Bed& bed) {
             return bed.call().online(nowhere<zfi_domain>(), bed.node("/data"), ZFI_ONLINE_UMOUNT,
                                      ZFI_DISPOSITION_KEEP);
         },
     .trace = entry("online", method("online"))},
    {.name = "dispose_ignores_parent_and_split_node",
     .call =
         [](Bed& bed) {
             return bed.call().dispose(nowhere<zfi_domain>(), bed.node("/data"), nowhere<zfi_splitnode>(),
                                       ZFI_DISPOSITION_REMOVE);
         },
     .trace =
         entry("dispose", method("dispose", {method("online"), error("CTARNPlugin::dispose: error from online()")}))},
    {.name = "dispose_that_does_nothing_looks_at_nothing",
     .call =
         [](Bed& bed) {
             return bed.call().dispose(nowhere<zfi_domain>(), nowhere<zfi_domain>(), nowhere<zfi_splitnode>(),
                                       ZFI_DISPOSITION_KEEP);
         },
     .trace = entry("dispose", method("dispose"))},
    {.name = "format_reads_neither_count_nor_reserved_nor_out_values",
     .call =
         [](Bed& bed) {
             char* devices[] = {bed.text("/dev/sdc1"), nowhere<char>()};
             return bed.call().format(devices, -1, nowhere<char>(), bed.text("xfs"), nullptr, ~1, nowhere<char**>(),
                                      nowhere<int>());
         },
     .trace = entry("format", method("format", progress("TARN::format - type = xfs")))},
    {.name = "online_resource_ignores_count_name_extra_and_flags",
     .call =
         [](Bed& bed) {
             char* devices[] = {bed.text("/dev/sdc1"), nowhere<char>()};
             return bed.call().online_resource(devices, -1, bed.text(BED_ROOT), nowhere<char>(), nullptr,
                                               nowhere<char>(), -1, &bed.outPaths, &bed.outInt);
         },
     .trace = entry(
         "online_resource",
         method("onlineResource",
                {detail("Calling znfs_getmnt for :/dev/sdc1"), error("tarn_getmnt: device [/dev/sdc1] is not mounted"),
                 progress("TARN::onlineResource - mount command = /bin/mount  \"/dev/sdc1\" \"" BED_ROOT "\""),
                 executes("/bin/mount  \"/dev/sdc1\" \"" BED_ROOT "\""), method("createPathAndAllocBuffer")})),
     .commands = {{"/bin/mount", "/dev/sdc1", BED_ROOT}},
     .after =
         [](Bed& bed) {
             znfi_free_buf(bed.outPaths[0], std::strlen(bed.outPaths[0]) + 1);
             std::free(bed.outPaths);
         }},
};
CONTRACT_TABLE(UnusedArguments, kUnused);

}  // namespace
