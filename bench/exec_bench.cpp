// What the command runner costs beside other ways to run a program and collect its lines.
//
//     exec_bench --resident_mb=2048 --benchmark_enable_random_interleaving=true --benchmark_repetitions=15
//
// floor: pipe, posix_spawn, read, waitpid and nothing else; what no runner can go below. Compare medians of one run of
// the program. resident_mb: memory that the caller touches first, as fork would have to copy its page tables.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <glib.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "command_run.h"
#include "run_benchmarks.h"

namespace {

struct Command {
    const char* name;
    std::vector<std::string> arguments;
};

const Command kTrue{"true", {"/bin/true"}};
const Command kThousandLines{"1000_lines", {"/usr/bin/seq", "1000"}};

std::vector<char*> argumentVector(std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

std::string commandLine(const Command& command) {
    std::string line;
    for (const std::string& argument : command.arguments) {
        line += line.empty() ? argument : ' ' + argument;
    }
    return line;
}

// The processor time of this process and of its children, a run: on a machine that has other work it tells more than
// the clock. Counter processor, in seconds.
class ProcessorTime {
  public:
    explicit ProcessorTime(benchmark::State& state) : state_(state), begin_(used()) {}
    ProcessorTime(const ProcessorTime&) = delete;
    ProcessorTime& operator=(const ProcessorTime&) = delete;
    ~ProcessorTime() {
        state_.counters["processor"] =
            (used() - begin_) / static_cast<double>(std::max<int64_t>(1, state_.iterations()));
    }

  private:
    static double seconds(const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    }
    static double used() {
        double sum = 0;
        for (const auto who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
            rusage usage{};
            ::getrusage(who, &usage);
            sum += seconds(usage.ru_utime) + seconds(usage.ru_stime);
        }
        return sum;
    }

    benchmark::State& state_;
    double begin_;
};

void runFloor(benchmark::State& state, const Command& command) {
    std::vector<std::string> arguments = command.arguments;
    const std::vector<char*> pointers = argumentVector(arguments);
    static char buffer[65536];
    // The runner's environment, as programs start faster without a locale to load.
    static char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
    static char locale[] = "LC_ALL=C";
    static char language[] = "LANG=C";
    static char* const environment[] = {path, locale, language, nullptr};
    for (auto _ : state) {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) {
            state.SkipWithError("pipe");
            return;
        }
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        pid_t child = 0;
        if (::posix_spawn(&child, pointers[0], &actions, nullptr, pointers.data(), environment) != 0) {
            state.SkipWithError("posix_spawn");
            return;
        }
        ::posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        while (::read(ends[0], buffer, sizeof buffer) > 0) {
        }
        ::close(ends[0]);
        int status = 0;
        ::waitpid(child, &status, 0);
    }
}

void runRunner(benchmark::State& state, const Command& command) {
    const std::string line = commandLine(command);
    for (auto _ : state) {
        std::vector<std::string> output;
        if (znfi_runtime::runCommand(line, 600, output).code != ZFI_EXEC_PIPE_SUCCESS) {
            state.SkipWithError("runner");
            return;
        }
        benchmark::DoNotOptimize(output.data());
    }
}

void runPopen(benchmark::State& state, const Command& command) {
    const std::string line = commandLine(command);
    for (auto _ : state) {
        std::vector<std::string> output;
        FILE* pipe = ::popen(line.c_str(), "re");
        if (pipe == nullptr) {
            state.SkipWithError("popen");
            return;
        }
        char text[4096];
        while (std::fgets(text, sizeof text, pipe) != nullptr) {
            output.emplace_back(text, std::strcspn(text, "\n"));
        }
        ::pclose(pipe);
        benchmark::DoNotOptimize(output.data());
    }
}

void runGlib(benchmark::State& state, const Command& command) {
    std::vector<std::string> arguments = command.arguments;
    std::vector<char*> pointers = argumentVector(arguments);
    for (auto _ : state) {
        gchar* text = nullptr;
        gint status = 0;
        if (g_spawn_sync(nullptr, pointers.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &text, nullptr, &status,
                         nullptr) == FALSE) {
            state.SkipWithError("g_spawn_sync");
            return;
        }
        gchar** lines = g_strsplit(text, "\n", -1);
        benchmark::DoNotOptimize(lines);
        g_strfreev(lines);
        g_free(text);
    }
}

// Takes --resident_mb=N out of the arguments; touched memory, one byte a page.
std::unique_ptr<char[]> residentMemory(int& count, char** arguments) {
    constexpr std::string_view kOption = "--resident_mb=";
    std::size_t megabytes = 50;
    int kept = 0;
    for (int at = 0; at < count; ++at) {
        if (std::string_view(arguments[at]).starts_with(kOption)) {
            megabytes = std::stoul(arguments[at] + kOption.size());
        } else {
            arguments[kept++] = arguments[at];
        }
    }
    count = kept;
    auto memory = std::make_unique_for_overwrite<char[]>(megabytes << 20);
    for (std::size_t at = 0; at < megabytes << 20; at += 4096) {
        memory[at] = 1;
    }
    return memory;
}

}  // namespace

int main(int count, char** arguments) {
    const std::unique_ptr<char[]> memory = residentMemory(count, arguments);
    benchmark::DoNotOptimize(memory.get());
    for (const Command& command : {kTrue, kThousandLines}) {
        const std::string name = command.name;
        const auto add = [&](const char* way, void (*function)(benchmark::State&, const Command&)) {
            benchmark::RegisterBenchmark((way + ('/' + name)).c_str(),
                                         [function, command](benchmark::State& state) {
                                             const ProcessorTime time(state);
                                             function(state, command);
                                         })
                ->Unit(benchmark::kMicrosecond)
                ->UseRealTime();
        };
        add("floor", runFloor);
        add("runner", runRunner);
        add("popen", runPopen);
        add("g_spawn_sync", runGlib);
    }
    return runBenchmarks(count, arguments);
}
