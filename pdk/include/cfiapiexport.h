// The entry-point frame: defines a provider's whole family of exported functions. Included once, by the one source file
// of a provider that says who it is:
//
//     #define ZFI_PLUGIN_CLASS CTARNPlugin
//     #include "cfiapiexport.h"
//
// Every function opens a trace scope under its own name, takes the plug-in object, runs its delayed initialisation once
// where the list says so, applies its argument rule and calls one method, whose status it returns. init alone opens no
// scope. Nothing is caught here: what leaves a method leaves the entry point, its references dropped and its scope
// closed.
//
// Null pointers that a rule does not name are the methods' business. Rules that look up a session answer 3 to a null
// session id, a negative count, and a list that is null or has a null node within its count.
#pragma once

#include <cstdlib>
#include <cstring>
#include <tuple>
#include <type_traits>
#include <vector>

#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "cfiobjctlargs.h"
#include "cfipluginbase.h"
#include "cfiplugincontext.h"
#include "cfiprivatedatafactory.h"
#include "cfisession.h"
#include "cfistringtool.h"
#include "cfitracelog.h"
#include "zfi_entry_points.h"
#include "znfi.h"

// fipgn_get_objid: the object id of a name. 0 and the id through object, or 1 with object untouched.
extern "C" __attribute__((visibility("default"))) zfi_fn_fipgn_get_objid fipgn_get_objid;

