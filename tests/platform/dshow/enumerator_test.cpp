// The pin enumerator as the graph manager walks it: short fetches, skips,
// clones that move on their own, and going stale when the pins change until
// Reset. (The media type enumerator is walked by every connection.)
#include <gtest/gtest.h>

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

}  // namespace
