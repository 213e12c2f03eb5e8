#include "content.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "machine/tool.h"

namespace road {

void fill(const std::string& point) {
    mustRun("cd " + point + " && mkdir -p folder/inner && seq 1 200000 > folder/inner/numbers && " +
            "printf tarnfi > name && ln -s name link && chmod 640 name && " +
            "sha256sum folder/inner/numbers name > sums && sync -f .");
}

testing::AssertionResult isFilled(const std::string& point) {
    const Outcome outcome =
        run("cd " + point + " && test \"$(stat -c %a name)\" = 640 && test \"$(readlink link)\" = name && " +
            "test \"$(wc -l < sums)\" = 2 && sha256sum --check --strict sums");
    return (outcome.exitStatus == 0 ? testing::AssertionSuccess() : testing::AssertionFailure()) << outcome.output;
}

namespace {

int errorOfWrite(const std::string& point) {
    const std::string path = point + "/written-by-a-test";
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) {
        return errno;
    }
    const int error = write(file, "x", 1) == 1 && fsync(file) == 0 ? 0 : errno;
    close(file);
    unlink(path.c_str());
    return error;
}

testing::AssertionResult saying(bool isSo, int error) {
    return (isSo ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "a write says: " << std::strerror(error);
}

}  // namespace

testing::AssertionResult isReadOnly(const std::string& point) {
    const int error = errorOfWrite(point);
    return saying(error == EROFS, error);
}

testing::AssertionResult isWritable(const std::string& point) {
    const int error = errorOfWrite(point);
    return saying(error == 0, error);
}

}  // namespace road
