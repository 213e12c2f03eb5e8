// format DEV --type T: makes a file system on a device that is nobody's.
#include <fmt/format.h>

#include "host/device/format_device.h"
#include "host/verbs/verb.h"
#include "host/verbs/warnings.h"

namespace tarnctl {
namespace {

Json formattedJson(const Formatted& formatted) {
    Json json;
    json["ok"] = true;
    putBytes(json, "device", formatted.device);
    json["type"] = formatted.type;
    json["uuid"] = terminalText(formatted.uuid);
    json["provider"] = formatted.provider;
    json["replaced"] = terminalText(formatted.replaced);
    json["warnings"] = warningsJson(formatted.warnings);
    return json;
}

int format(Installation& installation, const FormatRequest& request) {
    auto opened = installation.open();
    if (!opened) {
        return answer(installation, opened.failure());
    }
    auto formatted = FormatDevice(opened->providers, opened->catalog).format(request);
    if (!formatted) {
        return answer(installation, formatted.failure());
    }
    printWarnings("format", formatted->device, formatted->warnings);
    if (installation.settings().isJson) {
        printJson(formattedJson(*formatted));
    } else {
        printText(fmt::format("{}: {} made, UUID {}\n", terminalText(formatted->device), formatted->type,
                              terminalText(formatted->uuid)));
    }
    return 0;
}

}  // namespace

void addFormat(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("format", "make a file system on a device that nobody uses");
    auto request = std::make_shared<FormatRequest>();
    verb->add_option("device", request->device, "block device")->required();
    verb->add_option("--type", request->type, "type of the file system: ext2, ext3, jfs, reiserfs, xfs")->required();
    verb->add_option("--option", request->options, "words for mkfs, as \"-b size=4096\"; may be given several times")
        ->allow_extra_args(false)
        ->take_all();
    verb->add_flag("--force", request->isForced, "what is on the device may be lost");
    verb->callback([&chosen, request] {
        chosen = [request](Installation& installation) { return format(installation, *request); };
    });
}

}  // namespace tarnctl
