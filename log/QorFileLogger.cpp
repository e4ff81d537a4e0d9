// QorFileLogger: records onto a FILE stream under the logger's mutex.
#include "log/QorFileLogger.h"

#include <cstdio>
#include <cstring>

#include "core/Limits.h"
#include "core/QorCore.h"
#include "log/LogRecord.h"
#include "log/RelaxedAccess.h"

namespace {

constexpr int kExtensionSize = 16;

// The closing rule shared by both SetFile forms and the destructor: only an
// owned stream is closed, and never the process's standard streams.
void closeIfOwned(std::FILE* stream, bool owned)
{
    if (stream != nullptr && owned && stream != stdout && stream != stderr) {
        std::fclose(stream);
    }
}

}  // namespace

QorFileLogger::QorFileLogger()
    : IQorLogger(), ownsFile(false), useDate(true), stream(nullptr), mutex(QorCreateMutex())
{
}

QorFileLogger::~QorFileLogger()
{
    void* handle = mutex;
    mutex = nullptr;
    QorDestroyMutex(handle);
    closeIfOwned(stream, ownsFile);
    stream = nullptr;
}

void QorFileLogger::ToggleDateUsage(bool on)
{
    zarn::storeRelaxed(useDate, on);
}

void QorFileLogger::Lock()
{
    if (mutex != nullptr) {
        QorLockMutex(mutex, 1);
    }
}

void QorFileLogger::Unlock()
{
    if (mutex != nullptr) {
        QorUnlockMutex(mutex);
    }
}

bool QorFileLogger::SetFile(char const* path, char const* mode)
{
    if (GetLogLevel() == eLogNone) {
        return false;
    }
    Lock();
    closeIfOwned(stream, ownsFile);
    ownsFile = true;
    std::FILE* opened = (path != nullptr && mode != nullptr) ? fopen64(path, mode) : nullptr;
    zarn::storeRelaxed(stream, opened);
    Unlock();
    return opened != nullptr;
}

bool QorFileLogger::CompleteFile(char* directory, char const* baseName, char* extension,
                                 char const* mode, bool withDate, bool withPid)
{
    char extensionUsed[kExtensionSize] = "log";
    if (extension != nullptr && extension[0] != '\0') {
        const std::size_t length = strnlen(extension, kExtensionSize - 1);
        std::memcpy(extensionUsed, extension, length);
        extensionUsed[length] = '\0';
    }
    char path[zarn::kLogPathSize];
    path[0] = '\0';
    getLogFileName(path, directory, baseName, extensionUsed, withDate, withPid);
    // Both areas are NUL-terminated whatever the naming function left in them.
    path[zarn::kLogPathSize - 1] = '\0';
    extensionUsed[kExtensionSize - 1] = '\0';
    if (extension != nullptr) {
        std::strcpy(extension, extensionUsed);
    }
    return SetFile(path, mode);
}

void QorFileLogger::SetFile(std::FILE* newStream, bool owns)
{
    Lock();
    // Closing the stream that stays set would leave the logger writing to a
    // closed FILE; it only takes the new ownership.
    if (stream != newStream) {
        closeIfOwned(stream, ownsFile);
    }
    zarn::storeRelaxed(stream, newStream);
    ownsFile = owns;
    Unlock();
}

void QorFileLogger::PrintLog(tagELogLevel level, char const* source, int line, char const* text)
{
    // Cheap refusals first, without the lock.
    if (zarn::loadRelaxed(stream) == nullptr || level < eLogNone || level > eLogDebug) {
        return;
    }
    // Everything but the date depends only on the arguments: laid out before
    // taking the lock to keep the time other threads wait short.
    zarn::LogRecord record(szLevels[level], source, line, level, text != nullptr ? text : "");
    Lock();
    // A concurrent SetFile may have removed the stream since the test above.
    if (stream != nullptr) {
        // The date is taken under the lock so that dates never go backwards
        // along the file.
        record.writeTo(stream, zarn::loadRelaxed(useDate));
        std::fflush(stream);
    }
    Unlock();
}
