// Failures of system calls: the sentence and the system's own text for the error number, always in the same shape.
#pragma once

#include <string>
#include <string_view>

#include "host/report/failure.h"

namespace tarnctl {

// The system's text for an error number, in the C locale's words: "No such file or directory". Any thread.
std::string systemErrorText(int errorNumber);

// A failure whose cause is "`what`: `text of errorNumber`". Take errno before anything else can change it.
Failure systemFailure(ExitCode code, std::string_view operation, std::string_view subject, std::string_view what,
                      int errorNumber);

}  // namespace tarnctl
