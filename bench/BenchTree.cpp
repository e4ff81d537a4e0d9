// B+ tree against std::set (and absl::btree_set when available): insertion,
// exact search, leaf-chain walk, integer and text keys.
#include <string.h>
#include <strings.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>

#include "BenchUtil.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"
#ifdef ZARNCRT_BENCH_ABSL
#include "absl/container/btree_set.h"
#endif

namespace {

// Block and key sizes giving node capacities 3, 8 and 32.
struct Capacity {
    int m, block, key;
};
const Capacity kCapacities[] = {{3, 2048, 768}, {8, 1000, 128}, {32, 8192, 255}};
const int kSizes[] = {10000, 100000, 1000000};

BPlusNode* buildIntTree(const std::vector<int>& values, const Capacity& c)
{
    BPlusNode* root = new BPlusNode(c.block, c.key, 1.0f);
    for (int v : values)
        root = root->Add(BPlusKey::NewIntegerKey(v), false);
    return root;
}

// Trees for the search cases are built once per (N, M) and kept.
BPlusNode* cachedIntTree(int n, const Capacity& c)
{
    static std::map<std::pair<int, int>, BPlusNode*> trees;
    BPlusNode*& tree = trees[{n, c.m}];
    if (tree == nullptr)
        tree = buildIntTree(bench::randomInts(n, 1), c);
    return tree;
}

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

// The peer with the tree's storage of an integer key: the set holds pointers
// to separately allocated objects of a tree key's size (the caller allocates
// every key the tree stores). Against addIntsPeer it shows what that storage
// costs an insertion.
struct IntKeyObject {
    void* header;  // where a tree key has its vtable
    int type;
    int value;
    char rest[64];
};
static_assert(sizeof(IntKeyObject) == 80, "the size of a tree key");

struct IntKeyObjectLess {
    bool operator()(const IntKeyObject* a, const IntKeyObject* b) const
    {
        return a->value < b->value;
    }
};

void addIntKeyObjectsPeer(benchmark::State& state, int n)
{
    const std::vector<int> values = bench::randomInts(n, 1);
    auto build = [&values] {
        auto set = std::make_unique<std::set<IntKeyObject*, IntKeyObjectLess>>();
        for (int v : values) {
            auto* key = new IntKeyObject();
            key->value = v;
            set->insert(key);
        }
        return set;
    };
    auto release = [](std::unique_ptr<std::set<IntKeyObject*, IntKeyObjectLess>> set) {
        for (IntKeyObject* key : *set)
            delete key;
    };
    for (auto _ : state) {
        auto set = build();
        state.PauseTiming();
        release(std::move(set));
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void searchInts(benchmark::State& state, int n, const Capacity& c, bool hits)
{
    BPlusNode* root = cachedIntTree(n, c);
    std::vector<int> probes = bench::randomInts(n, 2);
    if (!hits)
        for (int& p : probes)
            p += 1;
    BPlusKey* probe = BPlusKey::NewIntegerKey(0);
    size_t i = 0, found = 0;
    for (auto _ : state) {
        probe->SetKey(probes[i]);
        found += root->Search(probe) != nullptr;
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(found);
    delete probe;
    state.SetItemsProcessed(state.iterations());
}

// Looks the probes up in turn, one per iteration, in a standard set.
template <typename Set, typename Probe>
void findInTurn(benchmark::State& state, const Set& set, const std::vector<Probe>& probes)
{
    size_t i = 0, found = 0;
    for (auto _ : state) {
        found += set.find(probes[i]) != set.end();
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(found);
    state.SetItemsProcessed(state.iterations());
}

template <typename Set>
void searchIntsPeer(benchmark::State& state, int n, bool hits)
{
    const std::vector<int> values = bench::randomInts(n, 1);
    Set set(values.begin(), values.end());
    std::vector<int> probes = bench::randomInts(n, 2);
    if (!hits)
        for (int& p : probes)
            p += 1;
    findInTurn(state, set, probes);
}

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
    const std::vector<int> values = bench::randomInts(n, 1);
    const std::set<int> set(values.begin(), values.end());
    for (auto _ : state) {
        long sum = 0;
        for (int v : set)
            sum += v;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// Text keys: case-insensitive order on both sides.
int foldCase(char* text, int* length, int)
{
    for (int i = 0; i < *length; ++i) {
        if (text[i] >= 'A' && text[i] <= 'Z')
            text[i] = static_cast<char>(text[i] - 'A' + 'a');
    }
    return 0;
}

struct NoCaseLess {
    bool operator()(const std::string& a, const std::string& b) const
    {
        return strcasecmp(a.c_str(), b.c_str()) < 0;
    }
};

constexpr int kTextKeys = 100000;

void searchText(benchmark::State& state, bool normalizer)
{
    BPlusKey::SetNormalizer(normalizer ? foldCase : nullptr, 0);
    const std::vector<std::string> words = bench::randomWords(kTextKeys, 3);
    BPlusNode* root = new BPlusNode(8192, 255, 1.0f);
    for (const std::string& w : words) {
        root = root->Add(BPlusKey::NewCharKey(w.c_str()), false);  // words are distinct
    }
    std::vector<BPlusKey*> probes;
    for (size_t i = 0; i < words.size(); i += 7)
        probes.push_back(BPlusKey::NewCharKey(words[i].c_str()));
    size_t i = 0, found = 0;
    for (auto _ : state) {
        found += root->Search(probes[i]) != nullptr;
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(found);
    for (BPlusKey* p : probes)
        delete p;
    BPlusNode::DeleteTree(root);
    BPlusKey::SetNormalizer(nullptr, 0);
    state.SetItemsProcessed(state.iterations());
}

void searchTextPeer(benchmark::State& state)
{
    const std::vector<std::string> words = bench::randomWords(kTextKeys, 3);
    const std::set<std::string, NoCaseLess> set(words.begin(), words.end());
    std::vector<std::string> probes;
    for (size_t i = 0; i < words.size(); i += 7)
        probes.push_back(words[i]);
    findInTurn(state, set, probes);
}

// The peer with the tree's storage of a text key: the set holds pointers to
// separately allocated key objects of a tree key's size, each pointing at a
// separately allocated lower-case copy of its text, compared like the
// tree's normalized copies (bytes, then length). Against searchTextPeer it
// shows what reaching each text through two pointers costs a search.
struct TextKeyObject {
    char before[24];  // the tree key's fields ahead of its text pointers
    char* text;
    int length;
    char* folded;
    int foldedLength;
    char after[28];
};
static_assert(sizeof(TextKeyObject) == 80, "the size of a tree key");

struct FoldedLess {
    bool operator()(const TextKeyObject* a, const TextKeyObject* b) const
    {
        const int common = a->foldedLength < b->foldedLength ? a->foldedLength : b->foldedLength;
        const int bytes = std::memcmp(a->folded, b->folded, static_cast<size_t>(common));
        return bytes != 0 ? bytes < 0 : a->foldedLength < b->foldedLength;
    }
};

TextKeyObject* newTextKeyObject(const std::string& word)
{
    auto* key = new TextKeyObject();
    key->length = static_cast<int>(word.size());
    key->text = strdup(word.c_str());
    key->foldedLength = key->length;
    key->folded = strdup(word.c_str());
    foldCase(key->folded, &key->foldedLength, 0);
    return key;
}

void deleteTextKeyObject(TextKeyObject* key)
{
    std::free(key->text);
    std::free(key->folded);
    delete key;
}

void searchTextKeyObjectsPeer(benchmark::State& state)
{
    const std::vector<std::string> words = bench::randomWords(kTextKeys, 3);
    std::set<TextKeyObject*, FoldedLess> set;
    for (const std::string& w : words)
        set.insert(newTextKeyObject(w));
    std::vector<TextKeyObject*> probes;
    for (size_t i = 0; i < words.size(); i += 7)
        probes.push_back(newTextKeyObject(words[i]));
    findInTurn(state, set, probes);
    for (TextKeyObject* p : probes)
        deleteTextKeyObject(p);
    for (TextKeyObject* k : set)
        deleteTextKeyObject(k);
}

void addText(benchmark::State& state, bool normalizer)
{
    BPlusKey::SetNormalizer(normalizer ? foldCase : nullptr, 0);
    const std::vector<std::string> words = bench::randomWords(kTextKeys, 3);
    for (auto _ : state) {
        BPlusNode* root = new BPlusNode(8192, 255, 1.0f);
        for (const std::string& w : words) {
            root = root->Add(BPlusKey::NewCharKey(w.c_str()), false);  // words are distinct
        }
        state.PauseTiming();
        BPlusNode::DeleteTree(root);
        state.ResumeTiming();
    }
    BPlusKey::SetNormalizer(nullptr, 0);
    state.SetItemsProcessed(state.iterations() * kTextKeys);
}

void addTextPeer(benchmark::State& state)
{
    const std::vector<std::string> words = bench::randomWords(kTextKeys, 3);
    for (auto _ : state) {
        auto set = std::make_unique<std::set<std::string, NoCaseLess>>();
        for (const std::string& w : words)
            set->insert(w);
        state.PauseTiming();
        set.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * kTextKeys);
}

const bool registered = [] {
    for (int n : kSizes) {
        for (const Capacity& c : kCapacities) {
            const std::string suffix = ".M" + std::to_string(c.m) + ".N" + std::to_string(n);
            for (bool ascending : {false, true}) {
                const std::string name =
                    std::string("tree.add_") + (ascending ? "ascending" : "random") + suffix;
                benchmark::RegisterBenchmark((name + ":lib").c_str(), [=](benchmark::State& s) {
                    addInts(s, n, c, ascending);
                })->Unit(benchmark::kMillisecond);
                benchmark::RegisterBenchmark((name + ":std").c_str(), [=](benchmark::State& s) {
                    addIntsPeer<std::set<int>>(s, n, ascending);
                })->Unit(benchmark::kMillisecond);
#ifdef ZARNCRT_BENCH_ABSL
                benchmark::RegisterBenchmark((name + ":absl").c_str(), [=](benchmark::State& s) {
                    addIntsPeer<absl::btree_set<int>>(s, n, ascending);
                })->Unit(benchmark::kMillisecond);
#endif
            }
            for (bool hits : {true, false}) {
                const std::string name =
                    std::string("tree.search_") + (hits ? "hit" : "miss") + suffix;
                benchmark::RegisterBenchmark((name + ":lib").c_str(), [=](benchmark::State& s) {
                    searchInts(s, n, c, hits);
                });
                benchmark::RegisterBenchmark((name + ":std").c_str(), [=](benchmark::State& s) {
                    searchIntsPeer<std::set<int>>(s, n, hits);
                });
#ifdef ZARNCRT_BENCH_ABSL
                benchmark::RegisterBenchmark((name + ":absl").c_str(), [=](benchmark::State& s) {
                    searchIntsPeer<absl::btree_set<int>>(s, n, hits);
                });
#endif
            }
            const std::string walk = "tree.walk" + suffix;
            benchmark::RegisterBenchmark((walk + ":lib").c_str(), [=](benchmark::State& s) {
                walkInts(s, n, c);
            })->Unit(benchmark::kMicrosecond);
            benchmark::RegisterBenchmark((walk + ":std").c_str(), [=](benchmark::State& s) {
                walkIntsPeer(s, n);
            })->Unit(benchmark::kMicrosecond);
        }
    }
    benchmark::RegisterBenchmark(
        "tree.add_random.M32.N1000000.peer_keys_as_objects:lib",
        [](benchmark::State& s) { addInts(s, 1000000, kCapacities[2], false); })
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("tree.add_random.M32.N1000000.peer_keys_as_objects:std",
                                 [](benchmark::State& s) { addIntKeyObjectsPeer(s, 1000000); })
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("tree.text_search_normalized.M32.N100000.peer_keys_as_objects:lib",
                                 [](benchmark::State& s) { searchText(s, true); });
    benchmark::RegisterBenchmark("tree.text_search_normalized.M32.N100000.peer_keys_as_objects:std",
                                 searchTextKeyObjectsPeer);
    for (bool normalizer : {true, false}) {
        const std::string tag = normalizer ? "normalized" : "nocase";
        benchmark::RegisterBenchmark(("tree.text_search_" + tag + ".M32.N100000:lib").c_str(),
                                     [=](benchmark::State& s) { searchText(s, normalizer); });
        benchmark::RegisterBenchmark(("tree.text_search_" + tag + ".M32.N100000:std").c_str(),
                                     searchTextPeer);
        benchmark::RegisterBenchmark(("tree.text_add_" + tag + ".M32.N100000:lib").c_str(),
                                     [=](benchmark::State& s) { addText(s, normalizer); })
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("tree.text_add_" + tag + ".M32.N100000:std").c_str(),
                                     addTextPeer)
            ->Unit(benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
