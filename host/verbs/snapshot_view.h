// How verbs show a snapshot: one shape for people, one for programs.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/report/failure.h"
#include "host/report/report.h"
#include "host/road/snapshot_road.h"
#include "host/transfer/mount_road.h"
#include "host/transfer/standing.h"

namespace tarnctl {

// A snapshot that was just made, with the clocks of its window (nanoseconds of CLOCK_MONOTONIC).
Json madeJson(const Snapshot& snapshot);
std::string madeText(const Snapshot& snapshot);

// A record of the catalog, and where it stands.
Json recordJson(const SnapshotRecord& record, const Standing& standing);
std::string recordText(const SnapshotRecord& record, const Standing& standing);

// One that mount or import brought up.
Json mountedJson(const MountedSnapshot& snapshot);

// A failure for a snapshot that was cut from a file system that somebody thawed too early.
Failure brokenFailure(const Snapshot& snapshot);

}  // namespace tarnctl
