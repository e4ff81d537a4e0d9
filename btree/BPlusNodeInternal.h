// Internal (not installed): the rules every BPlusNode source file shares, in
// one vocabulary (docs/btree.md explains them): the fill rule, the two forms
// of an index node, the depth limit, the arrays of a node, and the descent
// that Search, Add, Remove and BPlusCursor all walk.
#ifndef ZARNCRT_BTREE_BPLUSNODEINTERNAL_H
#define ZARNCRT_BTREE_BPLUSNODEINTERNAL_H

#include <cstddef>
#include <cstdint>
#include <cstring>

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

// Access to a node's key block (NodeKeyBlock.h), and the hints an index
// node keeps of where its children's arrays are. Removal moves child
// pointers only through moveChildren and takeChild, which carry their hints
// along; InsertIndex, Split and the bulk load write each hint beside its
// child as they place it.
struct ZARNCRT_HIDDEN BPlusNode::Slots {
    using Hint = zarn::KeyBlock::Hint;

    static zarn::KeyBlock keys(BPlusNode* node)
    {
        return zarn::KeyBlock(node->m_pKeys, node->m_nMaxPointers - 1);
    }

    // Where child's arrays are now.
    static Hint hintFor(BPlusNode* child)
    {
        if (child == nullptr) {
            return {0, 0};
        }
        const auto keys = reinterpret_cast<std::uintptr_t>(child->m_pKeys);
        return {keys, child->m_bLeaf ? 0 : reinterpret_cast<std::uintptr_t>(child->m_pPointers)};
    }

    // Writes node's hint for child i anew (nothing when node keeps none).
    static void rehint(BPlusNode* node, int i)
    {
        if (Hint* hints = keys(node).hints()) {
            hints[i] = hintFor(node->m_pPointers[i]);
        }
    }

    // Gives an index node a key block with room for hints, all empty,
    // keeping its slots. Grown in place where the allocator can, which it
    // usually can for a node just made.
    static void giveHintRoom(BPlusNode* node)
    {
        if (keys(node).hints() != nullptr) {
            return;
        }
        const int slots = node->m_nMaxPointers - 1;
        node->m_pKeys = static_cast<BPlusKey**>(
            QorMemRealloc(node->m_pKeys, zarn::KeyBlock::bytes(slots, true)));
        zarn::KeyBlock::addHintRoom(node->m_pKeys, slots);
    }

    // Gives an index node room for hints and hints every child.
    static void makeHinted(BPlusNode* node)
    {
        if (keys(node).hints() != nullptr) {
            return;
        }
        giveHintRoom(node);
        for (int i = 0; i < node->m_nPointerCount; ++i) {
            rehint(node, i);
        }
    }

    // Copies count hints of block from, starting at fromAt, into block to
    // from slot at; nothing unless both keep hints.
    static void copyHints(zarn::KeyBlock const& to, int at, zarn::KeyBlock const& from, int fromAt,
                          int count)
    {
        Hint* mine = to.hints();
        Hint const* theirs = from.hints();
        if (mine != nullptr && theirs != nullptr && count > 0) {
            std::memcpy(mine + at, theirs + fromAt, sizeof(Hint) * std::size_t(count));
        }
    }

    // Moves count child pointers of node, with their hints, from slot from
    // to slot to (the ranges may overlap).
    static void moveChildren(BPlusNode* node, int to, int from, int count)
    {
        if (count <= 0) {
            return;
        }
        std::memmove(node->m_pPointers + to, node->m_pPointers + from,
                     sizeof(BPlusNode*) * std::size_t(count));
        if (Hint* hints = keys(node).hints()) {
            std::memmove(hints + to, hints + from, sizeof(Hint) * std::size_t(count));
        }
    }

    // Child slot i of node takes child slot at of from, with its hint.
    static void takeChild(BPlusNode* node, int i, BPlusNode* from, int at)
    {
        node->m_pPointers[i] = from->m_pPointers[at];
        if (Hint* hints = keys(node).hints()) {
            Hint* theirs = keys(from).hints();
            hints[i] = theirs != nullptr ? theirs[at] : hintFor(node->m_pPointers[i]);
        }
    }

    // Starts loading child i's key block and pointers, where node's hint
    // says they are; false when node keeps no hint for it.
    static bool prefetchChild(BPlusNode* node, int i)
    {
        Hint const* hints = keys(node).hints();
        if (hints == nullptr || hints[i].keys == 0) {
            return false;
        }
        const int slots = node->m_nMaxPointers - 1;
        char const* keys = reinterpret_cast<char const*>(hints[i].keys);
        char const* next = hints[i].pointers != 0 ? reinterpret_cast<char const*>(hints[i].pointers)
                                                  : keys;  // a leaf: its key slots
        zarn::prefetchBytes(keys + slots * 8, slots * 8);  // summaries
        zarn::prefetchBytes(next, slots * 8 + 8);
        return true;
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
        zarn::prefetchBytes(node->m_pKeys + node->m_nMaxPointers - 1, count * 8);
        // An index node's child pointer, or the key slot a leaf search
        // hands back, is read right after the summaries.
        zarn::prefetchBytes(node->m_bLeaf ? static_cast<void const*>(node->m_pKeys)
                                          : static_cast<void const*>(node->m_pPointers),
                            count * 8 + 8);
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
