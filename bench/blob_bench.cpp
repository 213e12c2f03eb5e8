// Writing a node's state into a blob and restoring it, through the entry points, for mount options of growing length.
//
// json: the same five facts written and read by nlohmann-json, which a state of one's own design would use today.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "loaded_plugin.h"
#include "private_tables.h"
#include "run_benchmarks.h"

namespace {

constexpr const char* kMountPoint = "/";

// A node as a host holds it.
class Node {
  public:
    explicit Node(LoadedPlugin& plugin) : plugin_(plugin) { record_.objid = objectId(kMountPoint); }
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;
    ~Node() { plugin_.deinit_node(&record_); }
    zfi_domain* record() { return &record_; }

  private:
    LoadedPlugin& plugin_;
    zfi_domain record_{};
};

zfi_blob save(LoadedPlugin& plugin, Node& node) {
    zfi_blob blob{};
    if (plugin.process_providerstate(node.record(), &blob, ZFI_STATE_SAVE) != ZFI_OK) {
        throw std::runtime_error("the state could not be written");
    }
    return blob;
}

void init(LoadedPlugin& plugin, PrivateTables& tables, Node& node, int length) {
    tables.showFile(1, kMountPoint, std::string(static_cast<std::size_t>(length), 'o'));
    if (plugin.init_node(node.record(), nullptr, 0, nullptr) != ZFI_OK) {
        throw std::runtime_error("the node could not be initialised");
    }
}

void writeState(benchmark::State& state, LoadedPlugin& plugin, PrivateTables& tables, int length) {
    Node node(plugin);
    init(plugin, tables, node, length);
    for (auto _ : state) {
        const zfi_blob blob = save(plugin, node);
        znfi_free_buf(blob.data, blob.length);
    }
}

// As on another host: the node is new, and goes again.
void restoreState(benchmark::State& state, LoadedPlugin& plugin, PrivateTables& tables, int length) {
    zfi_blob blob{};
    {
        Node source(plugin);
        init(plugin, tables, source, length);
        blob = save(plugin, source);
    }
    for (auto _ : state) {
        Node node(plugin);
        if (plugin.process_providerstate(node.record(), &blob, ZFI_STATE_RESTORE) != ZFI_OK) {
            state.SkipWithError("the state could not be restored");
            break;
        }
    }
    znfi_free_buf(blob.data, blob.length);
}

struct Facts {
    std::string device, type, options, alternate, version;
};

std::string jsonOf(const Facts& facts) {
    const nlohmann::json json = {{"device", facts.device},
                                 {"type", facts.type},
                                 {"options", facts.options},
                                 {"alternate", facts.alternate},
                                 {"version", facts.version}};
    return json.dump();
}

Facts factsOf(int length) {
    return {"/dev/mapper/data-wanted", "xfs", std::string(static_cast<std::size_t>(length), 'o'), "", ""};
}

void writeJson(benchmark::State& state, LoadedPlugin&, PrivateTables&, int length) {
    const Facts facts = factsOf(length);
    for (auto _ : state) {
        benchmark::DoNotOptimize(jsonOf(facts));
    }
}

void restoreJson(benchmark::State& state, LoadedPlugin&, PrivateTables&, int length) {
    const std::string text = jsonOf(factsOf(length));
    for (auto _ : state) {
        const nlohmann::json json = nlohmann::json::parse(text);
        Facts facts{json.at("device"), json.at("type"), json.at("options"), json.at("alternate"), json.at("version")};
        benchmark::DoNotOptimize(facts);
    }
}

}  // namespace

int main(int count, char** arguments) try {
    PrivateTables tables;
    LoadedPlugin plugin;
    for (const int length : {16, 256, 4'096}) {
        const auto add = [&](const char* way, auto function) {
            benchmark::RegisterBenchmark((way + ('/' + std::to_string(length))).c_str(),
                                         [&tables, &plugin, function, length](benchmark::State& state) {
                                             function(state, plugin, tables, length);
                                         })
                ->Unit(benchmark::kMicrosecond)
                ->UseRealTime();
        };
        add("write", writeState);
        add("write_json", writeJson);
        add("restore", restoreState);
        add("restore_json", restoreJson);
    }
    return runBenchmarks(count, arguments);
} catch (const std::exception& error) {
    std::fprintf(stderr, "blob_bench: %s\n", error.what());
    return 1;
}
