// The key hash of QorStringMap.
//
// The hash is defined over a work area: one fill byte 0x11, the key bytes,
// then 0x11 up to the next multiple of four bytes, read as little-endian
// signed 32-bit words W[0..m-1] with m = n / 4 + 1. The words are chained
// through the middle 32 bits of exact 64-bit products and the final product
// is folded to 24 bits. No work area is built here: W[0] and W[m-1] are
// assembled from the key's first and last bytes, and every word between
// them lies wholly inside the key and is loaded from it directly (at key
// offset 4k - 1), so keys of any length cost no allocation.
#include <climits>
#include <cstdint>
#include <cstring>

#include "containers/QorStringMap.h"
#include "core/Limits.h"

namespace {

constexpr std::uint32_t kFill = 0x11111111u;

// Four key bytes as a little-endian word, whatever the key's alignment.
inline std::uint32_t loadWord(unsigned char const* p)
{
    std::uint32_t word;
    std::memcpy(&word, p, sizeof word);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    word = __builtin_bswap32(word);
#endif
    return word;
}

inline std::int32_t asSigned(std::uint32_t word)
{
    return static_cast<std::int32_t>(word);
}

// Bits 16 to 47 of a 64-bit two's-complement value.
inline std::uint32_t middleBits(std::int64_t product)
{
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(product) >> 16);
}

inline std::int64_t product(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int64_t>(a) * static_cast<std::int64_t>(b);
}

// Words of a key of 0 to 3 bytes: the only word is fill, key, fill.
std::int32_t shortKeyWord(unsigned char const* key, int n)
{
    std::uint32_t word = kFill;
    for (int i = 0; i < n; ++i) {
        int shift = 8 * (i + 1);
        word = (word & ~(0xffu << shift)) | (static_cast<std::uint32_t>(key[i]) << shift);
    }
    return asSigned(word);
}

// Folds the 64-bit product to 24 bits: the middle of hi * lo with its low
// and high bytes swapped.
int fold(std::int64_t p)
{
    auto hi = static_cast<std::int32_t>(static_cast<std::uint64_t>(p) >> 32);
    auto lo = static_cast<std::int32_t>(static_cast<std::uint32_t>(p));
    std::uint32_t r = middleBits(product(hi, lo));
    return static_cast<int>(((r & 0xffu) << 16) | (r & 0xff00u) | ((r >> 16) & 0xffu));
}

}  // namespace

int QorStringMap::hashBytes(char const* key, int length)
{
    int n = length;
    if (n < 0 || key == nullptr) {
        n = zarn::measuredLength(key, "QorStringMap::hash");
    }
    auto const* bytes = reinterpret_cast<unsigned char const*>(key);
    if (n < 4) {
        std::int32_t w = shortKeyWord(bytes, n);
        return fold(product(w, w));
    }

    int m = n / 4 + 1;
    // W[0]: the fill byte, then key bytes 0 to 2.
    std::int32_t first = asSigned((loadWord(bytes) << 8) | 0x11u);
    // W[m-1]: the last n % 4 + 1 key bytes, then fill. They are the top bytes
    // of the word ending at the key's last byte.
    int tail = n % 4 + 1;
    std::uint32_t lastWord = loadWord(bytes + n - 4);
    std::int32_t last = tail == 4
                            ? asSigned(lastWord)
                            : asSigned((lastWord >> (8 * (4 - tail))) | (kFill << (8 * tail)));

    // W[k] for 1 <= k <= m - 2 starts at key offset 4k - 1.
    std::int32_t h = last;
    if (m >= 3) {
        h = asSigned(middleBits(product(first, h)));
        for (int k = 1; k <= m - 3; ++k) {
            h = asSigned(middleBits(product(asSigned(loadWord(bytes + 4 * k - 1)), h)));
        }
    }
    std::int32_t beforeLast = m == 2 ? first : asSigned(loadWord(bytes + 4 * (m - 2) - 1));
    return fold(product(h, beforeLast));
}

int QorStringMap::hash(char const* key, int length)
{
    return hashBytes(key, length);
}
