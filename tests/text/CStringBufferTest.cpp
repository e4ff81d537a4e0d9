// CStringBuffer: a randomized comparison with a std::string model, which also
// checks the growth rule of set and append; and by hand what the model does
// not reach: storage blocks, the write buffer, NULL texts, formatting,
// replacement growth, and the end of the process for sizes past 32 bits.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>

#include "text/CStringBuffer.h"

namespace {

// Reaches the protected fields to check the storage invariants.
class Probe : public CStringBuffer {
public:
    using CStringBuffer::CStringBuffer;
    void expectInvariants() const
    {
        ASSERT_TRUE(len >= 0 && len < bufSize);
        EXPECT_TRUE(buffer[len] == '\0' && endPtr == buffer + len && bufSize % blockSize == 0);
    }
};

std::string text(CStringBuffer& b)
{
    return std::string(b.getBufferPointer(), static_cast<size_t>(b.length()));
}

std::string upperOf(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), ::toupper);
    return s;
}

}  // namespace

TEST(StringBufferStorage, SizesAndBlocks)
{
    Probe tiny(-3), small(256);  // a growth step below 1 counts as 1
    EXPECT_TRUE(Probe().bufLength() == 4092 && CStringBuffer(Probe()).bufLength() == 4092 &&
                tiny.bufLength() == 1);
    // Numbers are written into at least 64 bytes.
    EXPECT_TRUE(text(tiny.set(INT_MIN)) == "-2147483648" && tiny.bufLength() == 65);
    small.set("abc", -1).assureBufSize(600);
    small.assureBufSize(-1);
    EXPECT_TRUE(small.bufLength() == 768 && text(small) == "abc");
    char* block = CStringBuffer::allocString(5);
    EXPECT_EQ(std::memcmp(block, "\0\0\0\0\0\0\0", 8), 0);  // ASan: a block below 8 fails
    block = CStringBuffer::reallocString(std::strcpy(block, "abc"), 100);  // reads the text only
    EXPECT_TRUE(std::strcmp(block, "abc") == 0 && block[99] == 0);
    EXPECT_STREQ(block = CStringBuffer::reallocString(block, 3), "ab");
    EXPECT_STREQ(block = CStringBuffer::reallocString(block, -2), "");  // one byte
    CStringBuffer::freeString(block), block = CStringBuffer::allocString(-1);
    EXPECT_EQ(std::memcmp(block, "\0\0\0", 4), 0);  // ASan: a block below 4 fails
    CStringBuffer::freeString(block), CStringBuffer::freeString(nullptr);
    CStringBuffer::freeString(CStringBuffer::reallocString(nullptr, 4));
}

TEST(StringBufferStorage, AttachDetachAndWriteBuffer)
{
    Probe b(16), four(4);
    char* detached = b.set("hello", -1).detach();
    EXPECT_TRUE(std::strcmp(detached, "hello") == 0 && b.length() == 0 && b.bufLength() == 16);
    char* owned = std::strcpy(static_cast<char*>(std::calloc(1, 4)), "abc");
    b.attach(owned, 0, 0);  // length measured, size length + 1
    EXPECT_TRUE(b.length() == 3 && b.bufLength() == 4 && b.getBufferPointer() == owned);
    EXPECT_EQ(text(b.append("d", 1)), "abcd");
    EXPECT_TRUE(b.attach(nullptr, 0, 0).length() == 0 && b.bufLength() == 16);  // clear()
    EXPECT_STREQ(b.set("abcdef", -1).getBufferSetLength(4), "abc");
    b.releaseBuffer(false, 0);
    EXPECT_EQ(text(b), "abcdef");
    b.getBufferSetLength(4);
    b.releaseBuffer(true, -1), b.releaseBuffer(true, 0);  // the second: none out, nothing
    EXPECT_EQ(text(b), "abc");
    std::memcpy(b.getBufferSetLength(4), "wxyz", 4);  // filled up, unterminated
    b.releaseBuffer(true, 100);                       // never more than the size handed out
    EXPECT_EQ(text(b), "wxyz");
    char* handedOut = b.getBufferSetLength(8);
    CStringBuffer::freeString(b.detach());  // the write buffer is now the caller's
    CStringBuffer::freeString(handedOut), CStringBuffer::freeString(detached);
    four.set("abcdef", -1).getBufferSetLength(0);  // blockSize bytes; released by the next
    char* write = four.getBufferSetLength(-7);
    EXPECT_STREQ(write, "abc");
    std::strcpy(write, "xy");
    four.releaseBuffer(true, -1);
    EXPECT_EQ(text(four), "xy");
}

TEST(StringBufferStorageDeathTest, SizesBeyond32BitsEndTheProcess)
{
    CStringBuffer b("a");
    EXPECT_DEATH(b.set("x", INT_MAX), "zarncrt: size beyond the 32-bit range in CStringBuffer");
    EXPECT_DEATH(b.append("x", INT_MAX - 1), "32-bit");
    EXPECT_DEATH(b.assureBufSize(INT_MAX), "32-bit");
    EXPECT_DEATH(b.getBufferSetLength(INT_MAX), "32-bit");
}

