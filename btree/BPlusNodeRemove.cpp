// BPlusNode: removal. Remove on the root, with the rebalancing that leaves
// every node it touches at least at its minimum.
//
// Removal never allocates: keys (with their summaries) and pointers move
// inside the existing arrays, and the way down is kept by the descent's
// fixed arrays. Which index keys may be destroyed on the way (cloned bounds)
// and which must stay alive (separators shared with a leaf, and the removed
// key itself) is worked out in docs/btree.md, "Removal".
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
#include "btree/CheckedTrees.h"

using zarn::KeyBlock;

// One removal: the descent to the key's leaf, the key taken out, and the
// steps that refill what it left below its minimum.
struct ZARNCRT_HIDDEN BPlusNode::Removal {
    Removal(BPlusNode* root, BPlusKey* probe) : root(root), descent(probe) {}

    // Takes the key equal to the probe out of its leaf into removed; false
    // (nothing changed) when there is none.
    bool takeOut();
    // Refills, bottom-up along the way down, every node left below its
    // minimum, and shrinks the root, until the leaf where the removed key
    // was holds its minimum (docs/btree.md, "Removal", steps 3 and 4).
    void rebalance();
    // Step 5: the removed key may still bound a subtree as a shared
    // separator; its slot gets the new last key of that subtree.
    void replaceSharedBound();

    BPlusNode* root;
    Descent descent;
    BPlusKey* removed = nullptr;
    bool wasLast = false;      // removed was the last key of its leaf
    bool wayIsCurrent = true;  // descent still holds the way down from root

private:
    static bool belowMinimum(BPlusNode* node);
    static void removeKeySlot(BPlusNode* node, int slot);
    // Refills child `child` of parent from a sibling; returns the node that
    // holds the child's keys afterwards (the left one of a merge).
    BPlusNode* refill(BPlusNode* parent, int child);
    void merge(BPlusNode* parent, int left);
    void borrow(BPlusNode* parent, int child, bool fromLeft);
    // Empties a root whose only leaf has lost its last key; true if it did.
    bool clearEmptyRoot();
    // The separator s leaves index slot `bound` of parent, L being the lower
    // of the two children it stood between: destroyed only when it is a
    // cloned bound (neither the removed key nor a key L still holds last).
    void dropSeparator(BPlusKey* separator, BPlusKey* lowerLast);
};

BPlusNode* BPlusNode::Remove(BPlusKey* key, BPlusKey** ppRemoved)
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::Tree* tree = nullptr;
    if (!zarn::btreecheck::enterRootOperation(this, false, "BPlusNode::Remove", &tree)) {
        return this;  // destroyed: nothing there to remove from
    }
#endif
    if (ppRemoved != nullptr) {
        *ppRemoved = nullptr;
    }
    if (key == nullptr || !IsValid()) {
        return this;
    }
    Removal removal(this, key);
    if (!removal.takeOut()) {
        return this;
    }
    removal.rebalance();
    removal.replaceSharedBound();
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::keyRemoved(tree, removal.removed, removal.root);
#endif
    if (ppRemoved != nullptr) {
        *ppRemoved = removal.removed;
    } else {
        delete removal.removed;  // releases its data by the release rule
    }
    return removal.root;
}

bool BPlusNode::Removal::takeOut()
{
    BPlusNode* leaf = descent.run(root);
    if (leaf == nullptr) {
        return false;
    }
    const int slot = descent.locate(leaf);
    if (!descent.matches(leaf, slot)) {
        return false;
    }
    removed = leaf->m_pKeys[slot];
    wasLast = slot == leaf->m_nKeyCount - 1;
    removeKeySlot(leaf, slot);
    return true;
}

void BPlusNode::Removal::rebalance()
{
    for (;;) {
        // Bottom-up: a child left below its minimum is refilled through its
        // parent; once a child is not, nothing above it has changed. Most
        // removals leave the leaf at or above its minimum and end here.
        BPlusNode* leaf = nullptr;
        for (int level = descent.depth - 1; level >= 0; --level) {
            BPlusNode* parent = descent.nodes[level];
            if (!belowMinimum(parent->m_pPointers[descent.slots[level]])) {
                break;
            }
            BPlusNode* refilled = refill(parent, descent.slots[level]);
            leaf = leaf == nullptr ? refilled : leaf;
        }
        if (leaf == nullptr || root->m_bLeaf) {
            return;
        }
        wayIsCurrent = false;  // nodes on it may be merged away or deleted
        if (clearEmptyRoot()) {
            return;
        }
        // A root left with a single index child hands the tree to it.
        while (root->m_nPointerCount == 1 && root->m_nKeyCount == 0 &&
               !root->m_pPointers[0]->m_bLeaf) {
            BPlusNode* child = root->m_pPointers[0];
#ifdef ZARNCRT_CHECKED
            zarn::btreecheck::destroyNode(root, "BPlusNode::Remove");
#else
            delete root;          // frees its arrays only; the child lives on
#endif
            root = child;
        }
        // A leaf merged with siblings that were below their minimum too (the
        // right-edge leaves of Add) can still be below it; so can a leaf that
        // was an only child until its parent was refilled. Go on from where
        // the removed key would be, until the leaf there holds its minimum or
        // is the only leaf of the root. Every round merges nodes or fills the
        // leaf, so this ends.
        if (!belowMinimum(leaf)) {
            return;
        }
        leaf = descent.run(root);
        wayIsCurrent = true;
        if (leaf == nullptr || descent.depth == 0 || !belowMinimum(leaf) ||
            descent.nodes[descent.depth - 1]->m_nPointerCount < 2) {
            return;
        }
    }
}

