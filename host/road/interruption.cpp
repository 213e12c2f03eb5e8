#include "host/road/interruption.h"

#include <fmt/format.h>
#include <signal.h>

#include <csignal>
#include <cstring>

namespace tarnctl {
namespace {
volatile std::sig_atomic_t noted = 0;
void note(int signal) {
    noted = signal;
}

void install(int flags) {
    struct sigaction action {};
    action.sa_handler = &note;
    action.sa_flags = flags;
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
        ::sigaction(signal, &action, nullptr);
    }
}
}  // namespace

void noteInterruptions() {
    install(SA_RESTART);
}

void noteInterruptionsWithoutRestart() {
    install(0);
}

int interruption() {
    return noted;
}

void forgetInterruption() {
    noted = 0;
}

Status refuseWhenInterrupted(const std::string& operation, const std::string& subject) {
    if (noted == 0) {
        return Done{};
    }
    return Failure{ExitCode::kFailed, operation, subject,
                   fmt::format("interrupted by {}", ::strsignal(static_cast<int>(noted)))};
}

}  // namespace tarnctl
