// The catalog's folder and file: undoing follows what is written there, as root, so nobody else may write it.
#pragma once

#include <string>

#include "host/report/failure.h"

namespace tarnctl {

// Creates the folder (0700; its parent must exist) and an empty file (0600) where they are missing, both synced to the
// disk. Refuses (kUnsupported) a file that is no regular file, and a folder or file that belongs to neither us nor root
// or that others may write to; kFailed where the system refuses, naming the folder or file that is not open to us.
// Answers the path with the folder's links resolved. An existing file is never opened: closing it would drop the locks
// of another connection of this process.
Result<std::string> prepareCatalogFile(const std::string& file);

}  // namespace tarnctl
