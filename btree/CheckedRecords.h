// Internal (not installed): the records behind CheckedTrees.h, shared by
// its two source files (trees, nodes and keys in CheckedTrees.cpp, cursors
// in CheckedCursors.cpp). Everything in them is read and written under
// Records::lock, except a tree's generation, which a cursor step reads
// without it.
#ifndef ZARNCRT_BTREE_CHECKEDRECORDS_H
#define ZARNCRT_BTREE_CHECKEDRECORDS_H

#ifdef ZARNCRT_CHECKED

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "btree/CheckedTrees.h"
#include "btree/KeyTypes.h"
#include "core/AddressMap.h"

class BPlusNode;

namespace zarn {
namespace btreecheck {

using misuse::AddressMap;

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

// The records, made at first use and never destroyed: nodes and keys of the
// application may go after the library's static objects at exit.
Records& records();

// Under the lock: a new tree whose root is root.
Tree* newTree(Records& r, BPlusNode* root);

}  // namespace btreecheck
}  // namespace zarn

#endif  // ZARNCRT_CHECKED

#endif
