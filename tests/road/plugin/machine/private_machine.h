// A machine of the test program's own: a mount namespace with a live /etc/mtab, /sbin/fuser where the machine has it
// elsewhere, and a file system in memory for images and mount points. All of it ends with the program, also when that
// is killed; only names directly below / and loop devices would outlive it, and they carry kPrefix.
#pragma once

#include <string>

namespace road {

inline constexpr const char* kRoot = "/media";  // the file system in memory
inline constexpr const char* kPrefix = "tarnfi-test-plugin-";

// Once, before the first test and before other threads. What hinders it is told by reasonToSkip.
void enterPrivateMachine();
// Why no test can run here; empty when tests can.
const std::string& reasonToSkip();
// The same for what needs the command /sbin/fuser, or file systems of this type.
std::string reasonToSkipFuser();
std::string reasonToSkipType(const std::string& type);

// kPrefix with the process id: no other program's names begin so.
const std::string& ownPrefix();

}  // namespace road
