// Whether the folders that lead to a name can be relied on between looking at it and acting on it.
#pragma once

#include <string>

#include "host/report/failure.h"

namespace tarnctl {

// Of every folder on the way to `name`, an absolute path: it is there, no symbolic link, belongs to root or us, and
// nobody else may write to it; further up than the last one others may, where it is sticky. kNotFound or kUnsupported
// with this `operation`, kFailed where it cannot be looked at. Only reads. Any thread.
Status checkWay(const std::string& operation, const std::string& name);

}  // namespace tarnctl
