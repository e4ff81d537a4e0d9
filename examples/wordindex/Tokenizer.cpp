#include "Tokenizer.h"

namespace wordindex {

namespace {

enum : unsigned char { kSeparator = 0, kWordByte = 1, kApostrophe = 2 };

struct ByteTables {
    unsigned char kind[256];
    char lower[256];

    ByteTables()
    {
        for (int c = 0; c < 256; ++c) {
            const bool word = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                              (c >= '0' && c <= '9') || c >= 0x80;
            kind[c] = word ? kWordByte : c == '\'' ? kApostrophe : kSeparator;
            lower[c] = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        }
    }
};

const ByteTables tables;

inline unsigned char kindOf(char c)
{
    return tables.kind[static_cast<unsigned char>(c)];
}

}  // namespace

std::size_t cutPoint(const char* data, std::size_t size)
{
    for (std::size_t i = size; i > 0; --i) {
        if (kindOf(data[i - 1]) == kSeparator) {
            return i;
        }
    }
    return 0;
}

ChunkCount countChunk(const char* data, std::size_t size, std::uint32_t chunk, WordTable& table,
                      std::vector<char>& scratch)
{
    ChunkCount found;
    std::size_t i = 0;
    std::uint32_t line = 0;
    while (i < size) {
        // Skip to the next word byte; an apostrophe here starts no word.
        while (i < size && kindOf(data[i]) != kWordByte) {
            line += data[i] == '\n';
            ++i;
        }
        if (i == size) {
            break;
        }
        const std::size_t start = i;
        for (;;) {
            while (i < size && kindOf(data[i]) == kWordByte) {
                ++i;
            }
            if (i + 1 < size && data[i] == '\'' && kindOf(data[i + 1]) == kWordByte) {
                ++i;  // an inner apostrophe: "don't"
                continue;
            }
            break;
        }
        const std::size_t length = i - start;
        if (scratch.size() < length) {
            scratch.resize(length * 2);
        }
        char* out = scratch.data();
        for (std::size_t k = 0; k < length; ++k) {
            out[k] = tables.lower[static_cast<unsigned char>(data[start + k])];
        }
        table.add(out, static_cast<std::uint32_t>(length),
                  Occurrence{chunk, static_cast<std::uint32_t>(start), line});
        ++found.words;
    }
    found.newlines = line;
    return found;
}

}  // namespace wordindex
