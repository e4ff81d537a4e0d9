// BPlusKey and BPlusCompositeKey: construction, setters, parts, the order
// (special pairs by hand, the rest randomized against a model and std::sort),
// normalizers, attached data, copying and printing.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <optional>
#include <random>
#include <vector>

#include "btree/KeyTestSupport.h"

namespace {

using Type = BPlusKey::EBPlusKeyType;
constexpr Type kUnknownType = static_cast<Type>(9);  // a type the library does not know

// ctest runs each test in a process of its own, so this one sees the
// process-wide settings as the library starts them.
TEST(KeyNormalizer, NoneAndDataZeroAtStart)
{
    EXPECT_EQ(BPlusKey::m_normalizer, nullptr);
    EXPECT_EQ(BPlusKey::m_nNormalizeData, 0);
}

TEST(KeyConstruction, EmptyKeyOfEveryType)
{
    for (int type : {0, 1, 2, 3, 9}) {
        BPlusKey k(static_cast<Type>(type));
        EXPECT_EQ(state(k),
                  "type " + std::to_string(type) + ", int 0, number 0, text none/0, name none");
    }
    EXPECT_EQ(state(*text(nullptr)), "type 2, int 0, number 0, text none/0, name none");
}

TEST(KeyConstruction, CopyConstructorTakesTextNameAndNullFlag)
{
    Key abc = text("abc");
    abc->SetName("label");
    abc->SetName(abc->GetName());  // its own name: harmless
    abc->SetNull(true);
    abc->SetData(new CountingData(true));
    BPlusKey copy(*abc);
    EXPECT_EQ(state(copy), "type 2, int 0, number 0, text abc/3, name label, null");
    copy.SetName(nullptr);
    EXPECT_EQ(copy.GetName(), nullptr);
}

TEST(KeySetters, IntegerKeyReadsTextAndTruncatesDoubles)
{
    BPlusKey integer(BPlusKey::eIntegerKey);
    std::pair<char const*, int> const texts[] = {
        {"12abc", 12},       {"abc", 0},  {" -7", -7}, {"4294967297", 1},
        {"-4294967297", -1}, {"010", 10}, {"0x1f", 0}};  // base 10, whatever the prefix
    for (auto [s, value] : texts) {
        integer.SetKey(s);
        EXPECT_EQ(integer.GetIntValue(), value) << s;
    }
    std::pair<double, int> const doubles[] = {
        {3.99, 3}, {-3.99, -3}, {NAN, 0}, {1e10, INT_MAX}, {-1e10, INT_MIN}};
    for (auto [d, value] : doubles) {
        integer.SetKey(d);
        EXPECT_EQ(integer.GetIntValue(), value) << d;
    }
    BPlusKey number(BPlusKey::eNumberKey);
    number.SetKey(2.5);
    EXPECT_EQ(state(number), "type 1, int 0, number 2.5, text none/0, name none")
        << "a number key gets no text";
}

TEST(KeySetters, BufferTextAndNullText)
{
    BPlusKey integer(BPlusKey::eIntegerKey), number(BPlusKey::eNumberKey);
    CStringBuffer buffer(" 42.5x");
    integer.SetKey(buffer);
    number.SetKey(buffer);
    integer.SetKey(static_cast<char const*>(nullptr));  // NULL: no change
    EXPECT_EQ(state(integer), "type 0, int 42, number 0, text none/0, name none");
    EXPECT_EQ(state(number), "type 1, int 0, number 42.5, text none/0, name none");
}

TEST(KeySetters, TextKeyFormatsNumbersAndTakesItsOwnText)
{
    BPlusKey t(BPlusKey::eCharKey);
    char full[400], justOver[80];
    std::snprintf(full, sizeof full, "%0.2lf", 1e300);
    std::snprintf(justOver, sizeof justOver, "%0.2lf", 2e60);  // 64 characters: one too many
    for (auto [d, expected] : {std::pair<double, std::string>{-12, "-12.00"},
                               {2.5, "2.50"},
                               {1e300, {full, 63}},
                               {2e60, {justOver, 63}}}) {
        t.SetKey(d);
        int length = 0;
        EXPECT_EQ(t.GetCharValue(&length), expected) << d;
        EXPECT_EQ(length, static_cast<int>(expected.size())) << d;
    }
    t.SetKey(-12);
    t.SetKey(t.GetCharValue(nullptr));
    t.SetKey(static_cast<char const*>(nullptr));
    EXPECT_STREQ(t.GetCharValue(nullptr), "-12");
}

TEST(KeySetters, UnknownTypeKeepsNoValue)
{
    BPlusKey unknown(kUnknownType);
    CStringBuffer buffer("7");
    unknown.SetKey(5);
    unknown.SetKey(2.5);
    unknown.SetKey("7");
    unknown.SetKey(buffer);
    EXPECT_EQ(state(unknown), "type 9, int 0, number 0, text none/0, name none");
}

// Integer, number and composite order: see the randomized KeyOrder test.
// The first key's type picks the field read from the second; text order
// ignores case, no text sorts first; NaN and an unknown type equal anything;
// a composite key sorts after NULL and after a plain key of type 3.
TEST(KeyCompare, SignOfMixedAndSpecialPairs)
{
    auto plain = [] { return Key(new BPlusKey(BPlusKey::eCompositeKey)); };
    struct {
        char const* name;
        Key a, b;
        int sign;
    } const cases[] = {
        {"NaN, 1", Key(BPlusKey::NewNumberKey(NAN)), Key(BPlusKey::NewNumberKey(1)), 0},
        {"1, NaN", Key(BPlusKey::NewNumberKey(1)), Key(BPlusKey::NewNumberKey(NAN)), 0},
        {"integer 3, text 9 (reads its 0)", Key(I(3)), text("9"), 1},
        {"text 9, integer 3 (reads no text)", text("9"), Key(I(3)), 1},
        {"Abc, aBC", text("Abc"), text("aBC"), 0},
        {"no text, Abc", text(nullptr), text("Abc"), -1},
        {"Abc, no text", text("Abc"), text(nullptr), 1},
        {"no text, no text", text(nullptr), text(nullptr), 0},
        {"unknown type, 3", Key(new BPlusKey(kUnknownType)), Key(I(3)), 0},
        {"unknown type, a", Key(new BPlusKey(kUnknownType)), text("a"), 0},
        {"<1>, type 3 but not composite", Key(BPlusCompositeKey::New(I(1), nullptr)), plain(), 1},
        {"<1>, NULL", Key(BPlusCompositeKey::New(I(1), nullptr)), Key(), 1},
        {"type 3 but not composite, <1>", plain(), Key(BPlusCompositeKey::New(I(1), nullptr)), -1},
        {"type 3 but not composite twice", plain(), plain(), 0},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(cmp(c.a, c.b), c.sign) << c.name;
    }
}

// The normalizer is process-wide: every test leaves it switched off.
class NormalizedKeys : public testing::Test {
protected:
    void TearDown() override
    {
        BPlusKey::SetNormalizer(nullptr, 0);
    }
};

// Normalizers that keep the text, drop its last byte (so the length they
// leave must count), or report their data as the length, whatever the text.
// (Their results are not used.)
constexpr auto identity = [](char*, int*, int) { return 0; };
constexpr auto dropLast = [](char*, int* length, int) {
    return *length = std::max(*length - 1, 0);
};
constexpr auto claimLength = [](char*, int* length, int data) { return *length = data; };

TEST_F(NormalizedKeys, CompareByteOrderWithThePrefixFirst)
{
    Key before = text("ABC");
    BPlusKey::SetNormalizer(identity, 0);
    Key lower = text("abc"), upper = text("ABC"), ab = text("ab"), empty = text("");
    EXPECT_GT(cmp(lower, upper), 0);
    EXPECT_EQ(cmp(lower, before), 0) << "a key made before has no copy: no-case rule";
    EXPECT_EQ(cmp(ab, lower), -1);
    EXPECT_EQ(cmp(lower, ab), 1);
    EXPECT_EQ(cmp(empty, ab), -1);
}

// Each normalizer's keys are gone before the next is installed (the checked
// build reports keys normalized by another normalizer that are still alive).
TEST_F(NormalizedKeys, CopyFollowsTheTextAndTheClone)
{
    BPlusKey::SetNormalizer(identity, 0);
    {
        Key changed = text("abc");
        changed->SetKey(5);
        EXPECT_EQ(cmp(changed, text("5")), 0) << "a stale \"abc\" copy lingers";
    }
    BPlusKey::SetNormalizer(dropLast, 0);
    Key spaced = text("abX");
    Key clone(spaced->Clone());
    EXPECT_EQ(cmp(spaced, text("abY")), 0);
    EXPECT_EQ(cmp(clone, text("abZ")), 0) << "the clone carries the normalized copy";
}

// The dropLast copy is dropped before identity comes in, and identity's
// keys live on only while it or no normalizer is installed.
TEST_F(NormalizedKeys, CopiesAreIgnoredWithoutNormalizer)
{
    BPlusKey::SetNormalizer(dropLast, 0);
    Key changed = text("abX");
    BPlusKey::SetNormalizer(nullptr, 0);
    changed->SetKey("x");  // drops the copy
    BPlusKey::SetNormalizer(identity, 0);
    Key ab = text("ab"), upper = text("ABC");
    BPlusKey::SetNormalizer(nullptr, 0);
    EXPECT_LT(cmp(ab, upper), 0) << "no-case rule on the texts";
    BPlusKey::SetNormalizer(identity, 0);
    EXPECT_EQ(cmp(changed, text("X")), 0) << "a stale copy \"ab\" decides";
}

// What a subclass sees of a key's normalized copy.
struct NormalizedFields : BPlusKey {
    static constexpr char* BPlusKey::*kCopy = &NormalizedFields::m_szNormalized;
    static constexpr int BPlusKey::*kLength = &NormalizedFields::m_nNormalizedLength;
};

// A normalized copy leaves with the text it was made from: when a copy of
// another key's value replaces the text, and when a new text is set while
// no normalizer is installed.
TEST_F(NormalizedKeys, CopyLeavesWithItsText)
{
    BPlusKey::SetNormalizer(identity, 0);
    Key copied = text("abc"), reset = text("abcd");
    Key(I(9))->CopyTo(*copied);
    int length = -1;
    EXPECT_EQ(copied->GetCharValue(&length), nullptr) << "CopyTo from an integer key";
    EXPECT_EQ((*copied).*NormalizedFields::kCopy, nullptr) << "CopyTo from an integer key";
    EXPECT_EQ((*copied).*NormalizedFields::kLength, 0) << "CopyTo from an integer key";
    BPlusKey::SetNormalizer(nullptr, 0);
    reset->SetKey("x");
    EXPECT_EQ((*reset).*NormalizedFields::kCopy, nullptr) << "SetKey without a normalizer";
    EXPECT_EQ((*reset).*NormalizedFields::kLength, 0) << "SetKey without a normalizer";
}

TEST_F(NormalizedKeys, ReportedLengthsAreClampedToTheText)
{
    BPlusKey::SetNormalizer(claimLength, -5);
    EXPECT_EQ(cmp(text("abc"), text("xyz")), 0) << "length below 0";
    BPlusKey::SetNormalizer(claimLength, 1000);  // ASan: reading 1000 bytes would fail
    EXPECT_LT(cmp(text("ab"), text("abc")), 0) << "length beyond the text";
    EXPECT_GT(cmp(text("abd"), text("abc")), 0) << "length beyond the text";
}

TEST(KeyData, ReplacedDataIsAskedAndDeletedOnlyWhenItSaysSo)
{
    CountingData::deleted = 0;
    CountingData kept(false);
    BPlusKey k(BPlusKey::eIntegerKey);
    k.SetData(&kept);
    k.SetData(&kept);  // the data it holds: not asked
    k.SetData(new CountingData(true));
    EXPECT_EQ(kept.asked, 1);
    EXPECT_EQ(CountingData::deleted, 0);
    k.SetData(nullptr);
    EXPECT_EQ(CountingData::deleted, 1);
}

TEST(KeyData, DestructorAsksAndDetachedDataIsNotReleased)
{
    CountingData kept(false), detached(true);
    {
        BPlusKey k(BPlusKey::eIntegerKey), other(BPlusKey::eIntegerKey);
        k.SetData(&kept);
        other.SetData(&detached);
        EXPECT_EQ(other.DetachData(), &detached);
        EXPECT_EQ(other.GetData(), nullptr);
    }
    EXPECT_EQ(kept.asked, 1);
    EXPECT_EQ(detached.asked, 0);
}

TEST(KeyCopy, CopyToFillsTheTargetTypesFieldAndDropsItsData)
{
    Key source(I(9));
    BPlusKey target(BPlusKey::eNumberKey);
    CountingData data(false);
    source->SetName("n");
    target.SetKey(1.5);
    target.SetName("old");
    target.SetData(&data);
    source->CopyTo(target);
    EXPECT_EQ(state(target), "type 1, int 9, number 1.5, text none/0, name n");
    EXPECT_EQ(data.asked, 0) << "dropped, not released";
    source->CopyTo(*source);  // onto itself: harmless
    EXPECT_EQ(state(*source), "type 0, int 9, number 0, text none/0, name n");
}

TEST(KeyCopy, CloneHasItsOwnTextAndNoData)
{
    Key hello = text("hello");
    hello->SetData(new CountingData(true));
    Key clone(hello->Clone());
    hello.reset();  // ASan: the clone must not read the freed original
    EXPECT_EQ(state(*clone), "type 2, int 0, number 0, text hello/5, name none");
}

TEST(KeyPrint, IntoBuffer)
{
    EXPECT_EQ(printed(*Key(BPlusKey::NewNumberKey(2.5)), "x="), "x=2.50");
    EXPECT_EQ(printed(*Key(I(-4))), "-4");
    EXPECT_EQ(printed(*text(nullptr), "x"), "x");
    EXPECT_EQ(printed(*Key(new BPlusKey(kUnknownType)), "x"), "x");
    EXPECT_EQ(printed(*text(std::string(20000, 'q').c_str())), std::string(16383, 'q'));
    Composite k(BPlusCompositeKey::New(I(5), BPlusKey::NewCharKey("ab"), nullptr));
    EXPECT_EQ(printed(*k, "x"), "x<5,ab>");
    EXPECT_EQ(printed(*Composite(BPlusCompositeKey::New())), "<>");
}

TEST(KeyPrint, ToStream)
{
    Composite k(BPlusCompositeKey::New(I(5), nullptr));
    k->AppendKeyPart(nullptr);
    k->AppendKeyPart(BPlusCompositeKey::New(BPlusKey::NewNumberKey(2.5), nullptr));
    testing::internal::CaptureStdout();
    text("abc")->PrintKey(stdout);
    k->PrintKey(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "abc<5,,<2.50>>");
}

TEST(CompositeParts, SetBeyondTheEndLeavesAbsentSlots)
{
    Composite k(BPlusCompositeKey::New());
    k->SetKeyPart(3, I(7));
    EXPECT_EQ(printed(*k), "<,,,7>");
    k->SetKeyPart(6, I(9));  // grows slots that exist already: new ones are absent
    EXPECT_EQ(printed(*k), "<,,,7,,,9>");
    EXPECT_EQ(k->GetKeyPart(4), nullptr) << "beyond the end";
    EXPECT_EQ(k->GetKeyPart(-1), nullptr) << "below 0";
    k->Clear();
    EXPECT_EQ(k->GetKeyPartCount(), 0);
}

TEST(CompositeParts, ReplacedPartIsDeletedButTheSamePartIsKept)
{
    CountingData::deleted = 0;
    Composite k(BPlusCompositeKey::New(I(0), nullptr));
    BPlusKey* part = I(0);
    part->SetData(new CountingData(true));  // deleted with the part
    k->SetKeyPart(0, part);
    k->SetKeyPart(0, part);
    EXPECT_EQ(CountingData::deleted, 0);
    k->SetKeyPart(0, I(1));
    EXPECT_EQ(CountingData::deleted, 1);
}

TEST(CompositeParts, RefusesNegativeSlotsAndPartsItHolds)
{
    Composite k(BPlusCompositeKey::New(I(0), nullptr));
    Key refused(I(5));
    k->SetKeyPart(-1, refused.get());
    k->AppendKeyPart(nullptr);  // an absent part is appended
    k->AppendKeyPart(I(3));
    k->AppendKeyPart(k.get());
    k->AppendKeyPart(k->GetKeyPart(2));
    k->SetKeyPart(1, k->GetKeyPart(2));
    EXPECT_EQ(printed(*k), "<0,,3>");
}

TEST(CompositePartsDeathTest, SlotBeyondThe32BitRangeEndsTheProcess)
{
    Composite k(BPlusCompositeKey::New(I(0), nullptr));
    EXPECT_DEATH(k->SetKeyPart(INT_MAX, I(1)), "zarncrt: size beyond the 32-bit range");
}

TEST(CompositeCopy, CloneKeepsAbsentSlotsAndNullFlagButNoName)
{
    Composite source(BPlusCompositeKey::New(I(1), nullptr));
    source->AppendKeyPart(nullptr);
    source->AppendKeyPart(I(3));
    source->SetName("pair");
    source->SetNull(true);
    Key clone(source->Clone());
    EXPECT_EQ(printed(*clone), "<1,,3>");
    EXPECT_EQ(state(*clone), "type 3, int 0, number 0, text none/0, name none, null");
    EXPECT_EQ(cmp(clone.get(), source.get()), 0);
}

TEST(CompositeCopy, CopyToNeedsACompositeTarget)
{
    Composite source(BPlusCompositeKey::New(I(1), nullptr));
    source->AppendKeyPart(nullptr);
    source->AppendKeyPart(I(3));
    source->SetName("pair");
    BPlusKey plain(BPlusKey::eIntegerKey);
    plain.SetKey(4);
    testing::internal::CaptureStdout();
    source->CopyTo(plain);
    BPlusKey fromComposite(*source);
    BPlusCompositeKey copied(*source);  // by CopyTo into a composite: no message
    EXPECT_EQ(printed(copied), "<1,,3>") << "made by the copy constructor";
    EXPECT_STREQ(copied.GetName(), "pair") << "made by the copy constructor";
    source->CopyTo(copied);   // parts replaced, not appended
    source->CopyTo(*source);  // onto itself: harmless
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "BPlusCompositeKey::CopyTo invalid type - cannot copy to non composite.\n"
              "BPlusCompositeKey::CopyTo invalid type - cannot copy to non composite.\n");
    EXPECT_EQ(state(plain), "type 0, int 4, number 0, text none/0, name none");
    EXPECT_EQ(fromComposite.GetType(), BPlusKey::eCompositeKey);
    EXPECT_EQ(printed(copied), "<1,,3>");
    EXPECT_EQ(printed(*source), "<1,,3>");
    EXPECT_STREQ(copied.GetName(), "pair");
}

