/// \file
/// IQorLogger: an abstract levelled logger.
///
/// Five reporting operations test the message's level against a threshold,
/// format the message printf-style into an 8192-byte area of their own frame
/// (a longer message is cut to its first 8191 bytes) and hand it to the one
/// output operation a concrete logger provides, PrintLog. A message of level L
/// is reported when the stored threshold (SetLogLevel, read back by
/// GetLogLevel) is >= L; the test reads the field itself, so a subclass that
/// overrides GetLogLevel does not change it. A suppressed message costs one
/// comparison and its arguments are never formatted. A new logger has the
/// threshold eLogNone and so reports nothing.
///
/// Threads: the reporting operations are thread-safe as far as this class
/// goes. The threshold is read and written without a lock but never torn: one
/// thread may change it while others report. Each report formats in its own
/// stack frame, so reports may run in several threads at once; whether their
/// output is serialised is up to PrintLog (QorFileLogger serialises it).
///
/// Ownership: the base class owns nothing; the level labels are static.
#ifndef ZARNCRT_LOG_IQORLOGGER_H
#define ZARNCRT_LOG_IQORLOGGER_H

#include "core/ZarnExport.h"

/// \def ZARNCRT_PRINTF_LIKE(formatIndex, firstArgument)
/// Lets the compiler check the arguments of a reporting call against its format
/// (argument 1 of a member function is `this`); empty for other compilers.
#if defined(__GNUC__) || defined(__clang__)
#define ZARNCRT_PRINTF_LIKE(formatIndex, firstArgument) \
    __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define ZARNCRT_PRINTF_LIKE(formatIndex, firstArgument)
#endif

/// An abstract levelled logger: five reporting operations format a message
/// and hand it to PrintLog when its level passes the threshold (see
/// IQorLogger.h).
class ZARNCRT_EXPORT IQorLogger {
public:
    /// Message levels, and thresholds: a threshold of eLogNone turns all
    /// reporting off, eLogDebug lets everything through. Any int value may be
    /// stored as a threshold.
    enum tagELogLevel : int {
        eLogNone = 0,
        eLogFatal,
        eLogError,
        eLogWarning,
        eLogInformation,
        eLogDebug
    };

    /// The label of each level, indexed by its value: seven characters,
    /// right-aligned ("       ", "  FATAL", "  ERROR", "WARNING", "   INFO",
    /// "  DEBUG").
    static char const* const szLevels[6];

    /// Threshold eLogNone: nothing is reported until SetLogLevel.
    IQorLogger();
    /// Does nothing; concrete loggers release their output.
    virtual ~IQorLogger();

    /// Writes one message that passed the threshold. source may be NULL or
    /// empty; line is 0 when there is none; text is the formatted message.
    virtual void PrintLog(tagELogLevel level, char const* source, int line, char const* text) = 0;

    /// Stores the threshold unchanged (no range test).
    virtual void SetLogLevel(tagELogLevel level);
    /// The current threshold.
    virtual tagELogLevel GetLogLevel();

    /// Reports at eLogFatal when the threshold is at least eLogFatal; file and
    /// line name the place of the report. Does not end the process.
    virtual void FatalError(char const* file, int line, char const* format, ...)
        ZARNCRT_PRINTF_LIKE(4, 5);
    /// Reports at eLogError when the threshold is at least eLogError.
    virtual void Error(char const* file, int line, char const* format, ...)
        ZARNCRT_PRINTF_LIKE(4, 5);
    /// Reports at eLogWarning when the threshold is at least eLogWarning.
    virtual void Warning(char const* file, int line, char const* format, ...)
        ZARNCRT_PRINTF_LIKE(4, 5);
    /// Reports at eLogInformation (without a line) when the threshold allows.
    virtual void Information(char const* source, char const* format, ...) ZARNCRT_PRINTF_LIKE(3, 4);
    /// Reports at eLogDebug (without a line) when the threshold allows.
    virtual void Debug(char const* source, char const* format, ...) ZARNCRT_PRINTF_LIKE(3, 4);

protected:
    tagELogLevel logLevel;  ///< the threshold
};

#endif
