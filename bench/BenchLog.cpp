// QorFileLogger against fprintf + fflush under a std::mutex, one record per
// call, flushed per record, into a scratch file.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>

#include "BenchUtil.h"
#include "log/QorFileLogger.h"

namespace {

constexpr int kRecordsPerThread = 20000;

// A scratch directory of the run's own (mkdtemp under $TMPDIR or /tmp),
// removed with its files when the program ends.
class ScratchDir {
public:
    ScratchDir()
    {
        const char* base = std::getenv("TMPDIR");
        std::string pattern =
            std::string(base != nullptr && *base ? base : "/tmp") + "/zarncrt-bench-XXXXXX";
        if (mkdtemp(&pattern[0]) == nullptr) {
            std::perror("bench_log: mkdtemp");
            std::exit(1);
        }
        path_ = pattern;
    }
    ~ScratchDir()
    {
        std::filesystem::remove_all(path_);
    }
    const std::string& path() const
    {
        return path_;
    }

private:
    std::string path_;
};

std::string scratchPath(const char* tag)
{
    static const ScratchDir dir;
    return dir.path() + "/" + tag + ".log";
}

template <typename Write>
void runThreads(int threads, Write write)
{
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            for (int i = 0; i < kRecordsPerThread; ++i)
                write(t, i);
        });
    }
    for (std::thread& w : workers)
        w.join();
}

void logLib(benchmark::State& state, int threads)
{
    const std::string path = scratchPath("lib");
    for (auto _ : state) {
        QorFileLogger logger;
        logger.SetLogLevel(IQorLogger::eLogInformation);
        logger.SetFile(path.c_str(), "w");
        runThreads(threads,
                   [&](int t, int i) { logger.Information("bench", "thread %d record %d", t, i); });
    }
    std::remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * threads * kRecordsPerThread);
}

void logStd(benchmark::State& state, int threads)
{
    const std::string path = scratchPath("std");
    for (auto _ : state) {
        FILE* file = std::fopen(path.c_str(), "w");
        std::mutex mutex;
        runThreads(threads, [&](int t, int i) {
            char message[8192];
            std::snprintf(message, sizeof message, "thread %d record %d", t, i);
            // The same record the logger writes, date included.
            char date[32];
            const std::time_t now = std::time(nullptr);
            std::tm local{};
            localtime_r(&now, &local);
            std::strftime(date, sizeof date, "%a %b %e %H:%M:%S ", &local);
            std::lock_guard<std::mutex> lock(mutex);
            std::fprintf(file, "[%s%s] %s%s%s%s", date, "   INFO", "bench: ", "", message, "\n");
            std::fflush(file);
        });
        std::fclose(file);
    }
    std::remove(path.c_str());
    state.SetItemsProcessed(state.iterations() * threads * kRecordsPerThread);
}

const bool registered = [] {
    for (int threads : {1, 8}) {
        bench::registerPair(
            "log.records.T" + std::to_string(threads),
            [threads](benchmark::State& s) { logLib(s, threads); },
            [threads](benchmark::State& s) { logStd(s, threads); }, benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
