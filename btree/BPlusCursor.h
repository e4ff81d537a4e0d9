/// \file
/// BPlusCursor: an ordered position in a B+ tree, moved key by key along the
/// leaf chain.
///
/// A cursor refers to a tree by its root and to one stored key at a time; it
/// owns nothing. It is invalidated by every Add, Remove or BuildFromSorted on
/// its tree: after any of them, construct a new cursor (the normal build does
/// not detect the misuse; the checked build reports it). The key it shows
/// belongs to the tree.
///
/// Cost: First, Last and Seek descend the tree (O(log n)); Next and Prev are
/// O(1), stepping along the leaf chain.
///
/// Threads: thread-compatible; a cursor is used with its tree by one thread
/// at a time, as the tree itself.
#ifndef ZARNCRT_BTREE_BPLUSCURSOR_H
#define ZARNCRT_BTREE_BPLUSCURSOR_H

#include "core/ZarnExport.h"

class BPlusKey;
class BPlusNode;

/// An ordered position in a B+ tree, moved key by key along the leaf chain;
/// invalid after any change to its tree (see BPlusCursor.h).
class ZARNCRT_EXPORT BPlusCursor {
public:
    /// A cursor on the tree whose root is root (may be NULL), off the end.
    explicit BPlusCursor(BPlusNode* root);

    /// Moves to the smallest stored key; false (off the end) when the tree is
    /// empty.
    bool First();
    /// Moves to the greatest stored key; false when the tree is empty.
    bool Last();
    /// Moves to the first stored key not below key (by BPlusKey::Compare);
    /// false, off the end, when every stored key is below key or key is NULL.
    bool Seek(BPlusKey* key);
    /// Moves to the next greater key; false, off the end, after the greatest
    /// (or when already off the end).
    bool Next();
    /// Moves to the next smaller key; false, off the end, before the smallest
    /// (or when already off the end).
    bool Prev();
    /// The stored key at the cursor, or NULL when the cursor is off the end.
    BPlusKey* Key();

private:
    BPlusNode* m_pRoot;  ///< the tree
    BPlusNode* m_pLeaf;  ///< leaf holding the current key; NULL off the end
    int m_nSlot;         ///< slot of the current key in m_pLeaf
};

#endif
