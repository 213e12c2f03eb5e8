// The text of a node's state from another host: any bytes are read within their bounds, and what was read is written
// and read again to the same facts unless a value holds one of the tags.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "tarn_priv_data.h"
#include "znfi.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool hasTag(const std::string& value) {
    for (const char* tag : {"DEV_NAME>", "FS_TYPE>", "FS_VERSION>", "MNT_OPTS>", "ALT_NAME>"}) {
        if (value.find(tag) != std::string::npos) {
            return true;
        }
    }
    return false;
}

bool hasSameFacts(const CTARNPrivData& one, const CTARNPrivData& other) {
    return one.devName == other.devName && one.fsType == other.fsType && one.fsVersion == other.fsVersion &&
           one.mntOpts == other.mntOpts && one.altName == other.altName;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    znfi_trace_set_level(0);
    // Exactly as long as the bytes, so that the sanitizer sees every read behind them.
    auto* bytes = static_cast<char*>(std::malloc(size + (size == 0 ? 1 : 0)));
    if (size != 0) {
        std::string(reinterpret_cast<const char*>(data), size).copy(bytes, size);
    }
    zfi_blob blob = {size, bytes, ZFI_BLOB_TEXT, 0};
    const auto read = makeCounted<CTARNPrivData>(nullptr, false);
    try {
        require(read->setNodeState(&blob) == ZFI_OK);
    } catch (const std::out_of_range&) {  // the text ends before a value whose tag is missing
    }
    std::free(bytes);

    zfi_blob written = {};
    require(read->getNodeState(&written) == ZFI_OK && written.encoding == ZFI_BLOB_TEXT);
    const bool isClean = !hasTag(read->devName) && !hasTag(read->fsType) && !hasTag(read->fsVersion) &&
                         !hasTag(read->mntOpts) && !hasTag(read->altName);
    const auto again = makeCounted<CTARNPrivData>(nullptr, false);
    if (isClean) {
        require(again->setNodeState(&written) == ZFI_OK && hasSameFacts(*read, *again));
    }
    znfi_free_buf(written.data, written.length);
    return 0;
}
