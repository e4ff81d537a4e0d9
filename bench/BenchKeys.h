// The key-object peers of the B+ tree: a std::set and an absl::btree_set of
// BPlusKey pointers ordered by BPlusKey::Compare, holding key objects made by
// the library's own factories in the same order as the tree's side makes
// them. The storage is then the same on both sides (one heap object per key,
// reached through a pointer, compared by the same function), and the ratio
// measures what the tree's own nodes and algorithms cost.
//
// Also the node capacities the tree cases share.
#ifndef ZARNCRT_BENCH_BENCHKEYS_H
#define ZARNCRT_BENCH_BENCHKEYS_H

#include <set>
#include <vector>

#include "absl/container/btree_set.h"
#include "btree/BPlusKey.h"

namespace bench {

struct KeyLess {
    bool operator()(BPlusKey* a, BPlusKey* b) const
    {
        return BPlusKey::Compare(a, b) < 0;
    }
};

using StdKeySet = std::set<BPlusKey*, KeyLess>;
using AbslKeySet = absl::btree_set<BPlusKey*, KeyLess>;

// Side names of the key-object peers (see bench/report.py).
inline const char kStdKeys[] = "std_keys";
inline const char kAbslKeys[] = "absl_keys";

// Deletes the key objects the set holds, then the set: what DeleteTree does
// for a tree.
template <typename Set>
void deleteKeySet(Set* set)
{
    for (BPlusKey* key : *set)
        delete key;
    delete set;
}

// Deletes key objects held by no container (probes).
inline void deleteKeys(const std::vector<BPlusKey*>& keys)
{
    for (BPlusKey* key : keys)
        delete key;
}

// A new set of integer key objects, made and inserted in the order of values
// (the order in which the tree's side adds them). With sorted values each
// insertion is hinted at the end, the best a caller can do with sorted input.
template <typename Set>
Set* newIntKeySet(const std::vector<int>& values, bool sorted)
{
    auto* set = new Set();
    for (int v : values) {
        if (sorted)
            set->insert(set->end(), BPlusKey::NewIntegerKey(v));
        else
            set->insert(BPlusKey::NewIntegerKey(v));
    }
    return set;
}

// Block and key sizes giving the node capacities M = 3, 8 and 32 (pointer
// size 8, factor 1.0).
struct Capacity {
    int m, block, key;
};
inline const Capacity kCapacities[] = {{3, 2048, 768}, {8, 1000, 128}, {32, 8192, 255}};

}  // namespace bench

#endif
