// Tests of BPlusNode: capacity, the worked tree shapes of adds, removals and
// bulk loads, duplicates, the descent, printing, nodes that are not valid or
// are misused and VerifyTree on damaged trees. Random operations on trees of
// every capacity and key kind run against the tree model in the tree fuzzer,
// which ctest runs too (fuzz.FuzzBPlusTree).
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "btree/BPlusCursor.h"
#include "btree/BPlusNode.h"
#include "btree/KeyTestSupport.h"
#include "containers/Stacks.h"

namespace {

using treemodel::KeyKind;
using treemodel::TreeDriver;

// The protected fields the damage tests reach into.
struct Fields : BPlusNode {
    static constexpr int BPlusNode::*kKeyCount = &Fields::m_nKeyCount;
    static constexpr BPlusKey** BPlusNode::*kKeys = &Fields::m_pKeys;
    static constexpr BPlusNode* BPlusNode::*kNextLeaf = &Fields::m_pNextLeaf;
};

std::string Problems(BPlusNode* root)
{
    CStringBuffer problems;
    root->VerifyTree(problems);
    return str(problems);
}

TEST(BPlusNodeCapacity, FloatingPointStepsDecideM)
{
    struct {
        int block, key, m;
    } const cases[] = {{66, 21, 2},        {88, 12, 4},    {26, 1, 3},         {8192, 255, 32},
                       {1 << 30, 255, 32}, {100, 10, 6},   {2048, 0, INT_MIN}, {0, 768, 0},
                       {-100, 10, -5},     {100, -10, -45}};
    for (auto const& c : cases) {
        BPlusNode node(c.block, c.key, 1.0f);
        std::unique_ptr<BPlusNode> made(node.New());
        EXPECT_EQ(node.GetMaxPointers(), c.m) << c.block << "/" << c.key;
        EXPECT_EQ(node.IsValid(), c.m > 2) << c.block << "/" << c.key;
        EXPECT_EQ(made != nullptr, c.m > 2) << c.block << "/" << c.key;
    }
}

// A tree of capacity m bulk loaded with the keys 1 to bulk (keeping its root),
// keys added one by one, then one key removed (0: none) must have the shape
// shown and match the model. The removals take separators (2, 4) and keys
// whose bound is a clone.
TEST(BPlusNodeShapes, WorkedExamplesOfAddsRemovalsAndBulkLoads)
{
    struct {
        int m, bulk;
        std::vector<int> added;
        int removed;
        char const* shape;
    } const cases[] = {
        {3, 0, {1}, 0, "I[1](L[1])"},
        {3, 0, {1, 2}, 0, "I[1, 2](L[1], L[2])"},
        {3, 0, {1, 2, 3}, 0, "I[1, 2](L[1], L[2], L[3])"},
        {3, 0, {1, 2, 3, 4}, 0, "I[1, 2](L[1], L[2], L[3, 4])"},
        {3, 0, {1, 2, 3, 4, 5}, 0, "I[2](I[1](L[1], L[2]), I[4](L[3, 4], L[5]))"},
        {3, 0, {1, 2, 3, 4, 5, 6}, 0, "I[2](I[1](L[1], L[2]), I[4](L[3, 4], L[5, 6]))"},
        {3, 0, {1, 2, 3, 4, 5, 6, 7}, 0, "I[2](I[1](L[1], L[2]), I[4, 6](L[3, 4], L[5, 6], L[7]))"},
        {3, 0, {5}, 0, "I[5](L[5])"},
        {3, 0, {5, 3}, 0, "I[5](L[3, 5])"},
        {3, 0, {5, 3, 1}, 0, "I[3](L[1, 3], L[5])"},
        {3, 0, {10, 20, 30, 25}, 0, "I[10, 20](L[10], L[20], L[25, 30])"},
        {4, 0, {1, 2, 3, 4, 5, 6}, 0, "I[1, 2, 3](L[1], L[2], L[3], L[4, 5, 6])"},
        {4, 0, {1, 2, 3, 4, 5, 6, 7}, 0, "I[2](I[1](L[1], L[2]), I[3, 5](L[3], L[4, 5], L[6, 7]))"},
        {5, 0, {1, 2, 3, 4, 5, 6, 7, 8}, 0, "I[1, 2, 3, 4](L[1], L[2], L[3], L[4], L[5, 6, 7, 8])"},
        {5,
         0,
         {1, 2, 3, 4, 5, 6, 7, 8, 9},
         0,
         "I[3](I[1, 2](L[1], L[2], L[3]), I[4, 7](L[4], L[5, 6, 7], L[8, 9]))"},
        {3, 0, {1}, 1, "I[]"},
        {3, 0, {1, 2}, 2, "I[2](L[1])"},
        {3, 0, {1, 2}, 1, "I[2](L[2])"},
        {3, 0, {5, 3, 1}, 3, "I[1](L[1], L[5])"},
        {3, 0, {5, 3, 1}, 5, "I[](L[1, 3])"},
        {3, 0, {1, 2, 3, 4, 5}, 2, "I[2, 4](L[1], L[3, 4], L[5])"},
        {3, 0, {1, 2, 3, 4, 5}, 4, "I[2](I[1](L[1], L[2]), I[3](L[3], L[5]))"},
        {3, 0, {1, 2, 3, 4, 5}, 5, "I[1, 2](L[1], L[2], L[3, 4])"},
        {3, 0, {1, 2, 3, 4, 5, 6, 7}, 1, "I[4](I[2](L[2], L[3, 4]), I[6](L[5, 6], L[7]))"},
        {3, 1, {}, 0, "I[](L[1])"},
        {3, 2, {}, 0, "I[](L[1, 2])"},
        {3, 3, {}, 0, "I[2](L[1, 2], L[3])"},
        {3, 5, {}, 0, "I[2, 4](L[1, 2], L[3, 4], L[5])"},
        {3, 7, {}, 0, "I[4](I[2](L[1, 2], L[3, 4]), I[6](L[5, 6], L[7]))"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - cases << ": " << c.shape);
        TreeDriver tree(c.m, KeyKind::Integer);
        BPlusNode* const root = tree.root;
        EXPECT_EQ(tree.bulk(1, c.bulk, 1, false), "");
        EXPECT_EQ(tree.root, root) << "a bulk load keeps the root";
        for (int k : c.added) {
            EXPECT_EQ(tree.add(k), "");
        }
        EXPECT_EQ(c.removed != 0 ? tree.remove(c.removed, false) : "", "");
        EXPECT_EQ(shape(tree.root), c.shape);
        EXPECT_EQ(tree.check(true), "");
    }
}

// A full leaf of every capacity: inserts are refused, a split keeps the
// larger half on the left and links the new leaf into the chain.
TEST(BPlusNodeShapes, FullLeafRefusesInsertsAndSplitsInHalves)
{
    for (int m : {3, 4, 5, 32}) {
        BPlusNode* leaf = treemodel::newRoot(m);
        BPlusKey* extra = I(3);
        leaf->SetLeafNode(true);
        EXPECT_EQ(leaf->Split(extra, nullptr, nullptr), nullptr) << "M " << m << ", not full";
        for (int i = 0; i < m - 1; ++i) {
            EXPECT_TRUE(leaf->InsertLeaf(I(2 * (m - 1 - i)))) << "M " << m << ", key " << i;
        }
        EXPECT_TRUE(leaf->IsFull()) << "M " << m;
        EXPECT_FALSE(leaf->InsertLeaf(extra)) << "M " << m;
        EXPECT_FALSE(leaf->InsertIndex(extra, leaf)) << "M " << m;
        EXPECT_EQ(leaf->Split(nullptr, nullptr, nullptr), nullptr) << "M " << m << ", NULL key";
        BPlusNode* right = leaf->Split(extra, nullptr, nullptr);
        EXPECT_EQ(leaf->GetKeyCount(), m / 2 + m % 2) << "M " << m;
        EXPECT_EQ(right->GetKeyCount(), m / 2) << "M " << m;
        EXPECT_EQ(leaf->GetKey(1), extra) << "M " << m;
        EXPECT_EQ(right->GetKey(m / 2 - 1)->GetIntValue(), 2 * m - 2) << "M " << m;
        EXPECT_EQ(leaf->GetNextLeaf(), right) << "M " << m;
        EXPECT_EQ(right->GetPrevLeaf(), leaf) << "M " << m;
        delete leaf;
        delete right;
    }
}

// A duplicate is refused; with replace it hands its data to the stored key
// (whose old data is released) and the tree is otherwise unchanged.
TEST(BPlusNodeAdd, DuplicateKeepsTheStoredKeyAndReplaceMovesData)
{
    CountingData old(false), incoming(false);  // they stay alive
    BPlusKey *stored = I(2), *twin = I(2);
    stored->SetData(&old);
    twin->SetData(&incoming);
    BPlusNode* root = grow({1, 3})->Add(stored, false);
    std::string const before = printed(root);
    EXPECT_EQ(root->Add(twin, false), root);
    EXPECT_EQ(stored->GetData(), &old) << "refused";
    EXPECT_EQ(twin->GetData(), &incoming) << "refused";
    EXPECT_EQ(root->Add(twin, true), root);
    EXPECT_EQ(stored->GetData(), &incoming) << "replaced";
    EXPECT_EQ(twin->GetData(), nullptr) << "replaced";
    EXPECT_EQ(old.asked, 1);
    EXPECT_EQ(root->Add(stored, true), root) << "the stored key itself";
    EXPECT_EQ(stored->GetData(), &incoming) << "the stored key itself";
    EXPECT_EQ(root->Search(twin), stored);
    EXPECT_EQ(printed(root), before);
    delete twin;
    BPlusNode::DeleteTree(root);
    EXPECT_EQ(incoming.asked, 1);
}

TEST(BPlusNodeSearch, DescentPathEndsAtTheLeafAndTiesGoLeft)
{
    BPlusNode* root = new BPlusNode();
    CPtrStack path;
    Key probe(I(4));
    EXPECT_EQ(root->Search(probe.get(), &path), nullptr);
    EXPECT_EQ(path.size(), 1) << "empty tree";
    EXPECT_EQ(path.pop(), root) << "empty tree";
    BPlusNode::DeleteTree(root);
    root = grow({1, 2, 3, 4, 5});
    EXPECT_EQ(shape(root->Search(probe.get(), &path)), "L[3, 4]");
    EXPECT_EQ(path.size(), 2);
    EXPECT_EQ(path.peek(0), root);
    EXPECT_EQ(shape(static_cast<BPlusNode*>(path.peek(1))), "I[4](L[3, 4], L[5])");
    probe->SetKey(2);
    EXPECT_EQ(shape(root->Search(probe.get(), nullptr)), "L[2]");
    BPlusNode::DeleteTree(root);
}

TEST(BPlusNodeInvalid, NodeWithMBelowThreeFindsStoresRemovesAndLoadsNothing)
{
    BPlusNode invalid(66, 21, 1.0f);
    CPtrStack path;
    Key probe(I(4));
    BPlusKey* keys[] = {probe.get()};
    CStringBuffer problems;
    EXPECT_EQ(invalid.Add(probe.get(), false), &invalid);
    EXPECT_EQ(invalid.Remove(probe.get(), nullptr), &invalid);
    EXPECT_EQ(invalid.BuildFromSorted(keys, 1), &invalid);
    EXPECT_EQ(invalid.FindNode(probe.get()), nullptr);
    EXPECT_EQ(invalid.Search(probe.get()), nullptr);
    EXPECT_EQ(invalid.Search(probe.get(), &path), nullptr);
    EXPECT_EQ(printed(&invalid).substr(22), "|--------------\n");
    EXPECT_FALSE(invalid.VerifyTree(problems));
    EXPECT_STREQ(std::strchr(problems.getBufferPointer(), ':') + 2, "not a valid node\n");
}

TEST(BPlusNodeMisuse, NullKeysAndPositionsOutOfRange)
{
    BPlusNode* root = new BPlusNode();
    CPtrStack path;
    EXPECT_EQ(root->Add(nullptr, false), root);
    root = root->Add(I(1), false);
    EXPECT_EQ(root->Search(nullptr), nullptr);
    EXPECT_EQ(root->Search(nullptr, &path), nullptr);
    EXPECT_EQ(path.size(), 0);
    EXPECT_EQ(root->FindNode(nullptr), nullptr);
    EXPECT_FALSE(BPlusCursor(root).Seek(nullptr));
    EXPECT_FALSE(root->InsertIndex(nullptr, nullptr));
    EXPECT_FALSE(root->GetFirstLeaf()->InsertLeaf(nullptr));
    EXPECT_EQ(root->GetKey(-1), nullptr);
    EXPECT_EQ(root->GetKey(2), nullptr);
    EXPECT_EQ(root->GetNextLeaf(), nullptr) << "not a leaf";
    EXPECT_EQ(root->GetPrevLeaf(), nullptr) << "not a leaf";
    BPlusNode::DeleteTree(root);
    BPlusNode::DeleteTree(nullptr);
}

TEST(BPlusNodeMisuse, WaysThatEndWithoutANode)
{
    BPlusNode empty;
    EXPECT_EQ(empty.GetFirstLeaf(), nullptr) << "index node without pointers";
    Key key(I(1));
    EXPECT_FALSE(empty.InsertLeaf(key.get())) << "InsertLeaf on an index node";
    EXPECT_EQ(empty.GetKeyCount(), 0) << "InsertLeaf on an index node";
    BPlusNode leaf;
    leaf.SetLeafNode(true);
    Key probe(I(4));
    EXPECT_EQ(leaf.FindNode(probe.get()), nullptr) << "FindNode from a leaf";
}

// The printed form of a tree holding the key 1.
class BPlusNodePrint : public testing::Test {
protected:
    void TearDown() override
    {
        BPlusNode::DeleteTree(root);
    }
    BPlusNode* root = grow({1});
    const unsigned leaf = unsigned(uintptr_t(root->GetFirstLeaf()));
    char expected[512];
    int length = std::snprintf(expected, sizeof expected,
                               "\n_IDX_NODE 0x%08x\n|--------------\n| ptr=0x%08x\n| key=1\n"
                               "|--------------\n\n  _DAT_NODE 0x%08x\n  |--------------\n"
                               "  | key=1\n  |--------------\n",
                               unsigned(uintptr_t(root)), leaf, leaf);
};

TEST_F(BPlusNodePrint, FormatAtLevelZero)
{
    EXPECT_EQ(printed(root, 0), expected);
    EXPECT_EQ(printed(root, -7), expected) << "a negative level acts as 0";
}

TEST_F(BPlusNodePrint, LevelsIndentTwoSpacesUpTo4095)
{
    EXPECT_EQ(printed(root, 2).substr(0, 15), "\n    _IDX_NODE ");
    EXPECT_NE(printed(root, 2).find("\n      | key=1\n"), std::string::npos);
    EXPECT_EQ(printed(root, 5000), printed(root, 4095));
    EXPECT_EQ(printed(root, 4095).find(std::string(8191, ' ')), std::string::npos);
}

TEST_F(BPlusNodePrint, ToStream)
{
    testing::internal::CaptureStdout();
    root->PrintNode(stdout, 0);
    root->PrintNode(static_cast<FILE*>(nullptr), 0);  // no stream: nothing written
    root->GetKey(0)->PrintKey(static_cast<FILE*>(nullptr));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), expected);
}

