// Reads the inputs of wordindex in large blocks and hands them, cut where
// no word continues, to the counting pool. Keeps what the summary and the
// index need to know per input and per chunk.
#ifndef WORDINDEX_INPUTREADER_H
#define WORDINDEX_INPUTREADER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "CountingPool.h"

namespace wordindex {

// One input as read.
struct InputFile {
    std::string name;  // as given ("-": standard input)
    bool readable = true;
    std::uint32_t firstChunk = 0;  // its chunks are firstChunk .. endChunk - 1
    std::uint32_t endChunk = 0;
    long long bytes = 0;
    bool endsInNewline = false;  // the last byte read was a line end
};

// How messages name an input: "standard input" for "-", else the name in
// single quotes when quoted is true (error messages), bare otherwise.
std::string inputLabel(const std::string& name, bool quoted);

class InputReader {
public:
    // blockBytes: how much to read at a time (tests use tiny blocks).
    InputReader(CountingPool& pool, std::size_t blockBytes, bool showProgress);
    // Abandons the chunks the pool has not counted yet: their results would
    // go to this reader's chunk list.
    ~InputReader();
    InputReader(InputReader const&) = delete;
    InputReader& operator=(InputReader const&) = delete;

    // Reads one file ("-": standard input) into the pool. Returns false, with
    // a message on stderr naming the file and the reason, when it cannot be
    // read (what was read before an error still counts).
    bool readFile(const std::string& name);
    // Reads a text held in memory (the built-in sample).
    void readText(const char* text, const std::string& name);

    const std::vector<InputFile>& files() const
    {
        return inputs;
    }
    // What counting found in each chunk, by chunk number; complete once the
    // pool has finished.
    const std::deque<ChunkCount>& chunks() const
    {
        return counts;
    }
    // Seconds spent waiting for input data.
    double readingSeconds() const
    {
        return readSeconds;
    }

private:
    void submit(std::vector<char>& buffer, std::size_t size);
    void reportProgress(bool last);

    CountingPool& pool;
    std::size_t blockBytes;
    bool showProgress;
    std::vector<InputFile> inputs;
    std::deque<ChunkCount> counts;
    double readSeconds = 0;
    long long totalBytes = 0;
    double startSeconds = 0;
};

}  // namespace wordindex

#endif
