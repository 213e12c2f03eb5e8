#include "tool.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <sstream>

namespace road {

Outcome run(const std::string& commandLine) {
    Outcome outcome{-1, {}};
    const std::string script =
        "export LC_ALL=C PATH=/usr/sbin:/usr/bin:/sbin:/bin; exec </dev/null 2>&1; " + commandLine;
    FILE* pipe = popen(script.c_str(), "re");
    if (pipe == nullptr) {
        return outcome;
    }
    std::array<char, 4096> part;
    for (size_t got; (got = fread(part.data(), 1, part.size(), pipe)) > 0;) {
        outcome.output.append(part.data(), got);
    }
    const int status = pclose(pipe);
    outcome.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

std::string mustRun(const std::string& commandLine) {
    const Outcome outcome = run(commandLine);
    EXPECT_EQ(outcome.exitStatus, 0) << commandLine << "\n" << outcome.output;
    return outcome.output;
}

std::string valueOf(const std::string& output, const std::string& label) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind(label + ":", 0) == 0) {
            const size_t start = line.find_first_not_of(" \t", label.size() + 1);
            return start == std::string::npos ? "" : line.substr(start);
        }
    }
    return "";
}

}  // namespace road
