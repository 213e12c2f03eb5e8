#include "loop_plugin.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "cfiplugincontext.h"
#include "cfiproviderinfo.h"
#include "loop_import.h"

namespace {

using std::chrono::milliseconds;

constexpr const char* kSource = "providers/loop/loop_plugin";
constexpr uint64_t kVolumeLayer = 8;
constexpr uint32_t kKind = 2;
constexpr int32_t kDefaultBudgetMs = 10000;

milliseconds budgetOf(CFiSession& session) {
    milliseconds budget = std::chrono::hours(1);  // nobody freezes longer
    for (const auto& [name, entry] : session.nodes()) {
        budget = std::min(budget, milliseconds(entry.freezeBudgetMs > 0 ? entry.freezeBudgetMs : kDefaultBudgetMs));
    }
    return budget;
}

std::string nameIn(znfi_objid** ids, int count, int index) {
    const bool isThere = ids != nullptr && index < count && ids[index] != nullptr && ids[index]->name != nullptr;
    return isThere ? ids[index]->name : "";
}

// As znfi.h says it of this call.
char** pathArray(const std::vector<std::string>& paths) {
    auto** array = static_cast<char**>(std::malloc(paths.size() * sizeof(char*)));
    for (std::size_t i = 0; array != nullptr && i < paths.size(); ++i) {
        array[i] = static_cast<char*>(znfi_alloc_buf(paths[i].size() + 1));
        if (array[i] == nullptr) {
            for (std::size_t made = 0; made < i; ++made) {
                znfi_free_buf(array[made], paths[made].size() + 1);
            }
            std::free(array);
            throw std::bad_alloc();
        }
        paths[i].copy(array[i], paths[i].size());
    }
    if (array == nullptr) {
        throw std::bad_alloc();
    }
    return array;
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
        auto& record = static_cast<CLOOPPrivData&>(*data).record;
        record = recordOf(target, {});
        if (const Data origin = factory().access(node); origin && record.file.empty()) {
            record = static_cast<const CLOOPPrivData&>(*origin).record;
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
        std::vector<CLOOPPrivData*> nodes;
        std::vector<loopfi::SnapshotPlan*> plans;
        for (const auto& [name, entry] : session->nodes()) {
            CLOOPPrivData& data = dataOf(entry);
            data.plan.reset();  // deletes what an earlier try reserved
            data.plan.emplace(loopDevice(name), session->getId());
            nodes.push_back(&data);
            plans.push_back(&*data.plan);
        }
        try {
            loopfi::prepareTogether(plans, budgetOf(*session));
        } catch (...) {
            for (CLOOPPrivData* data : nodes) {
                data->plan.reset();
            }
            throw;
        }
        for (CLOOPPrivData* data : nodes) {
            data->record = data->plan->record();
        }
        return ZFI_OK;
    });
}

// Nothing is traced here unless it fails: the file system below the log may be the frozen one.
int CLOOPPlugin::makeSnapshots(const CFiSmartPtr<CFiSession>& session) {
    return guarded("makeSnapshots", __LINE__, [&] {
        const auto deadline = loopfi::Clock::now() + budgetOf(*session);
        std::vector<std::pair<CFiSplitNode*, CLOOPPrivData*>> nodes;
        std::vector<loopfi::SnapshotPlan*> plans;
        for (auto& [name, entry] : session->nodes()) {
            CLOOPPrivData& data = dataOf(entry);
            if (data.plan && data.plan->id() == session->getId()) {
                nodes.emplace_back(&entry, &data);
                plans.push_back(&*data.plan);
            } else if (entry.snapshotName.empty() || entry.snapshotName != data.record.snapshotDevice) {
                throw std::runtime_error("the snapshot " + session->getId() + " of " + name + " was not prepared");
            }  // else a repeated call finds it made
        }
        if (session->nodes().empty()) {
            throw std::runtime_error("nothing was selected for the snapshot " + session->getId());
        }
        loopfi::makeTogether(plans, deadline);
        for (const auto& [entry, data] : nodes) {
            data->record = data->plan->record();
            entry->snapshotName = data->record.snapshotDevice;
            data->plan.reset();
        }
        return ZFI_OK;
    });
}

// A file that is not there is told apart from other failures.
template <typename Body>
int CLOOPPlugin::missingIs18(const char* method, int line, Body body) {
    return guarded(method, line, [&]() -> int {
        try {
            return body();
        } catch (const std::system_error& error) {
            if (error.code() != std::errc::no_such_file_or_directory) {
                throw;
            }
            report(method, line, error.what());
            return ZFI_ERR_ALT_PATH_MISSING;
        }
    });
}

