// The checked build's record of core blocks: a block given to QorMemFree
// twice, an address the core library never handed out, a released block
// given to QorMemRealloc, and a write into a block after its release. Each
// misuse runs in a death test; the correct neighbours run to a normal exit,
// where the quarantine checks every block it still holds.
#include "core/QorCore.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace {

TEST(CoreBlockMisuseDeathTest, FreeingABlockTwiceIsReported)
{
    EXPECT_DEATH(
        {
            void* block = QorMemAlloc(16);
            QorMemFree(block);
            QorMemFree(block);
        },
        "^zarncrt checked: block freed twice: QorMemFree\\(0x");
}

TEST(CoreBlockMisuseDeathTest, FreeingABlockOfAnotherAllocatorIsReported)
{
    EXPECT_DEATH(
        {
            void* block = std::malloc(16);
            QorMemFree(block);
        },
        "^zarncrt checked: block not from QorMemAlloc/QorMemRealloc/QorStrDup: QorMemFree");
}

TEST(CoreBlockMisuseDeathTest, FreeingAnAddressInsideABlockIsReported)
{
    EXPECT_DEATH(
        {
            char* copy = QorStrDup("some text");
            QorMemFree(copy + 1);
        },
        "^zarncrt checked: block not from QorMemAlloc/QorMemRealloc/QorStrDup: QorMemFree");
}

TEST(CoreBlockMisuseDeathTest, ReallocatingAnUnknownAddressIsReported)
{
    EXPECT_DEATH(
        {
            char local[8] = {};
            QorMemRealloc(local, 32);
        },
        "^zarncrt checked: block not from QorMemAlloc/QorMemRealloc/QorStrDup: QorMemRealloc");
}

TEST(CoreBlockMisuseDeathTest, ReallocatingAFreedBlockIsReported)
{
    EXPECT_DEATH(
        {
            void* block = QorMemAlloc(16);
            QorMemFree(block);
            QorMemRealloc(block, 32);
        },
        "^zarncrt checked: freed block given to QorMemRealloc: QorMemRealloc\\(0x");
}

TEST(CoreBlockMisuseDeathTest, AWriteAfterTheFreeIsReportedAtExit)
{
    EXPECT_EXIT(
        {
            auto* block = static_cast<char*>(QorMemAlloc(16));
            QorMemFree(block);
            block[3] = 'x';
            std::exit(0);
        },
        testing::KilledBySignal(SIGABRT),
        "zarncrt checked: write through a stale pointer: core block .* released by QorMemFree "
        ".* changed at offset 3");
}

TEST(CoreBlockMisuseDeathTest, AWriteThroughThePointerBeforeAReallocIsReportedAtExit)
{
    EXPECT_EXIT(
        {
            auto* block = static_cast<char*>(QorMemAlloc(16));
            char* stale = block;
            block = static_cast<char*>(QorMemRealloc(block, 64));
            stale[0] = 'x';
            QorMemFree(block);
            std::exit(0);
        },
        testing::KilledBySignal(SIGABRT),
        "zarncrt checked: write through a stale pointer: core block .* released by QorMemRealloc");
}

// A freed block is poisoned, so that a read through a stale pointer sees it.
TEST(CoreBlockMisuse, AReadAfterTheFreeFindsThePoison)
{
    auto* block = static_cast<unsigned char*>(QorMemAlloc(8));
    block[0] = 'a';
    QorMemFree(block);
    EXPECT_EQ(block[0], 0xDB) << "first byte of a freed block";
}

// The right ways to use blocks: nothing is reported, at the calls or at
// exit, when the quarantine checks the released blocks.
TEST(CoreBlockMisuse, CorrectUseIsNotReported)
{
    EXPECT_EXIT(
        {
            QorMemFree(nullptr);
            auto* block = static_cast<char*>(QorMemAlloc(0));
            block = static_cast<char*>(QorMemRealloc(block, 100));
            std::memset(block, 'a', 100);
            block = static_cast<char*>(QorMemRealloc(block, 0));
            QorMemFree(block);
            void* fresh = QorMemRealloc(nullptr, 16);
            QorMemFree(fresh);
            char* copy = QorStrDup("text");
            char* empty = QorStrDup(nullptr);
            QorMemFree(empty);
            QorMemFree(copy);
            // Many blocks through the quarantine, so that the oldest leave it.
            for (int i = 0; i < 70000; ++i) {
                QorMemFree(QorMemAlloc(8));
            }
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
