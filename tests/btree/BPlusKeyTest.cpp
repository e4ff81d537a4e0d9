// BPlusKey: construction, setters, the order, attached data, copying and
// printing, including NULL texts, unknown key types, NaN and normalizers that
// report lengths outside the text.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>

#include "btree/KeyTestSupport.h"

namespace {

using Type = BPlusKey::EBPlusKeyType;
constexpr Type kUnknownType = static_cast<Type>(9);  // a type the library does not know

}  // namespace

TEST(KeyConstruction, EmptyKeysFactoriesAndCopyConstructor)
{
    for (Type type : {Type(0), Type(1), Type(2), Type(3), kUnknownType}) {
        BPlusKey k(type);
        int length = -1;
        EXPECT_TRUE(k.GetType() == type && k.GetIntValue() == 0 && k.GetFloatValue() == 0.0 &&
                    k.GetCharValue(&length) == nullptr && length == 0 && !k.GetName() &&
                    !k.IsNull() && !k.GetData());
    }
    EXPECT_EQ(text(nullptr)->GetCharValue(nullptr), nullptr);

    Key abc = text("abc");
    abc->SetName("label");
    abc->SetName(abc->GetName());  // its own name: harmless
    abc->SetNull(true);
    BPlusKey copy(*abc);
    int length = 0;
    EXPECT_STREQ(copy.GetCharValue(&length), "abc");
    EXPECT_TRUE(copy.GetType() == BPlusKey::eCharKey && length == 3 && copy.IsNull());
    EXPECT_STREQ(copy.GetName(), "label");
    copy.SetName(nullptr);
    EXPECT_EQ(copy.GetName(), nullptr);
}

TEST(KeySetters, AcrossTheThreeValueTypes)
{
    BPlusKey integer(BPlusKey::eIntegerKey), number(BPlusKey::eNumberKey), t(BPlusKey::eCharKey);
    std::pair<char const*, int> texts[] = {
        {"12abc", 12}, {"abc", 0}, {" -7", -7}, {"4294967297", 1}, {"-4294967297", -1}};
    for (auto [s, value] : texts) {
        integer.SetKey(s);
        EXPECT_EQ(integer.GetIntValue(), value) << s;
    }
    std::pair<double, int> doubles[] = {
        {3.99, 3}, {-3.99, -3}, {NAN, 0}, {1e10, INT_MAX}, {-1e10, INT_MIN}};
    for (auto [d, value] : doubles) {
        integer.SetKey(d);
        EXPECT_EQ(integer.GetIntValue(), value) << d;
    }
    CStringBuffer buffer(" 42.5x");
    integer.SetKey(buffer), number.SetKey(buffer);
    integer.SetKey(static_cast<char const*>(nullptr));  // NULL: no change
    EXPECT_TRUE(integer.GetIntValue() == 42 && number.GetFloatValue() == 42.5);
    char full[400];
    std::snprintf(full, sizeof full, "%0.2lf", 1e300);
    for (auto [d, expected] :
         {std::pair<double, std::string>{-12, "-12.00"}, {2.5, "2.50"}, {1e300, {full, 63}}}) {
        t.SetKey(d);
        int length = 0;
        EXPECT_TRUE(t.GetCharValue(&length) == expected && length == int(expected.size())) << d;
    }
    t.SetKey(-12);
    t.SetKey(t.GetCharValue(nullptr));  // its own text
    t.SetKey(static_cast<char const*>(nullptr));
    EXPECT_STREQ(t.GetCharValue(nullptr), "-12");
    BPlusKey unknown(kUnknownType);  // holds no value: every setter does nothing
    unknown.SetKey(5), unknown.SetKey(2.5), unknown.SetKey("7"), unknown.SetKey(buffer);
    EXPECT_TRUE(unknown.GetIntValue() == 0 && unknown.GetFloatValue() == 0.0 &&
                !unknown.GetCharValue(nullptr));
}

// Integer, number and composite order: see the randomized KeyOrder test.
TEST(KeyCompare, NanTextsMixedAndUnknownTypes)
{
    Key three(I(3)), nan(BPlusKey::NewNumberKey(NAN)), one(BPlusKey::NewNumberKey(1));
    EXPECT_TRUE(cmp(nan, one) == 0 && cmp(one, nan) == 0);
    // The first key's type picks the field read from the second.
    Key nine = text("9");
    EXPECT_TRUE(cmp(three, nine) == 1 && cmp(nine, three) == 1);
    Key upper = text("Abc"), lower = text("aBC"), none = text(nullptr);
    EXPECT_TRUE(cmp(upper, lower) == 0 && cmp(none, upper) == -1 && cmp(upper, none) == 1);
    Key unknown(new BPlusKey(kUnknownType));
    EXPECT_TRUE(cmp(none, none) == 0 && cmp(unknown, three) == 0 && cmp(unknown, upper) == 0);
}

