// The reference model of the B+ tree for the tree test and fuzzer: a
// TreeDriver runs a tree beside a std::map from int to the key object the
// tree must hold. Keys of every kind come from ints by order-preserving
// encodings. Each stored key carries a CountedData, so a key destroyed too
// early, twice or never shows at once as a live count that differs from the
// key count. Operations return "" or one line saying what differed.
#ifndef ZARNCRT_TESTS_MODELS_TREEMODEL_H
#define ZARNCRT_TESTS_MODELS_TREEMODEL_H

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusCursor.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "btree/NodeKeyBlock.h"
#include "text/CStringBuffer.h"

namespace treemodel {

enum class KeyKind { Integer, Number, Text, NormalizedText, Composite };
constexpr int kKeyKinds = 5;

// Answers Dealloc() as told (true: the key that lets go of it deletes it)
// and counts the objects alive, the objects deleted and the calls to Dealloc.
struct CountedData : IBPlusData {
    explicit CountedData(bool answer = true) : answer(answer)
    {
        ++live;
    }
    ~CountedData() override
    {
        --live;
        ++deleted;
    }
    bool Dealloc() override
    {
        ++asked;
        return answer;
    }
    bool answer;
    int asked = 0;
    static inline long live = 0;
    static inline int deleted = 0;
};

// The normalizer of NormalizedText trees: ASCII case folding.
inline int foldCase(char* text, int* length, int)
{
    for (int i = 0; i < *length; ++i) {
        text[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[i])));
    }
    return 0;
}

// The key for value; key order is value order. Probes are spelled in
// another case than stored keys (text order ignores case). Values run from
// -400 up (bulk loads go beyond 400). The edges that the nodes' key
// summaries must get right come up too: INT_MIN (integer -400) and values
// near INT_MAX (400 and above), minus infinity (number -400), values near
// the largest double (400 and above) and a stored -0.0 found by a probe
// +0.0; normalized texts whose first 8 bytes tie within groups of 16 values
// and differ only after them, an empty text (-399) and no text at all
// (-400); composite keys whose first part is absent (below -200), ordered
// by their second part.
inline BPlusKey* makeKey(KeyKind kind, int value, bool stored)
{
    char text[32];
    const int low = (value % 8 + 8) % 8;
    switch (kind) {
        case KeyKind::Integer:
            return BPlusKey::NewIntegerKey(
                value == -400 ? INT_MIN : (value >= 400 ? INT_MAX - 1700 + value : value));
        case KeyKind::Number:
            if (value == -400 || value >= 400) {
                return BPlusKey::NewNumberKey(value == -400 ? -HUGE_VAL : value * 1e300);
            }
            return BPlusKey::NewNumberKey(value == 0 && stored ? -0.0 : value * 0.25);
        case KeyKind::Text:
            std::snprintf(text, sizeof text, "%c%07d", stored ? 'k' : 'K', 5000000 + value);
            return BPlusKey::NewCharKey(text);
        case KeyKind::NormalizedText:
            std::snprintf(text, sizeof text, "%06d%s%02d", (value + 1000) / 16,
                          stored ? "|tail" : "|TAIL", (value + 1000) % 16);
            return BPlusKey::NewCharKey(value == -400 ? nullptr : (value == -399 ? "" : text));
        default:
            if (value < -200) {
                std::snprintf(text, sizeof text, "%04d", value + 1000);
                BPlusCompositeKey* key = BPlusCompositeKey::New();
                key->AppendKeyPart(nullptr);
                key->AppendKeyPart(BPlusKey::NewCharKey(text));
                return key;
            }
            std::snprintf(text, sizeof text, "%d", low);
            return BPlusCompositeKey::New(BPlusKey::NewIntegerKey((value - low) / 8),
                                          BPlusKey::NewCharKey(text), nullptr);
    }
}

// A new empty root whose nodes hold m (3..32) pointers: key size 1000,
// and the smallest block size that gives m.
inline BPlusNode* newRoot(int m)
{
    int block = m * 1008 - 1010;
    while (BPlusNode(block, 1000, 1.0f).GetMaxPointers() != m) {
        ++block;
    }
    return new BPlusNode(block, 1000, 1.0f);
}

inline std::string say(char const* what, long a, long b = 0)
{
    char line[160];
    std::snprintf(line, sizeof line, what, a, b);
    return line;
}

