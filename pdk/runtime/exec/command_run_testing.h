// What the tests of the command runner share.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "command_run.h"

namespace znfi_runtime {

struct Ran {
    CommandOutcome outcome;
    std::vector<std::string> lines;
    double seconds = 0;
};

inline Ran run(const std::string& line, unsigned long limit = 60) {
    Ran ran;
    const auto begin = std::chrono::steady_clock::now();
    ran.outcome = runCommand(line, limit, ran.lines);
    ran.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return ran;
}

// Command line of exec_actor in this role; the program lies beside the test program.
inline std::string actor(const std::string& role) {
    return '"' + std::filesystem::read_symlink("/proc/self/exe").replace_filename("znfi_exec_actor").string() + "\" " +
           role;
}

}  // namespace znfi_runtime
