// What the provider keeps for one node: the snapshot that is being made of it or written back over it, and the record
// of the one that was made.
#pragma once

#include <optional>

#include "cfiprivatedata.h"
#include "loop_snapshot.h"
#include "origin_restore.h"

class CLOOPPrivData : public CFiPrivateData {
  public:
    using CFiPrivateData::CFiPrivateData;

    // The record, as text. 3 for a null blob, 5 without memory.
    int getNodeState(zfi_blob* blob) override;
    // Replaces the record. 3 for a text that is none; a length of 0 changes nothing.
    int setNodeState(zfi_blob* blob) override;

    std::optional<loopfi::SnapshotPlan> plan;      // from prepare until make has succeeded
    std::optional<loopfi::OriginRestore> restore;  // from the first restore on: the origin's device keeps its number
    loopfi::SnapshotRecord record;  // from prepare on: the reserved file, then the snapshot; empty after dispose
};
