// BPlusKey::Compare, the order of the whole tree, and its composite branch
// BPlusCompositeKey::CompositeCompare.
//
// It runs in the innermost loop of every descent, so it reads fields directly
// by the first key's type: no allocation, and no virtual call or type test
// unless the first key is composite.
#include <cstring>

#include "btree/BPlusCompositeKey.h"
#include "btree/BPlusKey.h"
#include "btree/CompositeCast.h"
#include "core/QorCore.h"

namespace {

inline int signOfDifference(int a, int b)
{
    return (a > b) - (a < b);
}

}  // namespace

int BPlusKey::Compare(BPlusKey* a, BPlusKey* b)
{
    switch (a->m_type) {
        case eIntegerKey:
            return signOfDifference(a->m_nValue, b->m_nValue);
        case eNumberKey:
            // Both tests fail for NaN, which therefore equals everything.
            if (b->m_fValue > a->m_fValue) {
                return -1;
            }
            return a->m_fValue > b->m_fValue ? 1 : 0;
        case eCharKey: {
            if (a->m_szValue == nullptr) {
                return b->m_szValue == nullptr ? 0 : -1;
            }
            if (b->m_szValue == nullptr) {
                return 1;
            }
            if (m_normalizer != nullptr && a->m_szNormalized != nullptr &&
                b->m_szNormalized != nullptr) {
                const int lengthA = a->m_nNormalizedLength;
                const int lengthB = b->m_nNormalizedLength;
                const int common = lengthA < lengthB ? lengthA : lengthB;
                const int bytes =
                    std::memcmp(a->m_szNormalized, b->m_szNormalized, static_cast<size_t>(common));
                if (bytes != 0) {
                    return bytes;
                }
                // Over the common length they agree: the shorter sorts first,
                // so that equal means equal in length and bytes (transitive).
                return signOfDifference(lengthA, lengthB);
            }
            return QorCompareNoCase(a->m_szValue, b->m_szValue);
        }
        case eCompositeKey: {
            BPlusCompositeKey* compositeA = zarn::asComposite(a);
            BPlusCompositeKey* compositeB = zarn::asComposite(b);
            if (compositeA != nullptr && compositeB != nullptr) {
                return BPlusCompositeKey::CompositeCompare(compositeA, compositeB);
            }
            if (compositeA != nullptr) {
                return 1;
            }
            return compositeB != nullptr ? -1 : 0;
        }
        default:
            return 0;
    }
}

int BPlusCompositeKey::CompositeCompare(BPlusCompositeKey* a, BPlusCompositeKey* b)
{
    const int slots = a->m_nKeyParts > b->m_nKeyParts ? a->m_nKeyParts : b->m_nKeyParts;
    for (int i = 0; i < slots; ++i) {
        // A slot past a key's end counts as absent, like an empty or null part.
        BPlusKey* partA = i < a->m_nKeyParts ? a->m_pKeyParts[i] : nullptr;
        BPlusKey* partB = i < b->m_nKeyParts ? b->m_pKeyParts[i] : nullptr;
        const bool presentA = partA != nullptr && !partA->IsNull();
        const bool presentB = partB != nullptr && !partB->IsNull();
        if (presentA != presentB) {
            return presentA ? 1 : -1;
        }
        if (presentA) {
            const int order = BPlusKey::Compare(partA, partB);
            if (order != 0) {
                return order;
            }
        }
    }
    return 0;
}
