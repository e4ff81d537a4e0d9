// The report line, the backtrace, abort or go on, and the summary at exit.
#include "core/MisuseReport.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

namespace zarn {
namespace misuse {
namespace {

std::atomic<long> misuseCount{0};

// Reports of concurrent threads must not interleave their lines.
std::mutex& reportLock()
{
    static std::mutex lock;
    return lock;
}

// ZARNCRT_CHECKED=report: go on after a report. Anything else aborts.
bool keepGoing()
{
    static const bool reportOnly = [] {
        const char* mode = std::getenv("ZARNCRT_CHECKED");
        return mode != nullptr && std::strcmp(mode, "report") == 0;
    }();
    return reportOnly;
}

// The file name of the shared object this code is in, for the summary (both
// libraries carry a copy of this file, each with its own count).
const char* libraryName()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&libraryName), &info) == 0 || info.dli_fname == nullptr) {
        return "zarncrt";
    }
    const char* slash = std::strrchr(info.dli_fname, '/');
    return slash != nullptr ? slash + 1 : info.dli_fname;
}

// Everything the end of the process does: the quarantine's hooks first (they
// may report writes through stale pointers), then the count. A static object
// whose destructor runs once, at exit, after the objects constructed later
// (the quarantine's state is constructed after this one, see atExit).
class ExitSummary {
public:
    void add(void (*drain)())
    {
        std::lock_guard<std::mutex> guard(lock);
        if (hookCount < kMaxHooks) {
            hooks[hookCount++] = drain;
        }
    }

    ~ExitSummary()
    {
        for (int i = hookCount - 1; i >= 0; --i) {
            hooks[i]();
        }
        const long count = misuseCount.load();
        if (count > 0) {
            std::fprintf(stderr, "zarncrt checked: %ld misuse%s reported by %s\n", count,
                         count == 1 ? "" : "s", libraryName());
        }
    }

private:
    static constexpr int kMaxHooks = 8;
    std::mutex lock;
    void (*hooks[kMaxHooks])() = {};
    int hookCount = 0;
};

ExitSummary& exitSummary()
{
    static ExitSummary summary;
    return summary;
}

// Makes sure the summary exists before anything that may report at exit.
const bool summaryReady = (exitSummary(), true);

}  // namespace

void report(const char* what, const char* detailFormat, ...)
{
    // Formatted into a stack buffer and written with one write(2): no heap,
    // no stdio lock held across the backtrace.
    char line[1024];
    int used = std::snprintf(line, sizeof line, "zarncrt checked: %s: ", what);
    if (used < 0) {
        used = 0;
    }
    if (static_cast<std::size_t>(used) < sizeof line) {
        va_list args;
        va_start(args, detailFormat);
        const int more = std::vsnprintf(line + used, sizeof line - static_cast<std::size_t>(used),
                                        detailFormat, args);
        va_end(args);
        used += more > 0 ? more : 0;
    }
    if (static_cast<std::size_t>(used) >= sizeof line - 1) {
        used = static_cast<int>(sizeof line) - 2;
    }
    line[used++] = '\n';

    misuseCount.fetch_add(1);
    {
        std::lock_guard<std::mutex> guard(reportLock());
        ssize_t ignored = ::write(STDERR_FILENO, line, static_cast<std::size_t>(used));
        (void)ignored;
        void* frames[64];
        const int depth = ::backtrace(frames, 64);
        // Frame 0 is this function: the backtrace starts at its caller.
        if (depth > 1) {
            ::backtrace_symbols_fd(frames + 1, depth - 1, STDERR_FILENO);
        }
    }
    if (!keepGoing()) {
        std::abort();
    }
}

long reportedCount()
{
    return misuseCount.load();
}

void atExit(void (*drain)())
{
    exitSummary().add(drain);
}

}  // namespace misuse
}  // namespace zarn
