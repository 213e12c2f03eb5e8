// snapshot PATH: makes a snapshot and leaves it mounted at its alternate name.
#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"
#include "host/verbs/warnings.h"

namespace tarnctl {
namespace {

int snapshot(Installation& installation, const std::string& path, Caching caching) {
    auto made = makeSnapshot(installation, path, caching);
    if (!made) {
        return answer(installation, made.failure());
    }
    printWarnings("snapshot", made->mountPoint, made->warnings);
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

Result<Snapshot> makeSnapshot(Installation& installation, const std::string& path, Caching caching) {
    auto opened = installation.open();
    if (!opened) {
        return opened.failure();
    }
    return SnapshotRoad(installation.settings(), opened->providers, opened->catalog).make(path, caching);
}

void addSyncOption(CLI::App& verb, Caching& caching) {
    verb.add_flag_callback(
        "--sync", [&caching] { caching = Caching::kOffMeanwhile; },
        "mount it with sync while the snapshot is made, in addition to the freeze");
}

void addSnapshot(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("snapshot", "make a snapshot and mount it read-only at its alternate name");
    auto path = std::make_shared<std::string>();
    verb->add_option("path", *path, "mount point")->required();
    auto caching = std::make_shared<Caching>(Caching::kLeftOn);
    addSyncOption(*verb, *caching);
    verb->callback([&chosen, path, caching] {
        chosen = [path, caching](Installation& installation) { return snapshot(installation, *path, *caching); };
    });
}

}  // namespace tarnctl
