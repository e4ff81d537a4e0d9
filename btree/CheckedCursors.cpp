// The checked build's records of cursors (CheckedTrees.h): which tree each
// cursor was placed on, and the tree's generation then.
#include "btree/CheckedTrees.h"

#ifdef ZARNCRT_CHECKED

#include <mutex>

#include "btree/BPlusNode.h"
#include "btree/CheckedRecords.h"
#include "core/MisuseReport.h"

namespace zarn {
namespace btreecheck {

thread_local CursorCache lastCursor;
std::atomic<std::uint64_t> cursorVersion{1};

namespace {

// Cursor records are swept of deleted trees when they have grown this much
// beyond what the last sweep left.
constexpr std::size_t kCursorSweepSlack = 1024;

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

// Under the lock: the record of cursor when it is known on root, else NULL
// after recording it as placed now (a copied cursor, or one the records
// lost, is judged from now on).
CursorRecord* knownCursor(Records& r, BPlusCursor const* cursor, BPlusNode* root)
{
    auto found = r.cursors.find(cursor);
    if (found == r.cursors.end() || found->second.root != root) {
        remember(cursor, placeCursor(r, cursor, root));
        return nullptr;
    }
    return &found->second;
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
    CursorRecord* known = knownCursor(r, cursor, root);
    if (known == nullptr) {
        return;
    }
    CursorRecord& record = *known;
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
    CursorRecord* known = knownCursor(r, cursor, root);
    if (known == nullptr) {
        return;
    }
    CursorRecord& record = *known;
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
