#include "loop_priv_data.h"

#include <cstring>

int CLOOPPrivData::getNodeState(zfi_blob* blob) {
    if (blob == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    const std::string text = record.toText();
    blob->data = static_cast<char*>(znfi_alloc_buf(text.size() + 1));
    if (blob->data == nullptr) {
        return ZFI_ERR_NO_MEMORY;
    }
    std::memcpy(blob->data, text.c_str(), text.size() + 1);
    blob->length = text.size() + 1;
    blob->encoding = ZFI_BLOB_TEXT;
    return ZFI_OK;
}

int CLOOPPrivData::setNodeState(zfi_blob* blob) {
    if (blob == nullptr || blob->data == nullptr || blob->length == 0) {
        return ZFI_OK;
    }
    if (blob->encoding != ZFI_BLOB_TEXT) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    const auto restored = loopfi::SnapshotRecord::fromText({blob->data, strnlen(blob->data, blob->length)});
    if (!restored) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    record = *restored;
    return ZFI_OK;
}
