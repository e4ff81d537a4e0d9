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
#include <utility>
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
    using BPlusNode::m_pKeys;
    using BPlusNode::m_pPointers;
    static constexpr int BPlusNode::*kKeyCount = &Fields::m_nKeyCount;
    static constexpr int BPlusNode::*kPointerCount = &Fields::m_nPointerCount;
    static constexpr BPlusNode** BPlusNode::*kPointers = &Fields::m_pPointers;
    static constexpr BPlusNode* BPlusNode::*kNextLeaf = &Fields::m_pNextLeaf;
    static constexpr BPlusNode* BPlusNode::*kPrevLeaf = &Fields::m_pPrevLeaf;
};

// Slot i of one of node's arrays (Fields::m_pKeys or Fields::m_pPointers).
template <typename T>
T*& at(BPlusNode* node, T** BPlusNode::*array, int i)
{
    return (node->*array)[i];
}

BPlusNode* child(BPlusNode* node, int i)
{
    return at(node, &Fields::m_pPointers, i);
}

// Puts value into place and returns what puts the old value back.
template <typename T, typename V>
std::function<void()> swapped(T& place, V value)
{
    T old = place;
    place = value;
    return [&place, old] { place = old; };
}

// Gives leaf key slot i the integer value, returning the repair.
std::function<void()> revalued(BPlusNode* leaf, int i, int value)
{
    BPlusKey* key = leaf->GetKey(i);
    const int old = key->GetIntValue();
    key->SetKey(value);
    return [key, old] { key->SetKey(old); };
}

std::string hex(void const* p)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08x", unsigned(uintptr_t(p)));
    return text;
}

// One VerifyTree line about a node (or, with what "key", a key object).
std::string line(void const* object, std::string const& text, char const* what = "node")
{
    return std::string(what) + " " + hex(object) + ": " + text + "\n";
}

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
    EXPECT_EQ(invalid.GetFirstLeaf(), nullptr);
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
    BPlusNode* emptyLeaf = new BPlusNode();
    emptyLeaf->SetLeafNode(true);
    BPlusNode::DeleteTree(emptyLeaf);  // ASan: no read before its first slot
}

// A separator above every bound of a bounded-form node goes last, with its
// child after the last child; the node then has as many keys as pointers,
// so it drops that last bound (the caller's key, not destroyed) and is in
// open form.
TEST(BPlusNodeMisuse, InsertIndexAboveEveryBoundOfABoundedNode)
{
    BPlusNode* root = grow({1});
    BPlusNode* leaf = root->New();
    leaf->SetLeafNode(true);
    Key five(I(5));
    EXPECT_TRUE(root->InsertIndex(five.get(), leaf));
    EXPECT_EQ(shape(root), "I[1](L[1], L[])");
    EXPECT_EQ(treemodel::checkHints(root), "") << "the new last child's hint";
    BPlusNode::DeleteTree(root);
}

// A node whose New() makes smaller nodes cannot take the upper half of a
// split: Split refuses and changes nothing.
TEST(BPlusNodeMisuse, SplitRefusesASiblingOfSmallerCapacity)
{
    struct ShrinkingNode : BPlusNode {
        ShrinkingNode() : BPlusNode(88, 12, 1.0f) {}  // M = 4
        BPlusNode* New() override
        {
            return new BPlusNode();  // M = 3
        }
    } leaf;
    leaf.SetLeafNode(true);
    for (int k : {1, 2, 3}) {
        EXPECT_TRUE(leaf.InsertLeaf(I(k))) << k;
    }
    Key four(I(4));
    EXPECT_EQ(leaf.Split(four.get(), nullptr, nullptr), nullptr);
    EXPECT_EQ(shape(&leaf), "L[1, 2, 3]");
}

