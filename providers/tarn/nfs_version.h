// The protocol version in the options of an NFS mount.
#pragma once

#include <string_view>

// The one digit behind the first "vers=" (of "nfsvers=" too; "vers=4.1" gives 4). Without it, the number behind the
// first character of the second option ("rw,x3" gives 3), and 0 where there is no second option or no number.
int nfsVersionOf(std::string_view options);
