// QorStringMap: the table, lookups, insertion with its growth step, removal,
// listing and clearing.
#include "containers/QorStringMap.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <typeinfo>

#include "containers/MapItemLife.h"
#include "core/Limits.h"
#include "core/OutOfMemory.h"
#include "core/QorCore.h"

namespace {

constexpr int kMinimumSlots = 32;

int measuredLength(char const* key)
{
    return zarn::measuredLength(key, "QorStringMap key");
}

// bufLength of the key buffer of an item freshly made for an n-byte key: a
// default buffer assigned n bytes holds the smallest multiple of its growth
// step above n.
std::int64_t freshKeyBufLength(int n)
{
    constexpr std::int64_t step = zarn::kDefaultTextBlock;
    return (n / step + 1) * step;
}

// Whether a growth step may keep this item object instead of replacing it
// by a fresh copy: only a plain MapItem whose key storage is exactly what a
// fresh copy would get is indistinguishable from that copy.
bool movable(QorStringMap::MapItem* item)
{
    return typeid(*item) == typeid(QorStringMap::MapItem) &&
           item->key.bufLength() == freshKeyBufLength(item->key.length());
}

// The items of a growth step in re-insertion order (old slot by old slot,
// list order within a slot), with room for their new slots, and the emptied
// old buckets ready for reuse. The emptied buckets wait in the front of the
// old slot array: after old slot i has been gathered, slots 0 to i are free,
// and at most i + 1 buckets can be waiting.
struct MovingItems {
    MovingItems(QorStringMap::Bucket** oldBuckets, int oldCount) : pool(oldBuckets)
    {
        int room = 0;
        for (int i = 0; i < oldCount; ++i) {
            room += oldBuckets[i] == nullptr ? 0 : oldBuckets[i]->count();
        }
        std::size_t bytes = static_cast<std::size_t>(room) * (sizeof(*items) + sizeof(*slots));
        // One spare byte: an empty table still gets a block (malloc(0) may be NULL).
        block = zarn::checked(std::malloc(bytes + 1), "QorStringMap growth", bytes);
        items = static_cast<QorStringMap::MapItem**>(block);
        slots = reinterpret_cast<int*>(items + room);
        for (int i = 0; i < oldCount; ++i) {
            QorStringMap::Bucket* from = oldBuckets[i];
            if (from == nullptr) {
                continue;
            }
            QorPtrList& list = from->items;
            for (int j = 0; j < list.size(); ++j) {
                items[count++] = static_cast<QorStringMap::MapItem*>(list.get(j));
            }
            // The items are in the array now: forget them, last first so
            // that nothing shifts.
            for (int j = list.size() - 1; j >= 0; --j) {
                list.remove(j);
            }
            if (typeid(*from) == typeid(QorStringMap::Bucket)) {
                pool[waiting++] = from;
            } else {
                delete from;
            }
        }
    }

    ~MovingItems()
    {
        for (int i = 0; i < waiting; ++i) {
            delete pool[i];
        }
        std::free(block);
    }

    MovingItems(MovingItems const&) = delete;
    MovingItems& operator=(MovingItems const&) = delete;

    // An emptied old bucket in the given mode, or a new one.
    QorStringMap::Bucket* takeBucket(EQorAllocMode mode)
    {
        if (waiting == 0) {
            return zarn::make<QorStringMap::Bucket>(mode);
        }
        QorStringMap::Bucket* bucket = pool[--waiting];
        bucket->deallocate = mode;
        return bucket;
    }

    QorStringMap::Bucket** pool;
    int waiting = 0;
    void* block = nullptr;
    QorStringMap::MapItem** items = nullptr;
    int* slots = nullptr;
    int count = 0;
};

}  // namespace

QorStringMap::QorStringMap(EQorAllocMode mode)
    : buckets(nullptr), bucketCount(0), collisions(0), resizing(false), allocMode(mode)
{
    init(kMinimumSlots);
}

