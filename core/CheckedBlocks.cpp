// The table of live core blocks and the checked QorMemFree / QorMemRealloc.
// Each call costs one lock and one hash operation on the table; a release
// adds the quarantine's (one lock, one hash insertion, the poisoning).
#include "core/CheckedBlocks.h"

#include "core/AddressTable.h"
#include "core/MisuseReport.h"
#include "core/OutOfMemory.h"
#include "core/Quarantine.h"

#include <link.h>

#include <algorithm>
#include <cstdint>
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

// Where the class library's code lies, found once: the executable segments
// of the loaded object whose name holds "libzarncrt_core++.so". The class
// library is loaded before it can call QorMemFree, so the first call finds
// it; a program without it has an empty range.
struct CodeRange {
    std::uintptr_t first = 0, last = 0;
};

int findClassLibrary(dl_phdr_info* info, std::size_t, void* data)
{
    if (info->dlpi_name == nullptr ||
        std::strstr(info->dlpi_name, "libzarncrt_core++.so") == nullptr) {
        return 0;
    }
    auto* range = static_cast<CodeRange*>(data);
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) {
            const std::uintptr_t start = info->dlpi_addr + segment.p_vaddr;
            if (range->first == 0 || start < range->first) {
                range->first = start;
            }
            range->last = std::max(range->last, start + segment.p_memsz);
        }
    }
    return 1;
}

bool fromTheClassLibrary(const void* caller)
{
    static const CodeRange range = [] {
        CodeRange found;
        dl_iterate_phdr(findClassLibrary, &found);
        return found;
    }();
    const auto at = reinterpret_cast<std::uintptr_t>(caller);
    return at >= range.first && at < range.last;
}

}  // namespace

void recordBlock(void* block, std::size_t bytes)
{
    liveBlocks().set(block, bytes);
}

void releaseBlock(void* block, const void* caller)
{
    if (block == nullptr) {
        return;
    }
    std::size_t bytes = 0;
    if (liveBlocks().take(block, &bytes)) {
        if (fromTheClassLibrary(caller)) {
            std::free(block);
        } else {
            quarantine(block, bytes, releaseToLibc, kBlockKind, "QorMemFree", nullptr);
        }
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
