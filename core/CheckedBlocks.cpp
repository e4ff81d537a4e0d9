// The table of live core blocks and the checked QorMemFree / QorMemRealloc.
// Each call costs one lock and one hash operation on the table; a release
// adds the quarantine's (one lock, one hash insertion, the poisoning).
#include "core/CheckedBlocks.h"

#include "core/AddressTable.h"
#include "core/MisuseReport.h"
#include "core/OutOfMemory.h"
#include "core/Quarantine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace zarn {
namespace misuse {
namespace {

constexpr const char* kBlockKind = "core block";
constexpr const char* kUnknownBlock = "block not from QorMemAlloc/QorMemRealloc/QorStrDup";

// Live blocks and their sizes. Blocks may be released by static destructors
// of the application, after this library's statics are gone: never destroyed.
AddressTable<std::size_t>& liveBlocks()
{
    static auto& blocks = leakedTable<std::size_t>();
    return blocks;
}

void releaseToLibc(void* block)
{
    std::free(block);
}

}  // namespace

void recordBlock(void* block, std::size_t bytes)
{
    liveBlocks().set(block, bytes);
}

void releaseBlock(void* block)
{
    if (block == nullptr) {
        return;
    }
    std::size_t bytes = 0;
    if (liveBlocks().take(block, &bytes)) {
        quarantine(block, bytes, releaseToLibc, kBlockKind, "QorMemFree", nullptr);
    } else if (isQuarantined(block)) {
        report("block freed twice", "QorMemFree(%p): the block was already released", block);
    } else {
        report(kUnknownBlock, "QorMemFree(%p)", block);
    }
}

void* moveBlock(void* block, std::size_t bytes)
{
    std::size_t oldBytes = 0;
    const bool live = block != nullptr && liveBlocks().take(block, &oldBytes);
    if (block != nullptr && !live) {
        if (isQuarantined(block)) {
            report("freed block given to QorMemRealloc",
                   "QorMemRealloc(%p, %zu): the block was already released", block, bytes);
        } else {
            report(kUnknownBlock, "QorMemRealloc(%p, %zu)", block, bytes);
        }
    }
    // Zero-filled only when there is nothing to copy: a report mode that goes
    // on then gets a block of defined contents.
    void* moved =
        checked(live ? std::malloc(bytes) : std::calloc(1, bytes), "QorMemRealloc", bytes);
    if (live) {
        std::memcpy(moved, block, std::min(oldBytes, bytes));
        quarantine(block, oldBytes, releaseToLibc, kBlockKind, "QorMemRealloc", nullptr);
    }
    recordBlock(moved, bytes);
    return moved;
}

}  // namespace misuse
}  // namespace zarn
