// Internal (not installed): the order summaries that tree nodes keep beside
// their key slots, so that a node can order a key among its keys without
// reading the key objects.
//
// A summary is a 64-bit unsigned number made from a key's value. Two keys
// summarized with compatible kinds (see usable) are ordered by their
// summaries wherever these differ: summary(a) < summary(b) implies
// BPlusKey::Compare(a, b) < 0, and the reverse. Equal summaries decide
// nothing, except for the exact kinds (integer and number keys), whose
// summary is the whole value: there, equal summaries mean Compare(a, b) == 0.
// Whatever the summaries cannot decide is left to Compare; so a summary can
// make a search cheaper but never change its result.
//
// What each kind holds (the key's type chooses, as it chooses Compare's
// rule):
// - integer key: the value with its sign bit flipped (exact);
// - number key: the double's bits, mapped so that unsigned order is numeric
//   order, -0 taken as +0 (exact); NaN has no summary;
// - text key: the first 8 bytes of its normalized copy, big-endian, padded
//   with zero bytes; 0 for a key without text. Such summaries agree with
//   Compare only while a normalizer is installed, so usable() refuses them
//   otherwise. A text key with a text but no normalized copy has no
//   summary: its order comes from the core library's QorCompareNoCase, whose
//   folding this library must not assume;
// - composite key: its parts in order as one bit string, cut at 64 bits: a
//   0 bit for a missing or null part, a 1 bit and the part's value bits for
//   a present one (32 for an integer, 64 for a number, the normalized bytes
//   of a text, which ends the string as its length is not encoded; any
//   other part ends it too). Comparing such strings compares the parts in
//   turn, a missing part before a present one, as CompositeCompare does; a
//   cut string can only tie where the keys differ, never reverse them. The
//   kind records each part's type (up to 8 parts), and only keys whose
//   present parts agree in type at each position order each other by their
//   summaries. Composite summaries are never exact.
// A key without a summary (NaN, a text key without a normalized copy, a
// plain key of type 3, or of an unknown type) has kind kSummaryMixed.
#ifndef ZARNCRT_BTREE_KEYSUMMARY_H
#define ZARNCRT_BTREE_KEYSUMMARY_H

#include <cstdint>
#include <cstring>

#include "btree/BPlusKey.h"

namespace zarn {

// A summary's kind says which keys its summary may be compared with.
// Composite kinds carry kSummaryComposite, kSummaryTextParts when a part
// encoded is a text, and, in 3 bits per part from the lowest, the type code
// of each part encoded (kPartAbsent where a part is missing, null or beyond
// what was encoded).
enum SummaryKind : std::uint32_t {
    kSummaryNone = 0,  // a key block nothing has been written into
    kSummaryInteger = 1,
    kSummaryNumber = 2,
    kSummaryText = 3,
    kSummaryComposite = 1u << 30,
    kSummaryTextParts = 1u << 29,  // with kSummaryComposite: a part is a text
    kSummaryMixed = 0xffffffffu    // keys without a summary, or of kinds that do not mix
};

enum PartCode : std::uint32_t {
    kPartAbsent = 0,
    kPartInteger = 1,
    kPartNumber = 2,
    kPartText = 3,
    kPartOther = 4
};
constexpr int kPartCodeBits = 3;
constexpr int kPartsEncoded = 8;

struct Summary {
    SummaryKind kind;
    std::uint64_t value;
};

struct KeySummary {
    // The summary of key (not NULL).
    static Summary of(BPlusKey* key)
    {
        switch (key->m_type) {
            case BPlusKey::eIntegerKey:
                return {kSummaryInteger, integerBits(key->m_nValue)};
            case BPlusKey::eNumberKey:
                if (key->m_fValue != key->m_fValue) {
                    return {kSummaryMixed, 0};  // NaN equals everything: no order
                }
                return {kSummaryNumber, numberBits(key->m_fValue)};
            default:
                return ofOther(key);
        }
    }

    // Unsigned order of the result is signed order of value.
    static std::uint64_t integerBits(int value)
    {
        return static_cast<std::uint32_t>(value) ^ 0x80000000u;
    }
    // Unsigned order of the result is numeric order of value (not NaN). -0
    // and +0, which compare equal, get the same bits.
    static std::uint64_t numberBits(double value)
    {
        if (value == 0.0) {
            value = 0.0;
        }
        std::uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        constexpr std::uint64_t sign = std::uint64_t(1) << 63;
        return (bits & sign) != 0 ? ~bits : bits | sign;
    }

    // The kind of a key block that held keys of kind block and now also
    // holds one of kind key. Only ever moves toward kSummaryMixed.
    static SummaryKind combine(SummaryKind block, SummaryKind key);

    // Whether the summaries of a block of kind block may order a probe key of
    // kind probe: compatible kinds, and a normalizer installed where text
    // summaries are involved.
    static bool usable(SummaryKind block, SummaryKind probe)
    {
        if (block == kSummaryNone || block == kSummaryMixed || probe == kSummaryMixed) {
            return false;
        }
        if (block == probe && (block == kSummaryInteger || block == kSummaryNumber)) {
            return true;
        }
        return (block == probe || combine(block, probe) != kSummaryMixed) &&
               normalizerAgrees(block) && normalizerAgrees(probe);
    }

    // Equal summaries of this kind mean equal keys.
    static bool exact(SummaryKind kind)
    {
        return kind == kSummaryInteger || kind == kSummaryNumber;
    }

private:
    static bool isComposite(SummaryKind kind)
    {
        return kind != kSummaryMixed && (kind & kSummaryComposite) != 0;
    }
    // Text summaries stand for the normalized copies, which Compare reads
    // only while a normalizer is installed.
    static bool normalizerAgrees(SummaryKind kind)
    {
        const std::uint32_t textParts = kSummaryComposite | kSummaryTextParts;
        if (kind == kSummaryText || (kind != kSummaryMixed && (kind & textParts) == textParts)) {
            return BPlusKey::m_normalizer != nullptr;
        }
        return true;
    }
    // Text, composite and unknown keys.
    static Summary ofOther(BPlusKey* key);
    static Summary ofComposite(BPlusKey* key);
};

}  // namespace zarn

#endif
