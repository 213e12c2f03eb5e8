// The mount command for a file system that was unmounted on request, from what its node recorded.
#pragma once

#include <string>

#include "tarn_priv_data.h"

// Traces the decisions for NFS on the way.
std::string reenableCommand(const CTARNPrivData& data, const std::string& device, const std::string& mountPoint);

// One blank, then the words of the comma-separated options without the word "remount", each followed by a comma unless
// it is the last word of options: a "remount" at the end leaves a comma behind.
std::string optionsWithoutRemount(const std::string& options);
