// How verbs show a snapshot: one shape for people, one for programs.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/report/failure.h"
#include "host/report/report.h"
#include "host/road/snapshot_road.h"

namespace tarnctl {

// A snapshot that was just made, with the clocks of its window (nanoseconds of CLOCK_MONOTONIC).
Json madeJson(const Snapshot& snapshot);
std::string madeText(const Snapshot& snapshot);

// A record of the catalog. where it is mounted is read from its steps.
Json recordJson(const SnapshotRecord& record, const std::string& alternate);
std::string recordText(const SnapshotRecord& record, const std::string& alternate);

// The alternate mount point of a snapshot; empty when it was never (to be) mounted.
Result<std::string> alternateOf(const Catalog& catalog, const std::string& snapshotId);

// A failure for a snapshot that was cut from a file system that somebody thawed too early.
Failure brokenFailure(const Snapshot& snapshot);

}  // namespace tarnctl
