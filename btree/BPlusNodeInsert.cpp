// BPlusNode: insertion. Add on the root, built from the descent, the right-
// edge leaf creation, InsertLeaf, InsertIndex and Split.
//
// Every insertion into a node builds fresh arrays (QorMemAlloc) and installs
// them; keys are never shifted in place. Key slots move with their summaries
// (NodeKeyBlock.h).
#include <algorithm>
#include <cstring>

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
#include "btree/CheckedTrees.h"
#include "core/QorCore.h"

using zarn::KeyBlock;
using zarn::KeySummary;
using zarn::Summary;

namespace {

void copyPointers(BPlusNode** to, BPlusNode* const* from, int count)
{
    if (count > 0) {
        std::memcpy(to, from, sizeof(BPlusNode*) * static_cast<size_t>(count));
    }
}

}  // namespace

BPlusNode* BPlusNode::Add(BPlusKey* key, bool bReplaceData)
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::Tree* tree = nullptr;
    if (!zarn::btreecheck::enterAdd(this, key, &tree)) {
        return this;  // destroyed: nothing there to add to
    }
#endif
    if (key == nullptr || !IsValid()) {
        return this;  // nothing stored: the key stays the caller's
    }
    Descent descent(key);
    BPlusNode* leaf = descent.run(this);
    int position = 0;
    if (leaf == nullptr) {
        // Beyond every bound (always so for the first key): a new leaf at the
        // right edge takes the key; it is empty, so there is nothing to be
        // equal to.
        AppendEdgeLeaf(key, descent.probe);
        return this;
    } else {
        position = descent.locate(leaf);
        if (descent.matches(leaf, position)) {
            BPlusKey* stored = leaf->m_pKeys[position];
            if (bReplaceData && stored != key) {
                // SetData ignores the data it already holds, so handing
                // over a shared object releases nothing.
                stored->SetData(key->GetData());
                key->DetachData();
            }
            return this;
        }
    }
    if (!leaf->IsFull()) {
        leaf->InsertLeafAt(key, position, descent.probe);
#ifdef ZARNCRT_CHECKED
        zarn::btreecheck::keyStored(tree, key);
#endif
        if (descent.depth > 0) {
            Slots::rehint(descent.nodes[descent.depth - 1], descent.slots[descent.depth - 1]);
        }
        return this;
    }

    // The leaf is full: split it and carry the separator up the way down.
    BPlusNode* right = leaf->Split(key, nullptr, nullptr);
    if (right == nullptr) {
        return this;
    }
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::nodeMade(tree, right);
    zarn::btreecheck::keyStored(tree, key);
#endif
    BPlusKey* separator = leaf->m_pKeys[leaf->m_nKeyCount - 1];
    BPlusNode* current = leaf;
    for (int level = descent.depth - 1; level >= 0; --level) {
        current = descent.nodes[level];
        if (!current->IsFull()) {
            current->InsertIndex(separator, right);
            if (level > 0) {
                Slots::rehint(descent.nodes[level - 1], descent.slots[level - 1]);
            }
            return this;
        }
        right = current->Split(separator, right, &separator);
        if (right == nullptr) {
            return this;
        }
#ifdef ZARNCRT_CHECKED
        zarn::btreecheck::nodeMade(tree, right);
#endif
    }
    // The root itself has split: a new root above the two halves.
    BPlusNode* root = New();
    Slots::keys(root).put(0, separator);
    root->m_pPointers[0] = current;
    root->m_pPointers[1] = right;
    root->m_nPointerCount = 2;
    root->m_nKeyCount = 1;
    Slots::makeHinted(root);
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::rootChanged(tree, root);
#endif
    return root;
}

