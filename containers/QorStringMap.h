/// \file
/// QorStringMap: a hash map from text keys to untyped values.
///
/// A table of slots; an occupied slot holds one Bucket, a Bucket holds the
/// slot's MapItems in the order they were added. Every item owns a copy of
/// its key. Keys are given as NUL-terminated text or as a CStringBuffer
/// (counted, so it may hold NUL bytes); both forms of the same text reach the
/// same items. Keys compare byte for byte, case-sensitive. insert never
/// replaces: a second item with the same key goes behind the first, and
/// lookups and remove keep finding the earlier one.
///
/// Values are the caller's pointers, stored unchanged. The map's
/// EQorAllocMode decides whether an item passes its value to the libc free
/// when the item is destroyed (removed, cleared, or destroyed with the map).
///
/// Growth: an insert first checks the collision count. The count goes up by
/// one for every item added to a slot that already holds one, and down by one
/// for every remove whose key hashes to a slot holding more than one item,
/// whether or not the key is found there (removing absent keys can so take it
/// below what a fresh count of the same table would give, even below zero); a
/// growth step or a new table counts afresh. When the count exceeds the
/// larger of size() / 8 and 7 the table is rebuilt with twice the collision
/// count of slots (at least 32; this can be fewer slots than the table had)
/// and every item moves to its new slot, in its old order, its mode reset to
/// the map's allocMode. A growth step never releases a value.
///
/// Avoiding growth steps: the collision count never exceeds the number of
/// items, so a map made with QorStringMap(8 * n, mode), or given reserve(n),
/// never grows while it holds at most n items, whatever the keys. With
/// well-spread keys about 4 * n slots are already enough in practice.
/// clear(true) keeps the slot count; after clear(false) the next insert starts
/// again from 32 slots, so call reserve(n) instead of relying on it. A map that
/// fills up without such a size runs a growth step, which moves every item, on
/// nearly every insert once it holds a few hundred items (the table then stays
/// below one slot per item): filling it costs time quadratic in the items.
///
/// Ownership: the map owns its table, buckets and items, and each item its
/// key copy; values stay the caller's unless the mode hands them to free.
///
/// Pointers: MapItem pointers (from allocList or Bucket::get) and the key
/// text inside an item are valid until that item is removed, the map
/// is cleared, resized or reserved, or an insert runs a growth step; treat
/// them as invalid after any insert.
///
/// Cost: get, exists, insert and remove hash the key once (O(key length)) and
/// then compare keys along one slot's list. count() walks every slot
/// (O(size())); allocList, clear, resize, reserve and a growth step are
/// O(size() + items).
///
/// Memory: every item holds a key buffer with the default growth step, so
/// each item costs at least 4 KB (4092 bytes of key storage for keys of up to
/// 4091 bytes) besides the item, its bucket and its slot.
///
/// Threads: thread-compatible. Separate maps may be used from separate
/// threads at once; the caller serialises all use of one map and its items,
/// lookups included.
#ifndef ZARNCRT_CONTAINERS_QORSTRINGMAP_H
#define ZARNCRT_CONTAINERS_QORSTRINGMAP_H

#include "containers/QorPtrList.h"
#include "core/ZarnExport.h"
#include "text/CStringBuffer.h"

/// What happens to an item's value when the item is destroyed. The key copy
/// is always released with its item; any value other than 1 and 2 acts as
/// eQorAllocNone.
enum EQorAllocMode : int {
    eQorAllocNone = 0,     ///< the value is left alone
    eQorAllocFree = 1,     ///< the value is passed to the libc free
    eQorAllocFreeAlt = 2,  ///< the value is passed to the libc free (same as 1)
};

