#include "z_time.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iomanip>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "guarded_memory.h"

namespace {

constexpr std::time_t kStamp = 1709647629;  // 5 March 2024, 14:07:09 UTC
constexpr std::time_t kOffset = 3 * 3600 + 30 * 60;

// A zone without changes of its clock: local time is UTC and three and a half hours.
class TimeTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(setenv("TZ", "XYZ-3:30", 1), 0);
        tzset();
        errno = 0;
    }
};

// From the calendar of the C++ library, not from the C functions under test.
std::tm brokenDown(std::time_t stamp) {
    using namespace std::chrono;
    const sys_seconds at{seconds{stamp}};
    const auto day = floor<days>(at);
    const year_month_day date{day};
    const hh_mm_ss time{at - day};
    std::tm made{};
    made.tm_year = static_cast<int>(date.year()) - 1900;
    made.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    made.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    made.tm_hour = static_cast<int>(time.hours().count());
    made.tm_min = static_cast<int>(time.minutes().count());
    made.tm_sec = static_cast<int>(time.seconds().count());
    made.tm_wday = static_cast<int>(weekday{day}.c_encoding());
    made.tm_yday = static_cast<int>((day - sys_days{date.year() / January / 1}).count());
    return made;
}

std::string timeText(const std::tm& at) {
    static constexpr std::array kDays = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static constexpr std::array kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::ostringstream text;
    text << kDays.at(static_cast<std::size_t>(at.tm_wday)) << ' ' << kMonths.at(static_cast<std::size_t>(at.tm_mon))
         << ' ' << std::setw(2) << at.tm_mday << ' ' << std::setfill('0') << std::setw(2) << at.tm_hour << ':'
         << std::setw(2) << at.tm_min << ':' << std::setw(2) << at.tm_sec << ' ' << at.tm_year + 1900 << '\n';
    return text.str();
}

bool same(const std::tm& left, const std::tm& right) {
    return left.tm_year == right.tm_year && left.tm_mon == right.tm_mon && left.tm_mday == right.tm_mday &&
           left.tm_hour == right.tm_hour && left.tm_min == right.tm_min && left.tm_sec == right.tm_sec &&
           left.tm_wday == right.tm_wday && left.tm_yday == right.tm_yday;
}

// Years 1000 to 9999: the text has 25 characters there.
rc::Gen<std::time_t> stamps() {
    return rc::gen::inRange<std::time_t>(-30610224000, 253402214400);
}

using Text = GuardedMemory<char>;
std::vector<char> dots(std::size_t count) {
    return std::vector<char>(count, '.');
}

TEST_F(TimeTest, CtimeWithTwentyFiveFailsWithErange) {
    Text buffer(dots(25));
    EXPECT_EQ(Z_ctime(&kStamp, buffer.data(), 25), nullptr);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(buffer.contents(), dots(25));
}

TEST_F(TimeTest, CtimeWithTwentySixSucceeds) {
    Text buffer(dots(26));
    EXPECT_EQ(Z_ctime(&kStamp, buffer.data(), 26), buffer.data());
    EXPECT_STREQ(buffer.data(), "Tue Mar  5 17:37:09 2024\n");
    EXPECT_EQ(errno, 0);
}

TEST_F(TimeTest, AsctimeHasTheSameThreshold) {
    const std::tm at = brokenDown(kStamp);
    Text buffer(dots(26));
    EXPECT_EQ(Z_asctime(&at, buffer.data(), 25), nullptr);
    EXPECT_EQ(errno, ERANGE);
    EXPECT_EQ(buffer.contents(), dots(26));
    EXPECT_EQ(Z_asctime(&at, buffer.data(), 26), buffer.data());
    EXPECT_STREQ(buffer.data(), "Tue Mar  5 14:07:09 2024\n");
}

TEST_F(TimeTest, NullWithEnoughRoomLeavesErrnoAlone) {
    Text buffer(dots(26));
    const std::tm at{};
    EXPECT_EQ(Z_ctime(nullptr, buffer.data(), 26), nullptr);
    EXPECT_EQ(Z_ctime(&kStamp, nullptr, 26), nullptr);
    EXPECT_EQ(Z_asctime(nullptr, buffer.data(), 26), nullptr);
    EXPECT_EQ(Z_asctime(&at, nullptr, 26), nullptr);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(buffer.contents(), dots(26));
}

