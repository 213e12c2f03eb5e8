// delete ID: takes a snapshot apart, whole or half-made. A second time is harmless.
#include <fmt/format.h>

#include "host/road/undo_road.h"
#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

// The file of an imported snapshot: it was made elsewhere and is not deleted. Empty for others.
std::string fileKept(Installation& installation, const std::string& id) {
    auto catalog = installation.catalog();
    auto record = catalog ? (*catalog)->snapshot(id) : Result<SnapshotRecord>(catalog.failure());
    auto standing = record ? standingOf(**catalog, *record) : Result<Standing>(record.failure());
    return standing && standing->imported ? standing->imported->file : "";
}

int remove(Installation& installation, const std::string& id) {
    if (Status removed = deleteSnapshot(installation, id); !removed) {
        return answer(installation, removed.failure());
    }
    const std::string kept = fileKept(installation, id);
    if (installation.settings().isJson) {
        Json json{{"ok", true}, {"id", id}, {"state", nameOf(SnapshotState::kGone)}};
        if (!kept.empty()) {
            putBytes(json, "kept", kept);
        }
        printJson(json);
    } else if (kept.empty()) {
        printText(fmt::format("{}  gone\n", terminalText(id)));
    } else {
        printText(fmt::format("{}  gone; {} was made elsewhere and stays\n", terminalText(id), terminalText(kept)));
    }
    return 0;
}

}  // namespace

Status deleteSnapshot(Installation& installation, const std::string& id) {
    auto opened = installation.open();
    if (!opened) {
        return opened.failure();
    }
    return UndoRoad(opened->providers, opened->catalog).undoAlone(id);
}

void addDelete(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("delete", "unmount and remove a snapshot, also one that was never finished");
    auto id = std::make_shared<std::string>();
    verb->add_option("id", *id, "the snapshot's id")->required();
    verb->callback([&chosen, id] { chosen = [id](Installation& installation) { return remove(installation, *id); }; });
}

}  // namespace tarnctl
