// Binary layout of the exported classes on x86-64: object sizes, field
// offsets in declaration order, and virtual-slot indexes. Applications
// compiled against earlier builds depend on all three; a reordered field or
// virtual function fails here before it breaks them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include <zarncrt_core++.h>

namespace {

// Byte offset of a field inside obj.
template <typename Object, typename Field>
std::ptrdiff_t offsetIn(const Object& obj, const Field& field)
{
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&obj);
}

// Virtual-slot index of a member function (Itanium ABI: a pointer to a
// virtual member holds 1 + the slot's byte offset in the vtable). Slots 0 and
// 1 are the complete and deleting destructors.
template <typename MemberFn>
long vtableSlot(MemberFn fn)
{
    static_assert(sizeof(MemberFn) == 2 * sizeof(std::uintptr_t), "Itanium pointer to member");
    std::uintptr_t words[2];
    std::memcpy(words, &fn, sizeof words);
    if ((words[0] & 1) == 0) return -1;  // not virtual
    return static_cast<long>((words[0] - 1) / sizeof(void*));
}

struct TextLayout : CStringBuffer {
    void check()
    {
        EXPECT_EQ(offsetIn(*this, buffer), 8);
        EXPECT_EQ(offsetIn(*this, bufSize), 16);
        EXPECT_EQ(offsetIn(*this, len), 20);
        EXPECT_EQ(offsetIn(*this, endPtr), 24);
        EXPECT_EQ(offsetIn(*this, blockSize), 32);
        EXPECT_EQ(offsetIn(*this, writeBuffer), 40);
        EXPECT_EQ(offsetIn(*this, writeBufSize), 48);
    }
};

struct ListLayout : QorPtrList {
    void check()
    {
        EXPECT_EQ(offsetIn(*this, capacity), 0);
        EXPECT_EQ(offsetIn(*this, count), 4);
        EXPECT_EQ(offsetIn(*this, elements), 8);
    }
};

struct IntStackLayout : CIntStack {
    void check()
    {
        EXPECT_EQ(offsetIn(*this, capacity), 0);
        EXPECT_EQ(offsetIn(*this, count), 4);
        EXPECT_EQ(offsetIn(*this, elements), 8);
    }
};

struct PtrStackLayout : CPtrStack {
    void check()
    {
        EXPECT_EQ(offsetIn(*this, capacity), 0);
        EXPECT_EQ(offsetIn(*this, count), 4);
        EXPECT_EQ(offsetIn(*this, elements), 8);
    }
};

struct MapLayout : QorStringMap {
    MapLayout() : QorStringMap(eQorAllocNone) {}
    void check()
    {
        EXPECT_EQ(offsetIn(*this, buckets), 8);
        EXPECT_EQ(offsetIn(*this, bucketCount), 16);
        EXPECT_EQ(offsetIn(*this, collisions), 20);
        EXPECT_EQ(offsetIn(*this, resizing), 24);
        EXPECT_EQ(offsetIn(*this, allocMode), 28);
    }
};

struct KeyLayout : BPlusKey {
    KeyLayout() : BPlusKey(eIntegerKey) {}
    void check()
    {
        EXPECT_EQ(offsetIn(*this, m_type), 8);
        EXPECT_EQ(offsetIn(*this, m_nValue), 12);
        EXPECT_EQ(offsetIn(*this, m_fValue), 16);
        EXPECT_EQ(offsetIn(*this, m_szValue), 24);
        EXPECT_EQ(offsetIn(*this, m_nLength), 32);
        EXPECT_EQ(offsetIn(*this, m_szNormalized), 40);
        EXPECT_EQ(offsetIn(*this, m_nNormalizedLength), 48);
        EXPECT_EQ(offsetIn(*this, m_szName), 56);
        EXPECT_EQ(offsetIn(*this, m_bNull), 64);
        EXPECT_EQ(offsetIn(*this, m_pData), 72);
    }
};

struct CompositeLayout : BPlusCompositeKey {
    void check()
    {
        EXPECT_EQ(offsetIn(*this, m_pKeyParts), 80);
        EXPECT_EQ(offsetIn(*this, m_nKeyParts), 88);
    }
};

struct HolderLayout : BPlusCompositeKey::BPlusCompositeData {
    HolderLayout() : BPlusCompositeData(0) {}
    void check()
    {
        EXPECT_EQ(offsetIn(*this, m_nCount), 8);
        EXPECT_EQ(offsetIn(*this, m_pPartData), 16);
    }
};

struct NodeLayout : BPlusNode {
    void check()
    {
        EXPECT_EQ(offsetIn(*this, m_nMaxPointers), 8);
        EXPECT_EQ(offsetIn(*this, m_nPointerCount), 12);
        EXPECT_EQ(offsetIn(*this, m_nKeyCount), 16);
        EXPECT_EQ(offsetIn(*this, m_bLeaf), 20);
        EXPECT_EQ(offsetIn(*this, m_nBlockSize), 24);
        EXPECT_EQ(offsetIn(*this, m_nKeySize), 28);
        EXPECT_EQ(offsetIn(*this, m_nPointerSize), 32);
        EXPECT_EQ(offsetIn(*this, m_fFactor), 36);
        EXPECT_EQ(offsetIn(*this, m_pKeys), 40);
        EXPECT_EQ(offsetIn(*this, m_pPointers), 48);
        EXPECT_EQ(offsetIn(*this, m_pPrevLeaf), 56);
        EXPECT_EQ(offsetIn(*this, m_pNextLeaf), 64);
    }
};

