// Children that outlived even SIGKILL, because the kernel held them: reaped as soon as they are found to have ended.
#pragma once

#include <cstddef>

#include "descriptor.h"

namespace znfi_runtime {

// Keeps the pidfd of a killed child for later; any thread. Without memory for it the child stays unreaped.
void abandonChild(Descriptor handle) noexcept;

// Reaps the abandoned children that have ended meanwhile and returns how many are left; never waits; any thread.
std::size_t reapAbandoned();

}  // namespace znfi_runtime
