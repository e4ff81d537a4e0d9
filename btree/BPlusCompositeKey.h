/// \file
/// BPlusCompositeKey: a key made of an ordered list of key parts, so that a
/// tree can order entries by several fields at once (by the first part, then
/// by the second, and so on).
///
/// It is a BPlusKey of type eCompositeKey and enters a tree like any other
/// key. A part may be any key, a composite one included, and a slot may be
/// empty (an absent part). A missing part, or one whose null flag is set,
/// sorts before any present part.
///
/// Ownership: the key owns its slot array and every part in it; parts are
/// deleted when they are replaced, cleared, or when the key is destroyed. A
/// part must belong to one composite key only.
///
/// Data per part: SetData(int, ...) attaches a BPlusCompositeData holder in the
/// key's single data slot, with one data pointer per part as the key had parts
/// at that moment.
///
/// Pointers: a part from GetKeyPart lives until its slot is given another
/// part, the key is cleared, copied into (CopyTo) or destroyed.
///
/// Cost: the slot array has no spare capacity, so every AppendKeyPart (and
/// every SetKeyPart beyond the end) reallocates it, and both check the new
/// part against every slot: O(parts) each. CompositeCompare, Clone and
/// printing visit every part.
///
/// Threads: thread-compatible, as BPlusKey.
#ifndef ZARNCRT_BTREE_BPLUSCOMPOSITEKEY_H
#define ZARNCRT_BTREE_BPLUSCOMPOSITEKEY_H

#include <cstdio>

#include "btree/BPlusKey.h"
#include "core/ZarnExport.h"

class CStringBuffer;

/// A key made of an ordered list of key parts: ordered by its first part, then
/// its second, and so on. The description of BPlusCompositeKey.h gives the
/// order of absent and null parts, ownership and costs.
class ZARNCRT_EXPORT BPlusCompositeKey : public BPlusKey {
public:
    /// Holder of one data object per key part, attached as the composite
    /// key's data. Its size is fixed when it is made. It releases the data in
    /// its slots (release rule) when destroyed, and asks to be deleted itself.
    class ZARNCRT_EXPORT BPlusCompositeData : public IBPlusData {
    public:
        /// A holder of count empty slots (none when count is 0 or less).
        explicit BPlusCompositeData(int count);
        /// Releases each slot's data in index order, then frees the slots.
        ~BPlusCompositeData() override;
        BPlusCompositeData(BPlusCompositeData const&) = delete;
        BPlusCompositeData& operator=(BPlusCompositeData const&) = delete;

        /// Always true: a key that lets go of its holder deletes it.
        bool Dealloc() override;

        /// Number of slots.
        int GetCount();
        /// The data in slot index; NULL when empty or index is out of range.
        IBPlusData* GetPartData(int index);
        /// Stores data in slot index, overwriting (not releasing) what was
        /// there; an index out of range is ignored.
        void SetPartData(int index, IBPlusData* data);

    protected:
        int m_nCount;              ///< number of slots, fixed
        IBPlusData** m_pPartData;  ///< core memory, m_nCount slots, or NULL
    };

    /// An empty composite key: no slots, no name, not null, no data.
    BPlusCompositeKey();
    /// An empty composite key into which other's CopyTo copies clones of its
    /// parts (absent slots kept), its name and its null flag.
    BPlusCompositeKey(BPlusCompositeKey& other);
    /// Deletes the parts, then releases the data (a holder releases in turn).
    ~BPlusCompositeKey() override;
    BPlusCompositeKey& operator=(BPlusCompositeKey const&) = delete;

    /// A new empty composite key; the caller owns it.
    static BPlusCompositeKey* New();
    /// A new composite key holding first and each further BPlusKey* argument,
    /// in order, up to (not including) the first NULL. The list must end with
    /// NULL. The key owns the parts; the caller owns the key.
    static BPlusCompositeKey* New(BPlusKey* first, ...);

    /// A new composite key holding clones of the parts, absent slots kept at
    /// their indexes, and the null flag; no name and no data.
    BPlusKey* Clone() override;
    /// Into a composite target: deletes its parts, drops (without releasing)
    /// its data, then gives it this key's name, null flag and clones of the
    /// parts with absent slots kept. Into any other key: prints
    /// "BPlusCompositeKey::CopyTo invalid type - cannot copy to non composite."
    /// on stdout and changes nothing. Copying onto itself does nothing.
    void CopyTo(BPlusKey& target) override;
    /// As BPlusKey::SetData: acts on the single data slot (the holder).
    void SetData(IBPlusData* data) override;
    /// As BPlusKey::GetData: the single data slot (normally the holder).
    IBPlusData* GetData() override;
    /// Writes the key as printed by PrintKey(CStringBuffer&) to stream.
    void PrintKey(FILE* stream) override;
    /// Appends "<", the parts separated by "," (an absent part prints as
    /// nothing, a composite part with its own brackets), then ">".
    void PrintKey(CStringBuffer& out) override;
    /// Stores data for part index in the holder, overwriting without release.
    /// Without a holder, one with a slot per current part is attached first
    /// (releasing the data held before); an index out of the holder's range
    /// is then ignored.
    virtual void SetData(int index, IBPlusData* data);
    /// The holder's data for part index; NULL without a holder, for an index
    /// out of its range, or for an empty slot. The holder keeps it.
    virtual IBPlusData* GetData(int index);

    /// Deletes every part and the slot array. Name, null flag and data stay.
    void Clear();
    /// Appends part (NULL appends an absent slot) and takes ownership of it.
    /// The key itself, or a part it already holds, is refused (nothing changes).
    void AppendKeyPart(BPlusKey* part);
    /// Stores part in slot index, growing the key with absent slots as needed
    /// and deleting the part the slot held. Takes ownership of part. A
    /// negative index changes nothing (part stays the caller's); storing the
    /// part a slot already holds changes nothing; the key itself, or a part
    /// held in another slot, is refused.
    void SetKeyPart(int index, BPlusKey* part);
    /// Number of slots, absent ones included.
    int GetKeyPartCount();
    /// The part in slot index; NULL for an absent slot or an index out of
    /// range. The key keeps it.
    BPlusKey* GetKeyPart(int index);

    /// Part-by-part order: the first index where a and b differ decides. A
    /// part that is missing or null sorts before a present one; two present
    /// parts compare with BPlusKey::Compare. Neither argument may be NULL.
    static int CompositeCompare(BPlusCompositeKey* a, BPlusCompositeKey* b);

protected:
    BPlusKey** m_pKeyParts;  ///< core memory, m_nKeyParts slots, or NULL
    int m_nKeyParts;         ///< number of slots, no spare capacity

private:
    /// Reads the first part to summarize a key for the tree's nodes.
    friend struct zarn::KeySummary;

    /// Appends clones of this key's parts to target, which has no slots;
    /// absent slots stay absent at the same index.
    ZARNCRT_HIDDEN void CloneParts(BPlusCompositeKey& target);
    /// Whether part is this key itself or already held in one of its slots.
    ZARNCRT_HIDDEN bool isOwnPartOrSelf(BPlusKey* part);
};

#endif
