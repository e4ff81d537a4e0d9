// The order summaries of keys (see KeySummary.h for what each kind holds and
// why it never contradicts BPlusKey::Compare).
#include "btree/KeySummary.h"

#include <cmath>
#include <cstring>

#include "btree/BPlusCompositeKey.h"
#include "btree/CompositeCast.h"

namespace zarn {

namespace {

// A bit string of at most 64 bits, filled from the top: comparing two such
// strings as unsigned numbers compares them as strings, and a string cut
// short compares as if followed by zero bits.
class BitString {
public:
    // Appends the width (1 to 64) low bits of value, highest first, as many
    // as there is room for.
    void append(std::uint64_t value, int width)
    {
        if (width > m_room) {
            value >>= width - m_room;
            width = m_room;
        }
        if (width == 0) {
            return;
        }
        m_room -= width;
        const std::uint64_t mask =
            width == 64 ? ~std::uint64_t(0) : (std::uint64_t(1) << width) - 1;
        m_bits |= (value & mask) << m_room;
    }
    // Appends bytes bytes of text (fewer when there is less room), as many
    // whole bytes as fit and then the top bits of the next.
    void appendText(char const* text, int bytes)
    {
        const int whole = bytes < 8 ? bytes : 8;
        if (whole <= 0) {
            return;
        }
        std::uint64_t word = 0;  // text's first bytes, the first at the top
        for (int i = 0; i < whole; ++i) {
            word |= std::uint64_t(static_cast<unsigned char>(text[i])) << (56 - 8 * i);
        }
        append(word >> (64 - 8 * whole), 8 * whole);
    }
    bool full() const
    {
        return m_room == 0;
    }
    std::uint64_t bits() const
    {
        return m_bits;
    }

private:
    std::uint64_t m_bits = 0;
    int m_room = 64;
};

}  // namespace

Summary KeySummary::ofOther(BPlusKey* key)
{
    switch (key->m_type) {
        case BPlusKey::eCharKey: {
            if (key->m_szValue == nullptr) {
                return {kSummaryText, 0};  // before every key with a text
            }
            if (key->m_szNormalized == nullptr) {
                return {kSummaryMixed, 0};
            }
            BitString text;
            text.appendText(key->m_szNormalized, key->m_nNormalizedLength);
            return {kSummaryText, text.bits()};
        }
        case BPlusKey::eCompositeKey:
            return ofComposite(key);
        default:
            return {kSummaryMixed, 0};
    }
}

Summary KeySummary::ofComposite(BPlusKey* key)
{
    BPlusCompositeKey* composite = asComposite(key);
    if (composite == nullptr) {
        return {kSummaryMixed, 0};  // a plain key of type 3
    }
    BitString bits;
    std::uint32_t codes = 0;
    const int parts = composite->m_nKeyParts;
    for (int i = 0; i < parts && i < kPartsEncoded && !bits.full(); ++i) {
        BPlusKey* part = composite->m_pKeyParts[i];
        if (part == nullptr || part->m_bNull) {
            bits.append(0, 1);  // missing or null: before any present part
            continue;
        }
        bits.append(1, 1);
        PartCode code = kPartOther;
        bool last = false;  // nothing after this part can be encoded
        switch (part->m_type) {
            case BPlusKey::eIntegerKey:
                code = kPartInteger;
                bits.append(integerBits(part->m_nValue), 32);
                break;
            case BPlusKey::eNumberKey:
                if (std::isnan(part->m_fValue)) {
                    return {kSummaryMixed, 0};
                }
                code = kPartNumber;
                bits.append(numberBits(part->m_fValue), 64);
                break;
            case BPlusKey::eCharKey:
                if (part->m_szValue != nullptr && part->m_szNormalized == nullptr) {
                    return {kSummaryMixed, 0};
                }
                // A missing text is no bytes, the same as an empty one:
                // they tie, and Compare orders them.
                code = kPartText;
                if (part->m_szValue != nullptr) {
                    bits.appendText(part->m_szNormalized, part->m_nNormalizedLength);
                }
                last = true;
                break;
            default:
                last = true;  // a nested composite part: no summary of its own
                break;
        }
        codes |= static_cast<std::uint32_t>(code) << (kPartCodeBits * i);
        codes |= code == kPartText ? kSummaryTextParts : 0u;
        if (last) {
            break;
        }
    }
    return {static_cast<SummaryKind>(kSummaryComposite | codes), bits.bits()};
}

SummaryKind KeySummary::combine(SummaryKind block, SummaryKind key)
{
    if (block == kSummaryNone || block == key) {
        return key;
    }
    if (!isComposite(block) || !isComposite(key)) {
        return kSummaryMixed;
    }
    // Part by part: a type meets the same type or a part not encoded.
    std::uint32_t codes = (block | key) & kSummaryTextParts;
    for (int i = 0; i < kPartsEncoded; ++i) {
        const int shift = kPartCodeBits * i;
        const std::uint32_t a = (block >> shift) & 7u;
        const std::uint32_t b = (key >> shift) & 7u;
        if (a != kPartAbsent && b != kPartAbsent && a != b) {
            return kSummaryMixed;
        }
        codes |= (a != kPartAbsent ? a : b) << shift;
    }
    return static_cast<SummaryKind>(kSummaryComposite | codes);
}

}  // namespace zarn
