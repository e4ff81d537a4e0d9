// BPlusNode: the invariant check of a whole tree (VerifyTree). The
// invariants themselves are listed and explained in docs/btree.md.
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/BPlusNodeInternal.h"
#include "btree/PointerSet.h"
#include "core/QorCore.h"
#include "text/CStringBuffer.h"

struct ZARNCRT_HIDDEN BPlusNode::Verifier {
    explicit Verifier(CStringBuffer& out) : problems(out) {}
    ~Verifier()
    {
        QorMemFree(unshared);
    }
    Verifier(Verifier const&) = delete;
    Verifier& operator=(Verifier const&) = delete;

    void addUnshared(BPlusKey* key)
    {
        if (unsharedCount == unsharedCapacity) {
            unsharedCapacity = unsharedCapacity == 0 ? 16 : unsharedCapacity * 2;
            unshared = static_cast<BPlusKey**>(QorMemRealloc(
                unshared, sizeof(BPlusKey*) * static_cast<std::size_t>(unsharedCapacity)));
        }
        unshared[unsharedCount++] = key;
    }

    // One problem line about a node or key object: "<what> 0x%08x: ...".
    __attribute__((format(printf, 4, 5))) void report(char const* what, void const* object,
                                                      char const* fmt, ...)
    {
        char text[256];
        const int prefix =
            std::snprintf(text, sizeof text, "%s 0x%08x: ", what, zarn::low32(object));
        va_list args;
        va_start(args, fmt);
        std::vsnprintf(text + prefix, sizeof text - static_cast<size_t>(prefix), fmt, args);
        va_end(args);
        problems.append(text, -1);
        problems.append("\n", 1);
        sound = false;
    }

    // Checks node and its subtree, whose keys must lie in (lo, hi] (NULL: no
    // limit); returns the last key of its rightmost leaf (NULL if none).
    BPlusKey* check(BPlusNode* node, BPlusKey* lo, BPlusKey* hi, int depth, bool root);
    bool checkShape(BPlusNode* node, bool root);
    void checkKeys(BPlusNode* node, BPlusKey* lo, BPlusKey* hi);
    BPlusKey* checkLeaf(BPlusNode* node, int depth, bool root);
    void finish();

    CStringBuffer& problems;
    bool sound = true;
    int capacity = 0;    // M of the nodes below the root
    int leafDepth = -1;  // depth of the first leaf met
    BPlusNode* previousLeaf = nullptr;
    zarn::PointerSet nodes;      // every node reached
    zarn::PointerSet leafKeys;   // every key object in a leaf slot
    zarn::PointerSet indexKeys;  // every key object in an index slot
    // Index keys that do not end their child's rightmost leaf: cloned bounds,
    // which no leaf may hold. Checked once all leaf keys are known.
    BPlusKey** unshared = nullptr;
    int unsharedCount = 0;
    int unsharedCapacity = 0;
};

bool BPlusNode::VerifyTree(CStringBuffer& problems)
{
    Verifier verifier(problems);
    verifier.check(this, nullptr, nullptr, 0, true);
    verifier.finish();
    return verifier.sound;
}

BPlusKey* BPlusNode::Verifier::check(BPlusNode* node, BPlusKey* lo, BPlusKey* hi, int depth,
                                     bool root)
{
    // Deeper than any sound tree (and so also the end of a cycle).
    if (depth > zarn::kMaxDepth) {
        report("node", node, "deeper than %d levels", zarn::kMaxDepth);
        return nullptr;
    }
    if (!nodes.insert(node)) {
        report("node", node, "reached twice");
        return nullptr;
    }
    if (!checkShape(node, root)) {
        return nullptr;
    }
    checkKeys(node, lo, hi);
    if (node->m_bLeaf) {
        return checkLeaf(node, depth, root);
    }
    if (node->m_pPrevLeaf != nullptr || node->m_pNextLeaf != nullptr) {
        report("node", node, "index node in the leaf chain");
    }
    BPlusKey* last = nullptr;
    for (int i = 0; i < node->m_nPointerCount; ++i) {
        BPlusKey* childLo = i == 0 ? lo : node->m_pKeys[i - 1];
        BPlusKey* bound = i < node->m_nKeyCount ? node->m_pKeys[i] : nullptr;
        last =
            check(node->m_pPointers[i], childLo, bound != nullptr ? bound : hi, depth + 1, false);
        if (bound != nullptr) {
            if (!indexKeys.insert(bound)) {
                report("key", bound, "key object held by two index slots");
            }
            if (bound != last) {
                addUnshared(bound);
            }
        }
    }
    return last;
}

