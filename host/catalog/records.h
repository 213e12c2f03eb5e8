// What the catalog keeps. Plain values; the names are what is stored and what JSON shows.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnctl {

enum class SnapshotState {
    kMaking,    // begun; without a living process that holds its file system's lock it is half-made
    kReady,     // whole and usable
    kFailed,    // making it ended with an error; what undoing left is in its steps
    kDeleting,  // being undone
    kGone,      // nothing of it is left but the record
};

// How its content was cut. Apart from the state, because a snapshot keeps it for life.
enum class Consistency {
    kUndecided,  // no window yet
    kFrozen,     // within one proved freeze
    kCrash,      // at one instant of the volume layer, without a freeze
    kBroken,     // somebody thawed inside the window: not to be trusted
};

enum class NodeRole { kOrigin, kDevice, kSnapshotDevice, kAlternate };

enum class StepState {
    kIntended,  // written before the act; the act may have happened or not
    kDone,      // has happened, its effect may be there
    kFailed,    // is known to have had no effect: nothing to undo
    kUndone,    // its effect is known to be gone
};

std::string_view nameOf(SnapshotState state);      // making ready failed deleting gone
std::string_view nameOf(Consistency consistency);  // undecided frozen crash broken
std::string_view nameOf(NodeRole role);            // origin device snapshot-device alternate
std::string_view nameOf(StepState state);          // intended done failed undone
std::optional<SnapshotState> snapshotStateNamed(std::string_view name);
std::optional<Consistency> consistencyNamed(std::string_view name);
std::optional<NodeRole> nodeRoleNamed(std::string_view name);
std::optional<StepState> stepStateNamed(std::string_view name);

// Times are nanoseconds of the wall clock since 1970 in UTC; durations are nanoseconds. Names of files are bytes, any
// but NUL.
struct Origin {
    std::string mountPoint;
    std::string device;
    std::string fsType;
};

struct SnapshotRecord {
    std::string id;
    Origin origin;
    SnapshotState state = SnapshotState::kMaking;
    Consistency consistency = Consistency::kUndecided;
    std::int64_t createdNs = 0;
    std::optional<std::int64_t> windowNs;  // how long the file system stood still
};

struct Blob {
    std::string bytes;  // as the provider wrote them, its terminator included
    std::uint32_t encoding = 0;
};

struct NewNode {
    NodeRole role = NodeRole::kOrigin;
    std::string provider;
    std::string name;                    // object name
    std::optional<std::int64_t> parent;  // the node above it, by its id
};

struct NodeRecord {
    std::int64_t id = 0;  // unique in the catalog, never used twice
    NewNode node;
    std::optional<Blob> blob;
};

struct StepIntent {
    std::string name;  // "attach"
    // What undoing needs, a JSON text. JSON holds no bytes that are not UTF-8: write such names with putBytes and read
    // them with getBytes, or another file would be undone.
    std::string undo;
};

struct StepKey {
    std::string snapshot;
    std::int64_t ordinal = 0;  // 1, 2, 3 … in the order of the intents
};

struct StepRecord {
    StepKey key;
    StepIntent intent;
    StepState state = StepState::kIntended;
    std::string detail;  // what was last noted about it: an error text
    std::int64_t intendedNs = 0;
    std::optional<std::int64_t> finishedNs;
    std::optional<std::int64_t> undoneNs;
};

}  // namespace tarnctl
