// The date in front of a QorFileLogger record.
#include "log/LogDate.h"

#include <cstdio>
#include <cstring>

namespace zarn {

namespace {

char const* const kWeekdays[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
char const* const kMonths[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

}  // namespace

std::size_t formatLogDate(std::tm const& local, char* out)
{
    out[0] = '\0';
    if (local.tm_wday < 0 || local.tm_wday >= 7 || local.tm_mon < 0 || local.tm_mon >= 12) {
        return 0;
    }
    // ctime's layout: the day of the month is padded with a space ("Nov  5").
    // Fields wider than ctime's (a year-long tm_mday) are cut at 19, as
    // taking ctime's first 19 characters would.
    char text[64];
    std::snprintf(text, sizeof text, "%.3s %.3s%3d %.2d:%.2d:%.2d", kWeekdays[local.tm_wday],
                  kMonths[local.tm_mon], local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
    std::memcpy(out, text, kLogDateLength - 1);
    out[kLogDateLength - 1] = ' ';
    out[kLogDateLength] = '\0';
    return kLogDateLength;
}

}  // namespace zarn
