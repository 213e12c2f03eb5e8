// The mount point of a snapshot: a name that the framework asks for, or one derived from the node's own.
#pragma once

#include <string>

#include "zfi_types.h"

// The name that the framework asks for: entry [1] of the node's object-id list, when [0] is the node itself and [1] not
// empty. Null otherwise. The node must have a name.
const char* requestedAlternateName(const zfi_domain& node);

// Is it a mount point now? False also when the mount table cannot be read.
bool isMountPoint(const char* name);

// The first of base, base0, base1, … that is no mount point. The counter's text is cut to maxDigits digits, so that the
// names repeat from there on; a host on which all of them are mounted keeps this searching. 0; or 1083 with the name
// that could not be looked up.
int findFreeName(const std::string& base, size_t maxDigits, std::string& name);
