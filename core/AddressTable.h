// Internal (not installed): the checked build's locked side tables.
//
// The checks keep what they know about the libraries' objects (which blocks
// are live, and their sizes) outside the objects, keyed by address, so that
// the checked build has the normal build's layouts. Separate objects may be
// used from separate threads at once: every table locks.
#ifndef ZARNCRT_CORE_ADDRESSTABLE_H
#define ZARNCRT_CORE_ADDRESSTABLE_H

#include <mutex>
#include <utility>

#include "core/AddressMap.h"

namespace zarn {
namespace misuse {

template <typename Value>
class AddressTable {
public:
    // Sets the value recorded for address (adding it when absent).
    void set(const void* address, Value value)
    {
        std::lock_guard<std::mutex> guard(lock);
        table[address] = std::move(value);
    }

    // Moves the value recorded for address into *value and forgets the
    // address, in one step under the lock; false when it was not recorded.
    bool take(const void* address, Value* value)
    {
        std::lock_guard<std::mutex> guard(lock);
        Value* found = table.find(address);
        if (found == nullptr) {
            return false;
        }
        *value = std::move(*found);
        table.erase(address);
        return true;
    }

private:
    std::mutex lock;
    AddressMap<Value> table;
};

// A table that lives as long as the process: objects of the application may
// be destroyed by static destructors after the library's own statics are
// gone. Use as `static auto& blocks = leakedTable<std::size_t>();` inside a
// function of each table's owner, one table per call site.
template <typename Value>
AddressTable<Value>& leakedTable()
{
    return *new AddressTable<Value>;
}

}  // namespace misuse
}  // namespace zarn

#endif
