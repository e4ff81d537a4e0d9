// Helpers shared by the benchmarks: naming of library/peer pairs and
// reproducible inputs.
//
// Every case is registered twice, as "<case>:lib" and "<case>:std"; bench/run
// pairs them by the name before the colon and reports lib time / std time.
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

using Case = std::function<void(benchmark::State&)>;

// Registers "<name>:lib" and "<name>:std".
inline void registerPair(const std::string& name, Case lib, Case peer,
                         benchmark::TimeUnit unit = benchmark::kMicrosecond)
{
    benchmark::RegisterBenchmark((name + ":lib").c_str(), lib)->Unit(unit);
    benchmark::RegisterBenchmark((name + ":std").c_str(), peer)->Unit(unit);
}

}  // namespace bench

#endif
