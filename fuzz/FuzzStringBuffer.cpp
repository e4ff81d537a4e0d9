// Differential fuzzer for CStringBuffer.
//
// Two buffers (each may be the source of the other's operations, or of its
// own) run a random sequence of operations. Beside each buffer runs a model:
// the text as a std::string and the exact storage size the growth rules give.
// After every step the buffer's length, bytes, terminator and bufLength() must
// equal the model's; searches, comparisons and copies are checked against
// answers computed from the model alone. Case folding and white space follow
// the C locale (the fuzzer never changes the locale).
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/FuzzInput.h"
#include "text/CStringBuffer.h"

namespace {

// Letters of both cases, white space, CR/LF and NUL, so that case folding,
// trimming, line-break conversion and the NUL rules all get work.
constexpr char kAlphabet[] = {'a',  'A',  'b',  'B', 'c', ' ', '\t',
                              '\r', '\n', '\0', 'x', 'Z', '-', '1'};
constexpr size_t kAlphabetLength = sizeof kAlphabet;
// A text longer than this is emptied before the next step, keeping runs fast.
constexpr size_t kMaxText = 3000;
constexpr int kMaxSteps = 256;
constexpr int kFormatLimit = 16383;

int growthSize(long long needed, int step)
{
    return static_cast<int>((needed / step + 1) * step);
}

// One buffer under test and its model.
struct Subject {
    CStringBuffer* buf = nullptr;
    std::string text;          // expected text, NULs included
    int step = 4092;           // blockSize
    int size = 4092;           // expected bufLength()
    bool sized = true;         // size came from the growth rule, not from attach
    char* writeBuf = nullptr;  // block from getBufferSetLength, or NULL
    std::string writeModel;    // expected bytes of writeBuf (its chosen size)

