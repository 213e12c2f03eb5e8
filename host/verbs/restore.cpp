// restore ID: writes a snapshot back over its origin, which is unmounted meanwhile.
#include <fmt/format.h>

#include "host/restore/restore_road.h"
#include "host/verbs/verb.h"
#include "host/verbs/warnings.h"

namespace tarnctl {
namespace {

Json restoredJson(const Restored& restored) {
    Json json;
    json["ok"] = true;
    json["id"] = restored.id;
    putBytes(json, "mountPoint", restored.mountPoint);
    putBytes(json, "device", restored.device);
    json["mounted"] = restored.isMounted;
    json["wasUnfinished"] = restored.wasUnfinished;
    json["warnings"] = warningsJson(restored.warnings);
    return json;
}

std::string restoredText(const Restored& restored) {
    return fmt::format("{}  restored to {}, {}\n", terminalText(restored.id), terminalText(restored.device),
                       restored.isMounted ? "mounted at " + terminalText(restored.mountPoint)
                                          : "which was not mounted and is not now");
}

int restore(Installation& installation, const RestoreRequest& request) {
    auto opened = installation.open();
    if (!opened) {
        return answer(installation, opened.failure());
    }
    auto restored = RestoreRoad(opened->providers, opened->catalog).restore(request);
    if (!restored) {
        return answer(installation, restored.failure());
    }
    printWarnings("restore", restored->mountPoint, restored->warnings);
    if (installation.settings().isJson) {
        printJson(restoredJson(*restored));
    } else {
        printText(restoredText(*restored));
    }
    return 0;
}

}  // namespace

void addRestore(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("restore",
                                        "write a snapshot back over its origin, which is unmounted and mounted again; "
                                        "also finishes a restore that was interrupted");
    auto request = std::make_shared<RestoreRequest>();
    verb->add_option("id", request->id, "the snapshot's id")->required();
    verb->add_flag("--force", request->isForced, "end the processes that use the origin");
    verb->add_option("--despite-broken", request->despiteBroken,
                     "restore a snapshot that is marked broken, for this reason, which is kept in its record");
    verb->callback([&chosen, request] {
        chosen = [request](Installation& installation) { return restore(installation, *request); };
    });
}

}  // namespace tarnctl
