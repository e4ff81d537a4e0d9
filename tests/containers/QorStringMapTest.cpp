#include "containers/QorStringMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <typeinfo>
#include <unordered_map>
#include <vector>

namespace {

using MapItem = QorStringMap::MapItem;
using Bucket = QorStringMap::Bucket;

class ProbeMap : public QorStringMap {  // opens the protected table to the tests
public:
    using QorStringMap::buckets;
    using QorStringMap::collisions;
    using QorStringMap::QorStringMap;
    using QorStringMap::resizing;
};

void* V(long i)
{
    return reinterpret_cast<void*>(i);
}

// The hash the long way, over an explicit work area of fill and key bytes.
int referenceHash(std::string const& key)
{
    std::string area = "\x11" + key + std::string(3 - key.size() % 4, '\x11');
    std::vector<std::int32_t> w(area.size() / 4);
    std::memcpy(w.data(), area.data(), area.size());
    auto middle = [](std::int64_t x) { return std::int32_t(std::uint64_t(x) >> 16); };
    std::size_t m = w.size();
    std::int64_t h = w[m - 1];
    for (std::size_t k = 0; k + 3 <= m; ++k) {
        h = middle(std::int64_t(w[k]) * h);
    }
    std::int64_t p = m == 1 ? std::int64_t(w[0]) * w[0] : h * w[m - 2];
    auto r = std::uint32_t(middle(std::int64_t(std::int32_t(p >> 32)) * std::int32_t(p)));
    return int(((r & 0xff) << 16) | (r & 0xff00) | ((r >> 16) & 0xff));
}

TEST(QorStringMapHash, ReferenceValuesLongKeysAndNul)
{
    QorStringMap map(eQorAllocNone);
    std::pair<char const*, int> refs[] = {
        {"", 5772137},          {"a", 10185865},           {"abc", 15285261}, {"abcd", 1324304},
        {"abcdefgh", 11878292}, {"hello world", 10550131}, {"key", 3927074},  {"Key", 12479187}};
    for (auto& [text, value] : refs) {
        EXPECT_TRUE(map.hash(text, -1) == value && map.hash(text, int(std::strlen(text))) == value)
            << text;
    }
    EXPECT_TRUE(map.hash(nullptr, -1) == 5772137 && map.hash(nullptr, 5) == 5772137);
    std::mt19937 rng(99);
    for (int len : {0, 1, 2, 3, 4, 5, 7, 8, 9, 11, 12, 13, 63, 64, 271, 272, 100000}) {
        std::string key(len, '\0');
        std::generate(key.begin(), key.end(), [&] { return char(rng()); });
        ASSERT_EQ(map.hash(key.data(), len), referenceHash(key)) << len;
        CStringBuffer buffer;
        map.insert(buffer.set(key.data(), len), V(len + 1));  // NULs included
        ASSERT_EQ(map.get(buffer), V(len + 1));
    }
    CStringBuffer withNul, plainA("a");
    map.insert("a", V(1));
    EXPECT_TRUE(map.get(plainA) == V(1) && !map.get(withNul.set("a\0b", 3)));  // forms meet
    Bucket bucket(eQorAllocNone);  // within one slot, the text form stops at a NUL
    bucket.add(withNul, nullptr);
    bucket.add(static_cast<MapItem*>(nullptr)), bucket.add(static_cast<char const*>(nullptr), V(1));
    bucket.remove(7), bucket.remove(static_cast<char const*>(nullptr));  // nothing to remove
    EXPECT_TRUE(bucket.get("a") == bucket.get(0) && !bucket.get(plainA) && !bucket.get(1));
    EXPECT_TRUE(bucket.count() == 1 && !bucket.get(static_cast<char const*>(nullptr)));
}

TEST(QorStringMapSlots, SlotsCollisionsGrowthAndRemoval)
{
    ProbeMap map(5, eQorAllocNone);
    for (char const* key : {"", "a", "Key", "hello world", "key"}) {
        map.insert(key, nullptr);
    }
    EXPECT_TRUE(map.size() == 32 && map.buckets[9]->count() == 2 && map.buckets[19]->count() == 2);
    EXPECT_STREQ(map.buckets[2]->get(0)->key.getBufferPointer(), "key");

    std::string absent;  // a key of slot 9 that is never inserted
    for (int i = 0; absent.empty() || map.hash(absent.c_str(), -1) % 32 != 9; ++i) {
        absent = "k" + std::to_string(i);
    }
    map.remove(absent.c_str());  // a shared slot gives back its collision anyway
    EXPECT_TRUE(map.collisions == 1 && map.count() == 5);
    map.remove(""), map.remove("");  // a slot with one item, then an empty one: no change
    EXPECT_EQ(map.collisions, 0);
    map.remove("a");
    EXPECT_EQ(map.buckets[9], nullptr);  // an emptied bucket is destroyed

    ProbeMap growing(eQorAllocNone);
    for (int i = 0; i <= 40; ++i) {
        growing.insert(("key" + std::to_string(i)).c_str(), nullptr);
        EXPECT_EQ(growing.size(), i < 40 ? 32 : 34) << i;
        EXPECT_TRUE(i != 24 || growing.collisions == 8);
    }
    ProbeMap shrinking(800, eQorAllocNone);  // grows above size() / 8, maybe to fewer slots
    for (int i = 0; shrinking.collisions < 100; ++i) {
        shrinking.insert(std::to_string(i % 50).c_str(), nullptr);
    }
    shrinking.insert("0", nullptr);
    EXPECT_EQ(shrinking.size(), 800);
    shrinking.insert("1", nullptr);
    EXPECT_EQ(shrinking.size(), 202);
}

// Values come from malloc and the tests run under ASan and valgrind: a value
// freed by a growth step is caught when read, a double free at the second
// free, a value never freed as a leak, a free of a non-heap value at once.
TEST(QorStringMapRelease, ValuesFreedByModeNeverByGrowth)
{
    QorStringMap map(eQorAllocFree), none(eQorAllocNone), other(static_cast<EQorAllocMode>(7));
    for (int i = 0; i < 600; ++i) {
        const std::string key = std::to_string(i);
        map.insert(key.c_str(), std::memcpy(std::malloc(sizeof i), &i, sizeof i));
        none.insert(key.c_str(), &map), other.insert(key.c_str(), &map);
    }
    EXPECT_GT(map.size(), 32);  // growth steps ran
    for (int i = 0; i < 600; ++i) {
        ASSERT_EQ(*static_cast<int*>(map.get(std::to_string(i).c_str())), i);
        i % 2 ? map.remove(std::to_string(i).c_str()) : none.remove(std::to_string(i).c_str());
    }
    map.clear(true), map.insert("last", std::malloc(8));  // released by the destructor
    other.clear(false);
    MapItem loose("k", &map), unnamed(nullptr, &map);  // outside a bucket: release nothing
    EXPECT_TRUE(loose.deallocate == eQorAllocNone && unnamed.key.length() == 0);
}

TEST(QorStringMapClear, ClearAllocListAndNoTableState)
{
    ProbeMap map(1000, eQorAllocNone);
    for (int i = 0; i < 50; ++i) {
        map.insert(std::to_string(i % 40).c_str(), V(i));
    }
    QorPtrList* list = map.allocList();
    Bucket** first = std::find_if(map.buckets, map.buckets + 1000, [](Bucket* b) { return b; });
    EXPECT_TRUE(list->size() == 50 && list->get(0) == (*first)->get(0));  // slot by slot
    delete list;
    map.clear(true);
    EXPECT_EQ(map.size() + map.count() + map.collisions, 1000);
    map.clear(false), map.remove("1");  // no table: lookups find nothing, removal does nothing
    list = map.allocList();
    EXPECT_TRUE(!map.get("1") && !map["1"] && !map.exists("1") && list->size() == 0);
    delete list;
    map.insert(nullptr, V(1));  // a NULL key stores nothing, makes no table
    EXPECT_FALSE(map.buckets || map.size() || map.count());
    map.insert("b", V(2)), map.remove(nullptr);  // NULL keys: nothing found, nothing removed
    EXPECT_TRUE(!map.get(nullptr) && !map[static_cast<char const*>(nullptr)] &&
                !map.exists(nullptr));
    EXPECT_TRUE(map.size() == 32 && map.get("b") == V(2));
}

class DerivedItem : public MapItem {
public:
    using MapItem::MapItem;
};

// A growth step leaves what re-inserting every item in order gives: slots,
// order, collisions, values, keys and their storage, modes reset to the
// map's; an item of a derived type or with grown key storage is replaced.
TEST(QorStringMapGrowth, StepEqualsReinsertion)
{
    std::mt19937 rng(4);
    ProbeMap moved(64, eQorAllocNone), expected(333, eQorAllocNone);
    for (long i = 1; i <= 400; ++i) {
        moved.insert(std::to_string(rng() % 250).c_str(), V(i));
        moved.remove(std::to_string(rng() % 1000).c_str());
    }
    Bucket* any = *std::find_if(moved.buckets, moved.buckets + 64, [](Bucket* b) { return b; });
    any->add(new DerivedItem(any->get(0)->key, nullptr));
    any->get(0)->key.assureBufSize(10000);
    any->deallocate = eQorAllocFree;
    QorPtrList* list = moved.allocList();
    auto* tail = static_cast<MapItem*>(list->get(list->size() - 1));
    tail->value = nullptr;
    tail->deallocate = eQorAllocFreeAlt;  // a moved item's mode is reset as well
    expected.resizing = true;
    for (int i = 0; i < list->size(); ++i) {
        auto* item = static_cast<MapItem*>(list->get(i));
        expected.insert(item->key, item->value);
    }
    delete list;
    moved.resize(333);
    ASSERT_EQ(moved.collisions, expected.collisions);
    for (int s = 0; s < 333; ++s) {
        Bucket *got = moved.buckets[s], *want = expected.buckets[s];
        ASSERT_EQ(got == nullptr, want == nullptr);
        for (int j = 0; want && j <= want->count(); ++j) {
            MapItem *g = got->get(j), *w = want->get(j);
            ASSERT_EQ(g == nullptr, w == nullptr);
            ASSERT_TRUE(!w || (g->key == w->key && g->key.bufLength() == w->key.bufLength() &&
                               g->value == w->value && g->deallocate == eQorAllocNone &&
                               got->deallocate == eQorAllocNone && typeid(*g) == typeid(MapItem)));
        }
    }
}

// Inserts, removes, gets and clears (with and without a new table) in both
// key forms against std::unordered_multimap; the first match is the oldest
// insert. Keys with a NUL inside go through the buffer form only.
TEST(QorStringMapRandomized, MatchesUnorderedMultimap)
{
    std::mt19937 rng(2024);
    ProbeMap map(eQorAllocNone);
    std::unordered_multimap<std::string, long> model;  // key -> insert step
    for (long step = 1; step <= 30000; ++step) {
        bool withNul = rng() % 3 == 0, counted = withNul || rng() % 2;
        std::string key = (withNul ? "n" : "k") + std::to_string(rng() % 700);
        key += withNul ? std::string(1, '\0') + "z" : "";
        CStringBuffer buffer;
        buffer.set(key.data(), int(key.size()));
        auto [found, end] = model.equal_range(key);
        for (auto it = found; it != end; ++it) {
            found = it->second < found->second ? it : found;
        }
        void* want = found == model.end() ? nullptr : V(found->second);
        unsigned op = rng() % 100;
        if (op < 45) {
            counted ? map.insert(buffer, V(step)) : map.insert(key.c_str(), V(step));
            model.emplace(key, step);
        } else if (op < 70) {
            counted ? map.remove(buffer) : map.remove(key.c_str());
            want ? void(model.erase(found)) : void();
        } else if (op < 99) {
            ASSERT_EQ(counted ? map.get(buffer) : map[key.c_str()], want);
            ASSERT_EQ(counted ? map.exists(buffer) : map.exists(key.c_str()), want != nullptr);
        } else {
            map.clear(rng() % 2);
            model.clear();
        }
        if (step % 500 == 0) {
            QorPtrList* list = map.allocList();
            ASSERT_TRUE(list->size() == int(model.size()) && map.count() == list->size());
            delete list;
        }
    }
}

}  // namespace
