// QorStringMap by hand: the hash, buckets, items, NULL keys, growth and the
// sizing promise. Random operation sequences in both key forms and every
// release mode are checked against the slot table model by the map fuzzer,
// which ctest runs too (fuzz.FuzzStringMap); its values are heap blocks, so
// that ASan and valgrind catch a value freed twice, too early or never.
#include "containers/QorStringMap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <typeinfo>
#include <vector>

#include "models/StringMapHash.h"

using namespace std::string_literals;

namespace {

using MapItem = QorStringMap::MapItem;
using mapmodel::referenceHash;

void* V(long i)
{
    return reinterpret_cast<void*>(i);
}

CStringBuffer buffer(std::string const& bytes)
{
    CStringBuffer out;
    out.set(bytes.data(), static_cast<int>(bytes.size()));
    return out;
}

// Pins the formula; the model is held to the map at random lengths below.
TEST(QorStringMapHash, PublishedValues)
{
    QorStringMap map(eQorAllocNone);
    std::pair<char const*, int> const refs[] = {
        {"", 5772137},          {"a", 10185865},           {"abc", 15285261}, {"abcd", 1324304},
        {"abcdefgh", 11878292}, {"hello world", 10550131}, {"key", 3927074},  {"Key", 12479187}};
    for (auto const& [text, value] : refs) {
        EXPECT_EQ(map.hash(text, -1), value) << "measured key '" << text << "'";
        EXPECT_EQ(map.hash(text, int(std::strlen(text))), value) << "counted key '" << text << "'";
    }
}

TEST(QorStringMapHash, NullKeyHashesAsTheEmptyKey)
{
    QorStringMap map(eQorAllocNone);
    EXPECT_EQ(map.hash(nullptr, -1), 5772137) << "measured";
    EXPECT_EQ(map.hash(nullptr, 5), 5772137) << "counted";
    EXPECT_EQ(map.hash("abc", 0), 5772137) << "a count of 0 hashes no bytes";
}

TEST(QorStringMapHash, MatchesTheModelForAnyBytesAndLength)
{
    QorStringMap map(eQorAllocNone);
    std::mt19937 rng(99);
    for (int len : {0, 1, 2, 3, 4, 5, 7, 8, 9, 11, 12, 13, 63, 64, 271, 272, 100000}) {
        std::string key(static_cast<std::size_t>(len), '\0');
        for (char& c : key) {
            c = static_cast<char>(rng());
        }
        EXPECT_EQ(map.hash(key.data(), len), referenceHash(key)) << "length " << len;
    }
}

// Random adds, lookups and removals in both key forms against a list of
// (key bytes, value): a text lookup compares with strcmp, so it stops at a
// key's first NUL; a buffer lookup needs the same length and bytes; both
// find the first match in list order, and removals take that one.
TEST(QorStringMapBucket, MatchesAListModelInBothKeyForms)
{
    std::mt19937 rng(21);
    QorStringMap::Bucket bucket(eQorAllocNone);
    std::vector<std::pair<std::string, void*>> model;
    auto randomKey = [&rng] {
        static const std::string alphabet = "ab\0"s;
        std::string key(rng() % 4, 'a');
        for (char& c : key) {
            c = alphabet[rng() % alphabet.size()];
        }
        return key;
    };
    auto byText = [&model](std::string const& text) {
        for (std::size_t i = 0; i < model.size(); ++i) {
            if (std::strcmp(model[i].first.c_str(), text.c_str()) == 0) {
                return static_cast<int>(i);
            }
        }
        return -1;
    };
    auto byBytes = [&model](std::string const& bytes) {
        for (std::size_t i = 0; i < model.size(); ++i) {
            if (model[i].first == bytes) {
                return static_cast<int>(i);
            }
        }
        return -1;
    };
    for (long step = 1; step <= 4000; ++step) {
        std::string key = randomKey();
        CStringBuffer source = buffer(key);
        const int n = static_cast<int>(model.size());
        int found = -1;
        const unsigned op = rng() % 8;
        switch (op) {
            case 0:
                bucket.add(key.c_str(), V(step));
                model.emplace_back(key.c_str(), V(step));
                break;
            case 1:
                bucket.add(source, V(step));
                model.emplace_back(key, V(step));
                break;
            case 2:
                found = byText(key);
                ASSERT_EQ(bucket.get(key.c_str()), bucket.get(found)) << "get(text), step " << step;
                break;
            case 3:
                found = byBytes(key);
                ASSERT_EQ(bucket.get(source), bucket.get(found)) << "get(buffer), step " << step;
                break;
            case 4:
                found = byText(key);
                bucket.remove(key.c_str());
                break;
            case 5:
                found = byBytes(key);
                bucket.remove(source);
                break;
            case 6:
                found = n > 0 ? static_cast<int>(rng() % static_cast<unsigned>(n)) : -1;
                bucket.remove(bucket.get(found));
                break;
            default:
                found = static_cast<int>(rng() % static_cast<unsigned>(n + 2)) - 1;
                bucket.remove(found);
                found = found < n ? found : -1;
                break;
        }
        if (op >= 4 && found >= 0) {  // the removals
            model.erase(model.begin() + found);
        }
        ASSERT_EQ(bucket.count(), static_cast<int>(model.size())) << "step " << step;
        if (!model.empty()) {
            const int i = static_cast<int>(rng() % model.size());
            MapItem* item = bucket.get(i);
            ASSERT_EQ(std::string(item->key.getBufferPointer(), std::size_t(item->key.length())),
                      model[std::size_t(i)].first)
                << "key at " << i << ", step " << step;
            ASSERT_EQ(item->value, model[std::size_t(i)].second) << "value at " << i;
        }
    }
}

TEST(QorStringMapBucket, NullArgumentsAndBadPositionsChangeNothing)
{
    QorStringMap::Bucket bucket(eQorAllocNone);
    bucket.add("k", nullptr);
    bucket.add(static_cast<MapItem*>(nullptr));
    bucket.add(static_cast<char const*>(nullptr), V(1));
    bucket.remove(7);
    bucket.remove(static_cast<char const*>(nullptr));
    EXPECT_EQ(bucket.count(), 1);
    EXPECT_EQ(bucket.get(1), nullptr);
    EXPECT_EQ(bucket.get(static_cast<char const*>(nullptr)), nullptr);
}

TEST(QorStringMapItem, OutsideABucketReleasesNothing)
{
    int value = 0;
    EXPECT_EQ(MapItem("k", &value).deallocate, eQorAllocNone);
    EXPECT_EQ(MapItem(nullptr, &value).key.length(), 0) << "MapItem(NULL, v)";
}

TEST(QorStringMapNullKey, StoresFindsAndRemovesNothingAndMakesNoTable)
{
    QorStringMap map(eQorAllocNone);
    map.clear(false);
    map.insert(nullptr, V(1));
    EXPECT_EQ(map.size(), 0) << "no table made";
    map.insert("", V(2));
    map.remove(nullptr);
    EXPECT_EQ(map.count(), 1);
    EXPECT_EQ(map.get(nullptr), nullptr);
    EXPECT_EQ(map[static_cast<char const*>(nullptr)], nullptr);
    EXPECT_FALSE(map.exists(nullptr));
}

// A growth step hands every item the map's mode, whatever it had.
TEST(QorStringMapGrowth, ResetsItemModes)
{
    QorStringMap map(eQorAllocNone);
    for (int i = 0; i < 40; ++i) {
        map.insert(std::to_string(i).c_str(), nullptr);
    }
    QorPtrList* list = map.allocList();
    static_cast<MapItem*>(list->get(0))->setDeallocate(eQorAllocFree);
    delete list;
    map.resize(500);
    list = map.allocList();
    for (int i = 0; i < list->size(); ++i) {
        EXPECT_EQ(static_cast<MapItem*>(list->get(i))->deallocate, eQorAllocNone) << "item " << i;
    }
    delete list;
}

// A bucket that counts its destructions.
struct CountingBucket : QorStringMap::Bucket {
    using Bucket::Bucket;
    ~CountingBucket() override
    {
        ++destroyed;
    }
    static int destroyed;
};
int CountingBucket::destroyed = 0;

// A map whose subclass moved one key's items into a bucket of its own type.
struct RehousingMap : QorStringMap {
    using QorStringMap::QorStringMap;
    void rehouse(char const* key)
    {
        Bucket*& slot = buckets[hash(key, -1) % bucketCount];
        auto* replacement = new CountingBucket(allocMode);
        for (int j = 0; j < slot->items.size(); ++j) {
            replacement->add(static_cast<MapItem*>(slot->items.get(j)));
        }
        while (slot->items.size() > 0) {
            slot->items.remove(slot->items.size() - 1);  // now owned by replacement
        }
        delete slot;
        slot = replacement;
    }
};

// A growth step reuses only buckets of the map's own type; a bucket of
// another type is destroyed, with its items carried over.
TEST(QorStringMapGrowth, DestroysABucketOfADerivedType)
{
    CountingBucket::destroyed = 0;
    RehousingMap map(eQorAllocNone);
    for (int i = 0; i < 20; ++i) {
        map.insert(std::to_string(i).c_str(), V(i + 1));
    }
    map.rehouse("7");
    map.resize(500);
    EXPECT_EQ(CountingBucket::destroyed, 1);
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(map.get(std::to_string(i).c_str()), V(i + 1)) << "key " << i;
    }
}

