// Pin and media type enumerators as the graph manager walks them: short
// fetches, skips, clones that move on their own, and going stale when the pins
// change until Reset.
#include <gtest/gtest.h>

#include <string>

#include "test_filters.h"

namespace {

TEST(Enumerators, PinsFetchSkipCloneAndOutOfSync)
{
    PinPair pins;
    TestFilter* filter = pins.downstream;
    filter->add(new TestOutputPin(filter, WIDE("Out"), {}, "out"));
    IEnumPins* pinList = nullptr;
    ASSERT_EQ(filter->EnumPins(&pinList), S_OK);
    IPin* got[3] = {};
    EXPECT_EQ(pinList->Next(2, got, nullptr), E_INVALIDARG);
    ULONG fetched = 9;
    EXPECT_EQ(pinList->Next(3, got, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 2u);
    got[0]->Release();
    got[1]->Release();
    EXPECT_EQ(pinList->Reset(), S_OK);
    EXPECT_EQ(pinList->Skip(3), S_FALSE);
    EXPECT_EQ(pinList->Reset(), S_OK);
    EXPECT_EQ(pinList->Skip(1), S_OK);
    IEnumPins* clone = nullptr;
    ASSERT_EQ(pinList->Clone(&clone), S_OK);
    ASSERT_EQ(clone->Next(1, got, nullptr), S_OK);  // continues where the original was
    EXPECT_EQ(got[0], static_cast<IPin*>(filter->pins[1]));
    got[0]->Release();
    EXPECT_EQ(clone->Skip(1), S_FALSE);  // the end, whatever the original does
    clone->Release();
    EXPECT_EQ(pinList->Skip(1), S_OK);  // exactly to the end

    // A pin added behind the enumerator's back puts it out of sync until Reset.
    filter->add(new TestOutputPin(filter, WIDE("Out2"), {}, "out2"));
    EXPECT_EQ(pinList->Next(1, got, nullptr), VFW_E_ENUM_OUT_OF_SYNC);
    EXPECT_EQ(pinList->Clone(&clone), VFW_E_ENUM_OUT_OF_SYNC);
    ASSERT_EQ(pinList->Reset(), S_OK);
    EXPECT_EQ(pinList->Next(3, got, &fetched), S_OK);
    for (IPin* pin : got)
        pin->Release();
    pinList->Release();
}

TEST(Enumerators, MediaTypesAreTaskAllocatedCopiesThatSkipAndClone)
{
    PinPair pins(PinPair::pcmOnly(),
                 {{audioType(MEDIASUBTYPE_PCM), audioType(MEDIASUBTYPE_IEEE_FLOAT),
                   audioType(MEDIASUBTYPE_DTS)},
                  {}});
    IEnumMediaTypes* types = nullptr;
    ASSERT_EQ(pins.input->EnumMediaTypes(&types), S_OK);
    auto next = [](IEnumMediaTypes* list) {
        AM_MEDIA_TYPE* type = nullptr;
        if (list->Next(1, &type, nullptr) != S_OK)
            return std::string("end");
        std::string name = subtypeName(*type);
        DeleteMediaType(type);
        return name;
    };
    AM_MEDIA_TYPE* got[4] = {};
    ULONG fetched = 0;
    EXPECT_EQ(types->Next(4, got, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 3u);
    for (ULONG i = 0; i < fetched; ++i)
        DeleteMediaType(got[i]);
    EXPECT_EQ(types->Next(2, got, nullptr), E_INVALIDARG);
    types->Reset();
    EXPECT_EQ(types->Skip(2), S_OK);
    EXPECT_EQ(next(types), "DTS");
    EXPECT_EQ(next(types), "end");
    types->Reset();
    EXPECT_EQ(types->Skip(3), S_OK);
    EXPECT_EQ(types->Skip(1), S_FALSE);  // overshoots: nothing at position 3
    types->Reset();
    EXPECT_EQ(next(types), "PCM");
    IEnumMediaTypes* clone = nullptr;
    ASSERT_EQ(types->Clone(&clone), S_OK);
    EXPECT_EQ(next(clone), "FLOAT");
    EXPECT_EQ(next(types), "FLOAT");
    clone->Release();
    types->Release();
}

}  // namespace
