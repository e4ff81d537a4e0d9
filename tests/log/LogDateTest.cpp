// The date in front of a record, against the C library's asctime_r for
// every weekday, month, day of the month and the ends of the clock.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

#include "log/LogDate.h"

namespace {

std::tm brokenDown(int wday, int mon, int mday, int hour, int min, int sec)
{
    std::tm t{};
    t.tm_wday = wday;
    t.tm_mon = mon;
    t.tm_mday = mday;
    t.tm_hour = hour;
    t.tm_min = min;
    t.tm_sec = sec;
    t.tm_year = 126;
    return t;
}

// asctime's first 19 characters and a space.
std::string expected(std::tm const& t)
{
    char text[64];
    return std::string(asctime_r(&t, text), 19) + " ";
}

std::string formatted(std::tm const& t, std::size_t* length)
{
    char out[zarn::kLogDateLength + 1];
    std::memset(out, 'x', sizeof out);
    *length = zarn::formatLogDate(t, out);
    return std::string(out, strnlen(out, sizeof out));
}

TEST(LogDate, EveryWeekdayMonthAndDayIsAsctimes)
{
    for (int wday = 0; wday < 7; ++wday) {
        for (int mon = 0; mon < 12; ++mon) {
            for (int mday = 1; mday <= 31; mday += 3) {
                const std::tm t = brokenDown(wday, mon, mday, (mday * 5) % 24, mday, 59 - mday);
                std::size_t length = 0;
                const std::string text = formatted(t, &length);
                EXPECT_EQ(text, expected(t)) << "weekday " << wday << ", month " << mon;
                EXPECT_EQ(length, zarn::kLogDateLength) << text;
            }
        }
    }
}

TEST(LogDate, EndsOfTheClock)
{
    for (const std::tm& t : {brokenDown(0, 0, 1, 0, 0, 0), brokenDown(6, 11, 31, 23, 59, 60)}) {
        std::size_t length = 0;
        EXPECT_EQ(formatted(t, &length), expected(t));
    }
}

TEST(LogDate, FieldsOutOfRangeGiveNoDate)
{
    const struct {
        int wday;
        int mon;
    } cases[] = {{-1, 0}, {7, 0}, {0, -1}, {0, 12}};
    for (const auto& c : cases) {
        std::size_t length = 99;
        const std::string text = formatted(brokenDown(c.wday, c.mon, 1, 0, 0, 0), &length);
        EXPECT_EQ(length, 0u) << "weekday " << c.wday << ", month " << c.mon;
        EXPECT_EQ(text, "") << "weekday " << c.wday << ", month " << c.mon;
    }
}

TEST(LogDate, WideFieldsAreCutAtTheDatesLength)
{
    // A tm_mday of 1000 pushes the clock one column right; the record still
    // gets 19 characters and a space, as the first 19 of ctime's would be.
    std::size_t length = 0;
    const std::string text = formatted(brokenDown(3, 10, 1000, 12, 34, 56), &length);
    EXPECT_EQ(text, "Wed Nov1000 12:34:5 ");
    EXPECT_EQ(length, zarn::kLogDateLength);
}

}  // namespace
