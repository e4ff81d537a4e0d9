// Helpers shared by the tests of keys, composite keys and tree nodes.
#ifndef ZARNCRT_TESTS_BTREE_KEYTESTSUPPORT_H
#define ZARNCRT_TESTS_BTREE_KEYTESTSUPPORT_H

#include <memory>
#include <string>

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusKey.h"
#include "text/CStringBuffer.h"

using Key = std::unique_ptr<BPlusKey>;
using Composite = std::unique_ptr<BPlusCompositeKey>;

inline BPlusKey* I(int value)
{
    return BPlusKey::NewIntegerKey(value);
}

inline Key text(char const* value)
{
    return Key(BPlusKey::NewCharKey(value));
}

inline int cmp(BPlusKey* a, BPlusKey* b)
{
    return BPlusKey::Compare(a, b);
}

inline int cmp(Key const& a, Key const& b)
{
    return BPlusKey::Compare(a.get(), b.get());
}

// What PrintKey appends to a buffer that holds `before`.
inline std::string printed(BPlusKey& key, char const* before = "")
{
    CStringBuffer out(before);
    key.PrintKey(out);
    return std::string(out.getBufferPointer(), static_cast<size_t>(out.length()));
}

// Data that answers Dealloc() as told and counts how often a holder asked it
// to go (asked) and how many such objects were deleted (deleted).
struct CountingData : IBPlusData {
    explicit CountingData(bool answer = false) : answer(answer) {}
    ~CountingData() override
    {
        ++deleted;
    }
    bool Dealloc() override
    {
        return ++asked > 0 && answer;
    }
    bool answer;
    int asked = 0;
    static inline int deleted = 0;
};

#endif
