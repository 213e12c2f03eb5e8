#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

#include "host/report/system_failure.h"
#include "host/road/interruption.h"
#include "host/verbs/verb.h"
#include "znfi.h"

namespace {

using namespace tarnctl;

// The lines of the providers go where ZFI_TRACE_FILE says; without it they go nowhere, because every error shows the
// level-1 lines that belong to it.
void discard(void*, int, const char*, const char*) {}

void addOptions(CLI::App& app, Settings& settings) {
    app.add_flag("--json", settings.isJson, "answer with one JSON document on standard output");
    app.add_option("--catalog", settings.catalogPath, "the catalog of snapshots")->envname("TARNFI_CATALOG");
    app.add_option("--provider-path", settings.providerFolders, "folders searched for providers")
        ->delimiter(':')
        ->envname("TARNFI_PROVIDER_PATH");
    app.add_option("--provider", settings.providerNames, "providers to load, in the order in which they are asked")
        ->delimiter(',');
    app.add_option("--freeze-budget", settings.freezeBudgetMs, "longest time to stay frozen, in milliseconds")
        ->check(CLI::Range(100, 60'000))
        ->capture_default_str();
    app.set_version_flag("--version", std::string("tarnctl ") + TARNFI_VERSION);
}

bool asksForJson(std::span<char*> words) {
    const auto end = std::find(words.begin(), words.end(), std::string_view("--"));
    return std::find(words.begin(), end, std::string_view("--json")) != end;
}

// The exit status. Help and version are no errors.
int answerToUnreadable(const CLI::App& app, const CLI::ParseError& error, bool isJson) {
    if (error.get_exit_code() == 0) {
        return app.exit(error);
    }
    if (isJson) {
        printJson(failureJson({ExitCode::kUsage, "read the command line", {}, error.what()}));
    } else {
        app.exit(error);
    }
    return static_cast<int>(ExitCode::kUsage);
}

// A script that reads nothing must not take that for an answer.
bool answerReachedTheReader() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
        return true;
    }
    std::fputs(failureText(systemFailure(ExitCode::kFailed, "write the answer", "standard output",
                                         "it cannot be written", errno))
                   .c_str(),
               stderr);
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    Settings settings;
    settings.callerUmask = ::umask(022);
    ::umask(settings.callerUmask | 022);  // mount points are made by a command: nobody else may write to them
    Verb chosen;
    CLI::App app("Snapshots of mounted file systems: freeze, copy, thaw, mount the copy read-only.", "tarnctl");
    app.require_subcommand(1);
    app.fallthrough();
    addOptions(app, settings);
    for (auto* add : {&addProbe, &addSnapshot, &addList, &addShow, &addDelete, &addMount, &addUmount, &addExport,
                      &addImport, &addRun, &addFormat, &addRestore, &addOnline, &addPlugin}) {
        add(app, chosen);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return answerToUnreadable(app, error, asksForJson({argv, static_cast<std::size_t>(argc)}));
    }
    if (settings.providerFolders.empty()) {
        settings.providerFolders = defaultProviderFolders();
    }
    if (std::getenv("ZFI_TRACE_FILE") == nullptr) {
        znfi_trace_sink(&discard, nullptr);
    }
    std::signal(SIGPIPE, SIG_IGN);  // a reader that went away must not end us in the middle of the road
    noteInterruptions();
    Installation installation(settings);
    const int status = chosen(installation);
    return answerReachedTheReader() || status != 0 ? status : static_cast<int>(ExitCode::kFailed);
}
