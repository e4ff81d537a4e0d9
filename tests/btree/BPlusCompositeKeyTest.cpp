// BPlusCompositeKey: parts, copies, per-part data, printing, and a randomized
// check of the whole key order against a model and std::sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <random>
#include <vector>

#include "btree/KeyTestSupport.h"

namespace {

// The part-by-part order of two composite keys: see KeyOrder below.
TEST(CompositeCompare, NonCompositeOperands)
{
    Composite one(BPlusCompositeKey::New(I(1), nullptr));
    BPlusKey plain(BPlusKey::eCompositeKey);  // type 3, but not a composite key
    EXPECT_EQ(cmp(one.get(), &plain), 1);
    EXPECT_EQ(cmp(one.get(), nullptr), 1);
    EXPECT_EQ(cmp(&plain, one.get()), -1);
    EXPECT_EQ(cmp(&plain, &plain), 0);
}

TEST(CompositeParts, SetBeyondTheEndLeavesAbsentSlots)
{
    Composite k(BPlusCompositeKey::New());
    k->SetKeyPart(3, I(7));
    EXPECT_EQ(printed(*k), "<,,,7>");
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
    source->CopyTo(copied);             // parts replaced, not appended
    source->CopyTo(*source);            // onto itself: harmless
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
    k->SetData(0, new CountingData(true));
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
