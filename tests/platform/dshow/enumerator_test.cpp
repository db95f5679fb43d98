#include <gtest/gtest.h>

#include "test_filters.h"

namespace {

class EnumeratorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        filter = new TestFilter(nullptr);
        pin = new TestInputPin(filter, WIDE("In"),
                               {{audioType(MEDIASUBTYPE_PCM), audioType(MEDIASUBTYPE_IEEE_FLOAT),
                                 audioType(MEDIASUBTYPE_DTS)},
                                {}},
                               "in");
        filter->AddPin(pin);
        filter->AddPin(new TestOutputPin(filter, WIDE("Out"), {}, "out"));
    }
    void TearDown() override
    {
        filter->Release();
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    TestFilter* filter = nullptr;
    TestInputPin* pin = nullptr;
};

TEST_F(EnumeratorTest, PinsNextSkipResetClone)
{
    IEnumPins* pins = nullptr;
    ASSERT_EQ(filter->EnumPins(&pins), S_OK);
    IPin* got[3] = {};
    EXPECT_EQ(pins->Next(2, got, nullptr), E_INVALIDARG);
    ULONG fetched = 9;
    EXPECT_EQ(pins->Next(3, got, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 2u);
    got[0]->Release();
    got[1]->Release();
    EXPECT_EQ(pins->Next(1, got, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 0u);
    EXPECT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(pins->Skip(3), S_FALSE);
    EXPECT_EQ(pins->Skip(1), S_OK);
    IEnumPins* clone = nullptr;
    ASSERT_EQ(pins->Clone(&clone), S_OK);
    ASSERT_EQ(clone->Next(1, got, nullptr), S_OK);  // continues where the original was
    PIN_DIRECTION direction;
    got[0]->QueryDirection(&direction);
    EXPECT_EQ(direction, PINDIR_OUTPUT);
    got[0]->Release();
    clone->Release();

    // A pin added behind the enumerator's back puts it out of sync until Reset.
    filter->AddPin(new TestOutputPin(filter, WIDE("Out2"), {}, "out2"));
    EXPECT_EQ(pins->Next(1, got, nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(pins->Skip(1), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(pins->Clone(&clone), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(clone, nullptr);
    ASSERT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(pins->Next(3, got, &fetched), S_OK);
    for (ULONG i = 0; i < fetched; ++i)
        got[i]->Release();
    pins->Release();
}

TEST_F(EnumeratorTest, MediaTypesAreTaskAllocatedCopies)
{
    IEnumMediaTypes* types = nullptr;
    ASSERT_EQ(pin->EnumMediaTypes(&types), S_OK);
    AM_MEDIA_TYPE* got[4] = {};
    ULONG fetched = 0;
    EXPECT_EQ(types->Next(4, got, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 3u);
    EXPECT_TRUE(IsEqualGUID(got[2]->subtype, MEDIASUBTYPE_DTS));
    for (ULONG i = 0; i < fetched; ++i)
        DeleteMediaType(got[i]);

    EXPECT_EQ(types->Reset(), S_OK);
    EXPECT_EQ(types->Skip(0), S_OK);
    EXPECT_EQ(types->Skip(3), S_OK);
    EXPECT_EQ(types->Skip(1), S_FALSE);  // overshoots: nothing at position 3
    pin->IncrementTypeVersion();
    EXPECT_EQ(types->Next(1, got, nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    IEnumMediaTypes* clone = nullptr;
    EXPECT_EQ(types->Clone(&clone), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(clone, nullptr);
    types->Reset();
    ASSERT_EQ(types->Next(1, got, nullptr), S_OK);
    EXPECT_TRUE(IsEqualGUID(got[0]->subtype, MEDIASUBTYPE_PCM));
    DeleteMediaType(got[0]);

    // A clone starts where the original stands and moves on its own.
    ASSERT_EQ(types->Clone(&clone), S_OK);
    ASSERT_EQ(clone->Next(1, got, nullptr), S_OK);
    EXPECT_TRUE(IsEqualGUID(got[0]->subtype, MEDIASUBTYPE_IEEE_FLOAT));
    DeleteMediaType(got[0]);
    ASSERT_EQ(types->Next(1, got, nullptr), S_OK);
    EXPECT_TRUE(IsEqualGUID(got[0]->subtype, MEDIASUBTYPE_IEEE_FLOAT));
    DeleteMediaType(got[0]);
    clone->Release();

    EXPECT_EQ(types->Next(2, got, nullptr), E_INVALIDARG);
    EXPECT_EQ(types->Next(1, nullptr, nullptr), E_POINTER);
    EXPECT_EQ(types->Clone(nullptr), E_POINTER);
    types->Release();
}

}  // namespace
