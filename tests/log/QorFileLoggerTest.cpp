// IQorLogger and QorFileLogger by hand: records, thresholds, stream
// ownership, files, and the lock shared by threads. Random records of every
// level, source and message are checked against the record model by the
// record fuzzer, which ctest runs too (fuzz.FuzzLogRecord).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "log/QorFileLogger.h"
#include "models/TextModel.h"

namespace {

using Level = IQorLogger::tagELogLevel;

bool isOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

std::string contents(std::string const& path)
{
    std::ifstream in(path);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A fresh directory, ending in '/', removed at the end of the test.
class LoggerFiles : public ::testing::Test {
protected:
    ~LoggerFiles() override
    {
        std::filesystem::remove_all(dir);
    }
    std::string tmp = testing::TempDir() + "logtestXXXXXX";
    std::string dir = std::string(mkdtemp(&tmp[0])) + "/";
    QorFileLogger log;
};

// A logger at eLogDebug, dates off, writing into memory.
class LoggerRecord : public ::testing::Test {
protected:
    LoggerRecord()
    {
        log.SetFile(out, false);
        log.SetLogLevel(IQorLogger::eLogDebug);
        log.ToggleDateUsage(false);
    }
    ~LoggerRecord() override
    {
        std::fclose(out);
        std::free(data);
    }
    // What was written since the last call.
    std::string written()
    {
        return std::string(data + std::exchange(seen, size), data + size);
    }
    char* data = nullptr;
    size_t size = 0, seen = 0;
    FILE* out = open_memstream(&data, &size);
    QorFileLogger log;
};

}  // namespace

// Each front end hands PrintLog its level, its source and line (0 for the
// two that take none) and the formatted text; a logger of another kind sees
// exactly these arguments.
TEST(LoggerFrontEnds, HandPrintLogLevelSourceLineAndText)
{
    struct Call {
        Level level;
        std::string source;
        int line;
        std::string text;
    };
    struct Recording : IQorLogger {
        void PrintLog(Level level, char const* source, int line, char const* text) override
        {
            calls.push_back({level, source, line, text});
        }
        std::vector<Call> calls;
    } log;
    log.SetLogLevel(IQorLogger::eLogDebug);
    log.FatalError("f.c", 1, "%d", 10);
    log.Error("e.c", 2, "%d", 20);
    log.Warning("w.c", 3, "%d", 30);
    log.Information("info", "%d", 40);
    log.Debug("debug", "%d", 50);
    const Call expected[] = {{IQorLogger::eLogFatal, "f.c", 1, "10"},
                             {IQorLogger::eLogError, "e.c", 2, "20"},
                             {IQorLogger::eLogWarning, "w.c", 3, "30"},
                             {IQorLogger::eLogInformation, "info", 0, "40"},
                             {IQorLogger::eLogDebug, "debug", 0, "50"}};
    ASSERT_EQ(log.calls.size(), std::size(expected));
    for (std::size_t i = 0; i < log.calls.size(); ++i) {
        EXPECT_EQ(log.calls[i].level, expected[i].level) << "call " << i;
        EXPECT_EQ(log.calls[i].source, expected[i].source) << "call " << i;
        EXPECT_EQ(log.calls[i].line, expected[i].line) << "call " << i;
        EXPECT_EQ(log.calls[i].text, expected[i].text) << "call " << i;
    }
}

TEST(LoggerThreshold, NewLoggerReportsNothing)
{
    EXPECT_EQ(QorFileLogger().GetLogLevel(), IQorLogger::eLogNone);
}

TEST_F(LoggerRecord, ThresholdPassesLevelsUpToItAndFormatsNothingElse)
{
    for (int threshold = -1; threshold <= 6; ++threshold) {
        log.SetLogLevel(Level(threshold));
        EXPECT_EQ(log.GetLogLevel(), threshold);
        int reached[6] = {-1, -1, -1, -1, -1, -1};  // %n: how far formatting got
        log.FatalError("f", 1, "*%n", &reached[1]);
        log.Error("e", 2, "*%n", &reached[2]);
        log.Warning("w", 3, "*%n", &reached[3]);
        log.Information("i", "*%n", &reached[4]);
        log.Debug("d", "*%n", &reached[5]);
        std::string expected;
        for (int level = 1; level <= 5; ++level) {
            const char source[] = {"-fewid"[level], '\0'};
            expected += level <= threshold ? textmodel::logRecord(level, source, level, "*") : "";
            EXPECT_EQ(reached[level], level <= threshold ? 1 : -1) << "level " << threshold;
        }
        EXPECT_EQ(written(), expected) << "threshold " << threshold;
    }
}

// The record model's layout, pinned by hand.
TEST_F(LoggerRecord, RecordsReadLabelSourceLineAndMessage)
{
    log.Error("parser", 120, "unexpected %s", "token");
    log.Warning(nullptr, -3, "w");
    log.Information("net", "connected");
    EXPECT_EQ(
        written(),
        "[  ERROR] parser: #120 unexpected token\n[WARNING] #-3 w\n[   INFO] net: connected\n");
}

// Leaves non-zero bytes where the frames of the next calls will be, so that
// a message area left unwritten shows as garbage rather than as "".
__attribute__((noinline)) void paintStack()
{
    volatile char area[32768];
    for (char volatile& c : area) {
        c = 'x';
    }
}

TEST_F(LoggerRecord, NullFormatOrTextGivesAnEmptyMessage)
{
    char const* noFormat = nullptr;
    paintStack();
    log.Error("e", 1, noFormat, 0);
    log.PrintLog(IQorLogger::eLogError, "p", 0, nullptr);
    EXPECT_EQ(written(), "[  ERROR] e: #1 \n[  ERROR] p: \n");
}

TEST_F(LoggerRecord, DateIsTheTextOfCtime)
{
    log.ToggleDateUsage(true);
    std::time_t before, after;
    char date[32];
    do {  // again when the clock ticks during the report
        written();
        before = std::time(nullptr);
        log.Error("parser", 120, "x");
        after = std::time(nullptr);
    } while (before != after);
    EXPECT_EQ(written().substr(0, 21), "[" + std::string(ctime_r(&before, date), 19) + " ");
}

TEST_F(LoggerRecord, ReportsCutTheMessageAt8191Bytes)
{
    const std::string message(10000, 'm');
    log.Debug(nullptr, "%s", message.c_str());
    EXPECT_EQ(written(), "[  DEBUG] " + message.substr(0, 8191) + "\n");
}

TEST(LoggerStreams, OnlyOwnedFileStreamsAreClosed)
{
    FILE *first = std::tmpfile(), *kept = std::tmpfile(), *last = std::tmpfile();
    const int firstFd = fileno(first), lastFd = fileno(last);
    {
        QorFileLogger log;
        log.SetFile(first, true);
        log.SetFile(first, true);
        EXPECT_TRUE(isOpen(firstFd)) << "the stream already set stays open";
        log.SetFile(kept, true);
        EXPECT_FALSE(isOpen(firstFd)) << "an owned stream is closed when replaced";
        log.SetFile(kept, false);  // takes the new ownership only
        log.SetFile(stdout, true);
        log.SetFile(stderr, true);
        log.SetFile(last, true);
    }
    EXPECT_TRUE(isOpen(STDOUT_FILENO)) << "stdout is never closed";
    EXPECT_TRUE(isOpen(STDERR_FILENO)) << "stderr is never closed";
    EXPECT_FALSE(isOpen(lastFd)) << "the owned stream is closed with the logger";
    EXPECT_EQ(std::fclose(kept), 0) << "a stream no longer owned is left open";
}

TEST_F(LoggerFiles, SetFileByPathNeedsAThreshold)
{
    EXPECT_FALSE(log.SetFile((dir + "a.log").c_str(), "w"));
    EXPECT_FALSE(log.CompleteFile(&dir[0], "b", nullptr, "w", false, false));
    EXPECT_TRUE(std::filesystem::is_empty(dir)) << "no file made";
}

TEST_F(LoggerFiles, CompleteFileNamesTheFileAndReturnsTheExtension)
{
    log.SetLogLevel(IQorLogger::eLogInformation);
    char ext[20] = "";
    EXPECT_TRUE(log.CompleteFile(&dir[0], "empty", ext, "w", false, false));
    EXPECT_STREQ(ext, "log") << "an empty extension";
    EXPECT_TRUE(log.CompleteFile(&dir[0], "pid", nullptr, "w", false, true));
    EXPECT_TRUE(std::filesystem::exists(dir + "pid-" + std::to_string(getpid()) + ".log"));
    std::strcpy(ext, "x");
    EXPECT_TRUE(log.CompleteFile(&dir[0], "one", ext, "w", false, false));
    EXPECT_TRUE(std::filesystem::exists(dir + "one.x")) << "a one-letter extension";
    std::strcpy(ext, "abcdefghijklmnopqrs");  // 19 characters
    EXPECT_TRUE(log.CompleteFile(&dir[0], "long", ext, "w", false, false));
    EXPECT_STREQ(ext, "abcdefghijklmno") << "cut to 15 characters";
    log.ToggleDateUsage(false);
    log.Information("app", "here");
    EXPECT_EQ(contents(dir + "long.abcdefghijklmno"), "[   INFO] app: here\n");
}

// A file the logger opens is its own to close, even after a borrowed stream:
// when the next one opens, and with the logger.
TEST_F(LoggerFiles, FileOpenedByPathIsClosedWithTheLogger)
{
    auto openDescriptors = [] {
        const std::filesystem::directory_iterator fds("/proc/self/fd");
        return std::distance(begin(fds), end(fds));
    };
    const auto before = openDescriptors();
    {
        QorFileLogger borrowing;
        borrowing.SetLogLevel(IQorLogger::eLogError);
        borrowing.SetFile(stderr, false);
        ASSERT_TRUE(borrowing.SetFile((dir + "a.log").c_str(), "w"));
        ASSERT_TRUE(borrowing.SetFile((dir + "b.log").c_str(), "w"));
        EXPECT_EQ(openDescriptors(), before + 1) << "a.log is closed when b.log opens";
    }
    EXPECT_EQ(openDescriptors(), before) << "b.log is closed with the logger";
}

TEST_F(LoggerFiles, FailedOpenClosesTheFormerFileAndDropsRecords)
{
    log.SetLogLevel(IQorLogger::eLogInformation);
    log.ToggleDateUsage(false);
    ASSERT_TRUE(log.SetFile((dir + "x.log").c_str(), "w"));
    log.Information("app", "kept");
    EXPECT_FALSE(log.SetFile((dir + "missing/x.log").c_str(), "w"));
    log.Information("app", "dropped");
    EXPECT_EQ(contents(dir + "x.log"), "[   INFO] app: kept\n");
    EXPECT_FALSE(log.SetFile(static_cast<char const*>(nullptr), "w")) << "NULL path";
    EXPECT_FALSE(log.SetFile((dir + "y.log").c_str(), nullptr)) << "NULL mode";
}

TEST_F(LoggerFiles, RecordsOfEightThreadsNeverInterleave)
{
    constexpr int kThreads = 8, kRecords = 5000;
    const std::string tail = " of a line long enough to overlap";
    FILE* file = std::fopen((dir + "shared.log").c_str(), "w");
    log.SetLogLevel(IQorLogger::eLogDebug);
    log.SetFile(file, true);
    std::vector<std::thread> threads;
    threads.emplace_back([this, file] {  // keeps resetting the stream, threshold and dates
        for (int i = 0; i < 2000; ++i) {
            log.SetFile(file, true);
            log.SetLogLevel(IQorLogger::eLogDebug);
            log.ToggleDateUsage(i % 2 == 0);
        }
    });
    for (int t = 1; t <= kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < kRecords; ++i) {
                log.Warning("worker", t, "record %d%s", i, tail.c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::ifstream in(dir + "shared.log");
    std::vector<int> next(kThreads + 1, 0);
    int lines = 0;
    for (std::string line; std::getline(in, line); ++lines) {
        const size_t at = line.find("WARNING] worker: #");
        ASSERT_TRUE(at == 1 || at == 21) << "after a date or none: " << line;
        const std::string record = line.substr(at + 18);
        const int t = std::clamp(std::atoi(record.c_str()), 0, kThreads);  // 0: no thread's
        ASSERT_EQ(record, std::to_string(t) + " record " + std::to_string(next[t]++) + tail);
    }
    EXPECT_EQ(lines, kThreads * kRecords);
}

// Every operation that touches the stream waits for the holder of the lock:
// run in a second thread, it must see the flag the holder sets just before
// unlocking.
TEST(LoggerLock, OperationsOnTheStreamWaitForTheHoldersUnlock)
{
    const std::string path = (std::filesystem::temp_directory_path() /
                              ("zarn-lock-" + std::to_string(getpid()) + ".log"))
                                 .string();
    const std::pair<char const*, void (*)(QorFileLogger&, char const*)> operations[] = {
        {"Lock",
         [](QorFileLogger& log, char const*) {
             log.Lock();
             log.Unlock();
         }},
        {"SetFile(path)", [](QorFileLogger& log, char const* file) { log.SetFile(file, "w"); }},
        {"SetFile(FILE*)", [](QorFileLogger& log, char const*) { log.SetFile(stderr, false); }},
        {"PrintLog",
         [](QorFileLogger& log, char const*) { log.PrintLog(IQorLogger::eLogError, "s", 1, ""); }},
    };
    for (auto const& [name, operation] : operations) {
        QorFileLogger log;
        log.SetLogLevel(IQorLogger::eLogDebug);
        log.SetFile(path.c_str(), "w");
        std::atomic<bool> started{false}, unlocking{false}, sawUnlocking{false};
        log.Lock();
        std::thread second([&, operation = operation] {
            started = true;
            operation(log, path.c_str());
            sawUnlocking = unlocking.load();
        });
        while (!started) {
            std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // lets it reach the lock
        unlocking = true;
        log.Unlock();
        second.join();
        EXPECT_TRUE(sawUnlocking) << name;
    }
    std::filesystem::remove(path);
}