namespace zfi_frame {

inline constexpr const char* kSource = "pdk/include/cfiapiexport";
inline constexpr bool YES = true;
inline constexpr bool NO = false;

using Plugin = ZFI_PLUGIN_CLASS;

template <typename T>
CFiSmartPtr<T> one() {
    return CFiContextSingleton<T, FI_PLUGIN_NAME>::instance(false);
}

template <typename T>
void destroyOne() {
    CFiContextSingleton<T, FI_PLUGIN_NAME>::instance(true);
}

inline CFiSmartPtr<CFiSession> sessionOf(const char* id) {
    return one<CFiSessionManager>()->getSession(id);
}

// A list parameter after the single-node form: one node given alone is a list of one.
template <typename Node>
struct NodeList {
    NodeList(Node*& single, Node** list, int count) : nodes(list), size(count) {
        if (list == nullptr && count == 0 && single != nullptr) {
            nodes = &single;
            size = 1;
        }
    }
    bool isWhole() const {
        if (size < 0 || (size > 0 && nodes == nullptr)) {
            return false;
        }
        for (int i = 0; i < size; ++i) {
            const zfi_domain* domain = nodes[i] == nullptr ? nullptr : nodes[i]->domain;
            if (domain == nullptr || domain->objid == nullptr || domain->objid->name == nullptr) {
                return false;
            }
        }
        return true;
    }
    Node** nodes;
    int size;
};
using SplitList = NodeList<zfi_splitnode>;

// ---- Argument rules: call(plugin, arguments as the framework gave them) --------------------------------------------

struct InFrame {
    static constexpr bool kOpensScope = true;
};

template <auto Method>
struct Plain : InFrame {
    template <typename... A>
    static auto call(Plugin& plugin, A... arguments) {
        return (plugin.*Method)(arguments...);
    }
};

// Not claimed, rather than an error, when any pointer is null.
template <auto Method>
struct Claim : InFrame {
    static int call(Plugin& plugin, znfi_objid* object, znfi_objid*** subObjects, int* count) {
        return object == nullptr || subObjects == nullptr || count == nullptr
                   ? ZFI_OK
                   : (plugin.*Method)(object, subObjects, count);
    }
};

template <auto Method>
struct AllSet : InFrame {
    template <typename... A>
    static int call(Plugin& plugin, A... pointers) {
        return ((pointers == nullptr) || ...) ? ZFI_ERR_INVALID_ARGUMENT : (plugin.*Method)(pointers...);
    }
};

template <auto Method>
struct FirstSet : InFrame {
    template <typename First, typename... A>
    static int call(Plugin& plugin, First first, A... arguments) {
        return first == nullptr ? ZFI_ERR_INVALID_ARGUMENT : (plugin.*Method)(first, arguments...);
    }
};

template <auto Method>
struct ClearedList : InFrame {
    template <typename List>
    static int call(Plugin& plugin, List** list) {
        if (list == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        *list = nullptr;
        return (plugin.*Method)(list);
    }
};

template <auto Method>
struct Config : InFrame {
    static int call(Plugin& plugin, zfi_domain* domain, int index, char* text, zfi_confspec* spec) {
        return domain == nullptr || spec == nullptr ? ZFI_ERR_INVALID_ARGUMENT
                                                    : (plugin.*Method)(domain, index, text, spec);
    }
};

// Only an empty list of names is accepted.
template <auto Method>
struct NoNames : InFrame {
    static int call(Plugin& plugin, char** names, int count, char** out) {
        return names == nullptr || out == nullptr || count != 0 ? ZFI_ERR_INVALID_ARGUMENT
                                                                : (plugin.*Method)(names, 0, out);
    }
};

template <auto Method>
struct NoFlags : InFrame {
    static int call(Plugin& plugin, zfi_domain* domain) { return (plugin.*Method)(domain, 0); }
};

template <auto Method, bool kRemote>
struct AlternateNodeOf : InFrame {
    static int call(Plugin& plugin, zfi_domain* node, zfi_domain* parent, zfi_domain* target) {
        return (plugin.*Method)(node, parent, target, kRemote);
    }
};
template <auto Method>
using AlternateNode = AlternateNodeOf<Method, false>;
template <auto Method>
using RemoteNode = AlternateNodeOf<Method, true>;

template <auto Method>
struct Single : InFrame {
    template <typename Node, typename... A>
    static int call(Plugin& plugin, Node* single, Node** list, int count, A... rest) {
        NodeList<Node> nodes(single, list, count);
        return (plugin.*Method)(nodes.nodes, nodes.size, rest...);
    }
};

template <auto Method>
struct SingleInSession : InFrame {
    static int call(Plugin& plugin, zfi_splitnode* single, char* sessionId, zfi_splitnode** list, int count) {
        SplitList nodes(single, list, count);
        return (plugin.*Method)(sessionId, nodes.nodes, nodes.size);
    }
};

template <auto Method>
struct InSession : InFrame {
    template <typename... A>
    static int call(Plugin& plugin, char* sessionId, A... arguments) {
        if (sessionId == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        return (plugin.*Method)(sessionOf(sessionId), arguments...);
    }
};

// Records the nodes; no method is called.
template <auto Method>
struct Preselect : InFrame {
    static int call(Plugin&, zfi_splitnode* single, char* sessionId, zfi_splitnode** list, int count) {
        SplitList nodes(single, list, count);
        if (sessionId == nullptr || !nodes.isWhole()) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        sessionOf(sessionId)->addNodes(nodes.nodes, nodes.size);
        return ZFI_OK;
    }
};

template <auto Method>
struct Select : InFrame {
    static int call(Plugin& plugin, zfi_splitnode* single, char* sessionId, zfi_splitnode** list, int count) {
        SplitList nodes(single, list, count);
        if (sessionId == nullptr || !nodes.isWhole()) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        int status = (plugin.*Method)(sessionId, nodes.nodes, nodes.size);
        if (status == ZFI_USE_SESSION) {
            CFiSmartPtr<CFiSession> session = sessionOf(sessionId);
            session->addNodes(nodes.nodes, nodes.size);
            status = plugin.selectSnapshots(session);
        }
        if (status == ZFI_OK) {
            sessionOf(sessionId)->addNodes(nodes.nodes, nodes.size);
        }
        return status;
    }
};

template <auto Method>
struct Prepare : InFrame {
    static int call(Plugin& plugin, zfi_splitnode* single, char* sessionId, zfi_splitnode** list, int count, int flag) {
        SplitList nodes(single, list, count);
        if (sessionId == nullptr || !nodes.isWhole()) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        int status = (plugin.*Method)(sessionId, nodes.nodes, nodes.size, flag);
        return status == ZFI_USE_SESSION ? plugin.prepareSnapshots(sessionOf(sessionId)) : status;
    }
};

// The object ids of the names, all or none: *ids becomes null when one of them cannot be made. Without names it is not
// written at all.
inline void storeObjectIds(const std::vector<std::string>& names, znfi_objid*** ids, int* count) {
    *count = static_cast<int>(names.size());
    if (names.empty()) {
        return;
    }
    const size_t size = names.size() * sizeof(znfi_objid*);
    auto** array = static_cast<znfi_objid**>(znfi_alloc_buf(size));
    *ids = array;
    for (size_t i = 0; array != nullptr && i < names.size(); ++i) {
        array[i] = znfi_get_objid(names[i].c_str(), static_cast<uint32_t>(names[i].size() + 1), ZFI_OBJID_NAMED);
        if (array[i] == nullptr) {
            znfi_free_buf(array, size);
            *ids = nullptr;
            return;
        }
    }
}

template <auto Method>
struct Make : InFrame {
    static int call(Plugin& plugin, zfi_splitnode* single, char* sessionId, zfi_splitnode** list, int count,
                    znfi_objid*** ids, int* idCount) {
        SplitList nodes(single, list, count);
        if (sessionId == nullptr || ids == nullptr || idCount == nullptr || !nodes.isWhole()) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        int status = (plugin.*Method)(sessionId, nodes.nodes, nodes.size, ids, idCount);
        if (status != ZFI_USE_SESSION) {
            return status;
        }
        CFiSmartPtr<CFiSession> session = sessionOf(sessionId);
        status = plugin.makeSnapshots(session);
        if (status != ZFI_OK) {
            return status;
        }
        std::vector<std::string> names;
        for (int i = 0; i < nodes.size; ++i) {
            zfi_domain* domain = nodes.nodes[i]->domain;
            domain->state |= ZFI_STATE_MADE;
            names.push_back(session->node(domain->objid->name).snapshotName);
        }
        storeObjectIds(names, ids, idCount);
        return ZFI_OK;
    }
};

// The status of the command goes through *status: the entry point itself answers 0.
template <auto Method>
struct ObjectControl : InFrame {
    static int call(Plugin& plugin, char* command, char* argumentText, char** outText, long* status) {
        if (command == nullptr || outText == nullptr || status == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        CFiObjctlArgs arguments;
        arguments.importArgs(argumentText);
        *status = (plugin.*Method)(CFiStringTool::str2tstr(command), arguments);
        *outText = strdup(arguments.exportArgs().c_str());
        return ZFI_OK;
    }
};

template <auto Method>
struct Fini : InFrame {
    static void call(Plugin& plugin) {
        CFiPluginBase::isShuttingDown(true);
        (plugin.*Method)();
        destroyOne<Plugin>();
        destroyOne<CFiMessageCatalogManager>();
        destroyOne<CFiTraceLog>();
        destroyOne<CFiErrorManager>();
        destroyOne<CFiPrivateDataManager>();
    }
};

// Wires the services of this plug-in together and starts the plug-in object.
template <auto Method>
struct Init {
    static constexpr bool kOpensScope = false;

