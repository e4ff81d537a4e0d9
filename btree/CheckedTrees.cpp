// The checked build's records of trees, their nodes, keys and cursors
// (CheckedTrees.h), all under one lock: a tree operation consults the
// records of its node and its key together.
#include "btree/CheckedTrees.h"

#ifdef ZARNCRT_CHECKED

#include <memory>
#include <mutex>
#include <new>
#include <typeinfo>
#include <unordered_map>
#include <vector>

#include "btree/AddressMap.h"
#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/CompositeCast.h"
#include "btree/NodeKeyBlock.h"
#include "core/MisuseReport.h"
#include "core/Quarantine.h"

namespace zarn {
namespace btreecheck {

namespace {

// The types of the keys a tree holds, position by position: position 0 is
// a key's own type, position i + 1 the type of part i of a composite key.
// Compare reads the second key by the first key's rule, so keys of two
// types, or composite keys whose present parts at one index are of two
// types, have no consistent order. A missing or null part sorts before any
// present part whatever its type, so it fits everything. (A composite part
// counts as one type, its own parts are not looked into.)
class KeyTypes {
public:
    struct Conflict {
        int position;  // -1: none
        int type;
        int heldType;
    };

    Conflict conflict(BPlusKey* key) const
    {
        Conflict found{-1, 0, 0};
        forEachPosition(key, [&](std::size_t position, int type) {
            if (found.position >= 0 || position >= positions.size()) {
                return;
            }
            for (Count const& held : positions[position]) {
                if (held.type != type && held.keys > 0) {
                    found = Conflict{static_cast<int>(position), type, held.type};
                    return;
                }
            }
        });
        return found;
    }

    // Counts key in (delta 1) or out (delta -1).
    void count(BPlusKey* key, long delta)
    {
        forEachPosition(key, [&](std::size_t position, int type) {
            if (position >= positions.size()) {
                positions.resize(position + 1);
            }
            for (Count& held : positions[position]) {
                if (held.type == type) {
                    held.keys = held.keys + delta > 0 ? held.keys + delta : 0;
                    return;
                }
            }
            if (delta > 0) {
                positions[position].push_back(Count{type, delta});
            }
        });
    }

private:
    struct Count {
        int type;
        long keys;
    };

    template <typename Visit>
    static void forEachPosition(BPlusKey* key, Visit visit)
    {
        const BPlusKey::EBPlusKeyType type = key->GetType();
        visit(0, static_cast<int>(type));
        // Only a key of the composite type can be a composite key: the type
        // test spares the other keys a dynamic_cast.
        BPlusCompositeKey* composite = type == BPlusKey::eCompositeKey ? asComposite(key) : nullptr;
        if (composite == nullptr) {
            return;
        }
        const int parts = composite->GetKeyPartCount();
        for (int i = 0; i < parts; ++i) {
            BPlusKey* part = composite->GetKeyPart(i);
            if (part != nullptr && !part->IsNull()) {
                visit(static_cast<std::size_t>(i) + 1, static_cast<int>(part->GetType()));
            }
        }
    }

    std::vector<std::vector<Count>> positions;
};

}  // namespace

struct Tree {
    std::atomic<std::uint64_t> generation{0};
    BPlusNode* root = nullptr;
    bool releasing = false;  // DeleteTree is destroying its nodes and keys
    bool deleted = false;
    long nodes = 0;  // live nodes recorded for it
    long keys = 0;   // keys recorded for it
    KeyTypes types;

