// Memory blocks and text copies of the runtime core library.
#include "core/OutOfMemory.h"
#include "core/QorCore.h"
#ifdef ZARNCRT_CHECKED
#include "core/CheckedBlocks.h"
#endif

#include <cstdlib>
#include <cstring>

extern "C" {

void* QorMemAlloc(size_t size)
{
    // A zero-size request still yields a block the callers can free.
    const size_t bytes = size == 0 ? 1 : size;
    // malloc + memset rather than calloc: glibc's calloc bypasses the
    // per-thread cache of recently freed blocks, and the tree allocates a
    // fresh small array on every insertion. Compilers turn malloc followed
    // by a zeroing memset back into calloc; the empty asm hides where the
    // block came from, so that they cannot.
    void* block = zarn::checked(std::malloc(bytes), "QorMemAlloc", bytes);
    __asm__("" : "+r"(block));
    std::memset(block, 0, bytes);
#ifdef ZARNCRT_CHECKED
    zarn::misuse::recordBlock(block, bytes);
#endif
    return block;
}

void* QorMemRealloc(void* block, size_t size)
{
    const size_t bytes = size == 0 ? 1 : size;
#ifdef ZARNCRT_CHECKED
    return zarn::misuse::moveBlock(block, bytes);
#else
    return zarn::checked(std::realloc(block, bytes), "QorMemRealloc", bytes);
#endif
}

void QorMemFree(void* block)
{
#ifdef ZARNCRT_CHECKED
    zarn::misuse::releaseBlock(block, __builtin_return_address(0));
#else
    std::free(block);
#endif
}

char* QorStrDup(const char* text)
{
    const char* source = text != nullptr ? text : "";
    const size_t bytes = std::strlen(source) + 1;
    char* copy = static_cast<char*>(zarn::checked(std::malloc(bytes), "QorStrDup", bytes));
    std::memcpy(copy, source, bytes);
#ifdef ZARNCRT_CHECKED
    zarn::misuse::recordBlock(copy, bytes);
#endif
    return copy;
}

void QorMemCopy(void* dst, const void* src, long long count)
{
    if (count > 0) {
        std::memcpy(dst, src, static_cast<size_t>(count));
    }
}

}  // extern "C"
