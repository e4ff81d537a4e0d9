// QorStringMap::reserve: room for a known number of items ahead of time.
#include <climits>

#include "containers/QorStringMap.h"
#include "core/OutOfMemory.h"

namespace {

// A growth step runs only when the collision count exceeds an eighth of the
// slots, and the collision count never exceeds the number of items: with
// eight slots per item the step can never come.
constexpr int kSlotsPerItem = 8;

}  // namespace

void QorStringMap::reserve(int items)
{
    if (items <= 0) {
        return;
    }
    if (items > INT_MAX / kSlotsPerItem) {
        zarn::sizeOverflow("QorStringMap::reserve");
    }
    const int needed = kSlotsPerItem * items;
    if (buckets == nullptr || bucketCount < needed) {
        resize(needed);
    }
}
