#include "containers/QorPtrList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

// Appends, inserts and removes at random indexes, also out of range, against
// std::vector: an insert below 0 goes to the front, beyond the end to the
// back; a removal out of range does nothing; reads out of range give NULL.
TEST(QorPtrListRandomized, MatchesVector)
{
    std::mt19937 rng(12345);
    QorPtrList list;
    std::vector<void*> model;
    for (long step = 1; step <= 20000; ++step) {
        const int n = static_cast<int>(model.size());
        const int index = static_cast<int>(rng() % static_cast<unsigned>(n + 5)) - 2;
        void* value = reinterpret_cast<void*>(step);
        const unsigned op = rng() % 4;
        if (op == 0) {
            list.append(value);
            model.push_back(value);
        } else if (op == 1) {
            list.insert(index, value);
            model.insert(model.begin() + std::clamp(index, 0, n), value);
        } else {
            list.remove(index);
            if (index >= 0 && index < n) {
                model.erase(model.begin() + index);
            }
        }
        ASSERT_EQ(list.size(), static_cast<int>(model.size())) << "step " << step;
        const bool inRange = index >= 0 && index < list.size();
        ASSERT_EQ(list.get(index), inRange ? model[static_cast<std::size_t>(index)] : nullptr)
            << "step " << step;
    }
}

}  // namespace
