// Binary layout of the exported classes on x86-64: object sizes, field
// offsets in declaration order, and virtual-slot indexes. Applications
// compiled against earlier builds depend on all three; a reordered field or
// virtual function fails here before it breaks them.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include <zarncrt_core++.h>

namespace {

using Numbers = std::vector<long>;

// Byte offsets of fields inside obj, in the order given.
template <typename Object, typename... Field>
Numbers offsetsIn(const Object& obj, const Field&... field)
{
    return {(reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&obj))...};
}

template <typename... Type>
Numbers sizesOf()
{
    return {static_cast<long>(sizeof(Type))...};
}

// Virtual-slot index of a member function (Itanium ABI: a pointer to a
// virtual member holds 1 + the slot's byte offset in the vtable), -1 when it
// is not virtual. Slots 0 and 1 are the complete and deleting destructors.
template <typename MemberFn>
long slot(MemberFn fn)
{
    static_assert(sizeof(MemberFn) == 2 * sizeof(std::uintptr_t), "Itanium pointer to member");
    std::uintptr_t words[2];
    std::memcpy(words, &fn, sizeof words);
    return (words[0] & 1) == 0 ? -1 : static_cast<long>((words[0] - 1) / sizeof(void*));
}

// Name: a subclass of Base that records the offsets of Base's protected
// fields in its member at.
#define LAYOUT(Name, Base, ...)                     \
    struct Name : Base {                            \
        using Base::Base;                           \
        Numbers at = offsetsIn(*this, __VA_ARGS__); \
    }

using Data = BPlusCompositeKey::BPlusCompositeData;
LAYOUT(Text, CStringBuffer, buffer, bufSize, len, endPtr, blockSize, writeBuffer, writeBufSize);
LAYOUT(List, QorPtrList, capacity, count, elements);
LAYOUT(IntStack, CIntStack, capacity, count, elements);
LAYOUT(PtrStack, CPtrStack, capacity, count, elements);
LAYOUT(Map, QorStringMap, buckets, bucketCount, collisions, resizing, allocMode);
LAYOUT(Key, BPlusKey, m_type, m_nValue, m_fValue, m_szValue, m_nLength, m_szNormalized,
       m_nNormalizedLength, m_szName, m_bNull, m_pData);
LAYOUT(Composite, BPlusCompositeKey, m_pKeyParts, m_nKeyParts);
LAYOUT(Holder, Data, m_nCount, m_pPartData);
LAYOUT(Node, BPlusNode, m_nMaxPointers, m_nPointerCount, m_nKeyCount, m_bLeaf, m_nBlockSize,
       m_nKeySize, m_nPointerSize, m_fFactor, m_pKeys, m_pPointers, m_pPrevLeaf, m_pNextLeaf);
LAYOUT(Logger, QorFileLogger, logLevel, ownsFile, useDate, stream, mutex);

}  // namespace

TEST(AbiLayout, ObjectSizes)
{
    EXPECT_EQ((sizesOf<CStringBuffer, QorPtrList, CIntStack, CPtrStack, QorStringMap,
                       QorStringMap::Bucket, QorStringMap::MapItem, EQorAllocMode, BPlusKey,
                       BPlusKey::EBPlusKeyType, BPlusCompositeKey, Data, IBPlusData, BPlusNode,
                       IQorLogger, IQorLogger::tagELogLevel, QorFileLogger>()),
              (Numbers{56, 16, 16, 16, 32, 32, 80, 4, 80, 4, 96, 24, 8, 72, 16, 4, 32}));
}

TEST(AbiLayout, FieldOffsets)
{
    EXPECT_EQ(Text().at, (Numbers{8, 16, 20, 24, 32, 40, 48}));
    EXPECT_EQ(List().at, (Numbers{0, 4, 8}));
    EXPECT_EQ(IntStack().at, (Numbers{0, 4, 8}));
    EXPECT_EQ(PtrStack().at, (Numbers{0, 4, 8}));
    EXPECT_EQ(Map(eQorAllocNone).at, (Numbers{8, 16, 20, 24, 28}));
    EXPECT_EQ(Key(BPlusKey::eIntegerKey).at, (Numbers{8, 12, 16, 24, 32, 40, 48, 56, 64, 72}));
    EXPECT_EQ(Composite().at, (Numbers{80, 88}));
    EXPECT_EQ(Holder(0).at, (Numbers{8, 16}));
    EXPECT_EQ(Node().at, (Numbers{8, 12, 16, 20, 24, 28, 32, 36, 40, 48, 56, 64}));
    EXPECT_EQ(Logger().at, (Numbers{8, 12, 13, 16, 24}));
    QorStringMap::MapItem item;
    EXPECT_EQ(offsetsIn(item, item.key, item.value, item.deallocate), (Numbers{8, 64, 72}));
    QorStringMap::Bucket bucket(eQorAllocNone);
    EXPECT_EQ(offsetsIn(bucket, bucket.items, bucket.deallocate), (Numbers{8, 24}));
}

