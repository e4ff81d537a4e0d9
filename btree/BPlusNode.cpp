// BPlusNode: construction, capacity, accessors, the leaf chain and releasing
// a whole tree. Insertion is in BPlusNodeInsert.cpp, the searches in
// BPlusNodeSearch.cpp, printing in BPlusNodePrint.cpp.
#include "btree/BPlusNode.h"

#include <climits>
#include <cmath>

#include "btree/BPlusKey.h"
#include "btree/BPlusNodeInternal.h"
#include "btree/CheckedTrees.h"
#include "core/OutOfMemory.h"
#include "core/QorCore.h"

namespace {

constexpr int kCapacityCap = 32;

}  // namespace

BPlusNode::BPlusNode() : m_nBlockSize(2048), m_nKeySize(768), m_nPointerSize(4), m_fFactor(1.0f)
{
    Construct();
}

BPlusNode::BPlusNode(int blockSize, int keySize, float factor)
    : m_nBlockSize(blockSize), m_nKeySize(keySize), m_nPointerSize(8), m_fFactor(factor)
{
    Construct();
}

void BPlusNode::Construct()
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::nodeConstructed(this);
#endif
    m_bLeaf = false;
    m_nPointerCount = 0;
    m_nKeyCount = 0;
    m_pPrevLeaf = nullptr;
    m_pNextLeaf = nullptr;
    m_pKeys = nullptr;
    m_pPointers = nullptr;
    CalcMaxPointers();
    if (IsValid()) {
        // Zero-filled: every slot beyond the counts reads NULL. The key
        // array is the front of the node's key block (NodeKeyBlock.h).
        m_pPointers = zarn::allocatePointers(m_nMaxPointers);
        m_pKeys = zarn::KeyBlock::allocate(m_nMaxPointers - 1);
    }
}

BPlusNode::~BPlusNode()
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::nodeDestroyed(this);
#endif
    if (m_pPointers != nullptr) {
        QorMemFree(m_pPointers);  // the children stay alive
    }
    if (m_pKeys != nullptr) {
        // Over the whole capacity, not only the key count.
        for (int i = 0; i < m_nMaxPointers - 1; ++i) {
            delete m_pKeys[i];
        }
        QorMemFree(m_pKeys);
    }
}

BPlusNode* BPlusNode::New()
{
    if (!IsValid()) {
        return nullptr;
    }
    return zarn::make<BPlusNode>(m_nBlockSize, m_nKeySize, m_fFactor);
}

void BPlusNode::CalcMaxPointers()
{
    // The order of the steps is part of the rule: where the exact quotient is
    // a whole number, rounding in these steps decides the result (66/21 gives
    // 2.9999999999999996, hence 2).
    const double blockSize = m_nBlockSize;
    const double keySize = m_nKeySize;
    const double pointerSize = m_nPointerSize;
    double q = blockSize / keySize;
    q = q + 1.0;
    q = q * keySize;
    q = q / (pointerSize + keySize);
    int n = INT_MIN;
    // Truncation toward zero stays in range exactly for q in (-2^31-1, 2^31);
    // NaN fails both tests.
    if (q > -2147483649.0 && q < 2147483648.0) {
        n = static_cast<int>(q);
    }
    m_nMaxPointers = n < kCapacityCap ? n : kCapacityCap;
}

bool BPlusNode::IsValid()
{
    return m_nMaxPointers > 2;
}

bool BPlusNode::IsFull()
{
    // In 64 bits: M - 1 must not overflow for the INT_MIN of a bad quotient.
    if (m_bLeaf) {
        return static_cast<long long>(m_nKeyCount) >= static_cast<long long>(m_nMaxPointers) - 1;
    }
    return m_nPointerCount >= m_nMaxPointers;
}

int BPlusNode::GetMaxPointers()
{
    return m_nMaxPointers;
}

int BPlusNode::GetKeyCount()
{
    return m_nKeyCount;
}

BPlusKey* BPlusNode::GetKey(int i)
{
    if (m_pKeys == nullptr || i < 0 || i >= m_nMaxPointers - 1) {
        return nullptr;
    }
    return m_pKeys[i];
}

void BPlusNode::SetLeafNode(bool leaf)
{
    m_bLeaf = leaf;
}

bool BPlusNode::IsLeafNode()
{
    return m_bLeaf;
}

BPlusNode* BPlusNode::GetFirstLeaf()
{
    BPlusNode* node = this;
    while (node != nullptr && !node->m_bLeaf) {
        node = node->m_nPointerCount > 0 ? node->m_pPointers[0] : nullptr;
    }
    return node;
}

BPlusNode* BPlusNode::GetLastLeaf()
{
    BPlusNode* node = this;
    while (node != nullptr && !node->m_bLeaf) {
        node = node->m_nPointerCount > 0 ? node->m_pPointers[node->m_nPointerCount - 1] : nullptr;
    }
    return node;
}

BPlusNode* BPlusNode::GetNextLeaf()
{
    return m_bLeaf ? m_pNextLeaf : nullptr;
}

BPlusNode* BPlusNode::GetPrevLeaf()
{
    return m_bLeaf ? m_pPrevLeaf : nullptr;
}

// An index key is shared with a leaf exactly when it is the same object as
// the last key of the rightmost leaf under its child (why: docs/btree.md,
// "Why DeleteTree destroys every key exactly once"). Such slots are emptied
// before the index node is deleted, so only the leaf destroys the key;
// everything left in index slots is a clone of the node's own.
void BPlusNode::DeleteTree(BPlusNode* root)
{
    if (root == nullptr) {
        return;
    }
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::Tree* tree = nullptr;
    if (!zarn::btreecheck::enterDeleteTree(root, &tree)) {
        return;  // destroyed already: nothing there to walk
    }
#endif
    DeleteSubtree(root);
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::treeDeleted(tree);
#endif
}

std::uintptr_t BPlusNode::DeleteSubtree(BPlusNode* node)
{
    if (node->m_bLeaf) {
        std::uintptr_t last = 0;
        if (node->m_pKeys != nullptr && node->m_nKeyCount > 0) {
            last = reinterpret_cast<std::uintptr_t>(node->m_pKeys[node->m_nKeyCount - 1]);
#ifdef ZARNCRT_CHECKED
            zarn::btreecheck::leafReleased(node->m_pKeys, node->m_nKeyCount);
#endif
        }
        delete node;
        return last;
    }
    std::uintptr_t last = 0;
    for (int i = 0; i < node->m_nPointerCount; ++i) {
        BPlusNode* child = node->m_pPointers[i];
        last = child != nullptr ? DeleteSubtree(child) : 0;
        if (i < node->m_nKeyCount && last != 0 &&
            reinterpret_cast<std::uintptr_t>(node->m_pKeys[i]) == last) {
            node->m_pKeys[i] = nullptr;  // the leaf has destroyed it
        }
    }
    delete node;
    return last;
}
