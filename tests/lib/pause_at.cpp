// Preloaded into the program under test: stops it at one of its own calls, so that a test can look at the machine, send
// a signal or pull a plug exactly there. The product needs no seam for it.
//
//     TARNFI_TEST_PAUSE_AT=ioctl:HEX:N     before the Nth ioctl with this request number
//     TARNFI_TEST_PAUSE_AT=spawn:TEXT:N    before the Nth program whose command line contains TEXT is started
//     TARNFI_TEST_PAUSE_IN=FOLDER          creates FOLDER/reached, then waits until FOLDER/go exists, at most 20 s
#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr int kLongestWaitMs = 20'000;
constexpr int kBetweenLooksMs = 2;

struct Point {
    std::string kind;
    std::string what;
    int number = 0;
    std::string folder;
};

const Point& point() {
    static const Point chosen = [] {
        Point read;
        const char* at = std::getenv("TARNFI_TEST_PAUSE_AT");
        const char* in = std::getenv("TARNFI_TEST_PAUSE_IN");
        if (at == nullptr || in == nullptr) {
            return read;
        }
        const std::string text(at);
        const auto first = text.find(':');
        const auto last = text.rfind(':');
        read.kind = text.substr(0, first);
        read.what = text.substr(first + 1, last - first - 1);
        read.number = std::atoi(text.c_str() + last + 1);
        read.folder = in;
        return read;
    }();
    return chosen;
}

void pauseIfReached() {
    static std::atomic<int> seen{0};
    if (++seen != point().number) {
        return;
    }
    const int reached = open((point().folder + "/reached").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (reached >= 0) {
        close(reached);
    }
    const std::string go = point().folder + "/go";
    for (int waited = 0; access(go.c_str(), F_OK) != 0 && waited < kLongestWaitMs; waited += kBetweenLooksMs) {
        usleep(kBetweenLooksMs * 1000);
    }
}

template <typename Function>
Function* next(const char* name) {
    void* symbol = dlsym(RTLD_NEXT, name);
    Function* function = nullptr;
    std::memcpy(&function, &symbol, sizeof(symbol));
    return function;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (point().kind == "ioctl" && std::strtoul(point().what.c_str(), nullptr, 16) == request) {
        pauseIfReached();
    }
    static auto* const real = next<int(int, unsigned long, ...)>("ioctl");
    return real(fd, request, argument);
}

__attribute__((visibility("default"))) int posix_spawn(pid_t* pid, const char* path,
                                                       const posix_spawn_file_actions_t* actions,
                                                       const posix_spawnattr_t* attributes, char* const words[],
                                                       char* const environment[]) {
    if (point().kind == "spawn") {
        std::string line;
        for (char* const* word = words; *word != nullptr; ++word) {
            line += *word;
            line += ' ';
        }
        if (line.find(point().what) != std::string::npos) {
            pauseIfReached();
        }
    }
    static auto* const real = next<decltype(posix_spawn)>("posix_spawn");
    return real(pid, path, actions, attributes, words, environment);
}
}
