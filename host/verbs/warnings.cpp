#include "host/verbs/warnings.h"

#include <fmt/format.h>

#include <cstdio>

namespace tarnctl {

void printWarnings(const std::string& operation, const std::string& subject, const std::vector<std::string>& warnings) {
    for (const std::string& warning : warnings) {
        const std::string line =
            fmt::format("tarnctl: {}: {}: warning: {}\n", operation, terminalText(subject), terminalText(warning));
        std::fwrite(line.data(), 1, line.size(), stderr);
    }
}

Json warningsJson(const std::vector<std::string>& warnings) {
    Json json = Json::array();
    for (const std::string& warning : warnings) {
        json.push_back(terminalText(warning));
    }
    return json;
}

}  // namespace tarnctl
