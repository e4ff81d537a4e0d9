// The runtime core stand-in: the properties the libraries rely on, and what
// each function does with NULL pointers, zero sizes and small destinations.
#include <gtest/gtest.h>

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <random>
#include <string>

#include "core/QorCore.h"

TEST(CoreMemory, BlocksCopiesMutexesAndNullPointers)
{
    auto* block = static_cast<unsigned char*>(QorMemAlloc(4096));
    EXPECT_EQ(std::count(block, block + 4096, 0), 4096);
    std::memset(block, 'x', 4096);
    block = static_cast<unsigned char*>(QorMemRealloc(block, 8192));
    EXPECT_EQ(block[4095], 'x');
    QorMemFree(block), QorMemFree(nullptr);
    // Zero sizes and a NULL block still give blocks that can be released.
    QorMemFree(QorMemRealloc(QorMemRealloc(nullptr, 0), 0)), QorMemFree(QorMemAlloc(0));
    char text[4] = "abc";
    QorMemCopy(text, nullptr, 0), QorMemCopy(nullptr, nullptr, -1), QorMemCopy(text, "xy", 2);
    char* copies[] = {QorStrDup("hello"), QorStrDup(nullptr)};
    EXPECT_TRUE(std::strcmp(text, "xyc") == 0 && std::strcmp(copies[0], "hello") == 0 &&
                std::strcmp(copies[1], "") == 0);
    QorMemFree(copies[0]), QorMemFree(copies[1]);
    void* mutex = QorCreateMutex();
    ASSERT_NE(mutex, nullptr);
    EXPECT_TRUE(QorLockMutex(mutex, 1) == 0 && QorUnlockMutex(mutex) == 0);
    QorDestroyMutex(mutex), QorDestroyMutex(nullptr);
    EXPECT_TRUE(QorLockMutex(nullptr, 1) == -1 && QorUnlockMutex(nullptr) == -1);
}

TEST(CoreText, CompareNoCaseMatchesLowerCasedStrcmpOnRandomTexts)
{
    auto sign = [](int v) { return (v > 0) - (v < 0); };
    std::mt19937 rng(7);
    // Letters of both cases, neighbours of the letters and high bytes; the
    // C locale's strcasecmp folds only A-Z, as the core must.
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
    EXPECT_TRUE(QorCompareNoCase(nullptr, "") == 0 && QorCompareNoCase(nullptr, "a") < 0);
}

TEST(CoreText, FtoaWritesTheShortestRoundTripText)
{
    char text[128];
    const std::pair<double, char const*> fixed[] = {
        {2.5, "2.5"}, {0.1, "0.1"}, {NAN, "nan"}, {-INFINITY, "-inf"}};
    for (auto& [value, expected] : fixed) {
        EXPECT_EQ(realconv_ftoa(text, sizeof text, value), int(std::strlen(expected)));
        EXPECT_STREQ(text, expected);
    }
    std::mt19937_64 rng(11);
    for (int i = 0; i < 10000; ++i) {
        const unsigned long long bits = rng();
        double value;
        std::memcpy(&value, &bits, sizeof value);
        if (std::isfinite(value)) {
            const int written = realconv_ftoa(text, sizeof text, value);
            ASSERT_EQ(written, int(std::strlen(text)));

            ASSERT_EQ(std::strtod(text, nullptr), value) << text;
        }
    }
    // Cut to the destination; without room or destination nothing is written.
    EXPECT_EQ(realconv_ftoa(text, 4, 123456.0), 3);
    EXPECT_EQ(realconv_ftoa(text, 0, 1.0) + realconv_ftoa(nullptr, 8, 1.0), 0);
    EXPECT_STREQ(text, "123");
}

TEST(CoreLogFileName, DefaultsFlagsAndCut)
{
    char path[1024], dir[] = "/tmp", ext[] = "txt";
    EXPECT_EQ(getLogFileName(nullptr, dir, "app", ext, false, false), -1);
    getLogFileName(path, nullptr, nullptr, ext, false, false);
    EXPECT_STREQ(path, "./zarncrt.txt");
    getLogFileName(path, dir, "", nullptr, false, true);
    EXPECT_EQ(std::string(path), "/tmp/zarncrt-" + std::to_string(getpid()) + ".log");
    EXPECT_EQ(getLogFileName(path, dir, "app", ext, true, false), 21);  // "/tmp/app-YYYYMMDD.txt"
    EXPECT_TRUE(std::all_of(path + 9, path + 17, ::isdigit) && std::strcmp(path + 17, ".txt") == 0);
    std::string longDir(3000, 'd');
    EXPECT_EQ(getLogFileName(path, &longDir[0], "x", nullptr, false, false), 1023);
    EXPECT_EQ(std::strlen(path), 1023u);
}
