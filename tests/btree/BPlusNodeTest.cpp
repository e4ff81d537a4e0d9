// Tests of BPlusNode: capacity, the worked tree shapes, duplicates, the
// descent, printing, nodes that are not valid or are misused, and a
// randomized comparison with std::map.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "btree/BPlusNode.h"
#include "btree/KeyTestSupport.h"
#include "containers/Stacks.h"

namespace {

// Pointers to protected fields, usable on any node without a downcast.
struct Fields : BPlusNode {
    static constexpr int BPlusNode::*kPointerSize = &Fields::m_nPointerSize;
    static constexpr int BPlusNode::*kKeyCount = &Fields::m_nKeyCount;
};

// A root with capacity m: (B + K) / (8 + K) = m + 0.5 with K = 100.
BPlusNode* MakeRoot(int m)
{
    return m == 3 ? new BPlusNode() : new BPlusNode(m * 108 + 54 - 100, 100, 1.0f);
}

std::string Print(BPlusNode* node, int level)
{
    CStringBuffer out;
    node->PrintNode(out, level);
    return static_cast<char*>(out);
}

// The tree as I[keys](children) / L[keys], read back from the printed text:
// blocks in pre-order, each an empty line, a header and its lines.
std::string Shape(BPlusNode* root)
{
    std::istringstream in(Print(root, 0));
    std::function<std::string()> block = [&in, &block] {
        std::string line, keys;
        std::getline(in, line), std::getline(in, line);  // the empty line, the header
        std::string text = line.find("_DAT_NODE ") != std::string::npos ? "L[" : "I[";
        int children = 0;
        while (in.peek() != '\n' && std::getline(in, line)) {
            line.erase(0, line.find_first_not_of(' '));
            keys += line.compare(0, 6, "| key=") ? "" : (keys.empty() ? "" : ", ") + line.substr(6);
            children += line.compare(0, 6, "| ptr=") == 0;
        }
        text += keys + "]";
        for (int i = 0; i < children; ++i) {
            text += (i == 0 ? "(" : ", ") + block() + (i == children - 1 ? ")" : "");
        }
        return text;
    };
    return block();
}

// Adds keys one by one, comparing the shape after each step (empty: skip).
void Grow(BPlusNode* root, std::vector<int> const& keys, std::vector<std::string> const& shapes)
{
    for (size_t i = 0; i < keys.size(); ++i) {
        root = root->Add(I(keys[i]), false);
        EXPECT_TRUE(shapes[i].empty() || Shape(root) == shapes[i]) << Shape(root);
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
        EXPECT_TRUE(node.IsValid() == (c.m > 2) && (made != nullptr) == (c.m > 2));
    }
    BPlusNode defaults;
    std::unique_ptr<BPlusNode> made(defaults.New());
    EXPECT_TRUE(!defaults.IsLeafNode() && !defaults.IsFull() && !defaults.GetFirstLeaf());
    EXPECT_TRUE(defaults.GetMaxPointers() == 3 && made->GetMaxPointers() == 3);
    EXPECT_TRUE(defaults.*Fields::kPointerSize == 4 && made.get()->*Fields::kPointerSize == 8);
}

TEST(BPlusNodeShapes, WorkedExamples)
{
    Grow(new BPlusNode(), {1, 2, 3, 4, 5, 6, 7},
         {"I[1](L[1])", "I[1, 2](L[1], L[2])", "I[1, 2](L[1], L[2], L[3])",
          "I[1, 2](L[1], L[2], L[3, 4])", "I[2](I[1](L[1], L[2]), I[4](L[3, 4], L[5]))",
          "I[2](I[1](L[1], L[2]), I[4](L[3, 4], L[5, 6]))",
          "I[2](I[1](L[1], L[2]), I[4, 6](L[3, 4], L[5, 6], L[7]))"});
    Grow(new BPlusNode(), {5, 3, 1}, {"I[5](L[5])", "I[5](L[3, 5])", "I[3](L[1, 3], L[5])"});
    Grow(new BPlusNode(), {10, 20, 30, 25}, {"", "", "", "I[10, 20](L[10], L[20], L[25, 30])"});
    Grow(new BPlusNode(88, 12, 1.0f), {1, 2, 3, 4, 5, 6, 7},
         {"", "", "", "", "", "I[1, 2, 3](L[1], L[2], L[3], L[4, 5, 6])",
          "I[2](I[1](L[1], L[2]), I[3, 5](L[3], L[4, 5], L[6, 7]))"});
    Grow(new BPlusNode(85, 10, 1.0f), {1, 2, 3, 4, 5, 6, 7, 8, 9},
         {"", "", "", "", "", "", "", "I[1, 2, 3, 4](L[1], L[2], L[3], L[4], L[5, 6, 7, 8])",
          "I[3](I[1, 2](L[1], L[2], L[3]), I[4, 7](L[4], L[5, 6, 7], L[8, 9]))"});
}

TEST(BPlusNodeShapes, LeafSplitSizesAndMisuse)
{
    for (int m : {3, 4, 5, 32}) {
        BPlusNode* leaf = MakeRoot(m);
        BPlusKey* extra = I(3);
        leaf->SetLeafNode(true);
        EXPECT_EQ(leaf->Split(extra, nullptr, nullptr), nullptr);  // not full
        for (int i = 0; i < m - 1; ++i) {
            EXPECT_TRUE(leaf->InsertLeaf(I(2 * (m - 1 - i))));
        }
        EXPECT_TRUE(leaf->IsFull() && !leaf->InsertLeaf(extra) && !leaf->InsertIndex(extra, leaf));
        EXPECT_TRUE(leaf->FindNode(extra) == nullptr && !BPlusNode().InsertLeaf(extra) &&
                    !leaf->Split(nullptr, nullptr, nullptr));  // a NULL key: nothing changes

        BPlusNode* right = leaf->Split(extra, nullptr, nullptr);
        EXPECT_TRUE(leaf->GetKeyCount() == m / 2 + m % 2 && right->GetKeyCount() == m / 2);
        EXPECT_TRUE(leaf->GetKey(1) == extra &&
                    right->GetKey(m / 2 - 1)->GetIntValue() == 2 * m - 2);
        EXPECT_TRUE(leaf->GetNextLeaf() == right && right->GetPrevLeaf() == leaf);
        delete leaf, delete right;
    }
}

TEST(BPlusNodeAdd, DuplicatesAndDataReplacement)
{
    CountingData old, incoming;  // answer false: they stay alive
    BPlusKey *stored = I(2), *twin = I(2);
    stored->SetData(&old), twin->SetData(&incoming);
    BPlusNode* root = (new BPlusNode())->Add(I(1), false)->Add(stored, false)->Add(I(3), false);
    std::string const before = Print(root, 0);
    EXPECT_TRUE(root->Add(twin, false) == root && stored->GetData() == &old &&
                twin->GetData() == &incoming);
    EXPECT_TRUE(root->Add(twin, true) == root && stored->GetData() == &incoming &&
                twin->GetData() == nullptr && old.asked == 1 && incoming.asked == 0);
    EXPECT_EQ(root->Add(stored, true), root);  // the stored key itself: nothing moves
    EXPECT_TRUE(stored->GetData() == &incoming && root->Search(twin) == stored);
    EXPECT_EQ(Print(root, 0), before);
    delete twin, BPlusNode::DeleteTree(root);
    EXPECT_EQ(incoming.asked, 1);
}

TEST(BPlusNodeSearch, DescentPathAndInvalidRoot)
{
    BPlusNode* root = new BPlusNode();
    CPtrStack path;
    BPlusKey* probe = I(4);
    EXPECT_TRUE(root->Search(probe, &path) == nullptr && root->Search(probe) == nullptr);
    EXPECT_TRUE(path.size() == 1 && path.pop() == root);
    root = root->Add(I(1), false)->Add(I(2), false)->Add(I(3), false)->Add(I(4), false);
    root = root->Add(I(5), false);
    EXPECT_EQ(Shape(root->Search(probe, &path)), "L[3, 4]");
    EXPECT_TRUE(path.size() == 2 && path.peek(0) == root);
    EXPECT_EQ(Shape(static_cast<BPlusNode*>(path.peek(1))), "I[4](L[3, 4], L[5])");
    probe->SetKey(2);  // ties go left
    EXPECT_EQ(Shape(root->Search(probe, nullptr)), "L[2]");
    BPlusNode::DeleteTree(root);

    BPlusNode invalid(66, 21, 1.0f);
    EXPECT_TRUE(invalid.Add(probe, false) == &invalid && invalid.FindNode(probe) == nullptr);
    EXPECT_TRUE(invalid.Search(probe) == nullptr && invalid.Search(probe, &path) == nullptr);
    EXPECT_EQ(Print(&invalid, 0).substr(22), "|--------------\n");
    delete probe;
}

TEST(BPlusNodePrint, FormatLevelsAndMisuse)
{
    BPlusNode* root = new BPlusNode();
    CPtrStack path;
    EXPECT_EQ(root->Add(nullptr, false), root);  // a NULL key: stores nothing
    root = root->Add(I(1), false);
    EXPECT_TRUE(!root->Search(nullptr) && !root->Search(nullptr, &path) && path.size() == 0 &&
                !root->FindNode(nullptr));
    EXPECT_TRUE(!root->InsertIndex(nullptr, nullptr) && !root->GetFirstLeaf()->InsertLeaf(nullptr));
    EXPECT_TRUE(root->GetKey(0) && !root->GetKey(-1) && !root->GetKey(2));
    EXPECT_TRUE(!root->GetNextLeaf() && !root->GetPrevLeaf());  // not a leaf
    unsigned const leaf = unsigned(uintptr_t(root->GetFirstLeaf()));
    char expected[512];
    std::snprintf(expected, sizeof expected,
                  "\n_IDX_NODE 0x%08x\n|--------------\n| ptr=0x%08x\n| key=1\n|--------------\n"
                  "\n  _DAT_NODE 0x%08x\n  |--------------\n  | key=1\n  |--------------\n",
                  unsigned(uintptr_t(root)), leaf, leaf);
    EXPECT_TRUE(Print(root, 0) == expected && Print(root, -7) == expected);
    std::string const indented = Print(root, 2);
    EXPECT_EQ(indented.substr(0, 15), "\n    _IDX_NODE ");
    EXPECT_NE(indented.find("\n      | key=1\n"), std::string::npos);
    EXPECT_EQ(Print(root, 5000), Print(root, 4095));
    EXPECT_EQ(Print(root, 4095).find(std::string(8191, ' ')), std::string::npos);
    char* data = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&data, &size);
    root->PrintNode(out, 0), std::fclose(out);
    root->PrintNode(static_cast<FILE*>(nullptr), 0);  // no stream: nothing written
    root->GetKey(0)->PrintKey(static_cast<FILE*>(nullptr));

