// Command line of wordindex.
#ifndef WORDINDEX_OPTIONS_H
#define WORDINDEX_OPTIONS_H

#include <string>
#include <vector>

#include "log/IQorLogger.h"

namespace wordindex {

struct Options {
    std::vector<std::string> inputs;    // files, "-" for standard input
    std::vector<std::string> find;      // words to look up exactly
    std::vector<std::string> prefixes;  // prefixes to list the words of
    int top = 10;
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
