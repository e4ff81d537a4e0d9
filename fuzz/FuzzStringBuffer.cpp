// Differential fuzzer for CStringBuffer against the text model
// (tests/models/TextModel.h). Two buffers run the operations the input
// chooses, each taking the other or itself as operand; after every step both
// must hold the model's text, terminator and bufLength(). Queries are checked
// against the model's answers. Attach, detach, the write buffer and the
// storage blocks, which the model does not hold, are followed here.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

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

void check(CStringBuffer& b, textmodel::Buffer const& m, char const* what)
{
    const std::string& text = m.text;
    char const* p = b.getBufferPointer();
    FUZZ_CHECK(b.length() == int(text.size()), "%s: length %d, model %zu", what, b.length(),
               text.size());
    FUZZ_CHECK(std::memcmp(p, text.data(), text.size()) == 0, "%s: text differs", what);
    FUZZ_CHECK(p[text.size()] == '\0', "%s: no terminator", what);
    FUZZ_CHECK(b.bufLength() == m.size, "%s: bufLength %d, model %d (step %d)", what, b.bufLength(),
               m.size, m.step);
}

// Calls vformat the way a variadic wrapper of an application would.
__attribute__((format(printf, 2, 3))) void formatVia(CStringBuffer& b, char const* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    b.vformat(fmt, args);
    va_end(args);
}

int sign(int v)
{
    return (v > 0) - (v < 0);
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
    FUZZ_CHECK(b.find(static_cast<char const*>(nullptr), pos, noCase) == -1, "find(NULL)");
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
    FUZZ_CHECK(sign(b.compareNoCase(against)) == order, "compareNoCase, model %d", order);
    FUZZ_CHECK(b.equals(against) == (order == 0), "equals, model %d", order == 0);
    FUZZ_CHECK((b == *o.buf) == (text == o.m.text), "operator==");
    const int index = in.range(0, len);
    FUZZ_CHECK(b[index] == (index < len ? text[size_t(index)] : '\0'), "operator[](%d)", index);
    const int size = in.range(-2, len + 3);
    std::vector<char> dest(size_t(len) + 8, 'Q');
    const int want = size < 1 ? 0 : (size > len ? len : size - 1);
    FUZZ_CHECK(b.copyTo(dest.data(), size) == want, "copyTo(%d) count", size);
    FUZZ_CHECK(std::string(dest.data(), size_t(want) + 2) ==
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
    switch (in.u8() % 20) {
        case 0:
            b.set(bytes.c_str(), flag ? int(bytes.size()) : -1 - in.range(0, 3));
            m.set(flag ? bytes : visible(bytes));
            break;
        case 1:
            flag ? b.set(v) : b.set(long(v) * 1000003);
            m.setNumber(flag ? std::to_string(v) : std::to_string(long(v) * 1000003));
            break;
        case 2:
            if (flag) {
                b.set(*src.buf);
            } else {
                b = *src.buf;
            }
            m.set(operand);
            break;
        case 3:
            b.append(bytes.c_str(), flag ? int(bytes.size()) : -1);
            m.append(flag ? bytes : visible(bytes));
            break;
        case 4: {
            double d;
            const uint64_t raw = in.u64();
            std::memcpy(&d, &raw, sizeof d);
            d = flag ? d : double(v) / 8;  // short forms too
            b.append(v).append(long(raw)).append(d);
            m.append(std::to_string(v));
            m.append(std::to_string(long(raw)));
            m.append(textmodel::doubleText(d));
            break;
        }
        case 5:
            if (flag) {
                b.append(*src.buf);  // itself: the text doubles
            } else {
                b += *src.buf;
            }
            m.append(operand);
            break;
        case 6: {
            const int width = in.u8() % 32 == 0 ? in.range(0, 17000) : in.range(0, 64);
            b.format("%*d|%s|%c", width, v, bytes.c_str(), char(v));
            m.set(textmodel::formatted("%*d|%s|%c", width, v, bytes.c_str(), char(v)));
            break;
        }
        case 7:  // the text is emptied first: an argument into it reads as ""
            formatVia(b, "<%s|%s>", bytes.c_str(), src.buf->getBufferPointer());
            m.set(
                textmodel::formatted("<%s|%s>", bytes.c_str(), &src == &t ? "" : operand.c_str()));
            break;
        case 8:
            if (flag) {
                b.insert(*src.buf, pos);
                m.insert(operand, pos);
            } else if (in.flag()) {
                b.insert(v, pos);
                m.insert(std::to_string(v), pos);
            } else {
                const bool null = in.u8() % 4 == 0;  // NULL inserts nothing
                b.insert(null ? nullptr : bytes.c_str(), pos);
                m.insert(null ? "" : visible(bytes), pos);
            }
            break;
        case 9: {
            const int count = in.smallInt(int(operand.size()) + 3);
            b.getSubStr(*src.buf, pos, count, flag);
            const std::string taken =
                textmodel::subStr(&src == &t && !flag ? "" : operand, pos, count);
            flag ? m.append(taken) : m.set(taken);
            break;
        }
        case 10: {
            const char kSearch[] = {'a', 'b', 'A', '-', ' ', '\r', 'x'};
            const std::string search = in.text(3, kSearch, sizeof kSearch);
            const std::string by = in.text(6, kSearch, sizeof kSearch);
            const int nulls = in.u8() % 8;  // 0: NULL search, 1: NULL replacement
            b.replace(nulls == 0 ? nullptr : search.c_str(), nulls == 1 ? nullptr : by.c_str());
            if (nulls >= 2) {  // NULL changes nothing
                m.replace(visible(search), visible(by));
            }
            break;
        }
        case 11:
            b.trim();
            m.text = textmodel::trim(m.text);
            break;
        case 12:
            flag ? b.toUpperCase() : b.toLowerCase();
            m.text = textmodel::cased(m.text, flag);
            break;
        case 13:
            b.convertLinebreaks();
            m.text = textmodel::convertLinebreaks(m.text);
            break;
        case 14:
            queries(t, o, in, pos);
            break;
        case 15:
            attachOrDetach(t, in, bytes);
            break;
        case 16:
            writeBuffer(t, in);
            break;
        case 17: {
            const int wanted = in.range(-4, in.u8() & 7 ? 200 : 9000);
            b.assureBufSize(wanted);
            if (wanted > 0) {
                m.grow(size_t(wanted - 1), size_t(wanted));
            }
            break;
        }
        case 18:
            blocks(in);
            break;
        default: {  // copies: own storage, step 4092
            CStringBuffer copy(b), fromText(flag ? bytes.c_str() : nullptr);
            textmodel::Buffer copyModel{"", 4092, 0}, fromTextModel{"", 4092, 0};
            copyModel.set(m.text);
            fromTextModel.set(flag ? visible(bytes) : "");
            check(copy, copyModel, "copy constructor");
            check(fromText, fromTextModel, "CStringBuffer(char const*)");
            break;
        }
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