// The arrays of a node, as a subclass sees them.
struct NodeFields : BPlusNode {
    static constexpr BPlusKey** BPlusNode::*kKeys = &NodeFields::m_pKeys;
    static constexpr BPlusNode** BPlusNode::*kPointers = &NodeFields::m_pPointers;
};

// Every index node with children keeps, for each child, a hint of where the
// child's key block and (for an index child) pointer array are, and the
// tree's operations keep them in step: a hint left stale would only cost
// speed, which no other check would notice.
inline std::string checkHints(BPlusNode* node)
{
    if (node->IsLeafNode() || node->GetMaxPointers() < 3 || node->GetFirstLeaf() == nullptr) {
        return "";
    }
    const zarn::KeyBlock block(node->*NodeFields::kKeys, node->GetMaxPointers() - 1);
    zarn::KeyBlock::Hint const* hints = block.hints();
    if (hints == nullptr) {
        return "index node without hints";
    }
    BPlusNode** children = node->*NodeFields::kPointers;
    for (int i = 0; i < node->GetMaxPointers() && children[i] != nullptr; ++i) {
        BPlusNode* child = children[i];
        const auto keys = reinterpret_cast<std::uintptr_t>(child->*NodeFields::kKeys);
        const auto pointers = reinterpret_cast<std::uintptr_t>(child->*NodeFields::kPointers);
        if (hints[i].keys != keys || hints[i].pointers != (child->IsLeafNode() ? 0 : pointers)) {
            return say("hint of child %ld out of step", i);
        }
        const std::string problem = checkHints(child);
        if (!problem.empty()) {
            return problem;
        }
    }
    return "";
}

// root and model are open to read; only the operations change them.
struct TreeDriver {
    TreeDriver(int capacity, KeyKind kind) : kind(kind), root(newRoot(capacity))
    {
        BPlusKey::SetNormalizer(kind == KeyKind::NormalizedText ? foldCase : nullptr, 0);
    }
    ~TreeDriver()
    {
        BPlusNode::DeleteTree(root);
        BPlusKey::SetNormalizer(nullptr, 0);
    }
    TreeDriver(TreeDriver const&) = delete;
    TreeDriver& operator=(TreeDriver const&) = delete;

    std::string add(int value)
    {
        BPlusKey* key = stored(value);
        root = root->Add(key, false);
        if (!model.emplace(value, key).second) {
            delete key;  // refused as a duplicate: still ours
        }
        return search(value);
    }

    // Removes value's key; takeBack asks for the removed key object. A
    // removal refills every node it touches to at least its minimum, so the
    // only leaves below it afterwards (the root's only leaf aside) are ones
    // it left untouched: right-edge leaves that Add started below it.
    std::string remove(int value, bool takeBack)
    {
        const Leaves before = underfullLeaves();
        BPlusKey* out = nullptr;
        root = root->Remove(probe(value).get(), takeBack ? &out : nullptr);
        auto it = model.find(value);
        const bool right = out == (it == model.end() || !takeBack ? nullptr : it->second);
        delete out;
        if (it != model.end()) {
            model.erase(it);
        }
        for (auto const& leaf : underfullLeaves()) {
            auto old = before.find(leaf.first);
            if (old == before.end() || old->second != leaf.second) {
                return say("remove %ld: left a leaf of %ld keys below its minimum", value,
                           long(leaf.second.size()));
            }
        }
        return right ? search(value) : say("remove %ld: handed back the wrong key", value);
    }

    std::string search(int value)
    {
        BPlusKey* found = root->Search(probe(value).get());
        auto it = model.find(value);
        if (found == (it == model.end() ? nullptr : it->second)) {
            return "";
        }
        return say("search %ld: ", value) + (found ? "wrong or unexpected key" : "missing");
    }

