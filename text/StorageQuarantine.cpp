// The checked build's release of CStringBuffer blocks: into the quarantine,
// poisoned, instead of back to the allocator. Only growth and destruction
// come here, never an append that fits, so the cost (one lock and one hash
// insertion in the quarantine, the poisoning of the old block, and for an
// append that grows a copy of the text instead of a realloc) is paid once
// per block.
#include "core/OutOfMemory.h"
#include "core/QorCore.h"
#include "core/Quarantine.h"
#include "text/StringStorage.h"

#include <cstdlib>

namespace zarn::text {
namespace {

// Storage of this many bytes or more grows in place (see movedBlock).
constexpr int kLargeStorage = 64 * 1024;

void releaseToLibc(void* block)
{
    std::free(block);
}

}  // namespace

void quarantineBlock(char* block, int bytes, const char* kind, const char* call, const void* owner)
{
    misuse::quarantine(block, bytes > 0 ? static_cast<std::size_t>(bytes) : 0, releaseToLibc, kind,
                       call, owner);
}

char* movedBlock(char* old, int oldSize, int textBytes, int size, const char* where,
                 const void* owner)
{
    // Large storage grows in place where the allocator can, as in the normal
    // build: moving it at every growth step would copy the whole text each
    // time, and an append loop would become quadratic in the text's length.
    // Stale pointers into such storage are found when it is replaced or
    // destroyed, not when it grows.
    if (oldSize >= kLargeStorage) {
        return extendBlock(old, textBytes, size, where);
    }
    // newBlock rounds and zero-fills exactly as extendBlock leaves the block.
    char* block = newBlock(size, where);
    QorMemCopy(block, old, textBytes);
    quarantineBlock(old, oldSize, kStorageKind, where, owner);
    return block;
}

}  // namespace zarn::text