    // Storage sizing of set, append and assureBufSize.
    void setStorage(size_t n)
    {
        if (!(size > static_cast<long long>(n))) {
            size = growthSize(static_cast<long long>(n), step);
            sized = true;
        }
    }
    void appendStorage(size_t n)
    {
        if (text.empty()) {
            setStorage(n);
        } else if (static_cast<long long>(size) - static_cast<long long>(text.size()) <=
                   static_cast<long long>(n)) {
            size = growthSize(static_cast<long long>(text.size() + n + 1), step);
            sized = true;
        }
    }
    void assureStorage(long long s)
    {
        if (size < s) {
            size = growthSize(s, step);
            sized = true;
        }
    }
    void modelSet(std::string const& t)
    {
        setStorage(t.size());
        text = t;
    }
    void modelAppend(std::string const& t)
    {
        appendStorage(t.size());
        text += t;
    }
};

size_t firstDifference(char const* a, std::string const& b)
{
    size_t i = 0;
    while (i < b.size() && a[i] == b[i]) {
        ++i;
    }
    return i;
}

void check(Subject& s, char const* step)
{
    CStringBuffer& b = *s.buf;
    const int len = b.length();
    FUZZ_CHECK(len == static_cast<int>(s.text.size()), "%s: length %d, model %zu", step, len,
               s.text.size());
    char const* p = b.getBufferPointer();
    FUZZ_CHECK(p != nullptr, "%s: NULL buffer", step);
    FUZZ_CHECK(static_cast<char const*>(b) == p && static_cast<char*>(b) == p,
               "%s: conversions disagree", step);
    FUZZ_CHECK(std::memcmp(p, s.text.data(), s.text.size()) == 0,
               "%s: text differs at byte %zu of %zu", step, firstDifference(p, s.text),
               s.text.size());
    FUZZ_CHECK(p[len] == '\0', "%s: no NUL at length %d", step, len);
    FUZZ_CHECK(b.bufLength() > len, "%s: bufLength %d not above length %d", step, b.bufLength(),
               len);
    FUZZ_CHECK(b.bufLength() == s.size, "%s: bufLength %d, model %d (step %d, length %d)", step,
               b.bufLength(), s.size, s.step, len);
    if (s.sized) {
        FUZZ_CHECK(b.bufLength() % s.step == 0, "%s: bufLength %d not a multiple of %d", step,
                   b.bufLength(), s.step);
    }
}

// --- Model answers, written from the documented rules only.

std::string upper(std::string t)
{
    for (char& c : t) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return t;
}

std::string lower(std::string t)
{
    for (char& c : t) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return t;
}

// The text a NUL-terminated search sees from start: up to the next NUL.
std::string visibleFrom(std::string const& t, size_t start)
{
    const size_t nul = t.find('\0', start);
    return t.substr(start, nul == std::string::npos ? std::string::npos : nul - start);
}

int modelFindChar(std::string const& t, int start, char c, bool noCase)
{
    if (t.empty() || start < 0 || start >= static_cast<int>(t.size())) {
        return -1;
    }
    const std::string hay = noCase ? upper(t) : t;
    const char wanted = noCase ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
    const std::string seen = visibleFrom(hay, static_cast<size_t>(start));
    if (wanted == '\0') {
        return start + static_cast<int>(seen.size());  // the terminator itself
    }
    const size_t at = seen.find(wanted);
    return at == std::string::npos ? -1 : start + static_cast<int>(at);
}

int modelFindText(std::string const& t, int start, std::string const& needleBytes, bool noCase)
{
    if (t.empty() || start < 0 || start >= static_cast<int>(t.size())) {
        return -1;
    }
    std::string needle = visibleFrom(needleBytes, 0);
    std::string seen = visibleFrom(t, static_cast<size_t>(start));
    if (noCase) {
        needle = upper(needle);
        seen = upper(seen);
    }
    const size_t at = seen.find(needle);
    return at == std::string::npos ? -1 : start + static_cast<int>(at);
}

int modelFindReverse(std::string const& t, char c, bool noCase)
{
    if (t.empty()) {
        return -1;
    }
    std::string seen = visibleFrom(t, 0);
    char wanted = c;
    if (noCase) {
        seen = upper(seen);
        wanted = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    if (wanted == '\0') {
        return static_cast<int>(seen.size());
    }
    const size_t at = seen.rfind(wanted);
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

// strncasecmp-style equality of n bytes, stopping at a common NUL.
bool foldedEqual(char const* a, char const* b, size_t n)
{
    for (size_t i = 0; i < n; ++i) {
        const int ca = std::tolower(static_cast<unsigned char>(a[i]));
        const int cb = std::tolower(static_cast<unsigned char>(b[i]));
        if (ca != cb) {
            return false;
        }
        if (ca == 0) {
            return true;
        }
    }
    return true;
}

int sign(int v)
{
    return (v > 0) - (v < 0);
}

int modelCompareNoCase(std::string const& t, std::string const& other)
{
    const std::string a = lower(visibleFrom(t, 0));
    const std::string b = lower(visibleFrom(other, 0));
    return sign(a.compare(b));  // std::string compares chars as unsigned
}

void modelReplace(Subject& s, std::string const& f, std::string const& r)
{
    long long i = static_cast<long long>(s.text.size()) - static_cast<long long>(f.size());
    while (i >= 0) {
        if (s.text.compare(static_cast<size_t>(i), f.size(), f) != 0) {
            --i;
            continue;
        }
        if (r.size() > f.size() &&
            static_cast<long long>(s.size) - static_cast<long long>(s.text.size()) <=
                static_cast<long long>(r.size() - f.size())) {
            s.assureStorage(static_cast<long long>(s.size) + static_cast<long long>(r.size()));
        }
        s.text.replace(static_cast<size_t>(i), f.size(), r);
        i -= f.empty() ? 1 : static_cast<long long>(f.size());
    }
}

std::string modelConvertLinebreaks(std::string const& t)
{
    std::string out;
    for (size_t i = 0; i < t.size(); ++i) {
        if (t[i] != '\r') {
            out.push_back(t[i]);
        } else if (i + 1 < t.size() && t[i + 1] != '\n') {
            out.push_back('\n');
        }  // CR before LF and a trailing CR disappear
    }
    return out;
}

std::string modelTrim(std::string const& t)
{
    size_t begin = 0;
    size_t end = t.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(t[begin]))) {
        ++begin;
    }
    while (end > begin && std::isspace(static_cast<unsigned char>(t[end - 1]))) {
        --end;
    }
    return t.substr(begin, end - begin);
}

std::string doubleText(double v)
{
    if (std::isnan(v)) {
        return "nan";
    }
    if (std::isinf(v)) {
        return v < 0 ? "-inf" : "inf";
    }
    char scratch[64];
    const std::to_chars_result r = std::to_chars(scratch, scratch + sizeof scratch, v);
    return std::string(scratch, r.ptr);
}

// What format() leaves: the formatter's output cut to 16383 bytes, NULs from
// "%c" included.
template <typename... Args>
std::string formatted(char const* fmt, Args... args)
{
    std::vector<char> scratch(kFormatLimit + 64);
    int n = std::snprintf(scratch.data(), scratch.size(), fmt, args...);
    if (n < 0) {
        n = static_cast<int>(std::strlen(scratch.data()));
    }
    return std::string(scratch.data(), static_cast<size_t>(n < kFormatLimit ? n : kFormatLimit));
}

// Calls vformat the way a variadic wrapper of an application would.
#if defined(__GNUC__) || defined(__clang__)
__attribute__((format(printf, 2, 3)))
#endif
void formatThroughVaList(CStringBuffer& b, char const* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    b.vformat(fmt, args);
    va_end(args);
}

std::string piece(FuzzInput& in, size_t maxLength)
{
    return in.text((in.u8() & 15) == 0 ? maxLength * 8 : maxLength, kAlphabet, kAlphabetLength);
}

// --- The steps

void makeSubject(Subject& s, FuzzInput& in)
{
    switch (in.range(0, 5)) {
        case 0:
            s.buf = new CStringBuffer();
            s.step = 4092;
            break;
        case 1: {
            const int requested = in.range(-3, 0);  // 0 and below mean 1
            s.buf = new CStringBuffer(requested);
            s.step = 1;
            break;
        }
        default: {
            static constexpr int kSteps[] = {1, 2, 3, 4, 5, 7, 8, 16, 31, 64, 256, 1000};
            s.step = kSteps[in.range(0, sizeof kSteps / sizeof kSteps[0] - 1)];
            s.buf = new CStringBuffer(s.step);
            break;
        }
    }
    s.size = s.step;
    s.sized = true;
    check(s, "construct");
}

void stepAssign(Subject& t, Subject& o, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    switch (in.range(0, 8)) {
        case 0: {
            const std::string bytes = piece(in, 48);
            b.set(bytes.data(), static_cast<int>(bytes.size()));
            t.modelSet(bytes);
            break;
        }
        case 1: {
            const std::string bytes = piece(in, 48);
            b.set(bytes.c_str(), -1 - in.range(0, 3));
            t.modelSet(visibleFrom(bytes, 0));
            break;
        }
        case 2:
            b.set(nullptr, in.flag() ? -1 : 0);
            t.modelSet("");
            break;
        case 3: {
            const int v = static_cast<int>(in.u32());
            b.set(v);
            t.assureStorage(64);
            t.text = std::to_string(v);
            break;
        }
        case 4: {
            const long v = static_cast<long>(in.u64());
            b.set(v);
            t.assureStorage(64);
            t.text = std::to_string(v);
            break;
        }
        case 5:
        case 6: {
            Subject& src = in.flag() ? o : t;
            const std::string copy = src.text;
            if (in.flag()) {
                b.set(*src.buf);
            } else {
                b = *src.buf;
            }
            if (copy != t.text) {
                t.modelSet(copy);
            }
            break;
        }
        case 7:
            b.clear();
            t.text.clear();
            break;
        default: {
            // Copies made by the constructors: own storage, step 4092.
            CStringBuffer copy(b);
            Subject c;
            c.buf = &copy;
            c.text = t.text;
            c.step = 4092;
            c.size = 0;
            c.setStorage(t.text.size());
            check(c, "copy constructor");
            const std::string bytes = piece(in, 32);
            const bool withText = in.flag();
            CStringBuffer fromText(withText ? bytes.c_str() : nullptr);
            Subject f;
            f.buf = &fromText;
            f.text = withText ? visibleFrom(bytes, 0) : std::string();
            f.size = 0;
            f.setStorage(f.text.size());
            check(f, "CStringBuffer(char const*)");
            break;
        }
    }
}

void stepAppend(Subject& t, Subject& o, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    switch (in.range(0, 8)) {
        case 0: {
            const std::string bytes = piece(in, 48);
            b.append(bytes.data(), static_cast<int>(bytes.size()));
            t.modelAppend(bytes);
            break;
        }
        case 1: {
            const std::string bytes = piece(in, 48);
            b.append(bytes.c_str(), -1);
            t.modelAppend(visibleFrom(bytes, 0));
            break;
        }
        case 2:
            b.append(nullptr, in.flag() ? -1 : 0);
            t.modelAppend("");
            break;
        case 3: {
            const int v = static_cast<int>(in.u32());
            b.append(v);
            t.modelAppend(std::to_string(v));
            break;
        }
        case 4: {
            const long v = static_cast<long>(in.u64());
            b.append(v);
            t.modelAppend(std::to_string(v));
            break;
        }
        case 5: {
            double v;
            const uint64_t bits = in.u64();
            std::memcpy(&v, &bits, sizeof v);
            if (in.flag()) {
                v = static_cast<double>(static_cast<int32_t>(bits)) / 8.0;  // short forms too
            }
            b.append(v);
            t.modelAppend(doubleText(v));
            break;
        }
        default: {
            Subject& src = in.flag() ? o : t;  // appending itself doubles the text
            const std::string copy = src.text;
            if (in.flag()) {
                b.append(*src.buf);
            } else {
                b += *src.buf;
            }
            t.modelAppend(copy);
            break;
        }
    }
}

void stepFormat(Subject& t, Subject& o, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    std::string expected;
    switch (in.range(0, 6)) {
        case 0: {
            const std::string other = o.text;
            b.format("%s", o.buf->getBufferPointer());
            expected = formatted("%s", other.c_str());
            if (&o == &t) {
                expected.clear();  // the text is emptied before formatting
            }
            break;
        }
        case 1: {
            const int v = static_cast<int>(in.u32());
            const std::string word = piece(in, 24);
            b.format("%d:%s", v, word.c_str());
            expected = formatted("%d:%s", v, word.c_str());
            break;
        }
        case 2:
            b.format("[%s]", b.getBufferPointer());
            expected = "[]";
            break;
        case 3: {
            const int width = (in.u8() & 31) == 0 ? in.range(0, 17000) : in.range(0, 64);
            const int v = static_cast<int>(in.u32());
            b.format("%*d", width, v);
            expected = formatted("%*d", width, v);
            break;
        }
        case 4: {
            double d;
            const uint64_t bits = in.u64();
            std::memcpy(&d, &bits, sizeof d);
            const char c = static_cast<char>(in.u8() % 3 == 0 ? 0 : in.u8());
            const unsigned x = in.u32();
            b.format("%.3f|%c|%x", d, c, x);
            expected = formatted("%.3f|%c|%x", d, c, x);
            break;
        }
        case 5: {
            const long long v = static_cast<long long>(in.u64());
            const double d = static_cast<double>(static_cast<int32_t>(in.u32())) / 3.0;
            b.format("%lld %5.1e", v, d);
            expected = formatted("%lld %5.1e", v, d);
            break;
        }
        default: {
            const std::string word = piece(in, 24);
            const unsigned v = in.u32();
            formatThroughVaList(b, "<%s|%u|%s>", word.c_str(), v, b.getBufferPointer());
            expected = formatted("<%s|%u|%s>", word.c_str(), v, "");
            break;
        }
    }
    t.text.clear();
    t.modelSet(expected);
}

void stepInsert(Subject& t, Subject& o, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    const int position = in.smallInt(static_cast<int>(t.text.size()) + 4);
    std::string inserted;
    bool isNull = false;
    switch (in.range(0, 4)) {
        case 0: {
            Subject& src = in.flag() ? o : t;
            inserted = src.text;
            b.insert(*src.buf, position);
            break;
        }
        case 1: {
            const int v = static_cast<int>(in.u32());
            b.insert(v, position);
            inserted = std::to_string(v);
            break;
        }
        case 2: {
            std::string bytes = piece(in, 32);
            b.insert(&bytes[0], position);  // the char* form
            inserted = visibleFrom(bytes, 0);
            break;
        }
        case 3: {
            const std::string bytes = piece(in, 32);
            b.insert(bytes.c_str(), position);
            inserted = visibleFrom(bytes, 0);
            break;
        }
        default:
            if (in.flag()) {
                b.insert(static_cast<char*>(nullptr), position);
            } else {
                b.insert(static_cast<char const*>(nullptr), position);
            }
            isNull = true;
            break;
    }
    if (isNull) {
        return;
    }
    const int p = position < 0 ? 0 : position;
    if (static_cast<int>(t.text.size()) <= p) {
        t.modelAppend(inserted);
    } else if (!inserted.empty()) {
        std::string merged = t.text;
        merged.insert(static_cast<size_t>(p), inserted);
        t.modelSet(merged);
    }
}

void stepSubStr(Subject& t, Subject& o, FuzzInput& in)
{
    Subject& src = in.flag() ? o : t;
    const bool append = in.flag();
    const int start = in.smallInt(static_cast<int>(src.text.size()) + 3);
    const int count = in.smallInt(static_cast<int>(src.text.size()) + 3);
    const std::string source = src.text;
    t.buf->getSubStr(*src.buf, start, count, append);

    if (!append) {
        t.text.clear();
    }
    const std::string seen = (&src == &t && !append) ? std::string() : source;
    const long long s = start < 0 ? 0 : start;
    if (static_cast<long long>(seen.size()) <= s) {
        return;
    }
    long long c = count;
    if (c < 0 || c > static_cast<long long>(seen.size()) - s) {
        c = static_cast<long long>(seen.size()) - s;
    }
    const std::string taken = seen.substr(static_cast<size_t>(s), static_cast<size_t>(c));
    if (append) {
        t.modelAppend(taken);
    } else {
        t.modelSet(taken);
    }
}

void stepReplace(Subject& t, FuzzInput& in)
{
    static constexpr char kSearchAlphabet[] = {'a', 'b', 'A', '-', ' ', '\r', 'x'};
    const std::string search = in.text(3, kSearchAlphabet, sizeof kSearchAlphabet);
    const std::string replacement = in.text(6, kSearchAlphabet, sizeof kSearchAlphabet);
    switch (in.u8() & 15) {
        case 0:
            t.buf->replace(nullptr, replacement.c_str());
            return;
        case 1:
            t.buf->replace(search.c_str(), nullptr);
            return;
        default:
            t.buf->replace(search.c_str(), replacement.c_str());
            modelReplace(t, visibleFrom(search, 0), visibleFrom(replacement, 0));
            return;
    }
}

void stepEdit(Subject& t, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    switch (in.range(0, 3)) {
        case 0:
            b.trim();
            t.text = modelTrim(t.text);
            break;
        case 1:
            b.toUpperCase();
            t.text = upper(t.text);
            break;
        case 2:
            b.toLowerCase();
            t.text = lower(t.text);
            break;
        default:
            b.convertLinebreaks();
            t.text = modelConvertLinebreaks(t.text);
            break;
    }
}

// Queries: nothing changes, answers must match the model.
void stepSearch(Subject& t, Subject& o, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    const int len = static_cast<int>(t.text.size());
    const bool noCase = in.flag();
    switch (in.range(0, 9)) {
        case 0:
        case 1: {
            const char c =
                in.flag() ? static_cast<char>(in.u8()) : kAlphabet[in.u8() % kAlphabetLength];
            const int start = in.smallInt(len + 2);
            const int got = b.find(c, start, noCase);
            const int want = modelFindChar(t.text, start, c, noCase);
            FUZZ_CHECK(got == want, "find('%d', %d, %d) = %d, model %d", c, start, noCase, got,
                       want);
            break;
        }
        case 2:
        case 3: {
            const std::string needle = in.text(4, kAlphabet, kAlphabetLength);
            const int start = in.smallInt(len + 2);
            const int got = b.find(needle.c_str(), start, noCase);
            const int want = modelFindText(t.text, start, needle, noCase);
            FUZZ_CHECK(got == want, "find(\"%s\", %d, %d) = %d, model %d", needle.c_str(), start,
                       noCase, got, want);
            FUZZ_CHECK(b.find(static_cast<char const*>(nullptr), start, noCase) == -1,
                       "find(NULL) not -1");
            break;
        }
        case 4: {
            const char c =
                in.flag() ? static_cast<char>(in.u8()) : kAlphabet[in.u8() % kAlphabetLength];
            const int got = b.findReverse(c, noCase);
            const int want = modelFindReverse(t.text, c, noCase);
            FUZZ_CHECK(got == want, "findReverse('%d', %d) = %d, model %d", c, noCase, got, want);
            break;
        }
        case 5:
        case 6: {
            // Suffixes taken from the text's end (often matching) or random.
            std::string suffix = in.text(6, kAlphabet, kAlphabetLength);
            if (in.flag() && len > 0) {
                const int n = in.range(0, len < 8 ? len : 8);
                suffix = t.text.substr(static_cast<size_t>(len - n));
                if (in.flag()) {
                    suffix = in.flag() ? upper(suffix) : lower(suffix);
                }
            }
            int n = in.flag() ? -1 : in.range(0, static_cast<int>(suffix.size()));
            char const* arg = in.u8() % 8 == 0 ? nullptr : suffix.c_str();
            if (arg == nullptr && n > 0) {
                n = -1;  // NULL is the empty suffix only when measured
            }
            const bool got = b.endsWith(arg, n, noCase);
            if (n < 0) {
                n = arg == nullptr ? 0 : static_cast<int>(std::strlen(arg));
            }
            bool want = false;
            if (n <= len) {
                char const* tail = t.text.data() + (len - n);
                want = noCase ? foldedEqual(tail, arg, static_cast<size_t>(n))
                              : std::memcmp(tail, arg == nullptr ? "" : arg, n) == 0;
            }
            FUZZ_CHECK(got == want, "endsWith(%d bytes, %d) = %d, model %d", n, noCase, got, want);
            break;
        }
        case 7: {
            const std::string other = in.flag() ? o.text : in.text(6, kAlphabet, kAlphabetLength);
            char const* arg = in.u8() % 8 == 0 ? nullptr : other.c_str();
            const std::string seen = arg == nullptr ? std::string() : other;
            const int want = modelCompareNoCase(t.text, seen);
            FUZZ_CHECK(sign(b.compareNoCase(arg)) == want, "compareNoCase sign, model %d", want);
            FUZZ_CHECK(b.equals(arg) == (want == 0), "equals, model %d", want == 0);
            break;
        }
        case 8: {
            Subject& other = in.flag() ? o : t;
            FUZZ_CHECK((b == *other.buf) == (t.text == other.text), "operator== disagrees");
            const int index = in.range(0, len);
            FUZZ_CHECK(b[index] == (index < len ? t.text[static_cast<size_t>(index)] : '\0'),
                       "operator[](%d)", index);
            break;
        }
        default: {
            const int size = in.range(-2, len + 3);
            std::vector<char> dest(static_cast<size_t>(len) + 8, 'Q');
            const int got = b.copyTo(dest.data(), size);
            int want = 0;
            if (size >= 1) {
                want = len == 0 ? 0 : (size > len ? len : size - 1);
                FUZZ_CHECK(
                    std::memcmp(dest.data(), t.text.data(), static_cast<size_t>(want)) == 0 &&
                        dest[static_cast<size_t>(want)] == '\0',
                    "copyTo(%d) bytes", size);
                FUZZ_CHECK(dest[static_cast<size_t>(want) + 1] == 'Q', "copyTo(%d) wrote past",
                           size);
            } else {
                FUZZ_CHECK(dest[0] == 'Q', "copyTo(%d) touched the destination", size);
            }
            FUZZ_CHECK(got == want, "copyTo(%d) = %d, model %d", size, got, want);
            break;
        }
    }
}

void stepPrint(Subject& t)
{
    char* out = nullptr;
    size_t outSize = 0;
    FILE* stream = open_memstream(&out, &outSize);
    FUZZ_CHECK(stream != nullptr, "open_memstream");
    const int got = t.buf->print(stream);
    std::fclose(stream);
    const std::string want = visibleFrom(t.text, 0);
    FUZZ_CHECK(got == static_cast<int>(want.size()) && outSize == want.size() &&
                   std::memcmp(out, want.data(), want.size()) == 0,
               "print wrote %zu bytes (returned %d), model %zu", outSize, got, want.size());
    std::free(out);
}

void stepAttachDetach(Subject& t, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    switch (in.range(0, 2)) {
        case 0: {
            const std::string bytes = piece(in, 64);
            const int n = static_cast<int>(bytes.size());
            const int blockBytes = n + in.range(1, 48);
            char* block = static_cast<char*>(std::malloc(static_cast<size_t>(blockBytes)));
            std::memcpy(block, bytes.data(), bytes.size());
            block[n] = '\0';
            const int lengthArg = in.flag() ? n : -in.range(0, 3);  // 0 and below: strlen
            const int sizeArg = in.flag() ? -in.range(0, 3) : in.range(n + 1, blockBytes);
            b.attach(block, lengthArg, sizeArg);
            const int length = lengthArg > 0 ? n : static_cast<int>(std::strlen(block));
            t.text.assign(block, static_cast<size_t>(length));
            t.size = sizeArg > 0 ? sizeArg : length + 1;
            t.sized = false;
            break;
        }
        case 1:
            b.attach(nullptr, in.range(0, 5), in.range(0, 5));  // acts as clear()
            t.text.clear();
            break;
        default: {
            char* block = b.detach();
            FUZZ_CHECK(block != nullptr && std::memcmp(block, t.text.data(), t.text.size()) == 0 &&
                           block[t.text.size()] == '\0',
                       "detach returned other bytes");
            CStringBuffer::freeString(block);
            if (t.writeBuf != nullptr) {
                // detach forgets the write buffer; it is ours to release now.
                CStringBuffer::freeString(t.writeBuf);
                t.writeBuf = nullptr;
            }
            t.text.clear();
            t.size = t.step;
            t.sized = true;
            break;
        }
    }
}

void stepWriteBuffer(Subject& t, FuzzInput& in)
{
    CStringBuffer& b = *t.buf;
    if (t.writeBuf == nullptr || in.range(0, 3) == 0) {
        const int requested = in.flag() ? in.range(-2, 0) : in.range(1, (in.u8() & 15) ? 80 : 5000);
        char* w = b.getBufferSetLength(requested);
        const int chosen = requested > 0 ? requested : t.step;
        const size_t kept = t.text.size() < static_cast<size_t>(chosen - 1)
                                ? t.text.size()
                                : static_cast<size_t>(chosen - 1);
        t.writeModel.assign(static_cast<size_t>(chosen), '\0');
        t.writeModel.replace(0, kept, t.text, 0, kept);
        // The block is zero-filled up to its size rounded to a multiple of 4.
        const size_t blockBytes = (static_cast<size_t>(chosen) + 3) / 4 * 4;
        FUZZ_CHECK(w != nullptr && std::memcmp(w, t.writeModel.data(), t.writeModel.size()) == 0,
                   "getBufferSetLength(%d): contents", requested);
        for (size_t i = t.writeModel.size(); i < blockBytes; ++i) {
            FUZZ_CHECK(w[i] == '\0', "getBufferSetLength(%d): padding not zero", requested);
        }
        t.writeBuf = w;
        // Fill some bytes, as a caller would.
        const int writes = in.range(0, 8);
        for (int i = 0; i < writes; ++i) {
            const size_t at = static_cast<size_t>(in.range(0, chosen - 1));
            const char c = kAlphabet[in.u8() % kAlphabetLength];
            w[at] = c;
            t.writeModel[at] = c;
        }
        return;
    }
    const bool keep = in.flag();
    int count = in.flag() ? -1 : in.range(0, static_cast<int>(t.writeModel.size()) + 4);
    const size_t chosen = t.writeModel.size();
    size_t n = 0;
    if (keep && count < 0) {
        n = t.writeModel.find('\0');
        if (n == std::string::npos) {
            if (chosen % 4 == 0) {
                // The caller must leave a terminator within the size.
                t.writeBuf[chosen - 1] = '\0';
                t.writeModel[chosen - 1] = '\0';
                n = chosen - 1;
            } else {
                n = chosen;  // the block's zero padding ends the text
            }
        }
    } else if (keep) {
        n = static_cast<size_t>(count) < chosen ? static_cast<size_t>(count) : chosen;
    }
    b.releaseBuffer(keep, count);
    if (keep) {
        t.modelSet(t.writeModel.substr(0, n));
    }
    t.writeBuf = nullptr;
    t.writeModel.clear();
}

// The static block functions, on blocks of their own.
void stepBlocks(FuzzInput& in)
{
    const int size = in.range(-3, 300);
    char* block = CStringBuffer::allocString(size);
    const int rounded = size < 1 ? 4 : (size + 3) / 4 * 4;
    for (int i = 0; i < rounded; ++i) {
        FUZZ_CHECK(block[i] == '\0', "allocString(%d): byte %d not zero", size, i);
    }
    const std::string bytes = in.text(static_cast<size_t>(rounded - 1), kAlphabet, kAlphabetLength);
    std::memcpy(block, bytes.data(), bytes.size());
    const int newSize = in.range(1, 400);
    char* grown = CStringBuffer::reallocString(block, newSize);
    // The text up to its first NUL, cut to newSize - 1, then zeros.
    std::string want = visibleFrom(bytes, 0);
    if (want.size() > static_cast<size_t>(newSize - 1)) {
        want.resize(static_cast<size_t>(newSize - 1));
    }
    FUZZ_CHECK(std::memcmp(grown, want.data(), want.size()) == 0,
               "reallocString(%d): text not carried over", newSize);
    for (int i = static_cast<int>(want.size()); i < newSize; ++i) {
        FUZZ_CHECK(grown[i] == '\0', "reallocString(%d): byte %d not zero", newSize, i);
    }
    CStringBuffer::freeString(grown);
    CStringBuffer::freeString(nullptr);
    char* fresh = CStringBuffer::reallocString(nullptr, newSize);
    FUZZ_CHECK(fresh != nullptr && fresh[0] == '\0', "reallocString(NULL, %d)", newSize);
    CStringBuffer::freeString(fresh);
}

void runSequence(FuzzInput& in)
{
    // Set ZARNCRT_FUZZ_TRACE to follow a reproducer step by step.
    static bool const trace = std::getenv("ZARNCRT_FUZZ_TRACE") != nullptr;
    Subject subjects[2];
    makeSubject(subjects[0], in);
    makeSubject(subjects[1], in);

    for (int stepNumber = 0; stepNumber < kMaxSteps && !in.empty(); ++stepNumber) {
        const uint8_t choice = in.u8();
        Subject& t = subjects[(choice & 0x80) ? 1 : 0];
        Subject& o = subjects[(choice & 0x80) ? 0 : 1];
        if (t.text.size() > kMaxText) {
            t.buf->clear();
            t.text.clear();
            check(t, "clear of a long text");
            continue;
        }
        char const* name = "";
        switch ((choice & 0x7f) % 16) {
            case 0:
            case 1:
                stepAssign(t, o, in);
                name = "assign";
                break;
            case 2:
            case 3:
                stepAppend(t, o, in);
                name = "append";
                break;
            case 4:
                stepFormat(t, o, in);
                name = "format";
                break;
            case 5:
                stepInsert(t, o, in);
                name = "insert";
                break;
            case 6:
                stepSubStr(t, o, in);
                name = "getSubStr";
                break;
            case 7:
                stepReplace(t, in);
                name = "replace";
                break;
            case 8:
            case 9:
                stepEdit(t, in);
                name = "edit";
                break;
            case 10:
            case 11:
                stepSearch(t, o, in);
                name = "search";
                break;
            case 12:
                stepAttachDetach(t, in);
                name = "attach/detach";
                break;
            case 13:
                stepWriteBuffer(t, in);
                name = "write buffer";
                break;
            case 14: {
                const int wanted = in.range(-4, (in.u8() & 7) ? 200 : 9000);
                t.buf->assureBufSize(wanted);
                t.assureStorage(wanted);
                name = "assureBufSize";
                break;
            }
            default:
                if (in.u8() % 4 == 0) {
                    stepBlocks(in);
                } else if (in.flag()) {
                    stepPrint(t);
                } else {
                    // releaseBuffer without a write buffer does nothing.
                    if (t.writeBuf == nullptr) {
                        t.buf->releaseBuffer(true, -1);
                    }
                }
                name = "print";
                break;
        }
        if (trace) {
            std::fprintf(stderr, "step %d: %s on %c -> length %zu, bufLength %d\n", stepNumber,
                         name, &t == &subjects[0] ? 'A' : 'B', t.text.size(), t.buf->bufLength());
        }
        check(t, name);
        check(o, name);
    }
    delete subjects[0].buf;
    delete subjects[1].buf;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    FuzzInput in(data, size);
    runSequence(in);
    return 0;
}
