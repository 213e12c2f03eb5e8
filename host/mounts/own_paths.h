// Files that this process needs while a file system is frozen.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace tarnctl {

struct OwnPath {
    std::string what;  // "the catalog"
    std::string path;
    dev_t device = 0;  // its file system where that is known better than by the path (deleted files), else 0
};

// The program and every library or other file mapped into it, the working directory, and every regular file that is
// open. Callers add the catalog, the trace file and the commands they will run. What cannot be read is left out.
std::vector<OwnPath> ownPaths();

}  // namespace tarnctl
