/* The contract of the entry points: one function type each, in the order of zfi_entry_points.def. */
#ifndef ZFI_ENTRY_POINTS_H
#define ZFI_ENTRY_POINTS_H

#include "zfi_types.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef int zfi_fn_init(zfi_init*, zfi_version*, const char*);
typedef void zfi_fn_fini(void);
typedef int zfi_fn_claim(znfi_objid*, znfi_objid***, int*);
typedef int zfi_fn_supports_fitype(zfi_domain*, char*);
typedef int zfi_fn_errmsg(int, const char**);
typedef int zfi_fn_init_node(zfi_domain*, zfi_domain**, int, znfi_objid*);
typedef int zfi_fn_init_altnode(zfi_domain*, zfi_domain*, zfi_domain*);
typedef int zfi_fn_init_remnode(zfi_domain*, zfi_domain*, zfi_domain*);
typedef int zfi_fn_import_tree(zfi_domain*, znfi_objid**, znfi_objid**, int, znfi_objid**);
typedef int zfi_fn_deport_tree(zfi_domain*, zfi_domain*, zfi_accessnode*);
typedef int zfi_fn_pre_prepare(zfi_domain*);
typedef int zfi_fn_reaccess_tmpobj(zfi_domain*, znfi_objid*, char*, zfi_domain*, char*, zfi_intent);
typedef int zfi_fn_reaccess_altnode(zfi_domain*, znfi_objid*, znfi_objid*, char*, znfi_objid**, znfi_objid**, int,
                                    zfi_intent);