TEST(NormalizedKeys, ByteOrderPrefixRuleAndFreshCopies)
{
    auto identity = [](char*, int*, int) { return 0; };
    // Keeps all but the last byte, so the length it leaves must count.
    auto dropLast = [](char*, int* length, int) { return *length -= *length > 0, 0; };
    // Reports its data as the normalized length, whatever the text.
    auto claimLength = [](char*, int* length, int data) { return *length = data, 0; };
    Key before = text("ABC");
    BPlusKey::SetNormalizer(identity, 0);
    Key lower = text("abc"), upper = text("ABC"), ab = text("ab"), empty = text("");
    EXPECT_GT(cmp(lower, upper), 0);
    EXPECT_EQ(cmp(lower, before), 0);  // before has no copy: no-case rule
    EXPECT_TRUE(cmp(ab, lower) == -1 && cmp(lower, ab) == 1 && cmp(empty, ab) == -1);
    lower->SetKey(5);  // the copy follows the text; "abc" must not linger
    EXPECT_EQ(cmp(lower, text("5")), 0);
    BPlusKey::SetNormalizer(dropLast, 0);
    Key spaced = text("abX");
    Key clone(spaced->Clone());  // carries the normalized copy
    EXPECT_TRUE(cmp(spaced, text("abY")) == 0 && cmp(clone, text("abZ")) == 0);
    BPlusKey::SetNormalizer(nullptr, 0);
    EXPECT_LT(cmp(ab, upper), 0);  // copies stay but are ignored: no-case rule
    spaced->SetKey("x");           // drops the copy: a stale "ab" would decide below
    BPlusKey::SetNormalizer(identity, 0);
    EXPECT_EQ(cmp(spaced, text("X")), 0);
    BPlusKey::SetNormalizer(claimLength, -5);  // lengths are clamped into 0..text length
    EXPECT_EQ(cmp(text("abc"), text("xyz")), 0);
    BPlusKey::SetNormalizer(claimLength, 1000);  // ASan: reading 1000 bytes would fail
    EXPECT_TRUE(cmp(text("ab"), text("abc")) < 0 && cmp(text("abd"), text("abc")) > 0);
    BPlusKey::SetNormalizer(nullptr, 0);
}

TEST(KeyData, ReleaseRule)
{
    CountingData::deleted = 0;
    auto* kept = new CountingData(false);
    {
        BPlusKey k(BPlusKey::eIntegerKey), other(BPlusKey::eIntegerKey);
        k.SetData(kept), k.SetData(kept);  // the second: the data it holds, nothing happens
        k.SetData(new CountingData(true));
        EXPECT_TRUE(kept->asked == 1 && CountingData::deleted == 0);
        k.SetData(nullptr);
        EXPECT_EQ(CountingData::deleted, 1);
        k.SetData(kept), other.SetData(new CountingData(true));
        delete other.DetachData();  // taken away: the key no longer releases it
        EXPECT_EQ(other.GetData(), nullptr);
    }
    EXPECT_TRUE(kept->asked == 2 && CountingData::deleted == 2);  // asked again, alive
    delete kept;
}

TEST(KeyCopy, CopyToAcrossTypesAndClones)
{
    Key source(I(9)), hello = text("hello");
    BPlusKey target(BPlusKey::eNumberKey);
    CountingData data(false);
    source->SetName("n"), target.SetKey(1.5), target.SetName("old"), target.SetData(&data);
    source->CopyTo(target);

    EXPECT_TRUE(target.GetType() == BPlusKey::eNumberKey && target.GetFloatValue() == 1.5);
    EXPECT_TRUE(target.GetIntValue() == 9 && !target.GetData() && data.asked == 0);
    EXPECT_STREQ(target.GetName(), "n");
    source->CopyTo(*source);  // onto itself: harmless
    EXPECT_STREQ(source->GetName(), "n");
    hello->SetData(new CountingData(true));
    Key clone(hello->Clone());
    EXPECT_STREQ(clone->GetCharValue(nullptr), "hello");  // a copy of its own (ASan)
    EXPECT_TRUE(clone->GetType() == BPlusKey::eCharKey && !clone->GetData());
}

// Plain and composite keys: into a buffer after its text, and to a stream.
TEST(KeyPrint, IntoBufferAndStream)
{
    EXPECT_EQ(printed(*Key(BPlusKey::NewNumberKey(2.5)), "x="), "x=2.50");
    EXPECT_EQ(printed(*Key(I(-4))), "-4");
    EXPECT_EQ(printed(*text(nullptr), "x"), "x");
    EXPECT_EQ(printed(*Key(new BPlusKey(kUnknownType)), "x"), "x");
    EXPECT_EQ(printed(*text(std::string(20000, 'q').c_str())), std::string(16383, 'q'));
    Composite k(BPlusCompositeKey::New(I(5), BPlusKey::NewCharKey("ab"), nullptr));
    EXPECT_EQ(printed(*k, "x"), "x<5,ab>");
    EXPECT_EQ(printed(*Composite(BPlusCompositeKey::New())), "<>");
    k->AppendKeyPart(nullptr);
    k->AppendKeyPart(BPlusCompositeKey::New(BPlusKey::NewNumberKey(2.5), nullptr));
    testing::internal::CaptureStdout();
    text("abc")->PrintKey(stdout);
    k->PrintKey(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "abc<5,ab,,<2.50>>");
}
