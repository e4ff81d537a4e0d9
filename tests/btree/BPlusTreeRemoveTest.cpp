// Tests of removal, bulk loading, the cursor and the invariant check: the
// worked shapes of small trees, refusals, VerifyTree on damaged trees, and
// randomized runs of all operations against the shared model for every
// capacity and key kind.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "btree/BPlusCursor.h"
#include "btree/BPlusNode.h"
#include "btree/KeyTestSupport.h"
#include "containers/Stacks.h"
#include "models/TreeModel.h"

namespace {

using treemodel::KeyKind;
using treemodel::TreeDriver;

std::string Problems(BPlusNode* root)
{
    CStringBuffer problems;
    root->VerifyTree(problems);
    return std::string(problems.getBufferPointer(), static_cast<size_t>(problems.length()));
}

// Removing from the M = 3 trees of the insertion examples: each removal
// gives the shape shown and a sound tree, including removals of keys that
// are separators (2, 4) and of keys whose bound is a clone.
TEST(BPlusNodeRemove, WorkedShapesWithCapacityThree)
{
    struct Case {
        std::vector<int> grown;
        int removed;
        char const* shape;
    } const cases[] = {
        {{1}, 1, "I[]"},
        {{1, 2}, 2, "I[2](L[1])"},
        {{1, 2}, 1, "I[2](L[2])"},
        {{5, 3, 1}, 3, "I[1](L[1], L[5])"},
        {{5, 3, 1}, 5, "I[](L[1, 3])"},
        {{1, 2, 3, 4, 5}, 2, "I[2, 4](L[1], L[3, 4], L[5])"},
        {{1, 2, 3, 4, 5}, 4, "I[2](I[1](L[1], L[2]), I[3](L[3], L[5]))"},
        {{1, 2, 3, 4, 5}, 5, "I[1, 2](L[1], L[2], L[3, 4])"},
        {{1, 2, 3, 4, 5, 6, 7}, 1, "I[4](I[2](L[2], L[3, 4]), I[6](L[5, 6], L[7]))"},
    };
    for (Case const& c : cases) {
        Key probe(I(c.removed));
        BPlusNode* root = grow(c.grown)->Remove(probe.get(), nullptr);
        EXPECT_EQ(shape(root), c.shape) << "removing " << c.removed;
        EXPECT_EQ(Problems(root), "") << "removing " << c.removed;
        BPlusNode::DeleteTree(root);
    }
}

TEST(BPlusNodeRemove, AbsentOrNullKeyChangesNothing)
{
    BPlusNode* root = grow({1, 2, 3});
    const std::string before = shape(root);
    Key absent(I(9));
    BPlusKey sentinel(BPlusKey::eIntegerKey);
    BPlusKey* out = &sentinel;
    EXPECT_EQ(root->Remove(absent.get(), &out), root);
    EXPECT_EQ(out, nullptr) << "the taken key is set to NULL";
    EXPECT_EQ(shape(root), before);
    EXPECT_EQ(root->Remove(nullptr, &out), root);
    BPlusNode::DeleteTree(root);
}

TEST(BPlusNodeRemove, NodeThatIsNotValidChangesNothing)
{
    BPlusNode invalid(10, 100, 1.0f);  // M below 3
    Key probe(I(1));
    BPlusKey* keys[] = {probe.get()};
    CStringBuffer problems;
    EXPECT_EQ(invalid.Remove(probe.get(), nullptr), &invalid);
    EXPECT_EQ(invalid.BuildFromSorted(keys, 1), &invalid);
    EXPECT_FALSE(invalid.VerifyTree(problems));
    EXPECT_STREQ(std::strchr(problems.getBufferPointer(), ':') + 2, "not a valid node\n");
}

TEST(BPlusNodeBulk, WorkedShapes)
{
    std::pair<int, char const*> const cases[] = {
        {1, "I[](L[1])"},
        {2, "I[](L[1, 2])"},
        {3, "I[2](L[1, 2], L[3])"},
        {5, "I[2, 4](L[1, 2], L[3, 4], L[5])"},
        {7, "I[4](I[2](L[1, 2], L[3, 4]), I[6](L[5, 6], L[7]))"},
    };
    for (auto const& [count, expected] : cases) {
        std::vector<BPlusKey*> keys;
        for (int k = 1; k <= count; ++k) {
            keys.push_back(I(k));
        }
        BPlusNode* root = new BPlusNode();
        EXPECT_EQ(root->BuildFromSorted(keys.data(), count), root) << count << " keys";
        EXPECT_EQ(shape(root), expected) << count << " keys";
        EXPECT_EQ(Problems(root), "") << count << " keys";
        BPlusNode::DeleteTree(root);
    }
}

TEST(BPlusNodeBulk, RefusesUnsortedDuplicateNullAndNegativeLoads)
{
    BPlusNode* root = new BPlusNode();
    Key a(I(1)), b(I(1)), c(I(2));
    BPlusKey* twice[] = {a.get(), b.get()};
    BPlusKey* withNull[] = {a.get(), nullptr};
    BPlusKey* falling[] = {c.get(), a.get()};
    EXPECT_EQ(root->BuildFromSorted(twice, 2), root) << "duplicate";
    EXPECT_EQ(root->BuildFromSorted(withNull, 2), root) << "NULL key";
    EXPECT_EQ(root->BuildFromSorted(falling, 2), root) << "falling";
    EXPECT_EQ(root->BuildFromSorted(falling, -1), root) << "negative count";
    EXPECT_EQ(shape(root), "I[]") << "refused loads took nothing";
    BPlusNode::DeleteTree(root);
}

struct Fields : BPlusNode {
    static constexpr int BPlusNode::*kKeyCount = &Fields::m_nKeyCount;
    static constexpr BPlusKey** BPlusNode::*kKeys = &Fields::m_pKeys;
    static constexpr BPlusNode* BPlusNode::*kNextLeaf = &Fields::m_pNextLeaf;
};

// Each damage must be reported by a line naming it. Applying a damage twice
// undoes it, so the tree is sound again before it is released. A shared
// separator must be the last key of the leaf it bounds (DeleteTree relies on
// it): putting the leaf's first key in its place breaks the rule.
TEST(VerifyTreeDamage, EachDamageIsReported)
{
    BPlusNode* root = grow({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    BPlusNode* pair = root->GetFirstLeaf();  // the first leaf of two keys
    while (pair->GetKeyCount() < 2) {
        pair = pair->GetNextLeaf();
    }
    BPlusNode* const next = pair->GetNextLeaf();
    CPtrStack path;
    root->Search(pair->GetKey(1), &path);
    BPlusKey** separator = static_cast<BPlusNode*>(path.top())->*Fields::kKeys;
    ASSERT_EQ(*separator, pair->GetKey(1)) << "the leaf's separator";
    BPlusKey** keys = pair->*Fields::kKeys;
    struct {
        char const* report;
        std::function<void()> damage;
    } const damages[] = {
        {"keys not ascending", [&] { std::swap(keys[0], keys[1]); }},
        {"leaf link", [&] { pair->*Fields::kNextLeaf = pair->GetNextLeaf() ? nullptr : next; }},
        {"counts out of range", [&] { pair->*Fields::kKeyCount ^= 1; }},  // 2 and 3
        {"does not end", [&] { *separator = keys[*separator == keys[1] ? 0 : 1]; }},
    };
    ASSERT_EQ(Problems(root), "") << "undamaged";
    for (auto const& d : damages) {
        d.damage();
        EXPECT_NE(Problems(root).find(d.report), std::string::npos) << d.report;
        d.damage();
        ASSERT_EQ(Problems(root), "") << "repaired: " << d.report;
    }
    BPlusNode::DeleteTree(root);
}

// Interleaved Add, Remove, Search, cursor walks and bulk loads against the
// model, with the whole tree checked after every step, for every capacity.
class BPlusTreeModel : public testing::TestWithParam<std::pair<KeyKind, int>> {};

TEST_P(BPlusTreeModel, RandomOperationsForEveryCapacity)
{
    const auto [kind, steps] = GetParam();
    for (int m = 3; m <= 32; ++m) {
        std::mt19937 random(static_cast<unsigned>(m * 31 + static_cast<int>(kind)));
        TreeDriver driver(m, kind);
        for (int i = 0; i < steps; ++i) {
            const int value = static_cast<int>(random() % 300) - 150;
            std::string problem = treemodel::step(driver, random(), value, random());
            problem = problem.empty() ? driver.check(i % 64 == 0) : problem;
            ASSERT_EQ(problem, "") << "M " << m << ", step " << i;
        }
        ASSERT_EQ(driver.finish(), "") << "M " << m;
    }
}

std::string KindName(testing::TestParamInfo<std::pair<KeyKind, int>> const& info)
{
    return std::vector<std::string>{"Integer", "Number", "Text", "Composite"}.at(
        static_cast<std::size_t>(info.param.first));
}

INSTANTIATE_TEST_SUITE_P(KeyKinds, BPlusTreeModel,
                         testing::Values(std::pair(KeyKind::Integer, 400),
                                         std::pair(KeyKind::Number, 150),
                                         std::pair(KeyKind::Text, 150),
                                         std::pair(KeyKind::Composite, 150)),
                         KindName);

}  // namespace
