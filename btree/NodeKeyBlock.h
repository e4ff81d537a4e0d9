// Internal (not installed): the block behind a node's key array, and the
// position rule that every node operation orders keys by.
//
// m_pKeys points at the front of one QorMemAlloc block that holds, for a
// node of capacity M (slots = M - 1; a split's scratch block has M):
//
//   BPlusKey* keys[slots] | uint64 summaries[slots] | kind (4) | flags (4)
//   [ hints[slots + 1] (16 bytes each) ]
//
// summaries[i] is KeySummary::of(keys[i]) for every slot below the key
// count; the kind is the KeySummary::combine of the kinds of every key ever
// written into the block (so it can be more mixed than the keys now held,
// never less). Only the operations below write slots, so the summaries stay
// in step with the keys whichever node operation moves them.
//
// An index node's block may end in a hint per child (flags says whether
// it does): where that child's key block and, for an index child, pointer
// array were when the hint was written. The descent starts loading them
// together with the child itself, instead of waiting for the child to say
// where they are. A hint is only ever a prefetch address: one gone stale
// costs a wasted load, never a wrong answer.
#ifndef ZARNCRT_BTREE_NODEKEYBLOCK_H
#define ZARNCRT_BTREE_NODEKEYBLOCK_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "btree/BPlusKey.h"
#include "btree/KeySummary.h"
#include "core/QorCore.h"

namespace zarn {

// Starts loading the cache line holding p. Written as an asm statement on
// x86-64: g++ deletes __builtin_prefetch calls it deems idle, a loop of
// them or a run of conditional ones, and these must stay. A prefetch never
// faults, whatever p points at (a stale hint included).
inline void prefetch(void const* p)
{
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
    if (p != nullptr) {  // the operand names *p: never for NULL
        __asm__ volatile("prefetcht0 %0" : : "m"(*static_cast<char const*>(p)));
    }
#else
    __builtin_prefetch(p);
#endif
}

// Starts loading the cache lines of bytes bytes (at most 512) from p.
inline void prefetchBytes(void const* p, int bytes)
{
    char const* c = static_cast<char const*>(p);
    for (int offset = 0; offset < bytes && offset < 512; offset += 64) {
        prefetch(c + offset);
    }
    if (bytes > 1) {
        prefetch(c + bytes - 1);  // the last line, when p is not aligned
    }
}

class KeyBlock {
public:
    KeyBlock(BPlusKey** keys, int slots) : m_keys(keys), m_slots(slots) {}

    // Where a child's arrays were, as a prefetch address (never read
    // through).
    struct Hint {
        std::uintptr_t keys;
        std::uintptr_t pointers;  // 0 for a leaf, whose pointers go unused
    };

    // A new zero-filled block of slots key slots (all NULL, kind none), with
    // room for slots + 1 hints when withHints.
    static BPlusKey** allocate(int slots, bool withHints = false)
    {
        auto* keys = static_cast<BPlusKey**>(QorMemAlloc(bytes(slots, withHints)));
        if (withHints) {
            addHintRoom(keys, slots);
        }
        return keys;
    }
    // The size of a block of slots key slots, with or without hints.
    static std::size_t bytes(int slots, bool withHints)
    {
        const std::size_t front = static_cast<std::size_t>(slots) * 16 + 8;
        return front + (withHints ? static_cast<std::size_t>(slots + 1) * 16 : 0);
    }
    // Marks the block of slots key slots at keys, which has the size of one
    // with hints, as keeping them, and empties them.
    static void addHintRoom(BPlusKey** keys, int slots)
    {
        char* end = reinterpret_cast<char*>(keys) + bytes(slots, false);
        const std::uint32_t flags = kHasHints;
        std::memcpy(end - 4, &flags, sizeof flags);
        std::memset(end, 0, bytes(slots, true) - bytes(slots, false));
    }

    BPlusKey** keys() const
    {
        return m_keys;
    }
    std::uint64_t* summaries() const
    {
        return reinterpret_cast<std::uint64_t*>(m_keys + m_slots);
    }
    SummaryKind kind() const
    {
        SummaryKind kind;
        std::memcpy(&kind, summaries() + m_slots, sizeof kind);
        return kind;
    }
    // The hints of the block's node's children, or NULL when it keeps none.
    Hint* hints() const
    {
        std::uint32_t flags;
        char* end = reinterpret_cast<char*>(summaries() + m_slots);
        std::memcpy(&flags, end + 4, sizeof flags);
        return (flags & kHasHints) != 0 ? reinterpret_cast<Hint*>(end + 8) : nullptr;
    }

