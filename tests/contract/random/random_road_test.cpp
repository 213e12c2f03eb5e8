// Random roads: sequences of calls that a framework may make, on the shipped plug-in, compared with a model after every
// call. TARNFI_RANDOM_SEED repeats a run, TARNFI_RANDOM_SEQUENCES sets how many sequences it has.
#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/state.h>

#include <cstdlib>
#include <iostream>
#include <random>

#include "road_calls.h"

namespace {

using namespace roads;

constexpr int kSequences = 1000;
constexpr int kLongest = 60;
constexpr int kLeakCheckEvery = 100;  // sequences

using Command = rc::state::Command<Model, Framework>;

class CallCommand : public Command {
  public:
    CallCommand(const Call& call, const Arguments& arguments) : call_(call), arguments_(arguments) {}

    void checkPreconditions(const Model& model) const override {
        RC_PRE((call_.isAllowed == nullptr || call_.isAllowed(model, arguments_)));
    }
    void apply(Model& model) const override { call_.step(model, arguments_, nullptr); }
    void run(const Model& before, Framework& framework) const override {
        Model model = before;
        call_.step(model, arguments_, &framework);
        framework.compare(model);
    }
    void show(std::ostream& out) const override {
        out << call_.name << " (node " << arguments_.node << ", other " << arguments_.other << ", choice "
            << arguments_.choice << ")";
    }

  private:
    const Call& call_;
    Arguments arguments_;
};

rc::Gen<std::shared_ptr<const Command>> anyCall(const Model&) {
    static const std::vector<Call> calls = allCalls();
    static const std::vector<size_t> weighted = [] {
        std::vector<size_t> indices;
        for (size_t i = 0; i < calls.size(); ++i) {
            indices.insert(indices.end(), static_cast<size_t>(calls[i].weight), i);
        }
        return indices;
    }();
    return rc::gen::apply(
        [](size_t index, int node, int other, int choice) -> std::shared_ptr<const Command> {
            return std::make_shared<CallCommand>(calls[index], Arguments{node, other, choice});
        },
        rc::gen::elementOf(weighted), rc::gen::inRange(0, kNodes), rc::gen::inRange(0, kNodes),
        // Every number alike, however short the sequence is.
        rc::gen::resize(100, rc::gen::inRange(0, kChoices)));
}

uint64_t numberFrom(const char* variable, uint64_t otherwise) {
    const char* text = std::getenv(variable);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

struct Counts {
    int sequences = 0;
    long scopes = 0;
};

void oneSequence(Counts& counts) {
    const int threadsBefore = threads();
    const int descriptorsBefore = descriptors();
    {
        Framework framework{Model()};
        rc::state::check(Model(), framework, anyCall);
        counts.scopes += framework.scopesOpened();
    }
    RC_ASSERT(znfi_outstanding_bufs() == 0);
    RC_ASSERT(threads() == threadsBefore);
    RC_ASSERT(descriptors() == descriptorsBefore);
    RC_ASSERT(!hasChild());
    if (++counts.sequences % kLeakCheckEvery == 0) {
        RC_ASSERT(!leaks());
    }
}

TEST(RandomRoads, every_sequence_of_calls_goes_as_the_contract_says) {
    if (!bed::reasonToSkip().empty()) {
        GTEST_SKIP() << bed::reasonToSkip();
    }
    { Framework warmUp{Model()}; }
    rc::detail::TestParams parameters;
    parameters.seed = numberFrom("TARNFI_RANDOM_SEED", std::random_device()());
    parameters.maxSuccess = static_cast<int>(numberFrom("TARNFI_RANDOM_SEQUENCES", kSequences));
    parameters.maxSize = kLongest;
    std::cout << "TARNFI_RANDOM_SEED=" << parameters.seed << " TARNFI_RANDOM_SEQUENCES=" << parameters.maxSuccess
              << std::endl;

    Counts counts;
    rc::detail::TestMetadata metadata;
    metadata.id = "RandomRoads";
    const auto result = rc::detail::checkTestable([&counts] { oneSequence(counts); }, metadata, parameters);
    if (!result.template is<rc::detail::SuccessResult>()) {
        std::ostringstream report;
        rc::detail::printResultMessage(result, report);
        FAIL() << report.str();
    }
    std::cout << counts.sequences << " sequences, " << counts.scopes << " trace scopes" << std::endl;
    EXPECT_GT(counts.scopes, parameters.maxSuccess * 10L);
}

}  // namespace
