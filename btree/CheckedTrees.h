// Internal (not installed): the checked build's knowledge of trees.
//
// The checked build (ZARNCRT_CHECKED) keeps, outside the objects, a record
// of every tree that the tree operations have touched: its root, a
// generation counted up by every change, the key objects it holds and the
// types of those keys. Every node the operations made for a tree maps to
// the tree; a node the tree destroyed stays recorded as dead until a node
// is constructed at its address again. With these a tree operation can
// tell that it was called on a node that is not (or no longer) a root, that
// a key handed to it belongs to a tree already or does not fit the tree's
// key type, that a key is being destroyed behind its tree's back, and that
// a cursor outlived the state of the tree it was placed on.
//
// A node or key these records do not know (a node made by hand, a key that
// no tree took) is no business of theirs: unknown means no opinion.
//
// Cost: Add and Remove take the records' lock twice, plus once per node they
// make or destroy; Search, the leaf walk and printing never; a cursor step
// compares one generation (a thread-local cache of the cursor's record).
#ifndef ZARNCRT_BTREE_CHECKEDTREES_H
#define ZARNCRT_BTREE_CHECKEDTREES_H

#ifdef ZARNCRT_CHECKED

#include <atomic>
#include <cstdint>

class BPlusCursor;
class BPlusKey;
class BPlusNode;

namespace zarn {
namespace btreecheck {

// A tree's record. Opaque outside CheckedTrees.cpp.
struct Tree;

// --- Tree operations

// Entry of Remove and BuildFromSorted (call names the operation): reports
// a node that is not the root of its tree, or that its tree destroyed, and
// answers false for the latter (the operation must not touch it). *tree is
// node's tree; for a valid node no record knows, a new tree with node as
// its root when `adopt` is set, else NULL.
bool enterRootOperation(BPlusNode* node, bool adopt, const char* call, Tree** tree);
// Entry of Add: enterRootOperation, adopting a new root when key is not
// NULL, and reports a key that another tree holds.
bool enterAdd(BPlusNode* node, BPlusKey* key, Tree** tree);
// The tree whose root is root, or NULL.
Tree* treeOf(BPlusNode* root);
// Add stored key in tree: reports a key that the tree holds already (it
// would be held twice) or whose type differs from the keys the tree holds;
// then records it and counts the change.
void keyStored(Tree* tree, BPlusKey* key);
// Add, Split or BuildFromSorted made node for tree.
void nodeMade(Tree* tree, BPlusNode* node);
// tree's root is now root (a root split or a collapse).
void rootChanged(Tree* tree, BPlusNode* root);
// Remove took key out of tree (root is the root to continue with): the key
// is the caller's again, or about to be destroyed by Remove itself.
void keyRemoved(Tree* tree, BPlusKey* key, BPlusNode* root);
// BuildFromSorted loaded count keys into tree: reports keys that a tree
// holds already and keys of different types, then records them.
void treeLoaded(Tree* tree, BPlusKey** keys, int count);

// Entry of DeleteTree: reports a node that is not a root and a tree deleted
// already, answering false for the latter. *tree is the tree (NULL when
// unknown or not its root), from now on being released.
bool enterDeleteTree(BPlusNode* root, Tree** tree);
// DeleteTree is about to destroy a leaf holding keys[0, count): the keys
// of the tree being released are forgotten together, which is cheaper than
// one by one as each is destroyed.
void leafReleased(BPlusKey* const* keys, int count);
// DeleteTree is done with tree.
void treeDeleted(Tree* tree);

// --- Nodes

// A node is being constructed at address node: whatever was recorded
// there belonged to an object that is gone.
void nodeConstructed(BPlusNode* node);
// ~BPlusNode: the record of a node that its tree is destroying turns dead;
// any other record is dropped.
void nodeDestroyed(BPlusNode* node);
// Remove destroys node (a merged node, an emptied leaf, a collapsed root):
// its record turns dead and, when it is a plain BPlusNode, its memory stays
// poisoned in the quarantine for a while, so that a stale pointer reads
// poison (and a virtual call through it faults) rather than another
// object.
void destroyNode(BPlusNode* node, const char* call);

// --- Keys

// ~BPlusKey: reports a key that a live tree holds, unless the tree itself
// is destroying it; forgets the key.
void keyDestroyed(BPlusKey* key);

// --- Cursors

// What a thread last learned about one cursor: while the cursor, its root
// and the records' cursor version are unchanged, the cursor is valid as
// long as its tree's generation is the one seen.
struct CursorCache {
    BPlusCursor const* cursor = nullptr;
    BPlusNode const* root = nullptr;
    std::atomic<std::uint64_t> const* generation = nullptr;  // NULL: no opinion
    std::uint64_t seen = 0;
    std::uint64_t version = 0;
};
extern thread_local CursorCache lastCursor;
// Counted up whenever any cursor's record changes.
extern std::atomic<std::uint64_t> cursorVersion;

// The BPlusCursor constructor: records the cursor on root's tree.
void cursorPlaced(BPlusCursor const* cursor, BPlusNode* root);
// First, Last, Seek: reports a cursor whose tree was deleted or whose root
// is not the root any more; otherwise the cursor is valid again from now.
void cursorRepositioned(BPlusCursor const* cursor, BPlusNode* root, const char* call);
// The slow way of cursorStep.
void cursorStepRecorded(BPlusCursor const* cursor, BPlusNode* root, const char* call);

// Next, Prev, Key: reports a cursor used after its tree changed. One
// generation compare when this thread used the cursor last.
inline void cursorStep(BPlusCursor const* cursor, BPlusNode* root, const char* call)
{
    CursorCache const& cache = lastCursor;
    if (cache.cursor == cursor && cache.root == root &&
        cache.version == cursorVersion.load(std::memory_order_acquire) &&
        (cache.generation == nullptr ||
         cache.generation->load(std::memory_order_acquire) == cache.seen)) {
        return;
    }
    cursorStepRecorded(cursor, root, call);
}

}  // namespace btreecheck
}  // namespace zarn

#endif  // ZARNCRT_CHECKED

#endif
