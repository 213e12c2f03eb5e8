// import FILE --device DEV: a snapshot of another host, mounted here.
#include <fmt/format.h>

#include "host/transfer/import_road.h"
#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"

namespace tarnctl {
namespace {

struct Imported {
    MountedSnapshot snapshot;
    ExportDocument document;
};

Result<Imported> imported(Installation& installation, const ImportRequest& request) {
    auto opened = installation.open();
    if (!opened) {
        return opened.failure();
    }
    ImportRoad road(opened->providers, opened->catalog);
    auto snapshot = road.import(request);
    return snapshot ? Result<Imported>(Imported{*snapshot, road.document()}) : Result<Imported>(snapshot.failure());
}

int runImport(Installation& installation, const ImportRequest& request) {
    auto done = imported(installation, request);
    if (!done) {
        return answer(installation, done.failure());
    }
    if (installation.settings().isJson) {
        Json json = mountedJson(done->snapshot);
        json["importedId"] = done->document.id;
        putBytes(json, "mountPoint", done->document.origin.mountPoint);
        json["type"] = done->document.origin.fsType;
        json["consistency"] = nameOf(done->document.consistency);
        printJson(json);
    } else {
        printText(fmt::format("{}  {} of {} mounted at {}\n", done->snapshot.id,
                              terminalText(done->document.origin.mountPoint), terminalText(done->document.host),
                              terminalText(done->snapshot.alternate)));
    }
    return 0;
}

}  // namespace

void addImport(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("import", "mount a snapshot of another host, read-only");
    auto request = std::make_shared<ImportRequest>();
    verb->add_option("file", request->file, "the document that export wrote there")->required();
    verb->add_option("--device", request->device,
                     "where the snapshot's data lies here, as its volume provider takes it (loopfi: its file)")
        ->required();
    verb->add_option("--at", request->name, "where to mount it; without it beside the mount point's name there");
    verb->callback([&chosen, request] {
        chosen = [request](Installation& installation) { return runImport(installation, *request); };
    });
}

}  // namespace tarnctl
