// show ID: one snapshot with its nodes and steps.
#include <fmt/format.h>

#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

struct Shown {
    SnapshotRecord record;
    Standing standing;
    std::vector<NodeRecord> nodes;
    std::vector<StepRecord> steps;
};

Result<Shown> gather(const Catalog& catalog, const std::string& id) {
    auto record = catalog.snapshot(id);
    if (!record) {
        return record.failure();
    }
    auto standing = standingOf(catalog, *record);
    if (!standing) {
        return standing.failure();
    }
    auto nodes = catalog.nodes(id);
    if (!nodes) {
        return nodes.failure();
    }
    auto steps = catalog.steps(id);
    if (!steps) {
        return steps.failure();
    }
    return Shown{*record, *standing, *nodes, *steps};
}

Json shownJson(const Shown& shown) {
    Json json = recordJson(shown.record, shown.standing);
    json["ok"] = true;
    json["nodes"] = Json::array();
    for (const NodeRecord& node : shown.nodes) {
        Json row{{"role", nameOf(node.node.role)}, {"provider", node.node.provider}};
        putBytes(row, "name", node.node.name);
        json["nodes"].push_back(row);
    }
    json["steps"] = Json::array();
    for (const StepRecord& step : shown.steps) {
        json["steps"].push_back(
            {{"name", step.intent.name}, {"state", nameOf(step.state)}, {"detail", terminalText(step.detail)}});
    }
    return json;
}

std::string shownText(const Shown& shown) {
    std::string text = recordText(shown.record, shown.standing);
    for (const NodeRecord& node : shown.nodes) {
        text += fmt::format("    node  {:<15} {:<8} {}\n", nameOf(node.node.role), node.node.provider,
                            terminalText(node.node.name));
    }
    for (const StepRecord& step : shown.steps) {
        text +=
            fmt::format("    step  {:<15} {:<8} {}\n", step.intent.name, nameOf(step.state), terminalText(step.detail));
    }
    return text;
}

int show(Installation& installation, const std::string& id) {
    auto catalog = installation.catalog();
    if (!catalog) {
        return answer(installation, catalog.failure());
    }
    auto shown = gather(**catalog, id);
    if (!shown) {
        return answer(installation, shown.failure());
    }
    if (installation.settings().isJson) {
        printJson(shownJson(*shown));
    } else {
        printText(shownText(*shown));
    }
    return 0;
}

}  // namespace

void addShow(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("show", "one snapshot with its nodes and steps");
    auto id = std::make_shared<std::string>();
    verb->add_option("id", *id, "the snapshot's id")->required();
    verb->callback([&chosen, id] { chosen = [id](Installation& installation) { return show(installation, *id); }; });
}

}  // namespace tarnctl