TEST(StringBufferAssign, NullTextsSelfCopiesNumbersAndFormat)
{
    CStringBuffer b(nullptr), a("a");
    EXPECT_EQ(text(b.set(nullptr, -1).set(nullptr, 0).append(nullptr, -1)), "");
    EXPECT_EQ(text(b.set(nullptr, 5).append("x", 1).append(nullptr, 5)), "x");  // NULL: no bytes
    EXPECT_FALSE(b.set("a\0b", 3).set(b) == a);  // self-assignment; == counts NULs
    EXPECT_EQ(text(b), std::string("a\0b", 3));
    FILE* out = std::tmpfile();
    EXPECT_TRUE(b.print(out) == 1 && b.print(nullptr) == -1);  // up to the first NUL
    std::fclose(out);
    EXPECT_EQ(text(b.set(nullptr, 0).append(INT_MIN).append(LONG_MIN).append(0.1)),
              "-2147483648-92233720368547758080.1");
    CStringBuffer self(4);
    EXPECT_EQ(text(self.set("abc", -1).append(self)), "abcabc");  // grows while reading itself
    char dest[10] = "zzz";
    using Copy = std::tuple<char*, int, int, std::string>;
    b.set("abcdef", -1);
    for (auto [to, size, copied, expected] : {Copy{dest, 0, 0, "zzz"},
                                              {nullptr, 10, 0, "zzz"},
                                              {dest, 1, 0, ""},
                                              {dest, 4, 3, "abc"},
                                              {dest, 10, 6, "abcdef"}}) {
        EXPECT_TRUE(b.copyTo(to, size) == copied && dest == expected) << size;
    }
    EXPECT_EQ(text(b.format("%d-%s", 7, "x")), "7-x");
    EXPECT_EQ(b.format("%s", b.getBufferPointer()).length(), 0);  // emptied first
    EXPECT_EQ(b.format("%20000d", 1).length(), 16383);
    char const* noFormat = nullptr;
    EXPECT_EQ(b.format(noFormat, 0).length(), 0);
}

TEST(StringBufferEdit, LineBreaksNullTextsAndReplacementGrowth)
{
    Probe b, r(8), twice(2);
    const char* breaks[][2] = {
        {"a\r\nb", "a\nb"}, {"a\rb", "a\nb"}, {"a\r", "a"}, {"\r\r\n", "\n\n"}};
    for (auto& [from, to] : breaks) {
        b.set(from, -1).convertLinebreaks();
        EXPECT_EQ(text(b), to);
        b.expectInvariants();
    }
    b.set("ab", -1).replace(nullptr, "q").replace("a", nullptr);  // NULL: no change
    b.insert(static_cast<char*>(nullptr), 0).insert(static_cast<char const*>(nullptr), 1);
    EXPECT_EQ(text(b.insert(b, 1).insert(-5, -1)), "-5aabb");  // itself; before position 0
    // Growth by replacement: none while the text fits; r grows once, at the
    // first match from the right; twice one step per match short of room
    // (6 -> 10 -> 14).
    EXPECT_TRUE(text(r.set("a-b-c", -1).replace("-", "--")) == "a--b--c" && r.bufLength() == 8);
    EXPECT_TRUE(text(r.replace("-", "xyz")) == "axyzxyzbxyzxyzc" && r.bufLength() == 16);
    EXPECT_TRUE(text(twice.set("aaaa", -1).replace("a", "bbb")) == std::string(12, 'b') &&
                twice.bufLength() == 14);

    // Searches and comparisons with NULL texts and empty lengths.
    EXPECT_TRUE(b.set("abc", -1).find(nullptr, 0, false) == -1 && b.endsWith("x", 0, false) &&
                b.endsWith(nullptr, -1, true));

    EXPECT_TRUE(b.equals("ABC") && !b.equals(nullptr) && CStringBuffer().equals(nullptr));
    EXPECT_TRUE(b.compareNoCase("abd") < 0 && b.compareNoCase(nullptr) > 0);
    EXPECT_EQ(text(b.getSubStr(b, 1, 1, false)), "");  // emptied before it reads itself
}

namespace {

void modelReplace(std::string& m, const std::string& f, const std::string& r)
{
    for (long i = long(m.size()) - long(f.size()); i >= 0 && !(f.empty() && r.empty());) {
        const bool match = m.compare(size_t(i), f.size(), f) == 0;
        if (match) {
            m.replace(size_t(i), f.size(), r);
        }
        i -= match && !f.empty() ? long(f.size()) : 1;
    }
}

// What strchr/strstr give on the text from start up to its next NUL.
int modelFind(const std::string& m, int start, std::string needle, bool noCase)
{
    if (m.empty() || start < 0 || start >= static_cast<int>(m.size())) {
        return -1;
    }
    const std::string view = noCase ? upperOf(m.c_str() + start) : m.c_str() + start;
    const size_t at =
        needle == std::string(1, '\0') ? view.size() : view.find(noCase ? upperOf(needle) : needle);
    return at == std::string::npos ? -1 : start + static_cast<int>(at);
}

}  // namespace

