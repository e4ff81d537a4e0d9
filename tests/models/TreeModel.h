// TreeModel: drives a B+ tree and a standard ordered map side by side, for
// the randomized tree test and the tree fuzzer alike.
//
// The model maps each stored int to the key object the tree must hold for
// it. Keys of every kind are made from ints by order-preserving encodings,
// so one model serves integer, number, text and composite trees. Every key
// the driver makes carries a CountedData, which counts its own releases:
// the number of live data objects must always equal the number of stored
// keys, so a key destroyed too early, twice or never shows up at once.
//
// Every operation returns "" when the tree agreed with the model, otherwise
// one line saying what differed.
#ifndef ZARNCRT_TESTS_MODELS_TREEMODEL_H
#define ZARNCRT_TESTS_MODELS_TREEMODEL_H

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusCursor.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#include "text/CStringBuffer.h"

namespace treemodel {

enum class KeyKind { Integer, Number, Text, Composite };
constexpr int kKeyKinds = 4;

// Attached to every key the driver makes; answers Dealloc() with true, so
// the key that lets go of it deletes it.
struct CountedData : IBPlusData {
    CountedData()
    {
        ++live;
    }
    ~CountedData() override
    {
        --live;
    }
    bool Dealloc() override
    {
        return true;
    }
    static inline long live = 0;
};

// A new empty root whose nodes have capacity m (3..32): key size 1000,
// pointer size 8, and the smallest block size that gives m.
inline BPlusNode* newRoot(int m)
{
    for (int block = m * 1008 - 1010; block < m * 1008 + 10; ++block) {
        BPlusNode probe(block, 1000, 1.0f);
        if (probe.GetMaxPointers() == m) {
            return new BPlusNode(block, 1000, 1.0f);
        }
    }
    return nullptr;
}

inline std::string text(char const* what, long a, long b = 0)
{
    char line[160];
    std::snprintf(line, sizeof line, what, a, b);
    return line;
}

class TreeDriver {
public:
    TreeDriver(int capacity, KeyKind kind) : kind_(kind), root_(newRoot(capacity)) {}
    ~TreeDriver()
    {
        BPlusNode::DeleteTree(root_);
    }
    TreeDriver(TreeDriver const&) = delete;
    TreeDriver& operator=(TreeDriver const&) = delete;

    BPlusNode* root() const
    {
        return root_;
    }
    std::map<int, BPlusKey*> const& model() const
    {
        return model_;
    }

    // A key of the driver's kind for value; with data, a CountedData attached.
    BPlusKey* makeKey(int value, bool withData) const
    {
        BPlusKey* key = nullptr;
        switch (kind_) {
            case KeyKind::Integer:
                key = BPlusKey::NewIntegerKey(value);
                break;
            case KeyKind::Number:
                key = BPlusKey::NewNumberKey(value * 0.25);
                break;
            case KeyKind::Text: {
                char digits[16];  // offset and zero-padded: text order is int order
                std::snprintf(digits, sizeof digits, "k%07ld", 5000000L + value);
                key = BPlusKey::NewCharKey(digits);
                break;
            }
            case KeyKind::Composite: {
                const int high = value >= 0 ? value / 8 : -((-value + 7) / 8);
                key = BPlusCompositeKey::New(BPlusKey::NewIntegerKey(high),
                                             BPlusKey::NewIntegerKey(value - high * 8), nullptr);
                break;
            }
        }
        if (withData) {
            key->SetData(new CountedData);
        }
        return key;
    }

    std::string add(int value)
    {
        BPlusKey* key = makeKey(value, true);
        root_ = root_->Add(key, false);
        if (!model_.emplace(value, key).second) {
            delete key;  // refused as a duplicate: still ours
        }
        return expectFound(value);
    }

    std::string remove(int value, bool takeBack)
    {
        BPlusKey* probe = makeKey(value, false);
        BPlusKey* out = nullptr;
        root_ = root_->Remove(probe, takeBack ? &out : nullptr);
        delete probe;
        auto it = model_.find(value);
        BPlusKey* expected = it == model_.end() ? nullptr : it->second;
        if (it != model_.end()) {
            model_.erase(it);
        }
        if (takeBack) {
            delete out;
            if (out != expected) {
                return text("remove %ld: handed back the wrong key object", value);
            }
        }
        return expectFound(value);
    }

