#include "containers/QorStringMap.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
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

TEST(QorStringMapBucket, TextLookupStopsAtTheFirstNul)
{
    QorStringMap::Bucket bucket(eQorAllocNone);
    CStringBuffer withNul = buffer("a\0b"s), plain("a");  // named: a temporary converts to text
    bucket.add(withNul, nullptr);
    EXPECT_EQ(bucket.get("a"), bucket.get(0));
    EXPECT_EQ(bucket.get(plain), nullptr);
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

// Values come from malloc: under ASan and valgrind a value freed by a growth
// step is caught when read, a value never freed as a leak.
TEST(QorStringMapRelease, FreeModeReleasesRemovedClearedAndLastValues)
{
    QorStringMap map(eQorAllocFree);
    for (int i = 0; i < 600; ++i) {
        map.insert(std::to_string(i).c_str(), std::memcpy(std::malloc(sizeof i), &i, sizeof i));
    }
    EXPECT_GT(map.size(), 32) << "growth steps ran";
    for (int i = 0; i < 600; ++i) {
        ASSERT_EQ(*static_cast<int*>(map.get(std::to_string(i).c_str())), i);
        if (i % 2 != 0) {
            map.remove(std::to_string(i).c_str());
        }
    }
    map.clear(true);
    map.insert("last", std::malloc(8));  // released by the destructor
    EXPECT_EQ(map.count(), 1);
}

// A value that is not from the heap: the libc free would abort on it.
TEST(QorStringMapRelease, OtherModesLeaveValuesAlone)
{
    int value = 0;
    for (int mode : {0, 7}) {
        QorStringMap map(static_cast<EQorAllocMode>(mode));
        for (int i = 0; i < 600; ++i) {
            map.insert(std::to_string(i).c_str(), &value);
        }
        map.remove("1");
        EXPECT_EQ(map.get("2"), &value) << "mode " << mode;
        map.clear(false);
    }
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

// Inserts, removes, lookups, clears and resizes in both key forms against the
// table model: after every step the slot and item counts agree, and now and
// then allocList lists the model's items, slot by slot, in list order. A key
// with a NUL inside goes through the buffer form only; the text form of a key
// finds an item whose key continues after a NUL in the same slot.
TEST(QorStringMapRandomized, MatchesTheTableModel)
{
    std::mt19937 rng(2024);
    QorStringMap map(eQorAllocNone);
    mapmodel::Table model;
    int shrinks = 0;
    for (long step = 1; step <= 30000; ++step) {
        const bool withNul = rng() % 3 == 0;
        const bool counted = withNul || rng() % 2 != 0;
        const std::string key = "k" + std::to_string(rng() % 700) + (withNul ? "\0z"s : "");
        CStringBuffer bytes = buffer(key);
        const int before = map.size();
        const unsigned op = rng() % 200;
        if (op < 90) {
            counted ? map.insert(bytes, V(step)) : map.insert(key.c_str(), V(step));
            model.insert(key, V(step));
        } else if (op < 140) {
            counted ? map.remove(bytes) : map.remove(key.c_str());
            model.remove(key, !counted);
        } else if (op < 197) {
            void* want = model.get(key, !counted);
            ASSERT_EQ(counted ? map.get(bytes) : map[key.c_str()], want) << "step " << step;
            ASSERT_EQ(counted ? map.exists(bytes) : map.exists(key.c_str()), want != nullptr);
        } else if (op < 199) {
            const int n = static_cast<int>(rng() % 2000);
            map.resize(n);
            model.resize(n);
        } else {
            const bool reinit = rng() % 2 != 0;
            map.clear(reinit);
            model.clear(reinit);
        }
        shrinks += op < 90 && map.size() < before ? 1 : 0;
        ASSERT_EQ(map.size(), static_cast<int>(model.slots.size())) << "step " << step;
        ASSERT_EQ(map.count(), model.count()) << "step " << step;
        if (step % 250 == 0) {
            QorPtrList* list = map.allocList();
            const auto items = model.list();
            ASSERT_EQ(list->size(), static_cast<int>(items.size())) << "step " << step;
            for (int i = 0; i < list->size(); ++i) {
                EXPECT_EQ(static_cast<MapItem*>(list->get(i))->value, items[std::size_t(i)]->value)
                    << "step " << step << " item " << i;
            }
            delete list;
        }
    }
    EXPECT_GT(shrinks, 0) << "no growth step made the table smaller";
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
    QorStringMap map(eQorAllocNone);
    map.clear(false);
    map.reserve(1000);
    EXPECT_EQ(map.size(), 8000);
}

}  // namespace
