#include "loop_plugin.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "cfiplugincontext.h"
#include "cfiproviderinfo.h"

namespace {

using loopfi::Clock;
using std::chrono::milliseconds;

constexpr const char* kSource = "providers/loop/loop_plugin";
constexpr uint64_t kVolumeLayer = 8;
constexpr uint32_t kKind = 2;
constexpr int32_t kDefaultBudgetMs = 10000;
// A copy that is measured to take a third of the granted time was seen to take two thirds of it on a busy disk.
constexpr int kSafetyFactor = 3;

milliseconds budgetOf(CFiSession& session) {
    milliseconds budget = milliseconds::max();
    for (const auto& [name, entry] : session.nodes()) {
        budget = std::min(budget, milliseconds(entry.freezeBudgetMs > 0 ? entry.freezeBudgetMs : kDefaultBudgetMs));
    }
    return budget;
}

loopfi::LoopStatus loopDevice(const std::string& name) {
    loopfi::LoopInspection inspection = loopfi::inspectLoop(name);
    if (!inspection.status) {
        throw std::runtime_error(name + " cannot be snapshotted: " + inspection.reason);
    }
    return *std::move(inspection.status);
}

}  // namespace

template <typename Body>
int CLOOPPlugin::guarded(const char* method, int line, Body body) {
    const CFiTraceLogFunction scope(traceLog(), method, line, kSource);
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return ZFI_ERR_NO_MEMORY;
    } catch (const std::system_error& error) {
        report(method, line, error.what());
        return error.code() == std::errc::device_or_resource_busy ? ZFI_ERR_BUSY : ZFI_ERR_FAILED;
    } catch (const std::exception& error) {
        report(method, line, error.what());
        return ZFI_ERR_FAILED;
    }
}

void CLOOPPlugin::report(const char* method, int line, const std::string& text) {
    if (traceLog()) {
        traceLog()->trace(1, "%s: %s", method, text.c_str());
    }
    if (errorManager()) {
        const icu::Formattable arguments[] = {"std::runtime_error", text.c_str(), kSource, line};
        errorManager()->pushError(makeCounted<CFiIcuMessage>("MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", arguments, 4,
                                                             ZFI_SEVERITY_ERROR, kSource, line));
    }
}

int CLOOPPlugin::init() {
    return guarded("init", __LINE__, [&] {
        catalogManager()->registerFactory(makeCounted<CFiIcuMessageCatalogFactory>("root", cfi_pgn_name_tstr));
        const auto made = makeCounted<CFiPrivateDataConcreteFactory<CLOOPPrivData>>();
        made->registerTraceLog(traceLog());
        privateDataManager()->registerFactory(made);
        return ZFI_OK;
    });
}

int CLOOPPlugin::claim(znfi_objid* object, znfi_objid*** subObjects, int* subObjectCount) {
    const CFiTraceLogFunction scope(traceLog(), "claim", __LINE__, kSource);
    *subObjects = nullptr;
    *subObjectCount = 0;
    const loopfi::LoopInspection inspection = loopfi::inspectLoop(object->name);
    if (!inspection.status && traceLog()) {
        traceLog()->trace(6, "claim: not %s: %s", object->name, inspection.reason.c_str());
    }
    return inspection.status ? ZFI_CLAIMED : ZFI_OK;
}

int CLOOPPlugin::supportsFiType(zfi_domain* domain, char* type) {
    const CFiTraceLogFunction scope(traceLog(), "supportsFiType", __LINE__, kSource);
    if (domain == nullptr || domain->fiTypeResult == nullptr || type == nullptr) {
        return 0;
    }
    *domain->fiTypeResult = std::string_view(type) == "any" ? 1 : 0;
    return *domain->fiTypeResult;
}

int CLOOPPlugin::getProviderInfo(zfi_provider_list** list) {
    return guarded("getProviderInfo", __LINE__, [&] {
        CFiProviderInfoListFactory records(cfi_pgn_name_tstr, {7, 0, 0, 0}, list);
        CFiProviderInfo info(kVolumeLayer, kKind);
        info.addType("loop");
        records.add(info);
        records.finish();
        return ZFI_OK;
    });
}

