#include "pause.h"

#include <utility>

namespace {
std::vector<unsigned> taken;
std::function<void()> act;
}  // namespace

namespace road {

const std::vector<unsigned>& pauses() {
    return taken;
}

void forgetPauses(std::function<void()> inEach) {
    taken.clear();
    act = std::move(inEach);
}

}  // namespace road

extern "C" __attribute__((visibility("default"))) unsigned sleep(unsigned seconds) {
    taken.push_back(seconds);
    if (act) {
        act();
    }
    return 0;
}
