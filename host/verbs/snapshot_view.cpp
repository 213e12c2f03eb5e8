#include "host/verbs/snapshot_view.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "host/verbs/warnings.h"

namespace tarnctl {
namespace {

std::int64_t nanoseconds(std::chrono::steady_clock::time_point at) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(at.time_since_epoch()).count();
}

Consistency consistencyOf(const Snapshot& snapshot) {
    return snapshot.isBroken ? Consistency::kBroken : snapshot.isCrash ? Consistency::kCrash : Consistency::kFrozen;
}

std::string createdText(std::int64_t ns) {
    const auto seconds = static_cast<std::time_t>(ns / 1'000'000'000);
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(seconds));
}

}  // namespace

Json madeJson(const Snapshot& snapshot) {
    Json json;
    json["ok"] = !snapshot.isBroken;
    json["id"] = snapshot.id;
    putBytes(json, "mountPoint", snapshot.mountPoint);
    putBytes(json, "device", snapshot.device);
    json["type"] = snapshot.fsType;
    putBytes(json, "alternate", snapshot.alternate);
    putBytes(json, "snapshotDevice", snapshot.snapshotDevice);
    json["consistency"] = nameOf(consistencyOf(snapshot));
    json["sync"] = snapshot.isThrough;
    json["windowNs"] = snapshot.isCrash ? Json(nullptr) : Json(snapshot.still.count());
    json["volumeLayerNs"] = snapshot.made.count();
    json["frozenAtNs"] = snapshot.isCrash ? Json(nullptr) : Json(nanoseconds(snapshot.frozenAt));
    json["thawedAtNs"] = snapshot.isCrash ? Json(nullptr) : Json(nanoseconds(snapshot.thawedAt));
    json["warnings"] = warningsJson(snapshot.warnings);
    return json;
}

std::string madeText(const Snapshot& snapshot) {
    const std::string how =
        snapshot.isCrash ? "not frozen: consistent as after a crash"
                         : fmt::format("stood still {:.1f} ms", static_cast<double>(snapshot.still.count()) / 1e6);
    return fmt::format("{}  {} -> {}  ({})\n", snapshot.id, terminalText(snapshot.mountPoint),
                       terminalText(snapshot.alternate), how);
}

Json recordJson(const SnapshotRecord& record, const Standing& standing) {
    Json json;
    json["id"] = record.id;
    json["state"] = standing.state;
    json["consistency"] = nameOf(record.consistency);
    putBytes(json, "mountPoint", record.origin.mountPoint);
    putBytes(json, "device", record.origin.device);
    json["type"] = record.origin.fsType;
    putBytes(json, "alternate", standing.mounted ? standing.mounted->alternate : "");
    json["created"] = createdText(record.createdNs);
    json["windowNs"] = record.windowNs ? Json(*record.windowNs) : Json(nullptr);
    json["imported"] = nullptr;
    if (standing.imported) {
        Json imported{{"id", standing.imported->id}};
        putBytes(imported, "host", standing.imported->host);
        putBytes(imported, "file", standing.imported->file);
        json["imported"] = imported;
    }
    return json;
}

std::string recordText(const SnapshotRecord& record, const Standing& standing) {
    const std::string where = standing.mounted ? standing.mounted->alternate : "";
    const std::string from = standing.imported ? " (imported from " + terminalText(standing.imported->host) + ")" : "";
    return fmt::format("{}  {}  {:<9} {:<9} {} {}{}\n", record.id, createdText(record.createdNs), standing.state,
                       nameOf(record.consistency), terminalText(record.origin.mountPoint), terminalText(where), from);
}

Json mountedJson(const MountedSnapshot& snapshot) {
    Json json{{"ok", true}, {"id", snapshot.id}, {"state", nameOf(SnapshotState::kReady)}};
    putBytes(json, "alternate", snapshot.alternate);
    putBytes(json, "snapshotDevice", snapshot.device);
    return json;
}

Failure brokenFailure(const Snapshot& snapshot) {
    return {
        ExitCode::kFailed, "snapshot", snapshot.mountPoint,
        fmt::format("somebody thawed the file system before the snapshot was whole: {} is marked broken", snapshot.id)};
}

}  // namespace tarnctl
