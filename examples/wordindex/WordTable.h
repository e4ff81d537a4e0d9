// WordTable: counts words (byte strings) and remembers where each first
// occurred. An open-addressing hash table over one contiguous text arena, so
// counting a word allocates nothing unless the word is new and the arena or
// the table has to grow (geometrically). One table per counting thread; the
// tables are merged at the end.
#ifndef WORDINDEX_WORDTABLE_H
#define WORDINDEX_WORDTABLE_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wordindex {

// Where a word occurred: the chunk of input (chunks are numbered in input
// order across all files), the byte offset within the chunk, and the line
// within the chunk (0: the chunk's first line).
struct Occurrence {
    std::uint32_t chunk;
    std::uint32_t offset;
    std::uint32_t line;

    bool before(const Occurrence& other) const
    {
        return chunk != other.chunk ? chunk < other.chunk : offset < other.offset;
    }
};

struct WordEntry {
    std::size_t text;  // offset of the word in the arena (NUL-terminated there)
    std::uint32_t length;
    std::uint32_t hash;
    long count;
    Occurrence first;
};

class WordTable {
public:
    WordTable();

    // Counts one occurrence of the length bytes at word.
    void add(const char* word, std::uint32_t length, const Occurrence& where)
    {
        addCounted(word, length, hashOf(word, length), 1, where);
    }
    // Adds every word of other to this table: counts summed, the earlier
    // first occurrence kept.
    void merge(const WordTable& other);

    std::size_t size() const
    {
        return entries.size();
    }
    const WordEntry& entry(std::size_t i) const
    {
        return entries[i];
    }
    const char* text(const WordEntry& e) const
    {
        return arena.data() + e.text;
    }

    static std::uint32_t hashOf(const char* word, std::uint32_t length);

private:
    void addCounted(const char* word, std::uint32_t length, std::uint32_t hash, long count,
                    const Occurrence& where);
    void grow();

    std::vector<WordEntry> entries;
    std::vector<std::uint32_t> slots;  // entry index + 1; 0 marks a free slot
    std::vector<char> arena;
    std::uint32_t mask;
};

}  // namespace wordindex

#endif
