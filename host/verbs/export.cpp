// export ID [--output FILE]: the document with which an unmounted snapshot travels to another host.
#include <fmt/format.h>

#include "host/transfer/document_file.h"
#include "host/transfer/export_road.h"
#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

struct ExportRequest {
    std::string id;
    std::string output;  // empty: standard output
};

Result<std::string> exported(Installation& installation, const std::string& id) {
    auto opened = installation.open();
    if (!opened) {
        return opened.failure();
    }
    auto document = ExportRoad(opened->providers, opened->catalog).exportOf(id);
    return document ? Result<std::string>(textOf(*document)) : Result<std::string>(document.failure());
}

int runExport(Installation& installation, const ExportRequest& request) {
    auto text = exported(installation, request.id);
    if (!text) {
        return answer(installation, text.failure());
    }
    if (request.output.empty()) {
        printText(*text);
        return 0;
    }
    if (Status written = writeDocument(request.output, *text); !written) {
        return answer(installation, written.failure());
    }
    if (installation.settings().isJson) {
        Json json{{"ok", true}, {"id", request.id}};
        putBytes(json, "output", request.output);
        printJson(json);
    } else {
        printText(fmt::format("{}  exported to {}\n", terminalText(request.id), terminalText(request.output)));
    }
    return 0;
}

}  // namespace

void addExport(CLI::App& app, Verb& chosen) {
    CLI::App* verb =
        app.add_subcommand("export", "write the document with which an unmounted snapshot is imported on another host");
    auto request = std::make_shared<ExportRequest>();
    verb->add_option("id", request->id, "the snapshot's id")->required();
    verb->add_option("--output", request->output, "a file to be made for it; without it on standard output");
    verb->callback([&chosen, request] {
        chosen = [request](Installation& installation) { return runExport(installation, *request); };
    });
}

}  // namespace tarnctl
