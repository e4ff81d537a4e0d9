/// \file
/// QorPtrList: an indexed, growable list of untyped pointers.
///
/// The list owns its slot array (malloc/realloc/free), never what the
/// pointers refer to. Reads out of range give NULL. Nothing hands out
/// pointers into the slot array.
///
/// Cost: size and get are O(1). The array grows arithmetically: append adds 11
/// slots when it is full (one reallocation every 11 appends), and insert keeps
/// 10 slots spare, so once its spare slots are used it reallocates, one slot
/// larger, on every insert. insert and remove move every element after the
/// index (O(size - index)).
///
/// Threads: thread-compatible. Separate lists may be used from separate
/// threads at once; calls on one list need the caller's serialisation.
#ifndef ZARNCRT_CONTAINERS_QORPTRLIST_H
#define ZARNCRT_CONTAINERS_QORPTRLIST_H

#include "core/ZarnExport.h"

/// An indexed, growable list of untyped pointers; it owns its slot array,
/// never what the pointers refer to (see QorPtrList.h).
class ZARNCRT_EXPORT QorPtrList {
public:
    /// An empty list without a slot array.
    QorPtrList();
    /// Frees the slot array; the pointed-to objects are not touched.
    ~QorPtrList();
    QorPtrList(QorPtrList const&) = delete;
    QorPtrList& operator=(QorPtrList const&) = delete;

    /// Number of elements.
    int size();
    /// Stores p after the last element (grows to count + 10 free slots).
    void append(void* p);
    /// Stores p at index, moving later elements up. An index below 0 inserts
    /// at 0; above size() it appends.
    void insert(int index, void* p);
    /// Forgets the element at index, moving later elements down; an index out
    /// of range does nothing. The slot array never shrinks.
    void remove(int index);
    /// The element at index, or NULL when index is out of range.
    void* get(int index);

protected:
    int capacity;     ///< slots allocated
    int count;        ///< slots in use, 0..count-1
    void** elements;  ///< slot array, or NULL
};

#endif
