/* The contract of the entry points: one function type each, numbered in the order of zfi_entry_points.def.
 *
 * A provider P exports every one of them as P_fi_pgn_NAME. What follows binds the framework (the caller) and the
 * provider alike. The terms of zfi_types.h are used; "the node" is the zfi_domain of a call.
 *
 * Rules for all of them:
 * - Order: init is the first call and fini the last one. A call before init, or after fini, works on a fresh object
 *   that has no name, no managers and no catalogue yet; only claim, supports_fitype and get_provider_info are of use.
 * - Thread: a framework calls one provider from one thread at a time; no lock is taken. Different providers may be
 *   called at the same time. Calls are synchronous: those marked W run commands or sleep and may take minutes.
 * - D: runs the provider's delayed initialisation if no call marked D did so before. When that fails the call answers 1
 *   and does nothing else; later calls do not try again.
 * - L: takes a list and its count, or else one node as first argument with a null list and count 0, which then is a
 *   list of one. Where a list is given the first argument does not matter.
 * - Ownership: arguments stay the caller's and need to live only during the call, unless the entry says that something
 *   is kept. Object ids are interned: nobody frees them. An out pointer is written only where the entry says so.
 * - Statuses: 0 is success. 2: the provider does not implement the operation. 3: an argument cannot be used. 6: it
 *   failed, and get_last_error tells why. Entries list further ones. A call that fails undoes nothing.
 * - Null: a null pointer that an entry does not name is answered 3 with nothing done.
 * - Exceptions: no entry point catches any; a caller that cannot let them pass wraps the call.
 * - Default: what a provider answers that leaves the operation to the base class.
 */
#ifndef ZFI_ENTRY_POINTS_H
#define ZFI_ENTRY_POINTS_H

#include "zfi_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Start and end ------------------------------------------------------------------------------------------ */

/* 1 init: starts the provider. Writes the interface version (7.0.0.0) into version. init and its callback are kept
 * until fini and may be null; fimName may be null and is copied. 7 when version is null, nothing done. A second init
 * replaces the callback and starts the provider anew; nodes already initialised stay. After 6 it may be repeated. */
typedef int zfi_fn_init(zfi_init* init, zfi_version* version, const char* fimName);

/* 2 fini: ends the provider: its object, messages, trace log and private data go. Every node must have been through
 * deinit_node, every list and message been given back. Sessions stay until the library is unloaded. A second fini does
 * the same to a fresh object. The library may be unloaded afterwards. */
typedef void zfi_fn_fini(void);

/* ---- Whose object is it ------------------------------------------------------------------------------------- */

/* 3 claim: does the provider take charge of the object? 3 (ZFI_CLAIMED): yes. 0: no; also for a null argument, with
 * nothing written. Otherwise *subObjects and *count are set to null and 0 first; a provider that lists sub-objects
 * makes the array with znfi_alloc_buf and the caller frees it. Changes nothing, may be repeated. */
typedef int zfi_fn_claim(znfi_objid* object, znfi_objid*** subObjects, int* count);

/* 4 supports_fitype: is a freeze method ("any", "xfs_freeze"; compared exactly) known to the provider? 1 or 0, which
 * is the answer and not a status; the same number through domain->fiTypeResult. 0 too for a null argument. */
typedef int zfi_fn_supports_fitype(zfi_domain* domain, char* type);

/* 5 errmsg: the text of a status code, in the language that init was given. *text is static storage, never null. */
typedef int zfi_fn_errmsg(int code, const char** text);

/* ---- Nodes -------------------------------------------------------------------------------------------------- */

/* 6 init_node (D): fills a node after its object was claimed: display name, characteristics, quiesce record, private
 * data with the node's sub-object. Only node is needed; parent, flags and parentObject may be null or 0. The private
 * data is kept under the object's name and shared by nodes of one name. 5: no memory for the quiesce record. 1083,
 * 1084: mount table. After a failure the node may hold part of it, so deinit_node is due then too. A second call
 * refreshes the data and adds no second sub-object, but makes a new quiesce record: release the old one with
 * deinit_node before. */
typedef int zfi_fn_init_node(zfi_domain* node, zfi_domain** parent, int flags, znfi_objid* parentObject);

/* 7 init_altnode (D): fills the node of a mounted snapshot, after build_alttree or import_tree gave its name. Only
 * target is needed; 6 when it is null. No quiesce record. Statuses, leftovers and a second call as for init_node. */
