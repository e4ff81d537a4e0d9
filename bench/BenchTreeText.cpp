// B+ tree with text keys against its peers: search hit, search miss and
// insertion of 10^5 distinct words of 8 to 16 letters, M = 32, with the
// case-folding normalizer installed ("normalized") and without one, where the
// tree compares with QorCompareNoCase ("nocase").
//
// Peers: std::set<std::string> ordered by strcasecmp ("std"), and the
// key-object sets of BenchKeys.h holding text keys made by NewCharKey under
// the same normalizer setting as the tree's ("std_keys", "absl_keys").
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "BenchKeys.h"
#include "BenchUtil.h"
#include "BenchWords.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"

namespace {

constexpr int kTextKeys = 100000;
// Hits probe every 7th stored word; misses as many words that are not stored.
constexpr int kTextProbes = (kTextKeys + 6) / 7;

const bench::WordSet& words()
{
    static const bench::WordSet set = bench::storedAndAbsentWords(kTextKeys, kTextProbes, 3);
    return set;
}

std::vector<std::string> probeWords(bool hits)
{
    if (!hits)
        return words().absent;
    std::vector<std::string> probes;
    for (size_t i = 0; i < words().stored.size(); i += 7)
        probes.push_back(words().stored[i]);
    return probes;
}

// Key objects for the probe words: the lookups of the tree's side and of the
// key-object peers take the same ones.
std::vector<BPlusKey*> probeKeys(bool hits)
{
    std::vector<BPlusKey*> probes;
    for (const std::string& w : probeWords(hits))
        probes.push_back(BPlusKey::NewCharKey(w.c_str()));
    return probes;
}

// The search cases only read: each side's container is built once per
// normalizer setting and kept for the rest of the run. The caller has
// installed the setting, under which the keys are made and compared.
BPlusNode* cachedTextTree(bool normalize)
{
    static BPlusNode* trees[2] = {nullptr, nullptr};
    BPlusNode*& root = trees[normalize];
    if (root == nullptr) {
        root = new BPlusNode(8192, 255, 1.0f);
        for (const std::string& w : words().stored)
            root = root->Add(BPlusKey::NewCharKey(w.c_str()), false);  // words are distinct
    }
    return root;
}

template <typename Set>
const Set& cachedTextKeySet(bool normalize)
{
    static Set* sets[2] = {nullptr, nullptr};
    Set*& set = sets[normalize];
    if (set == nullptr) {
        set = new Set();
        for (const std::string& w : words().stored)
            set->insert(BPlusKey::NewCharKey(w.c_str()));
    }
    return *set;
}

void searchText(benchmark::State& state, bool normalize, bool hits)
{
    const bench::NormalizerScope scope(normalize);
    BPlusNode* root = cachedTextTree(normalize);
    const std::vector<BPlusKey*> probes = probeKeys(hits);
    bench::findInTurn(state, probes, [root](BPlusKey* p) { return root->Search(p) != nullptr; });
    bench::deleteKeys(probes);
}

void searchTextPeer(benchmark::State& state, bool hits)
{
    static const std::set<std::string, bench::NoCaseLess> set(words().stored.begin(),
                                                              words().stored.end());
    bench::findInTurn(state, probeWords(hits),
                      [](const std::string& p) { return set.find(p) != set.end(); });
}

template <typename Set>
void searchTextKeysPeer(benchmark::State& state, bool normalize, bool hits)
{
    const bench::NormalizerScope scope(normalize);
    const Set& set = cachedTextKeySet<Set>(normalize);
    const std::vector<BPlusKey*> probes = probeKeys(hits);
    bench::findInTurn(state, probes, [&set](BPlusKey* p) { return set.find(p) != set.end(); });
    bench::deleteKeys(probes);
}

// Insertion of every word, the keys made inside the timed part; the
// container is released outside it.
void addText(benchmark::State& state, bool normalize)
{
    const bench::NormalizerScope scope(normalize);
    for (auto _ : state) {
        BPlusNode* root = new BPlusNode(8192, 255, 1.0f);
        for (const std::string& w : words().stored)
            root = root->Add(BPlusKey::NewCharKey(w.c_str()), false);
        state.PauseTiming();
        BPlusNode::DeleteTree(root);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kTextKeys);
}

void addTextPeer(benchmark::State& state)
{
    for (auto _ : state) {
        auto set = std::make_unique<std::set<std::string, bench::NoCaseLess>>();
        for (const std::string& w : words().stored)
            set->insert(w);
        state.PauseTiming();
        set.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kTextKeys);
}

template <typename Set>
void addTextKeysPeer(benchmark::State& state, bool normalize)
{
    const bench::NormalizerScope scope(normalize);
    for (auto _ : state) {
        auto* set = new Set();
        for (const std::string& w : words().stored)
            set->insert(BPlusKey::NewCharKey(w.c_str()));
        state.PauseTiming();
        bench::deleteKeySet(set);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kTextKeys);
}

using bench::registerSide;
using benchmark::kMillisecond;
using benchmark::kNanosecond;
using benchmark::State;

const bool registered = [] {
    for (bool normalize : {true, false}) {
        const std::string tag = normalize ? "normalized" : "nocase";
        for (bool hits : {true, false}) {
            const std::string name =
                std::string("tree.text_search_") + (hits ? "hit_" : "miss_") + tag + ".M32.N100000";
            registerSide(
                name, "lib", [=](State& s) { searchText(s, normalize, hits); }, kNanosecond);
            registerSide(
                name, "std", [=](State& s) { searchTextPeer(s, hits); }, kNanosecond);
            registerSide(
                name, bench::kStdKeys,
                [=](State& s) { searchTextKeysPeer<bench::StdKeySet>(s, normalize, hits); },
                kNanosecond);
            registerSide(
                name, bench::kAbslKeys,
                [=](State& s) { searchTextKeysPeer<bench::AbslKeySet>(s, normalize, hits); },
                kNanosecond);
        }
        const std::string add = "tree.text_add_" + tag + ".M32.N100000";
        registerSide(
            add, "lib", [=](State& s) { addText(s, normalize); }, kMillisecond);
        registerSide(add, "std", addTextPeer, kMillisecond);
        registerSide(
            add, bench::kStdKeys,
            [=](State& s) { addTextKeysPeer<bench::StdKeySet>(s, normalize); }, kMillisecond);
        registerSide(
            add, bench::kAbslKeys,
            [=](State& s) { addTextKeysPeer<bench::AbslKeySet>(s, normalize); }, kMillisecond);
    }
    return true;
}();

}  // namespace
