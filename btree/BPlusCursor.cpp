// BPlusCursor: positions on the leaf chain, found with the tree's own descent.
// A step along the chain reads the leaf's fields directly: applications call
// Next and Key once per key, so each is a few instructions.
#include "btree/BPlusCursor.h"

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
#include "btree/CheckedTrees.h"

namespace {

// How many keys ahead of the cursor Next starts loading the key object: a
// walk reads every key it steps to, and key objects are separate heap
// blocks that the hardware does not fetch ahead by itself.
constexpr int kPrefetchAhead = 32;

}  // namespace

BPlusCursor::BPlusCursor(BPlusNode* root) : m_pRoot(root), m_pLeaf(nullptr), m_nSlot(0)
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::cursorPlaced(this, root);
#endif
}

bool BPlusCursor::First()
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::cursorRepositioned(this, m_pRoot, "BPlusCursor::First");
#endif
    m_pLeaf = m_pRoot != nullptr ? m_pRoot->GetFirstLeaf() : nullptr;
    // Only an empty tree has an empty leaf; walk past it all the same.
    while (m_pLeaf != nullptr && m_pLeaf->m_nKeyCount == 0) {
        m_pLeaf = m_pLeaf->m_pNextLeaf;
    }
    m_nSlot = 0;
    return m_pLeaf != nullptr;
}

bool BPlusCursor::Last()
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::cursorRepositioned(this, m_pRoot, "BPlusCursor::Last");
#endif
    m_pLeaf = m_pRoot != nullptr ? m_pRoot->GetLastLeaf() : nullptr;
    while (m_pLeaf != nullptr && m_pLeaf->m_nKeyCount == 0) {
        m_pLeaf = m_pLeaf->m_pPrevLeaf;
    }
    m_nSlot = m_pLeaf != nullptr ? m_pLeaf->m_nKeyCount - 1 : 0;
    return m_pLeaf != nullptr;
}

bool BPlusCursor::Seek(BPlusKey* key)
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::cursorRepositioned(this, m_pRoot, "BPlusCursor::Seek");
#endif
    m_pLeaf = nullptr;
    m_nSlot = 0;
    if (m_pRoot == nullptr || key == nullptr || !m_pRoot->IsValid()) {
        return false;
    }
    // The leaf whose range holds key; NULL when key lies beyond every bound,
    // hence above every stored key.
    BPlusNode::Descent descent(key);
    BPlusNode* leaf = descent.run(m_pRoot);
    if (leaf == nullptr) {
        return false;
    }
    int first = descent.locate(leaf);
    // Past the leaf's last key: the answer opens the next leaf.
    while (leaf != nullptr && first >= leaf->m_nKeyCount) {
        leaf = leaf->m_pNextLeaf;
        first = 0;
    }
    m_pLeaf = leaf;
    m_nSlot = first;
    if (leaf != nullptr) {
        // The walk that follows a seek reads these keys first.
        for (int i = first; i < leaf->m_nKeyCount && i < first + kPrefetchAhead; ++i) {
            zarn::prefetch(leaf->m_pKeys[i]);
        }
    }
    return m_pLeaf != nullptr;
}

bool BPlusCursor::Next()
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::cursorStep(this, m_pRoot, "BPlusCursor::Next");
#endif
    if (m_pLeaf == nullptr) {
        return false;
    }
    if (++m_nSlot < m_pLeaf->m_nKeyCount) {
        const int ahead = m_nSlot + kPrefetchAhead;
        if (ahead < m_pLeaf->m_nKeyCount) {
            zarn::prefetch(m_pLeaf->m_pKeys[ahead]);
        } else if (ahead == m_pLeaf->m_nKeyCount) {
            // The walk is about to enter the next leaf: fetch it, without
            // waiting for it here.
            zarn::prefetch(m_pLeaf->m_pNextLeaf);
        }
        return true;
    }
    do {
        m_pLeaf = m_pLeaf->m_pNextLeaf;
    } while (m_pLeaf != nullptr && m_pLeaf->m_nKeyCount == 0);
    m_nSlot = 0;
    return m_pLeaf != nullptr;
}

bool BPlusCursor::Prev()
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::cursorStep(this, m_pRoot, "BPlusCursor::Prev");
#endif
    if (m_pLeaf == nullptr) {
        return false;
    }
    if (--m_nSlot >= 0) {
        return true;
    }
    do {
        m_pLeaf = m_pLeaf->m_pPrevLeaf;
    } while (m_pLeaf != nullptr && m_pLeaf->m_nKeyCount == 0);
    m_nSlot = m_pLeaf != nullptr ? m_pLeaf->m_nKeyCount - 1 : 0;
    return m_pLeaf != nullptr;
}

BPlusKey* BPlusCursor::Key()
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::cursorStep(this, m_pRoot, "BPlusCursor::Key");
#endif
    if (m_pLeaf == nullptr || m_nSlot >= m_pLeaf->m_nKeyCount) {
        return nullptr;
    }
    return m_pLeaf->m_pKeys[m_nSlot];
}
