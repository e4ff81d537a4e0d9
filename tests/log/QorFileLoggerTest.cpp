// IQorLogger and QorFileLogger: thresholds, record text, stream ownership,
// file naming and records written by many threads at once.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#include "log/QorFileLogger.h"

namespace {

using Level = IQorLogger::tagELogLevel;

struct Exposed : QorFileLogger {
    using QorFileLogger::ownsFile;
    using QorFileLogger::stream;
};

bool isOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

// A fresh directory, ending in '/'; the test removes it.
std::string makeTempDir()
{
    std::string dir = testing::TempDir() + "logtestXXXXXX";
    return std::string(mkdtemp(&dir[0])) + "/";
}

// A logger at eLogDebug, dates off, writing into memory.
class LoggerRecord : public ::testing::Test {
protected:
    LoggerRecord()
    {
        log.SetFile(out, false), log.SetLogLevel(IQorLogger::eLogDebug), log.ToggleDateUsage(false);
    }
    ~LoggerRecord() override
    {
        std::fclose(out), std::free(data);
    }
    std::string written()
    {
        return std::string(data, size);
    }
    char* data = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&data, &size);
    QorFileLogger log;
};

}  // namespace

TEST_F(LoggerRecord, ThresholdPassesLevelsUpToItAndFormatsNothingElse)
{
    EXPECT_EQ(QorFileLogger().GetLogLevel(), IQorLogger::eLogNone);
    char const* const records[] = {"[  FATAL] f: #1 *\n", "[  ERROR] e: #2 *\n",
                                   "[WARNING] w: #3 *\n", "[   INFO] i: *\n", "[  DEBUG] d: *\n"};
    for (int threshold = -1; threshold <= 6; ++threshold) {
        log.SetLogLevel(Level(threshold)), std::rewind(out);
        EXPECT_EQ(log.GetLogLevel(), threshold);
        // %n stores how far formatting got: a suppressed report leaves -1.
        int reached[5] = {-1, -1, -1, -1, -1};
        log.FatalError("f", 1, "*%n", &reached[0]), log.Error("e", 2, "*%n", &reached[1]);
        log.Warning("w", 3, "*%n", &reached[2]), log.Information("i", "*%n", &reached[3]);
        log.Debug("d", "*%n", &reached[4]);
        std::string expected;
        for (int level = 1; level <= 5; ++level) {
            expected += level <= threshold ? records[level - 1] : "";
            EXPECT_EQ(reached[level - 1], level <= threshold ? 1 : -1) << threshold;
        }
        EXPECT_EQ(written(), expected) << threshold;
    }
}

TEST_F(LoggerRecord, FieldsLevelsAndTerminator)
{
    log.Error("parser", 120, "unexpected %s", "token");
    log.FatalError("core", 0, "no line"), log.Warning(nullptr, 5, "w"), log.Error("", -3, "e");
    log.Information("net", "connected"), log.Debug("d", "%d", 42);
    log.PrintLog(IQorLogger::eLogInformation, "s", 9, "never a line at 4");
    log.PrintLog(IQorLogger::eLogNone, "s", 9, "zero");
    log.PrintLog(Level(6), "s", 9, "out of range"), log.PrintLog(Level(-1), "s", 9, "out");
    log.Debug(nullptr, "a\nb"), log.Debug(nullptr, "\nlead"), log.Debug(nullptr, "end\n");
    char const* noFormat = nullptr;  // NULL format or text: an empty message
    log.Error("e", 1, noFormat, 0), log.PrintLog(IQorLogger::eLogError, "p", 0, nullptr);
    EXPECT_EQ(written(),
              "[  ERROR] parser: #120 unexpected token\n[  FATAL] core: no line\n[WARNING] #5 w\n"
              "[  ERROR] #-3 e\n[   INFO] net: connected\n[  DEBUG] d: 42\n"
              "[   INFO] s: never a line at 4\n[       ] s: #9 zero\n"
              "[  DEBUG] a\nb[  DEBUG] \nlead[  DEBUG] end\n[  ERROR] e: #1 \n[  ERROR] p: \n");
    log.ToggleDateUsage(true), log.ToggleDateUsage(true);  // the date is ctime's text
    std::time_t before, after;
    char date[32];
    do {  // again when the clock ticks during the report
        std::rewind(out);
        before = std::time(nullptr), log.Error("parser", 120, "x"), after = std::time(nullptr);
    } while (before != after);
    EXPECT_EQ(written().substr(0, 21), "[" + std::string(ctime_r(&before, date), 19) + " ");
}