    // Slot i holds key, whose summary is summary.
    void put(int i, BPlusKey* key, Summary summary)
    {
        m_keys[i] = key;
        summaries()[i] = summary.value;
        const SummaryKind before = kind();
        if (before != summary.kind) {
            setKind(KeySummary::combine(before, summary.kind));
        }
    }
    void put(int i, BPlusKey* key)
    {
        put(i, key, KeySummary::of(key));
    }
    // Slot i of from, with its summary, into slot i of this block.
    void take(int i, KeyBlock const& from, int at)
    {
        m_keys[i] = from.m_keys[at];
        summaries()[i] = from.summaries()[at];
        takeKind(from);
    }
    // count slots of from starting at `at` into this block from slot i on.
    void take(int i, KeyBlock const& from, int at, int count)
    {
        if (count > 0) {
            std::memcpy(m_keys + i, from.m_keys + at, sizeof(BPlusKey*) * std::size_t(count));
            std::memcpy(summaries() + i, from.summaries() + at,
                        sizeof(std::uint64_t) * std::size_t(count));
            takeKind(from);
        }
    }
    // Moves count slots within the block from slot from to slot to (the
    // ranges may overlap).
    void move(int to, int from, int count)
    {
        if (count > 0) {
            std::memmove(m_keys + to, m_keys + from, sizeof(BPlusKey*) * std::size_t(count));
            std::memmove(summaries() + to, summaries() + from,
                         sizeof(std::uint64_t) * std::size_t(count));
        }
    }
    // Empties slot i.
    void clear(int i)
    {
        m_keys[i] = nullptr;
        summaries()[i] = 0;
    }
    // Empties every slot and forgets the kinds it held; the room for hints
    // stays.
    void clearAll()
    {
        std::memset(m_keys, 0, static_cast<std::size_t>(m_slots) * 16 + 4);
    }

    // The position rule of every node operation: the first slot i below
    // count with Compare(key, keys[i]) <= 0, or count when there is none. The
    // summaries order key wherever they differ from probe's (probe is
    // KeySummary::of(key)); only slots whose summary ties with it, if any,
    // are compared with Compare. Keys ascend in a node and summaries follow
    // their order, so the slots below the answer are exactly those whose
    // summary is below probe's or that tie and compare below key.
    int locate(int count, BPlusKey* key, Summary const& probe) const
    {
        if (count <= 0) {
            return 0;
        }
        if (!KeySummary::usable(kind(), probe.kind)) {
            // Every probe of the binary search below reads a key object, each
            // one a cache miss of its own: start them all at once.
            for (int i = 0; i < count; ++i) {
                prefetch(m_keys[i]);
            }
            return firstNotBelow(key, m_keys, count);
        }
        // The summaries below probe's: a binary search without branches on
        // the data (the halving depends on count alone), so no mispredicted
        // jump waits for a load.
        const std::uint64_t* sums = summaries();
        const std::uint64_t wanted = probe.value;
        const std::uint64_t* base = sums;
        for (int n = count; n > 1;) {
            const int half = n >> 1;
            base = base[half] < wanted ? base + half : base;
            n -= half;
        }
        const int below = static_cast<int>(base - sums) + (*base < wanted ? 1 : 0);
        if (KeySummary::exact(probe.kind)) {
            return below;
        }
        int tied = below;
        while (tied < count && sums[tied] == wanted) {
            ++tied;
        }
        return below + firstNotBelow(key, m_keys + below, tied - below);
    }

    // Whether slot i (below count) holds a key equal to key.
    bool matches(int i, int count, BPlusKey* key, Summary const& probe) const
    {
        if (i >= count || m_keys[i] == nullptr) {
            return false;
        }
        if (KeySummary::exact(probe.kind) && KeySummary::usable(kind(), probe.kind)) {
            return summaries()[i] == probe.value;
        }
        return BPlusKey::Compare(key, m_keys[i]) == 0;
    }

    // The position rule by Compare alone, as a binary search. It gives the
    // same slot as reading the slots in order because the predicate is false
    // on a prefix and true on the rest (docs/btree.md, "Order"). A probe that
    // meets a NULL slot (only damaged nodes have them) reads the slots in
    // order instead, passing over NULL slots.
    static int firstNotBelow(BPlusKey* key, BPlusKey** keys, int count)
    {
        int first = 0;
        int length = count;
        while (length > 0) {
            const int half = length >> 1;
            BPlusKey* middle = keys[first + half];
            if (middle == nullptr) {
                return firstNotBelowInOrder(key, keys, count);
            }
            if (BPlusKey::Compare(key, middle) > 0) {
                first += half + 1;
                length -= half + 1;
            } else {
                length = half;
            }
        }
        return first;
    }
    static int firstNotBelowInOrder(BPlusKey* key, BPlusKey** keys, int count)
    {
        for (int i = 0; i < count; ++i) {
            if (keys[i] != nullptr && BPlusKey::Compare(key, keys[i]) <= 0) {
                return i;
            }
        }
        return count;
    }

private:
    static constexpr std::uint32_t kHasHints = 1;

    void setKind(SummaryKind kind)
    {
        std::memcpy(summaries() + m_slots, &kind, sizeof kind);
    }
    void takeKind(KeyBlock const& from)
    {
        const SummaryKind mine = kind();
        const SummaryKind theirs = from.kind();
        if (mine != theirs) {
            setKind(KeySummary::combine(mine, theirs));
        }
    }

    BPlusKey** m_keys;
    int m_slots;
};

}  // namespace zarn

#endif
