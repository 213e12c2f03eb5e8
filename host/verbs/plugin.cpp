// plugin list, plugin info NAME: which providers are there and what they say of themselves.
#include <fmt/format.h>

#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

Json infoJson(const ProviderInfo& info) {
    Json json;
    json["name"] = info.name;
    json["version"] = info.version;
    json["types"] = info.fiTypes;
    putBytes(json, "library", info.path);
    return json;
}

std::string infoText(const ProviderInfo& info) {
    return fmt::format("{:<10} {:<10} {}  ({})\n", info.name, info.version, fmt::join(info.fiTypes, ","),
                       terminalText(info.path));
}

int show(Installation& installation, const std::string& wanted) {
    auto providers = installation.providers();
    if (!providers) {
        return answer(installation, providers.failure());
    }
    Json all = Json::array();
    for (const auto& provider : **providers) {
        if (!wanted.empty() && provider->name() != wanted) {
            continue;
        }
        all.push_back(infoJson(provider->info()));
        if (!installation.settings().isJson) {
            printText(infoText(provider->info()));
        }
    }
    if (all.empty()) {
        return answer(installation, {ExitCode::kNotFound, "look the provider up", wanted, "it is not loaded"});
    }
    if (installation.settings().isJson) {
        printJson(wanted.empty() ? Json{{"ok", true}, {"plugins", all}} : Json{{"ok", true}, {"plugin", all.front()}});
    }
    return 0;
}

}  // namespace

void addPlugin(CLI::App& app, Verb& chosen) {
    CLI::App* plugin = app.add_subcommand("plugin", "what providers are loaded");
    plugin->require_subcommand(1);
    plugin->add_subcommand("list", "every provider, a line each")->callback([&chosen] {
        chosen = [](Installation& installation) { return show(installation, ""); };
    });
    CLI::App* info = plugin->add_subcommand("info", "one provider");
    auto name = std::make_shared<std::string>();
    info->add_option("name", *name, "the provider's name")->required();
    info->callback(
        [&chosen, name] { chosen = [name](Installation& installation) { return show(installation, *name); }; });
}

}  // namespace tarnctl
