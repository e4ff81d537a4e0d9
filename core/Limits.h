// Internal (not installed): sizes shared by several sources of both
// libraries, and the checked narrowing of a byte count to the 32-bit lengths
// the classes store.
#ifndef ZARNCRT_CORE_LIMITS_H
#define ZARNCRT_CORE_LIMITS_H

#include <climits>
#include <cstddef>
#include <cstring>

#include "core/OutOfMemory.h"

namespace zarn {

// Bytes of a log-file path area: getLogFileName writes at most this many,
// its NUL included.
constexpr int kLogPathSize = 1024;

// Bytes of the area a reporting operation formats its message into; a longer
// message is cut to one byte less.
constexpr int kLogMessageSize = 8192;

// The growth step of a CStringBuffer made without one, and so the storage a
// default buffer starts with.
constexpr int kDefaultTextBlock = 4092;

// length as an int. Ends the process when it is beyond INT_MAX.
inline int checkedLength(std::size_t length, const char* where)
{
    if (length > static_cast<std::size_t>(INT_MAX)) {
        sizeOverflow(where);
    }
    return static_cast<int>(length);
}

// strlen of text (0 for NULL) as an int, checked as checkedLength does.
inline int measuredLength(const char* text, const char* where)
{
    return checkedLength(text == nullptr ? 0 : std::strlen(text), where);
}

}  // namespace zarn

#endif
