/// \file
/// BPlusNode: one node of the in-memory B+ tree, serving as index node or leaf.
///
/// A tree starts as one empty node made by the application; keys are handed
/// to its root with Add, which returns the root to continue with (a new one
/// after a root split). Search finds the stored key object equal to a given
/// key, the leaf chain (GetFirstLeaf, GetNextLeaf, ...) walks all keys in
/// ascending order, and PrintNode renders a subtree as indented text.
/// Remove takes keys out again (merging nodes as they empty), BuildFromSorted
/// loads sorted keys at once, VerifyTree checks the invariants listed in
/// docs/btree.md, and BPlusCursor (BPlusCursor.h) moves through the keys.
///
/// Capacity. A node holds at most M child pointers and M-1 keys, where M is
/// computed from a block-size model: the largest n for which n pointers and
/// n-1 keys fit into one block, capped at 32. A node with M below 3 is not
/// valid: it has no arrays, stores nothing and finds nothing.
///
/// Order. Keys are ordered by BPlusKey::Compare. All keys of one tree must be
/// of one type (integer, number, text or composite), so that Compare is a
/// consistent order on them; the tree refuses a key equal to a stored one.
///
/// Ownership. A leaf holds the very key objects that were added and destroys
/// them with itself. Index nodes hold upper bounds of their children: the
/// separators passed up by leaf splits are the same objects as keys in
/// leaves, and the bounds given to leaves created at the right edge are
/// clones of their own. A node never destroys its children, and deleting an
/// index node alone would destroy shared separators: release a whole tree
/// with DeleteTree, which destroys every node and every key exactly once.
///
/// Pointers. Add, Remove and BuildFromSorted invalidate node pointers taken
/// before them (leaves from the leaf chain, nodes pushed by Search, the old
/// root) and every BPlusCursor on the tree: an Add may split nodes and move
/// keys into new ones, a Remove merges and deletes nodes, the root included.
/// A key object held by a leaf stays valid until it is removed or the tree is
/// deleted; keys held only by index nodes (GetKey on an index node) may be
/// destroyed by any Add or Remove.
///
/// Cost. Search, Add and Remove descend the tree, O(log n) levels. Each node
/// keeps beside its key slots an order summary of every key (docs/btree.md,
/// "The key block"), so a node orders integer and number keys, normalized
/// text keys and composite keys by their first part without reading the key
/// objects; BPlusKey::Compare runs only where summaries tie (text keys that
/// agree in their first 8 normalized bytes, composite keys with equal first
/// parts) and for keys that have no summary (text keys compared without a
/// normalizer, through QorCompareNoCase), which a binary search orders. Add
/// then builds a fresh key array for the leaf (and fresh key and pointer
/// arrays for an index node taking a separator): an allocation and an O(M)
/// copy per insertion, plus a new node per split. Remove never allocates.
/// BuildFromSorted, VerifyTree, PrintNode and DeleteTree are O(n).
///
/// Memory. Every valid node allocates a key block of M-1 key slots, M-1
/// summaries of 8 bytes and an 8-byte word, and M pointer slots; an index
/// node's key block also holds 16 bytes per child, where that child's arrays
/// are (prefetch hints). The keys are separate objects.
///
/// Subclasses. The protected fields are there to be read: counts, the key and
/// pointer slots below their counts, the leaf links. A subclass must not
/// write them, nor replace m_pKeys or m_pPointers by arrays of its own: the
/// key array is the front of the key block whose summaries the node's own
/// operations keep in step with every slot they write, and a slot written
/// behind their back can send a search the wrong way (VerifyTree reports
/// such a slot as "summary out of step"). Likewise a key must not be changed
/// in value (SetKey, Normalize, parts of a composite key) while a tree holds
/// it.
///
/// Threads. Thread-compatible: separate trees may be used from separate
/// threads at once; every call on one tree, searches and cursor moves
/// included, needs the caller's serialisation.
#ifndef ZARNCRT_BTREE_BPLUSNODE_H
#define ZARNCRT_BTREE_BPLUSNODE_H

#include <cstdint>
#include <cstdio>

#include "core/ZarnExport.h"

class BPlusKey;
class CPtrStack;
class CStringBuffer;

namespace zarn {
/// The node internals' own types (btree/KeySummary.h, btree/NodeKeyBlock.h).
struct Summary;
class KeyBlock;
}  // namespace zarn

/// A node of an in-memory B+ tree, and through its root the tree itself:
/// insertion, removal, bulk loading, search, the leaf chain, an invariant
/// check and diagnostic printing. The description of BPlusNode.h gives
/// ownership, pointer validity, costs and threads; docs/btree.md the
/// invariants.
class ZARNCRT_EXPORT BPlusNode {
public:
    // --- Construction, capacity, fullness

