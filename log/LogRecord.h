// Internal (not installed): one QorFileLogger record, assembled in the
// caller's frame.
//
// A record is the text that fprintf(stream, "[%s%s] %s%s%s%s", date, label,
// source, line, text, terminator) writes, with
//   date:       "Www Mmm dd hh:mm:ss " (ctime's first 19 characters and a
//               space) or empty;
//   source:     "<source>: " cut to 511 characters, empty for NULL or "";
//   line:       "#<line> " for a non-zero line at level 3 or below, else empty;
//   terminator: "\n" unless text contains a line feed anywhere.
// Building the same bytes by hand and handing them to stdio in one write
// costs a fraction of that fprintf and of the snprintf calls its fields would
// need. Everything but the date is laid out before the logger's lock is
// taken; the date goes in front under the lock.
#ifndef ZARNCRT_LOG_LOGRECORD_H
#define ZARNCRT_LOG_LOGRECORD_H

#include <cstddef>
#include <cstdio>

#include "core/Limits.h"
#include "log/IQorLogger.h"
#include "log/LogDate.h"

namespace zarn {

class LogRecord {
public:
    // Lays out label, source, line, text and terminator. label is the
    // level's seven-character label; text must not be NULL.
    LogRecord(char const* label, char const* source, int line, int level, char const* text);
    LogRecord(LogRecord const&) = delete;
    LogRecord& operator=(LogRecord const&) = delete;

    // Writes the whole record to stream, preceded by the current date when
    // withDate is true. Does not flush.
    void writeTo(std::FILE* stream, bool withDate);

private:
    static constexpr std::size_t kDateLength = kLogDateLength;  // "Www Mmm dd hh:mm:ss "
    static constexpr std::size_t kSourceLimit = 511;
    static constexpr std::size_t kLineLimit = 31;
    // Room in front of the label for "[" and the date.
    static constexpr std::size_t kFront = 1 + kDateLength;
    // Records of this level and the more severe ones carry the line.
    static constexpr int kLastLevelWithLine = IQorLogger::eLogWarning;
    // Room for label, "] ", source and line fields, and a message cut to fit
    // the reporting operations' area, with its terminator.
    static constexpr std::size_t kAreaSize =
        kFront + 7 + 2 + kSourceLimit + kLineLimit + kLogMessageSize;

    void append(char const* bytes, std::size_t count);

    char area[kAreaSize];
    std::size_t end;         // bytes of area in use, kFront included
    char const* longText;    // a text too long for area, written after it; or NULL
    char const* terminator;  // written after longText
};

}  // namespace zarn

#endif