void BPlusNode::Removal::replaceSharedBound()
{
    // Only a leaf's last key can be a shared separator. The way down from
    // the root passes the slot holding it, if any: index keys lie within
    // their node's range.
    if (!wasLast || root->m_bLeaf) {
        return;
    }
    if (!wayIsCurrent) {
        descent.run(root);
    }
    for (int level = 0; level < descent.depth; ++level) {
        BPlusNode* node = descent.nodes[level];
        const int c = descent.slots[level];
        if (c < node->m_nKeyCount && node->m_pKeys[c] == removed) {
            BPlusNode* leaf = node->m_pPointers[c]->GetLastLeaf();
            Slots::keys(node).take(c, Slots::keys(leaf), leaf->m_nKeyCount - 1);
            return;
        }
    }
}

bool BPlusNode::Removal::belowMinimum(BPlusNode* node)
{
    if (node->m_bLeaf) {
        return node->m_nKeyCount < zarn::minLeafKeys(node->m_nMaxPointers);
    }
    return node->m_nPointerCount < zarn::minIndexPointers(node->m_nMaxPointers);
}

void BPlusNode::Removal::removeKeySlot(BPlusNode* node, int slot)
{
    KeyBlock keys = Slots::keys(node);
    keys.move(slot, slot + 1, node->m_nKeyCount - slot - 1);
    keys.clear(--node->m_nKeyCount);
}

BPlusNode* BPlusNode::Removal::refill(BPlusNode* parent, int child)
{
    BPlusNode* node = parent->m_pPointers[child];
    const bool fromLeft = child > 0;
    if (!fromLeft && child + 1 >= parent->m_nPointerCount) {
        return node;  // an only child: nothing to balance against
    }
    BPlusNode* sibling = parent->m_pPointers[fromLeft ? child - 1 : child + 1];
    const int m = node->m_nMaxPointers;
    const bool fits = node->m_bLeaf ? node->m_nKeyCount + sibling->m_nKeyCount <= m - 1
                                    : node->m_nPointerCount + sibling->m_nPointerCount <= m;
    if (!fits) {
        borrow(parent, child, fromLeft);
        return node;
    }
    merge(parent, fromLeft ? child - 1 : child);
    return fromLeft ? sibling : node;
}

void BPlusNode::Removal::dropSeparator(BPlusKey* separator, BPlusKey* lowerLast)
{
    if (separator != removed && separator != lowerLast) {
        delete separator;
    }
}

void BPlusNode::Removal::merge(BPlusNode* parent, int left)
{
    BPlusNode* l = parent->m_pPointers[left];
    BPlusNode* r = parent->m_pPointers[left + 1];
    KeyBlock lower = Slots::keys(l);
    KeyBlock upper = Slots::keys(r);
    KeyBlock above = Slots::keys(parent);
    BPlusKey* separator = parent->m_pKeys[left];
    if (l->m_bLeaf) {
        BPlusKey* lowerLast = l->m_nKeyCount > 0 ? l->m_pKeys[l->m_nKeyCount - 1] : nullptr;
        lower.take(l->m_nKeyCount, upper, 0, r->m_nKeyCount);
        l->m_nKeyCount += r->m_nKeyCount;
        l->m_pNextLeaf = r->m_pNextLeaf;
        if (r->m_pNextLeaf != nullptr) {
            r->m_pNextLeaf->m_pPrevLeaf = l;
        }
        // The separator goes: a clone of the index node's own is destroyed;
        // a shared one (the lower leaf's last key) stays with its leaf.
        dropSeparator(separator, lowerLast);
    } else {
        // The separator comes down as the bound of l's former last child.
        lower.take(l->m_nKeyCount++, above, left);
        lower.take(l->m_nKeyCount, upper, 0, r->m_nKeyCount);
        l->m_nKeyCount += r->m_nKeyCount;
        for (int i = 0; i < r->m_nPointerCount; ++i) {
            Slots::takeChild(l, l->m_nPointerCount++, r, i);
            r->m_pPointers[i] = nullptr;
        }
    }
    upper.clearAll();
    r->m_nKeyCount = 0;
    r->m_nPointerCount = 0;
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::destroyNode(r, "BPlusNode::Remove");
#else
    delete r;                     // every slot is NULL: it destroys no key
#endif

    // The merged child keeps r's bound, if any, at slot left.
    removeKeySlot(parent, left);
    Slots::moveChildren(parent, left + 1, left + 2, parent->m_nPointerCount - left - 2);
    parent->m_pPointers[--parent->m_nPointerCount] = nullptr;
}

