/* The session calls from C, with one node, with a list, and with what cannot be a list; messages and object control. */
#include <stdlib.h>
#include <string.h>

#include "c_case.h"

static zfi_domain domains[2];
static zfi_splitnode nodes[2];
static zfi_splitnode* list[2] = {&nodes[0], &nodes[1]};
static zfi_splitnode* holed[2] = {&nodes[0], NULL};
static char one[] = "one";
static char two[] = "two";
static znfi_objid** ids;
static int count;

static void fill(void) {
    const char* const names[] = {"/data", "/logs"};
    for (int i = 0; i < 2; ++i) {
        domains[i].objid = make_objid(names[i]);
        domains[i].state = 0;
        nodes[i].domain = &domains[i];
    }
    ids = NULL;
    count = -77;
}

static int preselect_one(void) {
    fill();
    return call.preselect(&nodes[0], one, NULL, 0);
}
static int select_one(void) {
    return call.select(&nodes[0], one, NULL, 0);
}
static int select_list(void) {
    return call.select(NULL, two, list, 2);
}
static int prepare_one(void) {
    return call.prepare(&nodes[0], one, NULL, 0, 0);
}
static int isready_one(void) {
    return call.isready(&nodes[0], one, NULL, 0);
}
static int verify_list(void) {
    return call.verify_qscombos(&nodes[0], list, 2);
}
static int import_options(void) {
    return call.set_import_options(&nodes[0], NULL, 0, NULL, 0, NULL);
}

static int handle(const char* node, const char* snapshot, char* session) {
    zfi_snapreplica_ele element = {make_objid(node), make_objid(snapshot), NULL, 0, 0};
    return call.update_snapshot_handle(session, &element);
}
static int handle_one(void) {
    return handle("/data", "/dev/snap0", one);
}
static int handle_of_a_node_outside_the_session(void) {
    return handle("/logs", "/dev/snap1", one);
}

static int make_one(void) {
    fill();
    return call.make(&nodes[0], one, NULL, 0, &ids, &count);
}
static const char* has_one_id(void) {
    const char* wrong = count == 1 && ids != NULL && strcmp(ids[0]->name, "/dev/snap0") == 0 &&
                                ids[0]->flag == ZFI_OBJID_NAMED && domains[0].state == ZFI_STATE_MADE
                            ? NULL
                            : "not the snapshot's id";
    znfi_free_buf(ids, sizeof *ids);
    return wrong;
}

static int make_list(void) {
    fill();
    return call.make(NULL, two, list, 2, &ids, &count);
}
static const char* count_is_set_and_ids_are_null(void) {
    return count == 2 && ids == NULL && domains[0].state == ZFI_STATE_MADE && domains[1].state == ZFI_STATE_MADE
               ? NULL
               : "not the count with null ids";
}

static int make_nothing(void) {
    fill();
    ids = (znfi_objid**)(void*)&domains;
    return call.make(NULL, two, NULL, 0, &ids, &count);
}
static const char* count_is_0_and_ids_are_untouched(void) {
    return count == 0 && ids == (znfi_objid**)(void*)&domains ? NULL : "not the count alone";
}

static int select_without_session(void) {
    return call.select(&nodes[0], NULL, NULL, 0);
}
static int select_a_count_without_list(void) {
    return call.select(&nodes[0], two, NULL, 2);
}
static int select_a_negative_count(void) {
    return call.select(NULL, two, list, -1);
}
static int select_a_list_with_a_hole(void) {
    return call.select(NULL, two, holed, 2);
}
static int select_nothing(void) {
    return call.select(NULL, two, NULL, 0);
}
static int make_without_out(void) {
    return call.make(&nodes[0], one, NULL, 0, NULL, &count);
}

static char* text;
static long status;
static char command[] = "trace_level";
static char unknown[] = "no such command";

