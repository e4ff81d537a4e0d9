// QorPtrList: slot array management and the indexed operations.
#include "containers/QorPtrList.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "core/OutOfMemory.h"

namespace {

// Resizes a slot array of void* to slots entries (malloc for the first one).
// New slots are left uncleared: every slot below count is written before it
// is read.
void** resizeSlots(void** elements, int slots)
{
    std::size_t bytes = static_cast<std::size_t>(slots) * sizeof(void*);
    void* block = elements == nullptr ? std::malloc(bytes) : std::realloc(elements, bytes);
    return static_cast<void**>(zarn::checked(block, "QorPtrList", bytes));
}

}  // namespace

QorPtrList::QorPtrList() : capacity(0), count(0), elements(nullptr) {}

QorPtrList::~QorPtrList()
{
    std::free(elements);
}

int QorPtrList::size()
{
    return count;
}

void QorPtrList::append(void* p)
{
    if (count > INT_MAX - 11) {
        zarn::sizeOverflow("QorPtrList::append");
    }
    int oldCount = count;
    count = oldCount + 1;
    if (count > capacity) {
        // Ten free slots beyond the new element.
        capacity = oldCount + 11;
        elements = resizeSlots(elements, capacity);
    }
    elements[count - 1] = p;
}

void QorPtrList::insert(int index, void* p)
{
    if (index < 0) {
        index = 0;
    } else if (index > count) {
        index = count;
    }
    if (count > INT_MAX - 10) {
        zarn::sizeOverflow("QorPtrList::insert");
    }
    int required = index < count ? count + 10 : index + 10;
    if (capacity < required) {
        capacity = required;
        elements = resizeSlots(elements, capacity);
    }
    std::memmove(elements + index + 1, elements + index,
                 static_cast<std::size_t>(count - index) * sizeof(void*));
    elements[index] = p;
    ++count;
}

void QorPtrList::remove(int index)
{
    if (index < 0 || index >= count) {
        return;
    }
    std::memmove(elements + index, elements + index + 1,
                 static_cast<std::size_t>(count - index - 1) * sizeof(void*));
    --count;
    elements[count] = nullptr;
}

void* QorPtrList::get(int index)
{
    if (elements == nullptr || index < 0 || index >= count) {
        return nullptr;
    }
    return elements[index];
}
