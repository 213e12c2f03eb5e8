// What the mount table says of a node, recorded in its private data: shared by source and alternate nodes.
#pragma once

#include "tarn_priv_data.h"

// Device, type and options of what is mounted at mountPoint, with a trace. method: who asks, for the trace texts.
// 0, 1083, 1084; failures are traced.
int recordMountEntry(const char* method, const char* mountPoint, CTARNPrivData& data);

// The device mounted at mountPoint as the node's one sub-object; a node that has one gets no second. Statuses as above.
int recordSubObject(const char* method, const char* mountPoint, CTARNPrivData& data);
