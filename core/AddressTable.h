// Internal (not installed): the checked build's side tables.
//
// The checks keep what they know about the libraries' objects (which tree
// holds a key, which blocks are live) outside the objects, keyed by address,
// so that the checked build has the normal build's layouts. Separate trees
// and maps may be used from separate threads at once: every table locks.
#ifndef ZARNCRT_CORE_ADDRESSTABLE_H
#define ZARNCRT_CORE_ADDRESSTABLE_H

#include <mutex>
#include <unordered_map>
#include <utility>

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

    // Copies the value recorded for address into *value; false when absent.
    bool find(const void* address, Value* value) const
    {
        std::lock_guard<std::mutex> guard(lock);
        auto found = table.find(address);
        if (found == table.end()) {
            return false;
        }
        *value = found->second;
        return true;
    }

    bool contains(const void* address) const
    {
        std::lock_guard<std::mutex> guard(lock);
        return table.count(address) != 0;
    }

    // Moves the value recorded for address into *value and forgets the
    // address, in one step under the lock; false when it was not recorded.
    bool take(const void* address, Value* value)
    {
        std::lock_guard<std::mutex> guard(lock);
        auto found = table.find(address);
        if (found == table.end()) {
            return false;
        }
        *value = std::move(found->second);
        table.erase(found);
        return true;
    }

    // Forgets address; false when it was not recorded.
    bool erase(const void* address)
    {
        std::lock_guard<std::mutex> guard(lock);
        return table.erase(address) != 0;
    }

    // Calls change(Value&) on the value of address, made with Value() when
    // absent, under the lock; returns what change returns.
    template <typename Change>
    auto update(const void* address, Change change)
    {
        std::lock_guard<std::mutex> guard(lock);
        return change(table[address]);
    }

    // Calls visit(address, Value&) on every entry under the lock; entries
    // for which it returns true are erased.
    template <typename Visit>
    void eraseIf(Visit visit)
    {
        std::lock_guard<std::mutex> guard(lock);
        for (auto it = table.begin(); it != table.end();) {
            it = visit(it->first, it->second) ? table.erase(it) : std::next(it);
        }
    }

private:
    mutable std::mutex lock;
    std::unordered_map<const void*, Value> table;
};

// A table that lives as long as the process: objects of the application may
// be destroyed by static destructors after the library's own statics are
// gone. Use as `static auto& keys = leakedTable<KeyInfo>();` inside a
// function of each table's owner, one table per call site.
template <typename Value>
AddressTable<Value>& leakedTable()
{
    return *new AddressTable<Value>;
}

}  // namespace misuse
}  // namespace zarn

#endif
