// Internal (not installed): a map from addresses to small values, for the
// checked build's records (trees, keys, live blocks, the quarantine's index).
//
// Open addressing with linear probing in one array: no allocation per entry,
// so that recording every key a bulk load takes, and forgetting every key
// DeleteTree destroys, costs about one cache miss per key rather than an
// allocation or a free. Not locked: its owner locks.
#ifndef ZARNCRT_CORE_ADDRESSMAP_H
#define ZARNCRT_CORE_ADDRESSMAP_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zarn {
namespace misuse {

template <typename Value>
class AddressMap {
public:
    // The value recorded for address, or NULL.
    Value* find(const void* address)
    {
        const std::size_t i = locate(address);
        return i != kAbsent ? &slots[i].value : nullptr;
    }

    // The value recorded for address, made with Value() when absent.
    Value& operator[](const void* address)
    {
        if (Value* found = find(address)) {
            return *found;
        }
        if ((live + 1) * 2 > slots.size()) {
            rehash(live * 4 > 16 ? live * 4 : 16);
        }
        std::size_t i = home(address);
        while (slots[i].address != nullptr) {
            i = (i + 1) & mask();
        }
        slots[i] = Slot{address, Value()};
        ++live;
        return slots[i].value;
    }

    // Makes room for extra more entries without a rehash, so that slots
    // prefetched meanwhile stay where they are.
    void reserve(std::size_t extra)
    {
        if ((live + extra) * 2 > slots.size()) {
            rehash((live + extra) * 4);
        }
    }

    // Starts loading the slot where a search for address begins: a caller
    // that records or forgets many addresses one after the other has the
    // cache misses overlap.
    void prefetch(const void* address) const
    {
        if (!slots.empty()) {
            __builtin_prefetch(&slots[home(address)]);
        }
    }

    // Forgets address; false when it was not recorded.
    bool erase(const void* address)
    {
        const std::size_t i = locate(address);
        if (i == kAbsent) {
            return false;
        }
        vacate(i);
        return true;
    }

    // Forgets address when it is recorded with a value that keep(Value&)
    // answers false for; true when it forgot it.
    template <typename Keep>
    bool eraseUnless(const void* address, Keep keep)
    {
        const std::size_t i = locate(address);
        if (i == kAbsent || keep(slots[i].value)) {
            return false;
        }
        vacate(i);
        return true;
    }

    // Calls visit(address, Value&) on every entry; those it answers true for
    // are forgotten.
    template <typename Visit>
    void eraseIf(Visit visit)
    {
        std::vector<Slot> kept;
        for (Slot& slot : slots) {
            if (slot.address != nullptr && !visit(slot.address, slot.value)) {
                kept.push_back(slot);
            }
        }
        slots.assign(slots.size(), Slot{nullptr, Value()});
        live = 0;
        for (Slot const& slot : kept) {
            (*this)[slot.address] = slot.value;
        }
    }

private:
    struct Slot {
        const void* address;
        Value value;
    };

    static constexpr std::size_t kAbsent = ~std::size_t{0};

    // The slot holding address, or kAbsent.
    std::size_t locate(const void* address) const
    {
        if (slots.empty()) {
            return kAbsent;
        }
        for (std::size_t i = home(address);; i = (i + 1) & mask()) {
            if (slots[i].address == address) {
                return i;
            }
            if (slots[i].address == nullptr) {
                return kAbsent;
            }
        }
    }

    // Empties slot i and moves later entries of its run back into the gap,
    // so that no search has to step over emptied slots (which would make
    // searches for absent addresses, one per key destroyed, ever longer).
    void vacate(std::size_t i)
    {
        --live;
        for (std::size_t j = (i + 1) & mask(); slots[j].address != nullptr; j = (j + 1) & mask()) {
            // The entry at j may fill the gap at i when i lies on its way,
            // from its home slot to j.
            const std::size_t from = home(slots[j].address);
            const bool onTheWay = i <= j ? (from <= i || from > j) : (from <= i && from > j);
            if (onTheWay) {
                slots[i] = slots[j];
                i = j;
            }
        }
        slots[i] = Slot{nullptr, Value()};
    }

    std::size_t mask() const
    {
        return slots.size() - 1;
    }

    // Fibonacci hashing: the top bits of the address times 2^64 / phi, which
    // spread addresses a fixed step apart (keys made one after the other).
    std::size_t home(const void* address) const
    {
        const auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(address));
        return static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15ull) >> shift);
    }

    void rehash(std::size_t wanted)
    {
        std::size_t capacity = 16;
        while (capacity < wanted) {
            capacity *= 2;
        }
        std::vector<Slot> old(capacity, Slot{nullptr, Value()});
        old.swap(slots);
        shift = 64;
        for (std::size_t c = capacity; c > 1; c /= 2) {
            --shift;
        }
        live = 0;
        for (Slot& slot : old) {
            if (slot.address != nullptr) {
                (*this)[slot.address] = slot.value;
            }
        }
    }

    std::vector<Slot> slots;
    int shift = 64;  // 64 - log2(slots.size())
    std::size_t live = 0;
};

}  // namespace misuse
}  // namespace zarn

#endif
