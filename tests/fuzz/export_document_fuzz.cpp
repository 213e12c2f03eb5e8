// The document of an export: whatever comes in is refused or understood, never both; what was understood is written
// again as something that reads the same, and never holds what commands or the road could stumble over.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/mounts/preflight.h"
#include "host/transfer/export_document.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tarnctl;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto read = exportDocumentOf(text, "document");
    if (!read) {
        require(read.failure().code == ExitCode::kUnsupported && !read.failure().cause.empty());
        return 0;
    }
    require(static_cast<bool>(checkName(NameKind::kMountPoint, read->origin.mountPoint)));
    require(static_cast<bool>(checkName(NameKind::kDevice, read->origin.device)));
    require(read->consistency == Consistency::kFrozen || read->consistency == Consistency::kCrash);
    require(read->fileSystem.provider != read->volume.provider);
    const std::string again = textOf(*read);
    const auto reread = exportDocumentOf(again, "document");
    require(static_cast<bool>(reread));
    require(textOf(*reread) == again);
    return 0;
}
