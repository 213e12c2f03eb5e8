#include "abandoned_children.h"

#include <sys/wait.h>

#include <exception>
#include <mutex>
#include <utility>
#include <vector>

namespace znfi_runtime {
namespace {

struct Abandoned {
    std::mutex mutex;
    std::vector<Descriptor> handles;
};

Abandoned& abandoned() {
    static Abandoned children;
    return children;
}

// Still there: neither reaped now nor by somebody else.
bool isStillRunning(const Descriptor& handle) {
    siginfo_t info{};
    const int result = ::waitid(P_PIDFD, static_cast<id_t>(handle.number()), &info, WEXITED | WNOHANG);
    return result == 0 && info.si_pid == 0;
}

}  // namespace

void abandonChild(Descriptor handle) noexcept {
    try {
        const std::lock_guard lock(abandoned().mutex);
        abandoned().handles.push_back(std::move(handle));
    } catch (const std::exception&) {
        // The child is killed already; one process table entry is the price of having no memory.
    }
}

std::size_t reapAbandoned() {
    const std::lock_guard lock(abandoned().mutex);
    std::erase_if(abandoned().handles, [](const Descriptor& handle) { return !isStillRunning(handle); });
    return abandoned().handles.size();
}

}  // namespace znfi_runtime
