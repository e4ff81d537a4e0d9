// Log-file naming of the runtime core library.
#include "core/QorCore.h"

#include <unistd.h>
#include <cstdio>
#include <ctime>

#include "core/Limits.h"

namespace {

inline const char* orDefault(const char* text, const char* fallback)
{
    return (text == nullptr || text[0] == '\0') ? fallback : text;
}

}  // namespace

extern "C" {

int getLogFileName(char* path, char* first, const char* second, char* extension, bool withDate,
                   bool withPid)
{
    if (path == nullptr) {
        return -1;
    }
    char date[16] = "";
    if (withDate) {
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        if (localtime_r(&now, &local) != nullptr) {
            std::strftime(date, sizeof date, "-%Y%m%d", &local);
        }
    }
    char pid[24] = "";
    if (withPid) {
        std::snprintf(pid, sizeof pid, "-%ld", static_cast<long>(getpid()));
    }
    const int written =
        std::snprintf(path, zarn::kLogPathSize, "%s/%s%s%s.%s", orDefault(first, "."),
                      orDefault(second, "zarncrt"), date, pid, orDefault(extension, "log"));
    if (written < 0) {
        path[0] = '\0';
        return 0;
    }
    return written < zarn::kLogPathSize ? written : zarn::kLogPathSize - 1;
}

}  // extern "C"
