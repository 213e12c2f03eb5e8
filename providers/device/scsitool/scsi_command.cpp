#include "scsi_command.h"

#include <scsi/sg_lib.h>
#include <scsi/sg_pt.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

namespace {

constexpr int kTries = 3;
constexpr int kTimeoutSeconds = 30;
constexpr std::uint8_t kNoSense = 0x00;
constexpr std::uint8_t kRecoveredError = 0x01;
constexpr std::uint8_t kUnitAttention = 0x06;

struct PassThroughDeleter {
    void operator()(sg_pt_base* request) const { destruct_scsi_pt_obj(request); }
};
using PassThrough = std::unique_ptr<sg_pt_base, PassThroughDeleter>;

ScsiAnswer noAnswer(std::string why) {
    ScsiAnswer answer;
    answer.why = std::move(why);
    return answer;
}

ScsiAnswer good(const sg_pt_base* request, std::size_t wanted) {
    ScsiAnswer answer;
    answer.kind = ScsiAnswer::Kind::kGood;
    const auto missing = static_cast<std::size_t>(std::max(0, get_scsi_pt_resid(request)));
    answer.received = wanted - std::min(wanted, missing);
    return answer;
}

ScsiAnswer senseAnswer(const sg_pt_base* request, std::span<const std::uint8_t> sense, std::size_t wanted) {
    sg_scsi_sense_hdr header{};
    if (!sg_scsi_normalize_sense(sense.data(), get_scsi_pt_sense_len(request), &header)) {
        return noAnswer("sense data that cannot be read");
    }
    if (header.sense_key == kNoSense || header.sense_key == kRecoveredError) {
        return good(request, wanted);
    }
    ScsiAnswer answer;
    answer.kind = ScsiAnswer::Kind::kSense;
    answer.senseKey = header.sense_key;
    answer.additionalCode = header.asc;
    answer.qualifier = header.ascq;
    return answer;
}

ScsiAnswer sendOnce(int descriptor, std::span<const std::uint8_t> command, std::span<std::uint8_t> data) {
    std::array<std::uint8_t, 64> sense{};
    std::fill(data.begin(), data.end(), std::uint8_t{0});
    const PassThrough request(construct_scsi_pt_obj_with_fd(descriptor, 0));
    if (!request) {
        return noAnswer("no memory for a command");
    }
    set_scsi_pt_cdb(request.get(), command.data(), static_cast<int>(command.size()));
    set_scsi_pt_sense(request.get(), sense.data(), static_cast<int>(sense.size()));
    set_scsi_pt_data_in(request.get(), data.data(), static_cast<int>(data.size()));
    const int result = do_scsi_pt(request.get(), -1, kTimeoutSeconds, 0);
    if (result != 0) {
        return noAnswer(result < 0 ? std::strerror(-result) : "the command could not be sent");
    }
    switch (get_scsi_pt_result_category(request.get())) {
        case SCSI_PT_RESULT_GOOD:
            return good(request.get(), data.size());
        case SCSI_PT_RESULT_SENSE:
            return senseAnswer(request.get(), sense, data.size());
        case SCSI_PT_RESULT_OS_ERR:
            return noAnswer(std::strerror(get_scsi_pt_os_err(request.get())));
        case SCSI_PT_RESULT_TRANSPORT_ERR:
            return noAnswer("transport error " + std::to_string(get_scsi_pt_transport_err(request.get())));
        default:
            return noAnswer("status " + std::to_string(get_scsi_pt_status_response(request.get())));
    }
}

}  // namespace

ScsiAnswer sendScsiCommand(int descriptor, std::span<const std::uint8_t> command, std::span<std::uint8_t> data) {
    ScsiAnswer answer;
    for (int attempt = 0; attempt < kTries; ++attempt) {
        answer = sendOnce(descriptor, command, data);
        if (answer.kind != ScsiAnswer::Kind::kSense || answer.senseKey != kUnitAttention) {
            break;
        }
    }
    return answer;
}
