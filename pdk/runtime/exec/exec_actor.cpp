// A command for the runner's tests: plays what no program of the system plays. Prints; returns 2 when misused.
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

// One write for each byte, the last without a line end.
int byteByByte() {
    for (const char byte : std::string_view("one\ntwo\n\nthree")) {
        if (::write(STDOUT_FILENO, &byte, 1) != 1) {
            return 1;
        }
        ::usleep(1000);
    }
    return 0;
}

int openDescriptors() {
    for (int number = 0; number < 70000; ++number) {
        if (::fcntl(number, F_GETFD) >= 0) {
            std::printf("%d\n", number);
        }
    }
    return 0;
}

int arguments(int count, char** values) {
    for (int at = 2; at < count; ++at) {
        std::printf("<%s>\n", values[at]);
    }
    return 0;
}

// Holds the caller's parent in tracing until it has been dead for a while: a parent cannot reap a traced child, as it
// cannot reap one that the kernel keeps in a blocked call.
[[noreturn]] void traceAndHold(pid_t traced, int ready) {
    ::setsid();
    const bool attached = ::ptrace(PTRACE_SEIZE, traced, nullptr, nullptr) == 0;
    ::close(STDOUT_FILENO);
    ::close(STDERR_FILENO);
    const char verdict = attached ? 'y' : 'n';
    if (::write(ready, &verdict, 1) == 1 && attached) {
        siginfo_t info{};
        while (::waitid(P_PID, static_cast<id_t>(traced), &info, WEXITED | WNOWAIT) == 0 &&
               info.si_code == CLD_TRAPPED) {
            ::usleep(10000);  // stopped by a signal, not dead
        }
        ::sleep(7);
    }
    std::_Exit(0);
}

// Unkillable in effect: dead when killed, but not reaped before its tracer lets go of it. Returns 3 where tracing is
// forbidden.
int heldWhenDead() {
    int ready[2];
    if (::pipe(ready) != 0) {
        return 1;
    }
    const pid_t self = ::getpid();
    const pid_t tracer = ::fork();
    if (tracer == 0) {
        ::usleep(100000);  // until the permission below is given
        traceAndHold(self, ready[1]);
    }
    ::prctl(PR_SET_PTRACER, tracer, 0, 0, 0);
    char verdict = 0;
    if (::read(ready[0], &verdict, 1) != 1 || verdict != 'y') {
        return 3;
    }
    std::printf("held %d\n", static_cast<int>(self));
    std::fflush(stdout);
    for (;;) {
        ::pause();
    }
}

}  // namespace

int main(int count, char** values) {
    const std::string_view role = count > 1 ? values[1] : "";
    if (role == "byte-by-byte") {
        return byteByByte();
    }
    if (role == "open-descriptors") {
        return openDescriptors();
    }
    if (role == "arguments") {
        return arguments(count, values);
    }
    if (role == "held-when-dead") {
        return heldWhenDead();
    }
    return 2;
}
