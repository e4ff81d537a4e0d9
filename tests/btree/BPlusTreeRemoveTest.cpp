// Tests of removal, bulk loading, the cursor and the invariant check: the
// worked shapes of small trees, the shared-separator and cloned-bound cases,
// refusals, VerifyTree on damaged trees, and a randomized run of all
// operations against the shared model for every capacity from 3 to 32.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "btree/BPlusCursor.h"
#include "btree/BPlusNode.h"
#include "btree/KeyTestSupport.h"
#include "models/TreeModel.h"

namespace {

using treemodel::CountedData;
using treemodel::KeyKind;
using treemodel::TreeDriver;

// Pointers to protected fields, to damage a tree on purpose.
struct Fields : BPlusNode {
    static constexpr int BPlusNode::*kKeyCount = &Fields::m_nKeyCount;
    static constexpr BPlusKey** BPlusNode::*kKeys = &Fields::m_pKeys;
    static constexpr BPlusNode** BPlusNode::*kPointers = &Fields::m_pPointers;
    static constexpr BPlusNode* BPlusNode::*kNextLeaf = &Fields::m_pNextLeaf;
};

// The tree as I[keys](children) / L[keys], from the printed text, which
// lists the blocks in pre-order.
std::string Shape(BPlusNode* root)
{
    CStringBuffer out;
    root->PrintNode(out, 0);
    std::string printed = static_cast<char*>(out);
    size_t at = 0;
    auto readLine = [&printed, &at]() {
        const size_t end = printed.find('\n', at);
        std::string line = printed.substr(at, end - at);
        at = end == std::string::npos ? printed.size() : end + 1;
        line.erase(0, line.find_first_not_of(' '));
        return line;
    };
    std::function<std::string()> block = [&]() {
        readLine();
        std::string text = readLine().rfind("_DAT_NODE", 0) == 0 ? "L[" : "I[";
        std::string keys;
        int children = 0;
        while (at < printed.size() && printed[at] != '\n') {
            std::string line = readLine();
            if (line.rfind("| key=", 0) == 0) {
                keys += (keys.empty() ? "" : ", ") + line.substr(6);
            }
            children += line.rfind("| ptr=", 0) == 0 ? 1 : 0;
        }
        text += keys + "]";
        for (int i = 0; i < children; ++i) {
            text += (i == 0 ? "(" : ", ") + block() + (i == children - 1 ? ")" : "");
        }
        return text;
    };
    return block();
}

std::string Problems(BPlusNode* root)
{
    CStringBuffer problems;
    root->VerifyTree(problems);
    return static_cast<char*>(problems);
}

BPlusNode* Grow(std::vector<int> const& keys)
{
    BPlusNode* root = new BPlusNode();
    for (int k : keys) {
        root = root->Add(I(k), false);
    }
    return root;
}

BPlusNode* RemoveInt(BPlusNode* root, int value)
{
    Key probe(I(value));
    return root->Remove(probe.get(), nullptr);
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
        BPlusNode* root = RemoveInt(Grow(c.grown), c.removed);
        EXPECT_EQ(c.shape, Shape(root)) << "case removing " << c.removed;
        EXPECT_EQ("", Problems(root)) << "case removing " << c.removed;
        BPlusNode::DeleteTree(root);
    }
}

// A removed key that is also a separator leaves the index: the slot takes
// the new last key of the leaf it bounds, the key itself is handed over
// once, and DeleteTree afterwards releases every other key exactly once.
TEST(BPlusNodeRemove, SharedSeparatorLeavesTheIndex)
{
    for (int removed = 1; removed <= 7; ++removed) {
        TreeDriver driver(3, KeyKind::Integer);
        for (int k = 1; k <= 7; ++k) {
            EXPECT_EQ("", driver.add(k * 10)) << "case " << k;
        }
        EXPECT_EQ("", driver.remove(removed * 10, true)) << "case " << removed;
        EXPECT_EQ("", driver.check(true)) << "case " << removed;
        EXPECT_EQ("", driver.add(removed * 10 - 1)) << "case " << removed;
        EXPECT_EQ("", driver.check(true)) << "case " << removed;
        EXPECT_EQ("", driver.finish()) << "case " << removed;
    }
}

