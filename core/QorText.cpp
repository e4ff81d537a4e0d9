// Locale-independent text helpers of the runtime core library.
#include "core/QorCore.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace {

inline unsigned char foldAscii(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

}  // namespace

extern "C" {

int QorCompareNoCase(const char* a, const char* b)
{
    const unsigned char* pa = reinterpret_cast<const unsigned char*>(a != nullptr ? a : "");
    const unsigned char* pb = reinterpret_cast<const unsigned char*>(b != nullptr ? b : "");
    for (;; ++pa, ++pb) {
        const unsigned char ca = foldAscii(*pa);
        const unsigned char cb = foldAscii(*pb);
        if (ca != cb) {
            return ca < cb ? -1 : 1;
        }
        if (ca == 0) {
            return 0;
        }
    }
}

int realconv_ftoa(char* dest, int size, double value)
{
    if (dest == nullptr || size < 1) {
        return 0;
    }
    char text[64];
    size_t length;
    if (std::isnan(value)) {
        std::memcpy(text, "nan", length = 3);
    } else if (std::isinf(value)) {
        length = value < 0 ? 4 : 3;
        std::memcpy(text, value < 0 ? "-inf" : "inf", length);
    } else {
        // Shortest round-trip form; 64 bytes hold any double.
        const std::to_chars_result result = std::to_chars(text, text + sizeof text, value);
        length = static_cast<size_t>(result.ptr - text);
    }
    if (length > static_cast<size_t>(size - 1)) {
        length = static_cast<size_t>(size - 1);
    }
    std::memcpy(dest, text, length);
    dest[length] = '\0';
    return static_cast<int>(length);
}

}  // extern "C"
