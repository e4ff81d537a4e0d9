// BPlusNode: removal. Remove on the root, with the rebalancing that keeps
// every node below the root at least half full.
//
// Removal never allocates: keys and pointers are moved inside the existing
// arrays, and the path of the descent is kept in a fixed local array. Which
// index keys may be destroyed on the way (cloned bounds) and which must stay
// alive (separators shared with a leaf, and the removed key itself) is
// worked out in docs/btree.md, "Removal".
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"

namespace {

// Every index node below the root has at least two children, so a tree of
// fewer than 2^31 keys has fewer than 33 levels; deeper is not a sound tree.
constexpr int kMaxDepth = 40;

// Smallest key count of a leaf that is not the root: floor(M/2).
int minLeafKeys(int m)
{
    return m / 2;
}

// Smallest pointer count of an index node that is not the root: ceil(M/2).
int minIndexPointers(int m)
{
    return m / 2 + m % 2;
}

template <typename T>
void moveSlots(T** slots, int to, int from, int count)
{
    // Overlapping ranges: copy in the direction that reads before it writes.
    if (to < from) {
        for (int i = 0; i < count; ++i) {
            slots[to + i] = slots[from + i];
        }
    } else {
        for (int i = count - 1; i >= 0; --i) {
            slots[to + i] = slots[from + i];
        }
    }
}

void handOver(BPlusKey* removed, BPlusKey** ppRemoved)
{
    if (ppRemoved != nullptr) {
        *ppRemoved = removed;
    } else {
        delete removed;  // releases its data by the release rule
    }
}

}  // namespace

namespace {

// The index nodes on the way from root down to the leaf that holds, or would
// hold, key, with the child taken at each; the leaf itself, or NULL when key
// lies beyond every bound of a bounded-form node (or the way is broken).
struct RemovalPath {
    BPlusNode* parents[kMaxDepth];
    int childSlots[kMaxDepth];
    int depth = 0;
};

}  // namespace

BPlusNode* BPlusNode::Remove(BPlusKey* key, BPlusKey** ppRemoved)
{
    if (ppRemoved != nullptr) {
        *ppRemoved = nullptr;
    }
    if (key == nullptr || !IsValid()) {
        return this;
    }
    RemovalPath path;
    BPlusNode* node = FindRemovalLeaf(key, path.parents, path.childSlots, &path.depth);
    if (node == nullptr) {
        return this;
    }
    const int slot = zarn::firstNotBelow(key, node->m_pKeys, node->m_nKeyCount);
    if (slot >= node->m_nKeyCount || BPlusKey::Compare(key, node->m_pKeys[slot]) != 0) {
        return this;
    }
    BPlusKey* removed = node->m_pKeys[slot];
    const bool wasLast = slot == node->m_nKeyCount - 1;
    node->RemoveKeySlot(slot);

    BPlusNode* root = this;
    for (;;) {
        // Bottom-up: a child left below its minimum is refilled through its
        // parent; once a child is not, nothing above it has changed.
        for (int d = path.depth - 1; d >= 0; --d) {
            BPlusNode* parent = path.parents[d];
            if (!parent->m_pPointers[path.childSlots[d]]->IsBelowMinimum()) {
                break;
            }
            parent->RefillChild(path.childSlots[d], removed);
        }
        if (root->m_bLeaf) {
            break;
        }
        root->ClearEmptyRoot(removed);
        // A root left with a single index child hands the tree to it.
        while (root->m_nPointerCount == 1 && root->m_nKeyCount == 0 &&
               !root->m_pPointers[0]->m_bLeaf) {
            BPlusNode* child = root->m_pPointers[0];
            root->m_pPointers[0] = nullptr;
            root->m_nPointerCount = 0;
            delete root;
            root = child;
        }
        // A leaf merged with siblings that were below their minimum too (the
        // right-edge leaves of Add) can still be below it; so can a leaf that
        // was an only child until its parent was refilled. Go on from where
        // the removed key would be, until the leaf there holds its minimum or
        // is the only leaf of the root. Every round merges nodes or fills the
        // leaf, so this ends.
        path = RemovalPath();
        node = root->FindRemovalLeaf(removed, path.parents, path.childSlots, &path.depth);
        if (node == nullptr || path.depth == 0 || !node->IsBelowMinimum() ||
            path.parents[path.depth - 1]->m_nPointerCount < 2) {
            break;
        }
    }
    if (wasLast && !root->m_bLeaf) {
        root->ReplaceSharedBound(removed);
    }
    handOver(removed, ppRemoved);
    return root;
}