QorStringMap::QorStringMap(int size, EQorAllocMode mode)
    : buckets(nullptr), bucketCount(0), collisions(0), resizing(false), allocMode(mode)
{
    init(size);
}

QorStringMap::~QorStringMap()
{
    clear(false);
}

void QorStringMap::init(int n)
{
    bucketCount = std::max(n, kMinimumSlots);
    buckets =
        static_cast<Bucket**>(QorMemAlloc(static_cast<std::size_t>(bucketCount) * sizeof(Bucket*)));
    collisions = 0;
    resizing = false;
}

int QorStringMap::size()
{
    return bucketCount;
}

int QorStringMap::count()
{
    int items = 0;
    for (int i = 0; i < bucketCount && buckets != nullptr; ++i) {
        if (buckets[i] != nullptr) {
            items += buckets[i]->count();
        }
    }
    return items;
}

// --- Lookup

QorStringMap::Bucket* QorStringMap::bucketOf(char const* bytes, int n)
{
    if (buckets == nullptr) {
        return nullptr;
    }
    return buckets[hashBytes(bytes, n) % bucketCount];
}

void* QorStringMap::get(char const* key)
{
    if (key == nullptr) {
        return nullptr;
    }
    int n = measuredLength(key);
    Bucket* bucket = bucketOf(key, n);
    if (bucket == nullptr) {
        return nullptr;
    }
    MapItem* item = bucket->get(bucket->indexOfText(key, n));
    return item == nullptr ? nullptr : item->value;
}

void* QorStringMap::get(CStringBuffer& key)
{
    char const* bytes = key.getBufferPointer();
    int n = key.length();
    Bucket* bucket = bucketOf(bytes, n);
    if (bucket == nullptr) {
        return nullptr;
    }
    MapItem* item = bucket->get(bucket->indexOfBytes(bytes, n));
    return item == nullptr ? nullptr : item->value;
}

void* QorStringMap::operator[](char const* key)
{
    return get(key);
}

void* QorStringMap::operator[](CStringBuffer& key)
{
    return get(key);
}

bool QorStringMap::exists(char const* key)
{
    if (key == nullptr) {
        return false;
    }
    int n = measuredLength(key);
    Bucket* bucket = bucketOf(key, n);
    return bucket != nullptr && bucket->indexOfText(key, n) >= 0;
}

bool QorStringMap::exists(CStringBuffer& key)
{
    char const* bytes = key.getBufferPointer();
    int n = key.length();
    Bucket* bucket = bucketOf(bytes, n);
    return bucket != nullptr && bucket->indexOfBytes(bytes, n) >= 0;
}

// --- Insertion

// Runs the growth check, then finds the key's slot, creating its bucket or
// counting a collision. Returns the bucket the new item goes into.
QorStringMap::Bucket* QorStringMap::bucketForInsert(char const* bytes, int n)
{
    if (buckets == nullptr) {
        init(kMinimumSlots);
    }
    if (!resizing && collisions > std::max(bucketCount / 8, 7)) {
        if (collisions > INT_MAX / 2) {
            zarn::sizeOverflow("QorStringMap growth");
        }
        resize(2 * collisions);
    }
    Bucket*& bucket = buckets[hashBytes(bytes, n) % bucketCount];
    if (bucket == nullptr) {
        bucket = zarn::make<Bucket>(allocMode);
    } else if (bucket->count() > 0) {
        ++collisions;
    }
    return bucket;
}

void QorStringMap::insert(char const* key, void* value)
{
    if (key == nullptr) {
        return;
    }
    bucketForInsert(key, measuredLength(key))->add(key, value);
}

void QorStringMap::insert(CStringBuffer& key, void* value)
{
    bucketForInsert(key.getBufferPointer(), key.length())->add(key, value);
}

// --- Removal

