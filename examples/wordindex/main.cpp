// wordindex: indexes the words of text files with libzarncrt_core++ and
// answers questions about them. See usageText() or --help.
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "CountingPool.h"
#include "DisplayWidth.h"
#include "InputReader.h"
#include "Options.h"
#include "ReportingLogger.h"
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
        where += " of " + inputLabel(inputs[static_cast<size_t>(data.fileIndex)].name, false);
    }
    return where;
}

// "1 word", "2 words".
std::string counted(long number, const char* noun)
{
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
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

int run(const Options& options)
{
    // A tree whose nodes hold fewer than 3 pointers stores nothing: refuse it
    // here rather than index into it.
    if (!BPlusNode(options.blockSize, options.keySize, 1.0f).IsValid()) {
        std::fprintf(stderr,
                     "wordindex: --block-size %d with --key-size %d gives nodes of fewer than 3 "
                     "pointers\n%s",
                     options.blockSize, options.keySize, usageText());
        return 2;
    }

    ReportingLogger logger(options.logFile);
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
        const int wantedThreads = options.threads > 0 ? options.threads : defaultThreads();
        CountingPool pool(wantedThreads);
        InputReader reader(pool, readBlockBytes(), isatty(fileno(stderr)) != 0);
        // The record of an input comes once it is read and counted, before
        // the next input is read; waiting for its count costs a little
        // overlap, so only when the record is written.
        const bool logInputs = options.logLevel >= IQorLogger::eLogInformation;
        auto inputRead = [&]() {
            const InputFile& input = reader.files().back();
            if (!input.readable) {
                if (!options.logFile.empty()) {  // on stderr the message is already there
                    logger.Error("input", 0, "cannot read %s",
                                 inputLabel(input.name, true).c_str());
                }
                return;
            }
            if (!logInputs) {
                return;
            }
            pool.drain();
            long inputLines = input.bytes > 0 && !input.endsInNewline;
            long inputWords = 0;
            for (std::uint32_t c = input.firstChunk; c < input.endChunk; ++c) {
                inputLines += reader.chunks()[c].newlines;
                inputWords += reader.chunks()[c].words;
            }
            logger.Information("input", "read %s: %s, %s",
                               options.inputs.empty() ? "the built-in sample"
                                                      : inputLabel(input.name, false).c_str(),
                               counted(inputLines, "line").c_str(),
                               counted(inputWords, "word").c_str());
        };
        if (options.inputs.empty()) {
            reader.readText(kSampleText, "the built-in sample");
            inputRead();
        }
        for (const std::string& name : options.inputs) {
            if (!reader.readFile(name)) {
                status = 1;
            }
            inputRead();
        }
        WordTable table = pool.finish();
        const double countedAt = nowSeconds();
        if (pool.threadsRefused() > 0) {
            const int started = wantedThreads - pool.threadsRefused();
            logger.Warning("threads", 0,
                           "the system refused a thread: counted with %s instead of up to %d",
                           started == 0 ? "the main thread" : counted(started, "worker").c_str(),
                           wantedThreads);
        }

        const std::vector<InputFile>& inputs = reader.files();
        const std::deque<ChunkCount>& chunks = reader.chunks();
        long lines = 0, words = 0;
        size_t indexed = 0;
        for (const InputFile& input : inputs) {
            for (std::uint32_t c = input.firstChunk; c < input.endChunk; ++c) {
                lines += chunks[c].newlines;
                words += chunks[c].words;
            }
            lines += input.bytes > 0 && !input.endsInNewline;
            indexed += input.readable;
        }
        const bool named = indexed > 1;

        WordIndex index(options.blockSize, options.keySize, logger);
        index.build(std::move(table), inputs, chunks);
        if (options.minCount > 1) {
            index.removeRarerThan(options.minCount);
        }
        if (options.stats) {
            const double end = nowSeconds();
            const int threads = pool.countingThreads();
            std::fprintf(stderr,
                         "wordindex: stats: reading %.3f s, tokenizing %.3f s (summed over %d "
                         "thread%s), indexing %.3f s, total %.3f s\n"
                         "wordindex: stats: %s, %.0f words/s, peak memory (RSS) %.1f MB\n",
                         reader.readingSeconds(), pool.countingSeconds(), threads,
                         threads == 1 ? "" : "s", end - countedAt, end - start,
                         counted(words, "word").c_str(), end > start ? words / (end - start) : 0.0,
                         peakKilobytes() / 1024.0);
        }

        // What is left: with --min-count the removed words no longer count.
        std::printf("Indexed %s: %s, %s, %s.\n",
                    counted(static_cast<long>(indexed), "input").c_str(),
                    counted(lines, "line").c_str(), counted(index.occurrences(), "word").c_str(),
                    counted(index.distinctWords(), "distinct word").c_str());
        const long leaves = index.leafCount();
        std::printf("B+ tree: height %d, %ld %s, node capacity M = %d, %s of key text.\n",
                    index.treeHeight(), leaves, leaves == 1 ? "leaf" : "leaves",
                    index.nodeCapacity(), counted(index.keyTextBytes(), "byte").c_str());

        if (options.top > 0 && index.distinctWords() > 0) {
            std::printf("\nTop %s:\n", counted(options.top, "word").c_str());
            int rank = 0;
            index.forEachTop(options.top, [&](const char* word, WordData& data) {
                std::printf("%4d. %s %ld\n", ++rank, padded(word, 20).c_str(), data.count);
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
                std::printf("  %s %ld\n", padded(word, 20).c_str(), data.count);
                ++listed;
            });
            if (listed == 0)
                std::printf("  (none)\n");
        }
        for (const auto& range : options.ranges) {
            std::printf("\nWords from \"%s\" to \"%s\":\n", range.first.c_str(),
                        range.second.c_str());
            long listed = 0;
            index.forEachInRange(
                range.first.c_str(), range.second.c_str(), [&](const char* word, WordData& data) {
                    std::printf("  %s %ld\n", padded(word, 20).c_str(), data.count);
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
    if (logger.writeFailed() && status == 0) {
        status = 1;
    }
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    // No exception may end the program without a word: memory that runs out
    // (std::bad_alloc) or anything else becomes a message and exit status 1.
    try {
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
        const int status = run(options);
        return status == 2 ? status : finishOutput(status);
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "wordindex: out of memory\n");
    } catch (const std::exception& e) {
        std::fprintf(stderr, "wordindex: %s\n", e.what());
    } catch (...) {
        std::fprintf(stderr, "wordindex: unexpected error\n");
    }
    std::fflush(stdout);
    return 1;
}
