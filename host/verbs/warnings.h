// What went wrong without making a verb fail: beside its answer, for people and for programs.
#pragma once

#include <string>
#include <vector>

#include "host/report/report.h"

namespace tarnctl {

// One line each on standard error: "tarnctl: <operation>: <subject>: warning: …". With --json, too.
void printWarnings(const std::string& operation, const std::string& subject, const std::vector<std::string>& warnings);

// An array of texts, empty for none.
Json warningsJson(const std::vector<std::string>& warnings);

}  // namespace tarnctl
