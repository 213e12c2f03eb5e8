#include "host/device/signatures.h"

#include <blkid/blkid.h>
#include <fcntl.h>

#include <cerrno>
#include <memory>

#include "host/freeze/owned_fd.h"
#include "host/report/system_failure.h"

namespace tarnctl {
namespace {

constexpr std::string_view kOperation = "read the signatures of the device";

struct FreeProbe {
    void operator()(blkid_probe probe) const { blkid_free_probe(probe); }
};
using Probe = std::unique_ptr<std::remove_pointer_t<blkid_probe>, FreeProbe>;

std::string valueOf(blkid_probe probe, const char* name) {
    const char* value = nullptr;
    return blkid_probe_lookup_value(probe, name, &value, nullptr) == 0 && value != nullptr ? value : "";
}

Probe probeOf(int descriptor) {
    Probe probe(blkid_new_probe());
    if (!probe || blkid_probe_set_device(probe.get(), descriptor, 0, 0) != 0) {
        return nullptr;
    }
    blkid_probe_enable_superblocks(probe.get(), 1);
    blkid_probe_set_superblocks_flags(
        probe.get(), BLKID_SUBLKS_TYPE | BLKID_SUBLKS_UUID | BLKID_SUBLKS_USAGE | BLKID_SUBLKS_BADCSUM);
    blkid_probe_enable_partitions(probe.get(), 1);
    blkid_probe_set_partitions_flags(probe.get(), BLKID_PARTS_FORCE_GPT);
    return probe;
}

}  // namespace

Result<std::vector<Signature>> signaturesOn(const BlockDevice& device) {
    const OwnedFd opened(::open(device.path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!opened) {
        return systemFailure(ExitCode::kFailed, kOperation, device.path, "cannot be opened", errno);
    }
    const Probe probe = probeOf(opened.get());
    if (!probe) {
        return Failure{ExitCode::kFailed, std::string(kOperation), device.path, "it cannot be probed"};
    }
    std::vector<Signature> found;
    int code = 0;
    while ((code = blkid_do_probe(probe.get())) == 0) {
        if (const std::string type = valueOf(probe.get(), "TYPE"); !type.empty()) {
            found.push_back({type, valueOf(probe.get(), "UUID"), valueOf(probe.get(), "USAGE") == "filesystem"});
        } else if (const std::string table = valueOf(probe.get(), "PTTYPE"); !table.empty()) {
            found.push_back({table + " partition table", valueOf(probe.get(), "PTUUID"), false});
        }
    }
    if (code < 0) {
        return Failure{ExitCode::kFailed, std::string(kOperation), device.path, "it cannot be read"};
    }
    return found;
}

std::string namesOf(const std::vector<Signature>& signatures) {
    std::string names;
    for (const Signature& signature : signatures) {
        names += (names.empty() ? "" : ", ") + signature.name;
    }
    return names;
}

}  // namespace tarnctl
