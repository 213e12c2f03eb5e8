// snapshot PATH: makes a snapshot and leaves it mounted at its alternate name.
#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

int snapshot(Installation& installation, const std::string& path) {
    auto made = makeSnapshot(installation, path);
    if (!made) {
        return answer(installation, made.failure());
    }
    if (made->isBroken) {
        if (installation.settings().isJson) {
            Json json = madeJson(*made);
            json.update(failureJson(brokenFailure(*made)));
            printJson(json);
            return static_cast<int>(ExitCode::kFailed);
        }
        return answer(installation, brokenFailure(*made));
    }
    if (installation.settings().isJson) {
        printJson(madeJson(*made));
    } else {
        printText(madeText(*made));
    }
    return 0;
}

}  // namespace

Result<Snapshot> makeSnapshot(Installation& installation, const std::string& path) {
    auto providers = installation.providers();
    if (!providers) {
        return providers.failure();
    }
    auto catalog = installation.catalog();
    if (!catalog) {
        return catalog.failure();
    }
    return SnapshotRoad(installation.settings(), **providers, **catalog).make(path);
}

void addSnapshot(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("snapshot", "make a snapshot and mount it read-only at its alternate name");
    auto path = std::make_shared<std::string>();
    verb->add_option("path", *path, "mount point")->required();
    verb->callback(
        [&chosen, path] { chosen = [path](Installation& installation) { return snapshot(installation, *path); }; });
}

}  // namespace tarnctl
