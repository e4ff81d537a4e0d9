#include <gtest/gtest.h>

#include <random>
#include <string>
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

// A map made with 8 * n slots, or given them by reserve(n) after some
// inserts, never grows while it holds at most n items, however the keys fall
// and however often items come and go.
TEST(QorStringMapSizing, EightSlotsPerItemNeverGrow)
{
    std::mt19937 random(15);
    for (int round = 0; round < 90; ++round) {
        const std::string name = "round " + std::to_string(round);
        const int n = 1 + static_cast<int>(random() % 2000);
        const std::vector<std::string> keys = makeKeys(random, n, round % 3);
        const bool reserved = round % 2 != 0;
        QorStringMap map(reserved ? 32 : 8 * n, eQorAllocNone);
        int i = reserved ? static_cast<int>(random() % static_cast<unsigned>(n + 1)) : 0;
        for (int k = 0; k < i; ++k) {
            map.insert(keys[static_cast<std::size_t>(k)].c_str(), reinterpret_cast<void*>(k + 1L));
        }
        map.reserve(reserved ? n : 0);
        const int slots = map.size();
        for (int removed = 0; i < n; ++i) {
            map.insert(keys[static_cast<std::size_t>(i)].c_str(), reinterpret_cast<void*>(i + 1L));
            ASSERT_EQ(map.size(), slots) << name << ", insert " << i;
            if (removed < n / 4 && random() % 4 == 0) {  // take one out, put it back
                map.remove(keys[static_cast<std::size_t>(i)].c_str());
                --i;
                ++removed;
            }
        }
        EXPECT_EQ(map.count(), n) << name;
        for (std::string const& key : keys) {
            ASSERT_TRUE(map.exists(key.c_str())) << name;
        }
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
