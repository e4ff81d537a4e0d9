/// \file
/// CStringBuffer: the growable text type of the library.
///
/// A run of bytes with an explicit length, always followed by a NUL, held in a
/// block that the object owns. Storage is sized in whole multiples of the
/// growth step `blockSize` (4092 by default) and never shrinks. The text may
/// contain NUL bytes: set, append, operator== and copyTo work by count, while
/// print, the searches and the case-insensitive comparisons see the text only
/// up to its first NUL.
///
/// Operations that change the text return the buffer so that calls chain.
/// Lengths, sizes and positions are 32-bit signed; size arithmetic that would
/// leave that range ends the process with a message instead of wrapping.
/// Nothing throws; an exhausted allocator ends the process with a message.
///
/// Ownership: the buffer owns its storage block and the write buffer of
/// getBufferSetLength. detach hands the block (and any write buffer still out)
/// to the caller, who releases it with freeString; attach takes a block over.
///
/// Pointers: getBufferPointer and both conversion operators point into the
/// storage block. Every operation that may need more storage (set, append,
/// insert, replace, format, getSubStr, assureBufSize, releaseBuffer with keep)
/// may move the block, and attach, detach and the destructor replace or
/// release it: take the pointer again after any of them. In-place edits
/// (clear, trim, the case conversions, convertLinebreaks) keep it. The write
/// buffer lives until releaseBuffer, the next getBufferSetLength or the
/// destructor; after detach it is the caller's.
///
/// Threads: thread-compatible. Separate buffers may be used from separate
/// threads at once; calls on one buffer, reads included, need the caller's
/// serialisation.
///
/// Cost: storage grows to the smallest multiple of the growth step above the
/// need, so growth is arithmetic, not geometric: a text of n bytes built from
/// small appends reallocates about n / blockSize times (reserve with
/// assureBufSize or a large step). append grows the block with realloc; set,
/// insert and replace copy the text into a fresh block. insert moves the text
/// behind the position; replace scans the whole text once (twice for a longer
/// replacement); the text searches take up to length times needle length;
/// format first formats into a 16 KB area on the stack.
///
/// Memory: a buffer made by the default, text or copy constructor holds at
/// least 4092 bytes of storage, even when empty. CStringBuffer(int) with a
/// small step is the way to small buffers.
#ifndef ZARNCRT_TEXT_CSTRINGBUFFER_H
#define ZARNCRT_TEXT_CSTRINGBUFFER_H

#include <cstdarg>
#include <cstdio>

#include "core/ZarnExport.h"

/// Growable, NUL-terminated text with an explicit length, in storage the
/// object owns. The description of CStringBuffer.h gives ownership, pointer
/// validity, costs and threads.
class ZARNCRT_EXPORT CStringBuffer {
public:
    // --- Storage blocks (calloc/free); every block of a buffer comes from here.

    /// A new zero-filled block of size bytes rounded up to a multiple of 4
    /// (sizes below 1 give 4 bytes).
    static char* allocString(int size);
    /// A new zero-filled block of exactly size bytes (at least 1) holding the
    /// old block's text up to its first NUL, cut to size - 1 bytes and always
    /// terminated (never reading past the terminator); releases the old block.
    /// A NULL old block only allocates.
    static char* reallocString(char* oldBlock, int size);
    /// Releases a block (from allocString, reallocString or detach). NULL is ignored.
    static void freeString(char* block);

    // --- Construction

    /// Empty text, growth step 4092, a 4092-byte block allocated at once.
    CStringBuffer();
    /// Empty text with growth step max(blockSize, 1); bufLength() == that step.
    /// Use the expected text size to avoid any later growth.
    CStringBuffer(int blockSize);
    /// Copy of a NUL-terminated text (NULL gives the empty text).
    CStringBuffer(char const* text);
    /// Copy of another buffer's len bytes, NULs included, in storage of its own.
    CStringBuffer(CStringBuffer const& other);
    /// Releases the storage block and the write buffer.
    virtual ~CStringBuffer();

    // --- Assignment

    /// Replaces the text by count bytes of text (NULs included); a negative
    /// count measures with strlen (NULL: 0 bytes). text must not point into
    /// this buffer's own block.
    CStringBuffer& set(char const* text, int count);
    /// Replaces the text by value formatted with "%d".
    CStringBuffer& set(int value);
    /// Replaces the text by the 64-bit value formatted with "%lld".
    CStringBuffer& set(long value);
    /// Replaces the text by other's; nothing happens (storage included) when
    /// both texts are already equal, which covers self-assignment.
    CStringBuffer& set(CStringBuffer& other);
    /// Same as set(CStringBuffer&).
    CStringBuffer& operator=(CStringBuffer const& other);
    /// Empties the text and keeps the storage.
    void clear();
    /// Adopts a calloc/malloc block holding length bytes of text and a NUL at
    /// index length (length <= 0: measured with strlen) as the storage; size is
    /// the block's usable size (<= 0: length + 1). NULL acts as clear().
    CStringBuffer& attach(char* block, int length, int size);
    /// Hands the block, with the text and its terminator, to the caller (who
    /// releases it with freeString) and leaves the buffer empty with fresh
    /// storage. A write buffer handed out before is forgotten, not released.
    char* detach();

    // --- Appending

