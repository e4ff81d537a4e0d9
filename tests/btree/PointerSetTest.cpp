// The address set of the tree's invariant check, against std::unordered_set:
// random inserts and lookups across many growths, with addresses spread like
// heap objects and addresses that share their hash slots.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <unordered_set>
#include <vector>

#include "btree/PointerSet.h"

namespace {

void const* address(std::uintptr_t value)
{
    return reinterpret_cast<void const*>(value);
}

// Runs inserts and lookups of addresses drawn from pool against the model.
void compareWithModel(std::vector<void const*> const& pool, unsigned seed, char const* name)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::size_t> pick(0, pool.size() - 1);
    zarn::PointerSet set;
    std::unordered_set<void const*> model;
    for (int step = 0; step < 20000; ++step) {
        void const* p = pool[pick(random)];
        if (random() % 3 != 0) {
            const bool added = model.insert(p).second;
            ASSERT_EQ(set.insert(p), added) << name << ": insert at step " << step;
        } else {
            ASSERT_EQ(set.contains(p), model.count(p) == 1)
                << name << ": contains at step " << step << ", " << model.size() << " members";
        }
    }
    // Everything added is still there after the last growth.
    for (void const* p : model) {
        ASSERT_TRUE(set.contains(p)) << name << ": member lost";
    }
}

TEST(PointerSet, AgreesWithAModelOfTheSameAddresses)
{
    std::vector<void const*> spread;   // 16-byte aligned, as heap objects are
    std::vector<void const*> crowded;  // multiples of 2^32: the hash's high bits alone differ
    for (std::uintptr_t i = 1; i <= 12000; ++i) {
        spread.push_back(address(0x7f0000000000u + 16 * i));
        crowded.push_back(address(i << 32));
    }
    compareWithModel(spread, 1, "spread");
    compareWithModel(crowded, 2, "crowded");
}

TEST(PointerSet, EmptySetContainsNothing)
{
    zarn::PointerSet set;
    EXPECT_FALSE(set.contains(address(64)));
    EXPECT_TRUE(set.insert(address(64)));
    EXPECT_FALSE(set.insert(address(64))) << "second insert of the same address";
    EXPECT_FALSE(set.contains(address(128)));
}

}  // namespace
