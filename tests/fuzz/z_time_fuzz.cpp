// The time functions on any number and any broken-down time: they agree with the system's re-entrant functions and stay
// in the caller's buffer (an exactly sized heap block, watched by the sanitizer).
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "z_time.h"

namespace {

constexpr std::size_t kSmallest = 26;

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

bool areSame(const tm& a, const tm& b) {
    return a.tm_sec == b.tm_sec && a.tm_min == b.tm_min && a.tm_hour == b.tm_hour && a.tm_mday == b.tm_mday &&
           a.tm_mon == b.tm_mon && a.tm_year == b.tm_year && a.tm_wday == b.tm_wday && a.tm_yday == b.tm_yday;
}

void requireText(const char* text, const std::vector<char>& buffer) {
    if (text == nullptr) {
        return;
    }
    require(text == buffer.data() && buffer.size() >= kSmallest);
    require(strnlen(text, buffer.size()) < buffer.size());
}

void fuzzTimer(time_t timer, std::vector<char>& buffer) {
    tm own = {};
    tm system = {};
    const bool isThere = gmtime_r(&timer, &system) != nullptr;
    require((Z_gmtime(&timer, &own) == &own) == isThere);
    if (isThere) {
        require(areSame(own, system));
        require(Z_timegm(&own) == timer);
    }
    require((Z_localtime(&timer, &own) == &own) == (localtime_r(&timer, &system) != nullptr));
    errno = 0;
    const char* text = Z_ctime(&timer, buffer.data(), buffer.size());
    require(buffer.size() >= kSmallest || (text == nullptr && errno == ERANGE));
    requireText(text, buffer);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    struct {
        time_t timer;
        int fields[7];
        std::uint8_t room;
    } input = {};
    std::memcpy(&input, data, size < sizeof input ? size : sizeof input);
    std::vector<char> buffer(input.room % 64, '.');
    buffer.shrink_to_fit();
    fuzzTimer(input.timer, buffer);
    tm brokenDown = {};
    brokenDown.tm_sec = input.fields[0];
    brokenDown.tm_min = input.fields[1];
    brokenDown.tm_hour = input.fields[2];
    brokenDown.tm_mday = input.fields[3];
    brokenDown.tm_mon = input.fields[4];
    brokenDown.tm_year = input.fields[5];
    brokenDown.tm_wday = input.fields[6];
    requireText(Z_asctime(&brokenDown, buffer.data(), buffer.size()), buffer);
    Z_timegm(&brokenDown);
    require(Z_asctime(nullptr, buffer.data(), buffer.size()) == nullptr);
    return 0;
}
