#include "reenable_command.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "command.h"
#include "object_name.h"
#include "tarn_trace.h"

namespace {

std::vector<std::string_view> wordsOf(std::string_view options) {
    std::vector<std::string_view> words;
    for (size_t start = 0; start < options.size();) {
        const size_t end = std::min(options.find(',', start), options.size());
        if (end > start) {
            words.push_back(options.substr(start, end - start));
        }
        start = end + 1;
    }
    return words;
}

std::string typePart(const CTARNPrivData& data) {
    if (!isNfsType(data.fsType)) {
        return {};
    }
    tarnLog()->trace(kTraceProgress, "CTARNPlugin::enableAccess - nfs version %s", data.fsVersion.c_str());
    return data.fsVersion == "4" ? " -t nfs4 " : "";
}

std::string optionsPart(const CTARNPrivData& data) {
    if (data.mntOpts.empty()) {
        return {};
    }
    if (!isNfsType(data.fsType)) {
        return " -o " + data.mntOpts;
    }
    tarnLog()->trace(kTraceProgress, "mnt_opts [%s]", data.mntOpts.c_str());
    const std::string options = optionsWithoutRemount(data.mntOpts);
    tarnLog()->trace(kTraceProgress, "new mnt_opts [%s]", options.c_str());
    if (options == " ") {
        return {};
    }
    tarnLog()->trace(kTraceProgress, "Setting mount options - mnt_opts [%s]", options.c_str());
    return " -o " + options;
}

// Also without options: the comma then stands alone.
std::string versionPart(const CTARNPrivData& data) {
    return data.fsVersion != "4" && isNfsType(data.fsType) ? ",vers=" + data.fsVersion : "";
}

}  // namespace

std::string optionsWithoutRemount(const std::string& options) {
    const std::vector<std::string_view> words = wordsOf(options);
    std::string kept = " ";
    for (size_t i = 0; i < words.size(); ++i) {
        if (words[i] != "remount") {
            kept.append(words[i]);
            kept.append(i + 1 < words.size() ? "," : "");
        }
    }
    return kept;
}

std::string reenableCommand(const CTARNPrivData& data, const std::string& device, const std::string& mountPoint) {
    // Named, because the parts trace in this order.
    const std::string type = typePart(data);
    const std::string options = optionsPart(data);
    return "/bin/mount " + type + options + versionPart(data) + " " + quotedPair(device, mountPoint);
}
