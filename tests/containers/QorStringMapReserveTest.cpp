#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "containers/QorStringMap.h"

namespace {

// Key sets of different shapes: distinct random keys, keys that differ only
// in their last byte, and a single key repeated (every insert collides).
std::vector<std::string> makeKeys(std::mt19937& random, int n, int shape)
{
    std::vector<std::string> keys;
    std::uniform_int_distribution<int> byte(1, 255);
    std::uniform_int_distribution<int> length(0, 24);
    for (int i = 0; i < n; ++i) {
        if (shape == 0) {
            std::string key;
            for (int k = length(random); k > 0; --k) {
                key += static_cast<char>(byte(random));
            }
            keys.push_back(key);
        } else if (shape == 1) {
            keys.push_back("common prefix " + std::to_string(i));
        } else {
            keys.push_back("same");
        }
    }
    return keys;
}

// Whatever the keys and whatever the map held before, n items after
// reserve(n) never run a growth step: the table keeps the slot count
// reserve gave it, and every key still finds its first value.
TEST(QorStringMapReserve, NoGrowthStepUpToTheReservedItems)
{
    std::mt19937 random(15);
    for (int round = 0; round < 60; ++round) {
        const int shape = round % 3;
        const int n = std::uniform_int_distribution<int>(1, 3000)(random);
        const int before = std::uniform_int_distribution<int>(0, n)(random);
        const std::vector<std::string> keys = makeKeys(random, n, shape);
        QorStringMap map(eQorAllocNone);
        for (int i = 0; i < before; ++i) {
            map.insert(keys[static_cast<size_t>(i)].c_str(), reinterpret_cast<void*>(i + 1L));
        }
        map.reserve(n);
        const int reserved = map.size();
        for (int i = before; i < n; ++i) {
            map.insert(keys[static_cast<size_t>(i)].c_str(), reinterpret_cast<void*>(i + 1L));
            ASSERT_EQ(map.size(), reserved) << "case round " << round << " insert " << i;
        }
        EXPECT_EQ(map.count(), n) << "case round " << round;
        for (int i = 0; i < n; ++i) {
            const auto first = static_cast<long>(
                std::find(keys.begin(), keys.end(), keys[static_cast<size_t>(i)]) - keys.begin());
            EXPECT_EQ(map.get(keys[static_cast<size_t>(i)].c_str()),
                      reinterpret_cast<void*>(first + 1))
                << "case round " << round << " key " << i;
        }
    }
}

TEST(QorStringMapReserve, LeavesALargeEnoughTableAlone)
{
    QorStringMap map(1 << 16, eQorAllocNone);
    map.insert("kept", reinterpret_cast<void*>(7L));
    map.reserve(100);
    EXPECT_EQ(map.size(), 1 << 16);
    EXPECT_EQ(map.get("kept"), reinterpret_cast<void*>(7L));
    map.reserve(0);
    EXPECT_EQ(map.size(), 1 << 16) << "case reserve(0)";
}

TEST(QorStringMapReserve, GivesAMapWithoutTableOne)
{
    QorStringMap map(eQorAllocNone);
    map.clear(false);
    map.reserve(1000);
    EXPECT_EQ(map.size(), 8000);
    map.insert("x", nullptr);
    EXPECT_EQ(map.count(), 1);
}

}  // namespace