bool BPlusNode::Verifier::checkShape(BPlusNode* node, bool root)
{
    if (!node->IsValid() || node->m_pKeys == nullptr || node->m_pPointers == nullptr) {
        report("node", node, "not a valid node");
        return false;
    }
    const int m = node->m_nMaxPointers;
    if (!root) {
        if (capacity == 0) {
            capacity = m;
        } else if (m != capacity) {
            report("node", node, "capacity %d differs from %d", m, capacity);
        }
    }
    const int maxPointers = node->m_bLeaf ? 0 : m;
    if (node->m_nKeyCount < 0 || node->m_nKeyCount > m - 1 || node->m_nPointerCount < 0 ||
        node->m_nPointerCount > maxPointers) {
        report("node", node, "counts out of range: %d keys, %d pointers", node->m_nKeyCount,
               node->m_nPointerCount);
        return false;
    }
    bool slotsSound = true;
    for (int i = 0; i < m - 1; ++i) {
        if ((node->m_pKeys[i] == nullptr) == (i < node->m_nKeyCount)) {
            report("node", node, "key slot %d %s", i, i < node->m_nKeyCount ? "NULL" : "not NULL");
            slotsSound = false;
        }
    }
    for (int i = 0; i < m; ++i) {
        if ((node->m_pPointers[i] == nullptr) == (i < node->m_nPointerCount)) {
            report("node", node, "pointer slot %d %s", i,
                   i < node->m_nPointerCount ? "NULL" : "not NULL");
            slotsSound = false;
        }
    }
    if (!slotsSound || node->m_bLeaf) {
        return slotsSound;
    }
    const int keys = node->m_nKeyCount;
    const int pointers = node->m_nPointerCount;
    if (root) {
        if (pointers != keys + 1 && pointers != keys) {
            report("node", node, "%d keys with %d pointers", keys, pointers);
        }
    } else {
        if (pointers != keys + 1) {
            report("node", node, "not in open form: %d keys with %d pointers", keys, pointers);
        }
        if (pointers < zarn::minIndexPointers(m)) {
            report("node", node, "below half full: %d pointers", pointers);
        }
    }
    return true;
}

void BPlusNode::Verifier::checkKeys(BPlusNode* node, BPlusKey* lo, BPlusKey* hi)
{
    const zarn::KeyBlock block = Slots::keys(node);
    for (int i = 0; i < node->m_nKeyCount; ++i) {
        BPlusKey* key = node->m_pKeys[i];
        // The block's kind must cover the key's, and its summary be the
        // key's own: otherwise a search could be sent the wrong way.
        const zarn::Summary summary = zarn::KeySummary::of(key);
        if (zarn::KeySummary::combine(block.kind(), summary.kind) != block.kind() ||
            (summary.kind != zarn::kSummaryMixed && block.summaries()[i] != summary.value)) {
            report("node", node, "key slot %d summary out of step", i);
        }
        if (i > 0 && BPlusKey::Compare(node->m_pKeys[i - 1], key) >= 0) {
            report("node", node, "keys not ascending at slot %d", i);
        }
        if (lo != nullptr && BPlusKey::Compare(key, lo) <= 0) {
            report("node", node, "key slot %d not above the lower bound", i);
        }
        if (hi != nullptr && BPlusKey::Compare(key, hi) > 0) {
            report("node", node, "key slot %d above the bound", i);
        }
    }
}

BPlusKey* BPlusNode::Verifier::checkLeaf(BPlusNode* node, int depth, bool root)
{
    if (leafDepth < 0) {
        leafDepth = depth;
    } else if (depth != leafDepth) {
        report("node", node, "leaf at depth %d, others at %d", depth, leafDepth);
    }
    if (node->m_nKeyCount == 0 && !root) {
        report("node", node, "empty leaf");
    }
    if (node->m_pPrevLeaf != previousLeaf) {
        report("node", node, "previous leaf link 0x%08x, expected 0x%08x",
               zarn::low32(node->m_pPrevLeaf), zarn::low32(previousLeaf));
    }
    if (previousLeaf != nullptr && previousLeaf->m_pNextLeaf != node) {
        report("node", previousLeaf, "next leaf link 0x%08x, expected 0x%08x",
               zarn::low32(previousLeaf->m_pNextLeaf), zarn::low32(node));
    }
    previousLeaf = node;
    for (int i = 0; i < node->m_nKeyCount; ++i) {
        if (!leafKeys.insert(node->m_pKeys[i])) {
            report("key", node->m_pKeys[i], "key object held by two leaf slots");
        }
    }
    return node->m_nKeyCount > 0 ? node->m_pKeys[node->m_nKeyCount - 1] : nullptr;
}

void BPlusNode::Verifier::finish()
{
    if (previousLeaf != nullptr && previousLeaf->m_pNextLeaf != nullptr) {
        report("node", previousLeaf, "last leaf links on to 0x%08x",
               zarn::low32(previousLeaf->m_pNextLeaf));
    }
    // An index key that is not the last key of its
    // child's rightmost leaf is destroyed with its index node: no leaf may
    // hold it too.
    for (int i = 0; i < unsharedCount; ++i) {
        BPlusKey* key = unshared[i];
        if (leafKeys.contains(key)) {
            report("key", key, "index key also held by a leaf that it does not end");
        }
    }
}
