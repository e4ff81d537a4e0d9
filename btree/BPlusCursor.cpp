// BPlusCursor: positions on the leaf chain, found with the tree's own descent.
#include "btree/BPlusCursor.h"

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"

BPlusCursor::BPlusCursor(BPlusNode* root) : m_pRoot(root), m_pLeaf(nullptr), m_nSlot(0) {}

bool BPlusCursor::First()
{
    m_pLeaf = m_pRoot != nullptr ? m_pRoot->GetFirstLeaf() : nullptr;
    // Only an empty tree has an empty leaf; walk past it all the same.
    while (m_pLeaf != nullptr && m_pLeaf->GetKeyCount() == 0) {
        m_pLeaf = m_pLeaf->GetNextLeaf();
    }
    m_nSlot = 0;
    return m_pLeaf != nullptr;
}

bool BPlusCursor::Last()
{
    m_pLeaf = m_pRoot != nullptr ? m_pRoot->GetLastLeaf() : nullptr;
    while (m_pLeaf != nullptr && m_pLeaf->GetKeyCount() == 0) {
        m_pLeaf = m_pLeaf->GetPrevLeaf();
    }
    m_nSlot = m_pLeaf != nullptr ? m_pLeaf->GetKeyCount() - 1 : 0;
    return m_pLeaf != nullptr;
}

bool BPlusCursor::Seek(BPlusKey* key)
{
    m_pLeaf = nullptr;
    m_nSlot = 0;
    if (m_pRoot == nullptr || key == nullptr) {
        return false;
    }
    // The leaf whose range holds key; NULL when key lies beyond every bound,
    // hence above every stored key.
    BPlusNode* leaf = m_pRoot->IsLeafNode() ? m_pRoot : m_pRoot->Search(key, nullptr);
    if (leaf == nullptr || !leaf->IsLeafNode()) {
        return false;
    }
    // Binary search for the first key not below key; its keys ascend.
    int first = 0;
    int length = leaf->GetKeyCount();
    while (length > 0) {
        const int half = length / 2;
        if (BPlusKey::Compare(key, leaf->GetKey(first + half)) > 0) {
            first += half + 1;
            length -= half + 1;
        } else {
            length = half;
        }
    }
    // Past the leaf's last key: the answer opens the next leaf.
    while (leaf != nullptr && first >= leaf->GetKeyCount()) {
        leaf = leaf->GetNextLeaf();
        first = 0;
    }
    m_pLeaf = leaf;
    m_nSlot = first;
    return m_pLeaf != nullptr;
}

bool BPlusCursor::Next()
{
    if (m_pLeaf == nullptr) {
        return false;
    }
    ++m_nSlot;
    while (m_pLeaf != nullptr && m_nSlot >= m_pLeaf->GetKeyCount()) {
        m_pLeaf = m_pLeaf->GetNextLeaf();
        m_nSlot = 0;
    }
    return m_pLeaf != nullptr;
}

bool BPlusCursor::Prev()
{
    if (m_pLeaf == nullptr) {
        return false;
    }
    --m_nSlot;
    while (m_pLeaf != nullptr && m_nSlot < 0) {
        m_pLeaf = m_pLeaf->GetPrevLeaf();
        m_nSlot = m_pLeaf != nullptr ? m_pLeaf->GetKeyCount() - 1 : 0;
    }
    return m_pLeaf != nullptr;
}

BPlusKey* BPlusCursor::Key()
{
    return m_pLeaf != nullptr ? m_pLeaf->GetKey(m_nSlot) : nullptr;
}
