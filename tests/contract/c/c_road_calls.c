/* One file system through the plug-in, in the order of a snapshot, from C: every method that the plug-in has. */
#include <stdlib.h>
#include <string.h>

#include "bed/layout.h"
#include "c_case.h"

#define TABLE "/dev/sdb1 /data xfs rw,noatime 0 0\n"
#define SETTERS METHOD("setDevName", "") METHOD("setFsType", "") METHOD("setMntOpts", "")
#define COMMAND(line) "3 Command : " line "\n"
#define MKDIR(place) METHOD("createMntPoint", COMMAND("/bin/mkdir -p  \"" place "\""))
#define UMOUNT "/bin/umount  \"/data\""
#define NOT_MOUNTED "1 tarn_getmnt: device [/dev/sdb1] is not mounted\n"

static zfi_domain node;
static zfi_domain device;
static zfi_domain alt_node;
static znfi_objid** objects;
static znfi_objid* object;
static int number;
static zfi_blob blob;
static zfi_provider_list* providers;
static char fid[] = "fid";
static char xfs_freeze[] = "xfs_freeze";
static char path[] = BED_ROOT;
static char xfs[] = "xfs";

static int claim(void) {
    node.objid = make_objid("/data");
    number = -77;
    return call.claim(node.objid, &objects, &number);
}
static const char* nothing_handed_back(void) {
    return objects == NULL && number == 0 ? NULL : "sub-objects";
}

static int supports_fitype(void) {
    node.fiTypeResult = &number;
    return call.supports_fitype(&node, xfs_freeze);
}
static const char* is_one(void) {
    return number == 1 ? NULL : "the result is not 1";
}
static const char* is_zero(void) {
    return number == 0 ? NULL : "the result is not 0";
}

static int init_node(void) {
    write_mount_table(TABLE);
    return call.init_node(&node, NULL, 0, NULL);
}
static const char* node_is_whole(void) {
    return node.displayName == node.objid->name && node.characteristics == ZFI_CHARACTERISTICS &&
                   node.quiesce != NULL && strcmp(node.quiesce->method, "xfs_freeze") == 0 &&
                   node.quiesce->domain == &node
               ? NULL
               : "the node is not filled";
}

static int subobj_list(void) {
    return call.subobj_list(&node, &objects, &number);
}
static const char* has_the_device(void) {
    const char* wrong = number == 1 && strcmp(objects[0]->name, "/dev/sdb1") == 0 ? NULL : "not the device";
    znfi_free_buf(objects, (size_t)number * sizeof *objects);
    return wrong;
}

static int check_node_existence(void) {
    return call.check_node_existence(&node, &number);
}

static int quiesce(void) {
    return call.quiesce(node.quiesce, NULL, 0, NULL);
}
static int unquiesce(void) {
    zfi_quiescenode* list[] = {node.quiesce};
    call.unquiesce(NULL, list, 1);
    return 0;
}
static int cache_disable(void) {
    return call.cache_disable(&node);
}
static int cache_enable(void) {
    call.cache_enable(&node);
    return 0;
}

static int save_state(void) {
    return call.process_providerstate(&node, &blob, ZFI_STATE_SAVE);
}
static int restore_state(void) {
    int status = call.process_providerstate(&node, &blob, ZFI_STATE_RESTORE);
    znfi_free_buf(blob.data, blob.length);
    return status;
}

static int build_alttree(void) {
    znfi_objid* snapshots[] = {make_objid("/dev/sdc1")};
    return call.build_alttree(&node, fid, NULL, snapshots, 1, &object);
}
static int import_tree(void) {
    znfi_objid* snapshots[] = {make_objid("/dev/sdc1")};
    write_mount_table("/dev/sdc1 /data_alt xfs ro 0 0\n");
    return call.import_tree(&node, NULL, snapshots, 1, &object);
}
static const char* is_the_alternate_name(void) {
    return object != NULL && strcmp(object->name, "/data_alt") == 0 ? NULL : "not the alternate name";
}

static int init_altnode(void) {
    alt_node.objid = object;
    return call.init_altnode(NULL, NULL, &alt_node);
}
static int init_remnode(void) {
    return call.init_remnode(NULL, NULL, &alt_node);
}
static int reaccess_altnode(void) {
    return call.reaccess_altnode(&node, alt_node.objid, NULL, NULL, NULL, NULL, 0, ZFI_INTENT_DESTROY);
}

