// CStringBuffer against the text model (tests/models/TextModel.h) on random
// operations, and by hand what the model does not reach. The text fuzzer
// drives the same model through blocks, attach, detach and the write buffer.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "models/TextModel.h"
#include "text/CStringBuffer.h"

namespace {

std::string text(CStringBuffer& b)
{
    return std::string(b.getBufferPointer(), static_cast<size_t>(b.length()));
}

// Calls vformat as an application's variadic wrapper would.
__attribute__((format(printf, 2, 3))) void formatVia(CStringBuffer& b, char const* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    b.vformat(fmt, args);
    va_end(args);
}

// Applies named operations, picked at random, to a buffer and to the model
// under growth steps 1, 3, 16 and 4092; after each one the text and
// bufLength() must agree. The first operation sets a random text. Texts hold
// NUL bytes; positions, starts and counts run one past both ends.
class StringBufferModel : public ::testing::Test {
protected:
    void run(std::vector<std::pair<char const*, std::function<void()>>> ops)
    {
        ops.insert(ops.begin(), {"set", [this] {
                                     const std::string t = randomText();
                                     const bool counted = pick(2) == 1;
                                     b->set(t.c_str(), counted ? int(t.size()) : -1);
                                     m.set(counted ? t : textmodel::visible(t));
                                 }});
        for (int step : {1, 3, 16, 4092}) {
            rng.seed(static_cast<unsigned>(step));
            CStringBuffer buffer(step);
            b = &buffer;
            m = textmodel::Buffer{"", step, step};
            for (int i = 0; i < 3000; ++i) {
                auto const& [name, op] = ops[m.text.size() > 300 ? 0 : pick(ops.size())];
                op();
                ASSERT_EQ(text(*b), m.text) << name << ", operation " << i << ", step " << step;
                ASSERT_EQ(b->bufLength(), m.size) << name << ", operation " << i;
            }
        }
    }
    size_t pick(size_t n)
    {
        return rng() % n;
    }
    std::string randomText(size_t maxLength = 12)
    {
        std::string s(pick(maxLength + 1), ' ');
        for (char& c : s) {
            c = pick(16) == 0 ? '\0' : "aAbB \t\r\n-x"[pick(10)];
        }
        return s;
    }
    int position()
    {
        return static_cast<int>(pick(m.text.size() + 3)) - 1;
    }
    // The buffer itself or another one holding a random text; source holds
    // the text it has.
    CStringBuffer& operand()
    {
        const bool itself = pick(3) == 0;
        source = itself ? m.text : randomText();
        return itself ? *b : other.set(source.data(), static_cast<int>(source.size()));
    }

    std::mt19937 rng;
    CStringBuffer* b = nullptr;
    textmodel::Buffer m;
    CStringBuffer other;
    std::string source;
};

}  // namespace

TEST_F(StringBufferModel, AssignmentAppendingAndFormattingMatchModel)
{
    run({{"operator=",
          [this] {
              *b = operand();
              m.set(source);
          }},
         {"operator+=",
          [this] {
              *b += operand();
              m.append(source);
          }},
         {"append",
          [this] {
              const std::string t = randomText();
              b->append(t.data(), static_cast<int>(t.size()));
              m.append(t);
          }},
         {"numbers",
          [this] {
              const long v = static_cast<long>(rng() << pick(32));
              const double d = static_cast<double>(v) / 64;
              b->set(static_cast<int>(v)).append(v).append(d);
              m.setNumber(std::to_string(static_cast<int>(v)));
              m.append(std::to_string(v));
              m.append(textmodel::doubleText(d));
          }},
         {"format",
          [this] {
              const std::string t = randomText();
              const int width = pick(50) == 0 ? 20000 : int(pick(20)), v = int(pick(1000));
              b->format("%*d-%s", width, v, t.c_str());  // cut to 16383 bytes when wide
              m.set(textmodel::formatted("%*d-%s", width, v, t.c_str()));
          }},
         {"vformat", [this] {  // the text is emptied first: it reads as ""
              const std::string t = randomText();
              formatVia(*b, "<%s|%s>", t.c_str(), b->getBufferPointer());
              m.set(textmodel::formatted("<%s|%s>", t.c_str(), ""));
          }}});
}

