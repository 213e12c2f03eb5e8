// A plug-in that does as it is told: what the frame passes on is seen in it, and what the frame does with an answer.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "cfipluginbase.h"

// The whole of it is shared: the frame makes and destroys the object.
struct Probe {
    int delayedInits = 0;
    int delayedInitAnswer = 0;
    std::map<std::string, int> answers;          // by method; 0 where there is none
    std::vector<std::string> calls;              // method(what matters of the arguments), in order
    std::map<std::string, size_t> sessionNodes;  // how many nodes the session of a session call held
    bool raises = false;                         // every method throws
    // At the last prePrepare.
    std::string fimName;
    std::string providerName;
    int32_t messageIndexOffset = 0;
    bool isWired = false;  // every manager is registered, and is the one of this plug-in

    static Probe& instance();
    static void reset() { instance() = Probe(); }
    int saw(const std::string& method, const std::string& arguments);
};

class ProbePlugin : public CFiPluginBase {
  public:
    int delayedInit() override;
    void fini() override;
    int claim(znfi_objid* object, znfi_objid*** subObjects, int* subObjectCount) override;
    int initAltNode(zfi_domain* node, zfi_domain* parent, zfi_domain* target, bool remote) override;
    int config(zfi_domain* node, int index, char* text, zfi_confspec* spec) override;
    int subobjList(zfi_domain* node, znfi_objid*** objects, int* count) override;
    int quiesce(zfi_quiescenode** nodes, int count, char* options) override;
    int unquiesce(zfi_quiescenode** nodes, int count) override;
    int select(char* sessionId, zfi_splitnode** nodes, int count) override;
    int selectSnapshots(const CFiSmartPtr<CFiSession>& session) override;
    int prepare(char* sessionId, zfi_splitnode** nodes, int count, int flag) override;
    int prepareSnapshots(const CFiSmartPtr<CFiSession>& session) override;
    int make(char* sessionId, zfi_splitnode** nodes, int count, znfi_objid*** ids, int* idCount) override;
    int makeSnapshots(const CFiSmartPtr<CFiSession>& session) override;
    int isReady(char* sessionId, zfi_splitnode** nodes, int count) override;
    int verifyQSCombos(zfi_splitnode** nodes, int count) override;
    int setImportOptions(zfi_splitnode** nodes, int count, zfi_host_infn* hosts, int flags, void* options) override;
    int preselect(char* sessionId, zfi_splitnode** nodes, int count) override;
    int cacheDisable(zfi_domain* node, int flags) override;
    int cacheEnable(zfi_domain* node, int flags) override;
    int getProviderInfo(zfi_provider_list** list) override;
    int enumerateNodes(zfi_node_list** list, int* count, int flags, char* name) override;
    int translateResourceNames(char** names, int count, char** translated) override;
    int objctl(const zfi_tstring& command, CFiObjctlArgs& arguments) override;
    int prePrepare(zfi_domain* node) override;
};
