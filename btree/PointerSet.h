// Internal (not installed): a set of object addresses, used by the tree's
// invariant check to see nodes and keys reached twice.
#ifndef ZARNCRT_BTREE_POINTERSET_H
#define ZARNCRT_BTREE_POINTERSET_H

#include <cstddef>

#include "core/ZarnExport.h"

namespace zarn {

// Open addressing in core memory (whose exhaustion ends the process), so a
// whole check stays O(n) and throws nothing. NULL is never a member.
class ZARNCRT_HIDDEN PointerSet {
public:
    PointerSet() = default;
    ~PointerSet();
    PointerSet(PointerSet const&) = delete;
    PointerSet& operator=(PointerSet const&) = delete;

    // Adds p (not NULL); false when it was there already.
    bool insert(void const* p);
    // Whether p was added.
    bool contains(void const* p) const;

private:
    std::size_t slotOf(void const* p) const;
    void grow();

    void const** m_slots = nullptr;  // zero-filled: NULL is an empty slot
    std::size_t m_capacity = 0;      // a power of two
    std::size_t m_count = 0;
};

}  // namespace zarn

#endif
