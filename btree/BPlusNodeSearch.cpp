// BPlusNode: the descent to the leaf of a key, and the exact search.
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
#include "containers/Stacks.h"

void BPlusNode::Descent::record(BPlusNode* node)
{
    nodes[depth] = node;
    if (stack != nullptr) {
        stack->push(node);
    }
}

// depth is the level of the current node while walking, and the number of
// index nodes on the way once a leaf is found. At each node, i is the child
// slot chosen (the key count standing for "beyond the keys").
BPlusNode* BPlusNode::Descent::run(BPlusNode* start)
{
    depth = 0;
    if (start->m_bLeaf) {
        return start;
    }
    BPlusNode* node = start;
    record(node);
    prefetch(node);
    int i = locate(node);
    for (;;) {
        const int keyCount = node->m_nKeyCount;
        BPlusNode* child = nullptr;
        if (i < keyCount) {
            child = node->m_pPointers[i];
        } else {
            const int pointers = node->m_nPointerCount;
            if (pointers > 0 &&
                (pointers == node->m_nMaxPointers || zarn::isOpenForm(keyCount, pointers))) {
                i = pointers - 1;  // the last child takes the keys beyond
                child = node->m_pPointers[i];
            }
        }
        if (child != nullptr) {
            slots[depth] = i;
            if (!Slots::prefetchChild(node, i)) {
                prefetch(child);
            }
            if (child->m_bLeaf) {
                ++depth;
                return child;
            }
            if (depth + 1 == zarn::kMaxDepth) {
                depth = 0;
                return nullptr;
            }
            ++depth;
            node = child;
            record(node);
            i = locate(node);
            continue;
        }
        // No place below child i: the scan goes on with the next bound of
        // the nearest node on the way that has one. (Only a hand-made tree
        // gets here with a bound left to try: in a tree built by this
        // class's operations only the root can be in bounded form.)
        while (i >= node->m_nKeyCount) {
            if (depth == 0) {
                return nullptr;
            }
            node = nodes[--depth];
            i = slots[depth];
        }
        BPlusKey** keys = node->m_pKeys;
        ++i;
        while (i < node->m_nKeyCount &&
               (keys[i] == nullptr || BPlusKey::Compare(key, keys[i]) > 0)) {
            ++i;
        }
    }
}

BPlusNode* BPlusNode::Search(BPlusKey* key, CPtrStack* path)
{
    if (key == nullptr || !IsValid()) {
        return nullptr;
    }
    Descent descent(key, path);
    return descent.run(this);
}

BPlusKey* BPlusNode::Search(BPlusKey* key)
{
    if (key == nullptr || !IsValid()) {
        return nullptr;
    }
    Descent descent(key);
    BPlusNode* leaf = descent.run(this);
    if (leaf == nullptr) {
        return nullptr;
    }
    // The first key equal to key sits where the first key not below it does
    // (docs/btree.md, "Order").
    const int i = descent.locate(leaf);
    return descent.matches(leaf, i) ? leaf->m_pKeys[i] : nullptr;
}