typedef int zfi_fn_config(zfi_domain*, int, char*, zfi_confspec*);
typedef void zfi_fn_deinit_node(zfi_domain*);
typedef int zfi_fn_dispose(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_disposition);
typedef int zfi_fn_online(zfi_domain*, zfi_domain*, int, zfi_disposition);
typedef int zfi_fn_subobj_list(zfi_domain*, znfi_objid***, int*);
typedef int zfi_fn_build_alttree(zfi_domain*, char*, znfi_objid**, znfi_objid**, int, znfi_objid**);
typedef int zfi_fn_quiesce(zfi_quiescenode*, zfi_quiescenode**, int, char*);
typedef void zfi_fn_unquiesce(zfi_quiescenode*, zfi_quiescenode**, int);
typedef int zfi_fn_make(zfi_splitnode*, char*, zfi_splitnode**, int, znfi_objid***, int*);
typedef int zfi_fn_prepare(zfi_splitnode*, char*, zfi_splitnode**, int, int);
typedef int zfi_fn_select(zfi_splitnode*, char*, zfi_splitnode**, int);
typedef int zfi_fn_isready(zfi_splitnode*, char*, zfi_splitnode**, int);
typedef int zfi_fn_cache_disable(zfi_domain*);
typedef void zfi_fn_cache_enable(zfi_domain*);
typedef int zfi_fn_interpose(zfi_domain*, znfi_objid**, znfi_objid***, int*);
typedef int zfi_fn_getattr(zfi_domain*, zfi_domain*, zfi_splitnode*, zfi_attributes*);
typedef int zfi_fn_process_providerstate(zfi_domain*, zfi_blob*, zfi_op_providerstate);
typedef int zfi_fn_get_provider_info(zfi_provider_list**);
typedef int zfi_fn_enumerate_nodes(zfi_node_list**, int*, int, char*);
typedef int zfi_fn_enumerate_group_nodes(zfi_group_node_list**);
typedef int zfi_fn_enumerate_fims(zfi_fim_list**);
typedef int zfi_fn_enumerate_associations(zfi_assoc_list**);
typedef int zfi_fn_isvalid_node_association(zfi_assoc*, int*);
typedef int zfi_fn_get_associated_nodes(zfi_node*, zfi_node_list**);
typedef int zfi_fn_check_node_existence(zfi_domain*, int*);
typedef int zfi_fn_get_last_error(zfi_msg_info**);
typedef int zfi_fn_del_last_error(zfi_msg_info**);
typedef int zfi_fn_get_locale_message(int*, zfi_msg_info*, const char*, char**);
typedef int zfi_fn_del_locale_message(char**);
typedef int zfi_fn_objctl(char*, char*, char**, long*);
typedef int zfi_fn_enable_access(zfi_node_subobj_list*, long, int, int);
typedef int zfi_fn_disable_access(zfi_node_subobj_list*, long);
typedef int zfi_fn_restore(znfi_objid**, znfi_objid**, long, char*, char*, char***, long*, long, long*);
typedef int zfi_fn_resync(znfi_objid**, znfi_objid**, long, char*, char*, long, long*);
typedef int zfi_fn_get_status(znfi_objid**, znfi_objid**, long, char*, long, long*);
typedef int zfi_fn_query_valid_secondaries(char*, znfi_objid***, long*);
typedef int zfi_fn_res_status(znfi_objid*, long, long*, zfi_msg_info**);
typedef int zfi_fn_revisit_pgn_nodes(zfi_pgn_node_list*);
typedef int zfi_fn_verify_qscombos(zfi_splitnode*, zfi_splitnode**, int);
typedef int zfi_fn_set_import_options(zfi_splitnode*, zfi_splitnode**, int, zfi_host_infn*, int, void*);
typedef int zfi_fn_start_build_alttree(zfi_domain*, znfi_objid**, void*);
typedef int zfi_fn_translate_resource_names(char**, int, char**);
typedef int zfi_fn_import_resource(char**, char*, char*, char*, int, char**, char*);
typedef int zfi_fn_format(char**, int, char*, char*, char*, int, char***, int*);
typedef int zfi_fn_enumerate_host_nodes(zfi_host_node_list**, int*, char*);
typedef int zfi_fn_online_resource(char**, int, char*, char*, char*, char*, int, char***, int*);
typedef int zfi_fn_deport_resource(char*, char*, char*, char*, int);
typedef int zfi_fn_is_parent_pgn(char*, int*, int);
typedef int zfi_fn_unformat(char**, int, int);
typedef int zfi_fn_pre_deport_resource(char*, int, char*);
typedef int zfi_fn_enumerate_enclosures(zfi_enclosure_node_list**, int*, char*);
typedef int zfi_fn_refresh_tree(zfi_domain*, int, int, zfi_resource*, int, int*, void*, int);
typedef int zfi_fn_get_backupset(zfi_domain*, int, char**, int, zfi_bkupset*);
typedef int zfi_fn_get_app_status(zfi_domain*, int, void*);
typedef int zfi_fn_set_op_status(zfi_domain*, int);
typedef int zfi_fn_set_comp_status(zfi_domain*, int, char*, int);
typedef int zfi_fn_set_restorepaths(zfi_domain*, char*, int);
typedef int zfi_fn_createSnapReplicaNode(zfi_domain*, zfi_snapreplica_ele*);
typedef int zfi_fn_update_snapshot_id(zfi_domain*, zfi_domain*, zfi_snapreplica_ele*, int);
typedef int zfi_fn_update_snapshot_handle(char*, zfi_snapreplica_ele*);
typedef int zfi_fn_getSnapshotSetId(zfi_domain*, char**);
typedef int zfi_fn_preselect(zfi_splitnode*, char*, zfi_splitnode**, int);
typedef int zfi_fn_get_snapdiff(zfi_domain*, zfi_snapreplica_ele*, zfi_snapreplica_ele*, TrieNode_*);
typedef int zfi_fn_post_deport(zfi_domain*, zfi_domain*);

/* The helper exported beside the family, as fipgn_get_objid. */
typedef int zfi_fn_fipgn_get_objid(const char*, znfi_objid**);

#ifdef __cplusplus
}
#endif
#endif
