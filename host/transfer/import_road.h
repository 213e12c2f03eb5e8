// import FILE --device DEV: a snapshot of another host, mounted here.
#pragma once

#include <string>

#include "host/catalog/catalog.h"
#include "host/installation.h"
#include "host/mounts/fs_lock.h"
#include "host/mounts/preflight.h"
#include "host/report/failure.h"
#include "host/transfer/export_document.h"
#include "host/transfer/mount_road.h"

namespace tarnctl {

struct ImportRequest {
    std::string file;    // with the exported document
    std::string device;  // where the snapshot's data lies here, as the volume provider takes it: for loopfi a file
    std::string name;    // alternate name; empty: derived from the mount point on the other host
};

class ImportRoad {
  public:
    // Borrowed; providers are loaded, the catalog is open. One import per object.
    ImportRoad(Providers& providers, Catalog& catalog) : providers_(providers), catalog_(catalog) {}

    // A failure leaves nothing behind, except what its `undoing` names, and the data untouched where it was refused
    // before it was mounted: replaying its log at the mount writes to it.
    Result<MountedSnapshot> import(const ImportRequest& request);
    const ExportDocument& document() const { return document_; }

  private:
    Status lookAt(const ImportRequest& request);
    Status findProviders();
    Status record();
    Status climb();

    Providers& providers_;
    Catalog& catalog_;
    ExportDocument document_;
    Provider* fileSystemProvider_ = nullptr;
    Provider* volumeProvider_ = nullptr;
    std::string data_;  // resolved
    AlternateName alternate_;
    std::string id_;
    std::optional<FsLock> lock_;
    std::string device_;
};

}  // namespace tarnctl
