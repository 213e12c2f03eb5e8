#include "scripted_disks.h"

#include <scsi/sg.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <map>

namespace {

constexpr std::uint8_t kInquiry = 0x12;
constexpr std::uint8_t kReadCapacity10 = 0x25;
constexpr std::uint8_t kServiceActionIn = 0x9E;
constexpr ScriptedDisk::Sense kInvalidOperation{0x05, 0x20, 0x00};
constexpr ScriptedDisk::Sense kInvalidField{0x05, 0x24, 0x00};
constexpr ScriptedDisk::Sense kPowerOn{0x06, 0x29, 0x00};

std::map<std::string, ScriptedDisk>& disks() {
    static std::map<std::string, ScriptedDisk> all;
    return all;
}

void putNumber(std::vector<std::uint8_t>& data, std::uint64_t value, unsigned bytes) {
    while (bytes > 0) {
        --bytes;
        data.push_back(static_cast<std::uint8_t>(value >> (8 * bytes)));
    }
}

void refuse(const ScriptedDisk& disk, sg_io_hdr& request, const ScriptedDisk::Sense& sense) {
    std::array<std::uint8_t, 18> data{};
    data[0] = disk.hasReadableSense ? 0x70 : 0x00;
    data[2] = sense.key;
    data[7] = 10;
    data[12] = sense.code;
    data[13] = sense.qualifier;
    const std::size_t length = std::min<std::size_t>(data.size(), request.mx_sb_len);
    std::copy_n(data.begin(), length, request.sbp);
    request.sb_len_wr = static_cast<unsigned char>(length);
    request.status = 0x02;
    request.masked_status = 0x01;
    request.driver_status = 0x08;
    request.info = SG_INFO_CHECK;
}

void deliver(sg_io_hdr& request, const std::vector<std::uint8_t>& data) {
    const std::size_t length = std::min<std::size_t>(data.size(), request.dxfer_len);
    std::copy_n(data.begin(), length, static_cast<std::uint8_t*>(request.dxferp));
    request.resid = static_cast<int>(request.dxfer_len - length);
}

void inquire(const ScriptedDisk& disk, sg_io_hdr& request) {
    std::vector<std::uint8_t> data;
    if ((request.cmdp[1] & 1U) == 0) {
        data = {disk.peripheral, 0, 6, 2, 31, 0, 0, 0};
        std::ranges::copy(disk.product, std::back_inserter(data));
        data.resize(36, ' ');
        deliver(request, data);
    } else if (disk.designators.empty()) {
        refuse(disk, request, kInvalidField);
    } else {
        data.push_back(disk.peripheral);
        data.push_back(request.cmdp[2]);
        putNumber(data, disk.designators.size(), 2);
        std::ranges::copy(disk.designators, std::back_inserter(data));
        deliver(request, data);
    }
}

void readCapacity(const ScriptedDisk& disk, sg_io_hdr& request, unsigned numberBytes) {
    std::vector<std::uint8_t> data;
    putNumber(data, disk.blocks - 1, numberBytes);
    putNumber(data, disk.blockSize, 4);
    data.resize(numberBytes == 8 ? 32 : 8);
    deliver(request, data);
}

int answer(ScriptedDisk& disk, sg_io_hdr& request) {
    const std::uint8_t operation = request.cmdp[0];
    disk.asked.push_back(operation);
    if (disk.systemError != 0) {
        errno = disk.systemError;
        return -1;
    }
    request.host_status = disk.hostStatus;
    if (disk.hostStatus != 0) {
        request.info = SG_INFO_CHECK;
    } else if (disk.deviceStatus != 0) {
        request.status = disk.deviceStatus;
        request.info = SG_INFO_CHECK;
    } else if (disk.unitAttentions > 0) {
        --disk.unitAttentions;
        refuse(disk, request, kPowerOn);
    } else if (operation == kInquiry && disk.inquirySense) {
        refuse(disk, request, *disk.inquirySense);
    } else if (operation == kInquiry) {
        inquire(disk, request);
    } else if (operation == kServiceActionIn && !disk.knowsLongCapacity) {
        refuse(disk, request, kInvalidOperation);
    } else if (disk.capacitySense) {
        refuse(disk, request, *disk.capacitySense);
    } else if (operation == kServiceActionIn || operation == kReadCapacity10) {
        readCapacity(disk, request, operation == kServiceActionIn ? 8 : 4);
    } else {
        refuse(disk, request, kInvalidOperation);
    }
    if (disk.senseWithData) {
        refuse(disk, request, *disk.senseWithData);
    }
    return 0;
}

}  // namespace

ScriptedDisk& scriptDisk(const std::string& node) {
    return disks()[node] = ScriptedDisk();
}

void forgetDisks() {
    disks().clear();
}

extern "C" __attribute__((visibility("default"))) int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request == SG_IO) {
        std::error_code ignored;
        const auto disk =
            disks().find(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored));
        if (disk != disks().end()) {
            return answer(disk->second, *static_cast<sg_io_hdr*>(argument));
        }
    }
    return static_cast<int>(syscall(SYS_ioctl, descriptor, request, argument));
}