void BPlusNode::AppendEdgeLeaf(BPlusKey* key, Summary const& summary)
{
    BPlusNode* receiver = FindNode(key);
    if (receiver == nullptr || receiver->IsFull()) {
        return;  // nothing stored: the key stays the caller's
    }
    BPlusNode* leaf = New();
    if (leaf == nullptr) {
        return;
    }
    leaf->SetLeafNode(true);
    const int slot = receiver->m_nPointerCount;
    receiver->m_pPointers[slot] = leaf;
    receiver->m_nPointerCount = slot + 1;
    if (receiver->m_nKeyCount + 1 < receiver->m_nMaxPointers) {
        // The new leaf's bound, held by the index node alone.
        Slots::keys(receiver).put(receiver->m_nKeyCount, key->Clone());
        ++receiver->m_nKeyCount;
    }
    if (slot > 0 && receiver->m_pPointers[slot - 1] != nullptr) {
        BPlusNode* prev = receiver->m_pPointers[slot - 1]->GetLastLeaf();
        if (prev != nullptr) {
            leaf->m_pPrevLeaf = prev;
            leaf->m_pNextLeaf = prev->m_pNextLeaf;
            if (prev->m_pNextLeaf != nullptr) {
                prev->m_pNextLeaf->m_pPrevLeaf = leaf;
            }
            prev->m_pNextLeaf = leaf;
        }
    }
    leaf->InsertLeafAt(key, 0, summary);
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::Tree* tree = zarn::btreecheck::treeOf(this);
    zarn::btreecheck::nodeMade(tree, leaf);
    zarn::btreecheck::keyStored(tree, key);
#endif
    Slots::makeHinted(receiver);  // a root made by the caller has no hint room yet
    Slots::rehint(receiver, slot);
}

BPlusNode* BPlusNode::FindNode(BPlusKey* key)
{
    if (key == nullptr || !IsValid()) {
        return nullptr;
    }
    const Summary probe = KeySummary::of(key);
    BPlusNode* node = this;
    for (int depth = 0; node != nullptr && !node->m_bLeaf && depth < zarn::kMaxDepth; ++depth) {
        const int i = Slots::keys(node).locate(node->m_nKeyCount, key, probe);
        if (i < node->m_nKeyCount) {
            node = node->m_pPointers[i];
        } else if (node->m_nPointerCount == node->m_nMaxPointers) {
            node = node->m_pPointers[node->m_nPointerCount - 1];
        } else {
            return node;
        }
    }
    return nullptr;  // the way ended at a leaf (or a missing child)
}

bool BPlusNode::InsertLeaf(BPlusKey* key)
{
    if (key == nullptr || !IsValid() || !m_bLeaf || IsFull()) {
        return false;
    }
    const Summary summary = KeySummary::of(key);
    InsertLeafAt(key, Slots::keys(this).locate(m_nKeyCount, key, summary), summary);
    return true;
}

void BPlusNode::InsertLeafAt(BPlusKey* key, int position, Summary const& summary)
{
    const int slots = m_nMaxPointers - 1;
    KeyBlock old = Slots::keys(this);
    KeyBlock fresh(KeyBlock::allocate(slots), slots);
    fresh.take(0, old, 0, position);
    fresh.put(position, key, summary);
    fresh.take(position + 1, old, position, m_nKeyCount - position);
    QorMemFree(m_pKeys);
    m_pKeys = fresh.keys();
    ++m_nKeyCount;
}

bool BPlusNode::InsertIndex(BPlusKey* key, BPlusNode* right)
{
    if (key == nullptr || !IsValid() || m_bLeaf || IsFull()) {
        return false;
    }
    const int m = m_nMaxPointers;
    const int keyCount = std::min(m_nKeyCount, m - 1);
    const Summary summary = KeySummary::of(key);
    KeyBlock old = Slots::keys(this);
    const int position = old.locate(keyCount, key, summary);
    KeyBlock keys(KeyBlock::allocate(m - 1, true), m - 1);
    BPlusNode** pointers = zarn::allocatePointers(m);
    Slots::Hint const* oldHints = old.hints();
    Slots::Hint* hints = keys.hints();

    // Keys: those below position, key, the rest. Only M-1 fit: when the merged
    // keys number M, the last one (a cloned bound) is left out.
    BPlusKey* leftOut = nullptr;
    int newKeyCount = 0;
    for (int i = 0; i <= keyCount; ++i) {
        const int from = i < position ? i : i - 1;
        if (newKeyCount == m - 1) {
            leftOut = i == position ? key : old.keys()[from];
        } else if (i == position) {
            keys.put(newKeyCount++, key, summary);
        } else {
            keys.take(newKeyCount++, old, from);
        }
    }

    // Pointers: the children at the key positions and, in open form, the last
    // one; right follows the child that key bounds, or the last child.
    const bool open = zarn::isOpenForm(keyCount, m_nPointerCount);
    const int carried = keyCount + (open ? 1 : 0);
    int newPointerCount = 0;
    auto place = [&](BPlusNode* child, int from) {
        if (hints != nullptr) {
            hints[newPointerCount] =
                oldHints != nullptr && from >= 0 ? oldHints[from] : Slots::hintFor(child);
        }
        pointers[newPointerCount++] = child;
    };
    for (int i = 0; i < carried; ++i) {
        const int from = i < keyCount ? i : m_nPointerCount - 1;
        place(m_pPointers[from], from);
        if (i == position) {
            place(right, -1);
        }
    }
    if (position >= carried) {
        place(right, -1);
    }

    QorMemFree(m_pKeys);
    QorMemFree(m_pPointers);
    m_pKeys = keys.keys();
    m_pPointers = pointers;
    m_nPointerCount = newPointerCount;
    m_nKeyCount = newKeyCount;

    // A bounded-form node that took a separator now has as many keys as
    // pointers: its last child loses its bound and the node is in open form.
    BPlusKey* removed = nullptr;
    if (m_nKeyCount == m_nPointerCount && m_nKeyCount > 0) {
        removed = m_pKeys[m_nKeyCount - 1];
        keys.clear(--m_nKeyCount);
    }
    // Both are cloned bounds of this node's own in a tree built by Add. The
    // incoming separator is never destroyed here: it stays its owner's.
    if (leftOut != key) {
        delete leftOut;
    }
    if (removed != key) {
        delete removed;
    }
    return true;
}

