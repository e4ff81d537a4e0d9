// The checked build's records of trees, their nodes and keys
// (CheckedTrees.h, CheckedRecords.h): a tree operation consults the records
// of its node and its key together, under one lock.
#include "btree/CheckedTrees.h"

#ifdef ZARNCRT_CHECKED

#include <memory>
#include <mutex>
#include <new>
#include <typeinfo>

#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/CheckedRecords.h"
#include "btree/NodeKeyBlock.h"
#include "core/MisuseReport.h"
#include "core/Quarantine.h"

namespace zarn {
namespace btreecheck {

namespace {

// Dead node records kept at most; beyond, they are all forgotten (a stale
// pointer to one of them is then simply not recognised).
constexpr std::size_t kMaxDeadNodes = std::size_t{1} << 20;
// How far ahead of the key being recorded or forgotten its slot (and the
// key itself) is fetched, when many are at once.
constexpr int kLookAhead = 16;

}  // namespace

Records& records()
{
    static Records* all = new Records;
    return *all;
}

Tree* newTree(Records& r, BPlusNode* root)
{
    auto tree = std::make_shared<Tree>();
    tree->root = root;
    tree->nodes = 1;
    r.nodes[root] = tree.get();
    r.trees[tree.get()] = tree;
    return tree.get();
}

namespace {

// A tree with neither nodes nor keys left is gone (its root was deleted
// directly, or DeleteTree is done).
void dropIfEmpty(Records& r, Tree* tree)
{
    if (tree->nodes <= 0 && tree->keys <= 0) {
        tree->deleted = true;
        tree->changed();
        r.trees.erase(tree);
    }
}

void markDead(Records& r, const void* node)
{
    auto found = r.nodes.find(node);
    if (found != nullptr && *found == nullptr) {
        return;
    }
    if (found != nullptr) {
        --(*found)->nodes;
        *found = nullptr;
    } else {
        r.nodes[node] = nullptr;
    }
    if (++r.deadNodes > kMaxDeadNodes) {
        r.nodes.eraseIf([](const void*, Tree* tree) { return tree == nullptr; });
        r.deadNodes = 0;
    }
}

void forgetKey(Records& r, BPlusKey* key, bool counted)
{
    auto found = r.keys.find(key);
    if (found == nullptr) {
        return;
    }
    Tree* tree = *found;
    r.keys.erase(key);
    --tree->keys;
    if (counted) {
        tree->types.count(key, -1);
    }
}

void reportType(Tree* tree, BPlusKey* key, char const* call)
{
    const KeyTypes::Conflict conflict = tree->types.conflict(key);
    if (conflict.position == 0) {
        misuse::report("keys of different types in one tree",
                       "%s: key %p of type %d into the tree of root %p, whose keys are of type %d",
                       call, static_cast<void*>(key), conflict.type, static_cast<void*>(tree->root),
                       conflict.heldType);
    } else if (conflict.position > 0) {
        misuse::report("keys of different types in one tree",
                       "%s: composite key %p, part %d of type %d, into the tree of root %p, "
                       "whose keys have parts of type %d there",
                       call, static_cast<void*>(key), conflict.position - 1, conflict.type,
                       static_cast<void*>(tree->root), conflict.heldType);
    }
}

void releaseNodeMemory(void* block)
{
    ::operator delete(block);
}

}  // namespace

namespace {

// enterRootOperation under the lock.
bool enterLocked(Records& r, BPlusNode* node, bool adopt, const char* call, Tree** tree)
{
    *tree = nullptr;
    auto found = r.nodes.find(node);
    if (found == nullptr) {
        *tree = adopt && node->IsValid() ? newTree(r, node) : nullptr;
        return true;
    }
    if (*found == nullptr) {
        misuse::report("tree operation on a node the tree destroyed",
                       "%s on node %p, destroyed by Remove or DeleteTree", call,
                       static_cast<void*>(node));
        return false;
    }
    *tree = *found;
    if ((*tree)->root != node) {
        misuse::report("tree operation on a node that is not the root",
                       "%s on node %p; the root of its tree is %p", call, static_cast<void*>(node),
                       static_cast<void*>((*tree)->root));
    }
    return true;
}

}  // namespace

bool enterRootOperation(BPlusNode* node, bool adopt, const char* call, Tree** tree)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    return enterLocked(r, node, adopt, call, tree);
}

bool enterAdd(BPlusNode* node, BPlusKey* key, Tree** tree)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    if (!enterLocked(r, node, key != nullptr, "BPlusNode::Add", tree)) {
        return false;
    }
    if (key == nullptr) {
        return true;
    }
    auto found = r.keys.find(key);
    if (found != nullptr && *found != *tree && !(*found)->deleted) {
        misuse::report("key added that a tree already holds",
                       "BPlusNode::Add(key %p) on root %p; the tree of root %p holds it",
                       static_cast<void*>(key), static_cast<void*>(node),
                       static_cast<void*>((*found)->root));
    }
    return true;
}

Tree* treeOf(BPlusNode* root)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.nodes.find(root);
    return found != nullptr ? (*found) : nullptr;
}

void keyStored(Tree* tree, BPlusKey* key)
{
    if (tree == nullptr) {
        return;
    }
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.keys.find(key);
    if (found != nullptr && *found == tree) {
        misuse::report("key added that a tree already holds",
                       "BPlusNode::Add(key %p) on root %p stored it a second time",
                       static_cast<void*>(key), static_cast<void*>(tree->root));
    }
    reportType(tree, key, "BPlusNode::Add");
    if (found != nullptr) {
        forgetKey(r, key, true);
    }
    r.keys[key] = tree;
    ++tree->keys;
    tree->types.count(key, 1);
    tree->changed();
}