    std::string search(int value)
    {
        return expectFound(value);
    }

    // Bulk loads count values from first on, step apart; shuffled ones must
    // be refused, as must any load into a tree that is not empty.
    std::string bulk(int first, int count, int step, bool shuffled)
    {
        std::vector<int> values;
        for (int i = 0; i < count; ++i) {
            values.push_back(first + i * step);
        }
        if (shuffled && count > 1) {
            std::swap(values.front(), values.back());
        }
        std::vector<BPlusKey*> keys;
        for (int v : values) {
            keys.push_back(makeKey(v, true));
        }
        const bool accepted = model_.empty() && (!shuffled || count < 2);
        BPlusNode* root = root_->BuildFromSorted(keys.data(), count);
        if (root != root_ && !accepted) {
            return text("bulk of %ld keys: refused but the root changed", count);
        }
        root_ = root;
        for (size_t i = 0; i < keys.size(); ++i) {
            if (accepted) {
                model_.emplace(values[i], keys[i]);
            } else {
                delete keys[i];
            }
        }
        return "";
    }

    // Positions a cursor (mode 0: Seek(from), 1: First, 2: Last) and walks
    // steps keys forward or backward, comparing each with the model.
    std::string walk(int mode, int from, int steps, bool forward)
    {
        BPlusCursor cursor(root_);
        auto it = model_.end();
        bool on = false;
        if (mode == 0) {
            BPlusKey* probe = makeKey(from, false);
            on = cursor.Seek(probe);
            delete probe;
            it = model_.lower_bound(from);
        } else if (mode == 1) {
            on = cursor.First();
            it = model_.begin();
        } else {
            on = cursor.Last();
            it = model_.empty() ? model_.end() : std::prev(model_.end());
        }
        for (int i = 0;; ++i) {
            BPlusKey* expected = it == model_.end() ? nullptr : it->second;
            if (on != (expected != nullptr) || cursor.Key() != expected) {
                return text("cursor mode %ld: wrong key after %ld moves", mode, i);
            }
            if (i == steps || expected == nullptr) {
                return "";
            }
            if (forward) {
                ++it;
                on = cursor.Next();
            } else {
                it = it == model_.begin() ? model_.end() : std::prev(it);
                on = cursor.Prev();
            }
        }
    }

    // The whole tree against the model: invariants, live data, leaf chain
    // both ways; deep adds every exact search and the printed leaves.
    std::string check(bool deep)
    {
        CStringBuffer problems;
        if (!root_->VerifyTree(problems)) {
            return std::string("VerifyTree: ") + problems.getBufferPointer();
        }
        if (CountedData::live != static_cast<long>(model_.size())) {
            return text("%ld live data objects for %ld stored keys", CountedData::live,
                        static_cast<long>(model_.size()));
        }
        std::vector<BPlusKey*> expected;
        for (auto const& entry : model_) {
            expected.push_back(entry.second);
        }
        std::vector<BPlusKey*> chain;
        for (BPlusNode* leaf = root_->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
            for (int i = 0; i < leaf->GetKeyCount(); ++i) {
                chain.push_back(leaf->GetKey(i));
            }
        }
        if (chain != expected) {
            return "leaf chain forward differs from the model";
        }
        chain.clear();
        for (BPlusNode* leaf = root_->GetLastLeaf(); leaf != nullptr; leaf = leaf->GetPrevLeaf()) {
            for (int i = leaf->GetKeyCount() - 1; i >= 0; --i) {
                chain.push_back(leaf->GetKey(i));
            }
        }
        std::reverse(chain.begin(), chain.end());
        if (chain != expected) {
            return "leaf chain backward differs from the model";
        }
        if (!deep) {
            return "";
        }
        for (auto const& entry : model_) {
            std::string problem = expectFound(entry.first);
            if (!problem.empty()) {
                return problem;
            }
        }
        return checkPrinted(expected);
    }

