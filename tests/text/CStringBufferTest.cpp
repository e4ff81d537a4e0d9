// CStringBuffer edges by hand: NULL texts, sizes beyond 32 bits, blocks,
// attach and the write buffer. Random operations of every kind are checked
// against the text model by the text fuzzer, which ctest runs too
// (fuzz.FuzzStringBuffer).
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>

#include "text/CStringBuffer.h"

namespace {

std::string text(CStringBuffer& b)
{
    return std::string(b.getBufferPointer(), static_cast<size_t>(b.length()));
}

}  // namespace

TEST(StringBufferDeathTest, SizesBeyond32BitsEndTheProcess)
{
    CStringBuffer b("a");
    EXPECT_DEATH(b.set("x", INT_MAX), "zarncrt: size beyond the 32-bit range in CStringBuffer");
    EXPECT_DEATH(b.append("x", INT_MAX - 1), "32-bit");
    EXPECT_DEATH(b.assureBufSize(INT_MAX), "32-bit");
    EXPECT_DEATH(b.getBufferSetLength(INT_MAX), "32-bit");
}

TEST(StringBufferNullTexts, GiveNoBytesAndChangeNothing)
{
    CStringBuffer b(nullptr);
    EXPECT_EQ(text(b.set(nullptr, 5)), "") << "set(NULL, 5)";
    EXPECT_EQ(text(b.append("ab", 2).append(nullptr, 5)), "ab") << "append(NULL, 5)";
    EXPECT_EQ(text(b.replace(nullptr, "q")), "ab") << "replace(NULL, text)";
    EXPECT_EQ(text(b.replace("a", nullptr)), "ab") << "replace(text, NULL)";
    EXPECT_EQ(text(b.insert(static_cast<char*>(nullptr), 0)), "ab") << "insert(NULL, 0)";
    EXPECT_EQ(b.find(nullptr, 0, false), -1) << "find(NULL)";
    EXPECT_TRUE(CStringBuffer().equals(nullptr)) << "the empty text equals NULL";
    EXPECT_EQ(b.copyTo(nullptr, 4), 0) << "copyTo(NULL)";
    char const* noFormat = nullptr;
    EXPECT_EQ(text(b.format(noFormat, 0)), "") << "format(NULL)";
    EXPECT_EQ(text(b.set("ab", -1).append(nullptr, -1)), "ab") << "append(NULL, -1)";
    EXPECT_EQ(text(b.set(nullptr, -1)), "") << "set(NULL, -1)";
    EXPECT_EQ(text(b.set("ab", -1).set(nullptr, 0)), "") << "set(NULL, 0)";
    EXPECT_EQ(b.print(nullptr), -1) << "print(NULL)";
}

// Storage blocks at their edges; a block smaller than promised shows under
// ASan and valgrind, which also check every release.
TEST(StringBufferBlocks, SizesBelowOneAndNullBlocks)
{
    char* block = CStringBuffer::allocString(0);
    EXPECT_EQ(std::count(block, block + 4, '\0'), 4) << "allocString(0): 4 zero bytes";
    std::strcpy(block, "abc");
    block = CStringBuffer::reallocString(block, 0);
    EXPECT_STREQ(block, "") << "reallocString(block, 0)";
    CStringBuffer::freeString(block);
    CStringBuffer::freeString(nullptr);
}

// A buffer's block stays zero-filled past its text when an append grows it,
// as every block it gets is: a subclass (or a caller of getBufferPointer
// writing up to bufSize) sees zeros, never stale heap bytes.
TEST(StringBufferBlocks, GrowthKeepsTheBlockZeroPastTheText)
{
    struct Exposed : CStringBuffer {
        int nonZeroPastText() const
        {
            return static_cast<int>(bufSize - len - std::count(buffer + len, buffer + bufSize, 0));
        }
    } grown;
    for (int piece : {3, 40, 200, 1000, 5000}) {
        grown.append(std::string(static_cast<size_t>(piece), 'x').c_str(), piece);
        EXPECT_EQ(grown.nonZeroPastText(), 0) << "after appending " << piece << " bytes";
    }
}

// Blocks of every growth step, odd ones included, hold bufSize bytes: the
// text, its terminator and zeros up to the end (read in full, so that ASan
// sees a block smaller than its bufSize).
TEST(StringBufferBlocks, EveryStepGivesBlocksOfTheirFullSize)
{
    struct Exposed : CStringBuffer {
        using CStringBuffer::CStringBuffer;
        int nonZeroPastText() const
        {
            return static_cast<int>(bufSize - len - std::count(buffer + len, buffer + bufSize, 0));
        }
    };
    for (int step = 1; step <= 9; ++step) {
        for (int length = 0; length <= 24; ++length) {
            Exposed b(step);
            const std::string expected = std::string(static_cast<size_t>(length), 'x') + "y";
            b.set(expected.c_str(), length).append("y", 1);
            EXPECT_EQ(text(b), expected) << "step " << step << ", length " << length;
            EXPECT_EQ(b.nonZeroPastText(), 0) << "step " << step << ", length " << length;
        }
    }
}

TEST(StringBufferAttach, NullClearsAndKeepsTheStorage)
{
    CStringBuffer b("abc");
    const int size = b.bufLength();
    b.attach(nullptr, 5, 5);
    EXPECT_EQ(text(b), "");
    EXPECT_EQ(b.bufLength(), size);
}

TEST(StringBufferWriteBuffer, SizeBelowOneGivesTheGrowthStepAndASecondReleasesTheFirst)
{
    CStringBuffer b(8);
    b.set("abcdefghijk", -1);
    EXPECT_STREQ(b.getBufferSetLength(0), "abcdefg") << "blockSize 8: text cut to 7 bytes";
    EXPECT_STREQ(b.getBufferSetLength(4), "abc") << "second write buffer";
    b.releaseBuffer(false, 0);
    b.releaseBuffer(true, 2);  // none out: nothing happens
    EXPECT_EQ(text(b), "abcdefghijk");
}
