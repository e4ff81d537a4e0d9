// Internal (not installed): how the map and its buckets end an item's life,
// and how they append items they know to be alive.
//
// The checked build does not free an item the map destroys (a growth step
// replacing it, a removal, a clear): the item's destructor runs, then its
// memory is poisoned and quarantined, so that a read through a stale
// MapItem pointer finds the poison, a write is found when the block leaves
// the quarantine, and a library call on the item (setDeallocate,
// Bucket::add, Bucket::remove) is reported at once.
#ifndef ZARNCRT_CONTAINERS_MAPITEMLIFE_H
#define ZARNCRT_CONTAINERS_MAPITEMLIFE_H

#include "containers/QorStringMap.h"

namespace zarn::stringmap {

#ifdef ZARNCRT_CHECKED
// Runs item's destructor and quarantines its memory (see MapItemLife.cpp).
void quarantineItem(QorStringMap::MapItem* item, const char* call, const void* owner);

// Reports `call` on an item that the map destroyed (one quarantine lookup).
void checkItemAlive(const QorStringMap::MapItem* item, const char* call, const void* owner);
#endif

// Destroys an item a bucket owned. `call` and `owner` name who did it.
inline void destroyItem(QorStringMap::MapItem* item, const char* call, const void* owner)
{
#ifdef ZARNCRT_CHECKED
    quarantineItem(item, call, owner);
#else
    (void)call;
    (void)owner;
    delete item;
#endif
}

// Bucket::add for an item the library made or took from one of its own
// buckets: the item is alive, so the checked build has nothing to ask.
inline void appendLiveItem(QorStringMap::Bucket& bucket, QorStringMap::MapItem* item)
{
    item->deallocate = bucket.deallocate;
    bucket.items.append(item);
}

}  // namespace zarn::stringmap

#endif
