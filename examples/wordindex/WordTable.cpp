#include "WordTable.h"

#include <cstring>

namespace wordindex {

namespace {

constexpr std::uint32_t kInitialSlots = 1u << 12;

}  // namespace

WordTable::WordTable() : slots(kInitialSlots, 0), mask(kInitialSlots - 1)
{
    arena.reserve(1u << 16);
}

// FNV-1a over the bytes, folded with a final mix: words are short, so a
// byte loop costs little next to the probe.
std::uint32_t WordTable::hashOf(const char* word, std::uint32_t length)
{
    std::uint32_t h = 2166136261u;
    for (std::uint32_t i = 0; i < length; ++i) {
        h = (h ^ static_cast<unsigned char>(word[i])) * 16777619u;
    }
    h ^= h >> 15;
    h *= 0x2c1b3c6dU;
    h ^= h >> 12;
    return h;
}

void WordTable::addCounted(const char* word, std::uint32_t length, std::uint32_t hash, long count,
                           const Occurrence& where)
{
    std::uint32_t slot = hash & mask;
    for (;;) {
        const std::uint32_t index = slots[slot];
        if (index == 0) {
            break;
        }
        WordEntry& e = entries[index - 1];
        if (e.hash == hash && e.length == length &&
            std::memcmp(arena.data() + e.text, word, length) == 0) {
            e.count += count;
            if (where.before(e.first)) {
                e.first = where;
            }
            return;
        }
        slot = (slot + 1) & mask;
    }
    const std::size_t at = arena.size();
    arena.insert(arena.end(), word, word + length);
    arena.push_back('\0');
    entries.push_back(WordEntry{at, length, hash, count, where});
    slots[slot] = static_cast<std::uint32_t>(entries.size());
    if (entries.size() * 2 > slots.size()) {
        grow();
    }
}

void WordTable::grow()
{
    slots.assign(slots.size() * 2, 0);
    mask = static_cast<std::uint32_t>(slots.size() - 1);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        std::uint32_t slot = entries[i].hash & mask;
        while (slots[slot] != 0) {
            slot = (slot + 1) & mask;
        }
        slots[slot] = static_cast<std::uint32_t>(i + 1);
    }
}

void WordTable::merge(const WordTable& other)
{
    for (const WordEntry& e : other.entries) {
        addCounted(other.text(e), e.length, e.hash, e.count, e.first);
    }
}

}  // namespace wordindex
