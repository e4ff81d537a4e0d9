// The checked build's reports of key misuse, each beside the correct use
// next to it, which must go unreported (a report aborts the process): a
// normalizer installed while keys normalized by another live, and data
// deleted by the release rule while another key holds it.
#include <gtest/gtest.h>

#include "btree/KeyTestSupport.h"

namespace {

int identity(char*, int*, int)
{
    return 0;
}

int dropLast(char*, int* length, int)
{
    return *length = *length > 0 ? *length - 1 : 0;
}

// The normalizer is process-wide: every test leaves it switched off.
class NormalizerMisuse : public testing::Test {
protected:
    void TearDown() override
    {
        BPlusKey::SetNormalizer(nullptr, 0);
    }
};

using NormalizerMisuseDeathTest = NormalizerMisuse;

TEST_F(NormalizerMisuseDeathTest, AnotherNormalizerWhileNormalizedKeysLive)
{
    BPlusKey::SetNormalizer(identity, 0);
    Key made = text("abc");
    EXPECT_DEATH(BPlusKey::SetNormalizer(dropLast, 0),
                 "^zarncrt checked: normalizer changed while keys normalized by another are "
                 "alive: ");
    EXPECT_DEATH(BPlusKey::SetNormalizer(identity, 1),
                 "^zarncrt checked: normalizer changed while keys normalized by another are "
                 "alive: ");
    BPlusKey::SetNormalizer(nullptr, 0);
    EXPECT_DEATH(BPlusKey::SetNormalizer(dropLast, 0),
                 "^zarncrt checked: normalizer changed while keys normalized by another are "
                 "alive: ");
}

// Switching off, installing the same normalizer again, and another one once
// the keys are gone or hold no copy.
TEST_F(NormalizerMisuse, SwitchesWithoutLiveKeysOfAnotherAreNotReported)
{
    BPlusKey::SetNormalizer(identity, 0);
    Key kept = text("abc");
    Composite composite(BPlusCompositeKey::New(text("x").release(), nullptr));
    BPlusKey::SetNormalizer(nullptr, 0);
    BPlusKey::SetNormalizer(identity, 0);
    {
        Key gone = text("def");
    }
    kept->SetKey(7);
    kept->Normalize();
    composite->Clear();
    BPlusKey::SetNormalizer(nullptr, 0);
    kept->SetKey("x");  // the copy goes with the old text
    BPlusKey::SetNormalizer(dropLast, 0);
    EXPECT_EQ(cmp(kept, text("X")), 0) << "no copy: the no-case rule";
}

TEST(DataMisuseDeathTest, DataDeletedWhileAnotherKeyHoldsIt)
{
    auto* shared = new CountingData(true);
    Key first(I(1)), second(I(2));
    first->SetData(shared);
    second->SetData(shared);
    EXPECT_DEATH(first.reset(), "^zarncrt checked: data deleted while another key holds it: ");
    EXPECT_DEATH(first->SetData(nullptr),
                 "^zarncrt checked: data deleted while another key holds it: ");
    second->DetachData();
}

// Data held by two keys that answers true only for the last to let go.
struct SharedData : IBPlusData {
    explicit SharedData(int* deleted) : deleted(deleted) {}
    ~SharedData() override
    {
        ++*deleted;
    }
    bool Dealloc() override
    {
        return --holders == 0;
    }
    int holders = 2;
    int* deleted;
};

// Data deleted by its last holder, and data handed over with Add's replace.
TEST(DataMisuseTest, DataDeletedByItsLastHolderIsNotReported)
{
    int deleted = 0;
    auto* shared = new SharedData(&deleted);
    Key first(I(1)), second(I(2));
    first->SetData(shared);
    second->SetData(shared);
    first.reset();
    second.reset();

    BPlusNode* root = grow({1});
    BPlusKey* twin = I(1);
    twin->SetData(new CountingData(true));
    EXPECT_EQ(root->Add(twin, true), root) << "a duplicate hands its data over";
    delete twin;
    BPlusNode::DeleteTree(root);
    EXPECT_EQ(deleted, 1) << "deleted by its last holder";
}

}  // namespace
