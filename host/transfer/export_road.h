// export ID: the document with which a snapshot at rest travels to another host.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/report/failure.h"
#include "host/transfer/export_document.h"
#include "host/transfer/ready_snapshot.h"

namespace tarnctl {

class ExportRoad {
  public:
    // Borrowed; providers are loaded, the catalog is open.
    ExportRoad(Providers& providers, Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // kBusy for a mounted snapshot: its mount may still write to the file, by replaying the log. kUnsupported for one
    // that is not of one instant. kNotFound where its file is gone, kFailed where another lies in its place. Changes
    // nothing.
    Result<ExportDocument> exportOf(const std::string& id);

  private:
    Status refuseUnfit(const ReadySnapshot& snapshot);
    Status checkData(const std::string& id);
    Result<ExportedNode> nodeOf(const std::string& id, NodeRole role);

    Providers& providers_;
    Catalog& catalog_;
};

}  // namespace tarnctl