static int objctl(void) {
    return call.objctl(command, NULL, &text, &status);
}
static const char* reports_level_6(void) {
    const char* wanted = "<OBJCTL_ARG_LIST> <OBJCTL_OUTPUT arg=level value=6 type=int /> </OBJCTL_ARG_LIST> ";
    const char* wrong = status == 0 && strcmp(text, wanted) == 0 ? NULL : "not the level";
    free(text);
    return wrong;
}
static int objctl_of_an_unknown_command(void) {
    return call.objctl(unknown, NULL, &text, &status);
}
static const char* fails_in_the_status_only(void) {
    const char* wrong = status == 2 && strcmp(text, "<OBJCTL_ARG_LIST> </OBJCTL_ARG_LIST> ") == 0
                            ? NULL
                            : "not status 2 and an empty list";
    free(text);
    return wrong;
}

static zfi_msg_info* messages;

static int makes_a_message(void) {
    return call.init_altnode(NULL, NULL, NULL);
}
static int get_last_error(void) {
    return call.get_last_error(&messages);
}
static const char* is_the_message(void) {
    return messages != NULL && messages->next == NULL &&
                   strcmp(messages->id, "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION") == 0 && *messages->text != '\0' &&
                   messages->severity == ZFI_SEVERITY_ERROR
               ? NULL
               : "not the message";
}
static int length;
static int get_locale_message(void) {
    return call.get_locale_message(&length, messages, "", &text);
}
static const char* has_its_length(void) {
    return text != NULL && *text != '\0' && strlen(text) + 1 == (size_t)length ? NULL : "not the text";
}
static int del_locale_message(void) {
    return call.del_locale_message(&text);
}
static const char* text_is_null(void) {
    return text == NULL ? NULL : "the text is not null";
}
static int del_last_error(void) {
    return call.del_last_error(&messages);
}
static const char* messages_are_null(void) {
    return messages == NULL ? NULL : "messages are left";
}

const struct c_case session_cases[] = {
    {"preselect one node", preselect_one, 0, BASE("preselect"), NULL},
    {"select one node", select_one, 0, BASE("select"), NULL},
    {"prepare one node", prepare_one, 0, BASE("prepare"), NULL},
    {"isready of one node", isready_one, 0, BASE("isready"), NULL},
    {"verify_qscombos of a list", verify_list, 0, BASE("verify_qscombos"), NULL},
    {"set_import_options", import_options, 2, BASE("set_import_options"), NULL},
    {"update_snapshot_handle", handle_one, 0, BASE("update_snapshot_handle"), NULL},
    {"update_snapshot_handle of a node outside the session", handle_of_a_node_outside_the_session, 3,
     BASE("update_snapshot_handle"), NULL},
    {"make one node", make_one, 0, BASE("make"), has_one_id},
    {"select a list", select_list, 0, BASE("select"), NULL},
    {"make a list whose snapshots have no names", make_list, 0, BASE("make"), count_is_set_and_ids_are_null},
    {"make nothing", make_nothing, 0, BASE("make"), count_is_0_and_ids_are_untouched},
    {"select without session", select_without_session, 3, BASE("select"), NULL},
    {"select a count without list", select_a_count_without_list, 3, BASE("select"), NULL},
    {"select a negative count", select_a_negative_count, 3, BASE("select"), NULL},
    {"select a list with a hole", select_a_list_with_a_hole, 3, BASE("select"), NULL},
    {"select nothing", select_nothing, 0, BASE("select"), NULL},
    {"make without out pointer", make_without_out, 3, BASE("make"), NULL},
    {"objctl trace_level", objctl, 0, BASE("objctl"), reports_level_6},
    {"objctl of an unknown command", objctl_of_an_unknown_command, 0, BASE("objctl"), fails_in_the_status_only},
    {"no message yet", get_last_error, 0, BASE("get_last_error"), messages_are_null},
    {"a message", makes_a_message, 6, ENTRY("init_altnode", METHOD("initAltNode", "")), NULL},
    {"get_last_error", get_last_error, 0, BASE("get_last_error"), is_the_message},
    {"get_locale_message", get_locale_message, 0, BASE("get_locale_message"), has_its_length},
    {"del_locale_message", del_locale_message, 0, BASE("del_locale_message"), text_is_null},
    {"del_locale_message of nothing", del_locale_message, 0, BASE("del_locale_message"), text_is_null},
    {"del_last_error", del_last_error, 0, BASE("del_last_error"), messages_are_null},
    {"no message any more", get_last_error, 0, BASE("get_last_error"), messages_are_null},
    {NULL, NULL, 0, NULL, NULL},
};
