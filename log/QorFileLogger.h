/// \file
/// QorFileLogger: an IQorLogger that writes one flushed record per message to
/// a FILE stream.
///
/// Each record reads
///     `[<date ><label>] <source: ><#line ><message><terminator>`
/// for instance "[Wed Nov 18 06:45:37   ERROR] parser: #120 unexpected token":
///   - date: weekday, month, day, time of day in local time (the first 19
///     characters ctime would give) and a space; left out when dates are off;
///   - label: the seven-character entry of szLevels for the level;
///   - source: `"<source>: "` when a non-empty source is given, cut to 511
///     characters;
///   - line: `"#<line> "` for a non-zero line at levels eLogWarning and below;
///   - terminator: a line feed, unless the message contains one anywhere;
///     then the record ends where the message ends, and the next record
///     continues its last line unless the message ends with a line feed.
///     So end every multi-line message with `"\n"`: a message that ends with a
///     line feed always gives exactly one line end.
///
/// The stream may be one the caller has (stdout, for instance), a file opened
/// by path, or a file named by getLogFileName. A stream the logger owns is
/// closed when it is replaced and when the logger is destroyed; stdout and
/// stderr are never closed. While there is no stream, records are dropped.
///
/// One logger may be shared by threads: its mutex serialises each record, from
/// its first field to its flush, and every replacement of the stream, so
/// records never interleave and a record is never written to a stream that is
/// being replaced. A record needs no heap memory: a report takes about 17 KB
/// of stack (the formatted message and the record laid out from it).
/// Thread-safe, then, for every operation but construction and destruction,
/// which no other thread may overlap; SetLogLevel and ToggleDateUsage take
/// effect without the mutex. Lock and Unlock give the caller the same mutex
/// (not recursive).
///
/// Cost: a suppressed message costs one comparison; a reported one is
/// formatted and laid out outside the mutex, then written with one stdio call
/// and flushed under it.
#ifndef ZARNCRT_LOG_QORFILELOGGER_H
#define ZARNCRT_LOG_QORFILELOGGER_H

#include <cstdio>

#include "core/ZarnExport.h"
#include "log/IQorLogger.h"

/// An IQorLogger that writes one flushed record per message to a FILE
/// stream, shared safely by threads. The description of QorFileLogger.h gives
/// the record format (a message with a line feed gets no terminator), stream
/// ownership and threads.
class ZARNCRT_EXPORT QorFileLogger : public IQorLogger {
public:
    /// Threshold eLogNone, no stream, dates on, a mutex of its own (without
    /// one the logger works unlocked).
    QorFileLogger();
    /// Destroys the mutex, then closes the stream when the logger owns it
    /// (never stdout or stderr). No other thread may use the logger meanwhile.
    ~QorFileLogger() override;
    QorFileLogger(QorFileLogger const&) = delete;
    QorFileLogger& operator=(QorFileLogger const&) = delete;

    /// Writes one record to the stream and flushes it, under the mutex. Does
    /// nothing without a stream or for a level outside eLogNone..eLogDebug.
    void PrintLog(tagELogLevel level, char const* source, int line, char const* text) override;

    /// Dates on (true) or off (false) for the following records.
    void ToggleDateUsage(bool on);

    /// Takes the logger's mutex (blocking); does nothing without a mutex. The
    /// mutex is not recursive: do not log between Lock and Unlock.
    void Lock();
    /// Releases the logger's mutex; does nothing without a mutex.
    void Unlock();

    /// Opens the file at path with the fopen mode (e.g. "a" or "w") as the new,
    /// owned stream. Returns false, changing nothing, while the threshold is
    /// eLogNone. Otherwise the former stream is let go (closed when owned) and
    /// the result tells whether the open succeeded; after a failed open (a
    /// NULL path or mode counts as one) records are dropped.
    bool SetFile(char const* path, char const* mode);

    /// Opens the file that getLogFileName names, as SetFile(path, mode) does.
    /// directory, baseName, withDate and withPid pass through to it unchanged;
    /// the extension is "log" when extension is NULL or empty, else its first
    /// 15 characters. A non-NULL extension must have room for 16 bytes: it
    /// receives the extension used. Returns the result of SetFile.
    bool CompleteFile(char* directory, char const* baseName, char* extension, char const* mode,
                      bool withDate, bool withPid);

    /// Makes newStream (NULL: none) the stream; owns tells whether the logger
    /// closes it later. The former stream is closed when owned, unless it is
    /// newStream itself, which only takes the new ownership.
    void SetFile(std::FILE* newStream, bool owns);

protected:
    bool ownsFile;      ///< stream is closed by the logger (never stdout/stderr)
    bool useDate;       ///< records begin with the date
    std::FILE* stream;  ///< where records go; NULL: nowhere
    void* mutex;        ///< from QorCreateMutex; NULL: no locking
};

#endif
