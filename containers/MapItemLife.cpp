// The checked build's end of a map item: destroyed, then quarantined.
//
// What is poisoned: the first sizeof(MapItem) bytes of the item's block,
// i.e. its vtable pointer, its key buffer's fields, its value and its mode.
// An item may be of a type derived from MapItem (a caller's item given to
// Bucket::add, which a growth step replaces by a plain copy); its full size
// is not known here, so the derived part is quarantined with the block but
// not poisoned, and a write into it is not seen. The block is released with
// ::operator delete, where the map's own items and items made with a plain
// `new` come from. An item whose MapItem part does not start its block
// (MapItem not the first base) is simply deleted: its block cannot be named.
#include "containers/MapItemLife.h"

#include "core/MisuseReport.h"
#include "core/Quarantine.h"

#include <new>

namespace zarn::stringmap {
namespace {

void releaseItemMemory(void* block)
{
    ::operator delete(block);
}

}  // namespace

void quarantineItem(QorStringMap::MapItem* item, const char* call, const void* owner)
{
    if (item == nullptr) {
        return;
    }
    if (dynamic_cast<void*>(item) != static_cast<void*>(item)) {
        delete item;
        return;
    }
    item->~MapItem();
    misuse::quarantine(item, sizeof(QorStringMap::MapItem), releaseItemMemory,
                       "QorStringMap::MapItem", call, owner);
}

void checkItemAlive(const QorStringMap::MapItem* item, const char* call, const void* owner)
{
    if (misuse::isQuarantined(item)) {
        misuse::report("map item used after the map destroyed it",
                       "%s: item %p (call on %p) was destroyed by a growth step, removal or clear",
                       call, static_cast<const void*>(item), owner);
    }
}

}  // namespace zarn::stringmap
