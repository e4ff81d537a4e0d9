// The word rule of wordindex, applied to whole chunks of input.
//
// A word is a maximal run of word bytes (ASCII letters and digits, and every
// byte >= 0x80), where an apostrophe between two word bytes belongs to the
// word. Every other byte separates words; '\n' also ends a line. Words are
// counted in lower case (ASCII letters only).
#ifndef WORDINDEX_TOKENIZER_H
#define WORDINDEX_TOKENIZER_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "WordTable.h"

namespace wordindex {

// What counting one chunk found.
struct ChunkCount {
    long words = 0;
    long newlines = 0;
};

// The length of the longest prefix of data that ends in a byte no word can
// cross (neither a word byte nor an apostrophe), so that the words of the
// prefix are the same whatever follows it; 0 when there is no such byte.
std::size_t cutPoint(const char* data, std::size_t size);

// Splits the size bytes at data into words and counts each in table, its
// occurrence numbered with chunk. data must be a cut prefix (see cutPoint) or
// the end of the input. scratch is reused for the lower-cased words.
ChunkCount countChunk(const char* data, std::size_t size, std::uint32_t chunk, WordTable& table,
                      std::vector<char>& scratch);

}  // namespace wordindex

#endif