    /// An empty index node with block size 2048, key size 768, pointer size 4
    /// and factor 1.0 (M = 3).
    BPlusNode();
    /// An empty index node with the given block and key sizes and factor,
    /// pointer size 8. Sizes that give M below 3 make a node that is not valid.
    BPlusNode(int blockSize, int keySize, float factor);
    /// Releases both arrays and destroys the keys in the node's own slots; the
    /// children stay alive. To release a whole tree use DeleteTree.
    virtual ~BPlusNode();
    BPlusNode(BPlusNode const&) = delete;
    BPlusNode& operator=(BPlusNode const&) = delete;

    /// A new empty index node with this node's block size, key size and factor
    /// (pointer size 8), owned by the caller; NULL when this node is not valid.
    virtual BPlusNode* New();

    /// Computes the capacity M from the block, key and pointer sizes:
    /// (B / K + 1) * K / (P + K) in double, in exactly these steps, truncated;
    /// a quotient that is not finite or outside the int range gives INT_MIN.
    /// Capped at 32.
    void CalcMaxPointers();
    /// True when M > 2, that is when the node can hold 3 pointers and 2 keys.
    bool IsValid();
    /// A leaf holding M-1 keys, or an index node holding M pointers.
    bool IsFull();

    // --- Accessors

    /// The capacity M: at most M child pointers and M-1 keys per node.
    int GetMaxPointers();
    /// Number of keys in use.
    int GetKeyCount();
    /// Key slot i (NULL at or beyond the key count); i must lie in 0..M-2,
    /// any other index gives NULL.
    BPlusKey* GetKey(int i);
    /// Marks the node as a leaf (true) or an index node.
    void SetLeafNode(bool leaf);
    /// True for a leaf.
    bool IsLeafNode();

    // --- Leaf chain

    /// The leftmost leaf under this node, following pointer 0 down; a leaf
    /// returns itself; NULL when an index node on the way has no pointers.
    BPlusNode* GetFirstLeaf();
    /// The rightmost leaf under this node, following the last pointer down.
    BPlusNode* GetLastLeaf();
    /// The leaf with the next greater keys; NULL at the right end and for an
    /// index node.
    BPlusNode* GetNextLeaf();
    /// The leaf with the next smaller keys; NULL at the left end and for an
    /// index node.
    BPlusNode* GetPrevLeaf();

    // --- Insertion (call Add on the root; the others are its building blocks)

    /// Inserts key into the tree whose root is this node and returns the root
    /// to continue with: this node, or a new root after a root split. The tree
    /// keeps the key object itself. When an equal key is stored already, key
    /// is not stored and stays the caller's; with bReplaceData the stored key
    /// then takes over key's data (releasing its own) and key is left holding
    /// none. A root that is not valid stores nothing and is returned unchanged.
    BPlusNode* Add(BPlusKey* key, bool bReplaceData);
    /// The descent: the leaf in which key belongs (ties go to the left child),
    /// or NULL when key lies beyond the last bound of a node in bounded form
    /// (in a tree built by Add, only a root that has not split yet; an empty
    /// root always). When path is not NULL every index node walked is pushed
    /// on it, the starting node at the bottom; leaves are never pushed. A node
    /// that is not valid gives NULL and pushes nothing.
    BPlusNode* Search(BPlusKey* key, CPtrStack* path);
    /// The index node that is to receive a new rightmost leaf for key: the
    /// first node, from this one down, that neither has a bound not below key
    /// nor is full. NULL when the way ends at a leaf.
    BPlusNode* FindNode(BPlusKey* key);
    /// Puts key into this leaf before the first key not below it, in a fresh
    /// key array. False, changing nothing, when the node is full or no leaf.
    bool InsertLeaf(BPlusKey* key);
    /// Puts the separator key and the new child right (which follows the child
    /// that key bounds) into this index node, in fresh arrays. When the node
    /// would hold as many keys as pointers, or more than M-1 keys, its last
    /// cloned bound is removed and destroyed. False, changing nothing, when the
    /// node is full or a leaf.
    bool InsertIndex(BPlusKey* key, BPlusNode* right);
    /// Splits this full node while adding key (and, for an index node, the
    /// child right after the child that key bounds); returns the new upper
    /// sibling. A leaf keeps the lower ceil(M/2) keys and links the sibling
    /// after itself in the leaf chain. An index node keeps ceil(M/2)-1 keys;
    /// the next key moves up and is stored through upKey when upKey is not
    /// NULL. NULL, changing nothing, when the node is not full.
    BPlusNode* Split(BPlusKey* key, BPlusNode* right, BPlusKey** upKey);

    // --- Search and printing

    /// The stored key object that compares equal to key, or NULL. key is only
    /// compared, never kept.
    BPlusKey* Search(BPlusKey* key);
    /// Appends this node and its subtree in pre-order to out, each node
    /// indented by two spaces per level (level below 0 counts as 0, above 4095
    /// as 4095): a "_DAT_NODE" or "_IDX_NODE" header with the low 32 bits of
    /// the node's address, then its "| key=" and "| ptr=" lines between
    /// separator lines.
    void PrintNode(CStringBuffer& out, int level);
    /// Writes the same text to stream with one fputs; nothing is flushed.
    void PrintNode(FILE* stream, int level);

