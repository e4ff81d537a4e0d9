// The checked build's report and quarantine, tested on their own copy
// (compiled into this program): the line, abort or go on, the summary at
// exit, and the poison that finds a write through a stale pointer.
#include "core/MisuseReport.h"
#include "core/Quarantine.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using zarn::misuse::drainQuarantine;
using zarn::misuse::isQuarantined;
using zarn::misuse::kPoison;
using zarn::misuse::quarantine;
using zarn::misuse::report;

void* newBlock(std::size_t bytes)
{
    return std::malloc(bytes);
}

TEST(MisuseReportDeathTest, ReportWritesTheLineAndAborts)
{
    EXPECT_DEATH(report("key deleted while a tree holds it", "~BPlusKey() on key %p",
                        static_cast<void*>(nullptr)),
                 "^zarncrt checked: key deleted while a tree holds it: ~BPlusKey\\(\\) on key");
}

TEST(MisuseReportDeathTest, ReportModeGoesOnAndCountsAtExit)
{
    EXPECT_EXIT(
        {
            setenv("ZARNCRT_CHECKED", "report", 1);
            report("first", "call %d", 1);
            report("second", "call %d", 2);
            std::exit(zarn::misuse::reportedCount() == 2 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "zarncrt checked: 2 misuses reported by misuse_report_test\n");
}

TEST(MisuseReportDeathTest, OneMisuseIsCountedInTheSingular)
{
    EXPECT_EXIT(
        {
            setenv("ZARNCRT_CHECKED", "report", 1);
            report("only", "call");
            std::exit(0);
        },
        testing::ExitedWithCode(0), "zarncrt checked: 1 misuse reported by misuse_report_test\n");
}

// A detail too long for the line is cut, and the line still ends with its
// line feed, before the backtrace. The child reads back its own stderr and
// says by its exit status what it found.
TEST(MisuseReportDeathTest, ALongReportIsCutToOneLine)
{
    EXPECT_EXIT(
        {
            setenv("ZARNCRT_CHECKED", "report", 1);
            std::FILE* captured = std::tmpfile();
            dup2(fileno(captured), STDERR_FILENO);
            // 1024 bytes with the prefix: one past what the line holds.
            const std::string detail(1024 - std::strlen("zarncrt checked: long: "), 'x');
            report("long", "%s", detail.c_str());
            std::rewind(captured);
            char first[4096] = {};
            if (std::fgets(first, sizeof first, captured) == nullptr) {
                std::_Exit(1);
            }
            const std::string line = first;
            const std::string start = "zarncrt checked: long: xxx";
            if (line.compare(0, start.size(), start) != 0) {
                std::_Exit(2);  // not the report line
            }
            if (line.back() != '\n') {
                std::_Exit(3);  // no line feed
            }
            std::_Exit(line.size() == 1023 ? 0 : 4);  // 1022 bytes of text and the line feed
        },
        testing::ExitedWithCode(0), "");
}

TEST(QuarantineTest, BlocksArePoisonedAndKnownUntilDrained)
{
    auto* block = static_cast<unsigned char*>(newBlock(32));
    quarantine(block, 32, std::free, "test block", "QuarantineTest", nullptr);
    EXPECT_TRUE(isQuarantined(block)) << "a block just quarantined";
    EXPECT_EQ(block[0], kPoison) << "first byte";
    EXPECT_EQ(block[31], kPoison) << "last byte";
    drainQuarantine();
    EXPECT_FALSE(isQuarantined(block)) << "a drained block";
}

TEST(QuarantineDeathTest, AWriteIntoAQuarantinedBlockIsReportedWhenItLeaves)
{
    EXPECT_DEATH(
        {
            auto* block = static_cast<char*>(newBlock(16));
            quarantine(block, 16, std::free, "test block", "QuarantineTest", block);
            block[5] = 'x';
            drainQuarantine();
        },
        "zarncrt checked: write through a stale pointer: test block .* changed at offset 5");
}

TEST(QuarantineDeathTest, AWriteIsReportedAtExitAtTheLatest)
{
    EXPECT_EXIT(
        {
            auto* block = static_cast<char*>(newBlock(16));
            quarantine(block, 16, std::free, "test block", "QuarantineTest", block);
            block[0] = 'x';
            std::exit(0);
        },
        testing::KilledBySignal(SIGABRT), "changed at offset 0");
}

TEST(QuarantineTest, TheOldestBlocksLeaveOnceTheBoundIsReached)
{
    auto* first = newBlock(64);
    quarantine(first, 64, std::free, "test block", "QuarantineTest", nullptr);
    for (std::size_t i = 0; i < zarn::misuse::kMaxBlocks; ++i) {
        quarantine(newBlock(8), 8, std::free, "test block", "QuarantineTest", nullptr);
    }
    EXPECT_FALSE(isQuarantined(first)) << "after kMaxBlocks younger blocks";
    drainQuarantine();
}

// The byte bound counts whole blocks, also those watched over a part only.
TEST(QuarantineTest, TheOldestBlocksLeaveOnceTheBytesReachTheBound)
{
    using zarn::misuse::kMaxBytes;
    using zarn::misuse::quarantineWatched;
    drainQuarantine();
    auto* first = newBlock(64);
    quarantine(first, 64, std::free, "test block", "QuarantineTest", nullptr);
    // A block said to be of the rest of the bound, watched over 8 bytes.
    auto* large = newBlock(8);
    quarantineWatched(large, 8, kMaxBytes - 64, std::free, "test block", "QuarantineTest", nullptr);
    EXPECT_TRUE(isQuarantined(first)) << "the two blocks hold exactly the bound";
    EXPECT_TRUE(isQuarantined(large)) << "the two blocks hold exactly the bound";
    auto* one = newBlock(1);
    quarantine(one, 1, std::free, "test block", "QuarantineTest", nullptr);
    EXPECT_FALSE(isQuarantined(first)) << "one byte past the bound";
    EXPECT_TRUE(isQuarantined(large)) << "the younger block stays";
    drainQuarantine();
}

}  // namespace
