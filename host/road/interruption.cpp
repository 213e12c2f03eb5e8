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

}  // namespace

void noteInterruptions() {
    for (int signal : kInterruptions) {
        struct sigaction action {};
        if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) {
            continue;
        }
        action = {};
        action.sa_handler = &note;
        action.sa_flags = SA_RESTART;
        ::sigaction(signal, &action, nullptr);
    }
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