TEST(CompositeData, HolderReplacesPlainDataAndKeepsItsSize)
{
    CountingData::deleted = 0;
    Composite k(BPlusCompositeKey::New(I(1), I(2), nullptr));
    EXPECT_EQ(k->GetData(0), nullptr) << "no holder yet";
    k->SetData(new CountingData(true));
    CountingData kept(false), late(false);
    k->SetData(1, &kept);
    EXPECT_EQ(CountingData::deleted, 1) << "the plain data is released";
    EXPECT_EQ(k->GetData(1), &kept);
    EXPECT_EQ(k->GetData(0), nullptr);
    EXPECT_EQ(k->GetData(-1), nullptr);
    k->AppendKeyPart(I(3));
    k->SetData(2, &late);  // the holder was made with two slots
    k->SetData(-1, &late);
    EXPECT_EQ(k->GetData(2), nullptr);
    IBPlusData* const first = new CountingData(true);
    k->SetData(0, first);
    EXPECT_EQ(k->GetData(0), first);
    k.reset();  // the holder releases each slot by its answer
    EXPECT_EQ(CountingData::deleted, 2);
    EXPECT_EQ(kept.asked, 1);
    EXPECT_EQ(late.asked, 0);
}

TEST(CompositeData, HolderWithoutSlots)
{
    CountingData late(false);
    BPlusCompositeKey::BPlusCompositeData none(-3);
    none.SetPartData(0, &late);
    EXPECT_EQ(none.GetCount(), 0);
    EXPECT_EQ(none.GetPartData(0), nullptr);
}

