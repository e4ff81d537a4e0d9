// Display width of UTF-8 text: a decoder that accepts only well-formed
// sequences and a table of the common zero-width and wide blocks.
#include "DisplayWidth.h"

#include <cstdint>

namespace wordindex {
namespace {

// The code point of the well-formed UTF-8 sequence at text, and its length
// in *length; 0 in *length when none starts there (a byte that belongs to
// no well-formed character).
std::uint32_t decode(const unsigned char* text, int* length)
{
    const unsigned char c = text[0];
    unsigned char low = 0x80, high = 0xBF;  // the range of the second byte
    std::uint32_t point = 0;
    *length = 0;
    if (c < 0x80) {
        *length = 1;
        return c;
    } else if (c >= 0xC2 && c <= 0xDF) {
        *length = 2;
        point = c & 0x1Fu;
    } else if (c >= 0xE0 && c <= 0xEF) {
        *length = 3;
        point = c & 0x0Fu;
        low = c == 0xE0 ? 0xA0 : 0x80;   // no overlong forms
        high = c == 0xED ? 0x9F : 0xBF;  // no surrogates
    } else if (c >= 0xF0 && c <= 0xF4) {
        *length = 4;
        point = c & 0x07u;
        low = c == 0xF0 ? 0x90 : 0x80;
        high = c == 0xF4 ? 0x8F : 0xBF;  // nothing beyond U+10FFFF
    } else {
        return 0;
    }
    for (int i = 1; i < *length; ++i) {
        if (text[i] < (i == 1 ? low : 0x80) || text[i] > (i == 1 ? high : 0xBF)) {
            *length = 0;
            return 0;
        }
        point = point << 6 | (text[i] & 0x3Fu);
    }
    return point;
}

// Columns a terminal gives the character: 0 for combining marks and
// zero-width characters, 2 for East Asian wide and fullwidth ones (the
// common blocks: Hangul, CJK, kana, fullwidth forms, emoji), 1 otherwise.
int columnsOf(std::uint32_t c)
{
    struct Range {
        std::uint32_t first, last;
    };
    static const Range zero[] = {
        {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
        {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x202A, 0x202E}, {0x2060, 0x2064},
        {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}};
    static const Range wide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0x33FF},
                                 {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},
                                 {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE4F},
                                 {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x1F300, 0x1F64F},
                                 {0x1F900, 0x1F9FF}, {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD}};
    for (const Range& r : zero) {
        if (c >= r.first && c <= r.last) {
            return 0;
        }
    }
    for (const Range& r : wide) {
        if (c >= r.first && c <= r.last) {
            return 2;
        }
    }
    return 1;
}

}  // namespace

// The columns word takes on a terminal: the width of each UTF-8 character,
// and one for each byte that belongs to no well-formed character (shown as a
// replacement character).
int columns(const char* word)
{
    const auto* text = reinterpret_cast<const unsigned char*>(word);
    int width = 0;
    while (*text != 0) {
        int length = 0;
        const std::uint32_t point = decode(text, &length);
        if (length == 0) {
            ++width;
            ++text;
        } else {
            width += columnsOf(point);
            text += length;
        }
    }
    return width;
}

// word, then spaces up to width columns (as "%-*s" does for ASCII).
std::string padded(const char* word, int width)
{
    std::string text = word;
    const int used = columns(word);
    if (used < width) {
        text.append(static_cast<std::size_t>(width - used), ' ');
    }
    return text;
}

}  // namespace wordindex