    // Releases the tree; every stored key's data must go with it.
    std::string finish()
    {
        BPlusNode::DeleteTree(root_);
        root_ = nullptr;
        model_.clear();
        if (CountedData::live != 0) {
            return text("%ld data objects alive after DeleteTree", CountedData::live);
        }
        return "";
    }

private:
    std::string expectFound(int value)
    {
        BPlusKey* probe = makeKey(value, false);
        BPlusKey* found = root_->Search(probe);
        delete probe;
        auto it = model_.find(value);
        if (found != (it == model_.end() ? nullptr : it->second)) {
            return text("search %ld: ", value) + (found ? "wrong or unexpected key" : "missing");
        }
        return "";
    }

    // The printed tree: one header per node, one "| ptr=" line per child,
    // and the "| key=" lines of the leaf blocks are the stored keys in order.
    std::string checkPrinted(std::vector<BPlusKey*> const& expected)
    {
        CStringBuffer out;
        root_->PrintNode(out, 0);
        std::string printed(out.getBufferPointer(), static_cast<size_t>(out.length()));
        std::string wanted;
        for (BPlusKey* key : expected) {
            CStringBuffer line;
            key->PrintKey(line);
            wanted += std::string(line.getBufferPointer(), static_cast<size_t>(line.length()));
            wanted += "\n";
        }
        std::string leafKeys;
        long headers = 0;
        long pointers = 0;
        bool inLeaf = false;
        size_t at = 0;
        while (at < printed.size()) {
            size_t end = printed.find('\n', at);
            end = end == std::string::npos ? printed.size() : end;
            const std::string line = printed.substr(at, end - at);
            at = end + 1;
            const size_t indent = line.find_first_not_of(' ');
            const std::string body = indent == std::string::npos ? "" : line.substr(indent);
            if (body.rfind("_DAT_NODE 0x", 0) == 0 || body.rfind("_IDX_NODE 0x", 0) == 0) {
                ++headers;
                inLeaf = body[1] == 'D';
            } else if (body.rfind("| ptr=0x", 0) == 0) {
                ++pointers;
            } else if (inLeaf && body.rfind("| key=", 0) == 0) {
                leafKeys += body.substr(6) + "\n";
            }
        }
        if (headers != pointers + 1) {
            return text("printed %ld node headers for %ld child pointers", headers, pointers);
        }
        if (leafKeys != wanted) {
            return "printed leaf keys differ from the model";
        }
        return "";
    }

    KeyKind kind_;
    BPlusNode* root_;
    std::map<int, BPlusKey*> model_;
};

// One randomized operation, chosen by choice, on values around value.
// extra picks variants (taking the removed key back, cursor direction and
// length, bulk shape). Existing keys are removed as often as absent ones.
inline std::string step(TreeDriver& driver, unsigned choice, int value, unsigned extra)
{
    auto const& model = driver.model();
    switch (choice % 12) {
        case 0:
        case 1:
        case 2:
        case 3:
            return driver.add(value);
        case 4:
        case 5:
        case 6:
            if (!model.empty() && (extra & 2) != 0) {
                auto it = model.begin();
                std::advance(it, static_cast<long>(extra % model.size()));
                value = it->first;
            }
            return driver.remove(value, (extra & 1) != 0);
        case 7:
            return driver.search(value);
        case 8:
        case 9:
            return driver.walk(static_cast<int>(extra % 3), value, static_cast<int>(extra % 101),
                               (extra & 8) != 0);
        case 10: {
            // Empty the tree now and then, so that bulk loads get their turn.
            while (!model.empty() && (extra & 4) != 0) {
                std::string problem = driver.remove(model.begin()->first, false);
                if (!problem.empty()) {
                    return problem;
                }
            }
            return driver.bulk(value, static_cast<int>(extra % 400),
                               1 + static_cast<int>(extra % 3), extra % 7 == 0);
        }
        default:
            return driver.remove(value, (extra & 1) != 0);
    }
}

}  // namespace treemodel

#endif
