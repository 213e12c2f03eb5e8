// The test's time: sleeping takes none, and a command that hangs uses up its whole time limit at once. The functions of
// the C library that wait or tell the time are defined by the test program and so are the ones that the libraries call.
#pragma once

#include <functional>
#include <vector>

namespace bed {

struct Waits {
    std::vector<int> sleeps = {};  // seconds of each sleep, in order
    std::vector<int> limits = {};  // seconds that hanging commands were given, in order
    bool operator==(const Waits&) const = default;
};

void resetWaits();
// Called once, at the nth sleep from now (from 1). resetWaits takes it away.
void atSleep(size_t nth, std::function<void()> happens);
const Waits& waits();

}  // namespace bed
