// What the private-data factory costs beside a bare map of the same keys that holds the same objects.
//
//     private_data_bench --benchmark_enable_random_interleaving=true --benchmark_repetitions=15
//
// Each round allocates, looks up and gives back the data of every node, in an order that is not the keys' one. The bare
// map does no more than keep, find and erase; what the factory adds is the slot of the node and its reference. Compare
// medians of one run of the program. A disabled trace is measured beside: it is what every operation pays several
// times.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "cfiprivatedatafactory.h"
#include "cfitracelog.h"
#include "run_benchmarks.h"
#include "znfi.h"

namespace {

std::vector<zfi_domain> shuffledNodes(int64_t count) {
    std::vector<zfi_domain> nodes(static_cast<size_t>(count));
    for (size_t i = 0; i < nodes.size(); ++i) {
        char name[48];
        const int length = std::snprintf(name, sizeof name, "/srv/volumes/file-system-%06zu", i);
        nodes[i].objid = znfi_get_objid(name, static_cast<uint32_t>(length + 1), ZFI_OBJID_NAMED);
    }
    std::shuffle(nodes.begin(), nodes.end(), std::mt19937(42));
    return nodes;
}

void perNode(benchmark::State& state) {
    state.counters["per_node"] =
        benchmark::Counter(static_cast<double>(state.range(0)) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void factory(benchmark::State& state) {
    std::vector<zfi_domain> nodes = shuffledNodes(state.range(0));
    CFiPrivateDataConcreteFactory<CFiPrivateData> data;
    for (auto _ : state) {
        for (zfi_domain& node : nodes) {
            benchmark::DoNotOptimize(data.allocate(&node, false).get());
        }
        for (zfi_domain& node : nodes) {
            benchmark::DoNotOptimize(data.access(&node).get());
        }
        for (zfi_domain& node : nodes) {
            data.deallocate(&node);
        }
    }
    perNode(state);
}
BENCHMARK(factory)->RangeMultiplier(10)->Range(100, 100'000)->Unit(benchmark::kMicrosecond);

void bareMap(benchmark::State& state) {
    std::vector<zfi_domain> nodes = shuffledNodes(state.range(0));
    std::map<std::string, CFiSmartPtr<CFiPrivateData>> data;
    for (auto _ : state) {
        for (zfi_domain& node : nodes) {
            data.try_emplace(node.objid->name, makeCounted<CFiPrivateData>(node.objid, false));
        }
        for (zfi_domain& node : nodes) {
            benchmark::DoNotOptimize(data.find(node.objid->name)->second.get());
        }
        for (zfi_domain& node : nodes) {
            data.erase(node.objid->name);
        }
    }
    perNode(state);
}
BENCHMARK(bareMap)->RangeMultiplier(10)->Range(100, 100'000)->Unit(benchmark::kMicrosecond);

void disabledTrace(benchmark::State& state) {
    CFiTraceLog log;
    znfi_trace_set_level(2);
    for (auto _ : state) {
        log.trace(3, "Command : %s", "/bin/mount");
    }
}
BENCHMARK(disabledTrace);

void disabledScope(benchmark::State& state) {
    const auto log = makeCounted<CFiTraceLog>();
    znfi_trace_set_level(2);
    for (auto _ : state) {
        const CFiTraceLogFunction scope(log, "init", __LINE__, "providers/tarn/tarn_plugin");
        benchmark::ClobberMemory();
    }
}
BENCHMARK(disabledScope);

}  // namespace

int main(int count, char** arguments) {
    return runBenchmarks(count, arguments);
}
