#include "host/road/step_undo.h"

#include <sys/stat.h>

#include "host/report/report.h"
#include "host/road/step_data.h"

namespace tarnctl {
namespace {

Json jsonOf(const Restrictions& restrictions) {
    return {{"nosuid", restrictions.noSuid}, {"nodev", restrictions.noDev}, {"noexec", restrictions.noExec}};
}

Json jsonOf(const Superblock& superblock) {
    return {{"type", superblock.type}, {"uuid", superblock.uuid}};
}

Restrictions restrictionsFrom(const Json& json) {
    return {json.at("nosuid").get<bool>(), json.at("nodev").get<bool>(), json.at("noexec").get<bool>()};
}

Superblock superblockFrom(const Json& json) {
    return {json.at("type").get<std::string>(), json.at("uuid").get<std::string>()};
}

}  // namespace

std::optional<KeptDirectory> keptDirectory(const AlternateName& name) {
    struct stat status {};
    if (!name.existed || ::stat(name.name.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return KeptDirectory{status.st_mode, status.st_uid, status.st_gid};
}

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

StepIntent intentOf(const char* name, const SyncUndo& undo) {
    Json json;
    json["provider"] = undo.provider;
    putBytes(json, "mountPoint", undo.mountPoint);
    json["fsDevice"] = undo.fsDevice;
    putBytes(json, "options", undo.options);
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
    json["restrictions"] = jsonOf(undo.restrictions);
    return {name, jsonText(json)};
}

StepIntent intentOf(const char* name, const AttachUndo& undo) {
    Json json;
    json["provider"] = undo.provider;
    putBytes(json, "node", undo.node);
    json["reference"] = undo.reference;
    return {name, jsonText(json)};
}

StepIntent intentOf(const char* name, const ImportFacts& facts) {
    Json json;
    json["id"] = facts.id;
    putBytes(json, "host", facts.host);
    putBytes(json, "file", facts.file);
    json["superblock"] = jsonOf(facts.superblock);
    json["restrictions"] = jsonOf(facts.restrictions);
    return {name, jsonText(json)};
}

StepIntent intentOf(const char* name, const Superblock& superblock) {
    return {name, jsonText(jsonOf(superblock))};
}

Result<VolumeUndo> volumeUndoOf(const StepRecord& step) {
    return readStepData<VolumeUndo>(step, [](const Json& json) {
        return VolumeUndo{json.at("provider").get<std::string>(), getBytes(json, "device").value()};
    });
}

Result<FreezeUndo> freezeUndoOf(const StepRecord& step) {
    return readStepData<FreezeUndo>(step, [](const Json& json) {
        return FreezeUndo{getBytes(json, "mountPoint").value(), json.at("type").get<std::string>(),
                          json.at("fsDevice").get<std::uint64_t>()};
    });
}

Result<SyncUndo> syncUndoOf(const StepRecord& step) {
    return readStepData<SyncUndo>(step, [](const Json& json) {
        return SyncUndo{json.at("provider").get<std::string>(), getBytes(json, "mountPoint").value(),
                        json.at("fsDevice").get<std::uint64_t>(), getBytes(json, "options").value()};
    });
}

Result<MountUndo> mountUndoOf(const StepRecord& step) {
    return readStepData<MountUndo>(step, [](const Json& json) {
        MountUndo undo{json.at("provider").get<std::string>(), getBytes(json, "origin").value(),
                       getBytes(json, "alternate").value(), getBytes(json, "snapshotDevice").value(), std::nullopt};
        if (auto restrictions = json.find("restrictions"); restrictions != json.end()) {
            undo.restrictions = restrictionsFrom(*restrictions);
        }
        if (auto directory = json.find("directory"); directory != json.end()) {
            undo.directory = {directory->at("mode").get<mode_t>(), directory->at("uid").get<uid_t>(),
                              directory->at("gid").get<gid_t>()};
        }
        return undo;
    });
}

Result<AttachUndo> attachUndoOf(const StepRecord& step) {
    return readStepData<AttachUndo>(step, [](const Json& json) {
        return AttachUndo{json.at("provider").get<std::string>(), getBytes(json, "node").value(),
                          json.at("reference").get<std::string>()};
    });
}

Result<ImportFacts> importFactsOf(const StepRecord& step) {
    return readStepData<ImportFacts>(step, [](const Json& json) {
        return ImportFacts{json.at("id").get<std::string>(), getBytes(json, "host").value(),
                           getBytes(json, "file").value(), superblockFrom(json.at("superblock")),
                           restrictionsFrom(json.at("restrictions"))};
    });
}

Result<Superblock> superblockOf(const StepRecord& step) {
    return readStepData<Superblock>(step, [](const Json& json) { return superblockFrom(json); });
}

}  // namespace tarnctl
