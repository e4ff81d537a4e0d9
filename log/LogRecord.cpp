// One QorFileLogger record, assembled without the heap and written at once.
#include "log/LogRecord.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <limits>

namespace zarn {

namespace {

// The date text of the last second seen by this thread: converting the time
// is the dearest part of a record, and records come many per second.
struct DateCache {
    std::time_t second = std::numeric_limits<std::time_t>::min();
    char text[32] = "";
    std::size_t length = 0;
};
thread_local DateCache dateCache;

// "Www Mmm dd hh:mm:ss " for now, or "" when the time has no local form.
// localtime_r instead of ctime: ctime's static area is shared by every thread
// of the process.
DateCache const& currentDate()
{
    const std::time_t now = std::time(nullptr);
    DateCache& cache = dateCache;
    if (now == cache.second) {
        return cache;
    }
    cache.second = now;
    cache.text[0] = '\0';
    cache.length = 0;
    std::tm local;
    if (localtime_r(&now, &local) != nullptr) {
        cache.length = formatLogDate(local, cache.text);
    }
    return cache;
}

// "%d" of value into out (at least 12 bytes); returns the length.
std::size_t formatDecimal(char* out, int value)
{
    char reversed[12];
    std::size_t n = 0;
    // Work on the negative magnitude so that INT_MIN needs no special case.
    int rest = value < 0 ? value : -value;
    do {
        reversed[n++] = static_cast<char>('0' - rest % 10);
        rest /= 10;
    } while (rest != 0);
    std::size_t length = 0;
    if (value < 0) {
        out[length++] = '-';
    }
    while (n > 0) {
        out[length++] = reversed[--n];
    }
    return length;
}

}  // namespace

LogRecord::LogRecord(char const* label, char const* source, int line, int level, char const* text)
    : end(kFront), longText(nullptr), terminator("")
{
    append(label, std::strlen(label));
    append("] ", 2);
    if (source != nullptr && source[0] != '\0') {
        // "%s: " in 512 bytes: the separator is cut first, then the source.
        const std::size_t sourceLength = strnlen(source, kSourceLimit);
        append(source, sourceLength);
        append(": ", std::min<std::size_t>(2, kSourceLimit - sourceLength));
    }
    // Information and debug records never carry a line.
    if (line != 0 && level <= kLastLevelWithLine) {
        char digits[16];
        append("#", 1);
        append(digits, formatDecimal(digits, line));
        append(" ", 1);
    }
    // A message that breaks lines itself is left as it is, even when its last
    // line is not terminated.
    const std::size_t textLength = std::strlen(text);
    const char* newline = static_cast<char const*>(std::memchr(text, '\n', textLength));
    char const* ending = newline != nullptr ? "" : "\n";
    if (textLength + 1 <= kAreaSize - end) {
        append(text, textLength);
        append(ending, std::strlen(ending));
    } else {
        // Only a text handed straight to PrintLog can be this long.
        longText = text;
        terminator = ending;
    }
}

void LogRecord::append(char const* bytes, std::size_t count)
{
    std::memcpy(area + end, bytes, count);
    end += count;
}

void LogRecord::writeTo(std::FILE* stream, bool withDate)
{
    std::size_t start = kFront - 1;
    if (withDate) {
        DateCache const& date = currentDate();
        start -= date.length;
        std::memcpy(area + start + 1, date.text, date.length);
    }
    area[start] = '[';
    if (longText == nullptr) {
        std::fwrite(area + start, 1, end - start, stream);
    } else {
        std::fprintf(stream, "%.*s%s%s", static_cast<int>(end - start), area + start, longText,
                     terminator);
    }
}

}  // namespace zarn
