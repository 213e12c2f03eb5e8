// probe PATH…: who claims a mount point, and what a snapshot of it would work with. Changes nothing.
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>

#include "host/mounts/mount_table.h"
#include "host/mounts/preflight.h"
#include "host/provider/node.h"
#include "host/road/write_through.h"
#include "host/verbs/verb.h"
#include "host/verbs/warnings.h"

namespace tarnctl {
namespace {

struct Probed {
    std::string path;
    std::string provider;  // empty: nobody claims it
    std::string type;
    std::string device;
    std::string options;
    std::string freezeMethod;    // the provider's, "ioctl": the host freezes by itself, or "none": it cannot be
    std::string volumeProvider;  // empty: nobody claims the device
    std::vector<std::string> warnings;
};

Result<Probed> probe(Providers& providers, const MountTable& table, const std::string& given) {
    const std::string path = withoutTrailingSlashes(given);
    auto entry = checkMountPoint(table, path, {});
    if (!entry) {
        return entry.failure();
    }
    Probed probed{path, {}, entry->type, {}, entry->options, {}, {}, {}};
    auto owner = claimant(providers, path);
    if (!owner) {
        return owner.failure();
    }
    if (*owner == nullptr) {
        return probed;
    }
    probed.provider = (*owner)->name();
    Node node(**owner, path);
    if (Status initialised = node.init(); !initialised) {
        return initialised.failure();
    }
    const zfi_quiescenode* quiesce = node.record()->quiesce;
    probed.freezeMethod = quiesce != nullptr && quiesce->method != nullptr ? quiesce->method
                          : cannotBeFrozen(entry->type)                    ? "none"
                                                                           : "ioctl";
    auto devices = node.subObjects();
    if (!devices) {
        return devices.failure();
    }
    probed.device = devices->empty() ? entry->source : devices->front();
    auto volume = claimant(providers, probed.device);
    if (!volume) {
        return volume.failure();
    }
    probed.volumeProvider = *volume == nullptr ? "" : (*volume)->name();
    if (*volume == nullptr && ::access(probed.device.c_str(), R_OK) != 0 && errno == EACCES) {
        probed.warnings.push_back(
            fmt::format("user {} may not read {}: whether a volume provider would claim it is not known", ::geteuid(),
                        probed.device));
    }
    return probed;
}

Json probedJson(const Probed& probed) {
    Json json;
    putBytes(json, "path", probed.path);
    json["claimed"] = !probed.provider.empty();
    json["provider"] = probed.provider;
    json["type"] = probed.type;
    putBytes(json, "device", probed.device);
    json["options"] = probed.options;
    json["freezeMethod"] = probed.freezeMethod;
    json["volumeProvider"] = probed.volumeProvider;
    json["warnings"] = warningsJson(probed.warnings);
    return json;
}

std::string probedText(const Probed& probed) {
    if (probed.provider.empty()) {
        return fmt::format("{}: {}, claimed by nobody\n", terminalText(probed.path), probed.type);
    }
    return fmt::format("{}: {} on {}, claimed by {}, volume layer {}, frozen by {}, options {}\n",
                       terminalText(probed.path), probed.type, terminalText(probed.device), probed.provider,
                       probed.volumeProvider.empty() ? "none" : probed.volumeProvider, probed.freezeMethod,
                       terminalText(probed.options));
}

int probeAll(Installation& installation, const std::vector<std::string>& paths) {
    auto providers = installation.providers();
    if (!providers) {
        return answer(installation, providers.failure());
    }
    auto table = MountTable::read();
    if (!table) {
        return answer(installation, table.failure());
    }
    Json all = Json::array();
    int exitStatus = 0;
    for (const std::string& path : paths) {
        auto probed = probe(**providers, *table, path);
        if (!probed) {
            exitStatus = exitStatus == 0 ? static_cast<int>(probed.failure().code) : exitStatus;
            if (installation.settings().isJson) {
                all.push_back(failureJson(probed.failure()));
            } else {
                answer(installation, probed.failure());
            }
            continue;
        }
        if (probed->provider.empty() && exitStatus == 0) {
            exitStatus = static_cast<int>(ExitCode::kUnsupported);
        }
        printWarnings("probe", probed->path, probed->warnings);
        if (installation.settings().isJson) {
            all.push_back(probedJson(*probed));
        } else {
            printText(probedText(*probed));
        }
    }
    if (installation.settings().isJson) {
        printJson(Json{{"ok", exitStatus == 0}, {"paths", all}});
    }
    return exitStatus;
}

}  // namespace

void addProbe(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("probe", "who claims a mount point, and what a snapshot of it would work with");
    auto paths = std::make_shared<std::vector<std::string>>();
    verb->add_option("path", *paths, "mount points")->required();
    verb->callback(
        [&chosen, paths] { chosen = [paths](Installation& installation) { return probeAll(installation, *paths); }; });
}

}  // namespace tarnctl
