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
// - composite key: 0 when its first part is missing or null (such keys sort
//   before all others); otherwise the first part's summary, marked above 0:
//   2^32 + the integer summary, the number summary (never 0 for a non-NaN
//   double), or 2^56 + the first 7 bytes of a text part. Composite summaries
//   are never exact: the later parts decide ties.
// A key without a summary (see above, and plain keys of type 3 or of unknown
// types) has kind kSummaryMixed.
#ifndef ZARNCRT_BTREE_KEYSUMMARY_H
#define ZARNCRT_BTREE_KEYSUMMARY_H

#include <cstdint>

#include "btree/BPlusKey.h"

namespace zarn {

enum SummaryKind : std::uint32_t {
    kSummaryNone = 0,  // a key block nothing has been written into
    kSummaryInteger,
    kSummaryNumber,
    kSummaryText,
    kSummaryCompositeAny,  // composite keys whose first part is missing or null
    kSummaryCompositeInteger,
    kSummaryCompositeNumber,
    kSummaryCompositeText,
    kSummaryMixed  // keys without a summary, or of kinds that do not mix
};

struct Summary {
    SummaryKind kind;
    std::uint64_t value;
};

struct KeySummary {
    // The summary of key (not NULL).
    static Summary of(BPlusKey* key);

    // The kind of a key block that held keys of kind block and now also
    // holds one of kind key. Only ever moves toward kSummaryMixed.
    static SummaryKind combine(SummaryKind block, SummaryKind key);

    // Whether the summaries of a block of kind block may order a probe key of
    // kind probe: compatible kinds, and a normalizer installed where text
    // summaries are involved.
    static bool usable(SummaryKind block, SummaryKind probe)
    {
        if (block == probe) {
            if (block == kSummaryInteger || block == kSummaryNumber) {
                return true;
            }
            return block != kSummaryNone && block != kSummaryMixed && normalizerAgrees(block);
        }
        const bool composites = isComposite(block) && isComposite(probe);
        return composites && (block == kSummaryCompositeAny || probe == kSummaryCompositeAny) &&
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
        return kind >= kSummaryCompositeAny && kind <= kSummaryCompositeText;
    }
    // Text summaries stand for the normalized copies, which Compare reads
    // only while a normalizer is installed.
    static bool normalizerAgrees(SummaryKind kind)
    {
        return (kind != kSummaryText && kind != kSummaryCompositeText) ||
               BPlusKey::m_normalizer != nullptr;
    }
    static Summary ofPart(BPlusKey* part);
};

}  // namespace zarn

#endif