typedef int zfi_fn_init_altnode(zfi_domain* node, zfi_domain* parent, zfi_domain* target);

/* 8 init_remnode (D): init_altnode for a node that another host mounted. */
typedef int zfi_fn_init_remnode(zfi_domain* node, zfi_domain* parent, zfi_domain* target);

/* 9 import_tree (D, W): on the host that reads the snapshot: makes the tree of node visible below altTreeNodeIds[0]
 * (for a file system: mounts that device read-only), waiting for devices that appear late. After process_providerstate
 * restored the node. node->objids may ask for an alternate name in [1]. *altObject receives the object id of the
 * alternate node. 1024: mounted, but no id could be made. 1083: mount table. A repeated call finds the import in place
 * and answers 0. Undone by deport_tree or dispose. */
typedef int zfi_fn_import_tree(zfi_domain* node, znfi_objid** treeNodeIds, znfi_objid** altTreeNodeIds, int count,
                               znfi_objid** altObject);

/* 10 deport_tree (D, W): undoes import_tree or build_alttree: unmounts altNode and removes its directory. 0 with
 * nothing done when access->imported is 0, when altNode is null and when it is not mounted, so a second call is
 * harmless. 1083: mount table. After 6 the file system may be unmounted with its directory still there. */
typedef int zfi_fn_deport_tree(zfi_domain* node, zfi_domain* altNode, zfi_accessnode* access);

/* 11 pre_prepare (D): the snapshot of node is about to be prepared. Default 0. */
typedef int zfi_fn_pre_prepare(zfi_domain* node);

/* 12 reaccess_tmpobj: makes a temporary object usable again. Nothing is kept. Default 2. */
typedef int zfi_fn_reaccess_tmpobj(zfi_domain* node, znfi_objid* object, char* name, zfi_domain* target, char* fid,
                                   zfi_intent intent);

/* 13 reaccess_altnode (D): can the alternate node be used (again)? Only altNodeObject and intent are needed. 18: its
 * path is missing. 0 at once when intent is ZFI_INTENT_DESTROY. Changes nothing, may be repeated. */
typedef int zfi_fn_reaccess_altnode(zfi_domain* node, znfi_objid* altNodeObject, znfi_objid* object, char* fid,
                                    znfi_objid** objects, znfi_objid** altObjects, int count, zfi_intent intent);

/* 14 config (D): asks for configuration parameter index of node. 3 when node or spec is null; text may be null.
 * Default 0, spec untouched. */
typedef int zfi_fn_config(zfi_domain* node, int index, char* text, zfi_confspec* spec);

/* 15 deinit_node: releases what init_node or init_altnode attached: the private-data slot and the quiesce record (and
 * its method). The private data itself goes with the last node of its name. Before the node is dropped, also after a
 * failed init_node. A second call, and a null node, do nothing. No status. */
typedef void zfi_fn_deinit_node(zfi_domain* node);

/* 16 dispose (D, W): gets rid of what was made for node when disposition is ZFI_DISPOSITION_REMOVE (a file system:
 * unmount, remove the directory); any other disposition does nothing. parent and splitNode may be null. 1067, 1070: as
 * online. A second call finds nothing mounted and answers 0. deinit_node is still due. */
typedef int zfi_fn_dispose(zfi_domain* parent, zfi_domain* node, zfi_splitnode* splitNode, zfi_disposition disposition);

/* 17 online (D, W): operation ZFI_ONLINE_MOUNT mounts node at its path with what init_node recorded; ZFI_ONLINE_UMOUNT
 * unmounts it and, with ZFI_DISPOSITION_REMOVE, removes the directory; others do nothing. parent may be null. 32: the
 * device is mounted elsewhere. 1062: no sub-object. 1067, 1069, 1070: rmdir, mount, umount failed. 1083: mount table.
 * What is in the wanted state already is a success, so a second call is harmless. */
typedef int zfi_fn_online(zfi_domain* parent, zfi_domain* node, int operation, zfi_disposition disposition);

/* 18 subobj_list (D): the node's sub-objects, after init_node. *objects is made with znfi_alloc_buf and freed by the
 * caller with znfi_free_buf(*objects, *count * sizeof(znfi_objid *)); null with count 0. 3 for any null argument and
 * for a node without private data. 5: no memory. Each call makes a new array. */
typedef int zfi_fn_subobj_list(zfi_domain* node, znfi_objid*** objects, int* count);

