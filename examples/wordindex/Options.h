// Command line of wordindex.
#ifndef WORDINDEX_OPTIONS_H
#define WORDINDEX_OPTIONS_H

#include <string>
#include <utility>
#include <vector>

#include "log/IQorLogger.h"

namespace wordindex {

// The most worker threads --threads accepts.
constexpr int kMaxThreads = 256;

struct Options {
    std::vector<std::string> inputs;                          // files, "-" for standard input
    std::vector<std::string> find;                            // words to look up exactly
    std::vector<std::string> prefixes;                        // prefixes to list the words of
    std::vector<std::pair<std::string, std::string>> ranges;  // FROM, TO of each --range FROM..TO
    int top = 10;
    int minCount = 0;    // words seen fewer times are dropped after indexing
    int threads = 0;     // 0: one per online CPU, at most 8
    bool stats = false;  // timings and peak memory on stderr
    bool printTree = false;
    int blockSize = 4096;  // with keySize 128 the nodes hold 31 pointers
    int keySize = 128;
    std::string logFile;  // empty: standard error
    IQorLogger::tagELogLevel logLevel = IQorLogger::eLogWarning;
    bool logDate = true;
    bool help = false;
    bool version = false;
    bool printSample = false;  // write the built-in sample text and stop
};

// Parses argv. Returns false and sets error for a bad command line.
bool parseOptions(int argc, char** argv, Options& options, std::string& error);

// The usage text.
const char* usageText();

}  // namespace wordindex

#endif
