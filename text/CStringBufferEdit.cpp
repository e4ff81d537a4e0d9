// CStringBuffer: in-place editing (trim, case, line breaks), substrings,
// insertion and replacement. All of them work by count on the len bytes, so
// NUL bytes inside the text stay part of it.
#include <cctype>
#include <cstdint>
#include <cstring>

#include "core/QorCore.h"
#include "text/CStringBuffer.h"
#include "text/StringStorage.h"

namespace {

bool isSpace(char c)
{
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}

// Replaces every letter of the length bytes of text by convert's result.
template <typename Convert>
void convertLetters(char* text, int length, Convert convert)
{
    for (int i = 0; i < length; ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (std::isalpha(c)) {
            text[i] = static_cast<char>(convert(c));
        }
    }
}

// The largest position i <= from where the needleLength bytes at i equal
// needle, or -1. Reads only text[0 .. from + needleLength), which lets the
// replacement below rewrite everything from the last match onwards.
int lastMatch(const char* text, int from, const char* needle, int needleLength)
{
    if (needleLength == 0) {
        return from < 0 ? -1 : from;
    }
    while (from >= 0) {
        const void* hit = memrchr(text, static_cast<unsigned char>(needle[0]),
                                  static_cast<std::size_t>(from) + 1);
        if (hit == nullptr) {
            return -1;
        }
        const int i = static_cast<int>(static_cast<const char*>(hit) - text);
        if (std::memcmp(text + i + 1, needle + 1, static_cast<std::size_t>(needleLength) - 1) ==
            0) {
            return i;
        }
        from = i - 1;
    }
    return -1;
}

// After a match at i the scan resumes at i - searchLength (i - 1 for the empty
// search text, which matches everywhere): matches never overlap and the
// rightmost of two overlapping ones wins.
int nextFrom(int match, int searchLength)
{
    return match - (searchLength > 0 ? searchLength : 1);
}

long long countMatches(const char* text, int length, const char* search, int searchLength)
{
    long long count = 0;
    for (int i = lastMatch(text, length - searchLength, search, searchLength); i >= 0;
         i = lastMatch(text, nextFrom(i, searchLength), search, searchLength)) {
        ++count;
    }
    return count;
}

// Replacement by a text no longer than the search text (searchLength >= 1),
// in one backward pass: the finished part is built right-aligned at the end
// of the old text, always at or after the match being handled, so the
// bytes the scan still has to read are never overwritten. One move then
// joins it to the untouched head. Returns the new length.
int replaceNotLonger(char* text, int length, const char* search, int searchLength,
                     const char* replacement, int replacementLength)
{
    int headEnd = length;  // text[0 .. headEnd) is still unprocessed
    int write = length;    // the finished part is text[write .. length)
    for (int i = lastMatch(text, length - searchLength, search, searchLength); i >= 0;
         i = lastMatch(text, i - searchLength, search, searchLength)) {
        const int tail = headEnd - (i + searchLength);
        write -= tail;
        if (write != i + searchLength) {
            std::memmove(text + write, text + i + searchLength, static_cast<std::size_t>(tail));
        }
        write -= replacementLength;
        std::memcpy(text + write, replacement, static_cast<std::size_t>(replacementLength));
        headEnd = i;
    }
    if (write != headEnd) {
        std::memmove(text + headEnd, text + write, static_cast<std::size_t>(length - write));
    }
    return headEnd + (length - write);
}

// Replacement by a longer text, in place, into a block already holding
// newLength + 1 bytes. Works from the end: each piece moves right by the
// growth still owed to the matches left of it, so writes stay at or after
// the match being handled.
void replaceLonger(char* text, int length, int newLength, const char* search, int searchLength,
                   const char* replacement, int replacementLength)
{
    int headEnd = length;
    int write = newLength;
    for (int i = lastMatch(text, length - searchLength, search, searchLength); i >= 0;
         i = lastMatch(text, nextFrom(i, searchLength), search, searchLength)) {
        const int tail = headEnd - (i + searchLength);
        write -= tail;
        std::memmove(text + write, text + i + searchLength, static_cast<std::size_t>(tail));
        write -= replacementLength;
        std::memcpy(text + write, replacement, static_cast<std::size_t>(replacementLength));
        headEnd = i;
    }
}

bool pointsInto(const char* text, const char* block, int size)
{
    const auto address = reinterpret_cast<std::uintptr_t>(text);
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    return address >= start && address < start + static_cast<std::uintptr_t>(size);
}

}  // namespace

void CStringBuffer::trim()
{
    int lead = 0;
    while (lead < len && isSpace(buffer[lead])) {
        ++lead;
    }
    if (lead > 0) {
        len -= lead;
        std::memmove(buffer, buffer + lead, static_cast<std::size_t>(len));
        buffer[len] = '\0';
    }
    while (len > 0 && isSpace(buffer[len - 1])) {
        buffer[--len] = '\0';
    }
    endPtr = buffer + len;
}

CStringBuffer& CStringBuffer::toUpperCase()
{
    convertLetters(buffer, len, [](int c) { return std::toupper(c); });
    return *this;
}

CStringBuffer& CStringBuffer::toLowerCase()
{
    convertLetters(buffer, len, [](int c) { return std::tolower(c); });
    return *this;
}

