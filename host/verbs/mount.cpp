// mount ID [NAME]: an unmounted snapshot becomes readable again.
#include <fmt/format.h>

#include "host/transfer/mount_road.h"
#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

struct MountRequest {
    std::string id;
    std::string name;
};

Result<MountedSnapshot> mounted(Installation& installation, const MountRequest& request) {
    auto opened = installation.open();
    if (!opened) {
        return opened.failure();
    }
    return MountRoad(opened->providers, opened->catalog).mount(request.id, request.name);
}

int mount(Installation& installation, const MountRequest& request) {
    auto done = mounted(installation, request);
    if (!done) {
        return answer(installation, done.failure());
    }
    if (installation.settings().isJson) {
        printJson(mountedJson(*done));
    } else {
        printText(fmt::format("{}  mounted at {}\n", done->id, terminalText(done->alternate)));
    }
    return 0;
}

}  // namespace

void addMount(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("mount", "mount an unmounted snapshot again, read-only");
    auto request = std::make_shared<MountRequest>();
    verb->add_option("id", request->id, "the snapshot's id")->required();
    verb->add_option("name", request->name, "where; without it where it was mounted last");
    verb->callback([&chosen, request] {
        chosen = [request](Installation& installation) { return mount(installation, *request); };
    });
}

}  // namespace tarnctl