    static int call(zfi_init* init, zfi_version* version, const char* fimName) {
        if (version == nullptr) {
            return ZFI_ERR_NO_VERSION_RECORD;
        }
        *version = {7, 0, 0, 0};
        CFiSmartPtr<Plugin> plugin = one<Plugin>();
        plugin->setProviderName(cfi_pgn_name_tstr);
        plugin->setFimName(fimName == nullptr ? "" : fimName);
        plugin->setMessageIndexOffset(6000);

        CFiSmartPtr<CFiMessageCatalogManager> catalogs = one<CFiMessageCatalogManager>();
        CFiSmartPtr<CFiTraceLog> traceLog = one<CFiTraceLog>();
        CFiSmartPtr<CFiErrorManager> errors = one<CFiErrorManager>();
        CFiSmartPtr<CFiPrivateDataManager> privateData = one<CFiPrivateDataManager>();
        CFiSmartPtr<CFiSessionManager> sessions = one<CFiSessionManager>();
        traceLog->registerErrorManager(errors);
        privateData->registerTraceLog(traceLog);
        if (!traceLog->isInitialized()) {
            traceLog->initialize(cfi_pgn_name_tstr, "", "", 1, false);
        }

        const char* language = init != nullptr && init->language != nullptr ? *init->language : nullptr;
        if (language != nullptr) {
            catalogs->setNativeLanguage(language);
        }
        errors->registerHandler(new CFiErrorHandler(init, language == nullptr ? "" : language, catalogs));

        plugin->registerTraceLog(traceLog);
        plugin->registerErrorManager(errors);
        plugin->registerCatalogManager(catalogs);
        plugin->registerPrivateDataManager(privateData);
        plugin->registerSessionManager(sessions);
        return (plugin.get()->*Method)();
    }
};

// ---- The frame -----------------------------------------------------------------------------------------------------

template <typename Result, typename Rule, bool kDelayed, typename... A>
Result enter(const char* name, A... arguments) {
    if constexpr (!Rule::kOpensScope) {
        return Rule::call(arguments...);
    } else {
        CFiTraceLogFunction scope(one<CFiTraceLog>(), name, __LINE__, kSource);
        CFiSmartPtr<Plugin> plugin = one<Plugin>();
        if constexpr (kDelayed) {
            if (!plugin->delayedInitDone) {
                plugin->delayedInitDone = true;
                if (plugin->delayedInit() != ZFI_OK) {
                    return static_cast<Result>(ZFI_ERR_DELAYED_INIT);
                }
            }
        }
        return static_cast<Result>(Rule::call(*plugin, arguments...));
    }
}

template <typename Function>
struct Signature;
template <typename R, typename... A>
struct Signature<R(A...)> {
    using Result = R;
    template <size_t I>
    using Argument = std::tuple_element_t<I, std::tuple<A...>>;
};

}  // namespace zfi_frame

// ---- The functions: one per line of the list, their parameters taken from the function type ------------------------

#define ZFI_EXPORTED(name) ZFI_JOIN(ZFI_JOIN(ZFI_PROVIDER, _fi_pgn_), name)
#define ZFI_ARG(F, i) zfi_frame::Signature<F>::Argument<i>
#define ZFI_PARAMETERS_0(F)
#define ZFI_PARAMETERS_1(F) ZFI_ARG(F, 0) a0
#define ZFI_PARAMETERS_2(F) ZFI_PARAMETERS_1(F), ZFI_ARG(F, 1) a1
#define ZFI_PARAMETERS_3(F) ZFI_PARAMETERS_2(F), ZFI_ARG(F, 2) a2
#define ZFI_PARAMETERS_4(F) ZFI_PARAMETERS_3(F), ZFI_ARG(F, 3) a3
#define ZFI_PARAMETERS_5(F) ZFI_PARAMETERS_4(F), ZFI_ARG(F, 4) a4
#define ZFI_PARAMETERS_6(F) ZFI_PARAMETERS_5(F), ZFI_ARG(F, 5) a5
#define ZFI_PARAMETERS_7(F) ZFI_PARAMETERS_6(F), ZFI_ARG(F, 6) a6
#define ZFI_PARAMETERS_8(F) ZFI_PARAMETERS_7(F), ZFI_ARG(F, 7) a7
#define ZFI_PARAMETERS_9(F) ZFI_PARAMETERS_8(F), ZFI_ARG(F, 8) a8
#define ZFI_ARGUMENTS_0
#define ZFI_ARGUMENTS_1 , a0
#define ZFI_ARGUMENTS_2 ZFI_ARGUMENTS_1, a1
#define ZFI_ARGUMENTS_3 ZFI_ARGUMENTS_2, a2
#define ZFI_ARGUMENTS_4 ZFI_ARGUMENTS_3, a3
#define ZFI_ARGUMENTS_5 ZFI_ARGUMENTS_4, a4
#define ZFI_ARGUMENTS_6 ZFI_ARGUMENTS_5, a5
#define ZFI_ARGUMENTS_7 ZFI_ARGUMENTS_6, a6
#define ZFI_ARGUMENTS_8 ZFI_ARGUMENTS_7, a7
#define ZFI_ARGUMENTS_9 ZFI_ARGUMENTS_8, a8

#define ZFI_ENTRY(name, parameters, method, delayed, rule)                                                       \
    extern "C" __attribute__((visibility("default"))) zfi_fn_##name ZFI_EXPORTED(name);                          \
    zfi_frame::Signature<zfi_fn_##name>::Result ZFI_EXPORTED(name)(ZFI_PARAMETERS_##parameters(zfi_fn_##name)) { \
        using namespace zfi_frame;                                                                               \
        return enter<Signature<zfi_fn_##name>::Result, rule<&Plugin::method>, delayed>(                          \
            ZFI_TEXT(ZFI_EXPORTED(name)) ZFI_ARGUMENTS_##parameters);                                            \
    }
#include "zfi_entry_points.def"
#undef ZFI_ENTRY

int fipgn_get_objid(const char* name, znfi_objid** object) {
    if (name == nullptr || object == nullptr) {
        return 1;
    }
    znfi_objid* id = znfi_get_objid(name, static_cast<uint32_t>(std::strlen(name) + 1), ZFI_OBJID_NAMED);
    if (id == nullptr) {
        return 1;
    }
    *object = id;
    return 0;
}