static int deport_tree(void) {
    zfi_accessnode access = {NULL, 1, 0};
    return call.deport_tree(&node, &alt_node, &access);
}
static int dispose(void) {
    return call.dispose(NULL, &alt_node, NULL, ZFI_DISPOSITION_REMOVE);
}

static int online(void) {
    write_mount_table("");
    return call.online(NULL, &node, ZFI_ONLINE_MOUNT, ZFI_DISPOSITION_KEEP);
}

static zfi_domain* devices[] = {&device, NULL};
static zfi_node_subobj_list list = {&node, devices, NULL, NULL};

static int disable_access(void) {
    write_mount_table(TABLE);
    device.objid = make_objid("/dev/sdb1");
    return call.disable_access(&list, 0);
}
static int enable_access(void) {
    write_mount_table("");
    return call.enable_access(&list, 0, 0, 0);
}
static const char* is_offline(void) {
    return (node.state & ZFI_STATE_OFFLINE) != 0 ? NULL : "not marked";
}
static const char* is_not_offline(void) {
    return (node.state & ZFI_STATE_OFFLINE) == 0 ? NULL : "still marked";
}

static int format(void) {
    char* names[] = {path};
    return call.format(names, 1, NULL, xfs, NULL, 0, NULL, NULL);
}

static char** paths;

static int online_resource(void) {
    char disk[] = "/dev/sdd1";
    char* names[] = {disk};
    return call.online_resource(names, 1, path, NULL, NULL, NULL, 0, &paths, &number);
}
static const char* gives_the_path(void) {
    const char* wrong = number == 1 && strcmp(paths[0], BED_ROOT) == 0 ? NULL : "not the path";
    znfi_free_buf(paths[0], strlen(paths[0]) + 1);
    free(paths);
    return wrong;
}

static int is_parent_pgn(void) {
    number = -77;
    return call.is_parent_pgn(path, &number, 0);
}
static const char* is_untouched(void) {
    return number == -77 ? NULL : "the result was written";
}

static int get_provider_info(void) {
    return call.get_provider_info(&providers);
}
static const char* is_tarnfi(void) {
    const char* wrong = providers != NULL && strcmp(providers->name, "tarnfi") == 0 ? NULL : "another provider";
    znfi_free_providerlist(providers);
    return wrong;
}

static int deinit_node(void) {
    call.deinit_node(&node);
    call.deinit_node(&alt_node);
    return 0;
}
static const char* node_is_bare(void) {
    return node.quiesce == NULL && node.privateData == NULL && alt_node.privateData == NULL ? NULL
                                                                                            : "something is left";
}

#define FOUND(device, options) "6 mnt_fsname [" device "]\n6 fstype [xfs]\n6 mnt_opts [" options "]\n" SETTERS
#define STATE                                                                                                 \
    "<DEV_NAME>/dev/sdb1</DEV_NAME>\n<FS_TYPE>xfs</FS_TYPE>\n<FS_VERSION></FS_VERSION><MNT_OPTS>rw,noatime</" \
    "MNT_OPTS>\n"                                                                                             \
    "<ALT_NAME></ALT_NAME>\n"
#define MOUNT_ALT "/bin/mount  -o ro,nouuid \"/dev/sdc1\" \"/data_alt\""
#define MOUNT_RESOURCE "/bin/mount  \"/dev/sdd1\" \"" BED_ROOT "\""

