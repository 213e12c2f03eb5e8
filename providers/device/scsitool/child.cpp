#include "child.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

// What counts coverage, in a build that does: a process that ends at once would take its counts with it.
extern "C" __attribute__((weak)) int __llvm_profile_write_file();

Child::Child(const std::function<int(const std::function<void()>& say)>& work, End end) {
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) {
        throw std::runtime_error("no pipe");
    }
    pid_ = fork();
    if (pid_ == 0) {
        close(pipe[0]);
        const int status = work([&] { (void)!write(pipe[1], "x", 1); });
        if (end == End::kAsPrograms) {
            std::exit(status);
        }
        if (__llvm_profile_write_file != nullptr) {
            __llvm_profile_write_file();
        }
        _exit(status);
    }
    close(pipe[1]);
    words_ = pipe[0];
    if (pid_ < 0) {
        throw std::runtime_error("no process");
    }
}

Child::~Child() {
    if (pid_ > 0) {
        kill(pid_, SIGKILL);
        join();
    }
    close(words_);
}

bool Child::hasSaid(int milliseconds) const {
    pollfd words{words_, POLLIN, 0};
    return poll(&words, 1, milliseconds) == 1 && (words.revents & POLLIN) != 0;
}

void Child::signal(int number) const {
    kill(pid_, number);
}

void Child::stop() const {
    signal(SIGSTOP);
    waitpid(pid_, nullptr, WUNTRACED);
}

int Child::join() {
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
