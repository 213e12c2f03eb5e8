/* Every entry point but fini with nothing but null pointers: nobody is harmed, and only the scope lines are written
 * where the contract names no other. */
#include "c_case.h"

/* CALL(name, (arguments)) and, for entries without a status, VOID_CALL. */
#define CALL(name, arguments)         \
    static int name##_of_null(void) { \
        return call.name arguments;   \
    }
#define VOID_CALL(name, arguments)    \
    static int name##_of_null(void) { \
        call.name arguments;          \
        return 0;                     \
    }

CALL(init, (NULL, NULL, NULL))
CALL(claim, (NULL, NULL, NULL))
CALL(supports_fitype, (NULL, NULL))
CALL(errmsg, (0, NULL))
CALL(init_node, (NULL, NULL, 0, NULL))
CALL(init_altnode, (NULL, NULL, NULL))
CALL(init_remnode, (NULL, NULL, NULL))
CALL(import_tree, (NULL, NULL, NULL, 0, NULL))
CALL(deport_tree, (NULL, NULL, NULL))
CALL(pre_prepare, (NULL))
CALL(reaccess_tmpobj, (NULL, NULL, NULL, NULL, NULL, ZFI_INTENT_NONE))
CALL(reaccess_altnode, (NULL, NULL, NULL, NULL, NULL, NULL, 0, ZFI_INTENT_NONE))
CALL(config, (NULL, 0, NULL, NULL))
VOID_CALL(deinit_node, (NULL))
CALL(dispose, (NULL, NULL, NULL, ZFI_DISPOSITION_KEEP))
CALL(online, (NULL, NULL, ZFI_ONLINE_MOUNT, ZFI_DISPOSITION_KEEP))
CALL(subobj_list, (NULL, NULL, NULL))
CALL(build_alttree, (NULL, NULL, NULL, NULL, 0, NULL))
CALL(quiesce, (NULL, NULL, 0, NULL))
VOID_CALL(unquiesce, (NULL, NULL, 0))
CALL(make, (NULL, NULL, NULL, 0, NULL, NULL))
CALL(prepare, (NULL, NULL, NULL, 0, 0))
CALL(select, (NULL, NULL, NULL, 0))
CALL(isready, (NULL, NULL, NULL, 0))
CALL(cache_disable, (NULL))
VOID_CALL(cache_enable, (NULL))
CALL(interpose, (NULL, NULL, NULL, NULL))
CALL(getattr, (NULL, NULL, NULL, NULL))
CALL(process_providerstate, (NULL, NULL, ZFI_STATE_SAVE))
CALL(get_provider_info, (NULL))
CALL(enumerate_nodes, (NULL, NULL, 0, NULL))
CALL(enumerate_group_nodes, (NULL))
CALL(enumerate_fims, (NULL))
CALL(enumerate_associations, (NULL))
CALL(isvalid_node_association, (NULL, NULL))
CALL(get_associated_nodes, (NULL, NULL))
CALL(check_node_existence, (NULL, NULL))
CALL(get_last_error, (NULL))
CALL(del_last_error, (NULL))
CALL(get_locale_message, (NULL, NULL, NULL, NULL))
CALL(del_locale_message, (NULL))
CALL(objctl, (NULL, NULL, NULL, NULL))
CALL(enable_access, (NULL, 0, 0, 0))
CALL(disable_access, (NULL, 0))
CALL(restore, (NULL, NULL, 0, NULL, NULL, NULL, NULL, 0, NULL))
CALL(resync, (NULL, NULL, 0, NULL, NULL, 0, NULL))
CALL(get_status, (NULL, NULL, 0, NULL, 0, NULL))
CALL(query_valid_secondaries, (NULL, NULL, NULL))
CALL(res_status, (NULL, 0, NULL, NULL))
CALL(revisit_pgn_nodes, (NULL))
CALL(verify_qscombos, (NULL, NULL, 0))
CALL(set_import_options, (NULL, NULL, 0, NULL, 0, NULL))
CALL(start_build_alttree, (NULL, NULL, NULL))
CALL(translate_resource_names, (NULL, 0, NULL))
CALL(import_resource, (NULL, NULL, NULL, NULL, 0, NULL, NULL))
CALL(format, (NULL, 0, NULL, NULL, NULL, 0, NULL, NULL))
CALL(enumerate_host_nodes, (NULL, NULL, NULL))
CALL(online_resource, (NULL, 0, NULL, NULL, NULL, NULL, 0, NULL, NULL))
CALL(deport_resource, (NULL, NULL, NULL, NULL, 0))
CALL(is_parent_pgn, (NULL, NULL, 0))
CALL(unformat, (NULL, 0, 0))
CALL(pre_deport_resource, (NULL, 0, NULL))
CALL(enumerate_enclosures, (NULL, NULL, NULL))
CALL(refresh_tree, (NULL, 0, 0, NULL, 0, NULL, NULL, 0))
CALL(get_backupset, (NULL, 0, NULL, 0, NULL))
CALL(get_app_status, (NULL, 0, NULL))
CALL(set_op_status, (NULL, 0))
CALL(set_comp_status, (NULL, 0, NULL, 0))
CALL(set_restorepaths, (NULL, NULL, 0))
CALL(createSnapReplicaNode, (NULL, NULL))
CALL(update_snapshot_id, (NULL, NULL, NULL, 0))
CALL(update_snapshot_handle, (NULL, NULL))
CALL(getSnapshotSetId, (NULL, NULL))
CALL(preselect, (NULL, NULL, NULL, 0))
CALL(get_snapdiff, (NULL, NULL, NULL, NULL))
CALL(post_deport, (NULL, NULL))
CALL(fipgn_get_objid, (NULL, NULL))

