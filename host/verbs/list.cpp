// list: every snapshot that the catalog knows and that is not gone.
#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

int list(Installation& installation, bool wantsAll) {
    auto catalog = installation.catalog();
    if (!catalog) {
        return answer(installation, catalog.failure());
    }
    auto records = (*catalog)->snapshots();
    if (!records) {
        return answer(installation, records.failure());
    }
    Json all = Json::array();
    for (const SnapshotRecord& record : *records) {
        if (record.state == SnapshotState::kGone && !wantsAll) {
            continue;
        }
        auto standing = standingOf(**catalog, record);
        if (!standing) {
            return answer(installation, standing.failure());
        }
        if (installation.settings().isJson) {
            all.push_back(recordJson(record, *standing));
        } else {
            printText(recordText(record, *standing));
        }
    }
    if (installation.settings().isJson) {
        printJson(Json{{"ok", true}, {"snapshots", all}});
    }
    return 0;
}

}  // namespace

void addList(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("list", "the snapshots in the catalog");
    auto all = std::make_shared<bool>(false);
    verb->add_flag("--all", *all, "those that are gone, too");
    verb->callback([&chosen, all] { chosen = [all](Installation& installation) { return list(installation, *all); }; });
}

}  // namespace tarnctl
