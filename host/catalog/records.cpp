#include "host/catalog/records.h"

#include <algorithm>
#include <array>

namespace tarnctl {
namespace {

// In the order of the enumerations.
constexpr std::array<std::string_view, 5> kSnapshotStates{"making", "ready", "failed", "deleting", "gone"};
constexpr std::array<std::string_view, 4> kConsistencies{"undecided", "frozen", "crash", "broken"};
constexpr std::array<std::string_view, 4> kNodeRoles{"origin", "device", "snapshot-device", "alternate"};
constexpr std::array<std::string_view, 4> kStepStates{"intended", "done", "failed", "undone"};

template <typename Value, std::size_t kCount>
std::optional<Value> valueNamed(const std::array<std::string_view, kCount>& names, std::string_view name) {
    const auto found = std::find(names.begin(), names.end(), name);
    return found != names.end() ? std::optional<Value>(static_cast<Value>(found - names.begin())) : std::nullopt;
}

}  // namespace

std::string_view nameOf(SnapshotState state) {
    return kSnapshotStates.at(static_cast<std::size_t>(state));
}
std::string_view nameOf(Consistency consistency) {
    return kConsistencies.at(static_cast<std::size_t>(consistency));
}
std::string_view nameOf(NodeRole role) {
    return kNodeRoles.at(static_cast<std::size_t>(role));
}
std::string_view nameOf(StepState state) {
    return kStepStates.at(static_cast<std::size_t>(state));
}

std::optional<SnapshotState> snapshotStateNamed(std::string_view name) {
    return valueNamed<SnapshotState>(kSnapshotStates, name);
}
std::optional<Consistency> consistencyNamed(std::string_view name) {
    return valueNamed<Consistency>(kConsistencies, name);
}
std::optional<NodeRole> nodeRoleNamed(std::string_view name) {
    return valueNamed<NodeRole>(kNodeRoles, name);
}
std::optional<StepState> stepStateNamed(std::string_view name) {
    return valueNamed<StepState>(kStepStates, name);
}

}  // namespace tarnctl
