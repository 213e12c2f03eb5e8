#include "host/restore/restore_steps.h"

#include "host/report/report.h"
#include "host/road/step_data.h"

namespace tarnctl {
namespace {

std::string bytesOf(const Json& json, const std::string& key) {
    return getBytes(json, key).value();
}

}  // namespace

StepIntent intentOf(const DisableUndo& undo) {
    Json json;
    json["provider"] = undo.provider;
    putBytes(json, "mountPoint", undo.mountPoint);
    putBytes(json, "device", undo.device);
    json["type"] = undo.fsType;
    json["fsDevice"] = undo.fsDevice;
    putBytes(json, "state", undo.state);
    putBytes(json, "options", undo.options);
    putBytes(json, "superOptions", undo.superOptions);
    return {step::kDisable, jsonText(json)};
}

StepIntent intentOf(const RestoreUndo& undo) {
    Json json;
    json["provider"] = undo.provider;
    putBytes(json, "device", undo.device);
    putBytes(json, "snapshotDevice", undo.snapshotDevice);
    putBytes(json, "despite", undo.despite);
    return {step::kRestore, jsonText(json)};
}

Result<DisableUndo> disableUndoOf(const StepRecord& step) {
    return readStepData<DisableUndo>(step, [](const Json& json) {
        return DisableUndo{json.at("provider").get<std::string>(),
                           bytesOf(json, "mountPoint"),
                           bytesOf(json, "device"),
                           json.at("type").get<std::string>(),
                           json.at("fsDevice").get<std::uint64_t>(),
                           bytesOf(json, "state"),
                           bytesOf(json, "options"),
                           bytesOf(json, "superOptions")};
    });
}

Result<RestoreUndo> restoreUndoOf(const StepRecord& step) {
    return readStepData<RestoreUndo>(step, [](const Json& json) {
        return RestoreUndo{json.at("provider").get<std::string>(), bytesOf(json, "device"),
                           bytesOf(json, "snapshotDevice"), bytesOf(json, "despite")};
    });
}

Result<UnfinishedRestore> unfinishedRestoreOf(const Catalog& catalog, const std::string& snapshotId) {
    auto steps = catalog.steps(snapshotId);
    if (!steps) {
        return steps.failure();
    }
    UnfinishedRestore found;
    for (const StepRecord& step : *steps) {
        if (step.intent.name == step::kDisable &&
            (step.state == StepState::kIntended || step.state == StepState::kDone)) {
            found.disable = step;
            found.isWritten = false;
        }
        if (step.intent.name == step::kRestore && step.state == StepState::kIntended) {
            found.restore = step;
        }
        if (step.intent.name == step::kRestore && step.state == StepState::kDone) {
            found.isWritten = found.disable.has_value();
        }
    }
    return found;
}

}  // namespace tarnctl
