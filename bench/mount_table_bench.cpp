// What a look-up of the last entry costs while the mount table grows, beside other ways to find it.
//
//     mount_table_bench --benchmark_enable_random_interleaving=true --benchmark_repetitions=15
//
// plugin: the plug-in's own function. getmntent: the system library's loop and a comparison, which cuts lines over 4
// KiB. libmount: a library that parses the whole table first. read: the bytes of the table, unlooked at; what no reader
// can go below. file: /etc/mtab is a file; kernel: it is the kernel's table, made for every reader anew. Compare
// medians of one run of the program.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <libmount.h>
#include <mntent.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "mount_table.h"
#include "private_tables.h"
#include "run_benchmarks.h"

namespace {

using Lookup = bool(const char* mountPoint);

bool byPlugin(const char* mountPoint) {
    MountText device;
    return tarn_getsubobj(mountPoint, device.out()) == ZFI_OK;
}

bool bySystemLibrary(const char* mountPoint) {
    FILE* table = setmntent("/etc/mtab", "r");
    const mntent* entry = getmntent(table);
    while (entry != nullptr && std::strcmp(entry->mnt_dir, mountPoint) != 0) {
        entry = getmntent(table);
    }
    const bool isFound = entry != nullptr;
    endmntent(table);
    return isFound;
}

bool byLibmount(const char* mountPoint) {
    libmnt_table* table = mnt_new_table_from_file("/etc/mtab");
    const bool isFound = mnt_table_find_target(table, mountPoint, MNT_ITER_FORWARD) != nullptr;
    mnt_unref_table(table);
    return isFound;
}

bool byRead(const char*) {
    static char buffer[65536];
    const int table = open("/etc/mtab", O_RDONLY | O_CLOEXEC);
    ssize_t size = 0;
    bool isRead = false;
    while ((size = read(table, buffer, sizeof(buffer))) > 0) {
        benchmark::DoNotOptimize(buffer);
        isRead = true;
    }
    close(table);
    return isRead;
}

constexpr struct {
    const char* name;
    Lookup* lookup;
} kWays[] = {{"plugin", byPlugin}, {"getmntent", bySystemLibrary}, {"libmount", byLibmount}, {"read", byRead}};

void look(benchmark::State& state, Lookup* lookup, const std::string& mountPoint) {
    for (auto _ : state) {
        if (!lookup(mountPoint.c_str())) {
            state.SkipWithError("not found");
            return;
        }
    }
}

void registerFiles(PrivateTables& tables) {
    static const std::string kWanted = "/srv/wanted";
    for (int entries : {10, 100, 1000, 10000, 100000}) {
        for (const auto& way : kWays) {
            const std::string name = std::string("file/") + way.name + '/' + std::to_string(entries);
            benchmark::RegisterBenchmark(name.c_str(),
                                         [&tables, entries, lookup = way.lookup](benchmark::State& state) {
                                             tables.showFile(entries, kWanted);
                                             look(state, lookup, kWanted);
                                         });
        }
    }
}

void registerKernelTable(PrivateTables& tables) {
    constexpr int kMounts = 2000;
    for (const auto& way : kWays) {
        const std::string name = std::string("kernel/") + way.name + '/' + std::to_string(kMounts);
        benchmark::RegisterBenchmark(name.c_str(), [&tables, lookup = way.lookup](benchmark::State& state) {
            static const std::string wanted = tables.mountUntil(kMounts);
            tables.showKernelTable();
            look(state, lookup, wanted);
        })->Unit(benchmark::kMicrosecond);
    }
}

}  // namespace

int main(int count, char** arguments) {
    try {
        PrivateTables tables;
        registerFiles(tables);
        registerKernelTable(tables);
        return runBenchmarks(count, arguments);
    } catch (const std::exception& refused) {
        std::fprintf(stderr, "mount_table_bench: %s\n", refused.what());
        return 1;
    }
}
