/// \file
/// The runtime core library: memory, text helpers, mutexes, log-file naming
/// and the text form of doubles. Plain C interface, shipped as
/// libzarncrt_core.so.2 and used by every class of libzarncrt_core++.
///
/// Ownership: blocks from QorMemAlloc, QorMemRealloc and QorStrDup belong to
/// the caller, who releases them with QorMemFree (QorMemRealloc may move the
/// block: the old pointer is then invalid); a mutex from QorCreateMutex is
/// released with QorDestroyMutex. Everything else writes into the caller's
/// memory and keeps nothing.
///
/// Threads: every function is thread-safe (no shared state; the date of
/// getLogFileName comes from localtime_r). A mutex may not be destroyed while
/// a thread holds or waits for it.
///
/// Cost: QorMemAlloc zero-fills the block (O(size)); QorStrDup and
/// QorCompareNoCase are O(text length).
#ifndef ZARNCRT_CORE_QORCORE_H
#define ZARNCRT_CORE_QORCORE_H

#include <stddef.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include "core/ZarnExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Returns a zero-filled block of size bytes. Never returns NULL: when memory
 * is exhausted the process is ended with a message on stderr. */
ZARNCRT_EXPORT void* QorMemAlloc(size_t size);

/** Resizes a block from QorMemAlloc/QorMemRealloc/QorStrDup, keeping its
 * contents up to the smaller size. Bytes past the old size are not zeroed.
 * A NULL block gets a new, uninitialised block of size bytes. Never returns
 * NULL: exhaustion ends the process with a message on stderr. */
ZARNCRT_EXPORT void* QorMemRealloc(void* block, size_t size);

/** Releases a block from this library. NULL is ignored. */
ZARNCRT_EXPORT void QorMemFree(void* block);

/** Returns a NUL-terminated copy of text that QorMemFree releases.
 * A NULL text gives a copy of the empty text. */
ZARNCRT_EXPORT char* QorStrDup(const char* text);

/** Copies count bytes from src to dst (the regions must not overlap).
 * A count of 0 or less copies nothing and accepts any pointers, NULL too. */
ZARNCRT_EXPORT void QorMemCopy(void* dst, const void* src, long long count);

/** Compares two NUL-terminated texts ignoring the case of ASCII letters; bytes
 * compare as unsigned values whatever the locale. The sign is that of strcmp
 * on the lower-cased texts. NULL sorts as the empty text. */
ZARNCRT_EXPORT int QorCompareNoCase(const char* a, const char* b);

/** Creates a non-recursive mutex; returns NULL when none could be made. */
ZARNCRT_EXPORT void* QorCreateMutex(void);

/** Destroys a mutex from QorCreateMutex. NULL is accepted and ignored. */
ZARNCRT_EXPORT void QorDestroyMutex(void* mutex);

/** Locks the mutex, blocking until the calling thread holds it. The wait
 * argument 1 means wait without limit (the only mode offered). Returns 0 on
 * success, -1 for a NULL mutex. */
ZARNCRT_EXPORT int QorLockMutex(void* mutex, int wait);

/** Unlocks a mutex held by the calling thread. Returns 0 on success, -1 for a
 * NULL mutex. */
ZARNCRT_EXPORT int QorUnlockMutex(void* mutex);

/** Builds a log-file path into path (at least 1024 bytes):
 *   \verbatim <first>/<second>[-YYYYMMDD][-<pid>].<extension> \endverbatim
 * first is a directory (NULL or empty: "."), second a base name (NULL or
 * empty: "zarncrt"), withDate appends the local date, withPid the process id.
 * The path is cut to 1023 characters. Returns the path's length, or -1 when
 * path is NULL. extension is read, not changed (NULL or empty: "log"). */
ZARNCRT_EXPORT int getLogFileName(char* path, char* first, const char* second, char* extension,
                                  bool withDate, bool withPid);

/** Writes the shortest text that reads back as the same double ("nan", "inf",
 * "-inf" for the special values) into dest: at most size-1 bytes and a NUL.
 * Returns the number of text bytes written (0 when size < 1). */
ZARNCRT_EXPORT int realconv_ftoa(char* dest, int size, double value);

#ifdef __cplusplus
}
#endif

#endif
