// A new file system on a volume, proved by mounting it once.
#include <unistd.h>

#include "cfiformatoptionlist.h"
#include "command.h"
#include "format_option.h"
#include "fs_types.h"
#include "guarded.h"
#include "tarn_plugin.h"

namespace {

constexpr int kCarryOut = 0x1;

// A step whose failure does not matter: the primitives trace it.
template <typename Step>
void attempt(Step step) {
    try {
        step();
    } catch (const EFiExecPipe&) {
    }
}

}  // namespace

int get_mkfs_option(const char* type, zfi_tstring& option) {
    const std::string_view name = type;
    if (name == "xfs" || name == "jfs" || name == "reiserfs") {
        option = "-f";
    }
    return 0;
}

std::string optionValue(const CFiFormatOptionList& options, const char* name) {
    std::string value;
    return options.getValue(name, value) == 0 ? value : std::string();
}

int CTARNPlugin::format(char** devices, int, char*, char* type, char* options, int flags, char***, int*) {
    const MethodScope scope("format");
    return guarded(ZFI_ERR_INVALID_ARGUMENT, [&]() -> int {
        if (devices == nullptr || devices[0] == nullptr || type == nullptr) {
            tarnLog()->trace(kTraceProgress, "TARN::format - Invalid values specified");
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        const bool isSupported = isOwnType(type);
        tarnLog()->trace(kTraceProgress, "TARN::format - type = %s", type);
        std::string mkfsOptions;
        if (options != nullptr) {
            tarnLog()->trace(kTraceProgress, "TARN::format - options = %s", options);
            CFiFormatOptionList list;
            list.parse(options);
            mkfsOptions = optionValue(list, "mkfsOptions");
            const std::string mountOptions = optionValue(list, "mountOptions");
            tarnLog()->trace(kTraceProgress, "TARN::format - mkfsOptions = %s", mkfsOptions.c_str());
            tarnLog()->trace(kTraceProgress, "TARN::format - mountOptions = %s", mountOptions.c_str());
        }
        if (!isSupported) {
            tarnLog()->trace(kTraceError, "TARN::format not a supported type");
            return ZFI_ERR_INVALID_ARGUMENT;
        }
        if ((flags & kCarryOut) == 0) {
            return ZFI_OK;
        }
        makeFileSystem(devices[0], type, mkfsOptions);
        proveFileSystem(devices[0]);
        return ZFI_OK;
    });
}

void CTARNPlugin::makeFileSystem(const std::string& device, const std::string& type, const std::string& options) {
    zfi_tstring typeOption;
    get_mkfs_option(type.c_str(), typeOption);
    const std::string optionsPart = options.empty() ? "" : " " + options;
    const std::string line = "/sbin/mkfs -t  " + type + " " + typeOption.c_str() + optionsPart + " " + device;
    tarnLog()->trace(kTraceProgress, "TARN::format - mkfs command = %s", line.c_str());
    Command command;
    if (command.run(line) != ZFI_EXEC_PIPE_SUCCESS) {
        tarnLog()->trace(kTraceError, "TARN::format - mkfs command [%s] failed with message '%s'.", line.c_str(),
                         command.text().c_str());
        command.raise();
    }
}

void CTARNPlugin::proveFileSystem(const std::string& device) {
    const std::string mountPoint = "/tmp_" + getTime();
    attempt([&] { createMntPoint(mountPoint); });
    attempt([&] { mount(mountPoint, device, "rw"); });
    attempt([&] { umount(mountPoint); });
    rmdir(mountPoint.c_str());
}
