// Preloaded into the program under test: the kernel refuses one of its requests for good, as on a device that is dying.
//
//     TARNFI_TEST_REFUSE=HEX        every ioctl with this request number fails with EIO
//     TARNFI_TEST_REFUSE_GUARD=1    in processes that it forks, too: in the guard
#include <dlfcn.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace {

using Ioctl = int(int, unsigned long, ...);

struct Refusal {
    unsigned long request = 0;
    bool isOfGuard = false;
    pid_t program = 0;
    Ioctl* real = nullptr;
};

Refusal readRefusal() {
    Refusal read;
    const char* request = std::getenv("TARNFI_TEST_REFUSE");
    read.request = request == nullptr ? 0 : std::strtoul(request, nullptr, 16);
    read.isOfGuard = std::getenv("TARNFI_TEST_REFUSE_GUARD") != nullptr;
    read.program = getpid();
    void* symbol = dlsym(RTLD_NEXT, "ioctl");
    std::memcpy(&read.real, &symbol, sizeof(symbol));
    return read;
}

// Read when the program starts: the guard only looks at it.
const Refusal refusal = readRefusal();

}  // namespace

extern "C" __attribute__((visibility("default"))) int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == refusal.request && (refusal.isOfGuard || getpid() == refusal.program)) {
        errno = EIO;
        return -1;
    }
    return refusal.real(fd, request, argument);
}
