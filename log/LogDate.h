// Internal (not installed): the date in front of a QorFileLogger record.
#ifndef ZARNCRT_LOG_LOGDATE_H
#define ZARNCRT_LOG_LOGDATE_H

#include <cstddef>
#include <ctime>

namespace zarn {

// Length of "Www Mmm dd hh:mm:ss ": ctime's first 19 characters and a space.
constexpr std::size_t kLogDateLength = 20;

// Writes "Www Mmm dd hh:mm:ss " for a broken-down local time into out (at
// least kLogDateLength + 1 bytes, NUL-terminated) and returns its length:
// kLogDateLength, or 0 with out empty when the weekday or the month is out of
// range. The names do not depend on the locale, as ctime's do not.
std::size_t formatLogDate(std::tm const& local, char* out);

}  // namespace zarn

#endif
