// QorStringMap::Bucket: the ordered items of one slot.
#include <cstring>

#include "containers/MapItemLife.h"
#include "containers/QorStringMap.h"
#include "core/Limits.h"
#include "core/OutOfMemory.h"

namespace {

using MapItem = QorStringMap::MapItem;

// The strcmp rule without strcmp: the item's text up to its first NUL equals
// the n bytes of a NUL-free key exactly when the item has at least n bytes,
// a NUL at byte n, and the same first n bytes.
bool matchesText(MapItem* item, char const* keyText, int n)
{
    if (item->key.length() < n) {
        return false;
    }
    char const* text = item->key.getBufferPointer();
    return text[n] == '\0' && std::memcmp(text, keyText, static_cast<std::size_t>(n)) == 0;
}

// Counted keys match by length and bytes, NULs included.
bool matchesBytes(MapItem* item, char const* bytes, int n)
{
    return item->key.length() == n && (n == 0 || std::memcmp(item->key.getBufferPointer(), bytes,
                                                             static_cast<std::size_t>(n)) == 0);
}

// Position of the first item of list for which matches is true, or -1.
template <typename Matches>
int firstIndex(QorPtrList& list, Matches matches)
{
    for (int i = 0; i < list.size(); ++i) {
        if (matches(static_cast<MapItem*>(list.get(i)))) {
            return i;
        }
    }
    return -1;
}

}  // namespace

QorStringMap::Bucket::Bucket(EQorAllocMode mode) : deallocate(mode) {}

QorStringMap::Bucket::~Bucket()
{
    for (int i = 0; i < items.size(); ++i) {
        zarn::stringmap::destroyItem(static_cast<MapItem*>(items.get(i)),
                                     "QorStringMap::Bucket::~Bucket", this);
    }
}

void QorStringMap::Bucket::setDeallocate(EQorAllocMode mode)
{
    deallocate = mode;
    for (int i = 0; i < items.size(); ++i) {
        static_cast<MapItem*>(items.get(i))->deallocate = mode;
    }
}

void QorStringMap::Bucket::add(MapItem* item)
{
    if (item == nullptr) {
        return;
    }
#ifdef ZARNCRT_CHECKED
    zarn::stringmap::checkItemAlive(item, "QorStringMap::Bucket::add", this);
#endif
    zarn::stringmap::appendLiveItem(*this, item);
}

void QorStringMap::Bucket::add(char const* keyText, void* value)
{
    if (keyText == nullptr) {
        return;
    }
    zarn::stringmap::appendLiveItem(*this, zarn::make<MapItem>(keyText, value));
}

void QorStringMap::Bucket::add(CStringBuffer& source, void* value)
{
    zarn::stringmap::appendLiveItem(*this, zarn::make<MapItem>(source, value));
}

int QorStringMap::Bucket::count()
{
    return items.size();
}

QorStringMap::MapItem* QorStringMap::Bucket::get(int i)
{
    return static_cast<MapItem*>(items.get(i));
}

QorStringMap::MapItem* QorStringMap::Bucket::get(char const* keyText)
{
    if (keyText == nullptr) {
        return nullptr;
    }
    return get(indexOfText(keyText, zarn::measuredLength(keyText, "QorStringMap key")));
}

QorStringMap::MapItem* QorStringMap::Bucket::get(CStringBuffer& source)
{
    return get(indexOfBytes(source.getBufferPointer(), source.length()));
}

void QorStringMap::Bucket::remove(MapItem* item)
{
#ifdef ZARNCRT_CHECKED
    zarn::stringmap::checkItemAlive(item, "QorStringMap::Bucket::remove", this);
#endif
    for (int i = 0; i < items.size(); ++i) {
        if (items.get(i) == item) {
            remove(i);
            return;
        }
    }
}

void QorStringMap::Bucket::remove(char const* keyText)
{
    if (keyText == nullptr) {
        return;
    }
    remove(indexOfText(keyText, zarn::measuredLength(keyText, "QorStringMap key")));
}

void QorStringMap::Bucket::remove(CStringBuffer& source)
{
    remove(indexOfBytes(source.getBufferPointer(), source.length()));
}

void QorStringMap::Bucket::remove(int i)
{
    if (i < 0 || i >= items.size()) {
        return;
    }
    auto* item = static_cast<MapItem*>(items.get(i));
    items.remove(i);
    zarn::stringmap::destroyItem(item, "QorStringMap::Bucket::remove", this);
}

int QorStringMap::Bucket::indexOfText(char const* keyText, int n)
{
    return firstIndex(items, [&](MapItem* item) { return matchesText(item, keyText, n); });
}

int QorStringMap::Bucket::indexOfBytes(char const* bytes, int n)
{
    return firstIndex(items, [&](MapItem* item) { return matchesBytes(item, bytes, n); });
}
