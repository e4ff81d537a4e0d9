#include "CountingPool.h"

#include <chrono>
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
    : maxWaiting(static_cast<std::size_t>(threadCount < 1 ? 1 : threadCount))
{
    const int count = threadCount < 1 ? 1 : threadCount;
    for (int i = 0; i < count; ++i) {
        workers.push_back(std::unique_ptr<Worker>(new Worker()));
    }
    if (count > 1) {
        for (auto& worker : workers) {
            Worker* w = worker.get();
            threads.emplace_back([this, w] { run(*w); });
        }
    }
}

CountingPool::~CountingPool()
{
    {
        std::lock_guard<std::mutex> guard(lock);
        stopping = true;
    }
    changed.notify_all();
    for (std::thread& t : threads) {
        t.join();
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
    if (threads.empty()) {
        count(*workers.front(), job);
        return;
    }
    std::unique_lock<std::mutex> guard(lock);
    changed.wait(guard, [this] { return waiting.size() < maxWaiting; });
    waiting.push_back(std::move(job));
    guard.unlock();
    changed.notify_all();
}

void CountingPool::run(Worker& worker)
{
    for (;;) {
        std::unique_lock<std::mutex> guard(lock);
        changed.wait(guard, [this] { return stopping || !waiting.empty(); });
        if (waiting.empty()) {
            return;  // stopping, and nothing left to count
        }
        Job job = std::move(waiting.front());
        waiting.pop_front();
        guard.unlock();
        changed.notify_all();
        count(worker, job);
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
    threads.clear();
    spare.clear();
    WordTable all = std::move(workers.front()->table);
    for (std::size_t i = 1; i < workers.size(); ++i) {
        all.merge(workers[i]->table);
        workers[i]->table = WordTable();
    }
    return all;
}

}  // namespace wordindex
