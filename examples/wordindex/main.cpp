// wordindex: indexes the words of text files with libzarncrt_core++ and
// answers questions about them. See usageText() or --help.
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "CountingPool.h"
#include "InputReader.h"
#include "Options.h"
#include "SampleText.h"
#include "WordIndex.h"
#include "btree/BPlusNode.h"
#include "log/QorFileLogger.h"

using namespace wordindex;

namespace {

#ifndef WORDINDEX_VERSION
#error "WORDINDEX_VERSION must be defined by the build"
#endif
constexpr const char* kVersion = "wordindex " WORDINDEX_VERSION " (libzarncrt_core++ 2)";

// Bytes read at a time. WORDINDEX_READ_BLOCK overrides it, so that tests
// can make words straddle many block ends.
constexpr std::size_t kReadBlock = 1u << 20;

std::size_t readBlockBytes()
{
    const char* text = std::getenv("WORDINDEX_READ_BLOCK");
    if (text != nullptr) {
        char* end = nullptr;
        const unsigned long long value = std::strtoull(text, &end, 10);
        if (end != text && *end == '\0' && value > 0 && value <= (1ull << 30)) {
            return static_cast<std::size_t>(value);
        }
    }
    return kReadBlock;
}

int defaultThreads()
{
    const long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online < 1 ? 1 : online > 8 ? 8 : static_cast<int>(online);
}

double nowSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

std::string firstOccurrence(const WordData& data, const std::vector<InputFile>& inputs, bool named)
{
    std::string where = "line " + std::to_string(data.firstLine);
    if (named) {
        const std::string& name = inputs[static_cast<size_t>(data.fileIndex)].name;
        where += " of " + (name == "-" ? std::string("standard input") : name);
    }
    return where;
}

// Standard output is the program's result: a failed write or close is an
// error of its own (exit 1) whatever else happened.
int finishOutput(int status)
{
    const bool failed = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
    const int writeErrno = errno;
    if (std::fclose(stdout) != 0 || failed) {
        std::fprintf(stderr, "wordindex: cannot write standard output: %s\n",
                     std::strerror(failed ? writeErrno : errno));
        return 1;
    }
    return status;
}

long peakKilobytes()
{
    struct rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options;
    std::string error;
    if (!parseOptions(argc, argv, options, error)) {
        std::fprintf(stderr, "wordindex: %s\n%s", error.c_str(), usageText());
        return 2;
    }
    if (options.help) {
        std::fputs(usageText(), stdout);
        return finishOutput(0);
    }
    if (options.version) {
        std::puts(kVersion);
        return finishOutput(0);
    }
    if (options.printSample) {
        std::fputs(kSampleText, stdout);
        return finishOutput(0);
    }
    // A tree whose nodes hold fewer than 3 pointers stores nothing: refuse it
    // here rather than index into it.
    if (!BPlusNode(options.blockSize, options.keySize, 1.0f).IsValid()) {
        std::fprintf(stderr,
                     "wordindex: --block-size %d with --key-size %d gives nodes of fewer than 3 "
                     "pointers\n%s",
                     options.blockSize, options.keySize, usageText());
        return 2;
    }

    QorFileLogger logger;
    logger.SetLogLevel(options.logLevel);
    logger.ToggleDateUsage(options.logDate);
    if (options.logFile.empty()) {
        logger.SetFile(stderr, false);
    } else if (options.logLevel != IQorLogger::eLogNone) {
        errno = 0;
        if (!logger.SetFile(options.logFile.c_str(), "a")) {
            const int openErrno = errno;
            std::fprintf(stderr, "wordindex: cannot open log file '%s': %s\n",
                         options.logFile.c_str(),
                         openErrno != 0 ? std::strerror(openErrno) : "unknown error");
            return 2;
        }
    }

    // Read blocks and table arrays are large and short-lived: keep them in
    // their own mappings, so that freeing them gives the memory back instead
    // of leaving it in the heap while the tree is built.
    mallopt(M_MMAP_THRESHOLD, 256 << 10);

    int status = 0;
    {
        const double start = nowSeconds();
        CountingPool pool(options.threads > 0 ? options.threads : defaultThreads());
        InputReader reader(pool, readBlockBytes(), isatty(fileno(stderr)) != 0);
        if (options.inputs.empty()) {
            reader.readText(kSampleText, "the built-in sample");
        }
        for (const std::string& name : options.inputs) {
            if (!reader.readFile(name)) {
                status = 1;
            }
        }
        WordTable counted = pool.finish();
        const double countedAt = nowSeconds();

        const std::vector<InputFile>& inputs = reader.files();
        const std::deque<ChunkCount>& chunks = reader.chunks();
        long lines = 0, words = 0;
        size_t indexed = 0;
        std::vector<long> inputLines(inputs.size()), inputWords(inputs.size());
        for (size_t i = 0; i < inputs.size(); ++i) {
            const InputFile& input = inputs[i];
            for (std::uint32_t c = input.firstChunk; c < input.endChunk; ++c) {
                inputLines[i] += chunks[c].newlines;
                inputWords[i] += chunks[c].words;
            }
            inputLines[i] += input.bytes > 0 && !input.endsInNewline;
            lines += inputLines[i];
            words += inputWords[i];
            indexed += input.readable;
        }
        const bool named = indexed > 1;

        WordIndex index(options.blockSize, options.keySize, logger);
        index.build(std::move(counted), inputs, chunks, [&](int i) {
            const InputFile& input = inputs[static_cast<size_t>(i)];
            if (!input.readable) {
                if (!options.logFile.empty()) {  // on stderr the message is already there
                    logger.Error("input", 0, "cannot read %s", input.name.c_str());
                }
            } else if (options.inputs.empty()) {
                logger.Information("input", "read the built-in sample: %ld lines, %ld words",
                                   inputLines[static_cast<size_t>(i)],
                                   inputWords[static_cast<size_t>(i)]);
            } else {
                logger.Information("input", "read %s: %ld lines, %ld words",
                                   input.name == "-" ? "standard input" : input.name.c_str(),
                                   inputLines[static_cast<size_t>(i)],
                                   inputWords[static_cast<size_t>(i)]);
            }
        });
        if (options.minCount > 1) {
            index.removeRarerThan(options.minCount);
        }
        if (options.stats) {
            const double end = nowSeconds();
            const int threads = options.threads > 0 ? options.threads : defaultThreads();
            std::fprintf(stderr,
                         "wordindex: stats: reading %.3f s, tokenizing %.3f s (summed over %d "
                         "thread%s), indexing %.3f s, total %.3f s\n"
                         "wordindex: stats: %ld words, %.0f words/s, peak memory (RSS) %.1f MB\n",
                         reader.readingSeconds(), pool.countingSeconds(), threads,
                         threads == 1 ? "" : "s", end - countedAt, end - start, words,
                         end > start ? words / (end - start) : 0.0, peakKilobytes() / 1024.0);
        }

        std::printf("Indexed %zu input%s: %ld lines, %ld words, %ld distinct words.\n", indexed,
                    indexed == 1 ? "" : "s", lines, words, index.distinctWords());
        const long leaves = index.leafCount();
        std::printf("B+ tree: height %d, %ld %s, node capacity M = %d, %ld bytes of key text.\n",
                    index.treeHeight(), leaves, leaves == 1 ? "leaf" : "leaves",
                    index.nodeCapacity(), index.keyTextBytes());

        if (options.top > 0 && index.distinctWords() > 0) {
            std::printf("\nTop %d words:\n", options.top);
            int rank = 0;
            index.forEachTop(options.top, [&](const char* word, WordData& data) {
                std::printf("%4d. %-20s %ld\n", ++rank, word, data.count);
            });
        }
        if (!options.find.empty()) {
            std::printf("\nFind:\n");
            for (const std::string& word : options.find) {
                WordData* data = index.find(word.c_str());
                if (data == nullptr) {
                    std::printf("  %s: not found\n", word.c_str());
                } else {
                    std::printf("  %s: %ld, first on %s\n", word.c_str(), data->count,
                                firstOccurrence(*data, inputs, named).c_str());
                }
            }
        }
        for (const std::string& prefix : options.prefixes) {
            std::printf("\nWords starting with \"%s\":\n", prefix.c_str());
            long listed = 0;
            index.forEachWithPrefix(prefix.c_str(), [&](const char* word, WordData& data) {
                std::printf("  %-20s %ld\n", word, data.count);
                ++listed;
            });
            if (listed == 0)
                std::printf("  (none)\n");
        }
        for (const auto& range : options.ranges) {
            std::printf("\nWords from \"%s\" to \"%s\":\n", range.first.c_str(),
                        range.second.c_str());
            long listed = 0;
            index.forEachInRange(range.first.c_str(), range.second.c_str(),
                                 [&](const char* word, WordData& data) {
                                     std::printf("  %-20s %ld\n", word, data.count);
                                     ++listed;
                                 });
            if (listed == 0)
                std::printf("  (none)\n");
        }
        if (options.printTree) {
            std::printf("\nWord tree:");
            std::fflush(stdout);
            index.printTree(stdout);
        }
    }
    return finishOutput(status);
}
