#include "loop_snapshot.h"

#include <charconv>
#include <map>
#include <sstream>
#include <stdexcept>

#include "loop_attach.h"
#include "loop_import.h"

namespace loopfi {
namespace {

constexpr const char* kFirstLine = "loop-snapshot 1";
// On a busy disk a copy was seen to take twice the time that was measured.
constexpr int kSafetyFactor = 3;

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

// A record of before they were kept has none of the three.
bool readGeometry(const std::map<std::string, std::string>& fields, LoopGeometry& geometry) {
    std::uint64_t blockSize = geometry.blockSize;
    const auto read = [&](const char* key, std::uint64_t& number) {
        const auto field = fields.find(key);
        return field == fields.end() || parseNumber(field->second, number);
    };
    if (!read("offset", geometry.offset) || !read("limit", geometry.sizeLimit) || !read("block", blockSize) ||
        blockSize > UINT32_MAX) {
        return false;
    }
    geometry.blockSize = static_cast<std::uint32_t>(blockSize);
    return true;
}

std::string textOf(const OriginImage& image) {
    return "image-inode " + std::to_string(image.inode) + "\nimage-born " + std::to_string(image.bornNs) +
           "\nimage-length " + std::to_string(image.length) + "\n";
}

std::optional<OriginImage> imageFrom(std::map<std::string, std::string>& fields) {
    OriginImage image;
    const bool isWhole = parseNumber(fields["image-inode"], image.inode) &&
                         parseNumber(fields["image-born"], image.bornNs) &&
                         parseNumber(fields["image-length"], image.length);
    return isWhole ? std::optional(image) : std::nullopt;
}

}  // namespace

std::string SnapshotRecord::toText() const {
    return std::string(kFirstLine) + "\norigin " + escaped(originDevice) + "\nsnapshot " + escaped(snapshotDevice) +
           "\nfile " + escaped(file) + "\ndevice " + std::to_string(identity.device) + "\ninode " +
           std::to_string(identity.inode) + "\noffset " + std::to_string(geometry.offset) + "\nlimit " +
           std::to_string(geometry.sizeLimit) + "\nblock " + std::to_string(geometry.blockSize) + "\n" +
           (isImported ? "imported 1\n" : "") + (image ? textOf(*image) : "");
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
    record.isImported = fields.contains("imported");
    record.image = imageFrom(fields);
    return readGeometry(fields, record.geometry) ? std::optional(record) : std::nullopt;
}

BackingCopy SnapshotPlan::reserve() {
    return BackingCopy::reserve(origin_.backingFile, origin_.backing, id_);
}

void SnapshotPlan::prepare() {
    reserved_.reset();
    record_ = {};
    BackingCopy copy = reserve();
    forecast_ = copy.rehearse();
    provideFreeDevice();
    image_ = imageOf(copy.originFd());
    record_ = {origin_.device, {}, copy.path(), copy.identity(), origin_, false, image_};
    reserved_.emplace(std::move(copy));
}

void SnapshotPlan::make(Clock::time_point deadline) {
    // Taken out of the plan, so that any failure deletes it; a second try reserves the name again, which is quick.
    BackingCopy copy = reserved_ ? std::move(*reserved_) : reserve();
    reserved_.reset();
    record_ = {};
    copy.take(forecast_.method, deadline);
    SnapshotRecord made{origin_.device, {}, copy.path(), copy.identity(), origin_, false, image_};
    made.snapshotDevice = attachFile(copy.fd(), copy.path(), origin_);
    copy.keep();
    record_ = std::move(made);
}

void prepareTogether(const std::vector<SnapshotPlan*>& plans, std::chrono::milliseconds budget) {
    std::chrono::nanoseconds expected{0};
    for (SnapshotPlan* plan : plans) {
        plan->prepare();
        expected += plan->forecast().expected;
    }
    if (expected * kSafetyFactor > budget) {
        throw std::runtime_error(
            "the copy is measured to take " +
            std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(expected).count()) +
            " ms, which is more than a third of the " + std::to_string(budget.count()) +
            " ms for which the file system may be frozen");
    }
}

void makeTogether(const std::vector<SnapshotPlan*>& plans, Clock::time_point deadline) {
    std::size_t made = 0;
    try {
        for (; made < plans.size(); ++made) {
            plans[made]->make(deadline);
        }
    } catch (const std::exception& cause) {
        std::string undoing;
        for (std::size_t i = 0; i < made; ++i) {
            try {
                disposeSnapshot(plans[i]->record());
            } catch (const std::exception& error) {
                undoing += std::string("; undoing it failed: ") + error.what();
            }
        }
        for (SnapshotPlan* plan : plans) {
            plan->release();
        }
        if (undoing.empty()) {
            throw;
        }
        throw std::runtime_error(cause.what() + undoing);
    }
}

void disposeSnapshot(const SnapshotRecord& record) {
    if (record.file.empty()) {
        return;
    }
    if (record.isImported) {
        detachSnapshot(record);
        return;
    }
    const auto found = findCopy(record.file, record.identity);
    const FileIdentity identity = found.value_or(record.identity);
    // Found by the file, not by the recorded device: a device that was attached just before a crash is in no record,
    // and a recorded one may be somebody else's by now.
    for (const std::string& device : devicesOver(identity, splitPath(record.file).name)) {
        detachFile(device, identity);
    }
    if (found) {
        deleteCopy(record.file, identity);
    }
}

SnapshotRecord findSnapshot(const LoopStatus& device, std::string_view id) {
    if (!id.empty() && !device.backingFile.ends_with(copyPath({}, id))) {
        return {device.device, {}, copyPath(device.backingFile, id), {}};
    }
    if (device.backingFile.find(copyPath({}, {})) == std::string::npos) {
        return {};
    }
    return {{}, device.device, device.backingFile, {}};
}

}  // namespace loopfi