    void changed()
    {
        generation.fetch_add(1, std::memory_order_release);
    }
};

thread_local CursorCache lastCursor;
std::atomic<std::uint64_t> cursorVersion{1};

namespace {

// Dead node records kept at most; beyond, they are all forgotten (a stale
// pointer to one of them is then simply not recognised).
constexpr std::size_t kMaxDeadNodes = std::size_t{1} << 20;
// How far ahead of the key being recorded or forgotten its slot (and the
// key itself) is fetched, when many are at once.
constexpr int kLookAhead = 16;
// Cursor records are swept of deleted trees when they have grown this much
// beyond what the last sweep left.
constexpr std::size_t kCursorSweepSlack = 1024;

struct CursorRecord {
    std::shared_ptr<Tree> tree;  // NULL: no opinion
    BPlusNode* root = nullptr;
    std::uint64_t seen = 0;
};

struct Records {
    std::mutex lock;
    // Node -> its tree; NULL for a node that its tree destroyed.
    AddressMap<Tree*> nodes;
    // Key -> the tree that holds it.
    AddressMap<Tree*> keys;
    // The trees that are not deleted (and deleted ones something still
    // points to); cursor records share them.
    std::unordered_map<const Tree*, std::shared_ptr<Tree>> trees;
    std::unordered_map<const void*, CursorRecord> cursors;
    std::size_t deadNodes = 0;
    std::size_t cursorsAfterSweep = 0;
};

// Never destroyed: nodes and keys of the application may go after the
// library's static objects at exit.
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

namespace {

// Under the lock: a record of cursor as placed on root now. A root no
// record knows becomes the root of a tree, so that changes from now on
// count; a node that is not a root gives no opinion.
CursorRecord& placeCursor(Records& r, BPlusCursor const* cursor, BPlusNode* root)
{
    CursorRecord record;
    record.root = root;
    if (root != nullptr) {
        auto found = r.nodes.find(root);
        Tree* tree = nullptr;
        if (found == nullptr) {
            tree = root->IsValid() ? newTree(r, root) : nullptr;
        } else if (*found != nullptr && (*found)->root == root) {
            tree = *found;
        }
        if (tree != nullptr) {
            record.tree = r.trees[tree];
            record.seen = tree->generation.load();
        }
    }
    cursorVersion.fetch_add(1, std::memory_order_release);
    CursorRecord& placed = r.cursors[cursor];
    placed = std::move(record);
    return placed;
}

void remember(BPlusCursor const* cursor, CursorRecord const& record)
{
    lastCursor.cursor = cursor;
    lastCursor.root = record.root;
    lastCursor.generation = record.tree != nullptr ? &record.tree->generation : nullptr;
    lastCursor.seen = record.seen;
    lastCursor.version = cursorVersion.load(std::memory_order_acquire);
}

void sweepCursors(Records& r)
{
    if (r.cursors.size() < 2 * r.cursorsAfterSweep + kCursorSweepSlack) {
        return;
    }
    for (auto it = r.cursors.begin(); it != r.cursors.end();) {
        const bool useless = it->second.tree == nullptr || it->second.tree->deleted;
        it = useless ? r.cursors.erase(it) : std::next(it);
    }
    r.cursorsAfterSweep = r.cursors.size();
    cursorVersion.fetch_add(1, std::memory_order_release);
}

}  // namespace

void cursorPlaced(BPlusCursor const* cursor, BPlusNode* root)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    sweepCursors(r);
    remember(cursor, placeCursor(r, cursor, root));
}

void cursorRepositioned(BPlusCursor const* cursor, BPlusNode* root, const char* call)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.cursors.find(cursor);
    if (found == r.cursors.end() || found->second.root != root) {
        // A copied cursor, or one the records lost: judged from now on.
        remember(cursor, placeCursor(r, cursor, root));
        return;
    }
    CursorRecord& record = found->second;
    if (record.tree != nullptr) {
        if (record.tree->deleted || record.tree->root != root) {
            misuse::report("cursor used after its tree changed",
                           "%s on cursor %p of root %p: the tree was %s", call,
                           static_cast<const void*>(cursor), static_cast<void*>(root),
                           record.tree->deleted ? "deleted" : "given another root");
        }
        record.seen = record.tree->generation.load();
        cursorVersion.fetch_add(1, std::memory_order_release);
    }
    remember(cursor, record);
}

void cursorStepRecorded(BPlusCursor const* cursor, BPlusNode* root, const char* call)
{
    Records& r = records();
    std::lock_guard<std::mutex> guard(r.lock);
    auto found = r.cursors.find(cursor);
    if (found == r.cursors.end() || found->second.root != root) {
        remember(cursor, placeCursor(r, cursor, root));
        return;
    }
    CursorRecord& record = found->second;
    if (record.tree != nullptr && record.tree->generation.load() != record.seen) {
        misuse::report("cursor used after its tree changed",
                       "%s on cursor %p of root %p: the tree was %s since the cursor was placed",
                       call, static_cast<const void*>(cursor), static_cast<void*>(root),
                       record.tree->deleted ? "deleted" : "changed");
        record.seen = record.tree->generation.load();  // one report per change
        cursorVersion.fetch_add(1, std::memory_order_release);
    }
    remember(cursor, record);
}

}  // namespace btreecheck
}  // namespace zarn

#endif  // ZARNCRT_CHECKED