// A hand-made open-form node whose last child is missing has no place for
// keys above its bound: the descent ends (it must not loop) with NULL.
// Only a hand-made tree has an empty leaf beside full ones; the cursor walks
// past it from either end.
TEST(BPlusNodeMisuse, CursorSkipsEmptyLeavesAtTheEnds)
{
    BPlusNode* root = grow({1});
    BPlusNode* const full = root->GetFirstLeaf();
    BPlusNode* const empty = root->New();
    empty->SetLeafNode(true);
    BPlusNode* const first = std::exchange(at(root, &Fields::m_pPointers, 0), empty);
    empty->*Fields::kNextLeaf = full;
    BPlusCursor fromFirst(root);
    EXPECT_TRUE(fromFirst.First()) << "an empty first leaf";
    EXPECT_EQ(fromFirst.Key(), full->GetKey(0)) << "an empty first leaf";
    at(root, &Fields::m_pPointers, 0) = first;
    delete empty;

    Key five(I(5));
    BPlusNode* const last = root->New();
    last->SetLeafNode(true);
    ASSERT_TRUE(root->InsertIndex(five.get(), last));  // I[1](L[1], L[])
    last->*Fields::kPrevLeaf = full;                   // linked back only
    BPlusCursor fromLast(root);
    EXPECT_TRUE(fromLast.Last()) << "an empty last leaf";
    EXPECT_EQ(fromLast.Key(), full->GetKey(0)) << "an empty last leaf";
    BPlusNode::DeleteTree(root);
}

// A hand-made tree with an index node in bounded form below the root,
// I[5](I[2](L[1, 2]), I[](L[6, 7])): a key beyond that node's last bound
// but below the root's next one goes on with the root's next child.
TEST(BPlusNodeMisuse, DescentGoesOnPastABoundedNodeBelowTheRoot)
{
    BPlusNode* root = new BPlusNode();
    BPlusNode* const low = root->New();
    BPlusNode* const high = root->New();
    BPlusNode* const lowLeaf = root->New();
    BPlusNode* const highLeaf = root->New();
    lowLeaf->SetLeafNode(true);
    highLeaf->SetLeafNode(true);
    for (BPlusKey* key : {I(1), I(2)}) {
        ASSERT_TRUE(lowLeaf->InsertLeaf(key));
    }
    for (BPlusKey* key : {I(6), I(7)}) {
        ASSERT_TRUE(highLeaf->InsertLeaf(key));
    }
    lowLeaf->*Fields::kNextLeaf = highLeaf;
    highLeaf->*Fields::kPrevLeaf = lowLeaf;
    // Index keys set by hand: their key blocks keep no summaries, so the
    // descent compares the keys themselves.
    at(low, &Fields::m_pKeys, 0) = I(2);  // bounded: one key, one child
    at(low, &Fields::m_pPointers, 0) = lowLeaf;
    low->*Fields::kKeyCount = 1;
    low->*Fields::kPointerCount = 1;
    at(high, &Fields::m_pPointers, 0) = highLeaf;  // open: no key, one child
    high->*Fields::kPointerCount = 1;
    at(root, &Fields::m_pKeys, 0) = I(5);
    at(root, &Fields::m_pPointers, 0) = low;
    at(root, &Fields::m_pPointers, 1) = high;
    root->*Fields::kKeyCount = 1;
    root->*Fields::kPointerCount = 2;
    ASSERT_EQ(shape(root), "I[5](I[2](L[1, 2]), I[](L[6, 7]))");

    Key three(I(3)), six(I(6));
    EXPECT_EQ(root->Search(three.get(), nullptr), highLeaf) << "3 lies beyond I[2]";
    EXPECT_EQ(root->Search(six.get()), highLeaf->GetKey(0));
    BPlusNode::DeleteTree(root);
}

TEST(BPlusNodeMisuse, MissingLastChildEndsTheDescent)
{
    BPlusNode* root = grow({1});
    BPlusNode** children = root->*Fields::kPointers;
    ASSERT_EQ(root->GetKeyCount(), 1);
    root->*Fields::kPointerCount = 2;  // open form, child 1 missing
    Key two(I(2)), one(I(1));
    EXPECT_EQ(root->Search(two.get(), nullptr), nullptr);
    EXPECT_EQ(root->Search(one.get()), root->GetFirstLeaf()->GetKey(0));
    root->*Fields::kPointerCount = 1;
    EXPECT_EQ(children[1], nullptr);
    BPlusNode::DeleteTree(root);
}

