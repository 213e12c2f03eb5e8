#include "file_identity.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

#include <cerrno>
#include <system_error>

#include "descriptor.h"

namespace loopfi {

void throwErrno(const std::string& what) {
    throwErrno(what, errno);
}

void throwErrno(const std::string& what, int error) {
    throw std::system_error(error, std::generic_category(), what);
}

SplitPath splitPath(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        return {".", path};
    }
    return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

Descriptor openDirectory(const std::string& directory) {
    struct open_how how {};
    how.flags = O_PATH | O_DIRECTORY | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    const long fd = ::syscall(SYS_openat2, AT_FDCWD, directory.c_str(), &how, sizeof how);
    if (fd < 0) {
        throwErrno("open the directory " + directory);
    }
    return Descriptor(static_cast<int>(fd));
}

}  // namespace loopfi