int CLOOPPlugin::checkNodeExistence(zfi_domain* node, int* exists) {
    return guarded("checkNodeExistence", __LINE__, [&] {
        if (node == nullptr || exists == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        *exists = loopfi::inspectLoop(node->objid->name).status ? 1 : 0;
        return ZFI_OK;
    });
}

int CLOOPPlugin::processProviderState(zfi_domain* node, zfi_blob* blob, zfi_op_providerstate operation) {
    return guarded("processProviderState", __LINE__, [&]() -> int {
        if (node == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const Data data = factory().allocate(node, false);
        if (operation == ZFI_STATE_SAVE) {
            return data->getNodeState(blob);
        }
        if (operation != ZFI_STATE_RESTORE) {
            return ZFI_OK;
        }
        return blob == nullptr || blob->data == nullptr ? ZFI_ERR_INVALID_ARGUMENT : data->setNodeState(blob);
    });
}

int CLOOPPlugin::initNode(zfi_domain* node, zfi_domain**, int, znfi_objid*) {
    return guarded("initNode", __LINE__, [&] {
        if (node == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        node->displayName = node->objid->name;
        node->quiesce = nullptr;
        node->quiesceNext = nullptr;
        factory().allocate(node, false);
        node->characteristics = ZFI_CHARACTERISTICS;
        loopDevice(node->objid->name);
        return ZFI_OK;
    });
}

int CLOOPPlugin::initAltNode(zfi_domain* node, zfi_domain*, zfi_domain* target, bool) {
    return guarded("initAltNode", __LINE__, [&] {
        if (target == nullptr) {
            throw std::runtime_error("no node of a snapshot device was given");
        }
        target->displayName = target->objid->name;
        target->characteristics = ZFI_CHARACTERISTICS;
        const Data data = factory().allocate(target, true);
        const CLOOPPrivData* holder = holderOf(target);
        if (holder == nullptr) {
            holder = holderOf(node);
        }
        if (holder != nullptr) {
            static_cast<CLOOPPrivData&>(*data).record = holder->record;
        }
        return ZFI_OK;
    });
}

int CLOOPPlugin::selectSnapshots(const CFiSmartPtr<CFiSession>& session) {
    return guarded("selectSnapshots", __LINE__, [&] {
        for (const auto& [name, entry] : session->nodes()) {
            dataOf(entry);
            loopDevice(name);
        }
        return ZFI_OK;
    });
}

int CLOOPPlugin::prepareSnapshots(const CFiSmartPtr<CFiSession>& session) {
    return guarded("prepareSnapshots", __LINE__, [&] {
        try {
            prepareAll(*session);
        } catch (...) {
            for (const auto& [name, entry] : session->nodes()) {
                CLOOPPrivData& data = dataOf(entry);
                if (data.plan) {
                    data.plan.reset();
                    data.record = {};
                }
            }
            throw;
        }
        return ZFI_OK;
    });
}

void CLOOPPlugin::prepareAll(CFiSession& session) {
    std::chrono::nanoseconds expected{0};
    for (const auto& [name, entry] : session.nodes()) {
        CLOOPPrivData& data = dataOf(entry);
        data.plan.reset();  // deletes what an earlier try reserved
        data.plan.emplace(loopDevice(name), session.getId());
        data.record = data.plan->prepare();
        expected += data.plan->forecast().expected;
    }
    const milliseconds budget = budgetOf(session);
    if (expected * kSafetyFactor > budget) {
        throw std::runtime_error("the snapshot " + session.getId() + " is measured to take " +
                                 std::to_string(std::chrono::duration_cast<milliseconds>(expected).count()) +
                                 " ms, which is more than a third of the " + std::to_string(budget.count()) +
                                 " ms for which the file system may be frozen");
    }
}

int CLOOPPlugin::makeSnapshots(const CFiSmartPtr<CFiSession>& session) {
    return guarded("makeSnapshots", __LINE__, [&] {
        makeAll(*session);
        return ZFI_OK;
    });
}

// Nothing is traced here unless it fails: the file system below the log may be the frozen one.
void CLOOPPlugin::makeAll(CFiSession& session) {
    const Clock::time_point deadline = Clock::now() + budgetOf(session);
    std::vector<CFiSplitNode*> made;
    try {
        for (auto& [name, entry] : session.nodes()) {
            CLOOPPrivData& data = dataOf(entry);
            if (!data.plan && !entry.snapshotName.empty() && entry.snapshotName == data.record.snapshotDevice) {
                continue;  // a repeated call finds it made
            }
            if (!data.plan) {
                throw std::runtime_error("the snapshot of " + name + " was not prepared");
            }
            data.record = data.plan->make(deadline);
            entry.snapshotName = data.record.snapshotDevice;
            made.push_back(&entry);
        }
    } catch (...) {
        undo(made);
        throw;
    }
    for (const CFiSplitNode* entry : made) {
        dataOf(*entry).plan.reset();
    }
}

// A snapshot that cannot be undone keeps its record, so that a later dispose can.
void CLOOPPlugin::undo(const std::vector<CFiSplitNode*>& made) {
    for (CFiSplitNode* entry : made) {
        entry->snapshotName.clear();
        CLOOPPrivData& data = dataOf(*entry);
        try {
            loopfi::disposeSnapshot(data.record);
            data.record = {};
        } catch (const std::exception& error) {
            report("makeSnapshots", __LINE__, error.what());
        }
    }
}

int CLOOPPlugin::dispose(zfi_domain*, zfi_domain* node, zfi_splitnode*, zfi_disposition disposition) {
    return guarded("dispose", __LINE__, [&] {
        if (disposition != ZFI_DISPOSITION_REMOVE) {
            return ZFI_OK;
        }
        if (node == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        CLOOPPrivData* holder = holderOf(node);
        if (holder == nullptr) {
            return ZFI_OK;
        }
        holder->plan.reset();
        const loopfi::SnapshotRecord record = holder->record;
        loopfi::disposeSnapshot(record);
        for (const bool isAltNode : {false, true}) {
            for (const Data& data : factory().getPrivateDataList(isAltNode)) {
                auto& other = static_cast<CLOOPPrivData&>(*data);
                if (other.record == record) {
                    other.record = {};
                }
            }
        }
        return ZFI_OK;
    });
}

CFiPrivateDataFactory& CLOOPPlugin::factory() const {
    if (!privateDataManager() || !privateDataManager()->getFactory()) {
        throw std::runtime_error("the provider was not initialised");
    }
    return *privateDataManager()->getFactory();
}

// By name and not by the entry's domain: a session outlives the domains that were selected into it.
CLOOPPrivData& CLOOPPlugin::dataOf(const CFiSplitNode& entry) const {
    const Data data = factory().accessByName(entry.name.c_str(), false);
    if (!data) {
        throw std::runtime_error("the node " + entry.name + " was not initialised");
    }
    return static_cast<CLOOPPrivData&>(*data);
}

// Who holds the record of the node's snapshot: the node itself, or, for the node of a snapshot device that was given no
// record, whoever made that device. Null: nobody.
CLOOPPrivData* CLOOPPlugin::holderOf(zfi_domain* node) const {
    if (node == nullptr) {
        return nullptr;
    }
    const Data own = factory().access(node);
    if (own && !static_cast<CLOOPPrivData&>(*own).record.file.empty()) {
        return static_cast<CLOOPPrivData*>(own.get());
    }
    for (const bool isAltNode : {false, true}) {
        for (const Data& data : factory().getPrivateDataList(isAltNode)) {
            auto* other = static_cast<CLOOPPrivData*>(data.get());
            if (other->record.snapshotDevice == node->objid->name) {
                return other;
            }
        }
    }
    return nullptr;
}