TEST(BPlusNodeRemove, TakenKeyKeepsItsDataAndAbsentKeyChangesNothing)
{
    BPlusNode* root = Grow({1, 2, 3});
    const std::string before = Shape(root);
    Key absent(I(9));
    BPlusKey* out = I(0);  // overwritten with NULL
    EXPECT_EQ(root, root->Remove(absent.get(), &out));
    EXPECT_EQ(nullptr, out);
    EXPECT_EQ(before, Shape(root));
    EXPECT_EQ(root, root->Remove(nullptr, &out));

    Key probe(I(2));
    root->Search(probe.get())->SetData(new CountingData(true));
    CountingData::deleted = 0;
    root = root->Remove(probe.get(), &out);
    ASSERT_NE(nullptr, out);
    EXPECT_EQ(2, out->GetIntValue());
    EXPECT_EQ(0, CountingData::deleted) << "case handed over";
    delete out;
    EXPECT_EQ(1, CountingData::deleted) << "case deleted by the caller";
    BPlusNode::DeleteTree(root);
}

// Emptying a tree leaves a fresh root that Add grows again, for every M.
TEST(BPlusNodeRemove, EmptiedTreeGrowsAgain)
{
    for (int m = 3; m <= 32; ++m) {
        TreeDriver driver(m, KeyKind::Integer);
        for (int k = 0; k < 200; ++k) {
            driver.add(k * 7 % 200);
        }
        for (int k = 0; k < 200; ++k) {
            driver.remove(k * 13 % 200, false);
        }
        EXPECT_EQ("I[]", Shape(driver.root())) << "case M = " << m;
        EXPECT_EQ("", driver.add(5)) << "case M = " << m;
        EXPECT_EQ("", driver.check(true)) << "case M = " << m;
        EXPECT_EQ("", driver.finish()) << "case M = " << m;
    }
}

TEST(BPlusNodeBulk, ShapesAndRefusals)
{
    struct Case {
        int count;
        char const* shape;
    } const cases[] = {
        {1, "I[](L[1])"},
        {2, "I[](L[1, 2])"},
        {3, "I[2](L[1, 2], L[3])"},
        {5, "I[2, 4](L[1, 2], L[3, 4], L[5])"},
        {7, "I[4](I[2](L[1, 2], L[3, 4]), I[6](L[5, 6], L[7]))"},
    };
    for (Case const& c : cases) {
        std::vector<BPlusKey*> keys;
        for (int k = 1; k <= c.count; ++k) {
            keys.push_back(I(k));
        }
        BPlusNode* root = new BPlusNode();
        EXPECT_EQ(root, root->BuildFromSorted(keys.data(), c.count));
        EXPECT_EQ(c.shape, Shape(root)) << "case " << c.count << " keys";
        EXPECT_EQ("", Problems(root)) << "case " << c.count << " keys";
        BPlusNode::DeleteTree(root);
    }

    BPlusNode* root = new BPlusNode();
    Key a(I(1)), b(I(1)), c(I(2));
    BPlusKey* twice[] = {a.get(), b.get()};
    BPlusKey* withNull[] = {a.get(), nullptr};
    BPlusKey* falling[] = {c.get(), a.get()};
    EXPECT_EQ(root, root->BuildFromSorted(twice, 2));
    EXPECT_EQ(root, root->BuildFromSorted(withNull, 2));
    EXPECT_EQ(root, root->BuildFromSorted(falling, 2));
    EXPECT_EQ(root, root->BuildFromSorted(falling, -1));
    EXPECT_EQ("I[]", Shape(root)) << "case refused loads took nothing";
    BPlusNode::DeleteTree(root);
}

