// Helpers shared by the benchmarks: naming of library/peer pairs and
// reproducible inputs.
//
// Every case is registered once per side, as "<case>:lib" for the library and
// "<case>:<peer>" for each peer measured against it (the peer names are
// listed in bench/report.py); bench/run groups the sides by the name before
// the colon and reports lib time / peer time for every peer.
#ifndef ZARNCRT_BENCH_BENCHUTIL_H
#define ZARNCRT_BENCH_BENCHUTIL_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace bench {

inline std::vector<int> randomInts(int n, unsigned seed)
{
    std::vector<int> values(static_cast<size_t>(n));
    // Even values only, so that odd values are guaranteed misses.
    std::iota(values.begin(), values.end(), 0);
    for (int& v : values)
        v *= 2;
    std::shuffle(values.begin(), values.end(), std::mt19937(seed));
    return values;
}

inline std::vector<std::string> randomWords(int n, unsigned seed)
{
    // Distinct even when case is ignored, so that no insertion is refused.
    // Each word depends only on the ones before it: the first n words of
    // randomWords(n + m, seed) are randomWords(n, seed), and the m after them
    // are guaranteed absent from those, case ignored (miss probes).
    std::mt19937 rng(seed);
    std::vector<std::string> words;
    std::unordered_set<std::string> seen;
    words.reserve(static_cast<size_t>(n));
    const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
    while (static_cast<int>(words.size()) < n) {
        std::string w(8 + rng() % 9, ' ');
        std::string folded(w.size(), ' ');
        for (size_t i = 0; i < w.size(); ++i) {
            w[i] = letters[rng() % 52];
            folded[i] = static_cast<char>(std::tolower(static_cast<unsigned char>(w[i])));
        }
        if (seen.insert(folded).second)
            words.push_back(w);
    }
    return words;
}

// Looks the probes up in turn, one per iteration; lookup(probe) tells
// whether the probe was found.
template <typename Probe, typename Lookup>
void findInTurn(benchmark::State& state, const std::vector<Probe>& probes, Lookup lookup)
{
    size_t i = 0, found = 0;
    for (auto _ : state) {
        found += lookup(probes[i]);
        if (++i == probes.size())
            i = 0;
    }
    benchmark::DoNotOptimize(found);
    state.SetItemsProcessed(state.iterations());
}

using Case = std::function<void(benchmark::State&)>;

// Registers "<name>:<side>"; the caller may set further options on the
// benchmark returned.
inline benchmark::internal::Benchmark* registerSide(const std::string& name,
                                                    const std::string& side, Case run,
                                                    benchmark::TimeUnit unit)
{
    return benchmark::RegisterBenchmark((name + ":" + side).c_str(), std::move(run))->Unit(unit);
}

// Registers "<name>:lib" and "<name>:std".
inline void registerPair(const std::string& name, Case lib, Case peer,
                         benchmark::TimeUnit unit = benchmark::kMicrosecond)
{
    registerSide(name, "lib", std::move(lib), unit);
    registerSide(name, "std", std::move(peer), unit);
}

// Cases whose single iteration takes seconds: bench/run asks every case for
// five repetitions and reports their median, which would make these few
// dominate the run; three still give a median that one slow outlier cannot
// move.
inline benchmark::internal::Benchmark* fewerRepetitions(benchmark::internal::Benchmark* b)
{
    return b->Repetitions(3);
}

}  // namespace bench

#endif