BPlusNode* BPlusNode::FindRemovalLeaf(BPlusKey* key, BPlusNode** parents, int* childSlots,
                                      int* depth)
{
    BPlusNode* node = this;
    *depth = 0;
    while (!node->m_bLeaf) {
        if (*depth == kMaxDepth) {
            return nullptr;
        }
        int c = zarn::firstNotBelow(key, node->m_pKeys, node->m_nKeyCount);
        if (c == node->m_nKeyCount) {
            if (node->m_nPointerCount <= node->m_nKeyCount) {
                return nullptr;  // bounded form (or empty): beyond every bound
            }
            c = node->m_nPointerCount - 1;
        }
        BPlusNode* child = node->m_pPointers[c];
        if (child == nullptr) {
            return nullptr;
        }
        parents[*depth] = node;
        childSlots[*depth] = c;
        ++*depth;
        node = child;
    }
    return node;
}

bool BPlusNode::IsBelowMinimum()
{
    if (m_bLeaf) {
        return m_nKeyCount < minLeafKeys(m_nMaxPointers);
    }
    return m_nPointerCount < minIndexPointers(m_nMaxPointers);
}

void BPlusNode::RemoveKeySlot(int slot)
{
    moveSlots(m_pKeys, slot, slot + 1, m_nKeyCount - slot - 1);
    m_pKeys[--m_nKeyCount] = nullptr;
}

void BPlusNode::RefillChild(int child, BPlusKey* removed)
{
    BPlusNode* node = m_pPointers[child];
    const bool fromLeft = child > 0;
    if (!fromLeft && child + 1 >= m_nPointerCount) {
        return;  // an only child: nothing to balance against
    }
    BPlusNode* sibling = m_pPointers[fromLeft ? child - 1 : child + 1];
    const bool fits =
        node->m_bLeaf ? node->m_nKeyCount + sibling->m_nKeyCount <= node->m_nMaxPointers - 1
                      : node->m_nPointerCount + sibling->m_nPointerCount <= node->m_nMaxPointers;
    if (fits) {
        MergeChildren(fromLeft ? child - 1 : child, removed);
    } else {
        BorrowForChild(child, fromLeft, removed);
    }
}

void BPlusNode::MergeChildren(int left, BPlusKey* removed)
{
    BPlusNode* l = m_pPointers[left];
    BPlusNode* r = m_pPointers[left + 1];
    BPlusKey* separator = m_pKeys[left];
    if (l->m_bLeaf) {
        BPlusKey* lowerLast = l->m_nKeyCount > 0 ? l->m_pKeys[l->m_nKeyCount - 1] : nullptr;
        for (int i = 0; i < r->m_nKeyCount; ++i) {
            l->m_pKeys[l->m_nKeyCount++] = r->m_pKeys[i];
            r->m_pKeys[i] = nullptr;
        }
        l->m_pNextLeaf = r->m_pNextLeaf;
        if (r->m_pNextLeaf != nullptr) {
            r->m_pNextLeaf->m_pPrevLeaf = l;
        }
        // The separator goes: a clone of the index node's own is destroyed;
        // a shared one (the lower leaf's last key) stays with its leaf.
        if (separator != removed && separator != lowerLast) {
            delete separator;
        }
    } else {
        // The separator comes down as the bound of l's former last child.
        l->m_pKeys[l->m_nKeyCount++] = separator;
        for (int i = 0; i < r->m_nKeyCount; ++i) {
            l->m_pKeys[l->m_nKeyCount++] = r->m_pKeys[i];
            r->m_pKeys[i] = nullptr;
        }
        for (int i = 0; i < r->m_nPointerCount; ++i) {
            l->m_pPointers[l->m_nPointerCount++] = r->m_pPointers[i];
            r->m_pPointers[i] = nullptr;
        }
    }
    r->m_nKeyCount = 0;
    r->m_nPointerCount = 0;
    delete r;  // every slot is NULL: it destroys no key

    // The merged child keeps r's bound, if any, at slot left.
    RemoveKeySlot(left);
    moveSlots(m_pPointers, left + 1, left + 2, m_nPointerCount - left - 2);
    m_pPointers[--m_nPointerCount] = nullptr;
}