struct LoggerLayout : QorFileLogger {
    void check()
    {
        EXPECT_EQ(offsetIn(*this, logLevel), 8);
        EXPECT_EQ(offsetIn(*this, ownsFile), 12);
        EXPECT_EQ(offsetIn(*this, useDate), 13);
        EXPECT_EQ(offsetIn(*this, stream), 16);
        EXPECT_EQ(offsetIn(*this, mutex), 24);
    }
};

}  // namespace

TEST(AbiLayout, ObjectSizes)
{
    EXPECT_EQ(sizeof(CStringBuffer), 56u);
    EXPECT_EQ(sizeof(QorPtrList), 16u);
    EXPECT_EQ(sizeof(CIntStack), 16u);
    EXPECT_EQ(sizeof(CPtrStack), 16u);
    EXPECT_EQ(sizeof(QorStringMap), 32u);
    EXPECT_EQ(sizeof(QorStringMap::Bucket), 32u);
    EXPECT_EQ(sizeof(QorStringMap::MapItem), 80u);
    EXPECT_EQ(sizeof(EQorAllocMode), 4u);
    EXPECT_EQ(sizeof(BPlusKey), 80u);
    EXPECT_EQ(sizeof(BPlusKey::EBPlusKeyType), 4u);
    EXPECT_EQ(sizeof(BPlusCompositeKey), 96u);
    EXPECT_EQ(sizeof(BPlusCompositeKey::BPlusCompositeData), 24u);
    EXPECT_EQ(sizeof(IBPlusData), 8u);
    EXPECT_EQ(sizeof(BPlusNode), 72u);
    EXPECT_EQ(sizeof(IQorLogger), 16u);
    EXPECT_EQ(sizeof(IQorLogger::tagELogLevel), 4u);
    EXPECT_EQ(sizeof(QorFileLogger), 32u);
}

TEST(AbiLayout, FieldOffsets)
{
    TextLayout().check();
    ListLayout().check();
    IntStackLayout().check();
    PtrStackLayout().check();
    MapLayout().check();
    KeyLayout().check();
    CompositeLayout().check();
    HolderLayout().check();
    NodeLayout().check();
    LoggerLayout().check();

    QorStringMap::MapItem item;
    EXPECT_EQ(offsetIn(item, item.key), 8);
    EXPECT_EQ(offsetIn(item, item.value), 64);
    EXPECT_EQ(offsetIn(item, item.deallocate), 72);
    QorStringMap::Bucket bucket(eQorAllocNone);
    EXPECT_EQ(offsetIn(bucket, bucket.items), 8);
    EXPECT_EQ(offsetIn(bucket, bucket.deallocate), 24);
}

TEST(AbiLayout, VirtualSlotOrder)
{
    // BPlusKey: destructors, Clone, CopyTo, SetData, GetData, PrintKey(FILE*),
    // PrintKey(CStringBuffer&).
    EXPECT_EQ(vtableSlot(&BPlusKey::Clone), 2);
    EXPECT_EQ(vtableSlot(&BPlusKey::CopyTo), 3);
    EXPECT_EQ(vtableSlot(static_cast<void (BPlusKey::*)(IBPlusData*)>(&BPlusKey::SetData)), 4);
    EXPECT_EQ(vtableSlot(static_cast<IBPlusData* (BPlusKey::*)()>(&BPlusKey::GetData)), 5);
    EXPECT_EQ(vtableSlot(static_cast<void (BPlusKey::*)(FILE*)>(&BPlusKey::PrintKey)), 6);
    EXPECT_EQ(vtableSlot(static_cast<void (BPlusKey::*)(CStringBuffer&)>(&BPlusKey::PrintKey)), 7);

    // BPlusCompositeKey overrides all of them and appends two.
    using Composite = BPlusCompositeKey;
    EXPECT_EQ(vtableSlot(&Composite::Clone), 2);
    EXPECT_EQ(vtableSlot(static_cast<void (Composite::*)(CStringBuffer&)>(&Composite::PrintKey)), 7);
    EXPECT_EQ(vtableSlot(static_cast<void (Composite::*)(int, IBPlusData*)>(&Composite::SetData)), 8);
    EXPECT_EQ(vtableSlot(static_cast<IBPlusData* (Composite::*)(int)>(&Composite::GetData)), 9);

    EXPECT_EQ(vtableSlot(&IBPlusData::Dealloc), 2);
    EXPECT_EQ(vtableSlot(&BPlusCompositeKey::BPlusCompositeData::Dealloc), 2);
    EXPECT_EQ(vtableSlot(&BPlusNode::New), 2);

    // IQorLogger: destructors, PrintLog, SetLogLevel, GetLogLevel, FatalError,
    // Error, Warning, Information, Debug.
    EXPECT_EQ(vtableSlot(&IQorLogger::PrintLog), 2);
    EXPECT_EQ(vtableSlot(&IQorLogger::SetLogLevel), 3);
    EXPECT_EQ(vtableSlot(&IQorLogger::GetLogLevel), 4);
    EXPECT_EQ(vtableSlot(&IQorLogger::FatalError), 5);
    EXPECT_EQ(vtableSlot(&IQorLogger::Error), 6);
    EXPECT_EQ(vtableSlot(&IQorLogger::Warning), 7);
    EXPECT_EQ(vtableSlot(&IQorLogger::Information), 8);
    EXPECT_EQ(vtableSlot(&IQorLogger::Debug), 9);
    EXPECT_EQ(vtableSlot(&QorFileLogger::PrintLog), 2);

    // Classes whose only virtual function is the destructor: no other slot.
    EXPECT_EQ(vtableSlot(&CStringBuffer::length), -1);
    EXPECT_EQ(vtableSlot(&QorStringMap::count), -1);
}
