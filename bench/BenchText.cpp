// CStringBuffer against std::string (and snprintf for formatting).
#include <cstdio>
#include <cstring>

#include "BenchUtil.h"
#include "text/CStringBuffer.h"

namespace {

constexpr int kTarget = 1 << 20;  // appends grow the text to 1 MB

const char kPiece[] = "0123456789abcdef";  // 16-byte pieces

void appendLib(benchmark::State& state)
{
    for (auto _ : state) {
        CStringBuffer text;
        while (text.length() < kTarget)
            text.append(kPiece, 16);
        benchmark::DoNotOptimize(text.getBufferPointer());
    }
    state.SetBytesProcessed(state.iterations() * kTarget);
}

void appendStd(benchmark::State& state)
{
    for (auto _ : state) {
        std::string text;
        while (text.size() < static_cast<size_t>(kTarget))
            text.append(kPiece, 16);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetBytesProcessed(state.iterations() * kTarget);
}

void formatLib(benchmark::State& state)
{
    CStringBuffer text;
    int i = 0;
    for (auto _ : state) {
        text.format("%s #%d: %.3f (%x)", "record", i, i * 0.5, i);
        ++i;
        benchmark::DoNotOptimize(text.getBufferPointer());
    }
}

void formatStd(benchmark::State& state)
{
    std::string text;
    int i = 0;
    for (auto _ : state) {
        char scratch[256];
        const int n =
            std::snprintf(scratch, sizeof scratch, "%s #%d: %.3f (%x)", "record", i, i * 0.5, i);
        text.assign(scratch, static_cast<size_t>(n));
        ++i;
        benchmark::DoNotOptimize(text.data());
    }
}

// A 64 KB text with a separator every 16 bytes.
std::string sampleText()
{
    std::string text;
    while (text.size() < 65536)
        text += "alpha-beta-gamma";
    return text;
}

void replaceStdAll(std::string& text, const std::string& from, const std::string& to)
{
    for (size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

void replaceLib(benchmark::State& state, const char* from, const char* to)
{
    const std::string source = sampleText();
    CStringBuffer text;
    for (auto _ : state) {
        text.set(source.data(), static_cast<int>(source.size()));
        text.replace(from, to);
        benchmark::DoNotOptimize(text.getBufferPointer());
    }
}

void replaceStd(benchmark::State& state, const char* from, const char* to)
{
    const std::string source = sampleText();
    std::string text;
    for (auto _ : state) {
        text = source;
        replaceStdAll(text, from, to);
        benchmark::DoNotOptimize(text.data());
    }
}

void findLib(benchmark::State& state, bool noCase)
{
    std::string source = sampleText();
    source += "NEEDLE";
    CStringBuffer text;
    text.set(source.data(), static_cast<int>(source.size()));
    for (auto _ : state)
        benchmark::DoNotOptimize(text.find("needle", 0, noCase));
}

void findStd(benchmark::State& state, bool noCase)
{
    std::string source = sampleText();
    source += "NEEDLE";
    for (auto _ : state) {
        if (noCase) {
            // The peer of a case-folding search: upper-case a copy, then find.
            std::string upper = source;
            for (char& c : upper)
                c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            benchmark::DoNotOptimize(upper.find("NEEDLE"));
        } else {
            benchmark::DoNotOptimize(source.find("needle"));
        }
    }
}

const bool registered = [] {
    bench::registerPair("text.append_16B_to_1MB", appendLib, appendStd);
    bench::registerPair("text.format", formatLib, formatStd, benchmark::kNanosecond);
    bench::registerPair(
        "text.replace_longer_64KB", [](benchmark::State& s) { replaceLib(s, "-", "--"); },
        [](benchmark::State& s) { replaceStd(s, "-", "--"); });
    bench::registerPair(
        "text.replace_shorter_64KB", [](benchmark::State& s) { replaceLib(s, "gamma", "g"); },
        [](benchmark::State& s) { replaceStd(s, "gamma", "g"); });
    bench::registerPair(
        "text.find_64KB", [](benchmark::State& s) { findLib(s, false); },
        [](benchmark::State& s) { findStd(s, false); });
    bench::registerPair(
        "text.find_nocase_64KB", [](benchmark::State& s) { findLib(s, true); },
        [](benchmark::State& s) { findStd(s, true); });
    return true;
}();

}  // namespace
