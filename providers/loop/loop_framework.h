// The least framework that can drive the provider: loads the shipped library, keeps nodes, and starts it anew as a new
// process would find it.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "loop_test_bed.h"
#include "zfi_entry_points.h"
#include "znfi.h"

namespace loopfi {

// The entry points of the loaded library.
struct Provider {
    Provider();
    ~Provider();
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;

#define ZFI_ENTRY(name, parameters, method, delayed, rule) zfi_fn_##name* name = nullptr;
#include "zfi_entry_points.def"
#undef ZFI_ENTRY

  private:
    void* library_;
};

// A node by name, as a framework holds it.
struct Node {
    explicit Node(const std::string& name);
    zfi_domain domain{};
    zfi_splitnode split{};
};

struct Made {
    int status = -1;
    std::vector<std::string> devices;
};

class LoopProviderTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    void start();  // as a new process: nothing of the provider is left in memory
    int selectAndPrepare(const std::vector<Node*>& nodes, const std::string& id, int budgetMs = 0);
    Made make(const std::vector<Node*>& nodes, const std::string& id);
    // A node that init_node has been through; dropped at the end of the test.
    Node& node(const std::string& device);
    std::string save(Node& node);
    int restore(Node& node, const std::string& blob);
    int dispose(Node& node, const char* id = nullptr);

    // An attached image of 16 MiB, 6 of them data, in `directory` (the test's own when empty).
    std::string origin(const std::string& name, const std::string& directory = "");
    std::string imageOf(const std::string& name) const { return bed_->directory() + "/" + name; }
    static bool exists(const std::string& path);
    static bool isAttached(const std::string& device);
    // Snapshot files and the devices over them in the test's folder.
    std::vector<std::string> leftovers() const;

    std::unique_ptr<LoopTestBed> bed_;
    std::unique_ptr<Provider> provider_;

  private:
    std::vector<std::unique_ptr<Node>> nodes_;
    int64_t buffers_ = 0;
};

}  // namespace loopfi