/* 19 build_alttree (D, W): on the host of the origin, after make: mounts snapshotObjects[0] read-only under the
 * alternate name (node->objids[1], or derived from the node's name). fid must not be null; sourceObjects and count are
 * not needed. *altObject receives the alternate node's object id; null with 1024 (mounted, but no id). 1083: mount
 * table. A second call mounts once more under the next free name. Undone by deport_tree or dispose. */
typedef int zfi_fn_build_alttree(zfi_domain* node, char* fid, znfi_objid** sourceObjects, znfi_objid** snapshotObjects,
                                 int count, znfi_objid** altObject);

/* ---- The snapshot ------------------------------------------------------------------------------------------- */

/* 20 quiesce (D, L, W): freezes the file system of a node that has a quiesce record, just before the layer below makes
 * the snapshot. One node a call. options may be null. Not idempotent: a file system that is frozen already makes it
 * fail with 6, and then it must not be thawed by the caller, who does not own that freeze. Nothing thaws by itself:
 * unquiesce is due after every success, and whenever the outcome is unknown. */
typedef int zfi_fn_quiesce(zfi_quiescenode* single, zfi_quiescenode** nodes, int count, char* options);

/* 21 unquiesce (L, W): thaws what quiesce froze. No status: a failure is in the error manager only. A second call fails
 * there, or ends a freeze that somebody else began meanwhile: call it only where quiesce asks for it. */
typedef void zfi_fn_unquiesce(zfi_quiescenode* single, zfi_quiescenode** nodes, int count);

/* 22 make (D, L, W): takes or concludes the snapshot of the nodes, after prepare, between quiesce and unquiesce for the
 * layer that copies, after it for the layers above (update_snapshot_handle comes first). Marks each node
 * ZFI_STATE_MADE. *ids receives one object id per node, in order, in an array of znfi_alloc_buf that the caller frees
 * with znfi_free_buf(*ids, *idCount * sizeof(znfi_objid *)). Status 0 with *idCount set and *ids null: the snapshots
 * were made but some id could not be; a caller treats that as a failure. Without nodes *idCount becomes 0 and *ids is
 * not written; neither is with any other status. 4 is never returned. A second call makes them again. */
typedef int zfi_fn_make(zfi_splitnode* single, char* sessionId, zfi_splitnode** nodes, int count, znfi_objid*** ids,
                        int* idCount);

/* 23 prepare (D, L, W): reserves what make will need, after select; nothing is frozen yet. flag: 0. */
typedef int zfi_fn_prepare(zfi_splitnode* single, char* sessionId, zfi_splitnode** nodes, int count, int flag);

/* 24 select (D, L): the nodes take part in the session's snapshot, if the answer is 0: they are then recorded in it.
 * The first record of a name stays, so a second call changes nothing. The split nodes' domains live until make. */
typedef int zfi_fn_select(zfi_splitnode* single, char* sessionId, zfi_splitnode** nodes, int count);

/* 25 isready (D, L): may make be called? 0: yes. Changes nothing. Default 0. */
typedef int zfi_fn_isready(zfi_splitnode* single, char* sessionId, zfi_splitnode** nodes, int count);

/* 26 cache_disable (D, W): makes the node's file system write through, before a snapshot. After init_node. 3: no
 * private data or no sub-object. A second call repeats it without harm. cache_enable is due afterwards, also after a
 * failure. */
typedef int zfi_fn_cache_disable(zfi_domain* node);

/* 27 cache_enable (W): undoes cache_disable. No status: a failure is in the error manager only. May be repeated. */
typedef void zfi_fn_cache_enable(zfi_domain* node);

/* 28 interpose (D): offers the provider a place above object. Default 0, nothing written. */
typedef int zfi_fn_interpose(zfi_domain* node, znfi_objid** object, znfi_objid*** objects, int* count);

/* 29 getattr (D): attributes of a node, its alternate node or split node. Default 2. */
typedef int zfi_fn_getattr(zfi_domain* node, zfi_domain* altNode, zfi_splitnode* splitNode, zfi_attributes* attributes);

/* 30 process_providerstate (D): ZFI_STATE_SAVE writes what the provider knows of the node into blob: data is made with
 * znfi_alloc_buf and freed by the caller with znfi_free_buf(data, length); what blob held before is not freed. The
 * content is opaque and may travel to another host. ZFI_STATE_RESTORE reads a blob back, before import_tree; 3 when
 * blob or its data is null; a length of 0 changes nothing. Any other operation: 0, nothing done. May be repeated. */
