// Shared main of the benchmark programs.
#include <benchmark/benchmark.h>

BENCHMARK_MAIN();
