#include "host/road/step_undo.h"

#include <stdexcept>

#include "host/report/report.h"

namespace tarnctl {
namespace {

// Inverse of putBytes. Throws what a malformed text makes the JSON library throw, or out_of_range.
std::string bytesOf(const Json& object, const std::string& key) {
    auto hex = object.find(key + "Bytes");
    if (hex == object.end()) {
        return object.at(key).get<std::string>();
    }
    const auto text = hex->get<std::string>();
    std::string bytes;
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(text.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

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
    json["hadDirectory"] = undo.hadDirectory;
    return {name, jsonText(json)};
}

Result<VolumeUndo> volumeUndoOf(const StepRecord& step) {
    return parse<VolumeUndo>(step, [](const Json& json) {
        return VolumeUndo{json.at("provider").get<std::string>(), bytesOf(json, "device")};
    });
}

Result<FreezeUndo> freezeUndoOf(const StepRecord& step) {
    return parse<FreezeUndo>(step, [](const Json& json) {
        return FreezeUndo{bytesOf(json, "mountPoint"), json.at("type").get<std::string>(),
                          json.at("fsDevice").get<std::uint64_t>()};
    });
}

Result<MountUndo> mountUndoOf(const StepRecord& step) {
    return parse<MountUndo>(step, [](const Json& json) {
        return MountUndo{json.at("provider").get<std::string>(), bytesOf(json, "origin"), bytesOf(json, "alternate"),
                         bytesOf(json, "snapshotDevice"), json.at("hadDirectory").get<bool>()};
    });
}

}  // namespace tarnctl