typedef int zfi_fn_process_providerstate(zfi_domain* node, zfi_blob* blob, zfi_op_providerstate operation);

/* ---- What there is ------------------------------------------------------------------------------------------ */

/* 31 get_provider_info: name, version and types of the provider. *list is set to null first; then it receives records
 * that the caller frees with znfi_free_providerlist. 3 when list is null. Each call makes a new list. */
typedef int zfi_fn_get_provider_info(zfi_provider_list** list);

/* 32 enumerate_nodes: the nodes the provider knows by itself. 3 when list or count is null. Default: 0, an empty list.
 */
typedef int zfi_fn_enumerate_nodes(zfi_node_list** list, int* count, int flags, char* name);

/* 33 enumerate_group_nodes (D): groups of nodes. Default: 0, an empty list. */
typedef int zfi_fn_enumerate_group_nodes(zfi_group_node_list** list);

/* 34 enumerate_fims: freeze-image methods. Default: 0, an empty list. */
typedef int zfi_fn_enumerate_fims(zfi_fim_list** list);

/* 35 enumerate_associations (D): which nodes belong together. Default: 0, an empty list. */
typedef int zfi_fn_enumerate_associations(zfi_assoc_list** list);

/* 36 isvalid_node_association (D): may these nodes belong together? The answer through valid. Default: 0, *valid 0. */
typedef int zfi_fn_isvalid_node_association(zfi_assoc* association, int* valid);

/* 37 get_associated_nodes (D): the nodes that belong to node. Default: 0, an empty list. */
typedef int zfi_fn_get_associated_nodes(zfi_node* node, zfi_node_list** list);

/* 38 check_node_existence (D): 1 or 0 through exists: would the node's object be claimed now? Changes nothing. */
typedef int zfi_fn_check_node_existence(zfi_domain* node, int* exists);

/* ---- Messages ----------------------------------------------------------------------------------------------- */

/* 39 get_last_error: the messages since init or del_last_error, newest first; null when there is none. Each call makes
 * a new list, which the caller gives back with del_last_error. */
typedef int zfi_fn_get_last_error(zfi_msg_info** list);

/* 40 del_last_error: releases the list of one get_last_error and sets *list to null; drops every message kept. *list
 * may be null; other lists stay valid until they are given back. */
typedef int zfi_fn_del_last_error(zfi_msg_info** list);

/* 41 get_locale_message: the text of a message of get_last_error in a locale ("" or null: the default one). *text
 * belongs to the caller, who gives it back with del_locale_message; *length receives its bytes, the terminator
 * included. 5: no memory. */
typedef int zfi_fn_get_locale_message(int* length, zfi_msg_info* message, const char* locale, char** text);

/* 42 del_locale_message: frees *text and sets it to null; a null *text is passed over. */
typedef int zfi_fn_del_locale_message(char** text);

/* 43 objctl (D): a named command with typed arguments as one line of text (cfiobjctlargs.h). Answers 0 also when the
 * command fails: its status goes through *status (2: no such command). *outText is the results' text, made with strdup:
 * the caller frees it with free. argumentText may be null; 3 when another argument is. Base command: trace_level.
 * Volume providers are asked cuts_atomically, with the input argument device, before a file system is snapshotted that
 * cannot be frozen: 0 when the snapshot of that device is of one instant although it is written to meanwhile. */
typedef int zfi_fn_objctl(char* command, char* argumentText, char** outText, long* status);

/* ---- Access to the origin ----------------------------------------------------------------------------------- */

/* 44 enable_access (D, W): mounts again what disable_access unmounted: the list's nodes with ZFI_STATE_OFFLINE, which
 * is cleared for each. 0 with nothing done when bit 0 of options is set. 3: null list or first node. 6: an entry
 * without sub-objects. 32: the device is mounted elsewhere. 1069: a mount failed. 1083: mount table. Entries before a
 * failure stay done; a repeated call goes on with the rest. */
typedef int zfi_fn_enable_access(zfi_node_subobj_list* list, long flags, int reserved, int options);

/* 45 disable_access (D, W): unmounts the list's nodes and marks them ZFI_STATE_OFFLINE. Bit 0x10 of flags: by force
 * (the users of a busy file system are killed). 3: null list or first node. 32: busy. 1070: an unmount failed. 1083:
 * mount table. Entries before a failure stay done; a repeated call goes on with the rest. enable_access is due
 * afterwards. */
typedef int zfi_fn_disable_access(zfi_node_subobj_list* list, long flags);

