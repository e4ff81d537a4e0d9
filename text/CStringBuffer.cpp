// CStringBuffer: storage blocks, construction, assignment, direct access and
// comparison. Appending and formatting live in CStringBufferAppend.cpp,
// editing in CStringBufferEdit.cpp and searching in CStringBufferSearch.cpp.
#include "text/CStringBuffer.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "core/Limits.h"
#include "core/OutOfMemory.h"
#include "core/QorCore.h"
#include "text/StringStorage.h"

namespace {

// The one empty text that emptied buffers copy from. buffer never points at
// it, so it is never handed to freeString.
const char kEmptyText[] = "";

constexpr int kDefaultBlockSize = zarn::kDefaultTextBlock;

}  // namespace

namespace zarn::text {

int growthSize(long long needed, int step, const char* where)
{
    const long long size = (needed / step + 1) * step;
    if (needed < 0 || size > INT_MAX) {
        sizeOverflow(where);
    }
    return static_cast<int>(size);
}

char* newBlock(long long size, const char* where)
{
    const long long rounded = (std::max(size, 1LL) + 3) & ~3LL;
    if (rounded > INT_MAX) {
        sizeOverflow(where);
    }
    const auto bytes = static_cast<std::size_t>(rounded);
    return static_cast<char*>(checked(std::calloc(1, bytes), where, bytes));
}

char* copiedBlock(const char* old, int size, long long textBytes)
{
    const int bytes = std::max(size, 1);
    auto* block = static_cast<char*>(
        checked(std::calloc(1, static_cast<std::size_t>(bytes)), "CStringBuffer::realloc", bytes));
    if (old != nullptr) {
        // calloc zero-filled the block, so the byte after the copy terminates it.
        QorMemCopy(block, old, std::min(textBytes, static_cast<long long>(bytes) - 1));
    }
    return block;
}

char* extendBlock(char* old, int textBytes, int size, const char* where)
{
    const long long rounded = (std::max(size, 1) + 3LL) & ~3LL;
    if (rounded > INT_MAX) {
        sizeOverflow(where);
    }
    const auto bytes = static_cast<std::size_t>(rounded);
    // realloc may extend the block in place or move its pages without
    // copying them (large blocks live in their own mappings), where a fresh
    // block would cost a copy of the whole text and a fault on every page.
    auto* block = static_cast<char*>(checked(std::realloc(old, bytes), where, bytes));
    std::memset(block + textBytes, 0, bytes - static_cast<std::size_t>(textBytes));
    return block;
}

int measure(const char* text, const char* where)
{
    // One byte more must fit as well: the terminator follows the text.
    const std::size_t length = text == nullptr ? 0 : std::strlen(text);
    return checkedLength(length + 1, where) - 1;
}

}  // namespace zarn::text

using zarn::text::growthSize;
using zarn::text::measure;

// --- Storage blocks

char* CStringBuffer::allocString(int size)
{
    return zarn::text::newBlock(size, "CStringBuffer::allocString");
}

char* CStringBuffer::reallocString(char* oldBlock, int size)
{
    // Without the old block's size, its text up to the first NUL is all that
    // is known to lie inside it.
    const long long textBytes = oldBlock != nullptr ? std::strlen(oldBlock) : 0;
    char* block = zarn::text::copiedBlock(oldBlock, size, textBytes);
    std::free(oldBlock);
    return block;
}

void CStringBuffer::freeString(char* block)
{
    std::free(block);
}

// --- Construction

CStringBuffer::CStringBuffer()
    : buffer(allocString(kDefaultBlockSize)),
      bufSize(kDefaultBlockSize),
      endPtr(buffer),
      blockSize(kDefaultBlockSize)
{
}

CStringBuffer::CStringBuffer(int blockSize) : blockSize(std::max(blockSize, 1))
{
    set(kEmptyText, 0);
}

CStringBuffer::CStringBuffer(char const* text) : blockSize(kDefaultBlockSize)
{
    set(text, -1);
}

CStringBuffer::CStringBuffer(CStringBuffer const& other) : blockSize(kDefaultBlockSize)
{
    set(other.buffer, other.len);
}

CStringBuffer::~CStringBuffer()
{
    zarn::text::releaseBlock(buffer, bufSize, zarn::text::kStorageKind, "~CStringBuffer", this);
    zarn::text::releaseBlock(writeBuffer, writeBufSize, zarn::text::kWriteBufferKind,
                             "~CStringBuffer", this);
}

// --- Assignment

CStringBuffer& CStringBuffer::set(char const* text, int count)
{
    if (count < 0 || text == nullptr) {
        // NULL is the empty text whatever the count.
        count = measure(text, "CStringBuffer::set");
    }
    if (bufSize > count) {
        clear();
        QorMemCopy(buffer, text, count);
    } else {
        const int newSize = growthSize(count, blockSize, "CStringBuffer::set");
        char* block = zarn::text::newBlock(newSize + 1LL, "CStringBuffer::set");
        QorMemCopy(block, text, count);
        zarn::text::releaseBlock(buffer, bufSize, zarn::text::kStorageKind, "CStringBuffer::set",
                                 this);
        buffer = block;
        bufSize = newSize;
    }
    len = count;
    endPtr = buffer + count;
    *endPtr = '\0';
    return *this;
}

