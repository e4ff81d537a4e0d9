/// \file
/// CIntStack and CPtrStack: growable stacks of ints and of untyped pointers.
///
/// Each stack owns its slot array (malloc/realloc/free), grows it one slot per
/// push and frees it when popped empty. Reads of an empty stack or out of
/// range give the empty value (0 or NULL). A CPtrStack never owns what its
/// pointers refer to.
///
/// Cost: top, pop, peek and size are O(1). A push that takes the stack deeper
/// than it has been since it was last empty reallocates the array one slot
/// larger: n pushes onto an empty stack reallocate n times.
///
/// Threads: thread-compatible. Separate stacks may be used from separate
/// threads at once; calls on one stack need the caller's serialisation.
#ifndef ZARNCRT_CONTAINERS_STACKS_H
#define ZARNCRT_CONTAINERS_STACKS_H

#include "core/ZarnExport.h"

/// A growable stack of ints (see Stacks.h).
class ZARNCRT_EXPORT CIntStack {
public:
    /// An empty stack without a slot array.
    CIntStack();
    /// Frees the slot array.
    ~CIntStack();
    CIntStack(CIntStack const&) = delete;
    CIntStack& operator=(CIntStack const&) = delete;

    /// Number of values on the stack.
    int size();
    /// Places value on top.
    void push(int value);
    /// The top value, or 0 when empty.
    int top();
    /// Removes and returns the top value (0 when empty); frees the slot array
    /// when the stack becomes empty.
    int pop();
    /// The value at position i counted from the bottom (0 is the oldest), or 0
    /// when i is out of range.
    int peek(int i);

protected:
    int capacity;   ///< slots allocated
    int count;      ///< values in use
    int* elements;  ///< slot array, or NULL
};

/// A growable stack of untyped pointers; it never owns what they refer to
/// (see Stacks.h).
class ZARNCRT_EXPORT CPtrStack {
public:
    /// An empty stack without a slot array.
    CPtrStack();
    /// Frees the slot array; the pointed-to objects are not touched.
    ~CPtrStack();
    CPtrStack(CPtrStack const&) = delete;
    CPtrStack& operator=(CPtrStack const&) = delete;

    /// Number of pointers on the stack.
    int size();
    /// Places value on top.
    void push(void* value);
    /// The top pointer, or NULL when empty.
    void* top();
    /// Removes and returns the top pointer (NULL when empty); frees the slot
    /// array when the stack becomes empty.
    void* pop();
    /// The pointer at position i counted from the bottom (0 is the oldest), or
    /// NULL when i is out of range.
    void* peek(int i);

protected:
    int capacity;     ///< slots allocated
    int count;        ///< pointers in use
    void** elements;  ///< slot array, or NULL
};

#endif
