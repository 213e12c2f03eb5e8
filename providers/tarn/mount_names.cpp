// Names made from paths and times, and the buffer in which a framework gets one.
#include <cstdlib>
#include <ctime>
#include <memory>

#include "mount_table.h"
#include "tarn_plugin.h"
#include "z_strings.h"
#include "z_time.h"

void CTARNPlugin::generateName(const std::string& path, std::string& name) {
    const MethodScope scope("generateName");
    const size_t slash = path.rfind('/');
    name = slash == std::string::npos ? '/' + path : path.substr(slash);
}

std::string CTARNPlugin::getTime() {
    const MethodScope scope("getTime");
    const time_t now = time(nullptr);
    struct tm local = {};
    Z_localtime(&now, &local);
    char text[15];
    Z_snprintf(text, sizeof(text), "%02d%02d%04d%02d%02d%02d", local.tm_mday, local.tm_mon + 1, local.tm_year + 1900,
               local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

int CTARNPlugin::createPathAndAllocBuffer(const zfi_tstring& path, char*** paths, int* count) {
    const MethodScope scope("createPathAndAllocBuffer");
    const size_t size = path.length() + 1;
    // The array is the framework's to free with free, its element with znfi_free_buf.
    std::unique_ptr<void, decltype(&freeMemory)> memory(std::malloc(sizeof(char*)), freeMemory);
    auto* buffer = memory ? static_cast<char*>(znfi_alloc_buf(size)) : nullptr;
    if (buffer == nullptr) {
        tarnLog()->trace(kTraceError, "CTARNPlugin::createPathAndAllocBuffer memory allocation failed");
        return ZFI_ERR_NO_MEMORY;
    }
    Z_strlncpy(buffer, path.c_str(), path.length(), size);
    *paths = static_cast<char**>(memory.release());
    **paths = buffer;
    *count = 1;
    return ZFI_OK;
}