const struct c_case road_cases[] = {
    {"claim", claim, 0, ENTRY("claim", METHOD("claim", "")), nothing_handed_back},
    {"supports_fitype", supports_fitype, 1, ENTRY("supports_fitype", METHOD("supportsFiType", "")), is_one},
    {"init_node", init_node, 0, ENTRY("init_node", METHOD("initNode", FOUND("/dev/sdb1", "rw,noatime"))),
     node_is_whole},
    {"subobj_list", subobj_list, 0, BASE("subobj_list"), has_the_device},
    {"check_node_existence", check_node_existence, 0,
     ENTRY("check_node_existence", METHOD("checkNodeExistence", "3 name : /data\n")), is_zero},
    {"quiesce", quiesce, 0, ENTRY("quiesce", METHOD("quiesce", COMMAND("/usr/sbin/xfs_freeze -f  /data"))), NULL},
    {"unquiesce", unquiesce, 0, ENTRY("unquiesce", METHOD("unquiesce", COMMAND("/usr/sbin/xfs_freeze -u  /data"))),
     NULL},
    {"cache_disable", cache_disable, 0,
     ENTRY("cache_disable",
           METHOD("cacheDisable", COMMAND("/bin/mount -o remount,sync,rw,noatime \"/dev/sdb1\" \"/data\""))),
     NULL},
    {"cache_enable", cache_enable, 0,
     ENTRY("cache_enable", METHOD("cacheEnable", COMMAND("/bin/mount -o remount,rw,noatime \"/dev/sdb1\" \"/data\""))),
     NULL},
    {"save state", save_state, 0,
     ENTRY("process_providerstate", METHOD("processProviderState", "3 getNodeState: [" STATE "] [133]:[" STATE
                                                                   "] [134], mnt_opts=[rw,noatime]\n")),
     NULL},
    {"restore state", restore_state, 0, ENTRY("process_providerstate", METHOD("processProviderState", "")), NULL},
    {"build_alttree", build_alttree, 0,
     ENTRY("build_alttree", METHOD("buildAltTree", MKDIR("/data_alt") COMMAND(MOUNT_ALT) METHOD("setAltName", ""))),
     is_the_alternate_name},
    {"import_tree", import_tree, 0,
     ENTRY("import_tree", METHOD("importTreeNode",
                                 "3 Info, import tree node: /data, rw,noatime, null, null, /data_alt\n"
                                 "3 Info, import tree altTreeNodeIds: /dev/sdc1 \n")),
     is_the_alternate_name},
    {"init_altnode", init_altnode, 0, ENTRY("init_altnode", METHOD("initAltNode", FOUND("/dev/sdc1", "ro"))), NULL},
    {"init_remnode", init_remnode, 0, ENTRY("init_remnode", METHOD("initAltNode", FOUND("/dev/sdc1", "ro"))), NULL},
    {"reaccess_altnode", reaccess_altnode, 0, ENTRY("reaccess_altnode", METHOD("reAccessAltNode", "")), NULL},
    {"deport_tree", deport_tree, 0,
     ENTRY("deport_tree", METHOD("deportTree", COMMAND("/bin/umount  \"/data_alt\"") COMMAND("/bin/rmdir  /data_alt"))),
     NULL},
    {"dispose", dispose, 0,
     ENTRY("dispose",
           METHOD("dispose",
                  METHOD("online", COMMAND("/bin/umount  /data_alt") COMMAND(
                                       "/bin/rmdir  /data_alt")) "1 CTARNPlugin::dispose: error from online()\n")),
     NULL},
    {"online", online, 0,
     ENTRY("online",
           METHOD("online", NOT_MOUNTED MKDIR("/data") COMMAND("/bin/mount  -o rw,noatime \"/dev/sdb1\" \"/data\""))),
     NULL},
    {"disable_access", disable_access, 0,
     ENTRY("disable_access",
           METHOD("disableAccess",
                  METHOD("unmountDevice", "3 unmountDevice - Command : " UMOUNT
                                          "\n" METHOD("executeCommand", "6 executeCommand - Command : " UMOUNT "\n")))),
     is_offline},
    {"enable_access", enable_access, 0,
     ENTRY("enable_access", METHOD("enableAccess", NOT_MOUNTED MKDIR("/data")
                                                       COMMAND("/bin/mount  -o rw,noatime \"/dev/sdb1\" \"/data\""))),
     is_not_offline},
    {"format", format, 0, ENTRY("format", METHOD("format", "3 TARN::format - type = xfs\n")), NULL},
    {"online_resource", online_resource, 0,
     ENTRY("online_resource",
           METHOD("onlineResource",
                  "6 Calling znfs_getmnt for :/dev/sdd1\n1 tarn_getmnt: device [/dev/sdd1] is not mounted\n"
                  "3 TARN::onlineResource - mount command = " MOUNT_RESOURCE
                  "\n" METHOD("executeCommand", "6 executeCommand - Command : " MOUNT_RESOURCE "\n")
                      METHOD("createPathAndAllocBuffer", ""))),
     gives_the_path},
    {"is_parent_pgn", is_parent_pgn, 0, ENTRY("is_parent_pgn", METHOD("isParentPgn", METHOD("isDeviceAccessible", ""))),
     is_untouched},
    {"get_provider_info", get_provider_info, 0, ENTRY("get_provider_info", METHOD("getProviderInfo", "")), is_tarnfi},
    {"deinit_node", deinit_node, 0, BASE("deinit_node") BASE("deinit_node"), node_is_bare},
    {NULL, NULL, 0, NULL, NULL},
};
