// QorStringMap against std::unordered_map<std::string, void*>.
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>

#include "BenchUtil.h"
#include "containers/QorStringMap.h"
#include "text/CStringBuffer.h"

namespace {

constexpr int kLookupKeys = 100000;

std::vector<std::string> keys(int n, const char* prefix)
{
    std::vector<std::string> out;
    out.reserve(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        out.push_back(prefix + std::to_string(i * 7919));
    return out;
}

void lookupLib(benchmark::State& state, bool present)
{
    const std::vector<std::string> stored = keys(kLookupKeys, "user:");
    const std::vector<std::string> probes = present ? stored : keys(kLookupKeys, "none:");
    // Eight slots per key: the collision count can never pass an eighth of
    // the slots, so the map never runs a growth step.
    QorStringMap map(8 * kLookupKeys, eQorAllocNone);
    for (const std::string& k : stored)
        map.insert(k.c_str(), const_cast<char*>(k.c_str()));
    size_t i = 0;
    long hits = 0;
    for (auto _ : state) {
        hits += map.get(probes[i].c_str()) != nullptr;
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(hits);
    state.SetItemsProcessed(state.iterations());
}

void lookupStd(benchmark::State& state, bool present)
{
    const std::vector<std::string> stored = keys(kLookupKeys, "user:");
    const std::vector<std::string> probes = present ? stored : keys(kLookupKeys, "none:");
    std::unordered_map<std::string, void*> map;
    map.reserve(kLookupKeys);
    for (const std::string& k : stored)
        map.emplace(k, const_cast<char*>(k.c_str()));
    size_t i = 0;
    long hits = 0;
    for (auto _ : state) {
        // The peer gets a const char* too, as an application would pass it.
        hits += map.find(probes[i].c_str()) != map.end();
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(hits);
    state.SetItemsProcessed(state.iterations());
}

// The peer again, but with every key's text in a block of its own of the size
// a map item's key buffer takes (4092 bytes): the difference between this
// and lookupStd is what the spread-out key storage costs a lookup.
void lookupStdSpreadKeys(benchmark::State& state, bool present)
{
    const std::vector<std::string> stored = keys(kLookupKeys, "user:");
    const std::vector<std::string> probes = present ? stored : keys(kLookupKeys, "none:");
    constexpr size_t kKeyBlock = 4092;
    std::vector<char*> blocks;
    std::unordered_map<std::string_view, void*> map;
    map.reserve(kLookupKeys);
    for (const std::string& k : stored) {
        char* block = static_cast<char*>(std::calloc(1, kKeyBlock));
        std::memcpy(block, k.c_str(), k.size() + 1);
        blocks.push_back(block);
        map.emplace(std::string_view(block, k.size()), block);
    }
    size_t i = 0;
    long hits = 0;
    for (auto _ : state) {
        hits += map.find(std::string_view(probes[i].c_str())) != map.end();
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(hits);
    for (char* block : blocks)
        std::free(block);
    state.SetItemsProcessed(state.iterations());
}

void insertLib(benchmark::State& state, int n, bool sizedUpFront)
{
    const std::vector<std::string> stored = keys(n, "item-");
    for (auto _ : state) {
        QorStringMap map(sizedUpFront ? 8 * n : 32, eQorAllocNone);
        for (const std::string& k : stored)
            map.insert(k.c_str(), nullptr);
        benchmark::DoNotOptimize(map.count());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void insertStd(benchmark::State& state, int n, bool sizedUpFront)
{
    const std::vector<std::string> stored = keys(n, "item-");
    for (auto _ : state) {
        std::unordered_map<std::string, void*> map;
        if (sizedUpFront)
            map.reserve(static_cast<size_t>(n));
        for (const std::string& k : stored)
            map.emplace(k, nullptr);
        benchmark::DoNotOptimize(map.size());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// The map grown with reserve as the item count doubles, as an application
// that does not know its final size would do it: every growth is one rebuild
// to twice the room, so the total cost stays linear.
void insertLibReserveIdiom(benchmark::State& state, int n)
{
    const std::vector<std::string> stored = keys(n, "item-");
    for (auto _ : state) {
        QorStringMap map(eQorAllocNone);
        int room = 0;
        int inserted = 0;
        for (const std::string& k : stored) {
            if (inserted == room) {
                room = room == 0 ? 1024 : 2 * room;
                map.reserve(room);
            }
            map.insert(k.c_str(), nullptr);
            ++inserted;
        }
        benchmark::DoNotOptimize(map.count());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

const bool registered = [] {
    bench::registerPair(
        "map.lookup_present.N100000", [](benchmark::State& s) { lookupLib(s, true); },
        [](benchmark::State& s) { lookupStd(s, true); }, benchmark::kNanosecond);
    bench::registerPair(
        "map.lookup_absent.N100000", [](benchmark::State& s) { lookupLib(s, false); },
        [](benchmark::State& s) { lookupStd(s, false); }, benchmark::kNanosecond);
    bench::registerPair(
        "map.lookup_present.N100000.peer_keys_in_4KB_blocks",
        [](benchmark::State& s) { lookupLib(s, true); },
        [](benchmark::State& s) { lookupStdSpreadKeys(s, true); }, benchmark::kNanosecond);
    // The default map's insertion is quadratic: from 10^4 keys on, one
    // iteration of the library's side takes seconds.
    for (int n : {1000, 2000, 5000, 10000, 20000}) {
        const std::string name = "map.insert_default.N" + std::to_string(n);
        auto* lib = bench::registerSide(
            name, "lib", [n](benchmark::State& s) { insertLib(s, n, false); },
            benchmark::kMicrosecond);
        bench::registerSide(
            name, "std", [n](benchmark::State& s) { insertStd(s, n, false); },
            benchmark::kMicrosecond);
        if (n >= 10000)
            bench::fewerRepetitions(lib);
    }
    for (int n : {5000, 20000}) {
        bench::registerPair(
            "map.insert_sized.N" + std::to_string(n),
            [n](benchmark::State& s) { insertLib(s, n, true); },
            [n](benchmark::State& s) { insertStd(s, n, true); });
    }
    // At 10^6 keys the map's items take 4 GB: seconds per iteration.
    for (int n : {1000, 10000, 100000, 1000000}) {
        const std::string name = "map.insert_reserve_idiom.N" + std::to_string(n);
        auto* lib = bench::registerSide(
            name, "lib", [n](benchmark::State& s) { insertLibReserveIdiom(s, n); },
            benchmark::kMicrosecond);
        bench::registerSide(
            name, "std", [n](benchmark::State& s) { insertStd(s, n, false); },
            benchmark::kMicrosecond);
        if (n == 1000000)
            bench::fewerRepetitions(lib);
    }
    return true;
}();

}  // namespace