TEST_F(LoggerRecord, MessageCutAt8191AndSourceFieldAt511)
{
    const std::string message(10000, 'm'), source(600, 's');
    log.Debug(nullptr, "%s", message.c_str());
    EXPECT_EQ(written(), "[  DEBUG] " + message.substr(0, 8191) + "\n");
    std::rewind(out), log.PrintLog(IQorLogger::eLogDebug, nullptr, 0, message.c_str());
    EXPECT_EQ(written(), "[  DEBUG] " + message + "\n");  // no cut outside reports
    for (size_t length : {509, 510, 600}) {               // ": " fits, half fits, is cut away
        std::rewind(out), log.Debug(source.substr(0, length).c_str(), "x");

        EXPECT_EQ(written(),
                  "[  DEBUG] " + (source.substr(0, length) + ": ").substr(0, 511) + "x\n");
    }
}

TEST(LoggerStreams, OnlyOwnedFileStreamsAreClosed)
{
    FILE *first = std::tmpfile(), *second = std::tmpfile(), *kept = std::tmpfile(),
         *last = std::tmpfile();
    const int firstFd = fileno(first), secondFd = fileno(second), lastFd = fileno(last);
    {
        Exposed log;
        log.SetFile(first, true), log.SetFile(first, true);  // the stream already set stays open
        EXPECT_TRUE(isOpen(firstFd));
        log.SetFile(second, true);
        EXPECT_TRUE(!isOpen(firstFd) && isOpen(secondFd));
        log.SetFile(kept, true), log.SetFile(kept, false);  // takes the new ownership only
        EXPECT_TRUE(!isOpen(secondFd) && !log.ownsFile);
        log.SetFile(stdout, true), log.SetFile(stderr, true), log.SetFile(last, true);
    }
    EXPECT_TRUE(isOpen(STDOUT_FILENO) && isOpen(STDERR_FILENO) && !isOpen(lastFd));
    EXPECT_EQ(std::fclose(kept), 0);
}

TEST(LoggerFiles, OpenByPathAndCompleteFile)
{
    std::string dir = makeTempDir();
    Exposed silent, log;
    char ext[20] = "";
    EXPECT_FALSE(silent.SetFile((dir + "silent.log").c_str(), "w") ||
                 silent.CompleteFile(&dir[0], "silent", ext, "w", false, false));
    EXPECT_STREQ(ext, "log");
    log.SetLogLevel(IQorLogger::eLogInformation);
    EXPECT_TRUE(log.CompleteFile(&dir[0], "null", nullptr, "w", false, false) &&
                log.CompleteFile(&dir[0], "pid", nullptr, "w", false, true));
    std::strcpy(ext, "abcdefghijklmnopqrs");  // 19 characters
    EXPECT_TRUE(log.CompleteFile(&dir[0], "long", ext, "w", false, false) &&
                std::strcmp(ext, "abcdefghijklmno") == 0);
    log.ToggleDateUsage(false), log.Information("app", "here");
    const int fd = fileno(log.stream);
    EXPECT_FALSE(log.SetFile((dir + "missing/x.log").c_str(), "w"));
    EXPECT_TRUE(!isOpen(fd) && log.ownsFile && log.stream == nullptr);
    log.Information("app", "dropped");  // no stream: records are dropped
    EXPECT_FALSE(log.SetFile(static_cast<char const*>(nullptr), "w") ||
                 log.SetFile((dir + "x.log").c_str(), nullptr));
    std::ifstream in(dir + "long.abcdefghijklmno");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "[   INFO] app: here\n");
    EXPECT_TRUE(std::filesystem::exists(dir + "null.log") &&
                !std::filesystem::exists(dir + "silent.log") &&
                std::filesystem::exists(dir + "pid-" + std::to_string(getpid()) + ".log"));
    std::filesystem::remove_all(dir);
}

TEST(LoggerThreads, RecordsOfEightThreadsNeverInterleave)
{
    constexpr int kThreads = 8, kRecords = 5000;
    const std::string dir = makeTempDir(), tail = " of a line long enough to overlap";
    FILE* file = std::fopen((dir + "shared.log").c_str(), "w");
    QorFileLogger log;
    log.SetLogLevel(IQorLogger::eLogDebug), log.SetFile(file, true);
    std::vector<std::thread> threads;
    threads.emplace_back([&log, file] {  // keeps resetting the stream, threshold and dates
        for (int i = 0; i < 2000; ++i) {
            log.SetFile(file, true), log.SetLogLevel(IQorLogger::eLogDebug);
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
    int lines = 0, t = 0, i = 0;
    for (std::string line; std::getline(in, line); ++lines) {
        const size_t at = line.find("WARNING] worker: #") + 18;  // after a date or not
        ASSERT_TRUE((at == 19 || at == 39) && std::sscanf(&line[at], "%d record %d", &t, &i) == 2);
        ASSERT_TRUE(t >= 1 && t <= kThreads) << line;
        ASSERT_EQ(line.substr(at), std::to_string(t) + " record " + std::to_string(i) + tail);
        ASSERT_EQ(i, next[t]++);
    }
    EXPECT_EQ(lines, kThreads * kRecords);
    std::filesystem::remove_all(dir);
}