    // --- Removal, bulk loading and checking

    /// Takes the stored key that compares equal to key out of the tree whose
    /// root is this node, and returns the root to continue with (a different
    /// node when the tree loses a level; this node is then destroyed). key is
    /// only a probe, never kept or freed. With ppRemoved NULL the removed key
    /// is destroyed (its data released by IBPlusData::Dealloc); otherwise
    /// *ppRemoved receives it and the caller owns it. *ppRemoved is NULL when
    /// no equal key was stored; the tree is then unchanged. NULL key or a root
    /// that is not valid: nothing happens and this node is returned. Never
    /// allocates. Every node the removal touches, other than the root and a
    /// root's only leaf, ends at least half full (floor(M/2) keys in a leaf,
    /// ceil(M/2) pointers in an index node).
    BPlusNode* Remove(BPlusKey* key, BPlusKey** ppRemoved);
    /// Loads count keys, strictly ascending by BPlusKey::Compare, into this
    /// empty root (a newly constructed node, which supplies the sizes) and
    /// returns the root of the tree holding them. The tree takes ownership of
    /// every key. Leaves are filled to capacity except at most the last two.
    /// Refused (the root is returned unchanged and no key is taken) when the
    /// keys are not strictly ascending, a key is NULL, count is negative or
    /// this node is not a valid empty root.
    BPlusNode* BuildFromSorted(BPlusKey** keys, int count);
    /// Checks, treating this node as the root, every invariant the tree's
    /// operations rely on (see docs/btree.md); appends one line per problem
    /// to problems and returns true when there is none. O(n).
    bool VerifyTree(CStringBuffer& problems);

    // --- Releasing

    /// Destroys every node reachable from root and every key object of the
    /// tree exactly once: the keys of the leaves, the cloned bounds that only
    /// index nodes hold, and separators shared between an index node and a
    /// leaf only once. root must be the root of a tree built by Add, Remove
    /// and BuildFromSorted (or a single node); NULL does nothing.
    static void DeleteTree(BPlusNode* root);

protected:
    int m_nMaxPointers;       ///< capacity M (see CalcMaxPointers)
    int m_nPointerCount;      ///< child pointers in use; 0 in a leaf
    int m_nKeyCount;          ///< keys in use
    bool m_bLeaf;             ///< true for a leaf
    int m_nBlockSize;         ///< capacity model: block size in bytes
    int m_nKeySize;           ///< capacity model: bytes per key
    int m_nPointerSize;       ///< capacity model: bytes per pointer (4 or 8)
    float m_fFactor;          ///< handed on to the nodes New() makes
    BPlusKey** m_pKeys;       ///< M-1 key slots at the front of the key block, NULL if not valid
    BPlusNode** m_pPointers;  ///< M child slots (core memory), NULL if not valid
    BPlusNode* m_pPrevLeaf;   ///< leaf chain: next smaller leaf
    BPlusNode* m_pNextLeaf;   ///< leaf chain: next greater leaf

private:
    /// The internals shared by the source files (BPlusNodeInternal.h): access
    /// to the key block behind m_pKeys, the descent, removal and the check.
    struct Slots;
    struct Descent;
    struct Removal;
    struct Verifier;
    friend class BPlusCursor;

    /// The common construction steps after the sizes are set.
    ZARNCRT_HIDDEN void Construct();
    /// Makes a new leaf at the right edge, below FindNode(key), and puts key
    /// (whose summary is summary) into it; nothing when no node can receive
    /// it.
    ZARNCRT_HIDDEN void AppendEdgeLeaf(BPlusKey* key, zarn::Summary const& summary);
    /// InsertLeaf with the position of key and its summary already known.
    ZARNCRT_HIDDEN void InsertLeafAt(BPlusKey* key, int position, zarn::Summary const& summary);
    /// Prints this node and its subtree; spaces ends in 8190 spaces.
    ZARNCRT_HIDDEN void PrintSubtree(CStringBuffer& out, int level, char const* spaces,
                                     CStringBuffer& line);
    /// DeleteTree below node; returns the identity of the last key of the
    /// rightmost leaf, taken before anything was destroyed.
    ZARNCRT_HIDDEN static std::uintptr_t DeleteSubtree(BPlusNode* node);
    /// Bulk loading (BPlusNodeBulk.cpp): makes this index node the parent of
    /// children[0, count), whose greatest keys and hints are in slots first
    /// to first + count - 1 of the key block lastKeys.
    ZARNCRT_HIDDEN void AdoptChildren(BPlusNode** children, zarn::KeyBlock const& lastKeys,
                                      int first, int count);
};

#endif
