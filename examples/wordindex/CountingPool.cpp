#include "CountingPool.h"

#include <chrono>
#include <exception>
#include <utility>

namespace wordindex {

namespace {

double nowSeconds()
{
    using namespace std::chrono;
    return duration<double>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

CountingPool::CountingPool(int threadCount)
    : wanted(threadCount < 1 ? 1 : threadCount), canStart(threadCount > 1)
{
}

CountingPool::~CountingPool()
{
    abandon();
}

void CountingPool::abandon()
{
    {
        std::lock_guard<std::mutex> guard(lock);
        stopping = true;
        waiting.clear();  // never counted: whoever waits for them has given up
    }
    changed.notify_all();
    for (std::thread& t : threads) {
        if (t.joinable()) {
            t.join();
        }
    }
}

void CountingPool::startWorker()
{
    workers.push_back(std::unique_ptr<Worker>(new Worker()));
    Worker* w = workers.back().get();
    try {
        threads.emplace_back([this, w] { run(*w); });
    } catch (const std::exception&) {
        // The system would not start another thread (std::system_error):
        // go on with those there are, or count in the caller.
        workers.pop_back();
        refused = wanted - static_cast<int>(threads.size());
        canStart = false;
    }
}

void CountingPool::rethrowFailure()
{
    std::exception_ptr error;
    {
        std::lock_guard<std::mutex> guard(lock);
        error = failure;
    }
    if (error) {
        std::rethrow_exception(error);
    }
}

std::vector<char> CountingPool::takeBuffer()
{
    std::lock_guard<std::mutex> guard(lock);
    if (spare.empty()) {
        return std::vector<char>();
    }
    std::vector<char> buffer = std::move(spare.back());
    spare.pop_back();
    return buffer;
}

void CountingPool::count(Worker& worker, Job& job)
{
    const double start = nowSeconds();
    *job.result = countChunk(job.bytes.data(), job.size, job.chunk, worker.table, worker.scratch);
    const double spent = nowSeconds() - start;
    std::lock_guard<std::mutex> guard(lock);
    busySeconds += spent;
    spare.push_back(std::move(job.bytes));
}

void CountingPool::submit(std::vector<char>&& bytes, std::size_t size, std::uint32_t chunk,
                          ChunkCount* result)
{
    Job job{std::move(bytes), size, chunk, result};
    // One more worker per chunk until there are as many as asked for.
    if (canStart && static_cast<int>(threads.size()) < wanted) {
        startWorker();
    }
    if (threads.empty()) {
        if (workers.empty()) {
            workers.push_back(std::unique_ptr<Worker>(new Worker()));
        }
        count(*workers.front(), job);
        return;
    }
    // As many chunks may wait as there are workers, so that memory stays
    // bounded by what the workers can take.
    std::unique_lock<std::mutex> guard(lock);
    changed.wait(guard, [this] { return waiting.size() < threads.size() || failure; });
    if (failure) {
        std::rethrow_exception(failure);
    }
    waiting.push_back(std::move(job));
    guard.unlock();
    changed.notify_all();
}

void CountingPool::drain()
{
    std::unique_lock<std::mutex> guard(lock);
    changed.wait(guard, [this] { return (waiting.empty() && counting == 0) || failure; });
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void CountingPool::run(Worker& worker)
{
    for (;;) {
        Job job{};
        {
            std::unique_lock<std::mutex> guard(lock);
            changed.wait(guard, [this] { return stopping || !waiting.empty(); });
            if (waiting.empty()) {
                return;  // stopping, and nothing left to count
            }
            job = std::move(waiting.front());
            waiting.pop_front();
            ++counting;
        }
        changed.notify_all();
        // An exception must not leave the thread (that would terminate the
        // process): it stops this worker and is rethrown to the caller.
        std::exception_ptr error;
        try {
            count(worker, job);
        } catch (...) {
            error = std::current_exception();
        }
        {
            std::lock_guard<std::mutex> guard(lock);
            --counting;
            if (error && !failure) {
                failure = error;
            }
        }
        changed.notify_all();
        if (error) {
            return;
        }
    }
}

WordTable CountingPool::finish()
{
    {
        std::lock_guard<std::mutex> guard(lock);
        stopping = true;
    }
    changed.notify_all();
    for (std::thread& t : threads) {
        t.join();
    }
    spare.clear();
    rethrowFailure();
    if (workers.empty()) {
        return WordTable();
    }
    WordTable all = std::move(workers.front()->table);
    for (std::size_t i = 1; i < workers.size(); ++i) {
        all.merge(workers[i]->table);
        workers[i]->table = WordTable();
    }
    return all;
}

}  // namespace wordindex
