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

// The same slot as firstNotBelowLinear, found by binary search.
//
// Why the answers agree. Let P(i) be "Compare(key, keys[i]) <= 0". The linear
// scan returns the first i with P(i); a binary search returns the boundary of
// P, which is the same slot whenever P is false on a prefix of the slots and
// true on the rest. That holds because Add keeps the keys of every node
// strictly ascending under Compare, and Compare is a consistent order on the
// keys of a tree (one key type; transitive, and antisymmetric in sign): then
// key <= keys[i] < keys[i+1] gives key < keys[i+1], so P never turns false
// again once true. The keys stay strictly ascending because
//  - InsertLeaf, InsertIndex and Split place a key before the first key not
//    below it and otherwise keep the existing order;
//  - Add refuses a key that compares equal to one in the leaf it belongs to;
//  - a separator passed up by a split comes from strictly inside the split
//    child's range: the lower part's last key, with the child's greatest key
//    (which the child's bound is not below) kept in the upper part, so it
//    lies above the bound before that child and below the child's own bound;
//  - a cloned bound is appended only for a key beyond every bound present,
//    and compares like its original (copies carry value and null flag).
// A NaN number key cannot break this: it compares equal to every key, so Add
// stores it only as the first key of an empty tree and then refuses all
// others; as a search key it makes P true everywhere, which is monotone too.
//
// Where the linear rule reads on after a hit, the callers keep it linear: the
// descent, after a child yielded NULL, goes on comparing key by key (see
// Descend). The duplicate test and the exact search want the first key that
// compares equal; with strictly ascending keys every key before the boundary
// compares greater and every key after it is above keys[boundary] >= key, so
// an equal key, if any, is the one at the boundary.
//
// A probe that meets a NULL slot hands the work to the linear scan, so hand-
// made nodes with holes get exactly the linear answer. The slot returned is
// always one that was probed (or count), hence never a NULL slot.
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
