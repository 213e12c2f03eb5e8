#include "row.h"

#include <algorithm>
#include <sstream>

namespace bed {
namespace {

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Says where two texts part instead of printing both whole.
void expectSame(const char* what, const std::string& actual, const std::string& expected) {
    const std::vector<std::string> got = linesOf(actual);
    const std::vector<std::string> wanted = linesOf(expected);
    const auto [gotAt, wantedAt] = std::mismatch(got.begin(), got.end(), wanted.begin(), wanted.end());
    if (gotAt == got.end() && wantedAt == wanted.end()) {
        return;
    }
    std::ostringstream report;
    for (auto line = gotAt; line != got.end() && line - gotAt < 6; ++line) {
        report << "\n     got " << *line;
    }
    for (auto line = wantedAt; line != wanted.end() && line - wantedAt < 6; ++line) {
        report << "\n  wanted " << *line;
    }
    ADD_FAILURE() << what << ", line " << wantedAt - wanted.begin() + 1 << " on:" << report.str();
}

void compare(const Row& row, Bed& bed, int status) {
    EXPECT_EQ(status, row.status);
    expectSame("trace", takeTrace().render(), (row.traceNow ? row.traceNow() : row.trace).render());
    expectSame("commands", render(commandsRun()), render(row.commandsNow ? row.commandsNow() : row.commands));
    EXPECT_EQ(waits().sleeps, row.waits.sleeps);
    EXPECT_EQ(waits().limits, row.waits.limits);
    for (const std::string& directory : directoriesRemoved()) {
        EXPECT_EQ(directory.rfind("/tmp_", 0), 0U) << directory << " was removed: only a test mount's is";
    }
    expectSame("messages", renderMessages(bed.call()), render(row.messages));
    EXPECT_FALSE(bed.receiver().hadEmptyText);
    std::vector<int> severities;
    for (auto message = row.messages.rbegin(); message != row.messages.rend(); ++message) {
        severities.push_back(message->severity);
    }
    EXPECT_EQ(bed.receiver().severities, severities) << "messages handed to the callback";
}

}  // namespace

void check(const Row& row) {
    if (!reasonToSkip().empty()) {
        GTEST_SKIP() << reasonToSkip();
    }
    if ((row.faults.noPathArray || !row.faults.noCopyOf.empty()) && !canRefuseMemory()) {
        GTEST_SKIP() << "a sanitizer owns malloc";
    }
    if (const std::string reason = row.skip ? row.skip() : ""; !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const int64_t buffersBefore = znfi_outstanding_bufs();
    {
        Bed bed;
        if (row.before) {
            row.before(bed);
        }
        bed.begin(row.host);
        setFaults(row.faults);
        const int status = row.call(bed);
        clearFaults();
        compare(row, bed, status);
        if (row.after) {
            row.after(bed);
        }
    }
    EXPECT_EQ(znfi_outstanding_bufs(), buffersBefore);
}

}  // namespace bed