TEST_F(TimeTest, NullWithoutRoomIsErangeToo) {
    EXPECT_EQ(Z_ctime(nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(errno, ERANGE);
    errno = 0;
    EXPECT_EQ(Z_asctime(nullptr, nullptr, 25), nullptr);
    EXPECT_EQ(errno, ERANGE);
}

TEST_F(TimeTest, NullAndUnrepresentableTimesAreNull) {
    const std::time_t beyond = std::numeric_limits<std::time_t>::max();
    std::tm out{};
    for (const auto call : {Z_gmtime, Z_localtime}) {
        EXPECT_EQ(call(nullptr, &out), nullptr);
        EXPECT_EQ(call(&kStamp, nullptr), nullptr);
        EXPECT_EQ(call(&beyond, &out), nullptr);
    }
    Text buffer(dots(26));
    EXPECT_EQ(Z_ctime(&beyond, buffer.data(), 26), nullptr);
    EXPECT_EQ(buffer.contents(), dots(26));
    EXPECT_EQ(Z_timegm(nullptr), -1);
}

TEST_F(TimeTest, AnyMomentBreaksDownAsTheCalendarSays) {
    EXPECT_TRUE(rc::check([] {
        const std::time_t stamp = *stamps();
        GuardedMemory<std::tm> out(std::vector<std::tm>(1));
        RC_ASSERT(Z_gmtime(&stamp, out.data()) == out.data());
        RC_ASSERT(same(*out.data(), brokenDown(stamp)));
        RC_ASSERT(Z_localtime(&stamp, out.data()) == out.data());
        RC_ASSERT(same(*out.data(), brokenDown(stamp + kOffset)));
    }));
}

TEST_F(TimeTest, TimegmFindsTheWayBack) {
    EXPECT_TRUE(rc::check([] {
        const std::time_t stamp = *stamps();
        std::tm at = brokenDown(stamp);
        RC_ASSERT(Z_timegm(&at) == stamp);
    }));
}

TEST_F(TimeTest, TimegmSetsRightWhatIsOutOfRange) {
    EXPECT_TRUE(rc::check([] {
        const std::time_t stamp = *stamps();
        const int seconds = *rc::gen::inRange(-100000, 100000);
        const int days = *rc::gen::inRange(-1000, 1000);
        std::tm at = brokenDown(stamp);
        at.tm_sec += seconds;
        at.tm_mday += days;
        at.tm_wday = -1;
        at.tm_yday = -1;
        GuardedMemory<std::tm> given({at});
        const std::time_t expected = stamp + seconds + std::time_t{days} * 86400;
        RC_ASSERT(Z_timegm(given.data()) == expected);
        RC_ASSERT(same(*given.data(), brokenDown(expected)));
    }));
}

TEST_F(TimeTest, AnyMomentReadsAsTheCalendarSays) {
    EXPECT_TRUE(rc::check([] {
        const std::time_t stamp = *stamps();
        const std::tm at = brokenDown(stamp);
        Text buffer(dots(26));
        RC_ASSERT(Z_asctime(&at, buffer.data(), 26) == buffer.data());
        RC_ASSERT(std::string(buffer.data()) == timeText(at));
        RC_ASSERT(Z_ctime(&stamp, buffer.data(), 26) == buffer.data());
        RC_ASSERT(std::string(buffer.data()) == timeText(brokenDown(stamp + kOffset)));
    }));
}

// The system library gives such a year more than 25 characters.
TEST_F(TimeTest, TextOfAFiveDigitYearIsCutToTheBuffer) {
    std::tm at = brokenDown(kStamp);
    at.tm_year = 12345 - 1900;
    Text buffer(dots(26));
    ASSERT_EQ(Z_asctime(&at, buffer.data(), 26), buffer.data());
    EXPECT_STREQ(buffer.data(), "Tue Mar  5 14:07:09 12345");
}

}  // namespace