/* ---- Restore and resynchronisation -------------------------------------------------------------------------- */

/* 46 restore (D, W): writes snapshots back over the objects (devices) that they were made of; arrays of count entries.
 * After process_providerstate restored the objects' nodes, under the names that they had then. name: the snapshots' id, or
 * null. The snapshots stay as they are. Everything that can refuse is looked at for all objects before the first byte
 * is changed; with ZFI_RESTORE_CHECK in flags nothing more is done, and an object may still be in use. *status says
 * what became of the objects (ZFI_RESTORE_ values), also when the call fails; when the process dies in the call, they
 * count as half restored, and the same call makes them whole. targets: the names that the objects have now, which they
 * keep until deinit_node; see znfi.h for how it is freed. 32: an object is in use. 3: a null argument. Default 2. */
typedef int zfi_fn_restore(znfi_objid** objects, znfi_objid** snapshots, long count, char* name, char* options,
                           char*** targets, long* targetCount, long flags, long* status);

/* 47 resync (D, W): brings snapshots up to date with their objects again. Default 2. */
typedef int zfi_fn_resync(znfi_objid** objects, znfi_objid** snapshots, long count, char* name, char* options,
                          long flags, long* status);

/* 48 get_status (D): how far a restore or resync is. Default 2. */
typedef int zfi_fn_get_status(znfi_objid** objects, znfi_objid** snapshots, long count, char* name, long flags,
                              long* status);

/* 49 query_valid_secondaries (D): objects that name may be restored to. Default 2. */
typedef int zfi_fn_query_valid_secondaries(char* name, znfi_objid*** objects, long* count);

/* 50 res_status (D): the status of one resource. Default 2. */
typedef int zfi_fn_res_status(znfi_objid* object, long flags, long* status, zfi_msg_info** messages);

/* 51 revisit_pgn_nodes: lets the provider look at its nodes once more when the tree is complete. Default 0. */
typedef int zfi_fn_revisit_pgn_nodes(zfi_pgn_node_list* list);

/* 52 verify_qscombos (D, L): may these nodes be frozen and split off together? 0: yes. Default 0. */
typedef int zfi_fn_verify_qscombos(zfi_splitnode* single, zfi_splitnode** nodes, int count);

/* 53 set_import_options (D, L): the hosts and options that a later import will use. Default 2. */
typedef int zfi_fn_set_import_options(zfi_splitnode* single, zfi_splitnode** nodes, int count, zfi_host_infn* hosts,
                                      int flags, void* options);

/* 54 start_build_alttree (D): build_alttree is about to be called for objects. Default 0. */
typedef int zfi_fn_start_build_alttree(zfi_domain* node, znfi_objid** objects, void* options);

/* ---- Resources ---------------------------------------------------------------------------------------------- */

/* 55 translate_resource_names (D): only an empty list is accepted: 3 when names or translated is null or count is not
 * 0. Default 2, *translated null. */
typedef int zfi_fn_translate_resource_names(char** names, int count, char** translated);

/* 56 import_resource (D, W): makes devices visible as a resource on this host. Default 2. */
typedef int zfi_fn_import_resource(char** devices, char* name, char* type, char* options, int flags, char** targets,
                                   char* extra);

/* 57 format (D, W): makes a file system of type on devices[0] and proves it by one test mount. Bit 0 of flags must be
 * set; without it the arguments are only checked. options: option text, may be null (cfiformatoptionlist.h). reserved,
 * outNames and outCount may be null and are not written. 3 for every failure. A second call formats again: all data is
 * lost. */
typedef int zfi_fn_format(char** devices, int deviceCount, char* reserved, char* type, char* options, int flags,
                          char*** outNames, int* outCount);

/* 58 enumerate_host_nodes: hosts the provider knows. Default: 0, an empty list. */
typedef int zfi_fn_enumerate_host_nodes(zfi_host_node_list** list, int* count, char* name);

/* 59 online_resource (D, W): mounts devicePaths[0] at mountPoint (null: derived from the device), with one repair
 * attempt in between. *targetPaths receives an array of one path: the array is freed by the caller with free, the path
 * with znfi_free_buf(path, strlen(path) + 1); *targetCount is 1. 3: either out pointer is null. 5: no memory for them
 * (the mount stays). 1083: mount table. 1088: mounted elsewhere. What is mounted there already is a success, so a
 * second call only makes a new array. */