CStringBuffer& CStringBuffer::set(int value)
{
    // "%lld" of the widened value is the same text as "%d" of the int.
    return set(static_cast<long>(value));
}

CStringBuffer& CStringBuffer::set(long value)
{
    clear();
    assureBufSize(64);
    len = std::snprintf(buffer, static_cast<std::size_t>(bufSize), "%lld",
                        static_cast<long long>(value));
    endPtr = buffer + len;
    return *this;
}

CStringBuffer& CStringBuffer::set(CStringBuffer& other)
{
    if (*this == other) {
        return *this;
    }
    return set(other.buffer, other.len);
}

CStringBuffer& CStringBuffer::operator=(CStringBuffer const& other)
{
    // set only reads the other buffer.
    return set(const_cast<CStringBuffer&>(other));
}

void CStringBuffer::clear()
{
    if (bufSize < 1) {
        set(kEmptyText, 0);
    } else if (len > 0) {
        len = 0;
        endPtr = buffer;
        *buffer = '\0';
    }
}

CStringBuffer& CStringBuffer::attach(char* block, int length, int size)
{
    if (block == nullptr) {
        clear();
        return *this;
    }
    if (block != buffer) {
        zarn::text::releaseBlock(buffer, bufSize, zarn::text::kStorageKind, "CStringBuffer::attach",
                                 this);
    }
    if (length <= 0) {
        length = measure(block, "CStringBuffer::attach");
    }
    buffer = block;
    len = length;
    endPtr = block + length;
    bufSize = size > 0 ? size : length + 1;
    return *this;
}

char* CStringBuffer::detach()
{
    char* const block = buffer;
    // The write buffer now belongs to whoever obtained it.
    writeBuffer = nullptr;
    writeBufSize = 0;
    buffer = nullptr;
    bufSize = 0;
    len = 0;
    endPtr = nullptr;
    set(kEmptyText, 0);
    return block;
}

// --- Direct access

char* CStringBuffer::getBufferSetLength(int size)
{
    zarn::text::releaseBlock(writeBuffer, writeBufSize, zarn::text::kWriteBufferKind,
                             "CStringBuffer::getBufferSetLength", this);
    const int chosen = size > 0 ? size : blockSize;
    writeBuffer = allocString(chosen);
    writeBufSize = chosen;
    QorMemCopy(writeBuffer, buffer, std::min(len, chosen - 1));
    return writeBuffer;
}

void CStringBuffer::releaseBuffer(bool keep, int count)
{
    if (writeBuffer == nullptr) {
        return;
    }
    if (keep) {
        // Bounded by the size handed out, so an unterminated fill cannot make
        // the copy read past the write buffer.
        if (count < 0) {
            count = static_cast<int>(strnlen(writeBuffer, static_cast<std::size_t>(writeBufSize)));
        }
        set(writeBuffer, std::min(count, writeBufSize));
    }
    zarn::text::releaseBlock(writeBuffer, writeBufSize, zarn::text::kWriteBufferKind,
                             "CStringBuffer::releaseBuffer", this);
    writeBuffer = nullptr;
    writeBufSize = 0;
}

void CStringBuffer::assureBufSize(int size)
{
    if (bufSize >= size) {
        return;
    }
    const int newSize = growthSize(size, blockSize, "CStringBuffer::assureBufSize");
    char* block = zarn::text::copiedBlock(buffer, newSize, len);
    zarn::text::releaseBlock(buffer, bufSize, zarn::text::kStorageKind,
                             "CStringBuffer::assureBufSize", this);
    buffer = block;
    bufSize = newSize;
    endPtr = buffer + len;
}

char* CStringBuffer::getBufferPointer()
{
    return buffer;
}

CStringBuffer::operator char*()
{
    return buffer;
}

CStringBuffer::operator char const*()
{
    return buffer;
}

char CStringBuffer::operator[](int index)
{
    return buffer[index];
}

int CStringBuffer::length()
{
    return len;
}

int CStringBuffer::bufLength()
{
    return bufSize;
}

// --- Comparison and output

bool CStringBuffer::operator==(CStringBuffer& other)
{
    return len == other.len && std::memcmp(buffer, other.buffer, len) == 0;
}

int CStringBuffer::copyTo(char* dest, int size)
{
    if (size < 1 || dest == nullptr) {
        return 0;
    }
    const int count = size > len ? len : size - 1;
    QorMemCopy(dest, buffer, count);
    dest[count] = '\0';
    return count;
}

int CStringBuffer::print(FILE* stream)
{
    if (stream == nullptr) {
        return -1;
    }
    return std::fprintf(stream, "%.*s", len, buffer);
}
