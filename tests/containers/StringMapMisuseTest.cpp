// The checked build's quarantine of map items: an item that a growth step,
// a removal or a clear destroyed is poisoned and kept, so that a library
// call on it (setDeallocate, Bucket::add, Bucket::remove) is reported at
// once, a read finds the poison, and a write is reported at exit. The
// correct neighbours run to a normal exit, where the quarantine checks every
// block it still holds.
#include "containers/QorStringMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using MapItem = QorStringMap::MapItem;
using Bucket = QorStringMap::Bucket;

const char* const kDestroyedItem = "^zarncrt checked: map item used after the map destroyed it: ";

// The first item of a new list of the map's items (the list is deleted).
MapItem* firstItem(QorStringMap& map)
{
    QorPtrList* list = map.allocList();
    auto* item = static_cast<MapItem*>(list->get(0));
    delete list;
    return item;
}

// An item of a derived type, which a growth step replaces by a plain copy.
struct TaggedItem : MapItem {
    using MapItem::MapItem;
    int tag = 7;
};

// A map that lets a test put an item of its own into a slot.
struct OpenMap : QorStringMap {
    using QorStringMap::QorStringMap;
    Bucket* bucketOfKey(char const* key)
    {
        return buckets[hash(key, -1) % bucketCount];
    }
};

TEST(StringMapMisuseDeathTest, SetDeallocateOnAnItemTheMapRemovedIsReported)
{
    EXPECT_DEATH(
        {
            QorStringMap map(eQorAllocNone);
            map.insert("key", nullptr);
            MapItem* item = firstItem(map);
            map.remove("key");
            item->setDeallocate(eQorAllocFree);
        },
        std::string(kDestroyedItem) + "QorStringMap::MapItem::setDeallocate: item 0x");
}

TEST(StringMapMisuseDeathTest, SetDeallocateOnAnItemAGrowthStepReplacedIsReported)
{
    EXPECT_DEATH(
        {
            OpenMap map(eQorAllocNone);
            map.insert("a", nullptr);
            auto* item = new TaggedItem("b", nullptr);
            map.bucketOfKey("a")->add(item);
            map.resize(500);
            item->setDeallocate(eQorAllocNone);
        },
        std::string(kDestroyedItem) + "QorStringMap::MapItem::setDeallocate");
}

TEST(StringMapMisuseDeathTest, BucketRemoveOfADestroyedItemIsReported)
{
    EXPECT_DEATH(
        {
            Bucket bucket(eQorAllocNone);
            bucket.add("a", nullptr);
            bucket.add("b", nullptr);
            MapItem* item = bucket.get(0);
            bucket.remove("a");
            bucket.remove(item);
        },
        std::string(kDestroyedItem) + "QorStringMap::Bucket::remove: item 0x");
}

TEST(StringMapMisuseDeathTest, BucketAddOfAnItemAClearDestroyedIsReported)
{
    EXPECT_DEATH(
        {
            QorStringMap map(eQorAllocNone);
            map.insert("key", nullptr);
            MapItem* item = firstItem(map);
            map.clear(true);
            Bucket other(eQorAllocNone);
            other.add(item);
        },
        std::string(kDestroyedItem) + "QorStringMap::Bucket::add: item 0x");
}

TEST(StringMapMisuseDeathTest, AWriteIntoARemovedItemIsReportedAtExit)
{
    EXPECT_EXIT(
        {
            QorStringMap map(eQorAllocNone);
            map.insert("key", nullptr);
            MapItem* item = firstItem(map);
            map.remove("key");
            item->value = &map;
            std::exit(0);
        },
        testing::KilledBySignal(SIGABRT),
        "zarncrt checked: write through a stale pointer: QorStringMap::MapItem .* released by "
        "QorStringMap::Bucket::remove");
}

// A destroyed item is poisoned: its value reads as the poison.
TEST(StringMapMisuse, AReadOfARemovedItemFindsThePoison)
{
    QorStringMap map(eQorAllocNone);
    map.insert("key", &map);
    MapItem* item = firstItem(map);
    map.remove("key");
    void* value = item->value;
    std::uintptr_t poison;
    std::memset(&poison, 0xDB, sizeof poison);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(value), poison) << "value of a removed item";
}

TEST(StringMapMisuse, CorrectUseIsNotReported)
{
    EXPECT_EXIT(
        {
            QorStringMap map(eQorAllocNone);
            for (int i = 0; i < 200; ++i) {
                map.insert(std::to_string(i).c_str(), nullptr);  // growth steps on the way
            }
            QorPtrList* list = map.allocList();
            for (int i = 0; i < list->size(); ++i) {
                static_cast<MapItem*>(list->get(i))->setDeallocate(eQorAllocNone);
            }
            delete list;
            Bucket bucket(eQorAllocNone);
            bucket.add("a", nullptr);
            auto* own = new MapItem("b", nullptr);
            bucket.add(own);
            MapItem elsewhere("c", nullptr);
            bucket.remove(&elsewhere);  // not in the bucket: left alone
            bucket.remove(own);
            map.remove("7");
            map.clear(false);
            map.insert("again", nullptr);
            firstItem(map)->setDeallocate(eQorAllocNone);
            std::exit(bucket.count() == 1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

}  // namespace
