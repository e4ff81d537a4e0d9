// ReportingLogger: a failed write of a --log record is said once.
#include "ReportingLogger.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace wordindex {

void ReportingLogger::PrintLog(tagELogLevel level, char const* source, int line, char const* text)
{
    errno = 0;
    QorFileLogger::PrintLog(level, source, line, text);
    const int writeErrno = errno;
    if (name.empty()) {
        return;
    }
    Lock();
    const bool bad = stream != nullptr && std::ferror(stream) != 0;
    Unlock();
    if (bad && !failed.exchange(true)) {
        std::fprintf(stderr, "wordindex: cannot write log file '%s': %s\n", name.c_str(),
                     std::strerror(writeErrno != 0 ? writeErrno : EIO));
    }
}

bool ReportingLogger::writeFailed() const
{
    return failed.load();
}

}  // namespace wordindex
