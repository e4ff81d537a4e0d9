// Reads the inputs of wordindex line by line into the index, with a progress
// line on a terminal for large inputs.
#ifndef WORDINDEX_INPUTREADER_H
#define WORDINDEX_INPUTREADER_H

#include <cstdio>
#include <string>

#include "WordIndex.h"
#include "log/IQorLogger.h"

namespace wordindex {

struct ReadTotals {
    long lines = 0;
    long words = 0;
    long long bytes = 0;
};

class InputReader {
public:
    InputReader(WordIndex& index, IQorLogger& log, bool showProgress);

    // Indexes one file ("-": standard input). Returns false, with a message
    // on stderr naming the file and the reason, when it cannot be read.
    bool readFile(const std::string& name, int fileIndex);
    // Indexes a text held in memory (the built-in sample).
    void readText(const char* text, int fileIndex);

    const ReadTotals& totals() const { return total; }

private:
    void indexLine(const char* bytes, long length, int fileIndex, long lineNumber);
    void reportProgress(bool last);

    WordIndex& index;
    IQorLogger& log;
    bool showProgress;
    ReadTotals total;
    CStringBuffer line;
    long long nextProgressAt = 0;
    double startSeconds = 0;
};

}  // namespace wordindex

#endif
