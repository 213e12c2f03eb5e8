// The mount-point name made from any device path, and the array that hands it to a framework.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cfistringtool.h"
#include "tarn_plugin.h"

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path(reinterpret_cast<const char*>(data), size);
    const auto plugin = CFiContextSingleton<CTARNPlugin, FI_PLUGIN_NAME>::instance(false);
    std::string name = "of an earlier call";
    plugin->generateName(path, name);
    require(name.starts_with('/') && name.rfind('/') == 0);
    require(name.size() <= path.size() + 1);
    require(path.ends_with(name) || (path.find('/') == std::string::npos && name == "/" + path));

    char** paths = nullptr;
    int count = 0;
    require(plugin->createPathAndAllocBuffer(CFiStringTool::str2tstr(name), &paths, &count) == ZFI_OK);
    require(count == 1 && std::string(paths[0]) == name.c_str());
    znfi_free_buf(paths[0], name.size() + 1);
    std::free(paths);
    require(znfi_outstanding_bufs() == 0);
    return 0;
}
