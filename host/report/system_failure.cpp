#include "host/report/system_failure.h"

#include <string.h>

namespace tarnctl {

std::string systemErrorText(int errorNumber) {
    const char* text = strerrordesc_np(errorNumber);
    return text != nullptr ? text : "error " + std::to_string(errorNumber);
}

Failure systemFailure(ExitCode code, std::string_view operation, std::string_view subject, std::string_view what,
                      int errorNumber) {
    return Failure{code, std::string(operation), std::string(subject),
                   std::string(what) + ": " + systemErrorText(errorNumber)};
}

}  // namespace tarnctl
