// Internal (not installed): the rules every BPlusNode source file shares, in
// one vocabulary (docs/btree.md explains them): the fill rule, the two forms
// of an index node, the depth limit, the arrays of a node, and the descent
// that Search, Add, Remove and BPlusCursor all walk.
#ifndef ZARNCRT_BTREE_BPLUSNODEINTERNAL_H
#define ZARNCRT_BTREE_BPLUSNODEINTERNAL_H

#include <cstddef>
#include <cstdint>

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/KeySummary.h"
#include "btree/NodeKeyBlock.h"
#include "core/QorCore.h"

class CPtrStack;

namespace zarn {

// Every index node below the root has at least two children, so a tree of
// fewer than 2^31 keys is fewer than 33 levels deep. A way down deeper than
// this is a damaged tree (a cycle, perhaps): the operations give up on it
// and VerifyTree reports it.
constexpr int kMaxDepth = 64;

// The fill rule: below the root, a leaf holds at least floor(M/2) keys and
// an index node at least ceil(M/2) pointers. Splits, removal, bulk loading
// and VerifyTree all go by these two.
inline int minLeafKeys(int m)
{
    return m / 2;
}
inline int minIndexPointers(int m)
{
    return m / 2 + m % 2;
}

// Open form: one pointer more than keys; the last child takes every key
// above the last bound. Otherwise (as many pointers as keys) bounded form:
// a key above the last bound belongs to no child.
inline bool isOpenForm(int keys, int pointers)
{
    return pointers > keys;
}

// A new zero-filled array of slots child pointers.
inline BPlusNode** allocatePointers(int slots)
{
    return static_cast<BPlusNode**>(QorMemAlloc(sizeof(BPlusNode*) * std::size_t(slots)));
}

// The low 32 bits of an address, as "0x%08x" prints them.
inline unsigned low32(void const* address)
{
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(address));
}

}  // namespace zarn

// Access to a node's key block (NodeKeyBlock.h).
struct ZARNCRT_HIDDEN BPlusNode::Slots {
    static zarn::KeyBlock keys(BPlusNode* node)
    {
        return zarn::KeyBlock(node->m_pKeys, node->m_nMaxPointers - 1);
    }
};

// The descent: from a node to the leaf in which key belongs. At each index
// node key goes to the first child whose bound is not below it (ties go
// left); beyond the last bound an open-form (or full) node hands it to its
// last child, and a bounded-form node has no place for it. Should a subtree
// have no place for it (only a hand-made tree's bounded-form node below the
// root does that), the scan goes on with the next bound of the node above.
// The index nodes of the way found, and the child taken at each, are kept
// in nodes and slots (depth of them); when a CPtrStack is given, every
// index node walked is pushed on it as well, the first at the bottom.
struct ZARNCRT_HIDDEN BPlusNode::Descent {
    explicit Descent(BPlusKey* key, CPtrStack* stack = nullptr)
        : key(key), probe(zarn::KeySummary::of(key)), stack(stack)
    {
    }

    // The leaf below (or at) node, or NULL when key lies beyond every bound
    // (or the way is deeper than kMaxDepth).
    BPlusNode* run(BPlusNode* node);

    // The position rule in node (see KeyBlock::locate).
    int locate(BPlusNode* node) const
    {
        return Slots::keys(node).locate(node->m_nKeyCount, key, probe);
    }
    // Starts loading what the descent reads of node next: the summaries and
    // the child pointers or key slots. Both addresses are known once the
    // node is, so the loads overlap instead of following each other.
    static void prefetch(BPlusNode* node)
    {
        const int count = node->m_nKeyCount;
        char const* summaries =
            reinterpret_cast<char const*>(node->m_pKeys + node->m_nMaxPointers - 1);
        for (int offset = 0; offset < count * 8; offset += 64) {
            __builtin_prefetch(summaries + offset);
        }
        // An index node's child pointer, or the key slot a leaf search
        // hands back, is read right after the summaries.
        char const* next = node->m_bLeaf ? reinterpret_cast<char const*>(node->m_pKeys)
                                         : reinterpret_cast<char const*>(node->m_pPointers);
        for (int offset = 0; offset <= count * 8; offset += 64) {
            __builtin_prefetch(next + offset);
        }
    }
    // Whether key slot i of node holds a key equal to key.
    bool matches(BPlusNode* node, int i) const
    {
        return Slots::keys(node).matches(i, node->m_nKeyCount, key, probe);
    }

    BPlusKey* const key;
    const zarn::Summary probe;
    CPtrStack* const stack;
    int depth = 0;
    BPlusNode* nodes[zarn::kMaxDepth];
    int slots[zarn::kMaxDepth];

private:
    void record(BPlusNode* node);
};

#endif