// A slot within the key count that holds no key (only a damaged node has
// one) prints as "(null key)".
TEST(BPlusNodePrintDamaged, NullKeySlot)
{
    BPlusNode leaf;
    leaf.SetLeafNode(true);
    leaf.*Fields::kKeyCount = 1;
    EXPECT_NE(printed(&leaf).find("| key=(null key)\n"), std::string::npos);
    leaf.*Fields::kKeyCount = 0;
}

// That the tree is unchanged is checked by the tree fuzzer.
TEST(BPlusNodeRemove, AbsentOrNullKeyChangesNothing)
{
    BPlusNode* root = grow({1, 2, 3});
    Key absent(I(9));
    BPlusKey sentinel(BPlusKey::eIntegerKey);
    BPlusKey* out = &sentinel;
    EXPECT_EQ(root->Remove(absent.get(), &out), root);
    EXPECT_EQ(out, nullptr) << "the taken key is set to NULL";
    EXPECT_EQ(root->Remove(nullptr, &out), root);
    BPlusNode::DeleteTree(root);
}

// Unsorted loads are refused in the tree fuzzer.
TEST(BPlusNodeBulk, RefusesDuplicateNullAndNegativeLoads)
{
    BPlusNode* root = new BPlusNode();
    Key a(I(1)), b(I(1));
    BPlusKey* twice[] = {a.get(), b.get()};
    BPlusKey* withNull[] = {a.get(), nullptr};
    EXPECT_EQ(root->BuildFromSorted(twice, 2), root) << "duplicate";
    EXPECT_EQ(root->BuildFromSorted(withNull, 2), root) << "NULL key";
    EXPECT_EQ(root->BuildFromSorted(twice, -1), root) << "negative count";
    EXPECT_EQ(shape(root), "I[]") << "refused loads took nothing";
    BPlusNode::DeleteTree(root);
}

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

}  // namespace
