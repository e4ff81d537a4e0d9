// The order summaries of keys (see KeySummary.h for what each kind holds and
// why it never contradicts BPlusKey::Compare).
#include "btree/KeySummary.h"

#include <cmath>
#include <cstring>

#include "btree/BPlusCompositeKey.h"

namespace zarn {

namespace {

constexpr std::uint64_t kMarkInteger = std::uint64_t(1) << 32;
constexpr std::uint64_t kMarkText = std::uint64_t(1) << 56;

// Unsigned order of the result is signed order of value.
std::uint64_t integerBits(int value)
{
    return static_cast<std::uint32_t>(value) ^ 0x80000000u;
}

// Unsigned order of the result is numeric order of value (not NaN). -0 and
// +0, which compare equal, get the same bits.
std::uint64_t numberBits(double value)
{
    if (value == 0.0) {
        value = 0.0;
    }
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    constexpr std::uint64_t sign = std::uint64_t(1) << 63;
    return (bits & sign) != 0 ? ~bits : bits | sign;
}

// The first `bytes` bytes of text (fewer when length is shorter), big-endian,
// padded with zero bytes: unsigned order of the results agrees with memcmp
// wherever the texts differ within those bytes.
std::uint64_t prefixBits(char const* text, int length, int bytes)
{
    std::uint64_t bits = 0;
    for (int i = 0; i < bytes; ++i) {
        const std::uint64_t byte = i < length ? static_cast<unsigned char>(text[i]) : 0u;
        bits = (bits << 8) | byte;
    }
    return bits;
}

}  // namespace

Summary KeySummary::of(BPlusKey* key)
{
    switch (key->m_type) {
        case BPlusKey::eIntegerKey:
            return {kSummaryInteger, integerBits(key->m_nValue)};
        case BPlusKey::eNumberKey:
            if (std::isnan(key->m_fValue)) {
                return {kSummaryMixed, 0};  // equal to everything: no order
            }
            return {kSummaryNumber, numberBits(key->m_fValue)};
        case BPlusKey::eCharKey:
            if (key->m_szValue == nullptr) {
                return {kSummaryText, 0};  // before every key with a text
            }
            if (key->m_szNormalized == nullptr) {
                return {kSummaryMixed, 0};
            }
            return {kSummaryText, prefixBits(key->m_szNormalized, key->m_nNormalizedLength, 8)};
        case BPlusKey::eCompositeKey: {
            auto* composite = dynamic_cast<BPlusCompositeKey*>(key);
            if (composite == nullptr) {
                return {kSummaryMixed, 0};  // a plain key of type 3
            }
            BPlusKey* first = composite->m_nKeyParts > 0 ? composite->m_pKeyParts[0] : nullptr;
            if (first == nullptr || first->m_bNull) {
                return {kSummaryCompositeAny, 0};
            }
            return ofPart(first);
        }
        default:
            return {kSummaryMixed, 0};
    }
}

Summary KeySummary::ofPart(BPlusKey* part)
{
    switch (part->m_type) {
        case BPlusKey::eIntegerKey:
            return {kSummaryCompositeInteger, kMarkInteger + integerBits(part->m_nValue)};
        case BPlusKey::eNumberKey:
            if (std::isnan(part->m_fValue)) {
                return {kSummaryMixed, 0};
            }
            // At least the bits of -infinity, 0x000fffffffffffff: above 0.
            return {kSummaryCompositeNumber, numberBits(part->m_fValue)};
        case BPlusKey::eCharKey:
            if (part->m_szValue == nullptr) {
                return {kSummaryCompositeText, kMarkText};
            }
            if (part->m_szNormalized == nullptr) {
                return {kSummaryMixed, 0};
            }
            return {kSummaryCompositeText,
                    kMarkText | prefixBits(part->m_szNormalized, part->m_nNormalizedLength, 7)};
        default:
            return {kSummaryMixed, 0};  // nested composite parts: no summary
    }
}

SummaryKind KeySummary::combine(SummaryKind block, SummaryKind key)
{
    if (block == kSummaryNone || block == key) {
        return key;
    }
    if (isComposite(block) && isComposite(key)) {
        if (block == kSummaryCompositeAny) {
            return key;
        }
        if (key == kSummaryCompositeAny) {
            return block;
        }
    }
    return kSummaryMixed;
}

}  // namespace zarn
