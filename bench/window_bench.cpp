// How long a file system stands still for a snapshot, beside the bare pair of commands and the volume layer's own work.
//
// window: the host's window on a real xfs, from the call of the freeze to the return of the thaw, with the providers
// that ship. bare_pair: the same two commands, started by posix_spawn and waited for, with nothing between them. Both
// are measured in turn on one file system, whose image lies in /var/tmp; with --clone on an xfs there, so that the
// snapshot is a clone and not a copy. counter made: the seconds of the window that the volume layer used.
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/freeze/fs_freeze.h"
#include "host/freeze/held_directory.h"
#include "host/freeze/scratch_file_system.h"
#include "host/guard/freeze_guard.h"
#include "host/provider/node.h"
#include "host/provider/provider.h"
#include "host/road/window.h"
#include "run_benchmarks.h"
#include "znfi.h"

namespace {

using tarnctl::HeldDirectory;
using tarnctl::Node;
using tarnctl::Provider;
using tarnctl::ScratchFileSystem;
using Seconds = std::chrono::duration<double>;

struct Bed {
    ScratchFileSystem fileSystem;
    tarnctl::TraceTap tap;
    std::unique_ptr<Provider> upper;
    std::unique_ptr<Provider> lower;
    std::unique_ptr<Node> node;
    std::unique_ptr<Node> volume;
    std::optional<HeldDirectory> directory;
    int snapshots = 0;

    Bed();
    ~Bed() {
        directory.reset();  // it would keep the file system busy
    }
};

template <typename T>
T must(tarnctl::Result<T> result) {
    if (!result) {
        std::string text = result.failure().operation + " " + result.failure().subject + ": " + result.failure().cause;
        for (const std::string& line : result.failure().traceLines) {
            text += "\n" + line;
        }
        throw std::runtime_error(text);
    }
    return std::move(*result);
}

Bed::Bed()
    : upper(must(Provider::load("tarnfi", {TARNFI_PROVIDERS}, tap))),
      lower(must(Provider::load("loopfi", {TARNFI_PROVIDERS}, tap))),
      node(std::make_unique<Node>(*upper, fileSystem.mountPoint())),
      directory(must(HeldDirectory::open(fileSystem.mountPoint()))) {
    znfi_trace_set_level(1);
    must(node->init());
    volume = std::make_unique<Node>(*lower, must(node->subObjects()).at(0));
    must(volume->init());
}

// One snapshot from preselect to prepare, and away again at the end.
// A call that has to succeed; the provider's own words when it does not.
template <typename Call>
void mustCall(Provider& provider, const std::string& operation, Call&& call) {
    const tarnctl::CallOutcome outcome = provider.call(call);
    if (!outcome.isOk()) {
        must<tarnctl::Done>(tarnctl::failureOf(provider, outcome, operation, ""));
    }
}

class Split {
  public:
    Split(Node& node, const std::string& session) : node_(node), session_(session) {
        constexpr int kBudgetMs = 60'000;
        node.joinSession(session_, kBudgetMs);
        mustCall(node.provider(), "prepare", [&](const tarnctl::EntryPoints& entry) {
            int status = entry.preselect(node.split(), session_.data(), nullptr, 0);
            status = status == ZFI_OK ? entry.select(node.split(), session_.data(), nullptr, 0) : status;
            return status == ZFI_OK ? entry.prepare(node.split(), session_.data(), nullptr, 0, 0) : status;
        });
    }
    Split(const Split&) = delete;
    Split& operator=(const Split&) = delete;
    ~Split() {
        node_.provider().entry().dispose(nullptr, node_.record(), node_.split(), ZFI_DISPOSITION_REMOVE);
        node_.record()->state &= ~ZFI_STATE_MADE;
    }

  private:
    Node& node_;
    std::string session_;
};

// A freeze soon after the last one is spared the kernel's grace periods (0.4 ms against 40 ms here). Backups do not
// freeze twice in a second: everybody starts from rest, with the disk quiet.
void comeToRest(const Bed& bed) {
    ::sync();
    tarnctl::syncFs(bed.directory->fd());
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
}

void passWindow(benchmark::State& state, Bed& bed) {
    double made = 0;
    for (auto _ : state) {
        const Split split(*bed.volume, "bench-" + std::to_string(++bed.snapshots));
        auto guard = must(tarnctl::FreezeGuard::arm(*bed.directory));
        comeToRest(bed);
        const tarnctl::WindowReport report =
            tarnctl::Window(*bed.node, *bed.volume, *bed.directory, guard, "xfs").run();
        if (report.failure || report.isBroken) {
            throw std::runtime_error(report.failure ? report.failure->cause : "the window was broken");
        }
        state.SetIterationTime(Seconds(report.still).count());
        made += Seconds(report.made).count();
    }
    state.counters["made"] = made / static_cast<double>(state.iterations());
}

bool run(const char* option, const std::string& mountPoint) {
    std::string words[] = {"/usr/sbin/xfs_freeze", option, mountPoint};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    static char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    static char locale[] = "LC_ALL=C";
    static char language[] = "LANG=C";
    char* environment[] = {path, locale, language, nullptr};
    pid_t child = 0;
    int status = 0;
    return ::posix_spawn(&child, arguments[0], nullptr, nullptr, arguments, environment) == 0 &&
           ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void barePair(benchmark::State& state, Bed& bed) {
    for (auto _ : state) {
        comeToRest(bed);
        const auto began = std::chrono::steady_clock::now();
        const bool isDone = run("-f", bed.fileSystem.mountPoint()) && run("-u", bed.fileSystem.mountPoint());
        const auto ended = std::chrono::steady_clock::now();
        if (!isDone) {
            tarnctl::thawFs(bed.directory->fd());
            throw std::runtime_error("xfs_freeze failed");
        }
        state.SetIterationTime(Seconds(ended - began).count());
    }
}

void add(const char* way, Bed& bed, void (*function)(benchmark::State&, Bed&)) {
    benchmark::RegisterBenchmark(way, [&bed, function](benchmark::State& state) { function(state, bed); })
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1)
        ->UseManualTime();
}

// While it lives, /var/tmp is an xfs of its own, which can clone files.
class CloningFolder {
  public:
    CloningFolder() {
        if (::mount(outer_.mountPoint().c_str(), "/var/tmp", nullptr, MS_BIND, nullptr) != 0) {
            throw std::runtime_error("no xfs below an xfs");
        }
    }
    CloningFolder(const CloningFolder&) = delete;
    CloningFolder& operator=(const CloningFolder&) = delete;
    ~CloningFolder() { ::umount2("/var/tmp", MNT_DETACH); }

  private:
    ScratchFileSystem outer_;
};

// Takes --clone out of the arguments.
bool takesClone(int& count, char** arguments) {
    const auto kept = std::remove(arguments, arguments + count, std::string_view("--clone"));
    const bool isThere = kept != arguments + count;
    count = static_cast<int>(kept - arguments);
    return isThere;
}

}  // namespace

int main(int count, char** arguments) try {
    if (const std::string reason = ScratchFileSystem::reasonToSkip(); !reason.empty()) {
        std::fprintf(stderr, "window_bench: %s\n", reason.c_str());
        return 77;
    }
    std::optional<CloningFolder> cloning;
    if (takesClone(count, arguments)) {
        cloning.emplace();
    }
    Bed bed;
    add("window", bed, passWindow);
    add("bare_pair", bed, barePair);
    return runBenchmarks(count, arguments);
} catch (const std::exception& error) {
    std::fprintf(stderr, "window_bench: %s\n", error.what());
    return 1;
}
