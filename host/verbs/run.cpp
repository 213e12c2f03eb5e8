// run PATH -- CMD…: a snapshot for the time of one command.
#include <fmt/format.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "host/report/system_failure.h"
#include "host/road/interruption.h"
#include "host/verbs/snapshot_view.h"
#include "host/verbs/verb.h"

extern char** environ;

namespace tarnctl {
namespace {

struct RunRequest {
    std::string path;
    std::vector<std::string> command;
    bool passesCommandCode = false;
};

struct Ended {
    int code = 0;  // the command's exit status, or 128 + the signal that ended it
};

std::vector<std::string> withMountPoint(std::vector<std::string> command, const std::string& alternate) {
    for (std::string& word : command) {
        for (size_t at = word.find("{}"); at != std::string::npos; at = word.find("{}", at + alternate.size())) {
            word.replace(at, 2, alternate);
        }
    }
    return command;
}

// What a program gets as its standard output: ours, or our standard error where ours is kept for one JSON document.
class CommandOutput {
  public:
    explicit CommandOutput(bool toStandardError) {
        ::posix_spawn_file_actions_init(&actions_);
        if (toStandardError) {
            ::posix_spawn_file_actions_adddup2(&actions_, STDERR_FILENO, STDOUT_FILENO);
        }
    }
    CommandOutput(const CommandOutput&) = delete;
    CommandOutput& operator=(const CommandOutput&) = delete;
    ~CommandOutput() { ::posix_spawn_file_actions_destroy(&actions_); }

    const posix_spawn_file_actions_t* actions() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_{};
};

Result<Ended> runCommand(const std::vector<std::string>& command, const Settings& settings) {
    std::vector<char*> words;
    for (const std::string& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    pid_t child = 0;
    const CommandOutput output(settings.isJson);
    const mode_t ours = ::umask(settings.callerUmask);
    const int error = ::posix_spawnp(&child, words[0], output.actions(), nullptr, words.data(), environ);
    ::umask(ours);
    if (error != 0) {
        return systemFailure(ExitCode::kCommandFailed, "run", command.front(), "cannot start it", error);
    }
    int status = 0;
    bool passedOn = false;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return systemFailure(ExitCode::kFailed, "run", command.front(), "cannot wait for it", errno);
        }
        if (interruption() != 0 && !passedOn) {
            ::kill(child, interruption());  // a terminal tells both of us; kill PID tells only us
            passedOn = true;
        }
    }
    return Ended{WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status)};
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
    auto made = makeSnapshot(installation, request.path);
    if (!made) {
        return answer(installation, made.failure());
    }
    Result<Ended> ended = made->isBroken ? Result<Ended>(brokenFailure(*made)) : Ended{};
    if (!made->isBroken) {
        noteInterruptionsWithoutRestart();
        ended = runCommand(withMountPoint(request.command, made->alternate), installation.settings());
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
