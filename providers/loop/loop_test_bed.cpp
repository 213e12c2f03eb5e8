#include "loop_test_bed.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>

namespace loopfi {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = "tarnfi-test-loop-";

bool isAlive(const std::string& process) {
    return ::kill(std::atoi(process.c_str()), 0) == 0;
}

}  // namespace

LoopTestBed::LoopTestBed() : directory_("/tmp/" + std::string(kPrefix) + std::to_string(::getpid())) {
    for (const auto& entry : fs::directory_iterator("/tmp")) {
        const std::string name = entry.path().filename();
        if (name.starts_with(kPrefix) && !isAlive(name.substr(std::string(kPrefix).size()))) {
            clear(entry.path());
        }
    }
    fs::create_directory(directory_);
}

LoopTestBed::~LoopTestBed() {
    clear(directory_);
}

std::string LoopTestBed::missing() {
    if (::geteuid() != 0) {
        return "loop devices need root";
    }
    if (::access("/dev/loop-control", R_OK | W_OK) != 0) {
        return "there is no /dev/loop-control";
    }
    return {};
}

void LoopTestBed::enterPrivateMounts() {
    EXPECT_EQ(::unshare(CLONE_NEWNS), 0);
    EXPECT_EQ(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
}

std::string LoopTestBed::mountCloning() {
    const std::string image = directory_ + "/cloning.img";
    const std::string point = directory_ + "/cloning";
    fs::create_directory(point);
    std::ofstream(image).close();
    fs::resize_file(image, std::uintmax_t{400} << 20);
    enterPrivateMounts();
    EXPECT_TRUE(run("mkfs.xfs -q -m reflink=1 " + image + " && mount -o loop " + image + " " + point));
    return point;
}

void LoopTestBed::makeImage(const std::string& path, std::uint64_t length, std::uint64_t dataLength) {
    {
        std::ofstream file(path, std::ios::binary);
        std::string block(4096, '\0');
        for (std::uint64_t at = 0; at < dataLength; at += block.size()) {
            for (std::size_t i = 0; i < block.size(); ++i) {
                block[i] = static_cast<char>((at / 4096 + i * 2654435761U) >> 5);
            }
            file.write(block.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(4096, dataLength - at)));
        }
    }
    fs::resize_file(path, length);
}

std::string LoopTestBed::attach(const std::string& image, const std::string& options) {
    return output("losetup -f --show " + options + " '" + image + "'");
}

std::vector<std::string> LoopTestBed::devicesOver(const std::string& text) {
    std::vector<std::string> devices;
    for (const auto& entry : fs::directory_iterator("/sys/block")) {
        std::ifstream file(entry.path() / "loop/backing_file");
        std::string name;
        if (std::getline(file, name) && name.find(text) != std::string::npos) {
            devices.push_back("/dev/" + entry.path().filename().string());
        }
    }
    return devices;
}

bool LoopTestBed::run(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

std::string LoopTestBed::output(const std::string& command) {
    const auto close = [](FILE* stream) { ::pclose(stream); };
    const std::unique_ptr<FILE, decltype(close)> pipe(::popen(command.c_str(), "re"), close);
    std::array<char, 4096> buffer{};
    const std::size_t length = std::fread(buffer.data(), 1, buffer.size(), pipe.get());
    std::string text(buffer.data(), length);
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

// Devices over files of the inner file system first, then that file system, then what lies in the folder itself.
void LoopTestBed::clear(const std::string& directory) {
    for (const std::string& device : devicesOver(directory + "/cloning/")) {
        run("losetup -d " + device);
    }
    ::umount((directory + "/cloning").c_str());
    for (const std::string& device : devicesOver(directory + "/")) {
        run("losetup -d " + device);
    }
    std::error_code ignored;
    fs::remove_all(directory, ignored);
}

}  // namespace loopfi
