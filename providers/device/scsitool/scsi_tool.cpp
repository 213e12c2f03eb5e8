#include "scsi_tool.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <array>
#include <charconv>
#include <cstring>

#include "open_file.h"
#include "scsi_command.h"
#include "vpd_identification.h"

namespace {

constexpr std::uint64_t kSectorSize = 512;  // of the kernel's "size", whatever the device's blocks

std::uint64_t bigEndian(std::span<const std::uint8_t> bytes) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : bytes) {
        value = value << 8U | byte;
    }
    return value;
}

std::uint64_t number(const std::optional<std::string>& text) {
    std::uint64_t value = 0;
    if (text) {
        std::from_chars(text->data(), text->data() + text->size(), value);
    }
    return value;
}

std::string field(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : ' ';
    }
    const std::size_t last = text.find_last_not_of(' ');
    return text.substr(0, last == text.npos ? 0 : last + 1);
}

// Takes note of an answer that brought no data; true where it was the end of the device.
bool isEnd(const ScsiAnswer& answer, CScsiDeviceData& device) {
    if (answer.saysThereIsNoUnit()) {
        device.isGone = true;
    } else if (answer.kind == ScsiAnswer::Kind::kNoAnswer && device.unanswered.empty()) {
        device.unanswered = answer.why;
    }
    return device.isGone;
}

void inquire(int descriptor, CScsiDeviceData& device) {
    constexpr std::array<std::uint8_t, 6> kInquiry = {0x12, 0, 0, 0, 36, 0};
    std::array<std::uint8_t, 36> data;
    const ScsiAnswer answer = sendScsiCommand(descriptor, kInquiry, data);
    if (isEnd(answer, device) || !answer.isGood() || answer.received == 0) {
        return;
    }
    // 1: the unit is known but nothing is connected to it; 3: there cannot be one here. 0 is a unit that is there.
    const unsigned qualifier = data[0] >> 5U;
    device.isGone = qualifier == 1 || qualifier == 3;
    if (!device.isGone && answer.received == data.size()) {
        const std::span<const std::uint8_t> all(data);
        device.vendor = field(all.subspan(8, 8));
        device.model = field(all.subspan(16, 16));
        device.revision = field(all.subspan(32, 4));
    }
}

void readShortCapacity(int descriptor, CScsiDeviceData& device) {
    constexpr std::array<std::uint8_t, 10> kReadCapacity10 = {0x25};
    std::array<std::uint8_t, 8> data;
    const ScsiAnswer answer = sendScsiCommand(descriptor, kReadCapacity10, data);
    if (!isEnd(answer, device) && answer.isGood() && answer.received == data.size()) {
        const std::span<const std::uint8_t> all(data);
        device.blockCount = bigEndian(all.first(4)) + 1;
        device.blockSize = static_cast<std::uint32_t>(bigEndian(all.last(4)));
    }
}

void readCapacity(int descriptor, CScsiDeviceData& device) {
    constexpr std::array<std::uint8_t, 16> kReadCapacity16 = {0x9E, 0x10, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32, 0, 0};
    std::array<std::uint8_t, 32> data;
    const ScsiAnswer answer = sendScsiCommand(descriptor, kReadCapacity16, data);
    // INVALID COMMAND OPERATION CODE or INVALID FIELD IN CDB: an old device, which knows the short form.
    if (answer.isSense(0x05, 0x20) || answer.isSense(0x05, 0x24)) {
        readShortCapacity(descriptor, device);
    } else if (!isEnd(answer, device) && answer.isGood() && answer.received >= 12) {
        const std::span<const std::uint8_t> all(data);
        device.blockCount = bigEndian(all.first(8)) + 1;
        device.blockSize = static_cast<std::uint32_t>(bigEndian(all.subspan(8, 4)));
    }
}

void identify(int descriptor, CScsiDeviceData& device) {
    constexpr std::array<std::uint8_t, 6> kIdentification = {0x12, 1, 0x83, 0x04, 0, 0};
    std::array<std::uint8_t, 1024> data;
    const ScsiAnswer answer = sendScsiCommand(descriptor, kIdentification, data);
    if (!isEnd(answer, device) && answer.isGood()) {
        const std::string wwid = wwidFromIdentificationPage(std::span(data).first(answer.received));
        if (!wwid.empty()) {
            device.wwid = wwid;
        }
    }
}

}  // namespace

CScsiToolBase::CScsiToolBase(std::string sysfsRoot, std::string deviceRoot)
    : sysfs_(std::move(sysfsRoot)), deviceRoot_(std::move(deviceRoot)) {}

int CScsiToolBase::UpdateDevice(CScsiDeviceData* device) {
    if (device == nullptr) {
        return 1;
    }
    device->isGone = !readKernelRecord(*device);
    device->unanswered.clear();
    if (!device->isGone) {
        askDevice(*device);
    }
    return device->isGone ? 1 : 0;
}

// False where the kernel has no such device any more, or has given its name to another one.
bool CScsiToolBase::readKernelRecord(CScsiDeviceData& device) const {
    const std::string folder = "class/scsi_device/" + device.address.text() + "/device/";
    const std::string block = folder + "block/" + device.name.substr(device.name.rfind('/') + 1);
    if (!sysfs_.has(block)) {
        return false;
    }
    device.vendor = sysfs_.read(folder + "vendor").value_or("");
    device.model = sysfs_.read(folder + "model").value_or("");
    device.revision = sysfs_.read(folder + "rev").value_or("");
    device.state = sysfs_.read(folder + "state").value_or("");
    device.wwid = sysfs_.read(folder + "wwid").value_or("");
    device.blockSize = static_cast<std::uint32_t>(number(sysfs_.read(block + "/queue/logical_block_size")));
    const std::uint64_t bytes = number(sysfs_.read(block + "/size")) * kSectorSize;
    device.blockCount = device.blockSize == 0 ? 0 : bytes / device.blockSize;
    return true;
}

// A node that was left behind, or made by hand, may lead to another device, whose answer must not count.
bool CScsiToolBase::isItsNode(int descriptor, const CScsiDeviceData& device) const {
    const std::string block = device.name.substr(device.name.rfind('/') + 1);
    const auto expected = sysfs_.read("class/scsi_device/" + device.address.text() + "/device/block/" + block + "/dev");
    struct stat node {};
    if (!expected) {
        return true;
    }
    return fstat(descriptor, &node) == 0 && S_ISBLK(node.st_mode) &&
           *expected == std::to_string(major(node.st_rdev)) + ':' + std::to_string(minor(node.st_rdev));
}

void CScsiToolBase::askDevice(CScsiDeviceData& device) const {
    const OpenFile node(deviceRoot_ + '/' + device.name.substr(device.name.rfind('/') + 1), O_RDONLY | O_NONBLOCK);
    if (!node) {
        device.unanswered = std::strerror(node.error());
        return;
    }
    if (!isItsNode(node.descriptor(), device)) {
        device.unanswered = "the device node belongs to another device";
        return;
    }
    for (const auto ask : {inquire, readCapacity, identify}) {
        if (!device.isGone) {
            ask(node.descriptor(), device);
        }
    }
}
