// Internal (not installed): the block behind a node's key array, and the
// position rule that every node operation orders keys by.
//
// m_pKeys points at the front of one QorMemAlloc block that holds, for a
// node of capacity M (slots = M - 1; a split's scratch block has M):
//
//   BPlusKey* keys[slots] | uint64 summaries[slots] | kind (4 bytes, padded)
//
// summaries[i] is KeySummary::of(keys[i]) for every slot below the key
// count; the kind is the KeySummary::combine of the kinds of every key ever
// written into the block (so it can be more mixed than the keys now held,
// never less). Only the operations below write slots, so the summaries stay
// in step with the keys whichever node operation moves them.
#ifndef ZARNCRT_BTREE_NODEKEYBLOCK_H
#define ZARNCRT_BTREE_NODEKEYBLOCK_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "btree/BPlusKey.h"
#include "btree/KeySummary.h"
#include "core/QorCore.h"

namespace zarn {

class KeyBlock {
public:
    KeyBlock(BPlusKey** keys, int slots) : m_keys(keys), m_slots(slots) {}

    // A new zero-filled block of slots key slots (all NULL, kind none).
    static BPlusKey** allocate(int slots)
    {
        const std::size_t bytes = static_cast<std::size_t>(slots) * 16 + 8;
        return static_cast<BPlusKey**>(QorMemAlloc(bytes));
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
    // Empties every slot and forgets the kinds it held.
    void clearAll()
    {
        std::memset(m_keys, 0, static_cast<std::size_t>(m_slots) * 16 + 8);
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
                __builtin_prefetch(m_keys[i]);
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