void CStringBuffer::convertLinebreaks()
{
    // One pass that compacts as it goes: a CR before LF or at the very end is
    // dropped, any other CR becomes LF.
    int write = 0;
    for (int read = 0; read < len; ++read) {
        const char c = buffer[read];
        if (c == '\r') {
            if (read + 1 == len || buffer[read + 1] == '\n') {
                continue;
            }
            buffer[write++] = '\n';
        } else {
            buffer[write++] = c;
        }
    }
    std::memset(buffer + write, 0, static_cast<std::size_t>(len - write));
    len = write;
    endPtr = buffer + len;
}

CStringBuffer& CStringBuffer::getSubStr(CStringBuffer& source, int start, int count, bool append)
{
    if (start < 0) {
        start = 0;
    }
    if (!append) {
        clear();
    }
    if (source.len <= start) {
        return *this;
    }
    const int available = source.len - start;
    if (count < 0 || count > available) {
        count = available;
    }
    return append ? this->append(source.buffer + start, count) : set(source.buffer + start, count);
}

CStringBuffer& CStringBuffer::insert(CStringBuffer& text, int position)
{
    if (position < 0) {
        position = 0;
    }
    if (len <= position) {
        return append(text);
    }
    if (text.len == 0) {
        return *this;
    }
    if (&text == this) {
        CStringBuffer copy(text);
        return insert(copy, position);
    }
    const long long total = static_cast<long long>(len) + text.len;
    const auto head = static_cast<std::size_t>(position);
    const auto tail = static_cast<std::size_t>(len - position);
    const auto middle = static_cast<std::size_t>(text.len);
    if (bufSize <= total) {
        // Storage grows exactly as a set() of the whole new text would grow it.
        const int newSize = zarn::text::growthSize(total, blockSize, "CStringBuffer::insert");
        char* block = zarn::text::newBlock(newSize + 1LL, "CStringBuffer::insert");
        std::memcpy(block, buffer, head);
        std::memcpy(block + head, text.buffer, middle);
        std::memcpy(block + head + middle, buffer + head, tail);
        zarn::text::releaseBlock(buffer, bufSize, zarn::text::kStorageKind, "CStringBuffer::insert",
                                 this);
        buffer = block;
        bufSize = newSize;
    } else {
        std::memmove(buffer + head + middle, buffer + head, tail);
        std::memcpy(buffer + head, text.buffer, middle);
    }
    len = static_cast<int>(total);
    endPtr = buffer + len;
    *endPtr = '\0';
    return *this;
}

CStringBuffer& CStringBuffer::insert(int value, int position)
{
    CStringBuffer piece(32);
    piece.set(value);
    return insert(piece, position);
}

CStringBuffer& CStringBuffer::insert(char* text, int position)
{
    return insert(static_cast<char const*>(text), position);
}

CStringBuffer& CStringBuffer::insert(char const* text, int position)
{
    if (text == nullptr) {
        return *this;
    }
    const int count = zarn::text::measure(text, "CStringBuffer::insert");
    CStringBuffer piece(count + 1);
    piece.set(text, count);
    return insert(piece, position);
}

CStringBuffer& CStringBuffer::replace(char const* search, char const* replacement)
{
    if (search == nullptr || replacement == nullptr) {
        return *this;
    }
    const int searchLength = zarn::text::measure(search, "CStringBuffer::replace");
    const int replacementLength = zarn::text::measure(replacement, "CStringBuffer::replace");
    if (searchLength > len || (searchLength == 0 && replacementLength == 0)) {
        return *this;
    }
    // The edit rewrites the block in place; texts taken from it are copied first.
    if (pointsInto(search, buffer, bufSize) || pointsInto(replacement, buffer, bufSize)) {
        CStringBuffer searchCopy(search);
        CStringBuffer replacementCopy(replacement);
        return replace(searchCopy.buffer, replacementCopy.buffer);
    }
    if (replacementLength <= searchLength) {
        len = replaceNotLonger(buffer, len, search, searchLength, replacement, replacementLength);
    } else {
        const long long matches = countMatches(buffer, len, search, searchLength);
        if (matches == 0) {
            return *this;
        }
        // Storage grows as if the matches were replaced one at a time from the
        // right, each growing to (bufSize + replacementLength) when the room
        // left is no more than the extra bytes it needs.
        const int extra = replacementLength - searchLength;
        long long size = bufSize;
        long long newLength = len;
        for (long long k = 0; k < matches; ++k) {
            if (size - newLength <= extra) {
                size = zarn::text::growthSize(size + replacementLength, blockSize,
                                              "CStringBuffer::replace");
            }
            newLength += extra;
        }
        if (size > bufSize) {
            char* block = zarn::text::copiedBlock(buffer, static_cast<int>(size), len);
            zarn::text::releaseBlock(buffer, bufSize, zarn::text::kStorageKind,
                                     "CStringBuffer::replace", this);
            buffer = block;
            bufSize = static_cast<int>(size);
        }
        replaceLonger(buffer, len, static_cast<int>(newLength), search, searchLength, replacement,
                      replacementLength);
        len = static_cast<int>(newLength);
    }
    buffer[len] = '\0';
    endPtr = buffer + len;
    return *this;
}
