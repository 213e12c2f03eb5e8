#include "host/transfer/import_road.h"

#include <sys/stat.h>

#include <filesystem>

#include "host/mounts/mount_table.h"
#include "host/road/away_from_here.h"
#include "host/road/interruption.h"
#include "host/road/recorded_nodes.h"
#include "host/road/undo_road.h"
#include "host/transfer/document_file.h"
#include "host/transfer/tree_up.h"
#include "znfi.h"

namespace tarnctl {
namespace {

constexpr const char* kOperation = "import the snapshot";

// Without symbolic links, so that it names the same file later.
Result<std::string> resolved(const std::string& path) {
    std::error_code error;
    const std::filesystem::path real = std::filesystem::canonical(path, error);
    struct stat status {};
    if (error || ::stat(real.c_str(), &status) != 0) {
        const bool isMissing = !error || error == std::errc::no_such_file_or_directory;
        return Failure{isMissing ? ExitCode::kNotFound : ExitCode::kFailed, kOperation, path,
                       error ? error.message() : "it is gone"};
    }
    if (!S_ISREG(status.st_mode) && !S_ISBLK(status.st_mode)) {
        return Failure{ExitCode::kUnsupported, kOperation, path, "it is neither a file nor a block device"};
    }
    return real.native();
}

// Foreign data does not get to bring its own privileges along.
Restrictions onThisHost(const Restrictions& there) {
    return {true, true, there.noExec};
}

Superblock expectedOf(const ExportDocument& document) {
    return {document.superblock.type.empty() ? document.origin.fsType : document.superblock.type,
            document.superblock.uuid};
}

}  // namespace

Result<MountedSnapshot> ImportRoad::import(const ImportRequest& request) {
    if (Status seen = lookAt(request); !seen) {
        return seen.failure();
    }
    const AwayFromHere away;
    using Step = Status (ImportRoad::*)();
    Status done = Done{};
    for (Step next : {&ImportRoad::findProviders, &ImportRoad::record, &ImportRoad::climb}) {
        done = refuseWhenInterrupted(kOperation, request.file);
        done = done ? (this->*next)() : done;
        if (!done) {
            break;
        }
    }
    if (done) {
        done = catalog_.setState(id_, SnapshotState::kReady);
    }
    if (done) {
        return MountedSnapshot{id_, alternate_.name, device_};
    }
    forgetInterruption();
    if (lock_) {
        if (Status undone = UndoRoad(providers_, catalog_).undo(id_); !undone) {
            done.failure().undoing.push_back(undone.failure());
        } else {
            lock_->discard();
        }
    }
    return done.failure();
}

// Relative names are meant from where we are called.
Status ImportRoad::lookAt(const ImportRequest& request) {
    auto text = readDocument(request.file);
    if (!text) {
        return text.failure();
    }
    auto document = exportDocumentOf(*text, request.file);
    if (!document) {
        return document.failure();
    }
    document_ = *std::move(document);
    auto data = resolved(request.device);
    if (!data) {
        return data.failure();
    }
    data_ = *data;
    auto table = MountTable::read();
    if (!table) {
        return table.failure();
    }
    auto alternate = request.name.empty() ? deriveAlternate(*table, document_.origin.mountPoint)
                                          : checkAlternate(*table, request.name);
    if (!alternate) {
        if (request.name.empty()) {
            alternate.failure().cause += "; name a place for it with --at";
        }
        return alternate.failure();
    }
    alternate_ = *alternate;
    return Done{};
}

// A provider that was put into the other one's place by an edited document would be asked to do the other one's work.
Status ImportRoad::findProviders() {
    auto fileSystem = providerNamed(providers_, document_.fileSystem.provider);
    auto volume = providerNamed(providers_, document_.volume.provider);
    if (!fileSystem || !volume) {
        return fileSystem ? volume.failure() : fileSystem.failure();
    }
    fileSystemProvider_ = *fileSystem;
    volumeProvider_ = *volume;
    if (!fileSystemProvider_->info().isFileSystemLayer || volumeProvider_->info().isFileSystemLayer) {
        return Failure{ExitCode::kUnsupported, kOperation, document_.id,
                       "the document says that " + fileSystemProvider_->name() + " is the file-system layer and " +
                           volumeProvider_->name() + " the volume layer, which they are not"};
    }
    return Done{};
}

Status ImportRoad::record() {
    auto created = catalog_.createSnapshot(document_.origin, document_.consistency);
    if (!created) {
        return created.failure();
    }
    id_ = created->id;
    auto lock = FsLock::takeForSnapshot(id_);
    if (!lock) {
        return lock.failure();
    }
    lock_ = std::move(*lock);
    const ImportFacts facts{document_.id, document_.host, data_, document_.superblock, document_.restrictions};
    auto step = catalog_.intend(id_, intentOf(step::kImport, facts));
    if (!step) {
        return step.failure();
    }
    auto origin = catalog_.addNode(
        id_, {NodeRole::kOrigin, document_.fileSystem.provider, document_.origin.mountPoint, std::nullopt});
    if (!origin) {
        return origin.failure();
    }
    auto device =
        catalog_.addNode(id_, {NodeRole::kDevice, document_.volume.provider, document_.origin.device, *origin});
    if (!device) {
        return device.failure();
    }
    return catalog_.finish({*step, StepOutcome::kDone, {}});
}

Status ImportRoad::climb() {
    Node fileSystem(*fileSystemProvider_, document_.origin.mountPoint);
    if (Status restored = fileSystem.restoreState(document_.fileSystem.state); !restored) {
        return restored;
    }
    Node volume(*volumeProvider_, document_.origin.device);
    if (Status restored = volume.restoreState(document_.volume.state); !restored) {
        return restored;
    }
    TreeUp tree(catalog_, fileSystem, volume);
    const WayUp way{id_, data_, alternate_, onThisHost(document_.restrictions), expectedOf(document_)};
    Status up = tree.climb(way);
    device_ = tree.device();
    return up;
}

}  // namespace tarnctl
