// B+ tree with integer keys against its peers: insertion, exact search and
// leaf-chain walk, at node capacities M = 3, 8 and 32 and 10^4 to 10^6 keys.
//
// Peers: std::set<int> ("std") and absl::btree_set<int> ("absl") hold plain
// values; at M = 32 the key-object sets of BenchKeys.h ("std_keys",
// "absl_keys") hold the same key objects as the tree.
#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <type_traits>
#include <vector>

#include "BenchKeys.h"
#include "BenchUtil.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"

namespace {

using bench::Capacity;

const int kSizes[] = {10000, 100000, 1000000};

BPlusNode* buildIntTree(const std::vector<int>& values, const Capacity& c)
{
    BPlusNode* root = new BPlusNode(c.block, c.key, 1.0f);
    for (int v : values)
        root = root->Add(BPlusKey::NewIntegerKey(v), false);
    return root;
}

// The search and walk cases only read: each side's container is built once
// per size (and capacity) and kept for the rest of the run.
BPlusNode* cachedIntTree(int n, const Capacity& c)
{
    static std::map<std::pair<int, int>, BPlusNode*> trees;
    BPlusNode*& tree = trees[{n, c.m}];
    if (tree == nullptr)
        tree = buildIntTree(bench::randomInts(n, 1), c);
    return tree;
}

// A set of plain values, or of key objects made and inserted in the tree's
// order of Add.
template <typename Set>
const Set& cachedSet(int n)
{
    static std::map<int, std::unique_ptr<Set>> sets;
    std::unique_ptr<Set>& set = sets[n];
    if (!set) {
        const std::vector<int> values = bench::randomInts(n, 1);
        if constexpr (std::is_same_v<typename Set::value_type, int>)
            set = std::make_unique<Set>(values.begin(), values.end());
        else
            set.reset(bench::newIntKeySet<Set>(values, false));
    }
    return *set;
}

// --- Insertion: the keys are made inside the timed part on every side; the
// container is released outside it.

void addInts(benchmark::State& state, int n, const Capacity& c, bool ascending)
{
    std::vector<int> values = bench::randomInts(n, 1);
    if (ascending)
        std::sort(values.begin(), values.end());
    for (auto _ : state) {
        BPlusNode* root = buildIntTree(values, c);
        state.PauseTiming();
        BPlusNode::DeleteTree(root);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <typename Set>
void addIntsPeer(benchmark::State& state, int n, bool ascending)
{
    std::vector<int> values = bench::randomInts(n, 1);
    if (ascending)
        std::sort(values.begin(), values.end());
    for (auto _ : state) {
        auto set = std::make_unique<Set>();
        for (int v : values)
            set->insert(v);
        state.PauseTiming();
        set.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// Inserted one by one without a hint even in ascending order, as the tree's
// side adds them.
template <typename Set>
void addKeysPeer(benchmark::State& state, int n, bool ascending)
{
    std::vector<int> values = bench::randomInts(n, 1);
    if (ascending)
        std::sort(values.begin(), values.end());
    for (auto _ : state) {
        auto* set = new Set();
        for (int v : values)
            set->insert(BPlusKey::NewIntegerKey(v));
        state.PauseTiming();
        bench::deleteKeySet(set);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// --- Exact search. Every side runs the same loop: the probe key is set to
// the next value with SetKey, then looked up, so the ratio compares the
// lookups alone. The plain-value sets look up the probe's int.

std::vector<int> searchProbes(int n, bool hits)
{
    std::vector<int> probes = bench::randomInts(n, 2);
    if (!hits)
        for (int& p : probes)
            p += 1;  // stored values are even
    return probes;
}

template <typename Lookup>
void searchInTurn(benchmark::State& state, int n, bool hits, Lookup lookup)
{
    const std::vector<int> probes = searchProbes(n, hits);
    BPlusKey* probe = BPlusKey::NewIntegerKey(0);
    size_t i = 0, found = 0;
    for (auto _ : state) {
        probe->SetKey(probes[i]);
        found += lookup(probe);
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(found);
    delete probe;
    state.SetItemsProcessed(state.iterations());
}

void searchInts(benchmark::State& state, int n, const Capacity& c, bool hits)
{
    BPlusNode* root = cachedIntTree(n, c);
    searchInTurn(state, n, hits, [root](BPlusKey* p) { return root->Search(p) != nullptr; });
}

template <typename Set>
void searchIntsPeer(benchmark::State& state, int n, bool hits)
{
    const Set& set = cachedSet<Set>(n);
    searchInTurn(state, n, hits,
                 [&set](BPlusKey* p) { return set.find(p->GetIntValue()) != set.end(); });
}

template <typename Set>
void searchKeysPeer(benchmark::State& state, int n, bool hits)
{
    const Set& set = cachedSet<Set>(n);
    searchInTurn(state, n, hits, [&set](BPlusKey* p) { return set.find(p) != set.end(); });
}

// --- Walk over every key in order, summing the values.

void walkInts(benchmark::State& state, int n, const Capacity& c)
{
    BPlusNode* root = cachedIntTree(n, c);
    for (auto _ : state) {
        long sum = 0;
        for (BPlusNode* leaf = root->GetFirstLeaf(); leaf != nullptr; leaf = leaf->GetNextLeaf()) {
            for (int i = 0; i < leaf->GetKeyCount(); ++i)
                sum += leaf->GetKey(i)->GetIntValue();
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void walkIntsPeer(benchmark::State& state, int n)
{
    const std::set<int>& set = cachedSet<std::set<int>>(n);
    for (auto _ : state) {
        long sum = 0;
        for (int v : set)
            sum += v;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

template <typename Set>
void walkKeysPeer(benchmark::State& state, int n)
{
    const Set& set = cachedSet<Set>(n);
    for (auto _ : state) {
        long sum = 0;
        for (BPlusKey* key : set)
            sum += key->GetIntValue();
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

using bench::registerSide;
using benchmark::kMicrosecond;
using benchmark::kMillisecond;
using benchmark::kNanosecond;
using benchmark::State;

void registerAdd(const std::string& suffix, int n, const Capacity& c, bool ascending)
{
    const std::string name =
        std::string("tree.add_") + (ascending ? "ascending" : "random") + suffix;
    registerSide(
        name, "lib", [=](State& s) { addInts(s, n, c, ascending); }, kMillisecond);
    registerSide(
        name, "std", [=](State& s) { addIntsPeer<std::set<int>>(s, n, ascending); }, kMillisecond);
    registerSide(
        name, "absl", [=](State& s) { addIntsPeer<absl::btree_set<int>>(s, n, ascending); },
        kMillisecond);
    if (c.m != 32)
        return;
    registerSide(
        name, bench::kStdKeys, [=](State& s) { addKeysPeer<bench::StdKeySet>(s, n, ascending); },
        kMillisecond);
    registerSide(
        name, bench::kAbslKeys, [=](State& s) { addKeysPeer<bench::AbslKeySet>(s, n, ascending); },
        kMillisecond);
}

void registerSearch(const std::string& suffix, int n, const Capacity& c, bool hits)
{
    const std::string name = std::string("tree.search_") + (hits ? "hit" : "miss") + suffix;
    registerSide(
        name, "lib", [=](State& s) { searchInts(s, n, c, hits); }, kNanosecond);
    registerSide(
        name, "std", [=](State& s) { searchIntsPeer<std::set<int>>(s, n, hits); }, kNanosecond);
    registerSide(
        name, "absl", [=](State& s) { searchIntsPeer<absl::btree_set<int>>(s, n, hits); },
        kNanosecond);
    if (c.m != 32)
        return;
    registerSide(
        name, bench::kStdKeys, [=](State& s) { searchKeysPeer<bench::StdKeySet>(s, n, hits); },
        kNanosecond);
    registerSide(
        name, bench::kAbslKeys, [=](State& s) { searchKeysPeer<bench::AbslKeySet>(s, n, hits); },
        kNanosecond);
}

void registerWalk(const std::string& suffix, int n, const Capacity& c)
{
    const std::string name = "tree.walk" + suffix;
    registerSide(
        name, "lib", [=](State& s) { walkInts(s, n, c); }, kMicrosecond);
    registerSide(
        name, "std", [=](State& s) { walkIntsPeer(s, n); }, kMicrosecond);
    if (c.m != 32)
        return;
    registerSide(
        name, bench::kStdKeys, [=](State& s) { walkKeysPeer<bench::StdKeySet>(s, n); },
        kMicrosecond);
    registerSide(
        name, bench::kAbslKeys, [=](State& s) { walkKeysPeer<bench::AbslKeySet>(s, n); },
        kMicrosecond);
}

// The key-object peers do not depend on M: they are measured once per size,
// in the M = 32 rows.
const bool registered = [] {
    for (int n : kSizes) {
        for (const Capacity& c : bench::kCapacities) {
            const std::string suffix = ".M" + std::to_string(c.m) + ".N" + std::to_string(n);
            registerAdd(suffix, n, c, false);
            registerAdd(suffix, n, c, true);
            registerSearch(suffix, n, c, true);
            registerSearch(suffix, n, c, false);
            registerWalk(suffix, n, c);
        }
    }
    return true;
}();

}  // namespace
