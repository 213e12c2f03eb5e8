// What the provider keeps for one node: the snapshot that is being made of it, and the record of the one that was.
#pragma once

#include <optional>

#include "cfiprivatedata.h"
#include "loop_snapshot.h"

class CLOOPPrivData : public CFiPrivateData {
  public:
    using CFiPrivateData::CFiPrivateData;

    // The record, as text. 3 for a null blob, 5 without memory.
    int getNodeState(zfi_blob* blob) override;
    // Replaces the record. 3 for a text that is none; a length of 0 changes nothing.
    int setNodeState(zfi_blob* blob) override;

    std::optional<loopfi::SnapshotPlan> plan;  // from prepare until make has succeeded
    loopfi::SnapshotRecord record;  // from prepare on: the reserved file, then the snapshot; empty after dispose
};
