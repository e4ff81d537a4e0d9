// Memory per stored key: the B+ tree (M = 32) against std::set, measured by
// a counting hook on the C allocator that every allocation of the process
// goes through (operator new, the core library's QorMemAlloc, calloc).
#include <malloc.h>

#include <atomic>
#include <set>

#include "BenchUtil.h"
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

void bytesPerKeyStd(benchmark::State& state, int n)
{
    const std::vector<int> values = bench::randomInts(n, 1);
    for (auto _ : state) {
        const long long before = liveBytes;
        auto* set = new std::set<int>(values.begin(), values.end());
        state.counters["bytes_per_key"] = static_cast<double>(liveBytes - before) / n;
        delete set;
    }
}

const bool registered = [] {
    for (int n : {10000, 1000000}) {
        bench::registerPair(
            "memory.bytes_per_key.M32.N" + std::to_string(n),
            [n](benchmark::State& s) { bytesPerKeyLib(s, n); },
            [n](benchmark::State& s) { bytesPerKeyStd(s, n); }, benchmark::kMillisecond);
    }
    return true;
}();

}  // namespace
