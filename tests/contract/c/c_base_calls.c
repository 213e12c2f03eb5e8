/* Entry points that the plug-in leaves to the base class, called with whole arguments: honest answers, cleared lists.
 */
#include <stdlib.h>
#include <string.h>

#include "c_case.h"

static zfi_domain node;
static zfi_snapreplica_ele element;
static char text[] = "text";
static char* texts[] = {text, NULL};
static znfi_objid* objects[1];
static void* const kDirt = &node;

/* Out-values hold dirt before each call, so that what is cleared can be seen. */
static void* list;
static int count;
static long number;

#define TAKES(type) ((type)(void*)&list)

static void soil(void) {
    node.objid = make_objid("/data");
    objects[0] = node.objid;
    list = kDirt;
    count = -77;
    number = -77;
}

static const char* list_is_empty(void) {
    return list == NULL && count == 0 ? NULL : "the list is not empty";
}
static const char* list_is_null(void) {
    return list == NULL ? NULL : "the list is not null";
}
static const char* long_list_is_empty(void) {
    return list == NULL && number == 0 ? NULL : "the list is not empty";
}
static const char* nothing_is_written(void) {
    return list == kDirt && count == -77 && number == -77 ? NULL : "an out-value was written";
}

#define CALL(name, arguments)       \
    static int call_##name(void) {  \
        soil();                     \
        return call.name arguments; \
    }

CALL(pre_prepare, (&node))
CALL(reaccess_tmpobj, (&node, node.objid, text, &node, text, ZFI_INTENT_READ))
CALL(interpose, (&node, objects, TAKES(znfi_objid***), &count))
CALL(enumerate_nodes, (TAKES(zfi_node_list**), &count, 0, text))
CALL(enumerate_group_nodes, (TAKES(zfi_group_node_list**)))
CALL(enumerate_fims, (TAKES(zfi_fim_list**)))
CALL(enumerate_associations, (TAKES(zfi_assoc_list**)))
CALL(enumerate_host_nodes, (TAKES(zfi_host_node_list**), &count, text))
CALL(enumerate_enclosures, (TAKES(zfi_enclosure_node_list**), &count, text))
CALL(get_associated_nodes, (NULL, TAKES(zfi_node_list**)))
CALL(restore, (objects, objects, 1, text, text, TAKES(char***), &number, 0, &number))
CALL(resync, (objects, objects, 1, text, text, 0, &number))
CALL(get_status, (objects, objects, 1, text, 0, &number))
CALL(query_valid_secondaries, (text, TAKES(znfi_objid***), &number))
CALL(res_status, (objects[0], 0, &number, TAKES(zfi_msg_info**)))
CALL(start_build_alttree, (&node, objects, NULL))
CALL(translate_resource_names, (texts, 0, TAKES(char**)))
CALL(import_resource, (texts, text, text, text, 0, texts, text))
CALL(deport_resource, (text, text, text, text, 0))
CALL(unformat, (texts, 1, 0))
CALL(pre_deport_resource, (text, 0, text))
CALL(refresh_tree, (&node, 0, 0, NULL, 0, &count, NULL, 0))
CALL(get_backupset, (&node, 0, texts, 1, NULL))
CALL(get_app_status, (&node, 0, &count))
CALL(set_op_status, (&node, 0))
CALL(set_comp_status, (&node, 0, text, 0))
CALL(set_restorepaths, (&node, text, 0))
CALL(createSnapReplicaNode, (&node, &element))
CALL(update_snapshot_id, (&node, &node, &element, 0))
CALL(getSnapshotSetId, (&node, TAKES(char**)))
CALL(get_snapdiff, (&node, &element, &element, NULL))
CALL(post_deport, (&node, &node))

static int one_name_to_translate(void) {
    soil();
    return call.translate_resource_names(texts, 1, TAKES(char**));
}

static int names_without_out(void) {
    soil();
    return call.translate_resource_names(texts, 0, NULL);
}

static int association(void) {
    soil();
    return call.isvalid_node_association(NULL, &count);
}

static const char* none_is_valid(void) {
    return count == 0 ? NULL : "an association counts as valid";
}

