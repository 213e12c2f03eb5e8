// A writer for proofs about snapshots: appends numbered records to a file, each synced, and keeps a log elsewhere of
// when it began each one and when each was safely on the disk.
//
//     record_writer FILE LOG [PAUSE_US]
//
// A record is 128 bytes: "record NNNNNNNNNNNN ", a text made from the number, a line break. The log has one line per
// event, with CLOCK_MONOTONIC in nanoseconds: "begun NUMBER TIME" before the write, "acknowledged NUMBER TIME" after
// the data is synced. Ends with 0 on SIGTERM, after the record in hand, or with its parent.
#include <fcntl.h>
#include <sys/prctl.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr std::size_t kRecordLength = 128;
constexpr int kHeadLength = 20;  // "record " and the number and a blank
constexpr int kNumberDigits = 12;

volatile std::sig_atomic_t shallEnd = 0;

std::int64_t monotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::array<char, kRecordLength> recordOf(std::uint64_t number) {
    std::array<char, kRecordLength> record{};
    std::snprintf(record.data(), record.size(), "record %0*" PRIu64 " ", kNumberDigits, number);
    std::uint64_t state = number * 6364136223846793005U + 1442695040888963407U;
    for (std::size_t i = kHeadLength; i + 1 < kRecordLength; ++i) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        record[i] = static_cast<char>('a' + (state >> 33) % 26);
    }
    record.back() = '\n';
    return record;
}

// Whole or not at all, as far as the system lets us: a short write is an error here.
bool writeWhole(int fd, const char* data, std::size_t length) {
    return write(fd, data, length) == static_cast<ssize_t>(length);
}

bool note(int log, const char* event, std::uint64_t number) {
    std::array<char, 64> line{};
    const int length =
        std::snprintf(line.data(), line.size(), "%s %" PRIu64 " %" PRId64 "\n", event, number, monotonicNs());
    return writeWhole(log, line.data(), static_cast<std::size_t>(length));
}

bool append(int file, int log, std::uint64_t number) {
    const auto record = recordOf(number);
    return note(log, "begun", number) && writeWhole(file, record.data(), record.size()) && fdatasync(file) == 0 &&
           note(log, "acknowledged", number);
}

int openFor(const char* path, int flags) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600);
    if (fd < 0) {
        std::fprintf(stderr, "record_writer: %s: %s\n", path, std::strerror(errno));
    }
    return fd;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: record_writer FILE LOG [PAUSE_US]\n");
        return 2;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGTERM, [](int) { shallEnd = 1; });
    const int file = openFor(argv[1], O_APPEND);
    const int log = openFor(argv[2], O_APPEND);
    if (file < 0 || log < 0) {
        return 1;
    }
    const auto pauseUs = argc > 3 ? static_cast<useconds_t>(std::strtoul(argv[3], nullptr, 10)) : 0;
    for (std::uint64_t number = 1; shallEnd == 0; ++number) {
        if (!append(file, log, number)) {
            std::fprintf(stderr, "record_writer: record %" PRIu64 ": %s\n", number, std::strerror(errno));
            return 1;
        }
        if (pauseUs > 0) {
            usleep(pauseUs);
        }
    }
    return 0;
}