// A hand-made chain of index nodes, each with one child, above the leaf of a
// sound tree: the descent follows at most 64 index levels, and a deeper way
// finds nothing instead of running past its bookkeeping or for ever.
TEST(BPlusNodeMisuse, WaysDeeperThan64IndexLevelsFindNothing)
{
    BPlusNode* tree = grow({1});
    BPlusNode* const leaf = tree->GetFirstLeaf();
    std::vector<std::unique_ptr<BPlusNode>> chain;
    for (int levels = 1; levels <= 65; ++levels) {
        chain.emplace_back(new BPlusNode());
        at(chain.back().get(), &Fields::m_pPointers, 0) =
            levels == 1 ? leaf : chain[size_t(levels) - 2].get();
        chain.back().get()->*Fields::kPointerCount = 1;
    }
    Key one(I(1));
    for (int levels : {63, 64, 65}) {
        BPlusNode* const top = chain[size_t(levels) - 1].get();
        const bool reachable = levels <= 64;
        EXPECT_EQ(top->Search(one.get(), nullptr), reachable ? leaf : nullptr)
            << levels << " index levels";
        EXPECT_EQ(top->Search(one.get()), reachable ? leaf->GetKey(0) : nullptr)
            << levels << " index levels";
    }
    BPlusNode::DeleteTree(tree);  // the chain's nodes leave their children alive

    // A full root whose last child is itself: a way without end.
    BPlusNode* root = grow({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    ASSERT_TRUE(root->IsFull());
    Key beyond(I(100));
    BPlusNode* const last = std::exchange(at(root, &Fields::m_pPointers, 2), root);
    EXPECT_EQ(root->FindNode(beyond.get()), nullptr) << "FindNode on a cycle";
    at(root, &Fields::m_pPointers, 2) = last;
    BPlusNode::DeleteTree(root);
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
    EXPECT_FALSE(leaf.InsertIndex(probe.get(), &empty)) << "InsertIndex on a leaf";
    EXPECT_EQ(leaf.GetKeyCount(), 0) << "InsertIndex on a leaf";
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

// Adds beyond the bounds of a root that has not split give leaves of one
// key, below half full at M = 8: a legal state that the removal of a key
// that is not there must leave as it is.
TEST(BPlusNodeRemove, AbsentKeyLeavesUnderfullLeavesAlone)
{
    BPlusNode* root = treemodel::newRoot(8);
    for (int k : {1, 2, 3}) {
        root = root->Add(I(k), false);
    }
    const std::string before = shape(root);
    Key absent(I(0));
    EXPECT_EQ(root->Remove(absent.get(), nullptr), root);
    EXPECT_EQ(shape(root), before);
    BPlusNode::DeleteTree(root);
}

// Unsorted loads are refused in the tree fuzzer.
TEST(BPlusNodeBulk, RefusesDuplicateNullNegativeAndLeafLoads)
{
    BPlusNode* root = new BPlusNode();
    Key a(I(1)), b(I(1));
    BPlusKey* twice[] = {a.get(), b.get()};
    BPlusKey* withNull[] = {a.get(), nullptr};
    EXPECT_EQ(root->BuildFromSorted(twice, 2), root) << "duplicate";
    EXPECT_EQ(root->BuildFromSorted(withNull, 2), root) << "NULL key";
    EXPECT_EQ(root->BuildFromSorted(twice, -1), root) << "negative count";
    BPlusNode leaf;
    leaf.SetLeafNode(true);
    EXPECT_EQ(leaf.BuildFromSorted(twice, 1), &leaf) << "a leaf";
    EXPECT_EQ(leaf.GetKeyCount(), 0) << "a leaf";
    EXPECT_EQ(leaf.*Fields::kPointerCount, 0) << "a leaf";
    EXPECT_EQ(shape(root), "I[]") << "refused loads took nothing";
    BPlusNode::DeleteTree(root);
}

// Every line VerifyTree can write, each made by one damage to the sound tree
// I[2, 6](I[1](L[1], L[2]), I[4](L[3, 4], L[5, 6]), I[8, 10](L[7, 8], L[9, 10], L[11]))
// and expected in full, node address and numbers included. Each damage
// returns its repair; the tree must be sound again after it.
TEST(VerifyTreeDamage, EveryReportLineHasItsDamage)
{
    BPlusNode* root = grow({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11});
    ASSERT_EQ(shape(root),
              "I[2, 6](I[1](L[1], L[2]), I[4](L[3, 4], L[5, 6]), "
              "I[8, 10](L[7, 8], L[9, 10], L[11]))");
    BPlusNode* const a = child(root, 0);
    BPlusNode* const b = child(root, 1);
    BPlusNode* const c = child(root, 2);
    BPlusNode* const l1 = a->GetFirstLeaf();
    BPlusNode* const l2 = l1->GetNextLeaf();
    BPlusNode* const l3 = l2->GetNextLeaf();
    BPlusNode* const l4 = l3->GetNextLeaf();
    BPlusNode* const l5 = l4->GetNextLeaf();
    BPlusNode* const l6 = l5->GetNextLeaf();
    BPlusNode* const l7 = l6->GetNextLeaf();
    BPlusNode invalid(66, 21, 1.0f);
    BPlusNode otherCapacity(88, 12, 1.0f);
    otherCapacity.SetLeafNode(true);
    std::vector<std::unique_ptr<BPlusNode>> chain;  // 70 index nodes above L[1]
    for (int i = 0; i < 70; ++i) {
        chain.emplace_back(new BPlusNode());
        at(chain.back().get(), &Fields::m_pPointers, 0) = i == 0 ? l1 : chain[size_t(i) - 1].get();
        chain.back().get()->*Fields::kPointerCount = 1;
    }
    using Repair = std::function<void()>;
    struct {
        std::string line;
        std::function<Repair()> damage;
    } const damages[] = {
        // chain[69] is at depth 2, so chain[6] is the first node below depth 64.
        {line(chain[6].get(), "deeper than 64 levels"),
         [&] { return swapped(at(a, &Fields::m_pPointers, 0), chain.back().get()); }},
        {line(l6, "reached twice"), [&] { return swapped(at(c, &Fields::m_pPointers, 2), l6); }},
        {line(&invalid, "not a valid node"),
         [&] {
             // Keys it claims but has no array for: nothing may look further.
             Repair count = swapped(invalid.*Fields::kKeyCount, 1);
             Repair child = swapped(at(a, &Fields::m_pPointers, 0), &invalid);
             return [=] {
                 child();
                 count();
             };
         }},
        {line(l3, "not a valid node"), [&] { return swapped(l3->*(&Fields::m_pKeys), nullptr); }},
        {line(b, "not a valid node"), [&] { return swapped(b->*Fields::kPointers, nullptr); }},
        {line(&otherCapacity, "capacity 4 differs from 3"),
         [&] { return swapped(at(a, &Fields::m_pPointers, 0), &otherCapacity); }},
        {line(l3, "counts out of range: 3 keys, 0 pointers"),
         [&] { return swapped(l3->*Fields::kKeyCount, 3); }},
        {line(l3, "counts out of range: -1 keys, 0 pointers"),
         [&] { return swapped(l3->*Fields::kKeyCount, -1); }},
        {line(l3, "counts out of range: 2 keys, 1 pointers"),
         [&] { return swapped(l3->*Fields::kPointerCount, 1); }},
        {line(a, "counts out of range: 1 keys, -1 pointers"),
         [&] { return swapped(a->*Fields::kPointerCount, -1); }},
        {line(a, "counts out of range: 1 keys, 4 pointers"),
         [&] { return swapped(a->*Fields::kPointerCount, 4); }},
        {line(l3, "key slot 1 NULL"),
         [&] { return swapped(at(l3, &Fields::m_pKeys, 1), nullptr); }},
        {line(l7, "key slot 1 not NULL"),
         [&] { return swapped(at(l7, &Fields::m_pKeys, 1), l6->GetKey(0)); }},
        {line(a, "pointer slot 1 NULL"),
         [&] { return swapped(at(a, &Fields::m_pPointers, 1), nullptr); }},
        {line(l3, "pointer slot 0 not NULL"),
         [&] { return swapped(at(l3, &Fields::m_pPointers, 0), l1); }},
        {line(b, "pointer slot 2 not NULL"),
         [&] { return swapped(at(b, &Fields::m_pPointers, 2), l1); }},
        {line(root, "2 keys with 1 pointers"),
         [&] {
             Repair first = swapped(at(root, &Fields::m_pPointers, 2), nullptr);
             Repair second = swapped(at(root, &Fields::m_pPointers, 1), nullptr);
             Repair count = swapped(root->*Fields::kPointerCount, 1);
             return [=] {
                 count();
                 second();
                 first();
             };
         }},
        {line(b, "not in open form: 1 keys with 1 pointers"),
         [&] {
             Repair slot = swapped(at(b, &Fields::m_pPointers, 1), nullptr);
             Repair count = swapped(b->*Fields::kPointerCount, 1);
             return [=] {
                 count();
                 slot();
             };
         }},
        {line(a, "below half full: 1 pointers"),
         [&] {
             Repair key = swapped(at(a, &Fields::m_pKeys, 0), nullptr);
             Repair keys = swapped(a->*Fields::kKeyCount, 0);
             Repair slot = swapped(at(a, &Fields::m_pPointers, 1), nullptr);
             Repair pointers = swapped(a->*Fields::kPointerCount, 1);
             return [=] {
                 pointers();
                 slot();
                 keys();
                 key();
             };
         }},
        {line(l3, "keys not ascending at slot 1"),
         [&] {
             std::swap(at(l3, &Fields::m_pKeys, 0), at(l3, &Fields::m_pKeys, 1));
             return [=] { std::swap(at(l3, &Fields::m_pKeys, 0), at(l3, &Fields::m_pKeys, 1)); };
         }},
        {line(l3, "key slot 0 not above the lower bound"), [&] { return revalued(l3, 0, 2); }},
        {line(l3, "keys not ascending at slot 1"), [&] { return revalued(l3, 0, 4); }},  // equal
        {line(l5, "key slot 0 above the bound"), [&] { return revalued(l5, 0, 9); }},
        {line(l7, "leaf at depth 1, others at 2"),
         [&] { return swapped(at(root, &Fields::m_pPointers, 2), l7); }},
        {line(l7, "empty leaf"),
         [&] {
             Repair key = swapped(at(l7, &Fields::m_pKeys, 0), nullptr);
             Repair count = swapped(l7->*Fields::kKeyCount, 0);
             return [=] {
                 count();
                 key();
             };
         }},
        {line(l3, "previous leaf link 0x00000000, expected " + hex(l2)),
         [&] { return swapped(l3->*Fields::kPrevLeaf, nullptr); }},
        {line(l3, "next leaf link 0x00000000, expected " + hex(l4)),
         [&] { return swapped(l3->*Fields::kNextLeaf, nullptr); }},
        {line(l7, "last leaf links on to " + hex(l1)),
         [&] { return swapped(l7->*Fields::kNextLeaf, l1); }},
        {line(a, "index node in the leaf chain"),
         [&] { return swapped(a->*Fields::kNextLeaf, l1); }},
        {line(l6->GetKey(1), "key object held by two leaf slots", "key"),
         [&] { return swapped(at(l7, &Fields::m_pKeys, 0), l6->GetKey(1)); }},
        {line(root->GetKey(1), "key object held by two index slots", "key"),
         [&] { return swapped(at(c, &Fields::m_pKeys, 0), root->GetKey(1)); }},
        // A key changed in place: its order still fits, its summary does not.
        {line(l1, "key slot 0 summary out of step"), [&] { return revalued(l1, 0, 0); }},
        {line(l3->GetKey(0), "index key also held by a leaf that it does not end", "key"),
         [&] { return swapped(at(b, &Fields::m_pKeys, 0), l3->GetKey(0)); }},
    };
    ASSERT_EQ(Problems(root), "") << "undamaged";
    for (auto const& d : damages) {
        Repair repair = d.damage();
        EXPECT_NE(Problems(root).find(d.line), std::string::npos)
            << "expected: " << d.line << "got:\n"
            << Problems(root);
        repair();
        ASSERT_EQ(Problems(root), "") << "repaired: " << d.line;
    }
    BPlusNode::DeleteTree(root);
}

}  // namespace
