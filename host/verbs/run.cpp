// run PATH -- CMD…: a snapshot for the time of one command.
#include <fmt/format.h>

#include "host/road/interruption.h"
#include "host/verbs/callers_command.h"
#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"
#include "host/verbs/warnings.h"

namespace tarnctl {
namespace {

struct RunRequest {
    std::string path;
    std::vector<std::string> command;
    bool passesCommandCode = false;
    Caching caching = Caching::kLeftOn;
};

std::vector<std::string> withMountPoint(std::vector<std::string> command, const std::string& alternate) {
    for (std::string& word : command) {
        for (size_t at = word.find("{}"); at != std::string::npos; at = word.find("{}", at + alternate.size())) {
            word.replace(at, 2, alternate);
        }
    }
    return command;
}

// The command's failure, or what kept the snapshot from being used; the removal's own failure stands beside it.
int conclude(const Installation& installation, const RunRequest& request, const Snapshot& snapshot,
             const Result<Ended>& ended, const Status& removed) {
    std::optional<Failure> failure;
    if (!ended) {
        failure = ended.failure();
    } else if (ended->code != 0) {
        failure = Failure{ExitCode::kCommandFailed, "run", request.command.front(),
                          fmt::format("the command ended with {}", ended->code)};
    }
    if (!removed) {
        if (failure) {
            failure->undoing.push_back(removed.failure());
        } else {
            failure = removed.failure();
        }
    }
    Json json = madeJson(snapshot);
    if (ended) {
        json["commandExitCode"] = ended->code;
    }
    if (failure) {
        json.update(failureJson(*failure));
    }
    if (installation.settings().isJson) {
        printJson(json);
    } else if (failure) {
        answer(installation, *failure);
    }
    if (request.passesCommandCode && ended && ended->code != 0) {
        return ended->code;
    }
    return failure ? static_cast<int>(failure->code) : 0;
}

int run(Installation& installation, const RunRequest& request) {
    auto made = makeSnapshot(installation, request.path, request.caching);
    if (!made) {
        return answer(installation, made.failure());
    }
    printWarnings("snapshot", made->mountPoint, made->warnings);
    Result<Ended> ended = made->isBroken ? Result<Ended>(brokenFailure(*made)) : Ended{};
    if (!made->isBroken) {
        ended = runForCaller(withMountPoint(request.command, made->alternate), installation.settings());
        forgetInterruption();
    }
    const Status removed = deleteSnapshot(installation, made->id);
    return conclude(installation, request, *made, ended, removed);
}

}  // namespace

void addRun(CLI::App& app, Verb& chosen) {
    CLI::App* verb = app.add_subcommand("run",
                                        "run a command on a snapshot, {} in its words being the alternate mount "
                                        "point, and remove the snapshot afterwards; with --json its standard output "
                                        "goes to standard error");
    auto request = std::make_shared<RunRequest>();
    verb->add_option("path", request->path, "mount point")->required();
    addSyncOption(*verb, request->caching);
    auto whose = std::make_shared<std::string>("tarnctl");
    verb->add_option("--exit-code-from", *whose,
                     "whose exit status is ours: tarnctl (10 when the command failed) or command")
        ->check(CLI::IsMember({"tarnctl", "command"}));
    verb->add_option("command", request->command, "the command and its words, after --")->required();
    verb->callback([&chosen, request, whose] {
        request->passesCommandCode = *whose == "command";
        chosen = [request](Installation& installation) { return run(installation, *request); };
    });
}

}  // namespace tarnctl
