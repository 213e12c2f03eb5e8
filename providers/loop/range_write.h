// Making a range of one file equal to the same range of another one, holes included.
// Thread: any; no state. Errors: std::system_error; the range may then be half written, unless said otherwise.
#pragma once

#include <cstdint>
#include <string>

#include "sparse_copy.h"

namespace loopfi {

enum class WriteMethod { kClone, kCopy };

// How the range could be written into a file of this directory (opened O_PATH or for reading), found out with a
// nameless file beside it. kCopy also where that cannot be found out.
WriteMethod rehearseWrite(int from, int directory, const Extent& range);

// Makes sure that a copy of the range finds room in `to`: by measuring the free space, and by allocating what is a hole
// in `to` and data in `from`. Changes no byte that `to` shows; after a failure what was allocated is a hole again. For
// `mayShare` (the file system clones, so `to` may share its blocks) the whole range counts as needed. Throws
// std::runtime_error when there is no room. `isTrial`: only measures.
void provideSpace(int from, int to, const Extent& range, bool mayShare, bool isTrial);

// Clones; false when the kernel cannot do that here, and nothing was changed.
bool cloneRange(int from, int to, const Extent& range);

// Copies what is data and empties what is a hole.
void copyRange(int from, int to, const Extent& range);

}  // namespace loopfi
