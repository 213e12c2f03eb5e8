// Which file it is, whatever it is called: the name of a file can be taken over by another file, this pair cannot
// while the file is open or attached.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace loopfi {

struct FileIdentity {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;

    static FileIdentity of(const struct stat& status) { return {status.st_dev, status.st_ino}; }
    bool operator==(const FileIdentity&) const = default;
};

// Throws std::system_error with "<what>: <errno text>" for the current errno, or for `error` when it is given.
[[noreturn]] void throwErrno(const std::string& what);
[[noreturn]] void throwErrno(const std::string& what, int error);

// A path cut at its last slash; "/x" gives "/" and "x". The directory of a name without a slash is ".".
struct SplitPath {
    std::string directory;
    std::string name;
};
SplitPath splitPath(const std::string& path);

// Opens the directory (O_PATH) without following a symbolic link in any component: what lies at the path now must be
// what the kernel names, not what somebody redirected. Throws std::system_error.
class Descriptor;
Descriptor openDirectory(const std::string& directory);

}  // namespace loopfi