const struct c_case null_cases[] = {
    {"init", init_of_null, 7, "", NULL},
    {"claim", claim_of_null, 0, BASE("claim"), NULL},
    {"supports_fitype", supports_fitype_of_null, 0, ENTRY("supports_fitype", METHOD("supportsFiType", "")), NULL},
    {"errmsg", errmsg_of_null, 3, BASE("errmsg"), NULL},
    {"init_node", init_node_of_null, 3, ENTRY("init_node", METHOD("initNode", "")), NULL},
    {"init_altnode", init_altnode_of_null, 6, ENTRY("init_altnode", METHOD("initAltNode", "")), NULL},
    {"init_remnode", init_remnode_of_null, 6, ENTRY("init_remnode", METHOD("initAltNode", "")), NULL},
    {"import_tree", import_tree_of_null, 3, ENTRY("import_tree", METHOD("importTreeNode", "")), NULL},
    {"deport_tree", deport_tree_of_null, 3, ENTRY("deport_tree", METHOD("deportTree", "")), NULL},
    {"pre_prepare", pre_prepare_of_null, 0, BASE("pre_prepare"), NULL},
    {"reaccess_tmpobj", reaccess_tmpobj_of_null, 2, BASE("reaccess_tmpobj"), NULL},
    {"reaccess_altnode", reaccess_altnode_of_null, 3, ENTRY("reaccess_altnode", METHOD("reAccessAltNode", "")), NULL},
    {"config", config_of_null, 3, BASE("config"), NULL},
    {"deinit_node", deinit_node_of_null, 0, BASE("deinit_node"), NULL},
    {"dispose", dispose_of_null, 0, ENTRY("dispose", METHOD("dispose", "")), NULL},
    {"online", online_of_null, 3,
     ENTRY("online", METHOD("online", "1 CTARNPlugin::online: Error: parameter fid is NULL.\n")), NULL},
    {"subobj_list", subobj_list_of_null, 3, BASE("subobj_list"), NULL},
    {"build_alttree", build_alttree_of_null, 3,
     ENTRY("build_alttree", METHOD("buildAltTree", "3 Exiting buildAltTree, invalid session/fid\n\n")), NULL},
    {"quiesce", quiesce_of_null, 3, ENTRY("quiesce", METHOD("quiesce", "")), NULL},
    {"unquiesce", unquiesce_of_null, 0, ENTRY("unquiesce", METHOD("unquiesce", "")), NULL},
    {"make", make_of_null, 3, BASE("make"), NULL},
    {"prepare", prepare_of_null, 3, BASE("prepare"), NULL},
    {"select", select_of_null, 3, BASE("select"), NULL},
    {"isready", isready_of_null, 0, BASE("isready"), NULL},
    {"cache_disable", cache_disable_of_null, 3, ENTRY("cache_disable", METHOD("cacheDisable", "")), NULL},
    {"cache_enable", cache_enable_of_null, 0, ENTRY("cache_enable", METHOD("cacheEnable", "")), NULL},
    {"interpose", interpose_of_null, 0, BASE("interpose"), NULL},
    {"getattr", getattr_of_null, 2, BASE("getattr"), NULL},
    {"process_providerstate", process_providerstate_of_null, 3,
     ENTRY("process_providerstate", METHOD("processProviderState", "")), NULL},
    {"get_provider_info", get_provider_info_of_null, 3, BASE("get_provider_info"), NULL},
    {"enumerate_nodes", enumerate_nodes_of_null, 3, BASE("enumerate_nodes"), NULL},
    {"enumerate_group_nodes", enumerate_group_nodes_of_null, 3, BASE("enumerate_group_nodes"), NULL},
    {"enumerate_fims", enumerate_fims_of_null, 3, BASE("enumerate_fims"), NULL},
    {"enumerate_associations", enumerate_associations_of_null, 3, BASE("enumerate_associations"), NULL},
    {"isvalid_node_association", isvalid_node_association_of_null, 3, BASE("isvalid_node_association"), NULL},
    {"get_associated_nodes", get_associated_nodes_of_null, 3, BASE("get_associated_nodes"), NULL},
    {"check_node_existence", check_node_existence_of_null, 3,
     ENTRY("check_node_existence", METHOD("checkNodeExistence", "")), NULL},
    {"get_last_error", get_last_error_of_null, 3, BASE("get_last_error"), NULL},
    {"del_last_error", del_last_error_of_null, 3, BASE("del_last_error"), NULL},
    {"get_locale_message", get_locale_message_of_null, 3, BASE("get_locale_message"), NULL},
    {"del_locale_message", del_locale_message_of_null, 3, BASE("del_locale_message"), NULL},
    {"objctl", objctl_of_null, 3, BASE("objctl"), NULL},
    {"enable_access", enable_access_of_null, 3,
     ENTRY("enable_access", METHOD("enableAccess", "1 Invalid node data. Enable access attempt failed.\n")), NULL},
    {"disable_access", disable_access_of_null, 3,
     ENTRY("disable_access", METHOD("disableAccess", "1 Invalid node data. Disable access attempt failed.\n")), NULL},
    {"restore", restore_of_null, 2, BASE("restore"), NULL},
    {"resync", resync_of_null, 2, BASE("resync"), NULL},
    {"get_status", get_status_of_null, 2, BASE("get_status"), NULL},
    {"query_valid_secondaries", query_valid_secondaries_of_null, 2, BASE("query_valid_secondaries"), NULL},
    {"res_status", res_status_of_null, 2, BASE("res_status"), NULL},
    {"revisit_pgn_nodes", revisit_pgn_nodes_of_null, 0, BASE("revisit_pgn_nodes"), NULL},
    {"verify_qscombos", verify_qscombos_of_null, 0, BASE("verify_qscombos"), NULL},
    {"set_import_options", set_import_options_of_null, 2, BASE("set_import_options"), NULL},
    {"start_build_alttree", start_build_alttree_of_null, 0, BASE("start_build_alttree"), NULL},
    {"translate_resource_names", translate_resource_names_of_null, 3, BASE("translate_resource_names"), NULL},
    {"import_resource", import_resource_of_null, 2, BASE("import_resource"), NULL},
    {"format", format_of_null, 3, ENTRY("format", METHOD("format", "3 TARN::format - Invalid values specified\n")),
     NULL},
    {"enumerate_host_nodes", enumerate_host_nodes_of_null, 3, BASE("enumerate_host_nodes"), NULL},
    {"online_resource", online_resource_of_null, 3,
     ENTRY("online_resource",
           METHOD("onlineResource",
                  "1 CTARNPlugin::onlineResource Invalid argument. targetDevicePath or targetCount is NULL\n")),
     NULL},
    {"deport_resource", deport_resource_of_null, 2, BASE("deport_resource"), NULL},
    {"is_parent_pgn", is_parent_pgn_of_null, 3, ENTRY("is_parent_pgn", METHOD("isParentPgn", "")), NULL},
    {"unformat", unformat_of_null, 2, BASE("unformat"), NULL},
    {"pre_deport_resource", pre_deport_resource_of_null, 0, BASE("pre_deport_resource"), NULL},
    {"enumerate_enclosures", enumerate_enclosures_of_null, 3, BASE("enumerate_enclosures"), NULL},
    {"refresh_tree", refresh_tree_of_null, 2, BASE("refresh_tree"), NULL},
    {"get_backupset", get_backupset_of_null, 2, BASE("get_backupset"), NULL},
    {"get_app_status", get_app_status_of_null, 2, BASE("get_app_status"), NULL},
    {"set_op_status", set_op_status_of_null, 0, BASE("set_op_status"), NULL},
    {"set_comp_status", set_comp_status_of_null, 0, BASE("set_comp_status"), NULL},
    {"set_restorepaths", set_restorepaths_of_null, 2, BASE("set_restorepaths"), NULL},
    {"createSnapReplicaNode", createSnapReplicaNode_of_null, 2, BASE("createSnapReplicaNode"), NULL},
    {"update_snapshot_id", update_snapshot_id_of_null, 0, BASE("update_snapshot_id"), NULL},
    {"update_snapshot_handle", update_snapshot_handle_of_null, 3, BASE("update_snapshot_handle"), NULL},
    {"getSnapshotSetId", getSnapshotSetId_of_null, 2, BASE("getSnapshotSetId"), NULL},
    {"preselect", preselect_of_null, 3, BASE("preselect"), NULL},
    {"get_snapdiff", get_snapdiff_of_null, 2, BASE("get_snapdiff"), NULL},
    {"post_deport", post_deport_of_null, 0, BASE("post_deport"), NULL},
    {"fipgn_get_objid", fipgn_get_objid_of_null, 1, "", NULL},
    {NULL, NULL, 0, NULL, NULL},
};
