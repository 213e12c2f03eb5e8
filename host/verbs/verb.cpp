#include "host/verbs/verb.h"

#include <cstdio>

namespace tarnctl {

void printText(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void printJson(const Json& value) {
    printText(jsonText(value) + "\n");
}

int answer(const Installation& installation, const Failure& failure) {
    if (installation.settings().isJson) {
        printJson(failureJson(failure));
    } else {
        const std::string text = failureText(failure);
        std::fwrite(text.data(), 1, text.size(), stderr);
    }
    return static_cast<int>(failure.code);
}

}  // namespace tarnctl