BPlusNode* BPlusNode::Split(BPlusKey* key, BPlusNode* right, BPlusKey** upKey)
{
    if (key == nullptr || !IsValid() || !IsFull()) {
        return nullptr;
    }
    const int m = m_nMaxPointers;
    BPlusNode* sibling = New();
    if (sibling == nullptr || sibling->m_nMaxPointers < m) {
        delete sibling;  // a New() of a smaller capacity could not take the upper half
        return nullptr;
    }
    sibling->SetLeafNode(m_bLeaf);

    // Merge into M key slots and M+1 pointer slots.
    const int keyCount = std::min(m_nKeyCount, m - 1);
    const int pointerCount = std::min(m_nPointerCount, m);
    const Summary summary = KeySummary::of(key);
    KeyBlock own = Slots::keys(this);
    const int position = own.locate(keyCount, key, summary);
    KeyBlock merged(KeyBlock::allocate(m, !m_bLeaf), m);
    BPlusNode** pointers = zarn::allocatePointers(m + 1);
    merged.take(0, own, 0, position);
    merged.put(position, key, summary);
    merged.take(position + 1, own, position, keyCount - position);
    if (!m_bLeaf) {
        // right goes directly after the child that key bounds, else last;
        // each child's hint goes with it.
        Slots::makeHinted(this);
        Slots::makeHinted(sibling);
        own = Slots::keys(this);
        const int before =
            position < keyCount && position < pointerCount ? position + 1 : pointerCount;
        copyPointers(pointers, m_pPointers, before);
        pointers[before] = right;
        copyPointers(pointers + before + 1, m_pPointers + before, pointerCount - before);
        Slots::copyHints(merged, 0, own, 0, before);
        Slots::copyHints(merged, before + 1, own, before, pointerCount - before);
        if (Slots::Hint* hints = merged.hints()) {
            hints[before] = Slots::hintFor(right);
        }
    }
    own.clearAll();
    std::memset(m_pPointers, 0, sizeof(BPlusNode*) * static_cast<size_t>(m));

    KeyBlock upper = Slots::keys(sibling);
    const int lower = zarn::minIndexPointers(m);  // ceil(M/2)
    if (m_bLeaf) {
        own.take(0, merged, 0, lower);
        m_nKeyCount = lower;
        upper.take(0, merged, lower, m - lower);
        sibling->m_nKeyCount = m - lower;
        sibling->m_pPrevLeaf = this;
        sibling->m_pNextLeaf = m_pNextLeaf;
        if (m_pNextLeaf != nullptr) {
            m_pNextLeaf->m_pPrevLeaf = sibling;
        }
        m_pNextLeaf = sibling;
    } else {
        own.take(0, merged, 0, lower - 1);
        copyPointers(m_pPointers, pointers, lower);
        Slots::copyHints(own, 0, merged, 0, lower);
        m_nKeyCount = lower - 1;
        m_nPointerCount = lower;
        upper = Slots::keys(sibling);
        upper.take(0, merged, lower, m - lower);
        copyPointers(sibling->m_pPointers, pointers + lower, m + 1 - lower);
        Slots::copyHints(upper, 0, merged, lower, m + 1 - lower);
        sibling->m_nKeyCount = m - lower;
        sibling->m_nPointerCount = m + 1 - lower;
        if (upKey != nullptr) {
            *upKey = merged.keys()[lower - 1];  // moves up: neither half keeps it
        }
    }
    QorMemFree(merged.keys());
    QorMemFree(pointers);
    return sibling;
}
