// What the frame of an entry point costs while tracing is off.
//
// entry: supports_fitype, one of the cheapest, as a framework calls it, through the library that ships. method: the
// method behind it, called on an object directly. references: taking and dropping four counted references, which is
// about what frame and method do.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>

#include "loaded_plugin.h"
#include "run_benchmarks.h"
#include "tarn_plugin.h"

namespace {

using Plugin = CFiSmartPtr<CTARNPlugin>;

Plugin plugin() {
    return CFiContextSingleton<CTARNPlugin, FI_PLUGIN_NAME>::instance(false);
}

struct Node {
    Node() { domain.fiTypeResult = &result; }
    zfi_domain domain = {};
    int result = 0;
    char type[11] = "xfs_freeze";
};

void callEntry(benchmark::State& state, const LoadedPlugin& loaded) {
    Node node;
    zfi_fn_supports_fitype* volatile call = loaded.supports_fitype;
    for (auto _ : state) {
        benchmark::DoNotOptimize(call(&node.domain, node.type));
    }
}

void callMethod(benchmark::State& state) {
    Node node;
    const Plugin object = plugin();
    CFiPluginBase* volatile base = object.get();
    for (auto _ : state) {
        benchmark::DoNotOptimize(base->supportsFiType(&node.domain, node.type));
    }
}

void takeReferences(benchmark::State& state) {
    const Plugin object = plugin();
    for (auto _ : state) {
        for (int i = 0; i < 4; ++i) {
            Plugin reference = object;
            benchmark::DoNotOptimize(reference);
        }
    }
}

}  // namespace

int main(int count, char** arguments) try {
    const LoadedPlugin loaded;
    benchmark::RegisterBenchmark("entry", [&loaded](benchmark::State& state) { callEntry(state, loaded); });
    benchmark::RegisterBenchmark("method", callMethod);
    benchmark::RegisterBenchmark("references", takeReferences);
    return runBenchmarks(count, arguments);
} catch (const std::exception& error) {
    std::fprintf(stderr, "frame_bench: %s\n", error.what());
    return 1;
}
