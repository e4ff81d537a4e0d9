// The key summaries the tree's nodes keep, checked against BPlusKey::Compare
// over hostile keys: every pair of keys whose summaries may be compared must
// be ordered by them as Compare orders it, and the position rule of a node
// (KeyBlock::locate) must give the slot that reading the keys in order with
// Compare gives, for every probe. The library's own source of the
// summaries is compiled into this test, as it is internal.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "btree/KeySummary.h"
#include "btree/KeyTestSupport.h"
#include "btree/NodeKeyBlock.h"

namespace {

using zarn::KeyBlock;
using zarn::KeySummary;
using zarn::Summary;

BPlusKey* textOf(std::string const& bytes)
{
    CStringBuffer buffer;
    buffer.append(bytes.data(), int(bytes.size()));  // NUL bytes included
    BPlusKey* key = new BPlusKey(BPlusKey::eCharKey);
    key->SetKey(buffer);
    return key;
}

BPlusKey* part(BPlusKey* key, bool null = false)
{
    key->SetNull(null);
    return key;
}

BPlusCompositeKey* compositeOf(std::vector<BPlusKey*> const& parts)
{
    BPlusCompositeKey* key = BPlusCompositeKey::New();
    for (BPlusKey* p : parts) {
        key->AppendKeyPart(p);  // New(...) would stop at a NULL part
    }
    return key;
}

// Keys of every kind whose summaries are easy to get wrong: the ends of the
// integer and double ranges, signed zeros, NaN, texts equal over more than
// eight bytes, differing past them, holding NUL or high bytes, empty or
// missing, and composite keys with missing, null or nested first parts.
std::vector<BPlusKey*> hostileKeys()
{
    std::vector<BPlusKey*> keys;
    for (int v : {INT_MIN, INT_MIN + 1, -1, 0, 1, INT_MAX - 1, INT_MAX}) {
        keys.push_back(BPlusKey::NewIntegerKey(v));
    }
    for (double v : {-HUGE_VAL, -DBL_MAX, -1.0, -DBL_MIN, -0.0, 0.0, DBL_MIN / 4, 1.0, DBL_MAX,
                     HUGE_VAL, double(NAN)}) {
        keys.push_back(BPlusKey::NewNumberKey(v));
    }
    using namespace std::string_literals;  // "...\0..."s keeps its NUL bytes
    for (std::string t :
         {""s, "a"s, "A"s, "abcdefg"s, "abcdefgh"s, "ABCDEFGH"s, "abcdefgh\0"s, "abcdefgh1"s,
          "abcdefgh2"s, "abcdefgh10"s, "abcdefgZ"s, "\x80"s, "\xff"s, "a\0b"s, "a\0c"s}) {
        keys.push_back(textOf(t));
    }
    keys.push_back(text(nullptr).release());
    std::vector<BPlusKey*> firsts = {nullptr,
                                     part(I(5), true),
                                     I(INT_MIN),
                                     I(0),
                                     I(INT_MAX),
                                     BPlusKey::NewNumberKey(-0.0),
                                     BPlusKey::NewNumberKey(NAN),
                                     textOf("abcdefgh"),
                                     textOf("abcdefgX"),
                                     text(nullptr).release(),
                                     BPlusCompositeKey::New(I(1), nullptr)};
    for (BPlusKey* first : firsts) {
        for (char const* second : {"x", "y"}) {
            BPlusCompositeKey* key = BPlusCompositeKey::New();
            key->AppendKeyPart(first != nullptr ? first->Clone() : nullptr);
            if (first != nullptr) {
                key->GetKeyPart(0)->SetNull(first->IsNull());
            }
            key->AppendKeyPart(textOf(second));
            keys.push_back(key);
        }
        delete first;
    }
    // Longer keys: later parts that tie, are missing, or differ only past
    // what 64 bits hold.
    auto composite = [&keys](std::vector<BPlusKey*> parts) { keys.push_back(compositeOf(parts)); };
    composite({I(1), I(2)});
    composite({I(1), I(2), nullptr});
    composite({I(1), I(2), I(3)});
    composite({I(1), nullptr, I(3)});
    composite({I(1), I(-2), textOf("z")});
    composite({I(1), I(2), textOf("z")});
    composite({BPlusKey::NewNumberKey(1.0), I(2)});
    composite({BPlusKey::NewNumberKey(1.0), I(3)});
    composite({I(7), I(7), I(7), I(7)});
    composite({I(7), I(7), I(7), I(8)});
    composite({});
    return keys;
}

// A summary never contradicts Compare; equal exact summaries mean equal keys.
void expectSummariesAgreeWithCompare(std::vector<BPlusKey*> const& keys)
{
    for (BPlusKey* a : keys) {
        const Summary sa = KeySummary::of(a);
        for (BPlusKey* b : keys) {
            const Summary sb = KeySummary::of(b);
            if (!KeySummary::usable(sa.kind, sb.kind)) {
                continue;
            }
            SCOPED_TRACE(printed(*a) + " against " + printed(*b));
            if (sa.value < sb.value) {
                EXPECT_LT(BPlusKey::Compare(a, b), 0);
                EXPECT_GT(BPlusKey::Compare(b, a), 0);
            } else if (sa.value == sb.value && KeySummary::exact(sb.kind)) {
                EXPECT_EQ(BPlusKey::Compare(b, a), 0);
            }
        }
    }
}

// For each kind, the keys of that kind in Compare's order make a node's key
// block, and every key of the set, as a probe, must get from locate the slot
// that reading the slots in order with Compare gives.
void expectLocateFollowsCompare(std::vector<BPlusKey*> const& keys)
{
    for (BPlusKey* model : keys) {
        std::vector<BPlusKey*> same;
        for (BPlusKey* k : keys) {
            const zarn::SummaryKind kind = KeySummary::of(k).kind;
            if (kind == KeySummary::of(model).kind && kind != zarn::kSummaryMixed) {
                same.push_back(k);
            }
        }
        std::stable_sort(same.begin(), same.end(),
                         [](BPlusKey* a, BPlusKey* b) { return BPlusKey::Compare(a, b) < 0; });
        same.erase(
            std::unique(same.begin(), same.end(),
                        [](BPlusKey* a, BPlusKey* b) { return BPlusKey::Compare(a, b) == 0; }),
            same.end());
        const int count = int(same.size());
        KeyBlock block(KeyBlock::allocate(count), count);
        for (int i = 0; i < count; ++i) {
            block.put(i, same[size_t(i)]);
        }
        for (BPlusKey* probe : keys) {
            // A probe of another type can see the keys out of order (Compare
            // reads its own type's field of them); the rule is then not a
            // position, and no node of one tree meets such a probe.
            int changes = 0;
            for (int i = 1; i < count; ++i) {
                changes += (BPlusKey::Compare(probe, same[size_t(i - 1)]) <= 0) !=
                           (BPlusKey::Compare(probe, same[size_t(i)]) <= 0);
            }
            if (changes > 1 || (count > 0 && BPlusKey::Compare(probe, same.back()) > 0 &&
                                BPlusKey::Compare(probe, same.front()) <= 0)) {
                continue;
            }
            SCOPED_TRACE(printed(*probe) + " among keys like " + printed(*model));
            const int expected = KeyBlock::firstNotBelowInOrder(probe, block.keys(), count);
            const Summary summary = KeySummary::of(probe);
            EXPECT_EQ(block.locate(count, probe, summary), expected);
            const bool equal =
                expected < count && BPlusKey::Compare(probe, block.keys()[expected]) == 0;
            EXPECT_EQ(block.matches(expected, count, probe, summary), equal);
        }
        QorMemFree(block.keys());
    }
}

TEST(KeySummary, AgreesWithCompareOnHostileKeys)
{
    for (bool normalizer : {false, true}) {
        SCOPED_TRACE(normalizer ? "keys made with a normalizer" : "keys made without");
        BPlusKey::SetNormalizer(normalizer ? treemodel::foldCase : nullptr, 0);
        std::vector<BPlusKey*> keys = hostileKeys();
        expectSummariesAgreeWithCompare(keys);
        expectLocateFollowsCompare(keys);
        // Normalized copies decide Compare only while a normalizer is
        // installed: without one, their summaries must not be used.
        BPlusKey::SetNormalizer(nullptr, 0);
        expectSummariesAgreeWithCompare(keys);
        expectLocateFollowsCompare(keys);
        for (BPlusKey* k : keys) {
            delete k;
        }
    }
}

// A block's kind keeps the type of every part that any of its keys has, so
// that a probe with another type there is refused.
TEST(KeySummary, CombinedKindKeepsEveryPartType)
{
    Key missingFirst(compositeOf({nullptr, I(7)}));
    Key bothInts(BPlusCompositeKey::New(I(1), I(7), nullptr));
    Key numberFirst(BPlusCompositeKey::New(BPlusKey::NewNumberKey(2.0), I(7), nullptr));
    const zarn::SummaryKind a = KeySummary::of(missingFirst.get()).kind;
    const zarn::SummaryKind b = KeySummary::of(bothInts.get()).kind;
    const zarn::SummaryKind c = KeySummary::of(numberFirst.get()).kind;
    EXPECT_EQ(KeySummary::combine(a, b), b) << "a missing part takes the other's type";
    EXPECT_EQ(KeySummary::combine(b, a), b) << "in either order";
    EXPECT_EQ(KeySummary::combine(zarn::kSummaryNone, a), a) << "an empty block";
    EXPECT_EQ(KeySummary::combine(b, c), zarn::kSummaryMixed) << "int and number parts";
    EXPECT_FALSE(KeySummary::usable(KeySummary::combine(a, b), c)) << "a number probe";
}

// Keys whose order no summary may stand for.
TEST(KeySummary, KeysWithoutASummary)
{
    Key nan(BPlusKey::NewNumberKey(NAN));
    Key unnormalized = text("abc");
    Key plainComposite(new BPlusKey(BPlusKey::eCompositeKey));
    Key unknown(new BPlusKey(static_cast<BPlusKey::EBPlusKeyType>(7)));
    Key nanPart(BPlusCompositeKey::New(I(1), BPlusKey::NewNumberKey(NAN), nullptr));
    for (BPlusKey* k :
         {nan.get(), unnormalized.get(), plainComposite.get(), unknown.get(), nanPart.get()}) {
        EXPECT_EQ(KeySummary::of(k).kind, zarn::kSummaryMixed) << printed(*k);
    }
}

// The exact encodings, worked out by hand from the layout KeySummary.h
// describes: a summary that loses bits still agrees with Compare, so only
// these rows notice one that stopped encoding a part or a byte.
TEST(KeySummary, ExactEncodings)
{
    BPlusKey::SetNormalizer(treemodel::foldCase, 0);
    constexpr std::uint64_t top = std::uint64_t(1) << 63;
    const std::uint32_t composite = zarn::kSummaryComposite;
    const std::uint32_t textParts = zarn::kSummaryTextParts;
    struct Row {
        char const* name;
        Key key;
        std::uint32_t kind;
        std::uint64_t value;
    } rows[] = {
        {"integer 5", Key(I(5)), zarn::kSummaryInteger, 0x80000005u},
        {"integer INT_MIN", Key(I(INT_MIN)), zarn::kSummaryInteger, 0},
        {"number -0.0", Key(BPlusKey::NewNumberKey(-0.0)), zarn::kSummaryNumber, top},
        {"number 1.0", Key(BPlusKey::NewNumberKey(1.0)), zarn::kSummaryNumber, 0xBFF0000000000000u},
        {"number -1.0", Key(BPlusKey::NewNumberKey(-1.0)), zarn::kSummaryNumber,
         0x400FFFFFFFFFFFFFu},
        {"text AbC, folded", text("AbC"), zarn::kSummaryText, 0x6162630000000000u},
        {"text of nine bytes", text("abcdefghi"), zarn::kSummaryText, 0x6162636465666768u},
        {"missing text", text(nullptr), zarn::kSummaryText, 0},
        // present bit, integer 1 in 32 bits, present bit, "ab"
        {"<1, ab>", Key(BPlusCompositeKey::New(I(1), text("ab").release(), nullptr)),
         composite | textParts | zarn::kPartInteger | (zarn::kPartText << 3),
         top | (std::uint64_t(0x80000001u) << 31) | (std::uint64_t(1) << 30) |
             (std::uint64_t(0x6162) << 14)},
        // absent bit, present bit, integer 7
        {"<missing, 7>", Key(compositeOf({nullptr, I(7)})), composite | (zarn::kPartInteger << 3),
         (std::uint64_t(1) << 62) | (std::uint64_t(0x80000007u) << 30)},
        // present bit, then the 63 bits of 2.0 that fit: nothing of the 1
        {"<2.0, 1>", Key(BPlusCompositeKey::New(BPlusKey::NewNumberKey(2.0), I(1), nullptr)),
         composite | zarn::kPartNumber, 0xE000000000000000u},
    };
    for (Row const& row : rows) {
        const Summary summary = KeySummary::of(row.key.get());
        EXPECT_EQ(std::uint32_t(summary.kind), row.kind) << row.name;
        EXPECT_EQ(summary.value, row.value) << row.name;
    }
    BPlusKey::SetNormalizer(nullptr, 0);
}

}  // namespace
