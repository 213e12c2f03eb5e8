#include "trace/line_format.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace znfi_runtime {
namespace {

constexpr size_t kHeadBound = 80;  // time, process and level with their blanks
constexpr std::string_view kNone = "-";
constexpr std::string_view kFurtherLine = "| ";

char* put(char* out, std::string_view text) noexcept {
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
}

std::string_view orNone(std::string_view text) noexcept {
    return text.empty() ? kNone : text;
}

std::string_view withoutLineBreak(std::string_view text) noexcept {
    if (!text.empty() && text.back() == '\n') {
        text.remove_suffix(1);
    }
    return text;
}

char* putHead(char* out, const TraceLine& line) noexcept {
    tm utc{};
    gmtime_r(&line.time.tv_sec, &utc);
    const size_t stamp = strftime(out, kHeadBound, "%Y-%m-%dT%H:%M:%S", &utc);
    const int rest = std::snprintf(out + stamp, kHeadBound - stamp, ".%03ldZ %ld %d ", line.time.tv_nsec / 1'000'000,
                                   static_cast<long>(getpid()), line.level);
    return out + stamp + std::max(rest, 0);
}

}  // namespace

size_t formattedBound(const TraceLine& line, std::string_view road) noexcept {
    const auto breaks = std::count(line.text.begin(), line.text.end(), '\n');
    return kHeadBound + orNone(line.plugin).size() + 1 + orNone(road).size() + 1 + line.text.size() +
           static_cast<size_t>(breaks) * kFurtherLine.size() + 1;
}

size_t formatLine(const TraceLine& line, std::string_view road, char* out) noexcept {
    char* next = putHead(out, line);
    next = put(next, orNone(line.plugin));
    *next++ = ' ';
    next = put(next, orNone(road));
    *next++ = ' ';
    for (const char c : withoutLineBreak(line.text)) {
        *next++ = c;
        if (c == '\n') {
            next = put(next, kFurtherLine);
        }
    }
    *next++ = '\n';
    return static_cast<size_t>(next - out);
}

}  // namespace znfi_runtime
