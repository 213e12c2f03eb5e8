#include "frame/probe_plugin.h"

#include <stdexcept>

#include "cfiplugincontext.h"
#include "cfisession.h"

namespace {

// A list as the method got it: its names, or "null", and the count.
template <typename Node>
std::string shown(Node** nodes, int count) {
    std::string text = nodes == nullptr ? "null" : "";
    for (int i = 0; nodes != nullptr && i < count; ++i) {
        text += std::string(i == 0 ? "" : " ") + nodes[i]->domain->objid->name;
    }
    return text + ", " + std::to_string(count);
}

template <typename T>
CFiSmartPtr<T> one() {
    return CFiContextSingleton<T, FI_PLUGIN_NAME>::instance(false);
}

std::string shown(const void* pointer) {
    return pointer == nullptr ? "null" : "set";
}

}  // namespace

Probe& Probe::instance() {
    static Probe probe;
    return probe;
}

int Probe::saw(const std::string& method, const std::string& arguments) {
    calls.push_back(method + "(" + arguments + ")");
    if (raises) {
        throw std::logic_error("probe");
    }
    return answers[method];
}

#define SAW(method, ...) Probe::instance().saw(#method, __VA_ARGS__)

int ProbePlugin::delayedInit() {
    ++Probe::instance().delayedInits;
    return Probe::instance().delayedInitAnswer;
}

void ProbePlugin::fini() {
    Probe::instance().calls.emplace_back(isShuttingDown() ? "fini(shutting down)" : "fini()");
}

int ProbePlugin::claim(znfi_objid* object, znfi_objid***, int*) {
    return SAW(claim, object->name);
}

int ProbePlugin::initAltNode(zfi_domain* node, zfi_domain* parent, zfi_domain* target, bool remote) {
    return SAW(initAltNode,
               shown(node) + ", " + shown(parent) + ", " + shown(target) + (remote ? ", true" : ", false"));
}

int ProbePlugin::config(zfi_domain*, int index, char* text, zfi_confspec*) {
    return SAW(config, std::to_string(index) + ", " + shown(text));
}

int ProbePlugin::subobjList(zfi_domain* node, znfi_objid***, int*) {
    return SAW(subobjList, node->objid->name);
}

int ProbePlugin::quiesce(zfi_quiescenode** nodes, int count, char* options) {
    return SAW(quiesce, shown(nodes, count) + ", " + (options == nullptr ? "null" : options));
}

int ProbePlugin::unquiesce(zfi_quiescenode** nodes, int count) {
    return SAW(unquiesce, shown(nodes, count));
}

int ProbePlugin::select(char* sessionId, zfi_splitnode** nodes, int count) {
    return SAW(select, sessionId + (", " + shown(nodes, count)));
}

int ProbePlugin::selectSnapshots(const CFiSmartPtr<CFiSession>& session) {
    Probe::instance().sessionNodes["selectSnapshots"] = session->nodes().size();
    return SAW(selectSnapshots, session->getId());
}

int ProbePlugin::prepare(char* sessionId, zfi_splitnode** nodes, int count, int flag) {
    return SAW(prepare, sessionId + (", " + shown(nodes, count)) + ", " + std::to_string(flag));
}

int ProbePlugin::prepareSnapshots(const CFiSmartPtr<CFiSession>& session) {
    Probe::instance().sessionNodes["prepareSnapshots"] = session->nodes().size();
    return SAW(prepareSnapshots, session->getId());
}

int ProbePlugin::make(char* sessionId, zfi_splitnode** nodes, int count, znfi_objid*** ids, int* idCount) {
    return SAW(make, sessionId + (", " + shown(nodes, count)) + ", " + shown(ids) + ", " + shown(idCount));
}

int ProbePlugin::makeSnapshots(const CFiSmartPtr<CFiSession>& session) {
    Probe::instance().sessionNodes["makeSnapshots"] = session->nodes().size();
    return SAW(makeSnapshots, session->getId());
}

int ProbePlugin::isReady(char* sessionId, zfi_splitnode** nodes, int count) {
    return SAW(isReady, sessionId + (", " + shown(nodes, count)));
}

int ProbePlugin::verifyQSCombos(zfi_splitnode** nodes, int count) {
    return SAW(verifyQSCombos, shown(nodes, count));
}

int ProbePlugin::setImportOptions(zfi_splitnode** nodes, int count, zfi_host_infn* hosts, int flags, void* options) {
    return SAW(setImportOptions,
               shown(nodes, count) + ", " + shown(hosts) + ", " + std::to_string(flags) + ", " + shown(options));
}

int ProbePlugin::preselect(char*, zfi_splitnode**, int) {
    return SAW(preselect, "");
}

int ProbePlugin::cacheDisable(zfi_domain* node, int flags) {
    return SAW(cacheDisable, node->objid->name + (", " + std::to_string(flags)));
}

int ProbePlugin::cacheEnable(zfi_domain* node, int flags) {
    return SAW(cacheEnable, node->objid->name + (", " + std::to_string(flags)));
}

int ProbePlugin::getProviderInfo(zfi_provider_list** list) {
    return SAW(getProviderInfo, *list == nullptr ? "list is null" : "list is not null");
}

int ProbePlugin::enumerateNodes(zfi_node_list**, int* count, int, char*) {
    return SAW(enumerateNodes, shown(count));
}

int ProbePlugin::translateResourceNames(char**, int count, char**) {
    return SAW(translateResourceNames, std::to_string(count));
}

int ProbePlugin::objctl(const zfi_tstring& command, CFiObjctlArgs& arguments) {
    std::string text = command.c_str();
    for (const CFiObjctlArg& argument : arguments.input) {
        text += std::string(" ") + argument.arg.c_str() + ":" + argument.value.c_str() + ":" + argument.type.c_str();
    }
    arguments.output.push_back({"answer", "42", "int"});
    arguments.output.push_back({"more", "x", "text"});
    return SAW(objctl, text);
}

int ProbePlugin::prePrepare(zfi_domain*) {
    Probe& probe = Probe::instance();
    probe.fimName = fimName();
    probe.providerName = providerName().c_str();
    probe.messageIndexOffset = messageIndexOffset();
    probe.isWired = traceLog() == one<CFiTraceLog>() && errorManager() == one<CFiErrorManager>() &&
                    catalogManager() == one<CFiMessageCatalogManager>() &&
                    privateDataManager() == one<CFiPrivateDataManager>() &&
                    sessionManager() == one<CFiSessionManager>() && privateDataManager()->traceLog() == traceLog();
    return SAW(prePrepare, "");
}
