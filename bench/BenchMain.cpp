// Shared main of the benchmark programs.
#include <benchmark/benchmark.h>
#include <malloc.h>

int main(int argc, char** argv)
{
    // Freed memory stays in the process: otherwise glibc hands the top of
    // the heap back to the kernel after a case releases its container, and
    // the next repetition's first touch of every page (a page fault each)
    // lands in whichever side happens to run next. Every side runs on warm
    // pages instead.
    mallopt(M_TRIM_THRESHOLD, 1 << 30);
    mallopt(M_MMAP_THRESHOLD, 1 << 30);
    mallopt(M_MXFAST, 0);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
