#include "containers/Stacks.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

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

}  // namespace
