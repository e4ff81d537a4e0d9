// QorPtrList, CIntStack and CPtrStack against std::vector.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "containers/QorPtrList.h"
#include "containers/Stacks.h"

namespace {

// Pushes and pops, also of an empty stack, against std::vector; reads of an
// empty stack or out of range give the empty value.
template <typename Stack, typename T>
void runAgainstVector(unsigned seed, T (*value)(int))
{
    std::mt19937 rng(seed);
    Stack stack;
    std::vector<T> model;
    for (int step = 1; step <= 20000; ++step) {
        if (rng() % 2 == 0) {
            stack.push(value(step));
            model.push_back(value(step));
        } else if (model.empty()) {
            ASSERT_EQ(stack.pop(), T()) << "step " << step;
        } else {
            ASSERT_EQ(stack.pop(), model.back()) << "step " << step;
            model.pop_back();
        }
        const int n = static_cast<int>(model.size());
        const int i = static_cast<int>(rng() % static_cast<unsigned>(n + 2)) - 1;
        ASSERT_EQ(stack.size(), n) << "step " << step;
        ASSERT_EQ(stack.top(), n > 0 ? model.back() : T()) << "step " << step;
        ASSERT_EQ(stack.peek(i), i >= 0 && i < n ? model[static_cast<std::size_t>(i)] : T())
            << "step " << step << ", position " << i;
    }
}

TEST(Stacks, IntStackMatchesVector)
{
    runAgainstVector<CIntStack, int>(7, [](int i) { return i; });
}

TEST(Stacks, PtrStackMatchesVector)
{
    runAgainstVector<CPtrStack, void*>(8, [](int i) { return reinterpret_cast<void*>(i * 8L); });
}

// The slot array as a subclass sees it.
struct InspectedList : QorPtrList {
    int slots() const
    {
        return capacity;
    }
    void* slot(int i) const
    {
        return elements[i];
    }
};

// Appends, inserts and removes at random indexes, also out of range, against
// std::vector: an insert below 0 goes to the front, beyond the end to the
// back; a removal out of range does nothing; reads out of range give NULL.
// The slot array grows as documented (a full append adds 11 slots, an insert
// keeps 10 spare) and a removal clears the slot it frees.
TEST(QorPtrListRandomized, MatchesVector)
{
    std::mt19937 rng(12345);
    InspectedList list;
    std::vector<void*> model;
    int capacity = 0;
    for (long step = 1; step <= 20000; ++step) {
        const int n = static_cast<int>(model.size());
        const int index = static_cast<int>(rng() % static_cast<unsigned>(n + 5)) - 2;
        void* value = reinterpret_cast<void*>(step);
        const unsigned op = rng() % 4;
        if (op == 0) {
            list.append(value);
            model.push_back(value);
            capacity = n + 1 > capacity ? n + 11 : capacity;
        } else if (op == 1) {
            list.insert(index, value);
            model.insert(model.begin() + std::clamp(index, 0, n), value);
            capacity = std::max(capacity, n + 10);
        } else {
            list.remove(index);
            if (index >= 0 && index < n) {
                model.erase(model.begin() + index);
                ASSERT_EQ(list.slot(n - 1), nullptr) << "freed slot, step " << step;
            }
        }
        ASSERT_EQ(list.slots(), capacity) << "step " << step;
        ASSERT_EQ(list.size(), static_cast<int>(model.size())) << "step " << step;
        const bool inRange = index >= 0 && index < list.size();
        ASSERT_EQ(list.get(index), inRange ? model[static_cast<std::size_t>(index)] : nullptr)
            << "step " << step;
    }
}

}  // namespace