// Texts hold NUL bytes; positions, starts and counts run one past both ends,
// so the model also covers out-of-range starts and positions, negative counts,
// searches of an empty text and NUL bytes that trim must keep.
TEST(StringBufferModel, RandomOperationsMatchStdString)
{
    const char alphabet[] = "aAbB \t\r\n-x";
    const char* const space = " \t\r\n\v\f";
    for (int step : {1, 3, 16, 4092}) {
        std::mt19937 rng(static_cast<unsigned>(step));
        auto pick = [&](size_t n) { return static_cast<int>(rng() % n); };
        auto randomText = [&](int maxLength, bool withNul) {
            std::string s(static_cast<size_t>(pick(maxLength + 1)), ' ');
            std::generate(s.begin(), s.end(),
                          [&] { return withNul && pick(16) == 0 ? '\0' : alphabet[pick(10)]; });
            return s;
        };
        Probe buf(step);
        std::string model;
        for (int i = 0; i < 4000; ++i) {
            const std::string arg = randomText(2, false), t = randomText(12, true);
            const int n = static_cast<int>(t.size()), pos = pick(model.size() + 3) - 1;
            const int oldSize = buf.bufLength(), op = model.size() > 300 ? 0 : pick(9);
            const bool flag = pick(2) == 1;
            const char c = pick(8) ? alphabet[pick(10)] : '\0';
            // The growth rules of set (keeps storage while bufSize > n, else
            // sizes for n) and append (keeps it while bufSize > len + n, else
            // sizes for len + n + 1); append to the empty text is a set.
            const bool viaSet = op == 0 || model.empty();
            const long keepAbove = viaSet ? n : static_cast<long>(model.size()) + n;
            const long grown = ((keepAbove + (viaSet ? 0 : 1)) / step + 1) * step;
            if (op == 0 || op == 1) {
                (op == 0 ? buf.set(t.data(), n) : buf.append(t.data(), n));
                model = (op == 0 ? "" : model) + t;
                EXPECT_EQ(buf.bufLength(), oldSize > keepAbove ? oldSize : static_cast<int>(grown));
            } else if (op == 2) {
                buf.insert(arg.c_str(), pos);
                model.insert(std::min(static_cast<size_t>(std::max(pos, 0)), model.size()), arg);
            } else if (op == 3) {
                CStringBuffer other;
                CStringBuffer& source = flag && pick(2) ? buf : other.set(t.data(), n);
                const std::string piece = &source == &buf ? model : t;
                const size_t from = static_cast<size_t>(std::max(pos, 0));
                const int count = pick(t.size() + 2) - 1;  // -1: npos, to the end
                buf.getSubStr(source, pos, count, flag);
                model = (flag ? model : "") +
                        (from < piece.size() ? piece.substr(from, size_t(count)) : "");
            } else if (op == 4) {
                const std::string r = randomText(3, false);
                buf.replace(arg.c_str(), r.c_str());
                modelReplace(model, arg, r);
            } else if (op == 5) {
                buf.trim();
                const size_t b = model.find_first_not_of(space), e = model.find_last_not_of(space);
                model = b == std::string::npos ? "" : model.substr(b, e - b + 1);
            } else if (op == 6) {
                flag ? buf.toUpperCase() : buf.toLowerCase();
                std::transform(model.begin(), model.end(), model.begin(),
                               flag ? ::toupper : ::tolower);
            } else if (op == 7) {
                EXPECT_EQ(buf.find(c, pos, flag), modelFind(model, pos, std::string(1, c), flag));
                EXPECT_EQ(buf.find(arg.c_str(), pos, flag), modelFind(model, pos, arg, flag));
            } else {
                const std::string head = flag ? upperOf(model.c_str()) : model.c_str();
                const size_t at = model.empty() ? std::string::npos
                                  : c == '\0'   ? head.size()
                                                : head.rfind(flag ? upperOf({c})[0] : c);
                EXPECT_EQ(buf.findReverse(c, flag),
                          at == std::string::npos ? -1 : static_cast<int>(at));
                const std::string tail =
                    model.substr(model.size() - std::min(model.size(), arg.size()));
                EXPECT_EQ(buf.endsWith(arg.c_str(), -1, flag),
                          arg.size() <= model.size() &&
                              (flag ? upperOf(tail) == upperOf(arg) : tail == arg));
            }
            ASSERT_EQ(text(buf), model) << "step " << i << " op " << op;
            buf.expectInvariants();
            ASSERT_GE(buf.bufLength(), oldSize);
        }
    }
}
