// What a device sends as its identification page, from memory of exactly that size: nothing is read beyond it, and the
// name is printable text that no line of a trace or a command can be broken with.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "vpd_identification.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> page(data, data + size);
    page.shrink_to_fit();
    const std::string wwid = wwidFromIdentificationPage(page);
    for (const char character : wwid) {
        if (character < 0x20 || character > 0x7E) {
            std::abort();
        }
    }
    return 0;
}
