#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "containers/QorStringMap.h"

namespace {

// Key sets of different shapes: distinct random keys, keys that differ only
// in their last bytes, and a single key repeated (every insert collides).
std::vector<std::string> makeKeys(std::mt19937& random, int n, int shape)
{
    std::vector<std::string> keys;
    for (int i = 0; i < n; ++i) {
        std::string key = shape == 1 ? "common prefix " + std::to_string(i) : "same";
        if (shape == 0) {
            key.assign(random() % 25, ' ');
            for (char& c : key) {
                c = static_cast<char>(1 + random() % 255);
            }
        }
        keys.push_back(key);
    }
    return keys;
}

// Inserts keys[from..to) with value i + 1 and requires the slot count to stay.
void insertWithoutGrowth(QorStringMap& map, std::vector<std::string> const& keys, int from, int to,
                         std::string const& name)
{
    const int slots = map.size();
    for (int i = from; i < to; ++i) {
        map.insert(keys[static_cast<std::size_t>(i)].c_str(), reinterpret_cast<void*>(i + 1L));
        ASSERT_EQ(map.size(), slots) << name << ", insert " << i;
    }
}

// Whatever the keys and whatever the map held before, n items after
// reserve(n) never run a growth step, and every key still finds the value
// of its first insert.
TEST(QorStringMapReserve, NoGrowthStepUpToTheReservedItems)
{
    std::mt19937 random(15);
    for (int round = 0; round < 60; ++round) {
        const std::string name = "round " + std::to_string(round);
        const int n = 1 + static_cast<int>(random() % 3000);
        const int before = static_cast<int>(random() % static_cast<unsigned>(n + 1));
        const std::vector<std::string> keys = makeKeys(random, n, round % 3);
        QorStringMap map(eQorAllocNone);
        for (int i = 0; i < before; ++i) {
            map.insert(keys[static_cast<std::size_t>(i)].c_str(), reinterpret_cast<void*>(i + 1L));
        }
        map.reserve(n);
        insertWithoutGrowth(map, keys, before, n, name);
        EXPECT_EQ(map.count(), n) << name;
        std::unordered_map<std::string, long> first;
        for (int i = 0; i < n; ++i) {
            first.emplace(keys[static_cast<std::size_t>(i)], i + 1L);
        }
        for (auto const& [key, value] : first) {
            EXPECT_EQ(map.get(key.c_str()), reinterpret_cast<void*>(value)) << name;
        }
    }
}

// A map made with 8 * n slots never grows while it holds at most n items,
// however the keys fall and however often items come and go.
TEST(QorStringMapSizing, EightSlotsPerItemNeverGrow)
{
    std::mt19937 random(8);
    for (int round = 0; round < 60; ++round) {
        const std::string name = "round " + std::to_string(round);
        const int n = 1 + static_cast<int>(random() % 1000);
        const std::vector<std::string> keys = makeKeys(random, n, round % 3);
        QorStringMap map(8 * n, eQorAllocNone);
        insertWithoutGrowth(map, keys, 0, n, name);
        for (int i = 0; i < n; ++i) {  // take some out, put them back
            map.remove(keys[random() % keys.size()].c_str());
        }
        insertWithoutGrowth(map, keys, map.count(), n, name);
        EXPECT_EQ(map.count(), n) << name;
    }
}

TEST(QorStringMapReserve, LeavesALargeEnoughTableAlone)
{
    QorStringMap map(1 << 16, eQorAllocNone);
    map.insert("kept", reinterpret_cast<void*>(7L));
    map.reserve(100);
    EXPECT_EQ(map.size(), 1 << 16) << "reserve(100)";
    EXPECT_EQ(map.get("kept"), reinterpret_cast<void*>(7L));
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
