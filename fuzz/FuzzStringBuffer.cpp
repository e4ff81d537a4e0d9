// Differential fuzzer for CStringBuffer against tests/models/TextModel.h: two
// buffers, each taking the other or itself as operand, must hold the model's
// text and bufLength() after every step and give its answers to queries.
// Attach, detach, the write buffer and the blocks are followed here.
#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "fuzz/FuzzInput.h"
#include "tests/models/TextModel.h"
#include "text/CStringBuffer.h"

namespace {

using textmodel::visible;

// Letters of both cases, white space, CR/LF and NUL.
constexpr char kAlphabet[] = {'a', 'A', 'b', 'B', 'c', ' ', '\t', '\r', '\n', '\0', 'x', 'Z', '-'};

struct Subject {
    CStringBuffer* buf;
    textmodel::Buffer m;
    char* writeBuf = nullptr;  // handed out by getBufferSetLength, or NULL
    std::string writeModel;    // its expected bytes, as many as its chosen size
};

// The end pointer that subclasses read beside the length.
struct EndField : CStringBuffer {
    static constexpr char* CStringBuffer::*kEnd = &EndField::endPtr;
};

void check(CStringBuffer& b, textmodel::Buffer const& m, char const* what)
{
    char const* p = b.getBufferPointer();
    FUZZ_CHECK(b.*EndField::kEnd == p + b.length(), "%s: endPtr is not buffer + length", what);
    FUZZ_CHECK(b.length() == int(m.text.size()), "%s: length %d", what, b.length());
    FUZZ_CHECK(std::memcmp(p, m.text.data(), m.text.size()) == 0, "%s: text differs", what);
    FUZZ_CHECK(p[m.text.size()] == '\0', "%s: no terminator", what);
    FUZZ_CHECK(b.bufLength() == m.size, "%s: bufLength %d, model %d", what, b.bufLength(), m.size);
}

// Calls vformat the way a variadic wrapper of an application would.
__attribute__((format(printf, 2, 3))) void formatVia(CStringBuffer& b, char const* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    b.vformat(fmt, args);
    va_end(args);
}

void queries(Subject& t, Subject& o, FuzzInput& in, int pos)
{
    CStringBuffer& b = *t.buf;
    std::string const& text = t.m.text;
    const int len = int(text.size());
    const bool noCase = in.flag();
    const char c = in.flag() ? char(in.u8()) : kAlphabet[in.u8() % sizeof kAlphabet];
    std::string arg = in.text(4, kAlphabet, sizeof kAlphabet);
    FUZZ_CHECK(b.find(c, pos, noCase) == textmodel::find(text, pos, c, noCase),
               "find('%d', %d, %d)", c, pos, noCase);
    FUZZ_CHECK(b.find(arg.c_str(), pos, noCase) == textmodel::find(text, pos, arg, noCase),
               "find(\"%s\", %d, %d)", arg.c_str(), pos, noCase);
    FUZZ_CHECK(b.findReverse(c, noCase) == textmodel::findReverse(text, c, noCase),
               "findReverse('%d', %d)", c, noCase);
    if (in.flag() && len > 0) {  // a suffix of the text, often in other case
        arg = text.substr(size_t(len - in.range(0, len < 8 ? len : 8)));
        arg = in.flag() ? textmodel::cased(arg, in.flag()) : arg;
    }
    const int n = in.flag() ? -1 : in.range(0, int(arg.size()));
    char const* suffix = in.u8() % 8 == 0 ? nullptr : arg.c_str();
    FUZZ_CHECK(b.endsWith(suffix, n, noCase) == textmodel::endsWith(text, suffix, n, noCase),
               "endsWith(%d bytes, %d)", n, noCase);
    const std::string other = in.flag() ? o.m.text : arg;
    char const* against = in.u8() % 8 == 0 ? nullptr : other.c_str();
    const int order = textmodel::compareNoCase(text, against == nullptr ? "" : other);
    const int got = b.compareNoCase(against);
    FUZZ_CHECK((got > 0) - (got < 0) == order, "compareNoCase %d, model %d", got, order);
    FUZZ_CHECK(b.equals(against) == (order == 0), "equals, model %d", order == 0);
    FUZZ_CHECK((b == *o.buf) == (text == o.m.text), "operator==");
    const int size = in.range(-2, len + 3);
    std::string dest(size_t(len) + 8, 'Q');
    const int want = size < 1 ? 0 : (size > len ? len : size - 1);
    FUZZ_CHECK(b.copyTo(&dest[0], size) == want, "copyTo(%d) count", size);
    FUZZ_CHECK(dest.substr(0, size_t(want) + 2) ==
                   (size < 1 ? "QQ" : text.substr(0, size_t(want)) + '\0' + 'Q'),
               "copyTo(%d) bytes", size);
    char* out = nullptr;
    size_t outSize = 0;
    FILE* stream = open_memstream(&out, &outSize);
    const int printed = b.print(stream);
    std::fclose(stream);
    FUZZ_CHECK(printed == int(visible(text).size()), "print returned %d", printed);
    FUZZ_CHECK(std::string(out, outSize) == visible(text), "print wrote other bytes");
    std::free(out);
}

void attachOrDetach(Subject& t, FuzzInput& in, std::string const& bytes)
{
    if (in.flag()) {  // the block: bytes, a NUL, and room to spare
        const int n = int(bytes.size()), blockBytes = n + in.range(1, 48);
        char* block = static_cast<char*>(std::calloc(size_t(blockBytes), 1));
        std::memcpy(block, bytes.data(), bytes.size());
        const int lengthArg = in.flag() ? n : -in.range(0, 3);  // 0 and below: strlen
        const int sizeArg = in.flag() ? -in.range(0, 3) : in.range(n + 1, blockBytes);
        t.buf->attach(block, lengthArg, sizeArg);
        t.m.text.assign(block, lengthArg > 0 ? size_t(n) : std::strlen(block));
        t.m.size = sizeArg > 0 ? sizeArg : int(t.m.text.size()) + 1;
        return;
    }
    char* block = t.buf->detach();
    FUZZ_CHECK(std::string(block, t.m.text.size() + 1) == t.m.text + '\0', "detach's block");
    CStringBuffer::freeString(block);
    CStringBuffer::freeString(t.writeBuf);  // detach forgets it: it is ours now
    t.writeBuf = nullptr;
    t.m = textmodel::Buffer{"", t.m.step, t.m.step};
}

void writeBuffer(Subject& t, FuzzInput& in)
{
    if (t.writeBuf == nullptr || in.range(0, 3) == 0) {
        const int requested = in.flag() ? in.range(-2, 0) : in.range(1, in.u8() & 15 ? 80 : 5000);
        t.writeBuf = t.buf->getBufferSetLength(requested);
        const size_t chosen = size_t(requested > 0 ? requested : t.m.step);
        t.writeModel = t.m.text.substr(0, chosen - 1);
        t.writeModel.resize(chosen, '\0');
        // Zero-filled up to its size rounded to a multiple of 4.
        const std::string padding((chosen + 3) / 4 * 4 - chosen, '\0');
        FUZZ_CHECK(std::string(t.writeBuf, (chosen + 3) / 4 * 4) == t.writeModel + padding,
                   "getBufferSetLength(%d): contents", requested);
        for (int i = in.range(0, 8); i > 0; --i) {  // fill some bytes, as a caller would
            const size_t at = size_t(in.range(0, int(chosen) - 1));
            t.writeBuf[at] = t.writeModel[at] = kAlphabet[in.u8() % sizeof kAlphabet];
        }
        return;
    }
    const bool keep = in.flag();
    const int count = in.flag() ? -1 : in.range(0, int(t.writeModel.size()) + 4);
    t.buf->releaseBuffer(keep, count);
    if (keep) {
        t.m.set(count < 0 ? visible(t.writeModel) : t.writeModel.substr(0, size_t(count)));
    }
    t.writeBuf = nullptr;
}

// The static block functions, on blocks of their own.
void blocks(FuzzInput& in)
{
    const int size = in.range(-3, 300), rounded = size < 1 ? 4 : (size + 3) / 4 * 4;
    char* block = CStringBuffer::allocString(size);
    FUZZ_CHECK(std::string(block, size_t(rounded)) == std::string(size_t(rounded), '\0'),
               "allocString(%d) not zero-filled", size);
    const std::string bytes = in.text(size_t(rounded - 1), kAlphabet, sizeof kAlphabet);
    std::memcpy(block, bytes.data(), bytes.size());
    const int newSize = in.range(1, 400);
    char* grown = CStringBuffer::reallocString(block, newSize);
    std::string want = visible(bytes).substr(0, size_t(newSize - 1));
    want.resize(size_t(newSize), '\0');
    FUZZ_CHECK(std::string(grown, size_t(newSize)) == want, "reallocString(%d)", newSize);
    CStringBuffer::freeString(grown);
    char* fresh = CStringBuffer::reallocString(nullptr, newSize);
    FUZZ_CHECK(fresh[0] == '\0', "reallocString(NULL, %d)", newSize);
    CStringBuffer::freeString(fresh);
}

void step(Subject& t, Subject& o, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    textmodel::Buffer& m = t.m;
    Subject& src = in.flag() ? o : t;  // operand: the other buffer or itself
    const std::string operand = src.m.text;
    const std::string bytes = in.text(in.u8() % 16 == 0 ? 400 : 48, kAlphabet, sizeof kAlphabet);
    const int pos = in.smallInt(int(m.text.size()) + 4), v = int(in.u32());
    const bool flag = in.flag();
    switch (in.u8() % 17) {
        case 0:
            b.set(bytes.c_str(), flag ? int(bytes.size()) : -1 - in.range(0, 3));
            m.set(flag ? bytes : visible(bytes));
            break;
        case 1: {
            double d;
            const uint64_t raw = in.u64();
            std::memcpy(&d, &raw, sizeof d);
            d = in.flag() ? d : double(v) / 8;  // short forms too
            flag ? b.set(v) : b.set(long(raw));
            m.setNumber(flag ? std::to_string(v) : std::to_string(long(raw)));
            b.append(v).append(long(raw)).append(d);
            m.append(std::to_string(v));
            m.append(std::to_string(long(raw)));
            m.append(textmodel::doubleText(d));
            break;
        }
        case 2:
            flag ? b.set(*src.buf) : (b = *src.buf);
            m.set(operand);
            break;
        case 3:
            b.append(bytes.c_str(), flag ? int(bytes.size()) : -1);
            m.append(flag ? bytes : visible(bytes));
            break;
        case 4:
            flag ? b.append(*src.buf) : (b += *src.buf);  // itself: the text doubles
            m.append(operand);
            break;
        case 5: {
            const int width = in.u8() % 32 == 0 ? in.range(0, 17000) : in.range(0, 64);
            b.format("%*d|%s|%c", width, v, bytes.c_str(), char(v));
            m.set(textmodel::formatted("%*d|%s|%c", width, v, bytes.c_str(), char(v)));
            break;
        }
        case 6:  // the text is emptied first: an argument into it reads as ""
            formatVia(b, "<%s|%s>", bytes.c_str(), src.buf->getBufferPointer());
            m.set(
                textmodel::formatted("<%s|%s>", bytes.c_str(), &src == &t ? "" : operand.c_str()));
            break;
        case 7: {  // a buffer, a number, a C text, or NULL, which inserts nothing
            const int kind = in.range(0, 3);
            kind == 0   ? b.insert(*src.buf, pos)
            : kind == 1 ? b.insert(v, pos)
                        : b.insert(kind == 2 ? bytes.c_str() : nullptr, pos);
            const std::string inserted[] = {operand, std::to_string(v), visible(bytes), ""};
            m.insert(inserted[kind], pos);
            break;
        }
        case 8: {
            const int count = in.smallInt(int(operand.size()) + 3);
            b.getSubStr(*src.buf, pos, count, flag);
            const std::string taken =
                textmodel::subStr(&src == &t && !flag ? "" : operand, pos, count);
            flag ? m.append(taken) : m.set(taken);
            break;
        }
        case 9: {
            const char kSearch[] = {'a', 'b', 'A', '-', ' ', '\r', 'x'};  // matches often
            const std::string search = in.text(3, kSearch, 7), by = in.text(6, kSearch, 7);
            const int nulls = in.u8() % 8;  // 0: NULL search, 1: NULL replacement
            b.replace(nulls == 0 ? nullptr : search.c_str(), nulls == 1 ? nullptr : by.c_str());
            if (nulls >= 2) {  // NULL changes nothing
                m.replace(visible(search), visible(by));
            }
            break;
        }
        case 10:
            flag ? b.trim() : b.convertLinebreaks();
            m.text = flag ? textmodel::trim(m.text) : textmodel::convertLinebreaks(m.text);
            break;
        case 11:
            flag ? b.toUpperCase() : b.toLowerCase();
            m.text = textmodel::cased(m.text, flag);
            break;
        case 12:
            queries(t, o, in, pos);
            break;
        case 13:
            attachOrDetach(t, in, bytes);
            break;
        case 14:
            writeBuffer(t, in);
            break;
        case 15: {
            const int wanted = in.range(-4, in.u8() & 7 ? 200 : 9000);
            b.assureBufSize(wanted);  // grows while bufLength() < wanted
            m.grow(size_t(std::max(wanted - 1, 0)), size_t(std::max(wanted, 0)));
            break;
        }
        default:
            blocks(in);
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    FuzzInput in(data, size);
    static constexpr int kSteps[] = {4092, 1, 2, 3, 4, 5, 7, 8, 16, 31, 64, 256, 1000, 1};
    Subject subjects[2];
    for (Subject& s : subjects) {
        // 0: the default constructor; 13: a step below 1, which counts as 1.
        const int pick = in.range(0, 13);
        s.buf = pick == 0    ? new CStringBuffer()
                : pick == 13 ? new CStringBuffer(-in.range(0, 3))
                             : new CStringBuffer(kSteps[pick]);
        s.m = textmodel::Buffer{"", kSteps[pick], kSteps[pick]};
        check(*s.buf, s.m, "construct");
    }
    for (int n = 0; n < 256 && !in.empty(); ++n) {
        const uint8_t choice = in.u8();
        Subject& t = subjects[choice & 1];
        if (t.m.text.size() > 3000) {  // keeps runs fast
            t.buf->clear();
            t.m.text.clear();
        }
        step(t, subjects[1 - (choice & 1)], in);
        check(*subjects[0].buf, subjects[0].m, "step");
        check(*subjects[1].buf, subjects[1].m, "step");
    }
    delete subjects[0].buf;  // and the write buffers they have out
    delete subjects[1].buf;
    return 0;
}
