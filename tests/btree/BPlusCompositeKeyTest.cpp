// BPlusCompositeKey: parts, copies, per-part data, printing, and a randomized
// check of the whole key order against a model and std::sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <vector>

#include "btree/KeyTestSupport.h"

namespace {

BPlusKey* NullPart(int v)
{
    BPlusKey* k = I(v);
    k->SetNull(true);
    return k;
}

}  // namespace

// The part-by-part order of two composite keys: see KeyOrder below.
TEST(CompositeCompare, NonCompositeOperands)
{
    Composite one(BPlusCompositeKey::New(I(1), nullptr));
    BPlusKey plain(BPlusKey::eCompositeKey);  // type 3, but not a composite key
    EXPECT_TRUE(cmp(one.get(), &plain) == 1 && cmp(one.get(), nullptr) == 1);
    EXPECT_TRUE(cmp(&plain, one.get()) == -1 && cmp(&plain, &plain) == 0);
}

TEST(CompositeParts, SetAppendAndOwnership)
{
    Composite k(BPlusCompositeKey::New());
    k->SetKeyPart(3, I(7));
    EXPECT_TRUE(k->GetKeyPartCount() == 4 && k->GetKeyPart(3)->GetIntValue() == 7);
    EXPECT_TRUE(!k->GetKeyPart(1) && !k->GetKeyPart(4) && !k->GetKeyPart(-1));
    CountingData::deleted = 0;
    BPlusKey* part = I(0);
    part->SetData(new CountingData(true));           // deleted with the part
    k->SetKeyPart(0, part), k->SetKeyPart(0, part);  // the second: the part it holds, kept
    EXPECT_EQ(CountingData::deleted, 0);
    k->SetKeyPart(0, I(1));
    EXPECT_EQ(CountingData::deleted, 1);
    Key refused(I(5));
    k->SetKeyPart(-1, refused.get()), k->AppendKeyPart(nullptr);  // the first changes nothing
    EXPECT_EQ(k->GetKeyPartCount(), 5);
    k->AppendKeyPart(k.get());           // itself: refused
    k->AppendKeyPart(k->GetKeyPart(3));  // a part it holds: refused
    k->SetKeyPart(1, k->GetKeyPart(3));  // held in another slot: refused
    EXPECT_TRUE(k->GetKeyPartCount() == 5 && !k->GetKeyPart(1));
    k->Clear();
    EXPECT_EQ(k->GetKeyPartCount(), 0);
}

TEST(CompositeCopy, ClonesKeepAbsentSlotsAndCopyToNeedsAComposite)
{
    Composite source(BPlusCompositeKey::New(I(1), nullptr));
    source->AppendKeyPart(nullptr), source->AppendKeyPart(I(3));
    source->SetName("pair"), source->SetNull(true);
    Key clone(source->Clone());
    EXPECT_TRUE(printed(*clone) == "<1,,3>" && !clone->GetName() && clone->IsNull() &&
                cmp(clone.get(), source.get()) == 0);
    testing::internal::CaptureStdout();
    BPlusKey plain(BPlusKey::eIntegerKey);
    plain.SetKey(4), source->CopyTo(plain);
    BPlusKey fromComposite(*source);
    BPlusCompositeKey copied(*source);  // by CopyTo into a composite: no message
    source->CopyTo(copied);             // parts replaced, not appended
    source->CopyTo(*source);            // onto itself: harmless
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "BPlusCompositeKey::CopyTo invalid type - cannot copy to non composite.\n"
              "BPlusCompositeKey::CopyTo invalid type - cannot copy to non composite.\n");
    EXPECT_TRUE(plain.GetIntValue() == 4 && !plain.GetName() &&
                fromComposite.GetType() == BPlusKey::eCompositeKey);
    EXPECT_TRUE(printed(copied) == "<1,,3>" && printed(*source) == "<1,,3>");
    EXPECT_STREQ(copied.GetName(), "pair");
}

TEST(CompositeData, PerPartHolder)
{
    CountingData::deleted = 0;
    Composite k(BPlusCompositeKey::New(I(1), I(2), nullptr));
    k->SetData(new CountingData(true));
    auto* kept = new CountingData(false);
    k->SetData(1, kept);  // releases the plain data, attaches a holder
    EXPECT_EQ(CountingData::deleted, 1);
    EXPECT_TRUE(k->GetData(1) == kept && !k->GetData(0) && !k->GetData(2) && !k->GetData(-1));
    k->AppendKeyPart(I(3));
    CountingData late(false);
    k->SetData(2, &late), k->SetData(-1, &late);  // the holder's size was fixed with two slots

    EXPECT_EQ(k->GetData(2), nullptr);
    k->SetData(0, new CountingData(true));
    k.reset();  // deletes the holder, which releases each slot by its answer
    EXPECT_EQ(CountingData::deleted, 2);
    delete kept;
    BPlusCompositeKey::BPlusCompositeData none(-3);  // no slots
    none.SetPartData(0, &late);
    EXPECT_TRUE(none.GetCount() == 0 && !none.GetPartData(0) && late.asked == 0);
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
                    const int roll = static_cast<int>(rng() % 5), value = roll + v % 3;
                    k->AppendKeyPart(roll == 0 ? nullptr : roll == 1 ? NullPart(value) : I(value));
                    m.push_back(roll <= 1 ? std::nullopt : std::optional<double>(value));
                }
                keys.emplace_back(Key(k.release()), m);
            }
        }
        for (int step = 0; step < 5000; ++step) {
            auto& [a, ma] = keys[rng() % keys.size()];
            auto& [b, mb] = keys[rng() % keys.size()];
            const int order = cmp(a, b), reverse = cmp(b, a);
            ASSERT_EQ((order > 0) - (order < 0), modelOrder(ma, mb)) << kind;
            ASSERT_EQ((order > 0) - (order < 0), (reverse < 0) - (reverse > 0)) << kind;
        }
        std::sort(keys.begin(), keys.end(),
                  [](auto& x, auto& y) { return cmp(x.first, y.first) < 0; });
        for (int step = 0; step < 5000; ++step) {
            const size_t i = rng() % keys.size(), j = rng() % keys.size();
            ASSERT_LE(cmp(keys[std::min(i, j)].first, keys[std::max(i, j)].first), 0);
        }
    }
}