/// A hash map from text keys to untyped values; insert never replaces. The
/// description of QorStringMap.h gives growth, ownership, pointer validity,
/// costs and threads.
class ZARNCRT_EXPORT QorStringMap {
public:
    /// One entry: a private copy of the key, the caller's value and the mode
    /// that says whether the value is freed with the item.
    class ZARNCRT_EXPORT MapItem {
    public:
        /// An empty key, a NULL value, mode eQorAllocNone.
        MapItem();
        /// A copy of the NUL-terminated keyText (NULL: the empty key) and the
        /// value; mode eQorAllocNone until a bucket takes the item.
        MapItem(char const* keyText, void* value);
        /// A copy of source's bytes (NULs included) and the value; mode
        /// eQorAllocNone until a bucket takes the item.
        MapItem(CStringBuffer& source, void* value);
        /// Passes value to free when the mode is 1 or 2; releases the key.
        virtual ~MapItem();
        MapItem(MapItem const&) = delete;
        MapItem& operator=(MapItem const&) = delete;

        /// Sets the item's mode.
        void setDeallocate(EQorAllocMode mode);

        CStringBuffer key;         ///< the item's own copy of the key
        void* value;               ///< the caller's value
        EQorAllocMode deallocate;  ///< whether the destructor frees value
    };

    /// The items of one slot, in the order they were added. Owns its items.
    /// Looking a key up walks the list: O(items in the slot).
    class ZARNCRT_EXPORT Bucket {
    public:
        /// An empty bucket whose items get the given mode.
        Bucket(EQorAllocMode mode);
        /// Destroys every item in list order.
        virtual ~Bucket();
        Bucket(Bucket const&) = delete;
        Bucket& operator=(Bucket const&) = delete;

        /// Sets the bucket's mode and the mode of every item now in it.
        void setDeallocate(EQorAllocMode mode);
        /// Appends item (NULL is ignored) with the bucket's mode; the bucket
        /// now owns it.
        void add(MapItem* item);
        /// Appends a new item with a copy of the NUL-terminated keyText and
        /// the value, in the bucket's mode. A NULL keyText adds nothing.
        void add(char const* keyText, void* value);
        /// Appends a new item with a copy of source's bytes and the value, in
        /// the bucket's mode.
        void add(CStringBuffer& source, void* value);
        /// Number of items.
        int count();
        /// The item at position i, or NULL when i is out of range.
        MapItem* get(int i);
        /// The first item whose key text equals keyText (strcmp), or NULL
        /// (also for a NULL keyText).
        MapItem* get(char const* keyText);
        /// The first item whose key has source's length and bytes, or NULL.
        MapItem* get(CStringBuffer& source);
        /// Takes item out of the list (later items move up) and destroys it;
        /// an item not in this bucket is left alone.
        void remove(MapItem* item);
        /// Destroys the first item that get(keyText) finds, if any.
        void remove(char const* keyText);
        /// Destroys the first item that get(source) finds, if any.
        void remove(CStringBuffer& source);
        /// Destroys the item at position i; out of range does nothing.
        void remove(int i);

        QorPtrList items;          ///< the MapItem* of this slot, owned
        EQorAllocMode deallocate;  ///< mode given to every item added

    private:
        friend class QorStringMap;

        /// Position of the first item matching n bytes of key, as text
        /// (strcmp rule) or as counted bytes; -1 when none matches.
        ZARNCRT_HIDDEN int indexOfText(char const* keyText, int n);
        ZARNCRT_HIDDEN int indexOfBytes(char const* bytes, int n);
    };

    /// A map with 32 slots whose items release values by mode.
    QorStringMap(EQorAllocMode mode);
    /// A map with max(size, 32) slots. See the top of this file for the size
    /// that keeps a map from ever growing.
    QorStringMap(int size, EQorAllocMode mode);
    /// clear(false): destroys every item and the table.
    virtual ~QorStringMap();
    QorStringMap(QorStringMap const&) = delete;
    QorStringMap& operator=(QorStringMap const&) = delete;