TEST(BPlusCursor, EmptyTreeAndEnds)
{
    BPlusNode* root = new BPlusNode();
    BPlusCursor empty(root);
    EXPECT_FALSE(empty.First());
    EXPECT_FALSE(empty.Last());
    EXPECT_EQ(nullptr, empty.Key());
    BPlusNode::DeleteTree(root);

    root = Grow({10, 20, 30});  // bounded-form root: beyond 30 has no leaf
    BPlusCursor cursor(root);
    Key above(I(31)), between(I(15));
    EXPECT_FALSE(cursor.Seek(above.get()));
    EXPECT_FALSE(cursor.Seek(nullptr));
    EXPECT_TRUE(cursor.Seek(between.get()));
    EXPECT_EQ(20, cursor.Key()->GetIntValue());
    EXPECT_TRUE(cursor.Last());
    EXPECT_FALSE(cursor.Next());
    EXPECT_FALSE(cursor.Prev()) << "case stays off the end";
    BPlusNode::DeleteTree(root);
}

// Each damage is reported by a line naming it, and undone before the tree is
// released.
TEST(BPlusNodeVerify, ReportsDamage)
{
    BPlusNode* root = Grow({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    EXPECT_EQ("", Problems(root)) << "case undamaged";
    BPlusNode* pair = root->GetFirstLeaf();
    while (pair->GetKeyCount() < 2) {
        pair = pair->GetNextLeaf();
    }
    BPlusKey** keys = pair->*Fields::kKeys;

    std::swap(keys[0], keys[1]);
    EXPECT_NE(std::string::npos, Problems(root).find("keys not ascending")) << "case swapped";
    std::swap(keys[0], keys[1]);

    BPlusNode* next = pair->*Fields::kNextLeaf;
    pair->*Fields::kNextLeaf = nullptr;
    EXPECT_NE(std::string::npos, Problems(root).find("leaf link")) << "case chain cut";
    pair->*Fields::kNextLeaf = next;

    pair->*Fields::kKeyCount += 1;
    EXPECT_NE(std::string::npos, Problems(root).find("counts out of range")) << "case count";
    pair->*Fields::kKeyCount -= 1;

    // A shared separator must be the last key of the leaf it bounds; the
    // first key in its place breaks the rule DeleteTree relies on.
    BPlusKey** slot = nullptr;
    BPlusNode* bounded = nullptr;
    std::function<void(BPlusNode*)> find = [&](BPlusNode* node) {
        for (int i = 0; i < node->GetKeyCount() && !node->IsLeafNode(); ++i) {
            BPlusNode* leaf = (node->*Fields::kPointers)[i]->GetLastLeaf();
            if (slot == nullptr && leaf->GetKeyCount() == 2 && leaf->GetKey(1) == node->GetKey(i)) {
                slot = &(node->*Fields::kKeys)[i];
                bounded = leaf;
            }
            find((node->*Fields::kPointers)[i]);
        }
    };
    find(root);
    ASSERT_NE(nullptr, slot);
    *slot = bounded->GetKey(0);
    EXPECT_NE(std::string::npos, Problems(root).find("does not end")) << "case sharing";
    *slot = bounded->GetKey(1);
    EXPECT_EQ("", Problems(root)) << "case repaired";
    BPlusNode::DeleteTree(root);
}

// Interleaved Add, Remove, Search, cursor walks and bulk loads against the
// model, with the whole tree checked after every step, for every capacity.
TEST(BPlusTreeModel, RandomOperationsForEveryCapacity)
{
    for (int m = 3; m <= 32; ++m) {
        for (int kind = 0; kind < treemodel::kKeyKinds; ++kind) {
            std::mt19937 random(static_cast<unsigned>(m * 31 + kind));
            TreeDriver driver(m, static_cast<KeyKind>(kind));
            const int steps = kind == 0 ? 1500 : 300;
            std::string problem;
            for (int i = 0; i < steps && problem.empty(); ++i) {
                const int value = static_cast<int>(random() % 600) - 300;
                problem = treemodel::step(driver, random(), value, random());
                if (problem.empty()) {
                    problem = driver.check(i % 64 == 0);
                }
                EXPECT_EQ("", problem) << "case M = " << m << ", kind " << kind << ", step " << i;
            }
            EXPECT_EQ("", driver.finish()) << "case M = " << m << ", kind " << kind;
        }
    }
}

}  // namespace
