#include "alternate_name.h"

#include <climits>
#include <cstring>

#include "mount_table.h"
#include "object_name.h"

const char* requestedAlternateName(const zfi_domain& node) {
    const char* first = listedName(node, 0);
    const char* second = listedName(node, 1);
    const bool isForNode = first != nullptr && std::strcmp(first, nameOf(&node)) == 0;
    return isForNode && second != nullptr && *second != '\0' ? second : nullptr;
}

bool isMountPoint(const char* name) {
    int mounted = 0;
    return tarn_get_mntent(name, &mounted) == ZFI_OK && mounted != 0;
}

int findFreeName(const std::string& base, size_t maxDigits, std::string& name) {
    name = base;
    for (int counter = 0;; counter = counter == INT_MAX ? 0 : counter + 1) {
        int mounted = 0;
        if (const int status = tarn_get_mntent(name.c_str(), &mounted); status != ZFI_OK) {
            return status;
        }
        if (mounted == 0) {
            return ZFI_OK;
        }
        name = base + std::to_string(counter).substr(0, maxDigits);
    }
}
