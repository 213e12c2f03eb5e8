// A row of a contract table: the host, one call, and everything the call may be seen to do. What a row does not name is
// expected to be empty: no trace line, no command, no message, no waiting.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "bed.h"

namespace bed {

struct Row {
    const char* name;
    Host host = {};                          // during the call
    std::function<void(Bed&)> before = {};   // earlier calls; nothing of them is compared
    Faults faults = {};                      // during the call
    std::function<std::string()> skip = {};  // a reason, or empty
    std::function<int(Bed&)> call;           // entries without result answer 0
    int status = 0;
    Trace trace = {};
    Commands commands = {};
    Waits waits = {};
    Messages messages = {};  // newest first
    // In place of trace and commands: made after the call, from what the host says then.
    std::function<Trace()> traceNow = {};
    std::function<Commands()> commandsNow = {};
    std::function<void(Bed&)> after = {};  // out-values and node state
};

void check(const Row& row);

// Makes each row a test of this suite.
template <typename Rows>
bool registerRows(const char* suite, const Rows& rows, const char* file, int line) {
    class RowTest : public testing::Test {
      public:
        explicit RowTest(const Row& row) : row_(row) {}
        void TestBody() override { check(row_); }

      private:
        Row row_;
    };
    for (const Row& row : rows) {
        testing::RegisterTest(suite, row.name, nullptr, nullptr, file, line, [row] { return new RowTest(row); });
    }
    return true;
}

}  // namespace bed

// A table of rows; each is a test of its own, suite.name.
#define CONTRACT_TABLE(suite, ...) \
    [[maybe_unused]] const bool registered##suite = bed::registerRows(#suite, __VA_ARGS__, __FILE__, __LINE__)
