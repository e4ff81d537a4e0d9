// BPlusNode: bulk loading of sorted keys into an empty root, level by level
// from the leaves up, with no comparison beyond the order check.
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
#include "btree/CheckedTrees.h"
#include "core/QorCore.h"

using zarn::KeyBlock;
using zarn::KeySummary;
using zarn::Summary;

namespace {

// Size of group `index` when total entries are cut into `groups` groups of
// `capacity`: all full, except that when the last group would fall below
// `minimum`, the last two share their entries evenly.
int groupSize(int index, int groups, int total, int capacity, int minimum)
{
    const int last = total - (groups - 1) * capacity;
    if (groups < 2 || last >= minimum || index < groups - 2) {
        return index == groups - 1 ? last : capacity;
    }
    const int shared = capacity + last;
    return index == groups - 2 ? shared - shared / 2 : shared / 2;
}

int groupsFor(int total, int capacity)
{
    return total / capacity + (total % capacity != 0 ? 1 : 0);
}

// How far ahead of the key being loaded its key object is fetched.
constexpr int kReadAhead = 48;

// Whether a sorts strictly before b, its summary (sa) being known: the
// summaries decide where they can, Compare where they tie or cannot.
bool before(BPlusKey* a, Summary const& sa, BPlusKey* b, Summary const& sb)
{
    if (KeySummary::usable(sa.kind, sb.kind) && sa.value != sb.value) {
        return sa.value < sb.value;
    }
    return BPlusKey::Compare(a, b) < 0;
}

}  // namespace

BPlusNode* BPlusNode::BuildFromSorted(BPlusKey** keys, int count)
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::Tree* tree = nullptr;
    if (!zarn::btreecheck::enterRootOperation(this, true, "BPlusNode::BuildFromSorted", &tree)) {
        return this;  // destroyed: nothing there to load into
    }
#endif
    if (!IsValid() || m_bLeaf || m_nKeyCount != 0 || m_nPointerCount != 0 || count < 0 ||
        (count > 0 && keys == nullptr)) {
        return this;
    }
    if (count == 0) {
        return this;
    }
    const int m = m_nMaxPointers;
    const int leaves = groupsFor(count, m - 1);
    BPlusNode** level = zarn::allocatePointers(leaves);
    // The greatest key of every node of the level being built, with its
    // summary and its hint (taken while the node is at hand, so that the
    // level above need not read its children again).
    KeyBlock lastKeys(KeyBlock::allocate(leaves, true), leaves);

    // The leaves, filled to capacity and linked into the chain. The order is
    // checked on the way; a refused load unlinks and deletes the leaves made
    // so far without their keys, so that nothing is taken.
    bool sorted = true;
    Summary previous{zarn::kSummaryNone, 0};
    int taken = 0;
    int made = 0;
    for (; made < leaves && sorted; ++made) {
        BPlusNode* leaf = New();
#ifdef ZARNCRT_CHECKED
        zarn::btreecheck::nodeMade(tree, leaf);
#endif
        leaf->SetLeafNode(true);
        if (made > 0) {
            leaf->m_pPrevLeaf = level[made - 1];
            level[made - 1]->m_pNextLeaf = leaf;
        }
        level[made] = leaf;
        KeyBlock block = Slots::keys(leaf);
        const int size = groupSize(made, leaves, count, m - 1, zarn::minLeafKeys(m));
        for (int i = 0; i < size && sorted; ++i, ++taken) {
            // The keys are read once, in order, and are usually cold.
            if (taken + kReadAhead < count) {
                zarn::prefetch(keys[taken + kReadAhead]);
            }
            BPlusKey* key = keys[taken];
            if (key == nullptr) {
                sorted = false;
                break;
            }
            const Summary summary = KeySummary::of(key);
            if (taken > 0 && !before(keys[taken - 1], previous, key, summary)) {
                sorted = false;
                break;
            }
            block.put(i, key, summary);
            leaf->m_nKeyCount = i + 1;
            previous = summary;
        }
        if (sorted) {
            lastKeys.take(made, block, size - 1);
            lastKeys.hints()[made] = Slots::hintFor(leaf);
        }
    }
    if (!sorted) {
        for (int n = 0; n < made; ++n) {
            Slots::keys(level[n]).clearAll();  // the keys stay the caller's
            level[n]->m_nKeyCount = 0;
            delete level[n];
        }
        QorMemFree(level);
        QorMemFree(lastKeys.keys());
        return this;
    }

    // Index levels of open-form nodes until the root can take the rest.
    int nodes = leaves;
    while (nodes > m) {
        const int parents = groupsFor(nodes, m);
        int child = 0;
        for (int n = 0; n < parents; ++n) {
            const int size = groupSize(n, parents, nodes, m, zarn::minIndexPointers(m));
            BPlusNode* parent = New();
#ifdef ZARNCRT_CHECKED
            zarn::btreecheck::nodeMade(tree, parent);
#endif
            parent->AdoptChildren(level + child, lastKeys, child, size);
            // In place: slot n is read only by groups before it.
            level[n] = parent;
            lastKeys.take(n, lastKeys, child + size - 1);
            lastKeys.hints()[n] = Slots::hintFor(parent);
            child += size;
        }
        nodes = parents;
    }
    AdoptChildren(level, lastKeys, 0, nodes);
    QorMemFree(level);
    QorMemFree(lastKeys.keys());
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::treeLoaded(tree, keys, count);
#endif
    return this;
}

void BPlusNode::AdoptChildren(BPlusNode** children, KeyBlock const& lastKeys, int first, int count)
{
    // Key i bounds child i: the very last key of its rightmost leaf (a shared
    // separator); the last child goes without (open form).
    KeyBlock keys = Slots::keys(this);
    for (int i = 0; i < count; ++i) {
        m_pPointers[i] = children[i];
        if (i + 1 < count) {
            keys.take(i, lastKeys, first + i);
        }
    }
    m_nPointerCount = count;
    m_nKeyCount = count - 1;
    Slots::giveHintRoom(this);
    Slots::copyHints(Slots::keys(this), 0, lastKeys, first, count);
}
