// Internal (not installed): small memory helpers shared by the key classes.
#ifndef ZARNCRT_BTREE_KEYMEMORY_H
#define ZARNCRT_BTREE_KEYMEMORY_H

#include <cstring>

#include "btree/BPlusKey.h"
#include "btree/CheckedKeys.h"
#include "core/QorCore.h"

namespace zarn {

// The release rule for attached data: the object is asked whether it wants
// to go, and deleted only when it says so. It is never touched after a no.
inline void releaseData(IBPlusData* data)
{
    if (data->Dealloc()) {
#ifdef ZARNCRT_CHECKED
        btreecheck::dataDeleted(data);
#endif
        delete data;
    }
}

// A terminated core-memory copy of exactly length bytes of text. Copying by
// count (rather than up to the first NUL) keeps the copy as long as the length
// recorded beside it, so the normalizer and memcmp never run past its end.
inline char* copyText(char const* text, size_t length)
{
    char* copy = static_cast<char*>(QorMemAlloc(length + 1));
    std::memcpy(copy, text, length);
    return copy;  // QorMemAlloc zero-fills, so the terminator is already there
}

}  // namespace zarn

#endif
