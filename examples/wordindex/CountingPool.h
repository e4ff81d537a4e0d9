// CountingPool: counts the words of input chunks on worker threads, each
// worker into a WordTable of its own, while the caller goes on reading.
// With one thread the caller counts each chunk itself as it hands it over.
#ifndef WORDINDEX_COUNTINGPOOL_H
#define WORDINDEX_COUNTINGPOOL_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Tokenizer.h"
#include "WordTable.h"

namespace wordindex {

class CountingPool {
public:
    explicit CountingPool(int threads);
    ~CountingPool();
    CountingPool(CountingPool const&) = delete;
    CountingPool& operator=(CountingPool const&) = delete;

    // An empty buffer to read the next chunk into (recycled when possible).
    std::vector<char> takeBuffer();
    // Counts the first size bytes of bytes as chunk number chunk and stores
    // what was found in *result once done. Waits while enough chunks are
    // already waiting, so that memory stays bounded.
    void submit(std::vector<char>&& bytes, std::size_t size, std::uint32_t chunk,
                ChunkCount* result);
    // Waits for every chunk, stops the workers and returns all words in one
    // table (the merge does not depend on which worker counted what).
    WordTable finish();
    // Seconds the workers spent counting, summed over the workers.
    double countingSeconds() const
    {
        return busySeconds;
    }

private:
    struct Job {
        std::vector<char> bytes;
        std::size_t size;
        std::uint32_t chunk;
        ChunkCount* result;
    };
    struct Worker {
        WordTable table;
        std::vector<char> scratch;
    };

    void run(Worker& worker);
    void count(Worker& worker, Job& job);

    std::vector<std::unique_ptr<Worker>> workers;
    std::vector<std::thread> threads;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<Job> waiting;
    std::vector<std::vector<char>> spare;
    std::size_t maxWaiting;
    bool stopping = false;
    double busySeconds = 0;
};

}  // namespace wordindex

#endif
