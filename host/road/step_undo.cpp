#include "host/road/step_undo.h"

#include <stdexcept>

#include "host/report/report.h"

namespace tarnctl {
namespace {

template <typename Undo, typename Read>
Result<Undo> parse(const StepRecord& step, Read read) {
    try {
        return read(Json::parse(step.intent.undo));
    } catch (const std::exception& error) {
        return Failure{ExitCode::kFailed, "read the catalog", step.key.snapshot,
                       "the undo data of its step " + step.intent.name + " cannot be read: " + error.what()};
    }
}

}  // namespace

StepIntent intentOf(const char* name, const VolumeUndo& undo) {
    Json json;
    json["provider"] = undo.provider;
    putBytes(json, "device", undo.device);
    return {name, jsonText(json)};
}

StepIntent intentOf(const char* name, const FreezeUndo& undo) {
    Json json;
    putBytes(json, "mountPoint", undo.mountPoint);
    json["type"] = undo.fsType;
    json["fsDevice"] = undo.fsDevice;
    return {name, jsonText(json)};
}

StepIntent intentOf(const char* name, const MountUndo& undo) {
    Json json;
    json["provider"] = undo.provider;
    putBytes(json, "origin", undo.origin);
    putBytes(json, "alternate", undo.alternate);
    putBytes(json, "snapshotDevice", undo.snapshotDevice);
    if (undo.directory) {
        json["directory"] = {
            {"mode", undo.directory->mode}, {"uid", undo.directory->uid}, {"gid", undo.directory->gid}};
    }
    return {name, jsonText(json)};
}

Result<VolumeUndo> volumeUndoOf(const StepRecord& step) {
    return parse<VolumeUndo>(step, [](const Json& json) {
        return VolumeUndo{json.at("provider").get<std::string>(), getBytes(json, "device").value()};
    });
}

Result<FreezeUndo> freezeUndoOf(const StepRecord& step) {
    return parse<FreezeUndo>(step, [](const Json& json) {
        return FreezeUndo{getBytes(json, "mountPoint").value(), json.at("type").get<std::string>(),
                          json.at("fsDevice").get<std::uint64_t>()};
    });
}

Result<MountUndo> mountUndoOf(const StepRecord& step) {
    return parse<MountUndo>(step, [](const Json& json) {
        MountUndo undo{json.at("provider").get<std::string>(), getBytes(json, "origin").value(),
                       getBytes(json, "alternate").value(), getBytes(json, "snapshotDevice").value(), std::nullopt};
        if (auto directory = json.find("directory"); directory != json.end()) {
            undo.directory = {directory->at("mode").get<mode_t>(), directory->at("uid").get<uid_t>(),
                              directory->at("gid").get<gid_t>()};
        }
        return undo;
    });
}

}  // namespace tarnctl
