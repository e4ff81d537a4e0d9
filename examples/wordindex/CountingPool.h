// CountingPool: counts the words of input chunks on worker threads, each
// worker into a WordTable of its own, while the caller goes on reading.
// With one thread the caller counts each chunk itself as it hands it over.
// Workers start one per chunk handed over, up to the number asked for, so a
// small input never gets more workers than it has chunks; a worker that
// cannot be started (the system refuses the thread) means fewer workers,
// and with none at all the caller counts the chunks itself.
#ifndef WORDINDEX_COUNTINGPOOL_H
#define WORDINDEX_COUNTINGPOOL_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "Tokenizer.h"
#include "WordTable.h"

namespace wordindex {

class CountingPool {
public:
    // threads: the most workers to use (1: count in the caller).
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
    // Stops the workers, dropping the chunks not yet taken, and waits for
    // those being counted. For a caller that gives up: the results of the
    // dropped chunks are never written.
    void abandon();
    // Waits until every chunk submitted so far is counted, so that its
    // ChunkCount may be read. Rethrows what a worker failed with.
    void drain();
    // Waits for every chunk, stops the workers and returns all words in one
    // table (the merge does not depend on which worker counted what).
    // Rethrows what a worker failed with (std::bad_alloc, for instance).
    WordTable finish();
    // The number of threads that counted: the workers started, or 1 when the
    // caller counted itself.
    int countingThreads() const
    {
        return threads.empty() ? 1 : static_cast<int>(threads.size());
    }
    // Workers that were wanted but could not be started.
    int threadsRefused() const
    {
        return refused;
    }
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
    void startWorker();
    void rethrowFailure();

    std::vector<std::unique_ptr<Worker>> workers;
    std::vector<std::thread> threads;
    std::mutex lock;
    std::condition_variable changed;
    std::deque<Job> waiting;
    std::vector<std::vector<char>> spare;
    int wanted;                  // the most workers to start
    int refused = 0;             // workers the system would not start
    bool canStart;               // false once a start failed
    int counting = 0;            // jobs taken by workers and not yet done
    std::exception_ptr failure;  // the first exception of a worker
    bool stopping = false;
    double busySeconds = 0;
};

}  // namespace wordindex

#endif
