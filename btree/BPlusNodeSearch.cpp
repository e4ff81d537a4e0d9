// BPlusNode: the descent to the leaf of a key, and the exact search.
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"

BPlusNode* BPlusNode::Search(BPlusKey* key, CPtrStack* path)
{
    if (key == nullptr || !IsValid()) {
        return nullptr;
    }
    if (path == nullptr) {
        return Descend(key, nullptr);
    }
    DescentPath recorder(path);
    return Descend(key, &recorder);
}

// Called on node N: a leaf is its own result. Otherwise, at each index node
// walked (recorded on path): key goes to the first child whose bound is not
// below it; should that subtree yield NULL (it has a node in bounded form
// that key lies beyond), the following children are tried in turn; beyond
// the last bound, an open-form or full node hands key to its last child,
// while a bounded-form node has no place for it (NULL).
BPlusNode* BPlusNode::Descend(BPlusKey* key, DescentPath* path)
{
    if (m_bLeaf) {
        return this;
    }
    BPlusNode* node = this;
    for (;;) {
        if (path != nullptr) {
            path->push(node);
        }
        const int keyCount = node->m_nKeyCount;
        BPlusKey** keys = node->m_pKeys;
        // Below the top levels every node, key array and key object is a
        // cache miss: start them all at once rather than one per probe.
        zarn::prefetchKeys(keys, keyCount);
        zarn::prefetchChildren(node->m_pPointers, node->m_nPointerCount);
        int i = zarn::firstNotBelow(key, keys, keyCount);
        while (i < keyCount) {
            BPlusNode* child = node->m_pPointers[i];
            if (child != nullptr) {
                BPlusNode* found = child->m_bLeaf ? child : child->Descend(key, path);
                if (found != nullptr) {
                    return found;
                }
            }
            // The scan reads on key by key, as the rule has it; only subtrees
            // with a bounded-form node ever send it here.
            ++i;
            while (i < keyCount && (keys[i] == nullptr || BPlusKey::Compare(key, keys[i]) > 0)) {
                ++i;
            }
        }
        // Beyond the keys (a node without keys comes straight here).
        const int pointerCount = node->m_nPointerCount;
        if (pointerCount == 0) {
            return nullptr;
        }
        if (pointerCount != node->m_nMaxPointers && pointerCount <= keyCount) {
            return nullptr;  // bounded form: key lies beyond every bound
        }
        node = node->m_pPointers[pointerCount - 1];
        if (node == nullptr || node->m_bLeaf) {
            return node;
        }
    }
}

BPlusKey* BPlusNode::Search(BPlusKey* key)
{
    if (key == nullptr || !IsValid()) {
        return nullptr;
    }
    BPlusNode* leaf = m_bLeaf ? this : Descend(key, nullptr);
    if (leaf == nullptr || !leaf->m_bLeaf || leaf->m_nKeyCount == 0) {
        return nullptr;
    }
    // The first key equal to key sits where the first key not below it does
    // (see firstNotBelow); NULL slots are passed over.
    zarn::prefetchKeys(leaf->m_pKeys, leaf->m_nKeyCount);
    const int i = zarn::firstNotBelow(key, leaf->m_pKeys, leaf->m_nKeyCount);
    if (i < leaf->m_nKeyCount && BPlusKey::Compare(key, leaf->m_pKeys[i]) == 0) {
        return leaf->m_pKeys[i];
    }
    return nullptr;
}
