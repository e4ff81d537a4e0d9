// CIntStack and CPtrStack. Both stacks share one implementation, written once
// over the slot type; the classes only forward to it.
#include "containers/Stacks.h"

#include <climits>
#include <cstdlib>

#include "core/OutOfMemory.h"

namespace {

// Growth rule of both stacks: exactly one more slot per push beyond the
// capacity, no reserve; malloc for the first slot, realloc afterwards.
template <typename T>
void pushSlot(int& capacity, int& count, T*& elements, T value)
{
    if (count == INT_MAX) {
        zarn::sizeOverflow("stack push");
    }
    ++count;
    if (count > capacity) {
        capacity = count;
        std::size_t bytes = static_cast<std::size_t>(capacity) * sizeof(T);
        void* block = elements == nullptr ? std::malloc(bytes) : std::realloc(elements, bytes);
        elements = static_cast<T*>(zarn::checked(block, "stack push", bytes));
    }
    elements[count - 1] = value;
}

template <typename T>
T topSlot(int count, T* elements)
{
    if (elements == nullptr || count <= 0) {
        return T();
    }
    return elements[count - 1];
}

// An emptied stack gives its storage back, so that a stack used once for a
// deep walk does not keep the memory.
template <typename T>
T popSlot(int& capacity, int& count, T*& elements)
{
    T value = topSlot(count, elements);
    if (elements == nullptr || count <= 0) {
        return value;
    }
    --count;
    if (count == 0) {
        std::free(elements);
        elements = nullptr;
        capacity = 0;
    }
    return value;
}

template <typename T>
T peekSlot(int count, T* elements, int i)
{
    if (elements == nullptr || i < 0 || i >= count) {
        return T();
    }
    return elements[i];
}

}  // namespace

// --- CIntStack

CIntStack::CIntStack() : capacity(0), count(0), elements(nullptr) {}

CIntStack::~CIntStack()
{
    std::free(elements);
}

int CIntStack::size()
{
    return count;
}

void CIntStack::push(int value)
{
    pushSlot(capacity, count, elements, value);
}

int CIntStack::top()
{
    return topSlot(count, elements);
}

int CIntStack::pop()
{
    return popSlot(capacity, count, elements);
}

int CIntStack::peek(int i)
{
    return peekSlot(count, elements, i);
}

// --- CPtrStack

CPtrStack::CPtrStack() : capacity(0), count(0), elements(nullptr) {}

CPtrStack::~CPtrStack()
{
    std::free(elements);
}

int CPtrStack::size()
{
    return count;
}

void CPtrStack::push(void* value)
{
    pushSlot(capacity, count, elements, value);
}

void* CPtrStack::top()
{
    return topSlot(count, elements);
}

void* CPtrStack::pop()
{
    return popSlot(capacity, count, elements);
}

void* CPtrStack::peek(int i)
{
    return peekSlot(count, elements, i);
}
