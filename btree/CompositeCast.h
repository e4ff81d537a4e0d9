// Internal (not installed): the composite key behind a key pointer.
#ifndef ZARNCRT_BTREE_COMPOSITECAST_H
#define ZARNCRT_BTREE_COMPOSITECAST_H

#include <typeinfo>

#include "btree/BPlusCompositeKey.h"

namespace zarn {

// key as a BPlusCompositeKey, or NULL (also for NULL). Comparisons of
// composite keys ask this of both keys every time, so the usual case, a key
// of exactly that class, is told by the address of its type information;
// anything else, a class derived from it included, takes dynamic_cast.
inline BPlusCompositeKey* asComposite(BPlusKey* key)
{
    if (key == nullptr) {
        return nullptr;
    }
    if (&typeid(*key) == &typeid(BPlusCompositeKey)) {
        return static_cast<BPlusCompositeKey*>(key);
    }
    return dynamic_cast<BPlusCompositeKey*>(key);
}

}  // namespace zarn

#endif