void QorStringMap::removeKey(char const* bytes, int n, bool counted)
{
    if (buckets == nullptr) {
        return;
    }
    Bucket*& bucket = buckets[hashBytes(bytes, n) % bucketCount];
    if (bucket == nullptr) {
        return;
    }
    // A shared slot gives back its collision whether or not the key is there.
    if (bucket->count() > 1) {
        --collisions;
    }
    bucket->remove(counted ? bucket->indexOfBytes(bytes, n) : bucket->indexOfText(bytes, n));
    if (bucket->count() == 0) {
        delete bucket;
        bucket = nullptr;
    }
}

void QorStringMap::remove(char const* key)
{
    if (key == nullptr) {
        return;
    }
    removeKey(key, measuredLength(key), false);
}

void QorStringMap::remove(CStringBuffer& key)
{
    removeKey(key.getBufferPointer(), key.length(), true);
}

// --- Whole-table operations

QorPtrList* QorStringMap::allocList()
{
    auto* list = zarn::make<QorPtrList>();
    for (int i = 0; i < bucketCount && buckets != nullptr; ++i) {
        Bucket* bucket = buckets[i];
        for (int j = 0; bucket != nullptr && j < bucket->count(); ++j) {
            list->append(bucket->get(j));
        }
    }
    return list;
}

void QorStringMap::clear(bool reinit)
{
    if (buckets != nullptr) {
        for (int i = 0; i < bucketCount; ++i) {
            delete buckets[i];
        }
        QorMemFree(buckets);
        buckets = nullptr;
    }
    if (reinit) {
        init(bucketCount);
    } else {
        bucketCount = 0;
    }
}

void QorStringMap::resize(int n)
{
    Bucket** oldBuckets = buckets;
    int oldCount = bucketCount;
    init(n);
    resizing = true;
    if (oldBuckets != nullptr) {
        moveItems(oldBuckets, oldCount);
        QorMemFree(oldBuckets);
    }
    resizing = false;
}

// The growth step. The result is the one that re-inserting every item, old
// slot by old slot and in list order, would give: the same slots, the same
// order within each slot, the same collision count, every item in the map's
// mode, no value released. Instead of copying, the item objects themselves
// move with their key buffers, and emptied old buckets serve again as new
// buckets. Items that a fresh copy would not reproduce exactly (a derived
// item type, or a key buffer whose storage differs from a fresh copy's) are
// replaced by a fresh copy, as re-insertion would.
//
// A step touches every item, and items, key buffers and buckets are all
// separate heap blocks, so the cost is memory latency rather than work. The
// step therefore runs in three passes over a plain array of the items: gather
// them in order, hash them with the next items and key buffers prefetched,
// then place them.
void QorStringMap::moveItems(Bucket** oldBuckets, int oldCount)
{
    MovingItems moving(oldBuckets, oldCount);
    int total = moving.count;
    int* slots = moving.slots;
    MapItem** items = moving.items;
    constexpr int ahead = 8;
    for (int k = 0; k < total; ++k) {
        if (k + 2 * ahead < total) {
            __builtin_prefetch(items[k + 2 * ahead]);
        }
        if (k + ahead < total) {
            __builtin_prefetch(items[k + ahead]->key.getBufferPointer());
        }
        MapItem* item = items[k];
        if (!movable(item)) {
            MapItem* copy = zarn::make<MapItem>(item->key, item->value);
            item->deallocate = eQorAllocNone;
            zarn::stringmap::destroyItem(item, "QorStringMap growth step", this);
            items[k] = item = copy;
        }
        slots[k] = hashBytes(item->key.getBufferPointer(), item->key.length()) % bucketCount;
    }
    for (int k = 0; k < total; ++k) {
        if (k + ahead < total) {
            __builtin_prefetch(buckets[slots[k + ahead]]);
        }
        Bucket*& to = buckets[slots[k]];
        if (to == nullptr) {
            to = moving.takeBucket(allocMode);
        } else if (to->count() > 0) {
            ++collisions;
        }
        zarn::stringmap::appendLiveItem(*to, items[k]);
    }
}
