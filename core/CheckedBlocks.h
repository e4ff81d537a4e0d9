// Internal (not installed): the checked build's record of the core library's
// memory blocks.
//
// Every block QorMemAlloc, QorMemRealloc or QorStrDup hands out is recorded
// with its size until QorMemFree (or a QorMemRealloc that moves it) takes it
// back; the block then goes to the quarantine, poisoned. A block given back
// twice is found in the quarantine, and an address never handed out is in
// neither place: the two misuses get different reports. NULL is never one.
#ifndef ZARNCRT_CORE_CHECKEDBLOCKS_H
#define ZARNCRT_CORE_CHECKEDBLOCKS_H

#include <cstddef>

namespace zarn {
namespace misuse {

// Records block, of bytes bytes, as handed out to the caller.
void recordBlock(void* block, std::size_t bytes);

// QorMemFree of the checked build: a recorded block is forgotten and
// quarantined; any other address but NULL is reported and left alone.
// caller is the address QorMemFree returns to: a block that the class
// library releases itself (a node's arrays, a key's texts: never the
// application's) is checked the same way but goes back to the allocator at
// once, so that a tree insertion does not pay for the quarantine.
void releaseBlock(void* block, const void* caller);

// QorMemRealloc of the checked build: the contents of a recorded block move
// to a new block of bytes bytes (always a new address, so that the old block
// can be quarantined and a stale pointer to it found). NULL only allocates.
// An address that is not recorded is reported; when the report returns, a
// fresh zero-filled block is handed out instead.
void* moveBlock(void* block, std::size_t bytes);

}  // namespace misuse
}  // namespace zarn

#endif
