// The runtime core: memory, texts, mutexes, log-file names and the text of
// doubles, with NULL pointers, zero sizes and small destinations.
#include <gtest/gtest.h>

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "core/QorCore.h"
#include "models/TextModel.h"

TEST(CoreMemory, AllocZeroFillsAndReallocKeepsTheContents)
{
    auto* block = static_cast<unsigned char*>(QorMemAlloc(4096));
    EXPECT_EQ(std::count(block, block + 4096, 0), 4096);
    std::memset(block, 'x', 4096);
    block = static_cast<unsigned char*>(QorMemRealloc(block, 8192));
    EXPECT_EQ(std::count(block, block + 4096, 'x'), 4096);
    QorMemFree(block);
}

TEST(CoreMemory, CopyAndDuplicate)
{
    char text[4] = "abc";
    QorMemCopy(text, "xy", 2);
    EXPECT_STREQ(text, "xyc");
    char* copies[] = {QorStrDup("hello"), QorStrDup(nullptr)};
    EXPECT_STREQ(copies[0], "hello");
    EXPECT_STREQ(copies[1], "") << "QorStrDup(NULL)";
    QorMemFree(copies[0]);
    QorMemFree(copies[1]);
}

// Zero sizes and NULL blocks: a block smaller than claimed, or a NULL that is
// dereferenced, fails here (ASan and valgrind also see a wrong release).
TEST(CoreMemory, ZeroSizesAndNullBlocks)
{
    auto* block = static_cast<unsigned char*>(QorMemAlloc(0));
    EXPECT_EQ(block[0], 0) << "QorMemAlloc(0) gives one zero byte";
    block = static_cast<unsigned char*>(QorMemRealloc(block, 0));
    block[0] = 1;  // still a 1-byte block
    EXPECT_EQ(block[0], 1) << "QorMemRealloc(block, 0)";
    QorMemFree(block);
    auto* fresh = static_cast<char*>(QorMemRealloc(nullptr, 16));
    ASSERT_NE(fresh, nullptr) << "QorMemRealloc(NULL, 16)";
    std::memset(fresh, 'x', 16);
    QorMemFree(fresh);
    QorMemFree(nullptr);
    char text[] = "abc";
    QorMemCopy(text, "xyz", 0);
    QorMemCopy(nullptr, nullptr, -1);
    EXPECT_STREQ(text, "abc") << "QorMemCopy with a count of 0";
}

TEST(CoreMutex, LockAndUnlockGiveZeroAndNullMutexFails)
{
    void* mutex = QorCreateMutex();
    ASSERT_NE(mutex, nullptr);
    EXPECT_EQ(QorLockMutex(mutex, 1), 0);
    EXPECT_EQ(QorUnlockMutex(mutex), 0);
    QorDestroyMutex(mutex);
    EXPECT_EQ(QorLockMutex(nullptr, 1), -1);
    EXPECT_EQ(QorUnlockMutex(nullptr), -1);
    QorDestroyMutex(nullptr);  // ignored: a dereference would end the test
}

TEST(CoreText, CompareNoCaseMatchesCLocaleStrcasecmp)
{
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    std::mt19937 rng(7);
    // Letters, their neighbours and high bytes: only A-Z fold.
    const std::string alphabet = "aAbBzZ@[`{09\x7f\x80\xc3\xff";
    for (int round = 0; round < 20000; ++round) {
        std::string a(rng() % 5, ' '), b(rng() % 5, ' ');
        for (std::string* s : {&a, &b}) {
            std::generate(s->begin(), s->end(), [&] { return alphabet[rng() % alphabet.size()]; });
        }
        ASSERT_EQ(sign(QorCompareNoCase(a.c_str(), b.c_str())),
                  sign(strcasecmp(a.c_str(), b.c_str())))
            << a << " / " << b;
    }
    EXPECT_EQ(QorCompareNoCase(nullptr, ""), 0) << "NULL sorts as the empty text";
    EXPECT_LT(QorCompareNoCase(nullptr, "a"), 0);
}

// NaN, -inf, then any bit pattern against the model's shortest round-trip
// text.
TEST(CoreText, FtoaWritesTheShortestRoundTripText)
{
    char text[128];
    std::mt19937_64 rng(11);
    for (int i = 0; i < 10000; ++i) {
        const unsigned long long bits = rng();
        double value = i == 0 ? NAN : -INFINITY;
        if (i > 1) {
            std::memcpy(&value, &bits, sizeof value);
        }
        const std::string expected = textmodel::doubleText(value);
        ASSERT_EQ(realconv_ftoa(text, sizeof text, value), int(expected.size())) << expected;
        ASSERT_STREQ(text, expected.c_str());
    }
}

TEST(CoreText, FtoaCutsToTheDestination)
{
    char text[8];
    EXPECT_EQ(realconv_ftoa(text, 4, 123456.0), 3);
    EXPECT_STREQ(text, "123");
    text[0] = 'x';
    EXPECT_EQ(realconv_ftoa(text, 1, 1.0), 0) << "room for the terminator only";
    EXPECT_EQ(text[0], '\0') << "size 1 still terminates";
    EXPECT_EQ(realconv_ftoa(text, 0, 1.0), 0) << "no room";
    EXPECT_EQ(realconv_ftoa(nullptr, 8, 1.0), 0) << "no destination";
}

TEST(CoreLogFileName, DefaultsDatePidAndCut)
{
    char path[1024], dir[] = "/tmp", ext[] = "txt";
    EXPECT_EQ(getLogFileName(nullptr, dir, "app", ext, false, false), -1);
    getLogFileName(path, nullptr, nullptr, ext, false, false);
    EXPECT_STREQ(path, "./zarncrt.txt");
    char emptyDir[] = "", emptyExt[] = "";
    getLogFileName(path, emptyDir, "app", emptyExt, false, false);
    EXPECT_STREQ(path, "./app.log") << "empty directory and extension";
    getLogFileName(path, dir, "", nullptr, false, true);
    EXPECT_EQ(std::string(path), "/tmp/zarncrt-" + std::to_string(getpid()) + ".log");
    EXPECT_EQ(getLogFileName(path, dir, "app", ext, true, false), 21);  // "/tmp/app-YYYYMMDD.txt"
    EXPECT_EQ(std::count_if(path + 9, path + 17, ::isdigit), 8) << path;
    EXPECT_STREQ(path + 17, ".txt");
    std::string longDir(3000, 'd');
    EXPECT_EQ(getLogFileName(path, &longDir[0], "x", nullptr, false, false), 1023);
    EXPECT_EQ(std::strlen(path), 1023u);
}