void BPlusNode::Removal::borrow(BPlusNode* parent, int child, bool fromLeft)
{
    BPlusNode* node = parent->m_pPointers[child];
    const int bound = fromLeft ? child - 1 : child;  // separator between the two
    BPlusNode* sibling = parent->m_pPointers[fromLeft ? child - 1 : child + 1];
    KeyBlock keys = Slots::keys(node);
    KeyBlock siblingKeys = Slots::keys(sibling);
    KeyBlock above = Slots::keys(parent);
    if (node->m_bLeaf) {
        const int moving = zarn::minLeafKeys(node->m_nMaxPointers) - node->m_nKeyCount;
        BPlusKey* separator = parent->m_pKeys[bound];
        BPlusNode* lower = fromLeft ? sibling : node;
        BPlusKey* lowerLast =
            lower->m_nKeyCount > 0 ? lower->m_pKeys[lower->m_nKeyCount - 1] : nullptr;
        if (fromLeft) {
            const int start = sibling->m_nKeyCount - moving;
            keys.move(moving, 0, node->m_nKeyCount);
            keys.take(0, siblingKeys, start, moving);
            for (int i = start; i < sibling->m_nKeyCount; ++i) {
                siblingKeys.clear(i);
            }
        } else {
            keys.take(node->m_nKeyCount, siblingKeys, 0, moving);
            siblingKeys.move(0, moving, sibling->m_nKeyCount - moving);
            for (int i = sibling->m_nKeyCount - moving; i < sibling->m_nKeyCount; ++i) {
                siblingKeys.clear(i);
            }
        }
        node->m_nKeyCount += moving;
        sibling->m_nKeyCount -= moving;
        // The new separator is the lower leaf's new last key, shared.
        above.take(bound, Slots::keys(lower), lower->m_nKeyCount - 1);
        dropSeparator(separator, lowerLast);
        return;
    }
    // Index nodes: one child at a time through the parent's separator.
    while (node->m_nPointerCount < zarn::minIndexPointers(node->m_nMaxPointers)) {
        if (fromLeft) {
            keys.move(1, 0, node->m_nKeyCount);
            Slots::moveChildren(node, 1, 0, node->m_nPointerCount);
            Slots::takeChild(node, 0, sibling, sibling->m_nPointerCount - 1);
            keys.take(0, above, bound);
            above.take(bound, siblingKeys, sibling->m_nKeyCount - 1);
            sibling->m_pPointers[--sibling->m_nPointerCount] = nullptr;
            siblingKeys.clear(--sibling->m_nKeyCount);
        } else {
            keys.take(node->m_nKeyCount, above, bound);
            Slots::takeChild(node, node->m_nPointerCount, sibling, 0);
            above.take(bound, siblingKeys, 0);
            siblingKeys.move(0, 1, sibling->m_nKeyCount - 1);
            Slots::moveChildren(sibling, 0, 1, sibling->m_nPointerCount - 1);
            sibling->m_pPointers[--sibling->m_nPointerCount] = nullptr;
            siblingKeys.clear(--sibling->m_nKeyCount);
        }
        ++node->m_nKeyCount;
        ++node->m_nPointerCount;
    }
}

bool BPlusNode::Removal::clearEmptyRoot()
{
    if (root->m_nPointerCount != 1 || !root->m_pPointers[0]->m_bLeaf ||
        root->m_pPointers[0]->m_nKeyCount != 0) {
        return false;
    }
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::destroyNode(root->m_pPointers[0], "BPlusNode::Remove");
#else
    delete root->m_pPointers[0];  // empty: holds no key
#endif
    root->m_pPointers[0] = nullptr;
    root->m_nPointerCount = 0;
    for (int i = 0; i < root->m_nKeyCount; ++i) {
        if (root->m_pKeys[i] != removed) {
            delete root->m_pKeys[i];  // a cloned bound of the root's own
        }
    }
    Slots::keys(root).clearAll();
    root->m_nKeyCount = 0;  // exactly a fresh root again
    return true;
}
