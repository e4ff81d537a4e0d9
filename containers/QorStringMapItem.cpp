// QorStringMap::MapItem: one key copy, one value, one release mode.
#include <cstdlib>

#include "containers/MapItemLife.h"
#include "containers/QorStringMap.h"
#include "core/Limits.h"

// Items start in mode eQorAllocNone so that an item destroyed before any
// bucket takes it never frees its value.
QorStringMap::MapItem::MapItem() : value(nullptr), deallocate(eQorAllocNone) {}

QorStringMap::MapItem::MapItem(char const* keyText, void* value)
    : value(value), deallocate(eQorAllocNone)
{
    if (keyText != nullptr) {
        key.append(keyText, zarn::measuredLength(keyText, "QorStringMap key"));
    }
}

QorStringMap::MapItem::MapItem(CStringBuffer& source, void* value)
    : value(value), deallocate(eQorAllocNone)
{
    key.set(source);
}

QorStringMap::MapItem::~MapItem()
{
    if (deallocate == eQorAllocFree || deallocate == eQorAllocFreeAlt) {
        std::free(value);
    }
}

void QorStringMap::MapItem::setDeallocate(EQorAllocMode mode)
{
#ifdef ZARNCRT_CHECKED
    zarn::stringmap::checkItemAlive(this, "QorStringMap::MapItem::setDeallocate", this);
#endif
    deallocate = mode;
}
