#include "containers/Stacks.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace {

template <typename Stack>
class Probe : public Stack {  // opens the protected fields to the tests
public:
    using Stack::capacity;
    using Stack::elements;
};

// Pushes and pops (also of an empty stack) against std::vector. The capacity
// grows by exactly one slot per push beyond it; a stack popped empty frees
// its slots (capacity 0, no array), so the next push starts again at 1.
template <typename Stack, typename T>
void runAgainstVector(unsigned seed, T (*value)(int))
{
    std::mt19937 rng(seed);
    Probe<Stack> stack;
    std::vector<T> model;
    int capacity = 0;
    for (int step = 1; step <= 20000; ++step) {
        if (rng() % 2 == 0) {
            stack.push(value(step));
            model.push_back(value(step));
            capacity = std::max(capacity, static_cast<int>(model.size()));
        } else if (model.empty()) {
            ASSERT_EQ(stack.pop(), T());
        } else {
            ASSERT_EQ(stack.pop(), model.back());
            model.pop_back();
            capacity = model.empty() ? 0 : capacity;
        }
        int n = static_cast<int>(model.size()), i = static_cast<int>(rng() % (n + 2)) - 1;
        ASSERT_EQ(stack.size(), n);
        ASSERT_TRUE(stack.capacity == capacity && (stack.elements != nullptr) == (n > 0));
        ASSERT_EQ(stack.top(), n ? model.back() : T());
        ASSERT_EQ(stack.peek(i), i >= 0 && i < n ? model[i] : T());
    }
}

TEST(Stacks, RandomizedAgainstVector)
{
    runAgainstVector<CIntStack, int>(7, [](int i) { return i; });
    runAgainstVector<CPtrStack, void*>(8, [](int i) { return reinterpret_cast<void*>(i * 8L); });
}

}  // namespace
