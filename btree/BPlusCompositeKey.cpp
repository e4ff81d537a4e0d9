// BPlusCompositeKey: construction, copying, parts, per-part data, printing.
// Its order, CompositeCompare, lives beside BPlusKey::Compare.
#include "btree/BPlusCompositeKey.h"

#include <climits>
#include <cstdarg>
#include <cstdio>

#include "core/OutOfMemory.h"
#include "core/QorCore.h"
#include "text/CStringBuffer.h"

namespace {

// The slot array resized to exactly count slots (made when there is none).
// Slots past the old count are not cleared here.
BPlusKey** resizeSlots(BPlusKey** slots, int count)
{
    const size_t bytes = static_cast<size_t>(count) * sizeof(BPlusKey*);
    if (slots == nullptr) {
        return static_cast<BPlusKey**>(QorMemAlloc(bytes));
    }
    return static_cast<BPlusKey**>(QorMemRealloc(slots, bytes));
}

}  // namespace

BPlusCompositeKey::BPlusCompositeKey()
    : BPlusKey(eCompositeKey), m_pKeyParts(nullptr), m_nKeyParts(0)
{
}

// The base is made empty rather than from other: BPlusKey's copy constructor
// would run other's CopyTo while this object is still a plain BPlusKey.
BPlusCompositeKey::BPlusCompositeKey(BPlusCompositeKey& other)
    : BPlusKey(eCompositeKey), m_pKeyParts(nullptr), m_nKeyParts(0)
{
    other.CopyTo(*this);
}

BPlusCompositeKey::~BPlusCompositeKey()
{
    Clear();
}

BPlusCompositeKey* BPlusCompositeKey::New()
{
    return zarn::make<BPlusCompositeKey>();
}

BPlusCompositeKey* BPlusCompositeKey::New(BPlusKey* first, ...)
{
    BPlusCompositeKey* key = New();
    va_list args;
    va_start(args, first);
    for (BPlusKey* part = first; part != nullptr; part = va_arg(args, BPlusKey*)) {
        key->AppendKeyPart(part);
    }
    va_end(args);
    return key;
}

void BPlusCompositeKey::CloneParts(BPlusCompositeKey& target)
{
    if (m_nKeyParts == 0) {
        return;
    }
    // The whole array at once: the same slots one append per part would give.
    target.m_pKeyParts = resizeSlots(nullptr, m_nKeyParts);
    target.m_nKeyParts = m_nKeyParts;
    for (int i = 0; i < m_nKeyParts; ++i) {
        BPlusKey* part = m_pKeyParts[i];
        target.m_pKeyParts[i] = part != nullptr ? part->Clone() : nullptr;
    }
}

BPlusKey* BPlusCompositeKey::Clone()
{
    BPlusCompositeKey* copy = New();
    CloneParts(*copy);
    copy->SetNull(m_bNull);
    return copy;
}

void BPlusCompositeKey::CopyTo(BPlusKey& target)
{
    if (&target == this) {
        return;  // Clear() would delete the parts about to be copied
    }
    BPlusCompositeKey* composite = dynamic_cast<BPlusCompositeKey*>(&target);
    if (composite == nullptr) {
        std::puts("BPlusCompositeKey::CopyTo invalid type - cannot copy to non composite.");
        return;
    }
    composite->Clear();
    BPlusKey::CopyTo(target);  // data dropped, texts freed, name and null flag
    CloneParts(*composite);
}

void BPlusCompositeKey::SetData(IBPlusData* data)
{
    BPlusKey::SetData(data);
}

IBPlusData* BPlusCompositeKey::GetData()
{
    return BPlusKey::GetData();
}

void BPlusCompositeKey::SetData(int index, IBPlusData* data)
{
    BPlusCompositeData* holder = dynamic_cast<BPlusCompositeData*>(GetData());
    if (holder == nullptr) {
        holder = zarn::make<BPlusCompositeData>(m_nKeyParts);
        SetData(holder);  // releases whatever data the key held before
    }
    holder->SetPartData(index, data);
}

IBPlusData* BPlusCompositeKey::GetData(int index)
{
    BPlusCompositeData* holder = dynamic_cast<BPlusCompositeData*>(GetData());
    return holder != nullptr ? holder->GetPartData(index) : nullptr;
}

void BPlusCompositeKey::PrintKey(FILE* stream)
{
    BPlusKey::PrintKey(stream);
}

void BPlusCompositeKey::PrintKey(CStringBuffer& out)
{
    out.append("<", 1);
    for (int i = 0; i < m_nKeyParts; ++i) {
        if (i > 0) {
            out.append(",", 1);
        }
        if (m_pKeyParts[i] != nullptr) {
            m_pKeyParts[i]->PrintKey(out);
        }
    }
    out.append(">", 1);
}

void BPlusCompositeKey::Clear()
{
    for (int i = 0; i < m_nKeyParts; ++i) {
        delete m_pKeyParts[i];
    }
    if (m_pKeyParts != nullptr) {
        QorMemFree(m_pKeyParts);
    }
    m_pKeyParts = nullptr;
    m_nKeyParts = 0;
}

bool BPlusCompositeKey::isOwnPartOrSelf(BPlusKey* part)
{
    if (part == nullptr) {
        return false;
    }
    if (part == this) {
        return true;
    }
    for (int i = 0; i < m_nKeyParts; ++i) {
        if (m_pKeyParts[i] == part) {
            return true;
        }
    }
    return false;
}

void BPlusCompositeKey::AppendKeyPart(BPlusKey* part)
{
    if (isOwnPartOrSelf(part)) {
        return;  // owning it twice would delete it twice
    }
    if (m_nKeyParts == INT_MAX) {
        zarn::sizeOverflow("BPlusCompositeKey::AppendKeyPart");
    }
    m_pKeyParts = resizeSlots(m_pKeyParts, m_nKeyParts + 1);
    m_pKeyParts[m_nKeyParts] = part;
    ++m_nKeyParts;
}

void BPlusCompositeKey::SetKeyPart(int index, BPlusKey* part)
{
    if (index < 0) {
        return;
    }
    if (index < m_nKeyParts && m_pKeyParts[index] == part) {
        return;  // deleting it would leave the slot dangling
    }
    if (isOwnPartOrSelf(part)) {
        return;  // held in another slot, or the key itself: refused
    }
    if (index >= m_nKeyParts) {
        if (index == INT_MAX) {
            zarn::sizeOverflow("BPlusCompositeKey::SetKeyPart");
        }
        m_pKeyParts = resizeSlots(m_pKeyParts, index + 1);
        for (int i = m_nKeyParts; i <= index; ++i) {
            m_pKeyParts[i] = nullptr;
        }
        m_nKeyParts = index + 1;
    }
    delete m_pKeyParts[index];
    m_pKeyParts[index] = part;
}

int BPlusCompositeKey::GetKeyPartCount()
{
    return m_nKeyParts;
}

BPlusKey* BPlusCompositeKey::GetKeyPart(int index)
{
    if (index < 0 || index >= m_nKeyParts) {
        return nullptr;
    }
    return m_pKeyParts[index];
}