// An item of a derived type that counts its destructions.
struct CountingItem : MapItem {
    using MapItem::MapItem;
    ~CountingItem() override
    {
        ++destroyed;
    }
    static int destroyed;
};
int CountingItem::destroyed = 0;

// A map whose subclass reaches into its slots and its mode.
struct ReachingMap : QorStringMap {
    using QorStringMap::QorStringMap;
    Bucket* bucketOfKey(char const* key)
    {
        return buckets[hash(key, -1) % bucketCount];
    }
    void setMode(EQorAllocMode mode)
    {
        allocMode = mode;
    }
};

// Growth reproduces re-insertion: an item of a derived type is replaced by a
// plain copy (and destroyed), and every bucket and item gets the map's mode
// as it is now, reused buckets included.
TEST(QorStringMapGrowth, CopiesDerivedItemsAndHandsOutTheMapsMode)
{
    CountingItem::destroyed = 0;
    ReachingMap map(eQorAllocNone);
    for (int i = 0; i < 40; ++i) {
        map.insert(std::to_string(i).c_str(), std::malloc(1));  // freed by the map's new mode
    }
    QorStringMap::Bucket* bucket = map.bucketOfKey("7");
    MapItem* plain = bucket->get("7");
    void* seven = plain->value;
    for (int j = 0; j < bucket->count(); ++j) {
        if (bucket->get(j) == plain) {
            bucket->items.remove(j);  // forgotten by the bucket, destroyed here
        }
    }
    delete plain;
    bucket->add(new CountingItem("7", seven));
    map.setMode(eQorAllocFree);
    map.resize(500);
    EXPECT_EQ(CountingItem::destroyed, 1) << "the derived item is replaced";
    EXPECT_EQ(map.get("7"), seven);
    QorPtrList* list = map.allocList();
    for (int i = 0; i < list->size(); ++i) {
        MapItem* item = static_cast<MapItem*>(list->get(i));
        EXPECT_STREQ(typeid(*item).name(), typeid(MapItem).name()) << "item " << i;
        EXPECT_EQ(item->deallocate, eQorAllocFree) << "item " << i;
        EXPECT_EQ(map.bucketOfKey(item->key.getBufferPointer())->deallocate, eQorAllocFree)
            << "bucket of item " << i;
    }
    delete list;
}

