// The checked build's address map against std::unordered_map: random
// records, lookups and erasures (which close up runs of slots) over
// addresses a fixed step apart, as keys made one after another are.
#include <gtest/gtest.h>

#include <random>
#include <unordered_map>

#include "core/AddressMap.h"

namespace {

using zarn::misuse::AddressMap;

const void* address(int i)
{
    return reinterpret_cast<const void*>(std::uintptr_t{0x10000} + std::uintptr_t(i) * 96);
}

TEST(AddressMap, MatchesAnUnorderedMap)
{
    AddressMap<long> map;
    std::unordered_map<const void*, long> model;
    std::mt19937 random(7);
    for (int step = 0; step < 200000; ++step) {
        const void* at = address(static_cast<int>(random() % 5000));
        switch (random() % 4) {
            case 0:
            case 1:
                map[at] = step;
                model[at] = step;
                break;
            case 2:
                ASSERT_EQ(map.erase(at), model.erase(at) == 1) << "erase at step " << step;
                break;
            default: {
                long* found = map.find(at);
                auto expected = model.find(at);
                ASSERT_EQ(found != nullptr, expected != model.end()) << "find at step " << step;
                if (found != nullptr) {
                    ASSERT_EQ(*found, expected->second) << "value at step " << step;
                }
            }
        }
    }
    map.eraseIf([](const void*, long value) { return value % 2 == 0; });
    for (auto const& entry : model) {
        long* found = map.find(entry.first);
        ASSERT_EQ(found != nullptr, entry.second % 2 != 0) << "after eraseIf";
    }
}

}  // namespace
