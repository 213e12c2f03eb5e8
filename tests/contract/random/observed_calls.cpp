#include "observed_calls.h"

#include <dirent.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "znfi.h"

#if defined(__SANITIZE_ADDRESS__)
#define ROADS_FIND_LEAKS 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ROADS_FIND_LEAKS 1
#endif
#endif
#ifdef ROADS_FIND_LEAKS
#include <sanitizer/lsan_interface.h>
#endif

namespace roads {
namespace {

constexpr int kScopeLevel = 6;
constexpr const char* kEntering = "Entering Function ";
constexpr const char* kExiting = "Exiting Function ";

int entriesOf(const char* folder) {
    DIR* stream = opendir(folder);
    int count = 0;
    while (stream != nullptr && readdir(stream) != nullptr) {
        ++count;
    }
    closedir(stream);
    return count;
}

}  // namespace

Scopes::Scopes() {
    znfi_trace_set_level(kScopeLevel);
    znfi_trace_sink(receive, this);
}

Scopes::~Scopes() {
    znfi_trace_sink(nullptr, nullptr);
}

std::string Scopes::fault() const {
    if (outOfTurn_[0] != '\0') {
        return std::string("out of turn: ") + outOfTurn_;
    }
    return depth_ == 0 ? std::string() : std::string("still open: ") + open_[depth_ - 1];
}

void Scopes::receive(void* self, int level, const char*, const char* text) {
    if (level == kScopeLevel) {
        static_cast<Scopes*>(self)->take(text);
    }
}

void Scopes::take(const char* text) {
    if (std::strncmp(text, kEntering, std::strlen(kEntering)) == 0) {
        const char* name = text + std::strlen(kEntering);
        std::snprintf(depth_ < kDeepest ? open_[depth_++] : outOfTurn_, kLongest, "%s", name);
        ++opened_;
    } else if (std::strncmp(text, kExiting, std::strlen(kExiting)) == 0) {
        const char* name = text + std::strlen(kExiting);
        if (depth_ == 0 || std::strcmp(open_[--depth_], name) != 0) {
            std::snprintf(outOfTurn_, kLongest, "%s", name);
        }
    }
}

int threads() {
    return entriesOf("/proc/self/task");
}

int descriptors() {
    return entriesOf("/proc/self/fd");
}

bool hasChild() {
    return waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

void awaitKilledChildren() {
    if (hasChild()) {
        waitid(P_ALL, 0, nullptr, WEXITED | WNOWAIT);
    }
}

bool leaks() {
#ifdef ROADS_FIND_LEAKS
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

}  // namespace roads
