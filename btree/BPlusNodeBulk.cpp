// BPlusNode: bulk loading of sorted keys into an empty root, level by level
// from the leaves up, with no comparison beyond the order check.
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
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

// Whether a sorts strictly before b, their summaries being sa and sb: the
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
    // summary: the bounds of the level above.
    KeyBlock lastKeys(KeyBlock::allocate(leaves), leaves);

    // The leaves, filled to capacity and linked into the chain. The order is
    // checked on the way; a refused load unlinks and deletes the leaves made
    // so far without their keys, so that nothing is taken. The keys are read
    // once, from the last to the first: the caller most likely made them in
    // order just before, and the last ones made are those still in cache.
    bool sorted = true;
    Summary next{zarn::kSummaryNone, 0};  // of keys[end], the first placed
    int end = count;                      // keys[end, count) are placed
    int made = leaves;                    // leaves [made, leaves) are made
    while (made > 0 && sorted) {
        --made;
        BPlusNode* leaf = New();
        leaf->SetLeafNode(true);
        level[made] = leaf;
        if (made + 1 < leaves) {
            leaf->m_pNextLeaf = level[made + 1];
            level[made + 1]->m_pPrevLeaf = leaf;
        }
        KeyBlock block = Slots::keys(leaf);
        const int size = groupSize(made, leaves, count, m - 1, zarn::minLeafKeys(m));
        const int start = end - size;
        for (int i = size - 1; i >= 0 && sorted; --i) {
            const int at = start + i;
            if (at >= kReadAhead) {
                zarn::prefetch(keys[at - kReadAhead]);  // usually cold
            }
            BPlusKey* key = keys[at];
            const Summary summary = key != nullptr ? KeySummary::of(key) : next;
            sorted =
                key != nullptr && (at + 1 == count || before(key, summary, keys[at + 1], next));
            block.put(i, key, summary);
            next = summary;
        }
        leaf->m_nKeyCount = size;
        lastKeys.take(made, block, size - 1);
        end = start;
    }
    if (!sorted) {
        for (int n = made; n < leaves; ++n) {
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
            parent->AdoptChildren(level + child, lastKeys, child, size);
            // In place: slot n is read only by groups before it.
            level[n] = parent;
            lastKeys.take(n, lastKeys, child + size - 1);
            child += size;
        }
        nodes = parents;
    }
    AdoptChildren(level, lastKeys, 0, nodes);
    QorMemFree(level);
    QorMemFree(lastKeys.keys());
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
    Slots::makeHinted(this);
}
