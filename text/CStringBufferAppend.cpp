// CStringBuffer: appending, number conversion and printf-style formatting.
// Scratch areas live on the stack; only storage growth touches the heap.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "core/QorCore.h"
#include "text/CStringBuffer.h"
#include "text/StringStorage.h"

namespace {

constexpr int kNumberScratch = 32;
constexpr int kDoubleScratch = 128;
constexpr int kFormatScratch = 16384;

}  // namespace

CStringBuffer& CStringBuffer::append(char const* text, int count)
{
    if (count < 0 || text == nullptr) {
        // NULL appends nothing whatever the count.
        count = zarn::text::measure(text, "CStringBuffer::append");
    }
    if (len == 0) {
        return set(text, count);
    }
    if (bufSize - len <= count) {
        const int newSize = zarn::text::growthSize(static_cast<long long>(len) + count + 1,
                                                   blockSize, "CStringBuffer::append");
        // A buffer may append its own text: remember where it lies, since
        // growing may move the block.
        const auto at = reinterpret_cast<std::uintptr_t>(text);
        const auto start = reinterpret_cast<std::uintptr_t>(buffer);
        const bool ownText = at >= start && at - start < static_cast<std::uintptr_t>(bufSize);
        const std::uintptr_t offset = ownText ? at - start : 0;
#ifdef ZARNCRT_CHECKED
        buffer =
            zarn::text::movedBlock(buffer, bufSize, len, newSize, "CStringBuffer::append", this);
#else
        buffer = zarn::text::extendBlock(buffer, len, newSize, "CStringBuffer::append");
#endif
        bufSize = newSize;
        endPtr = buffer + len;
        QorMemCopy(endPtr, ownText ? buffer + offset : text, count);
    } else {
        QorMemCopy(endPtr, text, count);
    }
    len += count;
    endPtr += count;
    *endPtr = '\0';
    return *this;
}

CStringBuffer& CStringBuffer::append(int value)
{
    // "%lld" of the widened value is the same text as "%d" of the int.
    return append(static_cast<long>(value));
}

CStringBuffer& CStringBuffer::append(long value)
{
    char digits[kNumberScratch];
    const int count = std::snprintf(digits, sizeof digits, "%lld", static_cast<long long>(value));
    return append(digits, count);
}

CStringBuffer& CStringBuffer::append(double value)
{
    char digits[kDoubleScratch];
    const int count = realconv_ftoa(digits, kDoubleScratch, value);
    return append(digits, std::clamp(count, 0, kDoubleScratch - 1));
}

CStringBuffer& CStringBuffer::append(CStringBuffer& other)
{
    return append(other.buffer, other.len);
}

CStringBuffer& CStringBuffer::operator+=(CStringBuffer const& other)
{
    return append(other.buffer, other.len);
}

CStringBuffer& CStringBuffer::format(char const* fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    vformat(fmt, args);
    va_end(args);
    return *this;
}

CStringBuffer& CStringBuffer::vformat(char const* fmt, va_list args)
{
    // Emptied before formatting: an argument pointing into this buffer's text
    // reads as the empty text instead of overlapping the copy below.
    clear();
    if (fmt == nullptr) {
        return *this;
    }
    char scratch[kFormatScratch];
    scratch[0] = '\0';
    const int written = std::vsnprintf(scratch, sizeof scratch, fmt, args);
    // A formatting error keeps whatever the formatter left before failing.
    const int count = written >= 0 ? std::min(written, kFormatScratch - 1)
                                   : static_cast<int>(strnlen(scratch, kFormatScratch - 1));
    return set(scratch, count);
}
