// Internal (not installed): the checked build's record of the key types a
// tree holds (CheckedTrees.cpp).
#ifndef ZARNCRT_BTREE_KEYTYPES_H
#define ZARNCRT_BTREE_KEYTYPES_H

#ifdef ZARNCRT_CHECKED

#include <cstddef>
#include <vector>

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusKey.h"
#include "btree/CompositeCast.h"

namespace zarn {
namespace btreecheck {

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

}  // namespace btreecheck
}  // namespace zarn

#endif  // ZARNCRT_CHECKED

#endif