    EXPECT_EQ(std::string(data, size), expected);
    std::free(data);
    BPlusNode::DeleteTree(root), BPlusNode::DeleteTree(nullptr);
    BPlusNode empty;
    empty.SetLeafNode(true);
    EXPECT_EQ(Print(&empty, 0).substr(22), "|--------------\n");
    empty.*Fields::kKeyCount = 1;  // a NULL slot within the key count
    EXPECT_NE(Print(&empty, 0).find("| key=(null key)\n"), std::string::npos);
}

// Adds keys to trees of every capacity, ascending, descending or random with
// repeats, as integer keys or as order-preserving words in random letter case
// under a lower-casing normalizer, and compares with a std::map: the exact
// search returns the stored object, absent keys are not found, the leaf chain
// is complete both ways, and DeleteTree destroys every key exactly once.
TEST(BPlusNodeRandom, MatchesStdMapForEveryCapacity)
{
    std::mt19937 rng(20240611);
    BPlusKey::SetNormalizer(
        [](char* text, int* length, int) {
            std::transform(text, text + *length, text,
                           [](char c) { return char(std::tolower(c)); });
            return 0;
        },
        0);
    // Every capacity m from 3 to 32, 120 rounds each.
    for (int m = 3, round = 0; m <= 32; round = (round + 1) % 120, m += round == 0) {
        auto make = [&](int value) {
            std::string word(3, ' ');
            for (int rest = value + 5000, i = 2; i >= 0; --i, rest /= 26) {
                word[i] = char((rng() % 2 ? 'A' : 'a') + rest % 26);
            }
            return round % 5 == 4 ? BPlusKey::NewCharKey(word.c_str()) : I(value);
        };
        const int n = 1 + static_cast<int>(rng() % 300);
        std::map<int, BPlusKey*> model;
        std::vector<CountingData> tallies(n);  // never reallocated
        BPlusNode* root = MakeRoot(m);
        for (int i = 0; i < n; ++i) {
            const int pick = round % 3 == 0 ? i : (round % 3 == 1 ? n - i : int(rng() % n));
            BPlusKey* key = make(2 * pick - n);
            key->SetData(&tallies[i]);
            root = root->Add(key, false);
            if (!model.emplace(2 * pick - n, key).second) {
                delete key;  // refused as a duplicate: still ours
            }
        }
        std::vector<BPlusKey*> expected, forward, backward;
        for (auto const& [value, key] : model) {
            Key present(make(value)), absent(make(value + 1));
            ASSERT_TRUE(root->Search(present.get()) == key && !root->Search(absent.get()));
            expected.push_back(key);
        }
        for (BPlusNode* leaf = root->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
            for (int i = 0; i < leaf->GetKeyCount(); ++i) {
                forward.push_back(leaf->GetKey(i));
            }
        }
        for (BPlusNode* leaf = root->GetLastLeaf(); leaf != nullptr; leaf = leaf->GetPrevLeaf()) {
            for (int i = leaf->GetKeyCount() - 1; i >= 0; --i) {
                backward.insert(backward.begin(), leaf->GetKey(i));
            }
        }
        ASSERT_TRUE(forward == expected && backward == expected) << m << "/" << round;
        BPlusNode::DeleteTree(root);
        ASSERT_TRUE(
            std::all_of(tallies.begin(), tallies.end(), [](auto& t) { return t.asked == 1; }));
    }
    BPlusKey::SetNormalizer(nullptr, 0);
}

}  // namespace
