// What a claim costs, from entry point to return, while the mount table grows.
//
// bare: the questions that a claim has to ask (stat, statvfs, the table, statfs), asked by the system library alone.
#include <benchmark/benchmark.h>
#include <mntent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/vfs.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "loaded_plugin.h"
#include "private_tables.h"
#include "run_benchmarks.h"

namespace {

constexpr const char* kMountPoint = "/";

void claimByPlugin(benchmark::State& state, PrivateTables& tables, LoadedPlugin& plugin, int entries) {
    tables.showFile(entries, kMountPoint);
    znfi_objid* object = objectId(kMountPoint);
    for (auto _ : state) {
        znfi_objid** subObjects = nullptr;
        int count = 0;
        if (plugin.claim(object, &subObjects, &count) != ZFI_CLAIMED) {
            state.SkipWithError("not claimed: the root file system is of a type that the plug-in does not serve");
            return;
        }
    }
}

bool isInTable(const char* mountPoint) {
    FILE* table = ::setmntent("/etc/mtab", "re");
    if (table == nullptr) {
        return false;
    }
    mntent entry{};
    char text[4096];
    bool isThere = false;
    while (!isThere && ::getmntent_r(table, &entry, text, sizeof text) != nullptr) {
        isThere = std::strcmp(entry.mnt_dir, mountPoint) == 0;
    }
    ::endmntent(table);
    return isThere;
}

void claimBare(benchmark::State& state, PrivateTables& tables, LoadedPlugin&, int entries) {
    tables.showFile(entries, kMountPoint);
    for (auto _ : state) {
        struct stat file {};
        struct statvfs volume {};
        struct statfs system {};
        if (::stat(kMountPoint, &file) != 0 || ::statvfs(kMountPoint, &volume) != 0 || !isInTable(kMountPoint) ||
            ::statfs(kMountPoint, &system) != 0) {
            state.SkipWithError("the system library did not find it");
            return;
        }
        benchmark::DoNotOptimize(system.f_type);
    }
}

}  // namespace

int main(int count, char** arguments) try {
    PrivateTables tables;
    LoadedPlugin plugin;
    for (const int entries : {10, 100, 1'000, 10'000, 100'000}) {
        const auto add = [&](const char* way, auto function) {
            benchmark::RegisterBenchmark((way + ('/' + std::to_string(entries))).c_str(),
                                         [&tables, &plugin, function, entries](benchmark::State& state) {
                                             function(state, tables, plugin, entries);
                                         })
                ->Unit(benchmark::kMicrosecond)
                ->UseRealTime();
        };
        add("claim", claimByPlugin);
        add("bare", claimBare);
    }
    return runBenchmarks(count, arguments);
} catch (const std::exception& error) {
    std::fprintf(stderr, "claim_bench: %s\n", error.what());
    return 1;
}