static int config_without_spec(void) {
    return call.config(&node, 0, text, NULL);
}
static int config(void) {
    return call.config(&node, 0, text, (zfi_confspec*)kDirt);
}

static const char* status_text;

static int errmsg(void) {
    return call.errmsg(ZFI_ERR_NOT_MOUNTED, &status_text);
}
static int errmsg_of_an_unknown_code(void) {
    return call.errmsg(424242, &status_text);
}
static const char* has_text(void) {
    return status_text != NULL && *status_text != '\0' ? NULL : "no text";
}

static znfi_objid* id;

static int objid_of_a_name(void) {
    id = NULL;
    return call.fipgn_get_objid("/data", &id);
}

static int objid_of_an_empty_name(void) {
    id = node.objid;
    return call.fipgn_get_objid("", &id);
}

static const char* id_is_whole(void) {
    return id != NULL && strcmp(id->name, "/data") == 0 && id->length == sizeof "/data" && id->flag == ZFI_OBJID_NAMED
               ? NULL
               : "the id is not that of the name";
}

static const char* id_is_untouched(void) {
    return id == node.objid ? NULL : "the out-value was written";
}

#define ANSWERS(name, status, out) \
    { #name, call_##name, status, BASE(#name), out }

const struct c_case base_cases[] = {
    ANSWERS(pre_prepare, 0, NULL),
    ANSWERS(reaccess_tmpobj, 2, NULL),
    ANSWERS(interpose, 0, list_is_empty),
    ANSWERS(enumerate_nodes, 0, list_is_empty),
    ANSWERS(enumerate_group_nodes, 0, list_is_null),
    ANSWERS(enumerate_fims, 0, list_is_null),
    ANSWERS(enumerate_associations, 0, list_is_null),
    ANSWERS(enumerate_host_nodes, 0, list_is_empty),
    ANSWERS(enumerate_enclosures, 0, list_is_empty),
    ANSWERS(get_associated_nodes, 0, list_is_null),
    ANSWERS(restore, 2, list_is_null),
    ANSWERS(resync, 2, nothing_is_written),
    ANSWERS(get_status, 2, nothing_is_written),
    ANSWERS(query_valid_secondaries, 2, long_list_is_empty),
    ANSWERS(res_status, 2, list_is_null),
    ANSWERS(start_build_alttree, 0, NULL),
    ANSWERS(translate_resource_names, 2, list_is_null),
    ANSWERS(import_resource, 2, NULL),
    ANSWERS(deport_resource, 2, NULL),
    ANSWERS(unformat, 2, NULL),
    ANSWERS(pre_deport_resource, 0, NULL),
    ANSWERS(refresh_tree, 2, nothing_is_written),
    ANSWERS(get_backupset, 2, NULL),
    ANSWERS(get_app_status, 2, nothing_is_written),
    ANSWERS(set_op_status, 0, NULL),
    ANSWERS(set_comp_status, 0, NULL),
    ANSWERS(set_restorepaths, 2, NULL),
    ANSWERS(createSnapReplicaNode, 2, NULL),
    ANSWERS(update_snapshot_id, 0, NULL),
    ANSWERS(getSnapshotSetId, 2, list_is_null),
    ANSWERS(get_snapdiff, 2, NULL),
    ANSWERS(post_deport, 0, NULL),
    {"a count of 1 is too many names to translate", one_name_to_translate, 3, BASE("translate_resource_names"),
     nothing_is_written},
    {"names cannot be translated to nowhere", names_without_out, 3, BASE("translate_resource_names"),
     nothing_is_written},
    {"isvalid_node_association", association, 0, BASE("isvalid_node_association"), none_is_valid},
    {"config", config, 0, BASE("config"), NULL},
    {"config without spec", config_without_spec, 3, BASE("config"), NULL},
    {"errmsg", errmsg, 0, BASE("errmsg"), has_text},
    {"errmsg of an unknown code", errmsg_of_an_unknown_code, 0, BASE("errmsg"), has_text},
    {"fipgn_get_objid", objid_of_a_name, 0, "", id_is_whole},
    {"fipgn_get_objid of an empty name", objid_of_an_empty_name, 1, "", id_is_untouched},
    {NULL, NULL, 0, NULL, NULL},
};
