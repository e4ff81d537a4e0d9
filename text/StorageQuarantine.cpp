// The checked build's release of CStringBuffer blocks: into the quarantine,
// poisoned, instead of back to the allocator. Only growth and destruction
// come here, never an append that fits, so the cost (one lock and one index
// insertion in the quarantine, the poisoning of the old block's text, and
// for an append that grows a small block a copy of the text instead of a
// realloc) is paid once per block.
#include "core/OutOfMemory.h"
#include "core/QorCore.h"
#include "core/Quarantine.h"
#include "text/StringStorage.h"

#include <cstdlib>
#include <cstring>

namespace zarn::text {
namespace {

// Storage of this many bytes or more grows in place (see movedBlock).
constexpr int kLargeStorage = 64 * 1024;

void releaseToLibc(void* block)
{
    std::free(block);
}

// The bytes of a released block that are poisoned and watched. Of storage:
// the text, its terminator and the 64 bytes after them, where a stale
// pointer into the text writes; the rest of a large block (a map item's 4 KB
// key buffer holds a few bytes of text) is left alone, so that releasing it
// costs in proportion to its text, not to its size. A text with NUL bytes in
// it is watched up to the first one. A write buffer is the caller's to fill
// entirely: all of it.
std::size_t watchedBytes(const char* block, std::size_t size, const char* kind)
{
    if (std::strcmp(kind, kStorageKind) != 0) {
        return size;
    }
    const std::size_t text = strnlen(block, size);
    return text + 65 < size ? text + 65 : size;
}

}  // namespace

void quarantineBlock(char* block, int bytes, const char* kind, const char* call, const void* owner)
{
    if (block == nullptr) {
        return;
    }
    const std::size_t size = bytes > 0 ? static_cast<std::size_t>(bytes) : 0;
    misuse::quarantineWatched(block, watchedBytes(block, size, kind), size, releaseToLibc, kind,
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
