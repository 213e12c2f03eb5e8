// The file-system types that the plug-in calls its own: what it advertises, formats and accepts as children.
#pragma once

#include <algorithm>
#include <string_view>

inline constexpr const char* kOwnTypes[] = {"ext2", "ext3", "jfs", "reiserfs", "xfs"};

// Whole names only: ext4 is served when it is mounted, but is not one of these.
inline bool isOwnType(std::string_view type) {
    return std::any_of(std::begin(kOwnTypes), std::end(kOwnTypes), [type](const char* own) { return type == own; });
}
