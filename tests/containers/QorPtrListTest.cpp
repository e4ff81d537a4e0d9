#include "containers/QorPtrList.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

class ProbeList : public QorPtrList {  // opens the protected fields to the tests
public:
    using QorPtrList::capacity;
    using QorPtrList::elements;
};

void* P(long i)
{
    return reinterpret_cast<void*>(i);
}

// Appends, inserts and removes at random indexes (also out of range) against
// std::vector. The capacity follows growth rules A (append: old count + 11
// when full) and B (insert: count + 10 when fewer than ten slots are free),
// and a removal clears the slot it vacates.
TEST(QorPtrListRandomized, MatchesVector)
{
    std::mt19937 rng(12345);
    ProbeList list;
    std::vector<void*> model;
    int capacity = 0;
    for (int step = 1; step <= 20000; ++step) {
        int n = static_cast<int>(model.size()), index = static_cast<int>(rng() % (n + 5)) - 2;
        bool inRange = index >= 0 && index < n;
        unsigned op = rng() % 4;
        if (op == 0) {
            list.append(P(step));
            model.push_back(P(step));
            capacity = n + 1 > capacity ? n + 11 : capacity;
        } else if (op == 1) {
            list.insert(index, P(step));  // below 0: at the front; beyond: at the end
            model.insert(model.begin() + std::min(std::max(index, 0), n), P(step));
            capacity = std::max(capacity, n + 10);
        } else {
            list.remove(index);
            ASSERT_TRUE(!inRange || list.elements[n - 1] == nullptr);
        }
        if (op > 1 && inRange) {
            model.erase(model.begin() + index);
        }
        ASSERT_EQ(list.size(), static_cast<int>(model.size()));
        ASSERT_EQ(list.capacity, capacity);
        ASSERT_EQ(list.get(index), index >= 0 && index < list.size() ? model[index] : nullptr);
    }
}

}  // namespace
