// wordindex: indexes the words of text files with libzarncrt_core++ and
// answers questions about them. See usageText() or --help.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "InputReader.h"
#include "Options.h"
#include "SampleText.h"
#include "WordIndex.h"
#include "btree/BPlusNode.h"
#include "log/QorFileLogger.h"

using namespace wordindex;

namespace {

constexpr const char* kVersion = "wordindex 2.0.0 (libzarncrt_core++ 2)";

// Slots for the string map, chosen so that it never grows while indexing.
// The map grows once its collisions pass an eighth of its slots, which two
// slots per distinct word avoid; distinct words are far fewer than a tenth
// of the bytes in real text. Standard input has no size to go by, so it
// gets room for half a million distinct words.
int mapSlots(const std::vector<std::string>& inputs)
{
    long long bytes = 0;
    for (const std::string& name : inputs) {
        if (name == "-") {
            bytes += 5LL << 20;
            continue;
        }
        FILE* file = std::fopen(name.c_str(), "rb");
        if (file != nullptr && std::fseek(file, 0, SEEK_END) == 0) {
            bytes += std::ftell(file);
        }
        if (file != nullptr) std::fclose(file);
    }
    const long long slots = bytes / 5;
    return slots < 4096 ? 4096 : slots > (1 << 22) ? (1 << 22) : static_cast<int>(slots);
}

std::string firstOccurrence(const WordData& data, const std::vector<std::string>& names)
{
    std::string where = "line " + std::to_string(data.firstLine);
    if (names.size() > 1) {
        where += " of " + names[static_cast<size_t>(data.fileIndex)];
    }
    return where;
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
        return 0;
    }
    if (options.version) {
        std::puts(kVersion);
        return 0;
    }
    if (options.printSample) {
        std::fputs(kSampleText, stdout);
        return 0;
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
    } else if (options.logLevel != IQorLogger::eLogNone &&
               !logger.SetFile(options.logFile.c_str(), "a")) {
        std::fprintf(stderr, "wordindex: cannot open log file '%s'\n", options.logFile.c_str());
        return 2;
    }

    int status = 0;
    std::vector<std::string> names;
    {
        WordIndex index(options.blockSize, options.keySize, mapSlots(options.inputs), logger);
        InputReader reader(index, logger, isatty(fileno(stderr)) != 0);
        if (options.inputs.empty()) {
            names.push_back("the built-in sample");
            reader.readText(kSampleText, 0);
        }
        for (const std::string& name : options.inputs) {
            names.push_back(name == "-" ? "standard input" : name);
            if (!reader.readFile(name, static_cast<int>(names.size() - 1))) {
                if (!options.logFile.empty()) {  // on stderr the message is already there
                    logger.Error("input", 0, "cannot read %s", name.c_str());
                }
                status = 1;
            }
        }

        const ReadTotals& totals = reader.totals();
        std::printf("Indexed %zu input%s: %ld lines, %ld words, %ld distinct words.\n", names.size(),
                    names.size() == 1 ? "" : "s", totals.lines, totals.words, index.distinctWords());
        const long leaves = index.leafCount();
        std::printf("B+ tree: height %d, %ld %s, node capacity M = %d, %ld bytes of key text.\n",
                    index.treeHeight(), leaves, leaves == 1 ? "leaf" : "leaves", index.nodeCapacity(),
                    index.keyTextBytes());

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
                                firstOccurrence(*data, names).c_str());
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
            if (listed == 0) std::printf("  (none)\n");
        }
        if (options.printTree) {
            std::printf("\nWord tree:");
            std::fflush(stdout);
            index.printTree(stdout);
        }
    }
    return status;
}
