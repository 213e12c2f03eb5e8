#include "run_benchmarks.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

long peakKib() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long kib = 0;
            status >> kib;
            return kib;
        }
    }
    return 0;
}

}  // namespace

int runBenchmarks(int count, char** arguments) {
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::fprintf(stderr, "peak_kib %ld\n", peakKib());
    return 0;
}
