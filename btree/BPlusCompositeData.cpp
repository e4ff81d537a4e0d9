// BPlusCompositeKey::BPlusCompositeData: one data slot per key part.
#include "btree/BPlusCompositeKey.h"
#include "btree/KeyMemory.h"
#include "core/QorCore.h"

BPlusCompositeKey::BPlusCompositeData::BPlusCompositeData(int count)
    : m_nCount(count > 0 ? count : 0), m_pPartData(nullptr)
{
    if (m_nCount > 0) {
        // Zero-filled by the core library: every slot starts empty.
        m_pPartData = static_cast<IBPlusData**>(
            QorMemAlloc(static_cast<size_t>(m_nCount) * sizeof(IBPlusData*)));
    }
}

BPlusCompositeKey::BPlusCompositeData::~BPlusCompositeData()
{
    for (int i = 0; i < m_nCount; ++i) {
        if (m_pPartData[i] != nullptr) {
            IBPlusData* data = m_pPartData[i];
            m_pPartData[i] = nullptr;
            zarn::releaseData(data);
        }
    }
    if (m_pPartData != nullptr) {
        QorMemFree(m_pPartData);
    }
}

bool BPlusCompositeKey::BPlusCompositeData::Dealloc()
{
    return true;
}

int BPlusCompositeKey::BPlusCompositeData::GetCount()
{
    return m_nCount;
}

IBPlusData* BPlusCompositeKey::BPlusCompositeData::GetPartData(int index)
{
    if (index < 0 || index >= m_nCount) {
        return nullptr;
    }
    return m_pPartData[index];
}

void BPlusCompositeKey::BPlusCompositeData::SetPartData(int index, IBPlusData* data)
{
    if (index >= 0 && index < m_nCount) {
        m_pPartData[index] = data;
    }
}
