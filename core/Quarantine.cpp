// Poisoned blocks in a bounded first-in, first-out ring, with an index by
// address so that a library call can ask whether its object was destroyed.
// Both are flat arrays made once: keeping a block costs no allocation.
#include "core/Quarantine.h"

#include "core/MisuseReport.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <vector>

#include "core/AddressMap.h"

namespace zarn {
namespace misuse {
namespace {

struct Entry {
    void* block;
    std::size_t bytes;  // poisoned bytes: the ones checked on the way out
    std::size_t held;   // the block's size, which the quarantine's bound counts
    Release release;
    const char* kind;
    const char* call;
    const void* owner;
};

class Quarantine {
public:
    void add(const Entry& entry)
    {
        std::unique_lock<std::mutex> guard(lock);
        if (closed) {
            guard.unlock();
            entry.release(entry.block);
            return;
        }
        if (ring.empty()) {
            ring.resize(kMaxBlocks);
        }
        // Room first: the oldest blocks leave until the new one fits.
        while (count > 0 && (count == kMaxBlocks || heldBytes + entry.held > kMaxBytes)) {
            Entry oldest = takeOldest();
            guard.unlock();
            checkAndRelease(oldest);
            guard.lock();
        }
        ring[(first + count) % kMaxBlocks] = entry;
        ++count;
        byAddress[entry.block] += 1;
        heldBytes += entry.held;
    }

    bool holds(const void* block)
    {
        std::lock_guard<std::mutex> guard(lock);
        return byAddress.find(block) != nullptr;
    }

    // Everything out, checked. With `close`, later blocks are freed at once
    // (the process is exiting; the summary comes next).
    void drain(bool close)
    {
        std::vector<Entry> all;
        {
            std::lock_guard<std::mutex> guard(lock);
            while (count > 0) {
                all.push_back(takeOldest());
            }
            closed = closed || close;
        }
        for (const Entry& entry : all) {
            checkAndRelease(entry);
        }
    }

private:
    // Takes the oldest block out of the ring and the index (under the lock).
    Entry takeOldest()
    {
        const Entry entry = ring[first];
        first = (first + 1) % kMaxBlocks;
        --count;
        heldBytes -= entry.held;
        byAddress.eraseUnless(entry.block, [](int& copies) { return --copies > 0; });
        return entry;
    }

    // Offset of the first byte of block that is not the poison (bytes when
    // there is none). Whole runs are compared with memcmp, which the C
    // library vectorises: most blocks leave unchanged, and a byte loop over
    // every released text and item would dominate the cost of the checks.
    static std::size_t firstChange(const unsigned char* block, std::size_t bytes)
    {
        static const auto poisoned = [] {
            std::array<unsigned char, 256> run{};
            run.fill(kPoison);
            return run;
        }();
        std::size_t at = 0;
        while (at < bytes) {
            const std::size_t run = std::min(bytes - at, poisoned.size());
            if (std::memcmp(block + at, poisoned.data(), run) != 0) {
                break;
            }
            at += run;
        }
        while (at < bytes && block[at] == kPoison) {
            ++at;
        }
        return at;
    }

    static void checkAndRelease(const Entry& entry)
    {
        const auto* bytes = static_cast<const unsigned char*>(entry.block);
        const std::size_t changed = firstChange(bytes, entry.bytes);
        if (changed < entry.bytes) {
            report("write through a stale pointer",
                   "%s %p (%zu bytes, released by %s on %p) changed at offset %zu", entry.kind,
                   entry.block, entry.bytes, entry.call, entry.owner, changed);
        }
        entry.release(entry.block);
    }

    std::mutex lock;
    std::vector<Entry> ring;  // kMaxBlocks entries once the first block came
    std::size_t first = 0;    // the oldest entry
    std::size_t count = 0;
    AddressMap<int> byAddress;  // how many entries hold each block address
    std::size_t heldBytes = 0;
    bool closed = false;
};

// Never destroyed: objects of the application may release blocks while
// static objects are destroyed at exit; those go straight to their release.
Quarantine& theQuarantine()
{
    static Quarantine* quarantine = [] {
        atExit([] { theQuarantine().drain(true); });
        return new Quarantine;
    }();
    return *quarantine;
}

}  // namespace

void quarantineWatched(void* block, std::size_t watched, std::size_t size, Release release,
                       const char* kind, const char* call, const void* owner)
{
    if (block == nullptr) {
        return;
    }
    const std::size_t poisoned = std::min(watched, kMaxBytes / 4);
    const std::size_t held = std::min(std::max(size, poisoned), kMaxBytes);
    std::memset(block, kPoison, poisoned);
    theQuarantine().add(Entry{block, poisoned, held, release, kind, call, owner});
}

void quarantine(void* block, std::size_t bytes, Release release, const char* kind, const char* call,
                const void* owner)
{
    quarantineWatched(block, bytes, bytes, release, kind, call, owner);
}

bool isQuarantined(const void* block)
{
    return block != nullptr && theQuarantine().holds(block);
}

void drainQuarantine()
{
    theQuarantine().drain(false);
}

}  // namespace misuse
}  // namespace zarn
