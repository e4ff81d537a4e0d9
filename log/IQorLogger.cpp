// IQorLogger: threshold test, message formatting and the level labels.
#include "log/IQorLogger.h"

#include <cstdarg>
#include <cstdio>

#include "core/Limits.h"
#include "log/RelaxedAccess.h"

char const* const IQorLogger::szLevels[6] = {"       ", "  FATAL", "  ERROR",
                                             "WARNING", "   INFO", "  DEBUG"};

namespace {

// Formats the message in this frame (no heap) and hands it to the logger's
// output. The caller has already tested the threshold.
void formatAndPrint(IQorLogger& logger, IQorLogger::tagELogLevel level, char const* source,
                    int line, char const* format, va_list args)
{
    char text[zarn::kLogMessageSize];  // a longer message is cut to fit
    text[0] = '\0';
    // A NULL format reports an empty message rather than crashing in libc;
    // after an encoding error the buffer's contents are not defined.
    if (format != nullptr && std::vsnprintf(text, sizeof text, format, args) < 0) {
        text[0] = '\0';
    }
    logger.PrintLog(level, source, line, text);
}

}  // namespace

IQorLogger::IQorLogger() : logLevel(eLogNone) {}

IQorLogger::~IQorLogger() = default;

void IQorLogger::SetLogLevel(tagELogLevel level)
{
    zarn::storeRelaxed(logLevel, level);
}

IQorLogger::tagELogLevel IQorLogger::GetLogLevel()
{
    return zarn::loadRelaxed(logLevel);
}

// The five reporting operations differ only in their level and whether a line
// is passed; each tests the threshold before touching its arguments.

void IQorLogger::FatalError(char const* file, int line, char const* format, ...)
{
    if (zarn::loadRelaxed(logLevel) < eLogFatal) {
        return;
    }
    va_list args;
    va_start(args, format);
    formatAndPrint(*this, eLogFatal, file, line, format, args);
    va_end(args);
}

void IQorLogger::Error(char const* file, int line, char const* format, ...)
{
    if (zarn::loadRelaxed(logLevel) < eLogError) {
        return;
    }
    va_list args;
    va_start(args, format);
    formatAndPrint(*this, eLogError, file, line, format, args);
    va_end(args);
}

void IQorLogger::Warning(char const* file, int line, char const* format, ...)
{
    if (zarn::loadRelaxed(logLevel) < eLogWarning) {
        return;
    }
    va_list args;
    va_start(args, format);
    formatAndPrint(*this, eLogWarning, file, line, format, args);
    va_end(args);
}

void IQorLogger::Information(char const* source, char const* format, ...)
{
    if (zarn::loadRelaxed(logLevel) < eLogInformation) {
        return;
    }
    va_list args;
    va_start(args, format);
    formatAndPrint(*this, eLogInformation, source, 0, format, args);
    va_end(args);
}

void IQorLogger::Debug(char const* source, char const* format, ...)
{
    if (zarn::loadRelaxed(logLevel) < eLogDebug) {
        return;
    }
    va_list args;
    va_start(args, format);
    formatAndPrint(*this, eLogDebug, source, 0, format, args);
    va_end(args);
}