void nodeMade(Tree* tree, BPlusNode* node)
{
    if (tree == nullptr || node == nullptr) {
        return;
    }
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    Tree*& slot = r.nodes[node];
    if (slot != tree) {
        slot = tree;
        ++tree->nodes;
    }
}

void rootChanged(Tree* tree, BPlusNode* root)
{
    if (tree == nullptr) {
        return;
    }
    nodeMade(tree, root);
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    tree->root = root;
    tree->changed();
}

void keyRemoved(Tree* tree, BPlusKey* key, BPlusNode* root)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    forgetKey(r, key, true);
    if (tree != nullptr) {
        tree->root = root;
        tree->changed();
    }
}

void treeLoaded(Tree* tree, BPlusKey** keys, int count)
{
    if (tree == nullptr) {
        return;
    }
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    r.keys.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        if (i + kLookAhead < count) {
            r.keys.prefetch(keys[i + kLookAhead]);
            zarn::prefetch(keys[i + kLookAhead]);
        }
        BPlusKey* key = keys[i];
        Tree*& holder = r.keys[key];  // NULL when no tree held it
        if (holder != nullptr) {
            if (!holder->deleted) {
                misuse::report("key added that a tree already holds",
                               "BPlusNode::BuildFromSorted(keys[%d] = %p) on root %p; the tree of "
                               "root %p holds it",
                               i, static_cast<void*>(key), static_cast<void*>(tree->root),
                               static_cast<void*>(holder->root));
            }
            --holder->keys;
            holder->types.count(key, -1);
        }
        reportType(tree, key, "BPlusNode::BuildFromSorted");
        holder = tree;
        ++tree->keys;
        tree->types.count(key, 1);
    }
    tree->changed();
}

bool enterDeleteTree(BPlusNode* root, Tree** tree)
{
    *tree = nullptr;
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.nodes.find(root);
    if (found == nullptr) {
        return true;
    }
    if (*found == nullptr) {
        misuse::report("tree operation on a node the tree destroyed",
                       "BPlusNode::DeleteTree(%p): a tree already deleted, or a node Remove "
                       "destroyed",
                       static_cast<void*>(root));
        return false;
    }
    if ((*found)->root != root) {
        misuse::report("tree operation on a node that is not the root",
                       "BPlusNode::DeleteTree(%p); the root of its tree is %p",
                       static_cast<void*>(root), static_cast<void*>((*found)->root));
        return true;
    }
    *tree = *found;
    (*tree)->releasing = true;
    (*tree)->changed();
    return true;
}

void treeDeleted(Tree* tree)
{
    if (tree == nullptr) {
        return;
    }
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    tree->releasing = false;
    tree->deleted = true;
    tree->changed();
    // Nodes or keys the walk did not reach (a tree changed by hand) keep
    // pointing at the record: it stays.
    dropIfEmpty(r, tree);
}

void leafReleased(BPlusKey* const* keys, int count)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    for (int i = 0; i < count && i < kLookAhead; ++i) {
        r.keys.prefetch(keys[i]);
    }
    for (int i = 0; i < count; ++i) {
        if (i + kLookAhead < count) {
            r.keys.prefetch(keys[i + kLookAhead]);
        }
        r.keys.eraseUnless(keys[i], [](Tree* tree) {
            if (!tree->releasing) {
                return true;
            }
            --tree->keys;
            return false;
        });
    }
}

void nodeConstructed(BPlusNode* node)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.nodes.find(node);
    if (found == nullptr) {
        return;
    }
    if (*found == nullptr) {
        --r.deadNodes;
    } else {
        --(*found)->nodes;
    }
    r.nodes.erase(node);
}

void nodeDestroyed(BPlusNode* node)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.nodes.find(node);
    if (found == nullptr || *found == nullptr) {
        return;
    }
    Tree* tree = *found;
    if (tree->releasing) {
        markDead(r, node);
        return;
    }
    --tree->nodes;
    r.nodes.erase(node);
    if (tree->root == node) {
        dropIfEmpty(r, tree);
    }
}

void destroyNode(BPlusNode* node, const char* call)
{
    {
        Records& r = records();
        std::lock_guard<std::mutex> guard(r.lock);
        markDead(r, node);
    }
    if (typeid(*node) != typeid(BPlusNode)) {
        delete node;  // a subclass's memory is its own business
        return;
    }
    node->~BPlusNode();
    misuse::quarantine(node, sizeof(BPlusNode), releaseNodeMemory, "BPlusNode", call, node);
}

void keyDestroyed(BPlusKey* key)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.keys.find(key);
    if (found == nullptr) {
        return;
    }
    Tree* tree = *found;
    if (!tree->releasing && !tree->deleted) {
        misuse::report("key deleted while a tree holds it",
                       "~BPlusKey() on key %p, held by the tree of root %p",
                       static_cast<void*>(key), static_cast<void*>(tree->root));
    }
    // A composite key has lost its parts by now: its types are not counted
    // out (the tree is going, or a report has been made).
    forgetKey(r, key, false);
}

}  // namespace btreecheck
}  // namespace zarn

#endif  // ZARNCRT_CHECKED