TEST(AbiLayout, VirtualSlotOrder)
{
    // BPlusKey: Clone, CopyTo, SetData, GetData, PrintKey(FILE*), PrintKey(CStringBuffer&);
    // BPlusCompositeKey overrides all of them and appends SetData(int, data), GetData(int).
    using K = BPlusKey;
    using C = BPlusCompositeKey;
    EXPECT_EQ(
        (Numbers{slot(&K::Clone), slot(&K::CopyTo), slot<void (K::*)(IBPlusData*)>(&K::SetData),
                 slot<IBPlusData* (K::*)()>(&K::GetData), slot<void (K::*)(FILE*)>(&K::PrintKey),
                 slot<void (K::*)(CStringBuffer&)>(&K::PrintKey), slot(&C::Clone),
                 slot<void (C::*)(CStringBuffer&)>(&C::PrintKey),
                 slot<void (C::*)(int, IBPlusData*)>(&C::SetData),
                 slot<IBPlusData* (C::*)(int)>(&C::GetData)}),
        (Numbers{2, 3, 4, 5, 6, 7, 2, 7, 8, 9}));
    EXPECT_EQ((Numbers{slot(&IBPlusData::Dealloc), slot(&C::BPlusCompositeData::Dealloc),
                       slot(&BPlusNode::New)}),
              (Numbers{2, 2, 2}));
    // IQorLogger in declaration order, then QorFileLogger's override of the first.
    using L = IQorLogger;
    EXPECT_EQ((Numbers{slot(&L::PrintLog), slot(&L::SetLogLevel), slot(&L::GetLogLevel),
                       slot(&L::FatalError), slot(&L::Error), slot(&L::Warning),
                       slot(&L::Information), slot(&L::Debug), slot(&QorFileLogger::PrintLog)}),
              (Numbers{2, 3, 4, 5, 6, 7, 8, 9, 2}));
    // Classes whose only virtual function is the destructor: no other slot.
    EXPECT_EQ((Numbers{slot(&CStringBuffer::length), slot(&QorStringMap::count)}),
              (Numbers{-1, -1}));
}

// Subclasses compiled against earlier builds read the protected fields
// directly, so each must keep meaning what the public interface says.
TEST(AbiFields, StringBufferFieldsHoldItsState)
{
    struct TextFields : CStringBuffer {
        using CStringBuffer::CStringBuffer;
        Numbers fields()
        {
            return {len, bufSize, endPtr - buffer, blockSize, buffer[len], writeBufSize};
        }
    } text(16);
    text.set("hello", -1).append(" world", -1).getBufferSetLength(5);
    EXPECT_EQ(text.fields(), (Numbers{11, 16, 11, 16, '\0', 5}));
}

TEST(AbiFields, LoggerFieldsHoldItsSettings)
{
    struct LoggerFields : QorFileLogger {
        Numbers fields()
        {
            return {logLevel, ownsFile, useDate, stream == stderr, mutex != nullptr};
        }
    } logger;
    logger.SetLogLevel(IQorLogger::eLogWarning);
    logger.ToggleDateUsage(false);
    logger.SetFile(stderr, false);
    EXPECT_EQ(logger.fields(), (Numbers{IQorLogger::eLogWarning, false, false, true, true}));
}

// The containers' slot arrays: a subclass reads capacity, count and the
// array, so their growth steps are part of what it sees.
TEST(AbiFields, ContainerFieldsFollowTheGrowthSteps)
{
    struct ListFields : QorPtrList {
        Numbers fields()
        {
            return {capacity, count, elements != nullptr};
        }
    } list;
    int value = 0;
    list.append(&value);
    EXPECT_EQ(list.fields(), (Numbers{11, 1, true})) << "first append: 11 slots";
    for (int i = 0; i < 10; ++i)
        list.append(&value);
    EXPECT_EQ(list.fields(), (Numbers{11, 11, true})) << "eleven appends fill the 11 slots";
    list.insert(0, &value);
    EXPECT_EQ(list.fields(), (Numbers{21, 12, true})) << "insert into a full list: count + 10";

    struct StackFields : CIntStack {
        Numbers fields()
        {
            return {capacity, count, elements != nullptr};
        }
    } stack;
    stack.push(1);
    stack.push(2);
    EXPECT_EQ(stack.fields(), (Numbers{2, 2, true})) << "one slot per push";
    stack.pop();
    stack.pop();
    EXPECT_EQ(stack.fields(), (Numbers{0, 0, false})) << "popped empty: array freed";
}
