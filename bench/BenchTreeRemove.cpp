// B+ tree removal, ordered cursor and bulk loading against their peers, over
// 10^6 integer keys at M = 3, 8 and 32:
// - Remove of every key in random order against erase;
// - Seek plus a walk of 100 keys against lower_bound plus 100 increments;
// - BuildFromSorted against the tree's own Add of the same sorted keys one by
//   one ("lib_add") and against sorted insertion into the peers.
//
// The tree of the remove and cursor cases is bulk-loaded from key objects
// made in ascending order; the key-object peers (BenchKeys.h, measured in the
// M = 32 rows) are filled with key objects made the same way in the same
// order, each inserted with the end as its hint. "std" is std::set<int>, also
// filled in ascending order: the order of allocation decides how close in
// memory neighbouring keys lie, which the walks feel.
#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "BenchKeys.h"
#include "BenchUtil.h"
#include "btree/BPlusCursor.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"

namespace {

using bench::Capacity;

constexpr int kKeys = 1000000;
constexpr int kWalk = 100;
constexpr int kSeekProbes = 100000;

std::vector<int> sortedValues()
{
    std::vector<int> values = bench::randomInts(kKeys, 1);
    std::sort(values.begin(), values.end());
    return values;
}

BPlusNode* bulkTree(const Capacity& c)
{
    std::vector<BPlusKey*> keys;
    keys.reserve(kKeys);
    for (int v : sortedValues())
        keys.push_back(BPlusKey::NewIntegerKey(v));
    BPlusNode* root = new BPlusNode(c.block, c.key, 1.0f);
    return root->BuildFromSorted(keys.data(), kKeys);
}

// --- Remove every key in random order; the removed key objects are
// destroyed on every side that has them.

void removeInts(benchmark::State& state, const Capacity& c)
{
    const std::vector<int> order = bench::randomInts(kKeys, 2);
    BPlusKey* probe = BPlusKey::NewIntegerKey(0);
    for (auto _ : state) {
        state.PauseTiming();
        BPlusNode* root = bulkTree(c);
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
    const std::vector<int> values = sortedValues();
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

template <typename Set>
void removeKeysPeer(benchmark::State& state)
{
    const std::vector<int> values = sortedValues();
    const std::vector<int> order = bench::randomInts(kKeys, 2);
    BPlusKey* probe = BPlusKey::NewIntegerKey(0);
    for (auto _ : state) {
        state.PauseTiming();
        Set* set = bench::newIntKeySet<Set>(values, true);
        state.ResumeTiming();
        for (int v : order) {
            probe->SetKey(v);
            auto it = set->find(probe);
            BPlusKey* key = *it;
            set->erase(it);
            delete key;
        }
        state.PauseTiming();
        bench::deleteKeySet(set);
        state.ResumeTiming();
    }
    delete probe;
    state.SetItemsProcessed(state.iterations() * kKeys);
}

// --- Seek to a probe and walk 100 keys reading each value, one seek per
// iteration, cycling over 10^5 random probes (all stored values: the walk
// then starts on the probe's own key). Every side sets the probe key with
// SetKey; std::set<int> seeks to its int.

std::vector<int> seekProbes()
{
    std::vector<int> probes = bench::randomInts(kKeys, 3);
    probes.resize(kSeekProbes);
    return probes;
}

template <typename SeekWalk>
void seekInTurn(benchmark::State& state, SeekWalk seekWalk)
{
    const std::vector<int> probes = seekProbes();
    BPlusKey* probe = BPlusKey::NewIntegerKey(0);
    size_t i = 0;
    long sum = 0;
    for (auto _ : state) {
        probe->SetKey(probes[i]);
        sum += seekWalk(probe);
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(sum);
    delete probe;
    state.SetItemsProcessed(state.iterations());
}

void seekWalk(benchmark::State& state, const Capacity& c)
{
    BPlusNode* root = bulkTree(c);
    seekInTurn(state, [root](BPlusKey* probe) {
        long sum = 0;
        BPlusCursor cursor(root);
        bool on = cursor.Seek(probe);
        for (int k = 0; k < kWalk && on; ++k, on = cursor.Next())
            sum += cursor.Key()->GetIntValue();
        return sum;
    });
    BPlusNode::DeleteTree(root);
}

void seekWalkPeer(benchmark::State& state)
{
    const std::vector<int> values = sortedValues();
    const std::set<int> set(values.begin(), values.end());
    seekInTurn(state, [&set](BPlusKey* probe) {
        long sum = 0;
        auto it = set.lower_bound(probe->GetIntValue());
        for (int k = 0; k < kWalk && it != set.end(); ++k, ++it)
            sum += *it;
        return sum;
    });
}

template <typename Set>
void seekWalkKeysPeer(benchmark::State& state)
{
    Set* set = bench::newIntKeySet<Set>(sortedValues(), true);
    seekInTurn(state, [set](BPlusKey* probe) {
        long sum = 0;
        auto it = set->lower_bound(probe);
        for (int k = 0; k < kWalk && it != set->end(); ++k, ++it)
            sum += (*it)->GetIntValue();
        return sum;
    });
    bench::deleteKeySet(set);
}

// --- Loading 10^6 sorted keys. Every side makes its key objects inside the
// timed part (BuildFromSorted's side also its array of key pointers); the
// container is released outside it.

void loadSorted(benchmark::State& state, const Capacity& c, bool bulk)
{
    const std::vector<int> values = sortedValues();
    for (auto _ : state) {
        BPlusNode* root = new BPlusNode(c.block, c.key, 1.0f);
        if (bulk) {
            std::vector<BPlusKey*> keys;
            keys.reserve(values.size());
            for (int v : values)
                keys.push_back(BPlusKey::NewIntegerKey(v));
            root = root->BuildFromSorted(keys.data(), kKeys);
        } else {
            for (int v : values)
                root = root->Add(BPlusKey::NewIntegerKey(v), false);
        }
        state.PauseTiming();
        BPlusNode::DeleteTree(root);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

template <typename Set>
void loadSortedKeysPeer(benchmark::State& state)
{
    const std::vector<int> values = sortedValues();
    for (auto _ : state) {
        Set* set = bench::newIntKeySet<Set>(values, true);
        state.PauseTiming();
        bench::deleteKeySet(set);
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kKeys);
}

using bench::registerSide;
using benchmark::kMillisecond;
using benchmark::kNanosecond;
using benchmark::State;

const bool registered = [] {
    for (const Capacity& c : bench::kCapacities) {
        const std::string suffix = ".M" + std::to_string(c.m) + ".N1000000";
        const bool keyPeers = c.m == 32;  // they do not depend on M

        const std::string remove = "tree.remove_random" + suffix;
        registerSide(
            remove, "lib", [=](State& s) { removeInts(s, c); }, kMillisecond);
        registerSide(remove, "std", removeIntsPeer, kMillisecond);
        if (keyPeers) {
            registerSide(remove, bench::kStdKeys, removeKeysPeer<bench::StdKeySet>, kMillisecond);
            registerSide(remove, bench::kAbslKeys, removeKeysPeer<bench::AbslKeySet>, kMillisecond);
        }

        const std::string seek = "tree.seek_walk100" + suffix;
        registerSide(
            seek, "lib", [=](State& s) { seekWalk(s, c); }, kNanosecond);
        registerSide(seek, "std", seekWalkPeer, kNanosecond);
        if (keyPeers) {
            registerSide(seek, bench::kStdKeys, seekWalkKeysPeer<bench::StdKeySet>, kNanosecond);
            registerSide(seek, bench::kAbslKeys, seekWalkKeysPeer<bench::AbslKeySet>, kNanosecond);
        }

        const std::string load = "tree.build_sorted" + suffix;
        registerSide(
            load, "lib", [=](State& s) { loadSorted(s, c, true); }, kMillisecond);
        registerSide(
            load, "lib_add", [=](State& s) { loadSorted(s, c, false); }, kMillisecond);
        if (keyPeers) {
            registerSide(load, bench::kStdKeys, loadSortedKeysPeer<bench::StdKeySet>, kMillisecond);
            registerSide(load, bench::kAbslKeys, loadSortedKeysPeer<bench::AbslKeySet>,
                         kMillisecond);
        }
    }
    return true;
}();

}  // namespace
