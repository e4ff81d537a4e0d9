// Internal (not installed): what both libraries do when memory runs out.
//
// No operation of the libraries can report a failed allocation, and carrying
// on with a NULL block would only crash later in a less obvious place, so an
// exhausted allocator ends the process at once with one line on stderr.
#ifndef ZARNCRT_CORE_OUTOFMEMORY_H
#define ZARNCRT_CORE_OUTOFMEMORY_H

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

namespace zarn {

[[noreturn]] inline void outOfMemory(const char* where, std::size_t bytes)
{
    std::fprintf(stderr, "zarncrt: out of memory in %s (%zu bytes requested)\n", where, bytes);
    std::abort();
}

[[noreturn]] inline void sizeOverflow(const char* where)
{
    std::fprintf(stderr, "zarncrt: size beyond the 32-bit range in %s\n", where);
    std::abort();
}

// Returns ptr, or ends the process when the allocation behind it failed.
template <typename T>
inline T* checked(T* ptr, const char* where, std::size_t bytes)
{
    if (ptr == nullptr) {
        outOfMemory(where, bytes);
    }
    return ptr;
}

// `new` that never throws out of the library: exhaustion ends the process.
template <typename T, typename... Args>
inline T* make(Args&&... args)
{
    return checked(new (std::nothrow) T(std::forward<Args>(args)...), "operator new", sizeof(T));
}

}  // namespace zarn

#endif