    /// Appends count bytes of text (negative: strlen; NULL with a negative
    /// count appends nothing). The buffer may append its own text.
    CStringBuffer& append(char const* text, int count);
    /// Appends value formatted with "%d".
    CStringBuffer& append(int value);
    /// Appends the 64-bit value formatted with "%lld".
    CStringBuffer& append(long value);
    /// Appends the shortest text that reads back as value.
    CStringBuffer& append(double value);
    /// Appends other's len bytes.
    CStringBuffer& append(CStringBuffer& other);
    /// Same as append(CStringBuffer&).
    CStringBuffer& operator+=(CStringBuffer const& other);

    // --- Formatting

    /// Replaces the text by the printf-style formatting of the arguments, cut
    /// to 16383 bytes. The text is emptied first, so an argument pointing into
    /// this buffer reads as the empty text.
    CStringBuffer& format(char const* fmt, ...)
#if defined(__GNUC__) || defined(__clang__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    /// format() taking a va_list, which it consumes.
    CStringBuffer& vformat(char const* fmt, va_list args);

    // --- Direct access

    /// Hands out a separate zero-filled write buffer of size bytes (<= 0:
    /// blockSize bytes) holding the text cut to one byte less, terminated.
    /// A write buffer handed out before is released. Fill it, then call
    /// releaseBuffer.
    char* getBufferSetLength(int size);
    /// Ends the use of the write buffer; with keep, its first count bytes
    /// (negative: up to its first NUL; never more than the size handed out)
    /// become the text. Releases the write buffer. Does nothing when none is out.
    void releaseBuffer(bool keep, int count);
    /// Makes bufLength() at least size, keeping the text.
    void assureBufSize(int size);
    /// The NUL-terminated text (never NULL).
    char* getBufferPointer();
    /// The NUL-terminated text (never NULL).
    operator char*();
    /// The NUL-terminated text (never NULL).
    operator char const*();
    /// The byte at index, unchecked: index must lie in 0..length().
    char operator[](int index);
    /// Length of the text in bytes, terminator not counted.
    int length();
    /// Bytes of storage the text and its terminator may use.
    int bufLength();

    // --- Comparison and output

    /// Case-sensitive equality by length and bytes, NULs included.
    bool operator==(CStringBuffer& other);
    /// Copies the text into dest of size bytes, always terminated (size < 1:
    /// dest untouched). Returns the number of text bytes copied.
    int copyTo(char* dest, int size);
    /// Writes the text (up to its first NUL) to stream; returns fprintf's result.
    int print(FILE* stream);

    // --- Editing

    /// Removes white space (locale classification) at both ends, in place.
    /// NUL bytes inside the text stay part of it.
    void trim();
    /// Converts every letter to upper case, in place.
    CStringBuffer& toUpperCase();
    /// Converts every letter to lower case, in place.
    CStringBuffer& toLowerCase();
    /// CR LF becomes LF, a lone CR becomes LF, a trailing CR disappears.
    void convertLinebreaks();
    /// Takes count bytes of source from start (negative count or too many: to
    /// the end; negative start: 0). With append false the text is replaced
    /// (emptied first), with true the bytes are appended. The emptying comes
    /// first even when source is this buffer, which is then left empty.
    CStringBuffer& getSubStr(CStringBuffer& source, int start, int count, bool append);
    /// Inserts text before position (negative: 0; at or past the end appends).
    CStringBuffer& insert(CStringBuffer& text, int position);
    /// Inserts value formatted with "%d" before position.
    CStringBuffer& insert(int value, int position);
    /// Inserts a NUL-terminated text before position; NULL changes nothing.
    CStringBuffer& insert(char* text, int position);
    /// Inserts a NUL-terminated text before position; NULL changes nothing.
    CStringBuffer& insert(char const* text, int position);
    /// Replaces every occurrence of search by replacement, scanning from the
    /// end (the rightmost of overlapping matches wins). NULL for either text
    /// changes nothing.
    CStringBuffer& replace(char const* search, char const* replacement);

    // --- Search (up to the first NUL; -1 when nothing is found)

    /// First position at or after start holding c; noCase folds case.
    int find(char c, int start, bool noCase);
    /// First position at or after start where needle begins (NULL: -1).
    int find(char const* needle, int start, bool noCase);
    /// Last position holding c; noCase folds case.
    int findReverse(char c, bool noCase);
    /// Whether the text ends with the first length bytes of suffix (negative
    /// length: strlen; NULL: the empty suffix, so true). Without noCase the
    /// comparison is by count, NULs included.
    bool endsWith(char const* suffix, int length, bool noCase);
    /// strcasecmp of the text and text (NULL counts as the empty text).
    int compareNoCase(char const* text);
    /// Case-insensitive equality: compareNoCase(text) == 0.
    bool equals(char const* text);

protected:
    char* buffer = nullptr;       ///< storage block: the text and a NUL
    int bufSize = 0;              ///< bytes of the block the text and terminator may use
    int len = 0;                  ///< text length, terminator not counted
    char* endPtr = nullptr;       ///< buffer + len
    int blockSize;                ///< growth step, at least 1 (set by every constructor)
    char* writeBuffer = nullptr;  ///< block handed out by getBufferSetLength, or NULL
    int writeBufSize = 0;         ///< size chosen for writeBuffer, 0 when none
};

#endif
