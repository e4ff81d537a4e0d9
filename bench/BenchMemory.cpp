// Memory per stored key: the B+ tree (M = 32) against its peers, measured by
// a counting hook on the C allocator that every allocation of the process
// goes through (operator new, the core library's QorMemAlloc, calloc).
//
// The tree's count includes its key objects; so does the count of the
// key-object peers (BenchKeys.h), which hold the same objects. std::set<int>
// and absl::btree_set<int> hold plain values.
#include <malloc.h>

#include <atomic>
#include <set>
#include <string>

#include "BenchKeys.h"
#include "BenchUtil.h"
#include "absl/container/btree_set.h"
#include "btree/BPlusKey.h"
#include "btree/BPlusNode.h"

extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void __libc_free(void*);
}

namespace {
std::atomic<long long> liveBytes{0};

void* counted(void* p)
{
    if (p != nullptr)
        liveBytes += static_cast<long long>(malloc_usable_size(p));
    return p;
}
}  // namespace

extern "C" {
void* malloc(size_t n)
{
    return counted(__libc_malloc(n));
}
void* calloc(size_t n, size_t size)
{
    return counted(__libc_calloc(n, size));
}
void* realloc(void* p, size_t n)
{
    if (p != nullptr)
        liveBytes -= static_cast<long long>(malloc_usable_size(p));
    return counted(__libc_realloc(p, n));
}
void free(void* p)
{
    if (p != nullptr)
        liveBytes -= static_cast<long long>(malloc_usable_size(p));
    __libc_free(p);
}
}

namespace {

// Keys added in random order on every side; the figure is the growth of
// the live heap while the container is filled.
void bytesPerKeyLib(benchmark::State& state, int n)
{
    const std::vector<int> values = bench::randomInts(n, 1);
    for (auto _ : state) {
        const long long before = liveBytes;
        BPlusNode* root = new BPlusNode(8192, 255, 1.0f);
        for (int v : values)
            root = root->Add(BPlusKey::NewIntegerKey(v), false);
        state.counters["bytes_per_key"] = static_cast<double>(liveBytes - before) / n;
        BPlusNode::DeleteTree(root);
    }
}

template <typename Set>
void bytesPerKeyValues(benchmark::State& state, int n)
{
    const std::vector<int> values = bench::randomInts(n, 1);
    for (auto _ : state) {
        const long long before = liveBytes;
        auto* set = new Set();
        for (int v : values)
            set->insert(v);
        state.counters["bytes_per_key"] = static_cast<double>(liveBytes - before) / n;
        delete set;
    }
}

template <typename Set>
void bytesPerKeyObjects(benchmark::State& state, int n)
{
    const std::vector<int> values = bench::randomInts(n, 1);
    for (auto _ : state) {
        const long long before = liveBytes;
        Set* set = bench::newIntKeySet<Set>(values, false);
        state.counters["bytes_per_key"] = static_cast<double>(liveBytes - before) / n;
        bench::deleteKeySet(set);
    }
}

// The byte counts do not vary from run to run: one iteration, no repetitions.
void registerMemory(const std::string& name, const std::string& side, bench::Case run)
{
    bench::registerSide(name, side, std::move(run), benchmark::kMillisecond)
        ->Iterations(1)
        ->Repetitions(1);
}

const bool registered = [] {
    for (int n : {10000, 1000000}) {
        const std::string name = "memory.bytes_per_key.M32.N" + std::to_string(n);
        registerMemory(name, "lib", [n](benchmark::State& s) { bytesPerKeyLib(s, n); });
        registerMemory(name, "std",
                       [n](benchmark::State& s) { bytesPerKeyValues<std::set<int>>(s, n); });
        registerMemory(name, "absl",
                       [n](benchmark::State& s) { bytesPerKeyValues<absl::btree_set<int>>(s, n); });
        registerMemory(name, bench::kStdKeys,
                       [n](benchmark::State& s) { bytesPerKeyObjects<bench::StdKeySet>(s, n); });
        registerMemory(name, bench::kAbslKeys,
                       [n](benchmark::State& s) { bytesPerKeyObjects<bench::AbslKeySet>(s, n); });
    }
    return true;
}();

}  // namespace