    // Bulk loads count values from first on, step apart (the first and last
    // swapped when shuffled); a shuffled load and any load into a tree that
    // is not empty must be refused.
    std::string bulk(int first, int count, int step, bool shuffled)
    {
        const bool accepted = model.empty() && (!shuffled || count < 2);
        std::vector<BPlusKey*> keys;
        for (int i = 0; i < count; ++i) {
            const bool swapped = shuffled && (i == 0 || i == count - 1);
            keys.push_back(stored(first + (swapped ? count - 1 - i : i) * step));
        }
        BPlusNode* built = root->BuildFromSorted(keys.data(), count);
        if (built != root && !accepted) {
            return say("bulk of %ld keys: refused but the root changed", count);
        }
        root = built;
        for (int i = 0; i < count; ++i) {
            if (accepted) {
                model.emplace(first + i * step, keys[size_t(i)]);
            } else {
                delete keys[size_t(i)];
            }
        }
        return "";
    }

    // Places a cursor (mode 0: Seek(from), 1: First, 2: Last) and walks
    // steps keys forward or backward, comparing each key with the model.
    std::string walk(int mode, int from, int steps, bool forward)
    {
        BPlusCursor cursor(root);
        bool on = mode == 0 ? cursor.Seek(probe(from).get())
                            : (mode == 1 ? cursor.First() : cursor.Last());
        auto it = mode == 0 ? model.lower_bound(from) : model.begin();
        it = mode == 2 && !model.empty() ? std::prev(model.end()) : it;
        for (int i = 0;; ++i) {
            BPlusKey* expected = it == model.end() ? nullptr : it->second;
            if (on != (expected != nullptr) || cursor.Key() != expected) {
                return say("cursor mode %ld: wrong key after %ld moves", mode, i);
            }
            if (i == steps || expected == nullptr) {
                return "";
            }
            it = forward ? std::next(it) : (it == model.begin() ? model.end() : std::prev(it));
            on = forward ? cursor.Next() : cursor.Prev();
        }
    }

    // The whole tree: VerifyTree (which also checks the links back), live
    // data, the leaf chain; deep adds an exact search of every key.
    std::string check(bool deep)
    {
        CStringBuffer problems;
        if (!root->VerifyTree(problems)) {
            return std::string("VerifyTree: ") + problems.getBufferPointer();
        }
        const std::string hints = checkHints(root);
        if (!hints.empty()) {
            return hints;
        }
        if (CountedData::live != static_cast<long>(model.size())) {
            return say("%ld live data objects for %ld keys", CountedData::live, model.size());
        }
        auto it = model.begin();
        for (BPlusNode* leaf = root->GetFirstLeaf(); leaf; leaf = leaf->GetNextLeaf()) {
            for (int i = 0; i < leaf->GetKeyCount(); ++i) {
                if (it == model.end() || leaf->GetKey(i) != (it++)->second) {
                    return "leaf chain differs from the model";
                }
            }
        }
        std::string problem = it == model.end() ? "" : "leaf chain differs from the model";
        for (it = model.begin(); deep && problem.empty() && it != model.end(); ++it) {
            problem = search(it->first);
        }
        return problem;
    }

    // Releases the tree; every stored key's data must go with it.
    std::string finish()
    {
        BPlusNode::DeleteTree(root);
        root = nullptr;
        model.clear();
        return CountedData::live == 0 ? ""
                                      : say("%ld data alive after DeleteTree", CountedData::live);
    }

    // The leaves holding fewer than floor(M/2) keys, with their keys; none
    // when the tree has a single leaf (which may hold any number).
    using Leaves = std::map<BPlusNode*, std::vector<BPlusKey*>>;
    Leaves underfullLeaves() const
    {
        Leaves found;
        BPlusNode* first = root->GetFirstLeaf();
        for (BPlusNode* leaf = first; leaf != nullptr; leaf = leaf->GetNextLeaf()) {
            if (leaf->GetKeyCount() < root->GetMaxPointers() / 2) {
                auto& keys = found[leaf];
                for (int i = 0; i < leaf->GetKeyCount(); ++i) {
                    keys.push_back(leaf->GetKey(i));
                }
            }
        }
        const bool single = first == nullptr || first->GetNextLeaf() == nullptr;
        return single ? Leaves() : found;
    }

    BPlusKey* stored(int value) const
    {
        BPlusKey* key = makeKey(kind, value, true);
        key->SetData(new CountedData);
        return key;
    }
    std::unique_ptr<BPlusKey> probe(int value) const
    {
        return std::unique_ptr<BPlusKey>(makeKey(kind, value, false));
    }

    KeyKind const kind;
    BPlusNode* root;
    std::map<int, BPlusKey*> model;
};

}  // namespace treemodel

#endif
