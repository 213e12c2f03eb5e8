// The mount table reader on any text: it reads exactly the entries that the system library reads with room for every
// line, and a search finds the first of them.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "mount_entry_reader.h"
#include "nfs_version.h"

namespace {

using Key = MountEntryReader::Key;

struct Entry {
    std::string device, mountPoint, type, options;
    bool operator==(const Entry&) const = default;
};

Entry copyOf(const mntent& entry) {
    return {entry.mnt_fsname, entry.mnt_dir, entry.mnt_type, entry.mnt_opts};
}

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
Stream open(std::string& text) {
    return {fmemopen(text.data(), text.size(), "r"), std::fclose};
}

std::vector<Entry> systemEntries(std::string& text) {
    const Stream stream = open(text);
    std::vector<char> buffer(text.size() + 2);
    std::vector<Entry> entries;
    mntent entry = {};
    while (getmntent_r(stream.get(), &entry, buffer.data(), static_cast<int>(buffer.size())) != nullptr) {
        entries.push_back(copyOf(entry));
    }
    return entries;
}

std::vector<Entry> ownEntries(std::string& text) {
    const Stream stream = open(text);
    MountEntryReader reader(stream.get());
    std::vector<Entry> entries;
    while (const mntent* entry = reader.next()) {
        entries.push_back(copyOf(*entry));
    }
    require(!reader.failed());
    return entries;
}

void requireFirst(std::string& text, const std::vector<Entry>& entries, Key key, const std::string& value) {
    const Stream stream = open(text);
    MountEntryReader reader(stream.get());
    const mntent* found = reader.find(key, value);
    for (const Entry& entry : entries) {
        if ((key == Key::kDevice ? entry.device : entry.mountPoint) == value) {
            require(found != nullptr && copyOf(*found) == entry);
            return;
        }
    }
    require(found == nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    if (text.empty()) {
        return 0;
    }
    const std::vector<Entry> entries = ownEntries(text);
    // Behind a NUL byte the system library loses its way in the lines; no table has one.
    if (text.find('\0') == std::string::npos) {
        require(entries == systemEntries(text));
    }
    for (const Entry& entry : entries) {
        requireFirst(text, entries, Key::kDevice, entry.device);
        requireFirst(text, entries, Key::kMountPoint, entry.mountPoint);
        nfsVersionOf(entry.options);
        if (entries.size() > 16) {
            break;
        }
    }
    requireFirst(text, entries, Key::kMountPoint, "/mnt/a b");
    return 0;
}
