// The file that an export is written to and an import is read from.
#pragma once

#include <string>

#include "host/report/failure.h"

namespace tarnctl {

// At most one byte more than such a document may have. kNotFound, or kUnsupported for what is no regular file. Never
// waits for a writer.
Result<std::string> readDocument(const std::string& file);

// A new file, for its owner alone, on the disk when this returns; nothing is left after a failure. An existing file is
// never written over (kUnsupported).
Status writeDocument(const std::string& file, const std::string& text);

}  // namespace tarnctl
