// What must hold before anything is touched. Every check only reads; each answers with the first thing that is wrong.
// Their answers are about the moment of the call: take the file system's lock first, act soon after.
// kNotFound: it is not there. kUnsupported: it is there and will not be touched. kBusy: somebody uses it. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/mounts/mount_table.h"
#include "host/mounts/own_paths.h"
#include "host/report/failure.h"

namespace tarnctl {

enum class NameKind { kMountPoint, kAlternate, kDevice };

// Mount points are compared with the kernel's spelling, which has no slash at its end. "/" stays "/".
std::string withoutTrailingSlashes(std::string_view path);

// Some commands below us take names without quotes and split them at blanks; a command would then act on another file
// system and report success. Refused: an empty name, blank, tab, line break and every other ASCII control character,
// the double quote, a leading "-", a component over 255 bytes, a name of 4,096 bytes or more, and for the two kinds of
// paths what is not absolute. Everything else is fine: "#", "\", bytes over 127. kUnsupported.
Status checkName(NameKind kind, std::string_view name);

// The one mount at `path` (slashes at its end are dropped), which is: spelled as in the table, alone on its point (the
// commands below us take the first entry of a point, the kernel the last), not hidden by a mount above it, of the whole
// file system, not "/", of one of `types` (empty: any), and both its names pass checkName.
Result<MountEntry> checkMountPoint(const MountTable& table, std::string_view path,
                                   const std::vector<std::string>& types);

struct AlternateName {
    std::string name;
    bool existed = false;  // an empty directory is there already: do not record it as ours to remove
};

// The name under which the snapshot of `mountPoint` will be mounted: the first of `<name>_alt`, `<name>_alt0`,
// `<name>_alt1` … that is no mount point. kBusy when 90 are taken: from 100 on the search below us would never end.
// The name has to pass checkAlternate.
Result<AlternateName> deriveAlternate(const MountTable& table, const std::string& mountPoint);

// A name asked for: passes checkName, is no mount point, is either not there or an empty directory (never a symbolic
// link), in a directory that exists, is spelled without symbolic links, belongs to root or us and that nobody else may
// write to, sticky or not; a directory further up that others may write to must be sticky.
Result<AlternateName> checkAlternate(const MountTable& table, std::string_view name);

// None of `paths` may lie on one of `frozen`, nor on a file system whose image, however deep below it, lies there: a
// process that waits for its own freeze never thaws it. A path that does not exist counts by its nearest existing
// directory. That an image below a frozen file system lies elsewhere is fine. Layers of overlays are not looked into.
Status refuseOwnOnFrozen(const MountTable& table, const std::vector<MountEntry>& frozen,
                         const std::vector<OwnPath>& paths, const std::string& sysfs = "/sys");

}  // namespace tarnctl
