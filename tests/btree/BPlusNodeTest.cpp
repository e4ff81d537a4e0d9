// Tests of BPlusNode: capacity, the worked tree shapes, duplicates, the
// descent, printing, and nodes that are not valid or are misused. The
// randomized comparison with a model is in BPlusTreeRemoveTest.cpp.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "btree/BPlusCursor.h"
#include "btree/BPlusNode.h"
#include "btree/KeyTestSupport.h"
#include "containers/Stacks.h"
#include "models/TreeModel.h"

namespace {

// Adds keys one by one to a fresh capacity-3 root (or the given one),
// comparing the shape after each step (an empty shape: not compared).
void Grow(std::vector<int> const& keys, std::vector<std::string> const& shapes,
          BPlusNode* root = new BPlusNode())
{
    for (size_t i = 0; i < keys.size(); ++i) {
        root = root->Add(I(keys[i]), false);
        if (!shapes[i].empty()) {
            EXPECT_EQ(shape(root), shapes[i]) << "after adding " << keys[i];
        }
    }
    BPlusNode::DeleteTree(root);
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

TEST(BPlusNodeShapes, WorkedExamples)
{
    Grow({1, 2, 3, 4, 5, 6, 7},
         {"I[1](L[1])", "I[1, 2](L[1], L[2])", "I[1, 2](L[1], L[2], L[3])",
          "I[1, 2](L[1], L[2], L[3, 4])", "I[2](I[1](L[1], L[2]), I[4](L[3, 4], L[5]))",
          "I[2](I[1](L[1], L[2]), I[4](L[3, 4], L[5, 6]))",
          "I[2](I[1](L[1], L[2]), I[4, 6](L[3, 4], L[5, 6], L[7]))"});
    Grow({5, 3, 1}, {"I[5](L[5])", "I[5](L[3, 5])", "I[3](L[1, 3], L[5])"});
    Grow({10, 20, 30, 25}, {"", "", "", "I[10, 20](L[10], L[20], L[25, 30])"});
    Grow({1, 2, 3, 4, 5, 6, 7},
         {"", "", "", "", "", "I[1, 2, 3](L[1], L[2], L[3], L[4, 5, 6])",
          "I[2](I[1](L[1], L[2]), I[3, 5](L[3], L[4, 5], L[6, 7]))"},
         new BPlusNode(88, 12, 1.0f));
    Grow({1, 2, 3, 4, 5, 6, 7, 8, 9},
         {"", "", "", "", "", "", "", "I[1, 2, 3, 4](L[1], L[2], L[3], L[4], L[5, 6, 7, 8])",
          "I[3](I[1, 2](L[1], L[2], L[3]), I[4, 7](L[4], L[5, 6, 7], L[8, 9]))"},
         new BPlusNode(85, 10, 1.0f));
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
    CountingData old, incoming;  // answer false: they stay alive
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

TEST(BPlusNodeSearch, NodeThatIsNotValidFindsAndStoresNothing)
{
    BPlusNode invalid(66, 21, 1.0f);
    CPtrStack path;
    Key probe(I(4));
    EXPECT_EQ(invalid.Add(probe.get(), false), &invalid);
    EXPECT_EQ(invalid.FindNode(probe.get()), nullptr);
    EXPECT_EQ(invalid.Search(probe.get()), nullptr);
    EXPECT_EQ(invalid.Search(probe.get(), &path), nullptr);
    EXPECT_EQ(printed(&invalid).substr(22), "|--------------\n");
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
    char* data = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&data, &size);
    root->PrintNode(out, 0);
    std::fclose(out);
    root->PrintNode(static_cast<FILE*>(nullptr), 0);  // no stream: nothing written
    root->GetKey(0)->PrintKey(static_cast<FILE*>(nullptr));
    EXPECT_EQ(std::string(data, size), expected);
    std::free(data);
}

// A slot within the key count that holds no key (only a damaged node has
// one) prints as "(null key)".
struct Fields : BPlusNode {
    static constexpr int BPlusNode::*kKeyCount = &Fields::m_nKeyCount;
};

TEST(BPlusNodePrintDamaged, NullKeySlot)
{
    BPlusNode leaf;
    leaf.SetLeafNode(true);
    leaf.*Fields::kKeyCount = 1;
    EXPECT_NE(printed(&leaf).find("| key=(null key)\n"), std::string::npos);
    leaf.*Fields::kKeyCount = 0;
}

}  // namespace
