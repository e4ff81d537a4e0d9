// The checked build's quarantine of CStringBuffer blocks: storage that a
// growth replaced or a destruction released, and released write buffers,
// are poisoned and kept, so that a write through a pointer taken before is
// reported when the block leaves the quarantine or at exit. The correct
// neighbours (pointers taken again, in-place edits, appends that fit) run
// to a normal exit, where the quarantine checks every block it still holds.
#include "text/CStringBuffer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kStep = 16;
// More released blocks than the quarantine keeps: releasing them sends
// every older block out, checked.
constexpr int kQuarantineBlocks = 70000;

// Sends every block released so far out of the quarantine, checked.
void flushQuarantine()
{
    for (int i = 0; i < kQuarantineBlocks; ++i) {
        CStringBuffer filling("filling");
    }
}

const char* const kStaleWrite = "^zarncrt checked: write through a stale pointer: ";

// Every operation that may move the storage, applied to a buffer of kStep
// bytes holding "abc", each one needing more room.
std::vector<std::pair<std::string, std::function<void(CStringBuffer&)>>> growths()
{
    const std::string longer(40, 'x');
    return {
        {"append", [longer](CStringBuffer& b) { b.append(longer.c_str(), -1); }},
        {"set", [longer](CStringBuffer& b) { b.set(longer.c_str(), -1); }},
        {"insert", [longer](CStringBuffer& b) { b.insert(longer.c_str(), 1); }},
        {"replace", [longer](CStringBuffer& b) { b.replace("b", longer.c_str()); }},
        {"assureBufSize", [](CStringBuffer& b) { b.assureBufSize(100); }},
        {"format", [longer](CStringBuffer& b) { b.format("%s", longer.c_str()); }},
    };
}

TEST(StringBufferMisuseDeathTest, AWriteAfterAGrowthIsReportedAtExit)
{
    for (auto& [name, grow] : growths()) {
        EXPECT_EXIT(
            {
                CStringBuffer b(kStep);
                b.set("abc", -1);
                char* stale = b.getBufferPointer();
                grow(b);
                stale[1] = 'z';
                std::exit(0);
            },
            testing::KilledBySignal(SIGABRT),
            std::string(kStaleWrite) + "CStringBuffer storage .* changed at offset 1")
            << name;
    }
}

TEST(StringBufferMisuseDeathTest, AWriteAfterTheDestructionIsReportedWhenTheBlockLeaves)
{
    EXPECT_DEATH(
        {
            auto b = std::make_unique<CStringBuffer>("some text");
            char* stale = *b;
            b.reset();
            stale[0] = 'S';
            flushQuarantine();
        },
        std::string(kStaleWrite) +
            "CStringBuffer storage .* released by ~CStringBuffer .* at "
            "offset 0");
}

TEST(StringBufferMisuseDeathTest, AWriteIntoAReleasedWriteBufferIsReportedAtExit)
{
    EXPECT_EXIT(
        {
            CStringBuffer b(kStep);
            char* fill = b.getBufferSetLength(8);
            b.releaseBuffer(false, 0);
            fill[2] = 'w';
            std::exit(0);
        },
        testing::KilledBySignal(SIGABRT),
        std::string(kStaleWrite) +
            "CStringBuffer write buffer .* released by "
            "CStringBuffer::releaseBuffer");
}

// The old storage is poisoned: a read through a stale pointer finds the
// poison rather than the text it used to hold.
TEST(StringBufferMisuse, AReadAfterAGrowthFindsThePoison)
{
    CStringBuffer b(kStep);
    b.set("abc", -1);
    const char* stale = b.getBufferPointer();
    b.append(std::string(40, 'x').c_str(), -1);
    EXPECT_EQ(static_cast<unsigned char>(stale[0]), 0xDB) << "first byte of the old storage";
}

TEST(StringBufferMisuse, CorrectUseIsNotReported)
{
    EXPECT_EXIT(
        {
            CStringBuffer b(kStep);
            b.set("  abc", -1);
            char* text = b.getBufferPointer();
            b.append("d", 1);  // fits: the storage stays
            b.trim();
            b.toUpperCase();
            b.clear();
            text[0] = 'q';  // in-place edits keep the pointer
            b.append(std::string(100, 'x').c_str(), -1);
            text = b;  // taken again after the growth
            text[0] = 'y';
            char* fill = b.getBufferSetLength(8);
            fill[0] = 'f';
            b.releaseBuffer(true, 1);
            char* detached = b.detach();
            detached[0] = 'd';  // the caller's block now
            CStringBuffer::freeString(detached);
            flushQuarantine();
            std::exit(b.length() == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