typedef int zfi_fn_online_resource(char** devicePaths, int deviceCount, char* mountPoint, char* resourceName,
                                   char* options, char* extra, int flags, char*** targetPaths, int* targetCount);

/* 60 deport_resource (D, W): undoes online_resource. Default 2. */
typedef int zfi_fn_deport_resource(char* device, char* mountPoint, char* type, char* options, int flags);

/* 61 is_parent_pgn (D, W): does the device carry one of the provider's types? *result 2: yes, 0: no; untouched, with
 * status 0, when the device cannot be opened. Changes nothing. */
typedef int zfi_fn_is_parent_pgn(char* name, int* result, int reserved);

/* 62 unformat (D, W): takes the file system off devices. Default 2. */
typedef int zfi_fn_unformat(char** devices, int deviceCount, int flags);

/* 63 pre_deport_resource (D): deport_resource is about to be called. Default 0. */
typedef int zfi_fn_pre_deport_resource(char* name, int flags, char* options);

/* 64 enumerate_enclosures: storage enclosures. Default: 0, an empty list. */
typedef int zfi_fn_enumerate_enclosures(zfi_enclosure_node_list** list, int* count, char* name);

/* ---- Notifications and questions about a tree --------------------------------------------------------------- */

/* 65 refresh_tree (D, W): brings the tree below node up to date. Default 2. */
typedef int zfi_fn_refresh_tree(zfi_domain* node, int operation, int flags, zfi_resource* resources, int count,
                                int* result, void* options, int extra);

/* 66 get_backupset (D): what a backup of the paths has to contain. Default 2. */
typedef int zfi_fn_get_backupset(zfi_domain* node, int kind, char** paths, int count, zfi_bkupset* set);

/* 67 get_app_status (D): the state of the application above the node. Default 2. */
typedef int zfi_fn_get_app_status(zfi_domain* node, int kind, void* status);

/* 68 set_op_status (D): how the operation on the node ended. Default 0. */
typedef int zfi_fn_set_op_status(zfi_domain* node, int status);

/* 69 set_comp_status (D): how the operation ended for one component. Default 0. */
typedef int zfi_fn_set_comp_status(zfi_domain* node, int kind, char* component, int status);

/* 70 set_restorepaths (D): the paths that a restore will write to. Default 2. */
typedef int zfi_fn_set_restorepaths(zfi_domain* node, char* path, int flags);

/* 71 createSnapReplicaNode (D): a replica of the node's snapshot was made. Default 2. */
typedef int zfi_fn_createSnapReplicaNode(zfi_domain* node, zfi_snapreplica_ele* element);

/* 72 update_snapshot_id (D): the snapshot got another identity. Default 0. */
typedef int zfi_fn_update_snapshot_id(zfi_domain* node, zfi_domain* altNode, zfi_snapreplica_ele* element, int flags);

/* 73 update_snapshot_handle (D): tells the session which object is the snapshot of a node, before make: that is the
 * name that make turns into the node's id. 3 when the session does not hold the node. A second call replaces the name.
 * Names are copied. */
typedef int zfi_fn_update_snapshot_handle(char* sessionId, zfi_snapreplica_ele* element);

/* 74 getSnapshotSetId (D): the set that the node's snapshot belongs to. Default 2. */
typedef int zfi_fn_getSnapshotSetId(zfi_domain* node, char** id);

/* 75 preselect (D, L): records the nodes in the session, before select. The provider is not asked. The session comes
 * into being with its first use and stays until the library is unloaded; the first record of a name stays. */
typedef int zfi_fn_preselect(zfi_splitnode* single, char* sessionId, zfi_splitnode** nodes, int count);

/* 76 get_snapdiff (D): what changed between two snapshots. Default 2. */
typedef int zfi_fn_get_snapdiff(zfi_domain* node, zfi_snapreplica_ele* from, zfi_snapreplica_ele* to,
                                TrieNode_* result);

/* 77 post_deport (D): deport_tree of altNode is done. Default 0. */
typedef int zfi_fn_post_deport(zfi_domain* node, zfi_domain* altNode);

/* ---- Beside the family -------------------------------------------------------------------------------------- */

/* fipgn_get_objid, exported under this name by every provider: the object id of a name (flag ZFI_OBJID_NAMED). 0 and
 * the id through object, or 1 with object untouched. Any time, any thread. */
typedef int zfi_fn_fipgn_get_objid(const char* name, znfi_objid** object);

#ifdef __cplusplus
}
#endif
#endif