TEST_F(StringBufferModel, EditsMatchModel)
{
    run({{"insert",
          [this] {
              const std::string t = randomText(3);
              const int at = position();
              b->insert(t.c_str(), at);
              m.insert(textmodel::visible(t), at);
          }},
         {"insert of a buffer",
          [this] {
              const int at = position();
              b->insert(operand(), at);
              m.insert(source, at);
          }},
         {"getSubStr",
          [this] {
              const bool append = pick(2) == 1;
              CStringBuffer& from = operand();
              const int start = position(), count = int(pick(source.size() + 2)) - 1;
              b->getSubStr(from, start, count, append);  // emptied first when not appending
              const std::string taken =
                  textmodel::subStr(&from == b && !append ? "" : source, start, count);
              append ? m.append(taken) : m.set(taken);
          }},
         {"replace",
          [this] {
              const std::string search = randomText(2), by = randomText(3);
              b->replace(search.c_str(), by.c_str());
              m.replace(textmodel::visible(search), textmodel::visible(by));
          }},
         {"trim",
          [this] {
              b->trim();
              m.text = textmodel::trim(m.text);
          }},
         {"toUpperCase or toLowerCase",
          [this] {
              const bool upper = pick(2) == 1;
              upper ? b->toUpperCase() : b->toLowerCase();
              m.text = textmodel::cased(m.text, upper);
          }},
         {"convertLinebreaks", [this] {
              b->convertLinebreaks();
              m.text = textmodel::convertLinebreaks(m.text);
          }}});
}

// Queries change nothing; each answer must be the model's.
TEST_F(StringBufferModel, SearchesMatchModel)
{
    run({{"searches",
          [this] {
              const std::string arg = randomText(2);
              const char c = arg.empty() ? '\0' : arg[0];
              const int at = position(), n = int(pick(arg.size() + 2)) - 1;
              const bool noCase = pick(2) == 1;
              SCOPED_TRACE("text \"" + m.text + "\", argument \"" + arg + "\", position " +
                           std::to_string(at) + ", count " + std::to_string(n) +
                           (noCase ? ", no case" : ", case"));
              EXPECT_EQ(b->find(c, at, noCase), textmodel::find(m.text, at, c, noCase)) << "char";
              EXPECT_EQ(b->find(arg.c_str(), at, noCase), textmodel::find(m.text, at, arg, noCase));
              EXPECT_EQ(b->findReverse(c, noCase), textmodel::findReverse(m.text, c, noCase));
              EXPECT_EQ(b->endsWith(arg.data(), n, noCase),
                        textmodel::endsWith(m.text, arg.data(), n, noCase));
              const int order = b->compareNoCase(arg.c_str());
              EXPECT_EQ((order > 0) - (order < 0), textmodel::compareNoCase(m.text, arg));
              EXPECT_EQ(b->equals(arg.c_str()), textmodel::compareNoCase(m.text, arg) == 0);
              EXPECT_EQ(*b == other.set(arg.data(), int(arg.size())), m.text == arg) << "==";
          }},
         {"copyTo", [this] {
              char dest[320] = "Q";  // left as it is below size 1
              const int size = int(pick(m.text.size() + 3)) - 1;
              const int copied = b->copyTo(dest, size);
              EXPECT_EQ(copied, size < 1 ? 0 : std::min(b->length(), size - 1)) << "size " << size;
              EXPECT_EQ(std::string(dest, copied + 1u),
                        size < 1 ? "Q" : m.text.substr(0, copied) + '\0')
                  << "copyTo(" << size << ") of " << m.text;
          }}});
}

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

TEST(StringBufferAttach, NullClearsAndKeepsTheStorage)
{
    CStringBuffer b("abc");
    const int size = b.bufLength();
    b.attach(nullptr, 5, 5);
    EXPECT_EQ(text(b), "");
    EXPECT_EQ(b.bufLength(), size);
}

TEST(StringBufferAttach, LengthAndSizeMeasuredWhenNotGiven)
{
    CStringBuffer b;
    char* block = CStringBuffer::allocString(8);
    std::strcpy(block, "hello");
    b.attach(block, 0, 0);
    EXPECT_EQ(b.length(), 5);
    EXPECT_EQ(b.bufLength(), 6);
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

TEST(StringBufferWriteBuffer, DetachLeavesItToTheCaller)
{
    CStringBuffer b("abc");
    char* write = b.getBufferSetLength(8);
    char* block = b.detach();
    EXPECT_STREQ(block, "abc");
    EXPECT_STREQ(write, "abc");
    EXPECT_EQ(text(b), "");
    CStringBuffer::freeString(block);
    CStringBuffer::freeString(write);  // the caller's now: a second release would show
}

TEST(StringBufferWriteBuffer, ReleaseKeepsUpToTheFirstNulOrTheCountWithinItsSize)
{
    CStringBuffer b;
    EXPECT_STREQ(b.set("abcdef", -1).getBufferSetLength(4), "abc");
    b.releaseBuffer(false, 0);
    EXPECT_EQ(text(b), "abcdef") << "released without keep";
    std::strcpy(b.getBufferSetLength(8), "xy");
    b.releaseBuffer(true, -1);
    EXPECT_EQ(text(b), "xy") << "up to the first NUL";
    std::memcpy(b.getBufferSetLength(4), "wxyz", 4);  // filled up, unterminated
    b.releaseBuffer(true, 100);
    EXPECT_EQ(text(b), "wxyz") << "a count beyond the size handed out";
    std::memcpy(b.getBufferSetLength(4), "abcd", 4);
    b.releaseBuffer(true, -1);
    EXPECT_EQ(text(b), "abcd") << "-1 on an unterminated fill";
}