// A map made with 8 * n slots, or given them by reserve(n) after some
// inserts, never grows while it holds at most n items, however often items
// come and go and however the keys fall: distinct random keys, keys that
// differ only in their last bytes, or one key repeated (every insert
// collides).
TEST(QorStringMapSizing, EightSlotsPerItemNeverGrow)
{
    std::mt19937 random(15);
    for (int round = 0; round < 90; ++round) {
        const int n = 1 + static_cast<int>(random() % 2000);
        std::vector<std::string> keys;
        for (int k = 0; k < n; ++k) {
            keys.push_back(round % 3 == 1 ? "common prefix " + std::to_string(k) : "same");
            if (round % 3 == 0) {
                keys.back().assign(random() % 25, ' ');
                for (char& c : keys.back()) {
                    c = static_cast<char>(1 + random() % 255);
                }
            }
        }
        const bool reserved = round % 2 != 0;
        QorStringMap map(reserved ? 32 : 8 * n, eQorAllocNone);
        int i = reserved ? static_cast<int>(random() % static_cast<unsigned>(n + 1)) : 0;
        for (int k = 0; k < i; ++k) {
            map.insert(keys[std::size_t(k)].c_str(), V(k + 1));
        }
        map.reserve(reserved ? n : 0);
        const int slots = map.size();
        for (int removed = 0; i < n; ++i) {
            map.insert(keys[std::size_t(i)].c_str(), V(i + 1));
            ASSERT_EQ(map.size(), slots) << "round " << round << ", insert " << i;
            if (removed < n / 4 && random() % 4 == 0) {  // take one out, put it back
                map.remove(keys[std::size_t(i--)].c_str());
                ++removed;
            }
        }
        EXPECT_EQ(map.count(), n) << "round " << round;
        for (std::string const& key : keys) {
            ASSERT_TRUE(map.exists(key.c_str())) << "round " << round;
        }
    }
}

TEST(QorStringMapReserve, LeavesALargeEnoughTableAlone)
{
    QorStringMap map(1 << 16, eQorAllocNone);
    map.insert("kept", V(7));
    map.reserve(100);
    EXPECT_EQ(map.size(), 1 << 16) << "reserve(100)";
    EXPECT_EQ(map.get("kept"), V(7));
    map.reserve(0);
    EXPECT_EQ(map.size(), 1 << 16) << "reserve(0)";
}

TEST(QorStringMapReserve, GivesAMapWithoutTableOne)
{
    const struct {
        int items;
        int slots;
    } cases[] = {{0, 0}, {1, 32}, {1000, 8000}};  // never fewer than 32 slots
    for (const auto& c : cases) {
        QorStringMap map(eQorAllocNone);
        map.clear(false);
        map.reserve(c.items);
        EXPECT_EQ(map.size(), c.slots) << "reserve(" << c.items << ")";
    }
}

}  // namespace