int CLOOPPlugin::importTreeNode(zfi_domain* node, znfi_objid**, znfi_objid** altTreeNodeIds, int count,
                                znfi_objid** altObject) {
    return missingIs18("importTreeNode", __LINE__, [&]() -> int {
        const Data data = factory().access(node);
        if (!data || altObject == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        *altObject = nullptr;
        auto& record = static_cast<CLOOPPrivData&>(*data).record;
        record =
            loopfi::attachSnapshot(record, nameIn(altTreeNodeIds, count, 0), nameIn(node->objids, node->objidCount, 1));
        const std::string& device = record.snapshotDevice;
        *altObject = znfi_get_objid(device.c_str(), static_cast<uint32_t>(device.size() + 1), ZFI_OBJID_NAMED);
        return *altObject == nullptr ? ZFI_ERR_NO_OBJID : ZFI_OK;
    });
}

int CLOOPPlugin::deportTree(zfi_domain* node, zfi_domain*, zfi_accessnode* access) {
    return guarded("deportTree", __LINE__, [&]() -> int {
        if (node == nullptr || access == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        if (access->imported == 0) {
            return ZFI_OK;
        }
        const Data data = factory().access(node);
        if (const std::string reference = nameIn(node->objids, node->objidCount, 1); !reference.empty()) {
            loopfi::detachReferenced(reference);
        } else if (data) {
            loopfi::detachSnapshot(static_cast<CLOOPPrivData&>(*data).record);
        }
        if (data) {
            static_cast<CLOOPPrivData&>(*data).record.snapshotDevice.clear();
        }
        return ZFI_OK;
    });
}

int CLOOPPlugin::reAccessAltNode(zfi_domain* node, znfi_objid*, znfi_objid*, char*, znfi_objid**, znfi_objid**, int,
                                 zfi_intent intent) {
    return missingIs18("reAccessAltNode", __LINE__, [&]() -> int {
        if (intent == ZFI_INTENT_DESTROY) {
            return ZFI_OK;
        }
        const Data data = factory().access(node);
        if (!data) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        loopfi::checkSnapshotFile(static_cast<CLOOPPrivData&>(*data).record);
        return ZFI_OK;
    });
}

int CLOOPPlugin::dispose(zfi_domain*, zfi_domain* node, zfi_splitnode* splitNode, zfi_disposition disposition) {
    return guarded("dispose", __LINE__, [&]() -> int {
        if (disposition != ZFI_DISPOSITION_REMOVE) {
            return ZFI_OK;
        }
        if (node == nullptr || node->objid == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const char* id = splitNode == nullptr || splitNode->sessionId == nullptr ? "" : splitNode->sessionId;
        const loopfi::SnapshotRecord record = recordOf(node, id);
        if (const Data data = factory().access(node)) {
            static_cast<CLOOPPrivData&>(*data).plan.reset();
        }
        loopfi::disposeSnapshot(record);
        for (const Data& data : everyData()) {
            auto& other = static_cast<CLOOPPrivData&>(*data);
            if (other.record.file == record.file) {
                other.record = {};
            }
        }
        return ZFI_OK;
    });
}

CLOOPPrivData& CLOOPPlugin::restorable(znfi_objid* object, znfi_objid* snapshot, const char* name) const {
    const Data found = object == nullptr ? Data() : factory().accessByName(object->name, false);
    if (!found) {
        throw std::runtime_error("an origin's node was not initialised");
    }
    auto& data = static_cast<CLOOPPrivData&>(*found);
    const std::string& file = data.record.file;
    const bool isMeant = name == nullptr || file.ends_with(loopfi::copyPath({}, name));
    if (file.empty() || !isMeant || snapshot == nullptr || data.record.snapshotDevice != snapshot->name) {
        throw std::runtime_error(std::string("the node ") + object->name + " has no record of this snapshot");
    }
    return data;
}

int CLOOPPlugin::restore(znfi_objid** objects, znfi_objid** snapshots, long count, char* name, char*, char*** targets,
                         long* targetCount, long flags, long* status) {
    return guarded("restore", __LINE__, [&]() -> int {
        if (objects == nullptr || snapshots == nullptr || count <= 0 || targets == nullptr || targetCount == nullptr ||
            status == nullptr) {
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        *targets = nullptr;
        *targetCount = 0;
        *status = ZFI_RESTORE_UNTOUCHED;
        std::vector<loopfi::OriginRestore*> all;
        std::vector<std::string> devices;
        for (long i = 0; i < count; ++i) {
            CLOOPPrivData& data = restorable(objects[i], snapshots[i], name);
            loopfi::OriginRestore checked = loopfi::OriginRestore::check(data.record);
            data.restore.reset();  // only now, so that the device is held all the time
            all.push_back(&data.restore.emplace(std::move(checked)));
            devices.push_back(all.back()->device());
        }
        for (std::size_t i = 0; i < all.size() && (flags & ZFI_RESTORE_CHECK) == 0; ++i) {
            try {
                all[i]->run();
            } catch (...) {
                *status = i > 0 || all[i]->hasBegun() ? ZFI_RESTORE_HALF : ZFI_RESTORE_UNTOUCHED;
                throw;
            }
            *status = i + 1 == all.size() ? ZFI_RESTORE_WHOLE : ZFI_RESTORE_HALF;
        }
        *targets = pathArray(devices);
        *targetCount = count;
        return ZFI_OK;
    });
}

// The node's own record, or the one of whoever made the device that it stands for; else what the device itself tells.
loopfi::SnapshotRecord CLOOPPlugin::recordOf(zfi_domain* node, const std::string& id) const {
    const std::string name = node->objid->name;
    const auto isMeant = [&](const loopfi::SnapshotRecord& record) {
        return !record.file.empty() && (id.empty() || record.file.ends_with(loopfi::copyPath({}, id)));
    };
    if (const Data own = factory().access(node)) {
        const auto& record = static_cast<const CLOOPPrivData&>(*own).record;
        if (isMeant(record)) {
            return record;
        }
    }
    for (const Data& data : everyData()) {
        const auto& record = static_cast<const CLOOPPrivData&>(*data).record;
        if (record.snapshotDevice == name && isMeant(record)) {
            return record;
        }
    }
    const loopfi::LoopInspection inspection = loopfi::inspectLoop(name);
    return inspection.status ? loopfi::findSnapshot(*inspection.status, id) : loopfi::SnapshotRecord{};
}

std::vector<CFiSmartPtr<CFiPrivateData>> CLOOPPlugin::everyData() const {
    std::vector<Data> all = factory().getPrivateDataList(false);
    const std::vector<Data> alternate = factory().getPrivateDataList(true);
    all.insert(all.end(), alternate.begin(), alternate.end());
    return all;
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
