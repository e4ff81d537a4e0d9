// BPlusNode: bulk loading of sorted keys into an empty root, level by level
// from the leaves up, without a single comparison beyond the order check.
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
#include "core/QorCore.h"

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

template <typename T>
T** newSlots(int count)
{
    return static_cast<T**>(QorMemAlloc(sizeof(T*) * static_cast<size_t>(count)));
}

}  // namespace

BPlusNode* BPlusNode::BuildFromSorted(BPlusKey** keys, int count)
{
    if (!IsValid() || m_bLeaf || m_nKeyCount != 0 || m_nPointerCount != 0 || count < 0 ||
        (count > 0 && keys == nullptr)) {
        return this;
    }
    for (int i = 0; i < count; ++i) {
        if (keys[i] == nullptr || (i > 0 && BPlusKey::Compare(keys[i - 1], keys[i]) >= 0)) {
            return this;  // refused before anything is taken
        }
    }
    if (count == 0) {
        return this;
    }

    // The leaves, filled to capacity and linked into the chain.
    BPlusNode* first = New();
    first->SetLeafNode(true);
    const int m = first->m_nMaxPointers;
    int nodes = groupsFor(count, m - 1);
    BPlusNode** level = newSlots<BPlusNode>(nodes);
    BPlusKey** lastKeys = newSlots<BPlusKey>(nodes);
    int taken = 0;
    for (int n = 0; n < nodes; ++n) {
        BPlusNode* leaf = first;
        if (n > 0) {
            leaf = New();
            leaf->SetLeafNode(true);
            leaf->m_pPrevLeaf = level[n - 1];
            level[n - 1]->m_pNextLeaf = leaf;
        }
        const int size = groupSize(n, nodes, count, m - 1, m / 2);
        for (int i = 0; i < size; ++i) {
            leaf->m_pKeys[i] = keys[taken++];
        }
        leaf->m_nKeyCount = size;
        level[n] = leaf;
        lastKeys[n] = leaf->m_pKeys[size - 1];
    }

    // Index levels of open-form nodes until the root can take the rest.
    while (nodes > m_nMaxPointers) {
        const int parents = groupsFor(nodes, m);
        int child = 0;
        for (int n = 0; n < parents; ++n) {
            const int size = groupSize(n, parents, nodes, m, m / 2 + m % 2);
            BPlusNode* parent = New();
            parent->AdoptChildren(level + child, lastKeys + child, size);
            // In place: slot n is read only by groups before it.
            level[n] = parent;
            lastKeys[n] = lastKeys[child + size - 1];
            child += size;
        }
        nodes = parents;
    }
    AdoptChildren(level, lastKeys, nodes);
    QorMemFree(level);
    QorMemFree(lastKeys);
    return this;
}

void BPlusNode::AdoptChildren(BPlusNode** children, BPlusKey** lastKeys, int count)
{
    // Key i bounds child i: the very last key of its rightmost leaf (a shared
    // separator); the last child goes without (open form).
    for (int i = 0; i < count; ++i) {
        m_pPointers[i] = children[i];
        if (i + 1 < count) {
            m_pKeys[i] = lastKeys[i];
        }
    }
    m_nPointerCount = count;
    m_nKeyCount = count - 1;
}