    /// Makes a fresh, empty table of max(n, 32) slots and zeroes the
    /// collision count. Does not release a table the map already has (use
    /// clear or resize for that).
    void init(int n);
    /// Number of slots (not items); 0 for a map without a table.
    int size();
    /// Number of items, counted by walking every slot: O(size()).
    int count();
    /// The 24-bit hash of length bytes of key (length < 0: up to its NUL;
    /// NULL: the empty key). Depends only on its arguments.
    int hash(char const* key, int length);

    /// Value of the first item with this key, or NULL (also when the key is
    /// absent, NULL, or the map has no table). exists tells a stored NULL
    /// value from an absent key.
    void* get(char const* key);
    /// The same, with the key given as the buffer's length() bytes (NUL bytes
    /// included).
    void* get(CStringBuffer& key);
    /// Same as get.
    void* operator[](char const* key);
    /// The same, with the key given as the buffer's length() bytes (NUL bytes
    /// included).
    void* operator[](CStringBuffer& key);
    /// Whether an item with this key exists (false for a NULL key).
    bool exists(char const* key);
    /// The same, with the key given as the buffer's length() bytes (NUL bytes
    /// included).
    bool exists(CStringBuffer& key);

    /// Adds an item with a copy of the key and the value, behind any items
    /// with the same key; may run a growth step first. A NULL key stores
    /// nothing. A map without a table first gets one of 32 slots.
    void insert(char const* key, void* value);
    /// The same, with the key given as the buffer's length() bytes (NUL bytes
    /// included).
    void insert(CStringBuffer& key, void* value);
    /// Destroys the first item with this key (its value released by its
    /// mode). Nothing happens for an absent or NULL key, or without a table.
    void remove(char const* key);
    /// The same, with the key given as the buffer's length() bytes (NUL bytes
    /// included).
    void remove(CStringBuffer& key);

    /// A new list of every MapItem*, slot by slot from slot 0 and in list
    /// order within a slot. The caller deletes the list, never the items.
    QorPtrList* allocList();
    /// Destroys every item (values released by each item's mode) and the
    /// table. With reinit the map gets a fresh empty table of the same slot
    /// count; without, it is left without a table (size() 0) until an
    /// insert, clear(true) or resize.
    void clear(bool reinit);
    /// Rebuilds the table with max(n, 32) slots, moving every item to its new
    /// slot as a re-insertion would place it. Releases no value.
    void resize(int n);
    /// Makes the table large enough that the map can hold `items` items in
    /// all without a growth step, whatever their keys: a table of fewer than
    /// 8 * items slots (or none) is rebuilt, as resize does, with exactly
    /// that many; a large enough table is left alone. items <= 0 does
    /// nothing. Insert behaviour is unchanged: reserve only moves the point
    /// at which the next growth step would come.
    ///
    /// For a map whose final size is not known, reserve ahead geometrically
    /// so that the total cost stays linear in the number of inserts:
    ///
    ///     int room = 0;
    ///     for (...) {
    ///         if (inserted == room) {
    ///             room = room == 0 ? 1024 : 2 * room;
    ///             map.reserve(room);
    ///         }
    ///         map.insert(key, value);
    ///         ++inserted;
    ///     }
    void reserve(int items);

protected:
    Bucket** buckets;         ///< bucketCount slots from QorMemAlloc, or NULL
    int bucketCount;          ///< slots; 0 without a table
    int collisions;           ///< items added to occupied slots, less removals
    bool resizing;            ///< true only while resize moves items
    EQorAllocMode allocMode;  ///< mode of every bucket the map creates

private:
    /// Internal helpers of the table.
    ZARNCRT_HIDDEN static int hashBytes(char const* key, int length);
    ZARNCRT_HIDDEN Bucket* bucketOf(char const* bytes, int n);
    ZARNCRT_HIDDEN Bucket* bucketForInsert(char const* bytes, int n);
    ZARNCRT_HIDDEN void removeKey(char const* bytes, int n, bool counted);
    ZARNCRT_HIDDEN void moveItems(Bucket** oldBuckets, int oldCount);
};

#endif
