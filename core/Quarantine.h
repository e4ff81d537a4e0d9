// Internal (not installed): the checked build's quarantine of released
// blocks.
//
// A block the library is done with (a text buffer's old storage, a map item
// that a growth step or a removal destroyed) is not freed at once: it is
// filled with a poison byte and kept, so that a read through a stale pointer
// finds the poison instead of someone else's data, and a write through one
// is seen when the block leaves the quarantine (the oldest go first once the
// quarantine holds more than its bound) or when the process exits.
#ifndef ZARNCRT_CORE_QUARANTINE_H
#define ZARNCRT_CORE_QUARANTINE_H

#include <cstddef>

namespace zarn {
namespace misuse {

// The byte every quarantined block is filled with.
constexpr unsigned char kPoison = 0xDB;
// Quarantined bytes kept at most; older blocks are checked and freed to make
// room. The bound counts whole blocks (a block larger than it is kept alone);
// each is poisoned and checked over its first kMaxBytes / 4 bytes at most.
constexpr std::size_t kMaxBytes = std::size_t{8} << 20;
// Quarantined blocks kept at most, whatever their size.
constexpr std::size_t kMaxBlocks = 1 << 14;

// What frees a block when it leaves the quarantine (free, operator delete).
using Release = void (*)(void* block);

// Poisons the first `bytes` bytes of block and keeps it. `kind` names what
// the block was ("CStringBuffer storage"), `call` the call that released it
// ("CStringBuffer::append"), owner the object it belonged to; they name the
// block in the report of a write found later. NULL blocks are ignored.
// After the process began to exit the block is released at once.
void quarantine(void* block, std::size_t bytes, Release release, const char* kind, const char* call,
                const void* owner);

// quarantine() of a block of which only the first `watched` of its `size`
// bytes are poisoned and checked; the quarantine's bound counts all of them.
void quarantineWatched(void* block, std::size_t watched, std::size_t size, Release release,
                       const char* kind, const char* call, const void* owner);

// True while block (the address quarantine() was given) is in the
// quarantine: a library call on such an object is a use after destruction.
bool isQuarantined(const void* block);

// Checks and releases every quarantined block now (tests; exit does it too).
void drainQuarantine();

}  // namespace misuse
}  // namespace zarn

#endif
