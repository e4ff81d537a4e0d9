// CStringBuffer: searches, suffix tests and case-insensitive comparison.
// Like libc's string functions they see the text only up to its first NUL.
// Case-insensitive searches compare toupper() forms byte by byte, which finds
// exactly what searching upper-cased copies would, without making the copies.
#include <strings.h>
#include <cctype>
#include <cstring>

#include "text/CStringBuffer.h"
#include "text/StringStorage.h"

namespace {

unsigned char upper(unsigned char c)
{
    return static_cast<unsigned char>(std::toupper(c));
}

const unsigned char* bytes(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

// First position at or after start where the upper-case form of c stands;
// an upper-cased c of 0 finds the terminating NUL, as strchr does.
int findByteNoCase(const char* text, int start, unsigned char c)
{
    const unsigned char target = upper(c);
    const unsigned char* t = bytes(text);
    for (int i = start;; ++i) {
        if (upper(t[i]) == target) {
            return i;
        }
        if (t[i] == 0) {
            return -1;
        }
    }
}

int findTextNoCase(const char* text, int start, const char* needle)
{
    // One table per call: the locale's case mapping may change between calls.
    unsigned char fold[256];
    for (int c = 0; c < 256; ++c) {
        fold[c] = upper(static_cast<unsigned char>(c));
    }
    const unsigned char* t = bytes(text);
    const unsigned char* n = bytes(needle);
    if (n[0] == 0) {
        return start;
    }
    for (int i = start; t[i] != 0; ++i) {
        if (fold[t[i]] != fold[n[0]]) {
            continue;
        }
        // A NUL in the text never equals a needle byte, so this stops at the
        // text's end.
        int k = 1;
        while (n[k] != 0 && fold[t[i + k]] == fold[n[k]]) {
            ++k;
        }
        if (n[k] == 0) {
            return i;
        }
    }
    return -1;
}

}  // namespace

int CStringBuffer::find(char c, int start, bool noCase)
{
    if (len < 1 || start < 0 || start >= len) {
        return -1;
    }
    if (noCase) {
        return findByteNoCase(buffer, start, static_cast<unsigned char>(c));
    }
    const char* hit = std::strchr(buffer + start, c);
    return hit != nullptr ? static_cast<int>(hit - buffer) : -1;
}

int CStringBuffer::find(char const* needle, int start, bool noCase)
{
    if (needle == nullptr || len < 1 || start < 0 || start >= len) {
        return -1;
    }
    if (noCase) {
        return findTextNoCase(buffer, start, needle);
    }
    const char* hit = std::strstr(buffer + start, needle);
    return hit != nullptr ? static_cast<int>(hit - buffer) : -1;
}

int CStringBuffer::findReverse(char c, bool noCase)
{
    if (len < 1) {
        return -1;
    }
    if (!noCase) {
        const char* hit = std::strrchr(buffer, c);
        return hit != nullptr ? static_cast<int>(hit - buffer) : -1;
    }
    const auto textEnd = static_cast<int>(std::strlen(buffer));
    const unsigned char target = upper(static_cast<unsigned char>(c));
    if (target == 0) {
        return textEnd;
    }
    const unsigned char* t = bytes(buffer);
    for (int i = textEnd - 1; i >= 0; --i) {
        if (upper(t[i]) == target) {
            return i;
        }
    }
    return -1;
}

bool CStringBuffer::endsWith(char const* suffix, int length, bool noCase)
{
    if (suffix == nullptr) {
        return true;  // the empty suffix ends every text
    }
    if (length < 0) {
        length = zarn::text::measure(suffix, "CStringBuffer::endsWith");
    }
    if (len < length) {
        return false;
    }
    if (length == 0) {
        return true;
    }
    const char* tail = endPtr - length;
    const auto count = static_cast<std::size_t>(length);
    return noCase ? strncasecmp(tail, suffix, count) == 0 : std::memcmp(tail, suffix, count) == 0;
}

int CStringBuffer::compareNoCase(char const* text)
{
    return strcasecmp(buffer, text != nullptr ? text : "");
}

bool CStringBuffer::equals(char const* text)
{
    return compareNoCase(text) == 0;
}
