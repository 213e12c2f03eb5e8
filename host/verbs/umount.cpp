// umount ID: the snapshot comes to rest: unmounted, detached, its file stays.
#include <fmt/format.h>

#include "host/transfer/umount_road.h"
#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

Status unmounted(Installation& installation, const std::string& id) {
    auto opened = installation.open();
    if (!opened) {
        return opened.failure();
    }
    return UmountRoad(opened->providers, opened->catalog).umount(id);
}

int umount(Installation& installation, const std::string& id) {
    if (Status done = unmounted(installation, id); !done) {
        return answer(installation, done.failure());
    }
    if (installation.settings().isJson) {
        printJson(Json{{"ok", true}, {"id", id}, {"state", "unmounted"}});
    } else {
        printText(fmt::format("{}  unmounted\n", terminalText(id)));
    }
    return 0;
}

}  // namespace

void addUmount(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("umount", "unmount a snapshot and detach its device; its file stays");
    auto id = std::make_shared<std::string>();
    verb->add_option("id", *id, "the snapshot's id")->required();
    verb->callback([&chosen, id] { chosen = [id](Installation& installation) { return umount(installation, *id); }; });
}

}  // namespace tarnctl
