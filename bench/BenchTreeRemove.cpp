// B+ tree removal, ordered cursor and bulk loading against their standard
// peers: Remove of every key in random order against std::set::erase (and
// against a set of separately allocated key objects that it deletes too),
// Seek plus a 100-key walk against lower_bound plus iteration, and
// BuildFromSorted against adding the same sorted keys one by one.
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "BenchUtil.h"
#include "btree/BPlusCursor.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"

namespace {

struct Capacity {
    int m, block, key;
};
const Capacity kCapacities[] = {{3, 2048, 768}, {8, 1000, 128}, {32, 8192, 255}};
constexpr int kKeys = 1000000;
constexpr int kWalk = 100;

std::vector<BPlusKey*> sortedKeys(int n)
{
    std::vector<int> values = bench::randomInts(n, 1);
    std::sort(values.begin(), values.end());
    std::vector<BPlusKey*> keys;
    keys.reserve(values.size());
    for (int v : values)
        keys.push_back(BPlusKey::NewIntegerKey(v));
    return keys;
}

BPlusNode* bulkTree(int n, const Capacity& c)
{
    std::vector<BPlusKey*> keys = sortedKeys(n);
    BPlusNode* root = new BPlusNode(c.block, c.key, 1.0f);
    return root->BuildFromSorted(keys.data(), n);
}

void removeInts(benchmark::State& state, const Capacity& c)
{
    const std::vector<int> order = bench::randomInts(kKeys, 2);
    BPlusKey* probe = BPlusKey::NewIntegerKey(0);
    for (auto _ : state) {
        state.PauseTiming();
        BPlusNode* root = bulkTree(kKeys, c);
        state.ResumeTiming();
        for (int v : order) {
            probe->SetKey(v);
            root = root->Remove(probe, nullptr);
        }
        state.PauseTiming();
        BPlusNode::DeleteTree(root);
        state.ResumeTiming();
    }
    delete probe;
    state.SetItemsProcessed(state.iterations() * kKeys);
}

void removeIntsPeer(benchmark::State& state)
{
    const std::vector<int> values = bench::randomInts(kKeys, 1);
    const std::vector<int> order = bench::randomInts(kKeys, 2);
    for (auto _ : state) {
        state.PauseTiming();
        auto set = std::make_unique<std::set<int>>(values.begin(), values.end());
        state.ResumeTiming();
        for (int v : order)
            set->erase(v);
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

// The peer with the tree's storage: pointers to key objects of a tree key's
// size, each deleted as it leaves (as Remove destroys the removed key).
struct IntKeyObject {
    void* header;
    int type;
    int value;
    char rest[64];
};
struct IntKeyObjectLess {
    using is_transparent = void;
    bool operator()(const IntKeyObject* a, const IntKeyObject* b) const
    {
        return a->value < b->value;
    }
    bool operator()(const IntKeyObject* a, int b) const
    {
        return a->value < b;
    }
    bool operator()(int a, const IntKeyObject* b) const
    {
        return a < b->value;
    }
};

void removeKeyObjectsPeer(benchmark::State& state)
{
    const std::vector<int> values = bench::randomInts(kKeys, 1);
    const std::vector<int> order = bench::randomInts(kKeys, 2);
    for (auto _ : state) {
        state.PauseTiming();
        auto set = std::make_unique<std::set<IntKeyObject*, IntKeyObjectLess>>();
        for (int v : values) {
            auto* key = new IntKeyObject();
            key->value = v;
            set->insert(key);
        }
        state.ResumeTiming();
        for (int v : order) {
            auto it = set->find(v);
            IntKeyObject* key = *it;
            set->erase(it);
            delete key;
        }
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

void seekWalk(benchmark::State& state, const Capacity& c)
{
    BPlusNode* root = bulkTree(kKeys, c);
    const std::vector<int> probes = bench::randomInts(kKeys, 3);
    BPlusKey* probe = BPlusKey::NewIntegerKey(0);
    size_t i = 0;
    long sum = 0;
    for (auto _ : state) {
        probe->SetKey(probes[i]);
        BPlusCursor cursor(root);
        bool on = cursor.Seek(probe);
        for (int k = 0; k < kWalk && on; ++k, on = cursor.Next())
            sum += cursor.Key()->GetIntValue();
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(sum);
    delete probe;
    BPlusNode::DeleteTree(root);
    state.SetItemsProcessed(state.iterations());
}

void seekWalkPeer(benchmark::State& state)
{
    const std::vector<int> values = bench::randomInts(kKeys, 1);
    const std::set<int> set(values.begin(), values.end());
    const std::vector<int> probes = bench::randomInts(kKeys, 3);
    size_t i = 0;
    long sum = 0;
    for (auto _ : state) {
        auto it = set.lower_bound(probes[i]);
        for (int k = 0; k < kWalk && it != set.end(); ++k, ++it)
            sum += *it;
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}

// Both sides take the same freshly made sorted keys; only loading is timed.
void loadSorted(benchmark::State& state, const Capacity& c, bool bulk)
{
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<BPlusKey*> keys = sortedKeys(kKeys);
        BPlusNode* root = new BPlusNode(c.block, c.key, 1.0f);
        state.ResumeTiming();
        if (bulk) {
            root = root->BuildFromSorted(keys.data(), kKeys);
        } else {
            for (BPlusKey* key : keys)
                root = root->Add(key, false);
        }
        state.PauseTiming();
        BPlusNode::DeleteTree(root);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

const bool registered = [] {
    for (const Capacity& c : kCapacities) {
        const std::string suffix = ".M" + std::to_string(c.m) + ".N1000000";
        bench::registerPair(
            "tree.remove_random" + suffix, [=](benchmark::State& s) { removeInts(s, c); },
            removeIntsPeer, benchmark::kMillisecond);
        bench::registerPair(
            "tree.seek_walk100" + suffix, [=](benchmark::State& s) { seekWalk(s, c); },
            seekWalkPeer, benchmark::kNanosecond);
        bench::registerPair(
            "tree.build_sorted_vs_add" + suffix,
            [=](benchmark::State& s) { loadSorted(s, c, true); },
            [=](benchmark::State& s) { loadSorted(s, c, false); }, benchmark::kMillisecond);
    }
    bench::registerPair(
        "tree.remove_random.M32.N1000000.peer_keys_as_objects",
        [](benchmark::State& s) { removeInts(s, kCapacities[2]); }, removeKeyObjectsPeer,
        benchmark::kMillisecond);
    return true;
}();

}  // namespace
