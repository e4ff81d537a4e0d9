// Internal (not installed): helpers shared by the BPlusNode source files.
#ifndef ZARNCRT_BTREE_BPLUSNODEINTERNAL_H
#define ZARNCRT_BTREE_BPLUSNODEINTERNAL_H

#include <cstdint>

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "containers/Stacks.h"
#include "core/OutOfMemory.h"

namespace zarn {

// The position rule of every node operation: the first slot i in
// keys[0, count) with Compare(key, keys[i]) <= 0, or count when there is none.
// A NULL slot (only hand-made nodes have them) is passed over.
inline int firstNotBelowLinear(BPlusKey* key, BPlusKey** keys, int count)
{
    for (int i = 0; i < count; ++i) {
        if (keys[i] != nullptr && BPlusKey::Compare(key, keys[i]) <= 0) {
            return i;
        }
    }
    return count;
}

// Starts loading a node's key objects all at once. The key objects lie
// scattered in memory; without this, each probe of the binary search waits
// for its own cache miss in turn. A prefetch never faults, so NULL slots are
// harmless.
inline void prefetchKeys(BPlusKey** keys, int count)
{
#if defined(__GNUC__) || defined(__clang__)
    for (int i = 0; i < count; ++i) {
        __builtin_prefetch(keys[i]);
    }
#else
    (void)keys;
    (void)count;
#endif
}

// Starts loading the children of an index node, so that whichever child the
// key search picks is at hand when it ends, instead of being one more cache
// miss waited for after it.
inline void prefetchChildren(BPlusNode** pointers, int count)
{
#if defined(__GNUC__) || defined(__clang__)
    for (int i = 0; i < count; ++i) {
        // A node's fields may straddle two cache lines: fetch both. (Integer
        // arithmetic, as the slot may be NULL.)
        const std::uintptr_t child = reinterpret_cast<std::uintptr_t>(pointers[i]);
        __builtin_prefetch(reinterpret_cast<void const*>(child));
        __builtin_prefetch(reinterpret_cast<void const*>(child + sizeof(BPlusNode) - 1));
    }
#else
    (void)pointers;
    (void)count;
#endif
}

// The same slot as firstNotBelowLinear, found by binary search; why the two
// agree, equal keys included: docs/btree.md, "Insertion keeps the
// invariants", Order. A probe that meets a NULL slot (hand-made nodes only)
// hands the work to the linear scan, so the slot returned is never NULL.
inline int firstNotBelow(BPlusKey* key, BPlusKey** keys, int count)
{
    int first = 0;
    int length = count;
    while (length > 0) {
        const int half = length >> 1;
        BPlusKey* probe = keys[first + half];
        if (probe == nullptr) {
            return firstNotBelowLinear(key, keys, count);
        }
        if (BPlusKey::Compare(key, probe) > 0) {
            first += half + 1;
            length -= half + 1;
        } else {
            length = half;
        }
    }
    return first;
}

}  // namespace zarn

// The index nodes a descent walks. Recorded either onto an application's
// CPtrStack, or, for Add, into a local array that needs no allocation (a tree
// built by Add is far less than 64 levels deep: every index node below the
// root has at least two children); deeper paths spill into a CPtrStack.
struct BPlusNode::DescentPath {
    explicit DescentPath(CPtrStack* target) : target(target) {}
    ~DescentPath()
    {
        delete spill;
    }
    DescentPath(DescentPath const&) = delete;
    DescentPath& operator=(DescentPath const&) = delete;

    void push(BPlusNode* node)
    {
        if (target != nullptr) {
            target->push(node);
        } else if (count < kLocalDepth) {
            local[count++] = node;
        } else {
            if (spill == nullptr) {
                spill = zarn::make<CPtrStack>();
            }
            spill->push(node);
        }
    }

    // The node pushed last (local recording only), or NULL when empty.
    BPlusNode* pop()
    {
        if (spill != nullptr && spill->size() > 0) {
            return static_cast<BPlusNode*>(spill->pop());
        }
        return count > 0 ? local[--count] : nullptr;
    }

    static constexpr int kLocalDepth = 64;
    CPtrStack* target;
    CPtrStack* spill = nullptr;
    int count = 0;
    BPlusNode* local[kLocalDepth];
};

#endif
