// Internal (not installed): sizing and block helpers shared by the
// CStringBuffer sources. Every size is computed in 64 bits and checked
// before it is narrowed back to the 32-bit fields, so nothing ever wraps.
#ifndef ZARNCRT_TEXT_STRINGSTORAGE_H
#define ZARNCRT_TEXT_STRINGSTORAGE_H

#include <cstdlib>

namespace zarn::text {

// The growth rule: the smallest multiple of step strictly greater than
// needed. Ends the process when the result leaves the 32-bit range.
int growthSize(long long needed, int step, const char* where);

// A zero-filled calloc block of size bytes rounded up to a multiple of 4
// (at least 4). Ends the process when the rounded size leaves the 32-bit range.
char* newBlock(long long size, const char* where);

// A zero-filled block of exactly size bytes (at least 1) receiving the first
// textBytes bytes of old (cut to size - 1, so a terminator always follows);
// old is left to the caller to release. Only the caller knows how many bytes
// old holds, so the copy never reads past them. A NULL old only allocates.
char* copiedBlock(const char* old, int size, long long textBytes);

// old (a block holding textBytes bytes of text) grown to size bytes rounded
// up to a multiple of 4, with the text kept and every byte after it zero: the
// same contents a fresh block from newBlock would have after copying the text.
// The block may move; pointers into old are invalid afterwards.
char* extendBlock(char* old, int textBytes, int size, const char* where);

#ifdef ZARNCRT_CHECKED
// What the checked build does instead of freeing a block a buffer used: the
// block is poisoned and quarantined, so that a write through a pointer taken
// before the buffer grew or was destroyed is found when the block leaves the
// quarantine. bytes is the size the buffer knew (bufSize, writeBufSize).
void quarantineBlock(char* block, int bytes, const char* kind, const char* call, const void* owner);

// extendBlock of the checked build: the text always moves to a new block
// (the same contents extendBlock gives) and old, of oldSize bytes, is
// quarantined.
char* movedBlock(char* old, int oldSize, int textBytes, int size, const char* where,
                 const void* owner);
#endif

// What a released storage block was, for the quarantine's reports.
constexpr const char* kStorageKind = "CStringBuffer storage";
constexpr const char* kWriteBufferKind = "CStringBuffer write buffer";

// Releases a block a buffer used (its storage or its write buffer) of bytes
// usable bytes; `call` and `owner` name who released it. NULL is ignored.
inline void releaseBlock(char* block, int bytes, const char* kind, const char* call,
                         const void* owner)
{
#ifdef ZARNCRT_CHECKED
    quarantineBlock(block, bytes, kind, call, owner);
#else
    (void)bytes;
    (void)kind;
    (void)call;
    (void)owner;
    std::free(block);
#endif
}

// strlen of text, 0 for NULL. Ends the process for texts that no buffer could
// hold (INT_MAX bytes or more), so that length + 1 always fits.
int measure(const char* text, const char* where);

}  // namespace zarn::text

#endif
