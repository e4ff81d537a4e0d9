// BPlusKey: construction, copying, name, null flag and attached data.
// The value setters and printing live in BPlusKeyValue.cpp, the order in
// BPlusKeyCompare.cpp.
#include "btree/BPlusKey.h"

#include "btree/CheckedKeys.h"
#include "btree/CheckedTrees.h"
#include "btree/KeyMemory.h"
#include "core/OutOfMemory.h"
#include "core/QorCore.h"

#include <cstring>

// Defined here so that the vtable and type information of the interface live
// in the library, whatever the application derives from it.
IBPlusData::~IBPlusData() = default;

int (*BPlusKey::m_normalizer)(char*, int*, int) = nullptr;
int BPlusKey::m_nNormalizeData = 0;

BPlusKey::BPlusKey(EBPlusKeyType type)
    : m_type(type),
      m_nValue(0),
      m_fValue(0.0),
      m_szValue(nullptr),
      m_nLength(0),
      m_szNormalized(nullptr),
      m_nNormalizedLength(0),
      m_szName(nullptr),
      m_bNull(false),
      m_pData(nullptr)
{
}

BPlusKey::BPlusKey(BPlusKey& other) : BPlusKey(other.m_type)
{
    // The source's own class decides what a copy of it is.
    other.CopyTo(*this);
}

BPlusKey::~BPlusKey()
{
#ifdef ZARNCRT_CHECKED
    zarn::btreecheck::keyDestroyed(this);
    if (m_szNormalized != nullptr) {
        zarn::btreecheck::copyDropped(this);
    }
    if (m_pData != nullptr) {
        zarn::btreecheck::dataLetGo(m_pData);
    }
#endif
    if (m_szValue != nullptr) {
        QorMemFree(m_szValue);
    }
    if (m_pData != nullptr) {
        IBPlusData* data = m_pData;
        m_pData = nullptr;
        zarn::releaseData(data);
    }
    if (m_szNormalized != nullptr) {
        QorMemFree(m_szNormalized);
    }
    if (m_szName != nullptr) {
        QorMemFree(m_szName);
    }
}

// The two number factories store the value as SetKey does for their type,
// directly: applications make keys by the million.
BPlusKey* BPlusKey::NewIntegerKey(int value)
{
    BPlusKey* key = zarn::make<BPlusKey>(eIntegerKey);
    key->m_nValue = value;
    return key;
}

BPlusKey* BPlusKey::NewNumberKey(double value)
{
    BPlusKey* key = zarn::make<BPlusKey>(eNumberKey);
    key->m_fValue = value;
    return key;
}

BPlusKey* BPlusKey::NewCharKey(char const* text)
{
    BPlusKey* key = zarn::make<BPlusKey>(eCharKey);
    key->SetKey(text);
    return key;
}

BPlusKey* BPlusKey::Clone()
{
    BPlusKey* copy = zarn::make<BPlusKey>(m_type);
    CopyTo(*copy);
    return copy;
}

void BPlusKey::CopyTo(BPlusKey& target)
{
    if (&target == this) {
        return;  // would free the very text it is about to copy
    }
    // The target's data belongs to whoever gave it; a copied value carries none.
#ifdef ZARNCRT_CHECKED
    if (target.m_pData != nullptr) {
        zarn::btreecheck::dataLetGo(target.m_pData);
    }
#endif
    target.m_pData = nullptr;
    if (target.m_szValue != nullptr) {
        QorMemFree(target.m_szValue);
        target.m_szValue = nullptr;
        target.m_nLength = 0;
    }
    if (target.m_szNormalized != nullptr) {
#ifdef ZARNCRT_CHECKED
        zarn::btreecheck::copyDropped(&target);
#endif
        QorMemFree(target.m_szNormalized);
        target.m_szNormalized = nullptr;
        target.m_nNormalizedLength = 0;
    }
    if (target.m_szName != nullptr) {
        QorMemFree(target.m_szName);
        target.m_szName = nullptr;
    }
    // The value lands in the field of the source's type, whatever the
    // target's type is.
    switch (m_type) {
        case eIntegerKey:
            target.m_nValue = m_nValue;
            break;
        case eNumberKey:
            target.m_fValue = m_fValue;
            break;
        case eCharKey:
            if (m_szValue != nullptr) {
                target.m_szValue = zarn::copyText(m_szValue, static_cast<size_t>(m_nLength));
                target.m_nLength = m_nLength;
                if (m_szNormalized != nullptr) {
                    target.m_szNormalized =
                        zarn::copyText(m_szNormalized, static_cast<size_t>(m_nNormalizedLength));
                    target.m_nNormalizedLength = m_nNormalizedLength;
#ifdef ZARNCRT_CHECKED
                    zarn::btreecheck::copyCopied(&target, this);
#endif
                }
            }
            break;
        default:
            break;
    }
    // A clone held in an index node must sort exactly like its source, and the
    // composite order looks at the null flag.
    target.m_bNull = m_bNull;
    if (m_szName != nullptr) {
        target.SetName(m_szName);
    }
}

void BPlusKey::SetData(IBPlusData* data)
{
    if (data == m_pData) {
        return;  // releasing it would hand the key a dangling pointer
    }
    IBPlusData* previous = m_pData;
    m_pData = data;
#ifdef ZARNCRT_CHECKED
    if (data != nullptr) {
        zarn::btreecheck::dataHeld(data);
    }
    if (previous != nullptr) {
        zarn::btreecheck::dataLetGo(previous);
    }
#endif
    if (previous != nullptr) {
        zarn::releaseData(previous);
    }
}

IBPlusData* BPlusKey::GetData()
{
    return m_pData;
}

IBPlusData* BPlusKey::DetachData()
{
    IBPlusData* data = m_pData;
    m_pData = nullptr;
#ifdef ZARNCRT_CHECKED
    if (data != nullptr) {
        zarn::btreecheck::dataLetGo(data);
    }
#endif
    return data;
}

BPlusKey::EBPlusKeyType BPlusKey::GetType()
{
    return m_type;
}

int BPlusKey::GetIntValue()
{
    return m_nValue;
}

double BPlusKey::GetFloatValue()
{
    return m_fValue;
}

char* BPlusKey::GetCharValue(int* length)
{
    if (length != nullptr) {
        *length = m_nLength;
    }
    return m_szValue;
}

void BPlusKey::SetName(char const* name)
{
    // The copy is made before the old name goes, so handing the key its own
    // name is harmless.
    char* copy = nullptr;
    if (name != nullptr) {
        copy = zarn::copyText(name, std::strlen(name));
    }
    if (m_szName != nullptr) {
        QorMemFree(m_szName);
    }
    m_szName = copy;
}

char* BPlusKey::GetName()
{
    return m_szName;
}

void BPlusKey::SetNull(bool isNull)
{
    m_bNull = isNull;
}

bool BPlusKey::IsNull()
{
    return m_bNull;
}
