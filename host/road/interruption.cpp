#include "host/road/interruption.h"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace tarnctl {
namespace {
volatile std::sig_atomic_t noted = 0;
std::atomic<const char*> answer{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free);

void note(int signal) {
    noted = signal;
    if (const char* text = answer.load(); text != nullptr) {
        const int error = errno;
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
        errno = error;
    }
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

AnswerInterruptions::AnswerInterruptions(const char* text) {
    answer.store(text);
}

AnswerInterruptions::~AnswerInterruptions() {
    answer.store(nullptr);
}

}  // namespace tarnctl
