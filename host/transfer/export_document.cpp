#include "host/transfer/export_document.h"

#include "host/catalog/snapshot_id.h"
#include "host/mounts/preflight.h"
#include "host/report/report.h"
#include "host/transfer/document_members.h"
#include "host/transfer/strict_json.h"

namespace tarnctl {
namespace {

constexpr std::size_t kLongestName = 4095;    // of a path
constexpr std::size_t kLongestState = 65536;  // of a provider's text
constexpr int kTextEncoding = 1;

void checkFormat(const Json& object) {
    if (textAt(object, "format") != kExportFormat) {
        throw Refused("it is no snapshot that tarnctl exported");
    }
    if (const std::int64_t version = countAt(object, "version"); version != kExportVersion) {
        throw Refused("its version is " + std::to_string(version) + ", this program knows version " +
                      std::to_string(kExportVersion));
    }
}

Consistency consistencyAt(const Json& object) {
    const std::string name = textAt(object, "consistency");
    const auto consistency = consistencyNamed(name);
    if (!consistency) {
        throw Refused("its consistency " + name + " is unknown");
    }
    if (*consistency != Consistency::kFrozen && *consistency != Consistency::kCrash) {
        throw Refused("its consistency is " + name +
                      ": it is not the picture of one instant, and nobody should use it");
    }
    return *consistency;
}

ExportedNode nodeAt(const Json& object, const std::string& key) {
    const Json& value = objectWith(member(object, key), "its member " + key, {"provider", "encoding", "state"});
    if (countAt(value, "encoding") != kTextEncoding) {
        throw Refused("the state in its member " + key + " is in an unknown encoding");
    }
    ExportedNode node{wordAt(value, "provider", "_"), bytesAt(value, "state", kLongestState)};
    if (node.provider.empty() || node.state.empty()) {
        throw Refused("its member " + key + " is empty");
    }
    return node;
}

std::string idAt(const Json& object) {
    const std::string id = textAt(object, "id");
    if (!millisecondsOfSnapshotId(id)) {
        throw Refused("its id is no snapshot's");
    }
    return id;
}

ExportDocument documentOf(const Json& json) {
    const Json& object =
        objectWith(json, "it",
                   {"format", "version", "id", "host", "createdNs", "consistency", "windowNs", "mountPoint", "device",
                    "type", "restrictions", "superblock", "fileSystem", "volume"});
    checkFormat(object);
    ExportDocument document;
    document.id = idAt(object);
    document.host = bytesAt(object, "host", kLongestWord);
    document.createdNs = countAt(object, "createdNs");
    document.consistency = consistencyAt(object);
    if (!member(object, "windowNs").is_null()) {
        document.windowNs = countAt(object, "windowNs");
    }
    document.origin = {bytesAt(object, "mountPoint", kLongestName), bytesAt(object, "device", kLongestName),
                       wordAt(object, "type", "")};
    const Json& restrictions =
        objectWith(member(object, "restrictions"), "its member restrictions", {"nosuid", "nodev", "noexec"});
    document.restrictions = {flagAt(restrictions, "nosuid"), flagAt(restrictions, "nodev"),
                             flagAt(restrictions, "noexec")};
    const Json& superblock = objectWith(member(object, "superblock"), "its member superblock", {"type", "uuid"});
    document.superblock = {wordAt(superblock, "type", "_"), wordAt(superblock, "uuid", "-ABCDEF")};
    document.fileSystem = nodeAt(object, "fileSystem");
    document.volume = nodeAt(object, "volume");
    if (document.fileSystem.provider == document.volume.provider) {
        throw Refused("it names " + document.volume.provider + " for the file system and for the volume below it");
    }
    return document;
}

Json jsonOf(const ExportedNode& node) {
    Json json{{"provider", node.provider}, {"encoding", kTextEncoding}};
    putBytes(json, "state", node.state);
    return json;
}

}  // namespace

std::string textOf(const ExportDocument& document) {
    Json json{{"format", kExportFormat}, {"version", kExportVersion}, {"id", document.id}};
    putBytes(json, "host", document.host);
    json["createdNs"] = document.createdNs;
    json["consistency"] = nameOf(document.consistency);
    json["windowNs"] = document.windowNs ? Json(*document.windowNs) : Json(nullptr);
    putBytes(json, "mountPoint", document.origin.mountPoint);
    putBytes(json, "device", document.origin.device);
    json["type"] = document.origin.fsType;
    json["restrictions"] = {{"nosuid", document.restrictions.noSuid},
                            {"nodev", document.restrictions.noDev},
                            {"noexec", document.restrictions.noExec}};
    json["superblock"] = {{"type", document.superblock.type}, {"uuid", document.superblock.uuid}};
    json["fileSystem"] = jsonOf(document.fileSystem);
    json["volume"] = jsonOf(document.volume);
    return jsonText(json) + "\n";
}

Result<ExportDocument> exportDocumentOf(std::string_view text, const std::string& subject) {
    const Result<Json> json = strictJson(text, subject);
    if (!json) {
        return json.failure();
    }
    try {
        ExportDocument document = documentOf(*json);
        for (const Status& name : {checkName(NameKind::kMountPoint, document.origin.mountPoint),
                                   checkName(NameKind::kDevice, document.origin.device)}) {
            if (!name) {
                return name.failure();
            }
        }
        if (document.origin.fsType.empty()) {
            throw Refused("it names no type of file system");
        }
        if (nlohmann::json::parse(text) != nlohmann::json::parse(textOf(document))) {
            throw Refused("it holds more than this program understands");
        }
        return document;
    } catch (const std::exception& error) {
        return Failure{ExitCode::kUnsupported, "read the document", subject, error.what()};
    }
}

}  // namespace tarnctl
