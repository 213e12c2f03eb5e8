#include "tarn_priv_data.h"

#include <cstring>

#include "cfistringtool.h"
#include "tarn_trace.h"

namespace {

void replaceUnlessNull(std::string& field, const char* text) {
    if (text != nullptr) {
        field = text;
    }
}

// The value between the first opening and the first closing tag. Positions are signed 32-bit numbers and -1 where a tag
// is missing, so that every blob that was ever written reads as it always did: without its opening tag a value starts
// at the tag's length less one, and a negative length reaches to the end of the text.
std::string valueOf(const std::string& text, const std::string& tag) {
    const std::string opening = '<' + tag + '>';
    const auto start = static_cast<int32_t>(text.find(opening)) + static_cast<int32_t>(opening.size());
    const auto end = static_cast<int32_t>(text.find("</" + tag + '>'));
    return text.substr(static_cast<size_t>(start), static_cast<size_t>(end - start));
}

}  // namespace

CTARNPrivData::CTARNPrivData(znfi_objid* objid, bool isAltNode) : CFiPrivateData(objid, isAltNode) {}

CTARNPrivData::~CTARNPrivData() = default;

// No line break stands between version and options: the text must be the same on both sides, byte for byte.
std::string CTARNPrivData::stateText() const {
    return "<DEV_NAME>" + devName + "</DEV_NAME>\n" +      //
           "<FS_TYPE>" + fsType + "</FS_TYPE>\n" +         //
           "<FS_VERSION>" + fsVersion + "</FS_VERSION>" +  //
           "<MNT_OPTS>" + mntOpts + "</MNT_OPTS>\n" +      //
           "<ALT_NAME>" + altName + "</ALT_NAME>\n";
}

int CTARNPrivData::getNodeState(zfi_blob* blob) {
    if (blob == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    const zfi_tstring text = CFiStringTool::str2tstr(stateText());
    const size_t size = text.length() + 1;
    auto* data = static_cast<char*>(znfi_alloc_buf(size));
    if (data == nullptr) {
        return ZFI_ERR_NO_MEMORY;
    }
    std::memcpy(data, text.c_str(), size);
    blob->length = size;
    blob->data = data;
    blob->encoding = ZFI_BLOB_TEXT;
    tarnLog()->trace(kTraceProgress, "getNodeState: [%s] [%u]:[%s] [%u], mnt_opts=[%s]", text.c_str(),
                     static_cast<unsigned>(text.length()), blob->data, static_cast<unsigned>(blob->length),
                     mntOpts.c_str());
    return ZFI_OK;
}

int CTARNPrivData::setNodeState(zfi_blob* blob) {
    if (blob == nullptr) {
        return ZFI_ERR_INVALID_ARGUMENT;
    }
    if (blob->data == nullptr || blob->length == 0) {
        return ZFI_OK;
    }
    if (blob->encoding != ZFI_BLOB_TEXT) {
        tarnLog()->trace(kTraceWarning, "setNodeState() Blob uses non-string encoding.");
        return ZFI_OK;
    }
    // A blob comes from another host: its terminator is believed only within its length.
    const std::string bounded(blob->data, strnlen(blob->data, blob->length));
    const std::string text = CFiStringTool::tstr2str(CFiStringTool::str2tstr(bounded));
    devName = valueOf(text, "DEV_NAME");
    fsType = valueOf(text, "FS_TYPE");
    fsVersion = valueOf(text, "FS_VERSION");
    mntOpts = valueOf(text, "MNT_OPTS");
    altName = valueOf(text, "ALT_NAME");
    return ZFI_OK;
}

void CTARNPrivData::setDevName(const char* text) {
    const MethodScope scope("setDevName");
    replaceUnlessNull(devName, text);
}

void CTARNPrivData::setAltName(const char* text) {
    const MethodScope scope("setAltName");
    replaceUnlessNull(altName, text);
}

void CTARNPrivData::setFsType(const char* text) {
    const MethodScope scope("setFsType");
    replaceUnlessNull(fsType, text);
}

void CTARNPrivData::setMntOpts(const char* text) {
    const MethodScope scope("setMntOpts");
    replaceUnlessNull(mntOpts, text);
}

void CTARNPrivData::setFsVersion(const char* text) {
    const MethodScope scope("setFsVersion");
    replaceUnlessNull(fsVersion, text);
}
