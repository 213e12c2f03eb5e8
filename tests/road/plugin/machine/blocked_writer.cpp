#include "blocked_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <system_error>

namespace road {
namespace {

constexpr std::array<char, 4096> kBlock{};

template <typename Condition>
bool waitFor(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace

BlockedWriter::BlockedWriter(const std::string& path)
    : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600)) {
    if (file_ < 0) {
        throw std::system_error(errno, std::generic_category(), path);
    }
}

BlockedWriter::~BlockedWriter() {
    if (thread_.joinable()) {
        thread_.join();
    }
    close(file_);
}

void BlockedWriter::start() {
    thread_ = std::thread([this] {
        threadId_ = gettid();
        isWritten_ = write(file_, kBlock.data(), kBlock.size()) == static_cast<ssize_t>(kBlock.size());
        isDone_ = true;
    });
}

char BlockedWriter::state() const {
    std::ifstream status("/proc/self/task/" + std::to_string(threadId_) + "/stat");
    std::string line;
    std::getline(status, line);
    const size_t name = line.rfind(") ");
    return name == std::string::npos ? '?' : line[name + 2];
}

// Uninterruptible sleep ('D') alone could be a page being fetched, so it has to last.
bool BlockedWriter::isHeldBack() {
    for (int seen = 0; seen < 10; ++seen) {
        if (!waitFor([this] { return isDone_ || (threadId_ != 0 && state() == 'D'); }) || isDone_) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    struct stat info = {};
    return !isDone_ && fstat(file_, &info) == 0 && info.st_size == 0;
}

bool BlockedWriter::completes() {
    return waitFor([this] { return isDone_.load(); }) && isWritten_;
}

}  // namespace road
