// The plug-in's pauses take no time here: the test program's own `sleep` counts them and lets the test act in them.
#pragma once

#include <functional>
#include <vector>

namespace road {

// The seconds of each pause since the last call of forgetPauses.
const std::vector<unsigned>& pauses();
// And what is done in each pause from now on; may be empty.
void forgetPauses(std::function<void()> inEach = {});

}  // namespace road
