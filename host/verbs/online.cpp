// online DEV MOUNTPOINT: mounts a device that nobody uses.
#include <fmt/format.h>

#include "host/device/online_device.h"
#include "host/verbs/verb.h"
#include "host/verbs/warnings.h"

namespace tarnctl {
namespace {

Json onlinedJson(const Onlined& onlined) {
    Json json;
    json["ok"] = true;
    putBytes(json, "device", onlined.device);
    putBytes(json, "mountPoint", onlined.mountPoint);
    json["type"] = terminalText(onlined.type);
    json["options"] = terminalText(onlined.options);
    json["recordedIn"] = onlined.recordedIn;
    json["wasThere"] = onlined.wasThere;
    json["warnings"] = warningsJson(onlined.warnings);
    return json;
}

int online(Installation& installation, const OnlineRequest& request) {
    auto opened = installation.open();
    if (!opened) {
        return answer(installation, opened.failure());
    }
    auto onlined = OnlineDevice(opened->providers, opened->catalog).online(request);
    if (!onlined) {
        return answer(installation, onlined.failure());
    }
    printWarnings("bring on line", onlined->device, onlined->warnings);
    if (installation.settings().isJson) {
        printJson(onlinedJson(*onlined));
    } else {
        printText(fmt::format("{} {} {} ({}){}\n", terminalText(onlined->device),
                              onlined->wasThere ? "was mounted already at" : "mounted at",
                              terminalText(onlined->mountPoint), terminalText(onlined->options),
                              onlined->recordedIn.empty() ? "" : " as recorded in " + onlined->recordedIn));
    }
    return 0;
}

}  // namespace

void addOnline(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("online", "mount a device that nobody uses, repairing it when need be");
    auto request = std::make_shared<OnlineRequest>();
    verb->add_option("device", request->device, "block device")->required();
    verb->add_option("mountpoint", request->mountPoint, "where it is mounted; made when it is not there")->required();
    verb->add_option("--options", request->options,
                     "for mount -o; without them those that were recorded with a snapshot, if there is one");
    verb->callback([&chosen, request] {
        chosen = [request](Installation& installation) { return online(installation, *request); };
    });
}

}  // namespace tarnctl
