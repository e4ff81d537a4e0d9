// B+ tree with composite (int, text) keys against its peers: search hit and
// search miss over 10^5 keys, M = 32, with the case-folding normalizer
// installed.
//
// The int parts are drawn at random from 10^4 values, so that about ten keys
// share each int and the text part decides between them: a search compares
// both parts near its end. A miss probe pairs such an int with a word that is
// not stored.
//
// Peers: std::set<std::pair<int, std::string>> ordered by the int, then by
// the text case-insensitively, which is the tree's order ("std"); the
// key-object sets of BenchKeys.h holding the same composite keys
// ("std_keys", "absl_keys").
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "BenchKeys.h"
#include "BenchUtil.h"
#include "BenchWords.h"
#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"

namespace {

constexpr int kCompositeKeys = 100000;
constexpr int kIntValues = 10000;
// Hits probe every 7th stored key; misses as many keys that are not stored.
constexpr int kCompositeProbes = (kCompositeKeys + 6) / 7;

using Entry = std::pair<int, std::string>;

struct EntrySet {
    std::vector<Entry> stored;  // in the order they are added
    std::vector<Entry> absent;
};

const EntrySet& entries()
{
    static const EntrySet set = [] {
        const bench::WordSet words =
            bench::storedAndAbsentWords(kCompositeKeys, kCompositeProbes, 4);
        std::mt19937 rng(5);
        auto pair = [&rng](const std::string& w) {
            return Entry(static_cast<int>(rng() % kIntValues), w);
        };
        EntrySet out;
        for (const std::string& w : words.stored)
            out.stored.push_back(pair(w));
        for (const std::string& w : words.absent)
            out.absent.push_back(pair(w));
        return out;
    }();
    return set;
}

std::vector<Entry> probeEntries(bool hits)
{
    if (!hits)
        return entries().absent;
    std::vector<Entry> probes;
    for (size_t i = 0; i < entries().stored.size(); i += 7)
        probes.push_back(entries().stored[i]);
    return probes;
}

BPlusKey* newCompositeKey(const Entry& e)
{
    return BPlusCompositeKey::New(BPlusKey::NewIntegerKey(e.first),
                                  BPlusKey::NewCharKey(e.second.c_str()),
                                  static_cast<BPlusKey*>(nullptr));
}

std::vector<BPlusKey*> probeKeys(bool hits)
{
    std::vector<BPlusKey*> probes;
    for (const Entry& e : probeEntries(hits))
        probes.push_back(newCompositeKey(e));
    return probes;
}

struct EntryLess {
    bool operator()(const Entry& a, const Entry& b) const
    {
        if (a.first != b.first)
            return a.first < b.first;
        return bench::NoCaseLess()(a.second, b.second);
    }
};

// Each side's container is built once, under the normalizer, and kept: the
// hit and miss cases only read it.
BPlusNode* cachedCompositeTree()
{
    static BPlusNode* root = [] {
        BPlusNode* r = new BPlusNode(8192, 255, 1.0f);
        for (const Entry& e : entries().stored)
            r = r->Add(newCompositeKey(e), false);  // the words are distinct
        return r;
    }();
    return root;
}

template <typename Set>
const Set& cachedCompositeKeySet()
{
    static const Set* set = [] {
        auto* s = new Set();
        for (const Entry& e : entries().stored)
            s->insert(newCompositeKey(e));
        return s;
    }();
    return *set;
}

void searchComposite(benchmark::State& state, bool hits)
{
    const bench::NormalizerScope scope(true);
    BPlusNode* root = cachedCompositeTree();
    const std::vector<BPlusKey*> probes = probeKeys(hits);
    bench::findInTurn(state, probes, [root](BPlusKey* p) { return root->Search(p) != nullptr; });
    bench::deleteKeys(probes);
}

void searchCompositePeer(benchmark::State& state, bool hits)
{
    static const std::set<Entry, EntryLess> set(entries().stored.begin(), entries().stored.end());
    bench::findInTurn(state, probeEntries(hits),
                      [](const Entry& p) { return set.find(p) != set.end(); });
}

template <typename Set>
void searchCompositeKeysPeer(benchmark::State& state, bool hits)
{
    const bench::NormalizerScope scope(true);
    const Set& set = cachedCompositeKeySet<Set>();
    const std::vector<BPlusKey*> probes = probeKeys(hits);
    bench::findInTurn(state, probes, [&set](BPlusKey* p) { return set.find(p) != set.end(); });
    bench::deleteKeys(probes);
}

using bench::registerSide;
using benchmark::kNanosecond;
using benchmark::State;

const bool registered = [] {
    for (bool hits : {true, false}) {
        const std::string name =
            std::string("tree.composite_search_") + (hits ? "hit" : "miss") + ".M32.N100000";
        registerSide(
            name, "lib", [=](State& s) { searchComposite(s, hits); }, kNanosecond);
        registerSide(
            name, "std", [=](State& s) { searchCompositePeer(s, hits); }, kNanosecond);
        registerSide(
            name, bench::kStdKeys,
            [=](State& s) { searchCompositeKeysPeer<bench::StdKeySet>(s, hits); }, kNanosecond);
        registerSide(
            name, bench::kAbslKeys,
            [=](State& s) { searchCompositeKeysPeer<bench::AbslKeySet>(s, hits); }, kNanosecond);
    }
    return true;
}();

}  // namespace
