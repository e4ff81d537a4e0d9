// A set of object addresses for the tree's invariant check.
#include "btree/PointerSet.h"

#include <cstdint>

#include "core/QorCore.h"

namespace zarn {

PointerSet::~PointerSet()
{
    QorMemFree(m_slots);
}

bool PointerSet::insert(void const* p)
{
    if (2 * (m_count + 1) > m_capacity) {
        grow();
    }
    std::size_t i = slotOf(p);
    while (m_slots[i] != nullptr) {
        if (m_slots[i] == p) {
            return false;
        }
        i = (i + 1) & (m_capacity - 1);
    }
    m_slots[i] = p;
    ++m_count;
    return true;
}

bool PointerSet::contains(void const* p) const
{
    if (m_count == 0) {
        return false;
    }
    for (std::size_t i = slotOf(p); m_slots[i] != nullptr; i = (i + 1) & (m_capacity - 1)) {
        if (m_slots[i] == p) {
            return true;
        }
    }
    return false;
}

std::size_t PointerSet::slotOf(void const* p) const
{
    // Fibonacci hashing of the address; its low bits are alignment zeros.
    const std::uint64_t h = reinterpret_cast<std::uintptr_t>(p) * 0x9e3779b97f4a7c15ull;
    return static_cast<std::size_t>(h >> 32) & (m_capacity - 1);
}

void PointerSet::grow()
{
    void const** old = m_slots;
    const std::size_t oldCapacity = m_capacity;
    m_capacity = oldCapacity == 0 ? 64 : oldCapacity * 2;
    m_slots = static_cast<void const**>(QorMemAlloc(sizeof(void*) * m_capacity));
    m_count = 0;
    for (std::size_t i = 0; i < oldCapacity; ++i) {
        if (old[i] != nullptr) {
            insert(old[i]);
        }
    }
    QorMemFree(old);
}

}  // namespace zarn
