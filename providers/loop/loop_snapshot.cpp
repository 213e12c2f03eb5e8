#include "loop_snapshot.h"

#include <charconv>
#include <map>
#include <sstream>

#include "loop_attach.h"

namespace loopfi {
namespace {

constexpr const char* kFirstLine = "loop-snapshot 1";

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        result += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : std::string(1, c);
    }
    return result;
}

std::string unescaped(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            ++i;
            result += text[i] == 'n' ? '\n' : text[i];
        } else {
            result += text[i];
        }
    }
    return result;
}

bool parseNumber(const std::string& text, std::uint64_t& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

}  // namespace

std::string SnapshotRecord::toText() const {
    return std::string(kFirstLine) + "\norigin " + escaped(originDevice) + "\nsnapshot " + escaped(snapshotDevice) +
           "\nfile " + escaped(file) + "\ndevice " + std::to_string(identity.device) + "\ninode " +
           std::to_string(identity.inode) + "\n";
}

std::optional<SnapshotRecord> SnapshotRecord::fromText(const std::string& text) {
    std::istringstream lines(text);
    std::string line;
    if (!std::getline(lines, line) || line != kFirstLine) {
        return std::nullopt;
    }
    std::map<std::string, std::string> fields;
    while (std::getline(lines, line)) {
        const auto blank = line.find(' ');
        if (blank == std::string::npos) {
            return std::nullopt;
        }
        fields[line.substr(0, blank)] = unescaped(line.substr(blank + 1));
    }
    SnapshotRecord record;
    if (!fields.contains("origin") || !fields.contains("snapshot") || !fields.contains("file") ||
        !parseNumber(fields["device"], record.identity.device) ||
        !parseNumber(fields["inode"], record.identity.inode)) {
        return std::nullopt;
    }
    record.originDevice = fields["origin"];
    record.snapshotDevice = fields["snapshot"];
    record.file = fields["file"];
    return record;
}

SnapshotRecord SnapshotPlan::recordOf(const BackingCopy& copy) const {
    return {origin_.device, {}, copy.path(), copy.identity()};
}

SnapshotRecord SnapshotPlan::prepare() {
    reserved_.reset();
    BackingCopy copy = BackingCopy::reserve(origin_.backingFile, origin_.backing, id_);
    forecast_ = copy.rehearse();
    provideFreeDevice();
    reserved_.emplace(std::move(copy));
    return recordOf(*reserved_);
}

SnapshotRecord SnapshotPlan::make(Clock::time_point deadline) {
    // Taken out of the plan, so that any failure deletes it; a second try reserves the name again, which is quick.
    BackingCopy copy =
        reserved_ ? std::move(*reserved_) : BackingCopy::reserve(origin_.backingFile, origin_.backing, id_);
    reserved_.reset();
    copy.take(forecast_.method, deadline);
    SnapshotRecord record = recordOf(copy);
    record.snapshotDevice = attachFile(copy.fd(), copy.path(), origin_);
    copy.keep();
    return record;
}

void disposeSnapshot(const SnapshotRecord& record) {
    if (record.file.empty()) {
        return;
    }
    // Found by the file, not by the recorded device: a device that was attached just before a crash is in no record,
    // and a recorded one may be somebody else's by now.
    for (const std::string& device : devicesOver(record.identity, splitPath(record.file).name)) {
        detachFile(device, record.identity);
    }
    deleteCopy(record.file, record.identity);
}

}  // namespace loopfi
