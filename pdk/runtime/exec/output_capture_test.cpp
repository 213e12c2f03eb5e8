#include "output_capture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

using Lines = std::vector<std::string>;
using namespace std::string_view_literals;

namespace znfi_runtime {
namespace {

Lines captured(std::string_view text) {
    OutputCapture capture;
    while (!text.empty()) {
        const std::span<char> room = capture.room();
        const std::size_t count = std::min(room.size(), text.size());
        std::copy_n(text.begin(), count, room.begin());
        capture.commit(count);
        text.remove_prefix(count);
    }
    Lines lines;
    capture.appendTo(lines);
    return lines;
}

bool isMarker(const std::string& line) {
    return line.starts_with("[... ");
}

// Numbered lines of ten bytes, line end included.
std::string numbered(std::size_t count) {
    std::string text;
    for (std::size_t number = 0; number < count; ++number) {
        const std::string digits = std::to_string(number);
        text += std::string(9 - digits.size(), '0') + digits + '\n';
    }
    return text;
}

TEST(OutputCapture, SplitsAtLineEnds) {
    EXPECT_EQ(captured(""), Lines{});
    EXPECT_EQ(captured("a\nb\n"), (Lines{"a", "b"}));
    EXPECT_EQ(captured("a\nb"), (Lines{"a", "b"}));
    EXPECT_EQ(captured("\n\na\r\n"), (Lines{"", "", "a\r"}));
}

TEST(OutputCapture, KeepsNulBytes) {
    EXPECT_EQ(captured("a\0b\n\0"sv), (Lines{std::string("a\0b", 3), std::string(1, '\0')}));
}

TEST(OutputCapture, AppendsToWhatIsThere) {
    OutputCapture capture;
    capture.room()[0] = 'x';
    capture.commit(1);
    Lines lines{"before"};
    capture.appendTo(lines);
    EXPECT_EQ(lines, (Lines{"before", "x"}));
}

TEST(OutputCapture, DropsNothingUpToItsLimit) {
    const std::string text(OutputCapture::kWhole, 'x');
    EXPECT_EQ(captured(text), Lines{text});
    const std::string many = numbered(OutputCapture::kWhole / 10);
    const Lines lines = captured(many);
    EXPECT_EQ(lines.size(), OutputCapture::kWhole / 10);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), isMarker), 0);
}

// Whatever was printed, in whichever amount above the limit: whole lines, one marker, nothing lost at either end, and
// the marker's number is true.
TEST(OutputCapture, KeepsHeadAndTailInWholeLinesAroundOneMarker) {
    for (const std::size_t count : {OutputCapture::kWhole / 10 + 1, OutputCapture::kWhole / 10 + 6550,
                                    OutputCapture::kWhole / 10 + 6560, 3 * OutputCapture::kWhole / 10}) {
        const std::string text = numbered(count);
        const Lines lines = captured(text);
        const auto marker = std::find_if(lines.begin(), lines.end(), isMarker);
        ASSERT_NE(marker, lines.end()) << count;
        EXPECT_EQ(std::count_if(lines.begin(), lines.end(), isMarker), 1);
        const auto head = static_cast<std::size_t>(marker - lines.begin()) * 10;
        const auto tail = static_cast<std::size_t>(lines.end() - marker - 1) * 10;
        EXPECT_GE(head, OutputCapture::kHead);
        EXPECT_GE(tail, OutputCapture::kTail);
        EXPECT_LT(head + tail, OutputCapture::kHead + OutputCapture::kTail + 20);
        EXPECT_EQ(*marker, "[... " + std::to_string(text.size() - head - tail) + " bytes of output dropped ...]");
        std::string joined;
        for (const std::string& line : lines) {
            joined += isMarker(line) ? "" : line + '\n';
        }
        EXPECT_TRUE(joined == text.substr(0, head) + text.substr(text.size() - tail)) << count;
    }
}

TEST(OutputCapture, CutsALineThatIsLongerThanAllOfIt) {
    std::string text(3 * OutputCapture::kWhole + 12345, 'x');
    text.front() = 'a';
    text.back() = 'z';
    const Lines lines = captured(text);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(lines[0] == text.substr(0, OutputCapture::kHead));
    EXPECT_TRUE(isMarker(lines[1])) << lines[1];
    EXPECT_TRUE(lines[2] == text.substr(text.size() - OutputCapture::kTail));
}

}  // namespace
}  // namespace znfi_runtime