// Compare must agree in sign with a model order, be antisymmetric, and leave
// a std::sort result in which every earlier key compares at or below a later
// one. A composite key is modelled as slots holding nothing (absent or null
// part) or a value; nothing sorts first and missing trailing slots are
// nothing. Composite keys have 0 to 3 parts, so empty keys, keys of different
// lengths, absent and null parts all meet.
TEST(KeyOrder, RandomKeysAgreeWithModelAndSort)
{
    using Model = std::vector<std::optional<double>>;
    auto modelOrder = [](Model a, Model b) {
        a.resize(std::max(a.size(), b.size()));
        b.resize(a.size());
        return a < b ? -1 : (b < a ? 1 : 0);
    };
    std::mt19937 rng(20240611);
    for (int kind = 0; kind < 3; ++kind) {
        std::vector<std::pair<Key, Model>> keys;
        for (int i = 0; i < 1500; ++i) {
            const int v = static_cast<int>(rng() % 41) - 20;
            const int wide = rng() % 2 ? v : static_cast<int>(rng());
            if (kind == 0) {
                keys.emplace_back(Key(I(wide)), Model{wide});
            } else if (kind == 1) {
                keys.emplace_back(Key(BPlusKey::NewNumberKey(v / 4.0)), Model{v / 4.0});
            } else {
                Composite k(BPlusCompositeKey::New());
                Model m;
                for (unsigned p = rng() % 4; p > 0; --p) {
                    const int roll = static_cast<int>(rng() % 5);
                    BPlusKey* part = roll == 0 ? nullptr : I(roll + v % 3);
                    if (roll == 1) {
                        part->SetNull(true);
                    }
                    k->AppendKeyPart(part);
                    m.push_back(roll <= 1 ? std::nullopt : std::optional<double>(roll + v % 3));
                }
                keys.emplace_back(Key(k.release()), m);
            }
        }
        for (int step = 0; step < 5000; ++step) {
            auto& [a, ma] = keys[rng() % keys.size()];
            auto& [b, mb] = keys[rng() % keys.size()];
            const int order = cmp(a, b), reverse = cmp(b, a);
            ASSERT_EQ((order > 0) - (order < 0), modelOrder(ma, mb)) << "kind " << kind;
            ASSERT_EQ((order > 0) - (order < 0), (reverse < 0) - (reverse > 0)) << "kind " << kind;
        }
        std::sort(keys.begin(), keys.end(),
                  [](auto& x, auto& y) { return cmp(x.first, y.first) < 0; });
        for (int step = 0; step < 5000; ++step) {
            const size_t i = rng() % keys.size(), j = rng() % keys.size();
            ASSERT_LE(cmp(keys[std::min(i, j)].first, keys[std::max(i, j)].first), 0)
                << "kind " << kind;
        }
    }
}

}  // namespace
