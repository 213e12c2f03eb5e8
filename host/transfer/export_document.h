// The document in which a snapshot travels to another host: what is known of it, and its nodes' states as their
// providers wrote them. The data travels by other means.
//
// {"format":"tarnfi-snapshot-export","version":1,"id":…,"host":…,"createdNs":…,"consistency":"frozen"|"crash",
//  "windowNs":…|null,"mountPoint":…,"device":…,"type":…,"restrictions":{"nosuid":…,"nodev":…,"noexec":…},
//  "superblock":{"type":…,"uuid":…},
//  "fileSystem":{"provider":…,"encoding":1,"state":…},"volume":{"provider":…,"encoding":1,"state":…}}
//
// Names and states that are no UTF-8 have all their bytes in "<member>Bytes" too, as everywhere. A change that an older
// reader must not overlook raises the version.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/catalog/records.h"
#include "host/report/failure.h"
#include "host/road/step_undo.h"

namespace tarnctl {

inline constexpr const char* kExportFormat = "tarnfi-snapshot-export";
inline constexpr int kExportVersion = 1;

struct ExportedNode {
    std::string provider;
    std::string state;  // the provider's text, without its terminator
};

struct ExportDocument {
    std::string id;    // in the catalog of the host that made the snapshot
    std::string host;  // its name
    std::int64_t createdNs = 0;
    Consistency consistency = Consistency::kFrozen;
    std::optional<std::int64_t> windowNs;
    Origin origin;
    Restrictions restrictions{};
    Superblock superblock;
    ExportedNode fileSystem;
    ExportedNode volume;
};

// One line, with a line break at its end.
std::string textOf(const ExportDocument& document);

// Refuses (kUnsupported, with the reason) everything that textOf would not have written: see strictJson, and unknown
// formats, versions and members, wrong types, missing members, names that commands could not take, a consistency that
// nobody should rely on, and one provider for both layers. What the states say is for their providers to judge. Never
// throws; any thread.
Result<ExportDocument> exportDocumentOf(std::string_view text, const std::string& subject);

}  // namespace tarnctl