void BPlusNode::BorrowForChild(int child, bool fromLeft, BPlusKey* removed)
{
    BPlusNode* node = m_pPointers[child];
    const int bound = fromLeft ? child - 1 : child;  // separator between the two
    BPlusNode* sibling = m_pPointers[fromLeft ? child - 1 : child + 1];
    if (node->m_bLeaf) {
        const int moving = minLeafKeys(node->m_nMaxPointers) - node->m_nKeyCount;
        BPlusKey* separator = m_pKeys[bound];
        BPlusNode* lower = fromLeft ? sibling : node;
        BPlusKey* lowerLast =
            lower->m_nKeyCount > 0 ? lower->m_pKeys[lower->m_nKeyCount - 1] : nullptr;
        if (fromLeft) {
            moveSlots(node->m_pKeys, moving, 0, node->m_nKeyCount);
            const int start = sibling->m_nKeyCount - moving;
            for (int i = 0; i < moving; ++i) {
                node->m_pKeys[i] = sibling->m_pKeys[start + i];
                sibling->m_pKeys[start + i] = nullptr;
            }
        } else {
            for (int i = 0; i < moving; ++i) {
                node->m_pKeys[node->m_nKeyCount + i] = sibling->m_pKeys[i];
            }
            moveSlots(sibling->m_pKeys, 0, moving, sibling->m_nKeyCount - moving);
            for (int i = sibling->m_nKeyCount - moving; i < sibling->m_nKeyCount; ++i) {
                sibling->m_pKeys[i] = nullptr;
            }
        }
        node->m_nKeyCount += moving;
        sibling->m_nKeyCount -= moving;
        // The new separator is the lower leaf's new last key, shared.
        m_pKeys[bound] = lower->m_pKeys[lower->m_nKeyCount - 1];
        if (separator != removed && separator != lowerLast) {
            delete separator;
        }
        return;
    }
    // Index nodes: one child at a time through the parent's separator.
    while (node->m_nPointerCount < minIndexPointers(node->m_nMaxPointers)) {
        if (fromLeft) {
            moveSlots(node->m_pKeys, 1, 0, node->m_nKeyCount);
            moveSlots(node->m_pPointers, 1, 0, node->m_nPointerCount);
            node->m_pPointers[0] = sibling->m_pPointers[sibling->m_nPointerCount - 1];
            node->m_pKeys[0] = m_pKeys[bound];
            m_pKeys[bound] = sibling->m_pKeys[sibling->m_nKeyCount - 1];
            sibling->m_pPointers[--sibling->m_nPointerCount] = nullptr;
            sibling->m_pKeys[--sibling->m_nKeyCount] = nullptr;
        } else {
            node->m_pKeys[node->m_nKeyCount] = m_pKeys[bound];
            node->m_pPointers[node->m_nPointerCount] = sibling->m_pPointers[0];
            m_pKeys[bound] = sibling->m_pKeys[0];
            moveSlots(sibling->m_pKeys, 0, 1, sibling->m_nKeyCount - 1);
            moveSlots(sibling->m_pPointers, 0, 1, sibling->m_nPointerCount - 1);
            sibling->m_pPointers[--sibling->m_nPointerCount] = nullptr;
            sibling->m_pKeys[--sibling->m_nKeyCount] = nullptr;
        }
        ++node->m_nKeyCount;
        ++node->m_nPointerCount;
    }
}

void BPlusNode::ClearEmptyRoot(BPlusKey* removed)
{
    if (m_nPointerCount != 1 || !m_pPointers[0]->m_bLeaf || m_pPointers[0]->m_nKeyCount != 0) {
        return;
    }
    delete m_pPointers[0];  // empty: holds no key
    m_pPointers[0] = nullptr;
    m_nPointerCount = 0;
    for (int i = 0; i < m_nKeyCount; ++i) {
        if (m_pKeys[i] != removed) {
            delete m_pKeys[i];  // a cloned bound of the root's own
        }
        m_pKeys[i] = nullptr;
    }
    m_nKeyCount = 0;  // exactly a fresh root again
}

void BPlusNode::ReplaceSharedBound(BPlusKey* removed)
{
    // The slot holding removed lies on removed's own way down: index keys lie
    // within their node's range.
    BPlusNode* node = this;
    while (node != nullptr && !node->m_bLeaf) {
        const int c = zarn::firstNotBelow(removed, node->m_pKeys, node->m_nKeyCount);
        if (c < node->m_nKeyCount) {
            if (node->m_pKeys[c] == removed) {
                BPlusNode* leaf = node->m_pPointers[c]->GetLastLeaf();
                node->m_pKeys[c] = leaf->m_pKeys[leaf->m_nKeyCount - 1];
                return;
            }
            node = node->m_pPointers[c];
        } else if (node->m_nPointerCount > node->m_nKeyCount) {
            node = node->m_pPointers[node->m_nPointerCount - 1];
        } else {
            return;
        }
    }
}
