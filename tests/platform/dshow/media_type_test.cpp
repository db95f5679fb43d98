// Media types own their format block in task memory and count the reference
// to its owner; copies are deep, and matching follows the connection rules.
#include <gtest/gtest.h>

#include "test_filters.h"

namespace {

CMediaType waveType(WORD channels)
{
    CMediaType type(&MEDIATYPE_Audio);
    type.SetSubtype(&MEDIASUBTYPE_PCM);
    type.SetFormatType(&FORMAT_WaveFormatEx);
    WAVEFORMATEX wave{};
    wave.nChannels = channels;
    type.SetFormat(reinterpret_cast<const BYTE*>(&wave), sizeof wave);
    return type;
}

TEST(MediaType, CopiesAreDeepAndCompareByFormat)
{
    CMediaType stereo = waveType(2);
    CMediaType copy = stereo;
    EXPECT_EQ(copy, stereo);
    EXPECT_NE(copy.pbFormat, stereo.pbFormat);
    copy.pbFormat[2] = 1;  // a different channel count
    EXPECT_NE(copy, stereo);
    // Sample size and compression do not take part; the format type does.
    CMediaType other = waveType(2);
    other.SetSampleSize(4);
    other.SetTemporalCompression(TRUE);
    EXPECT_EQ(other, stereo);
    other.SetFormatType(&FORMAT_None);
    EXPECT_NE(other, stereo);

    // Assignment replaces, from either kind of type; self-assignment keeps.
    CMediaType type = waveType(6);
    const CMediaType& same = type;
    type = same;
    EXPECT_EQ(type, waveType(6));
    CMediaType mono = waveType(1);
    type = static_cast<const AM_MEDIA_TYPE&>(mono);
    EXPECT_EQ(type, mono);
    EXPECT_NE(type.pbFormat, mono.pbFormat);
}

TEST(MediaType, TheFormatOwnerIsCountedByEveryCopy)
{
    Counted<IUnknown> owner;
    CMediaType stereo = waveType(2);
    stereo.pUnk = &owner;
    owner.AddRef();
    {
        CMediaType copy(stereo);
        EXPECT_EQ(owner.refs, 3);
    }
    EXPECT_EQ(owner.refs, 2);

    AM_MEDIA_TYPE plain;
    ASSERT_EQ(CopyMediaType(&plain, &stereo), S_OK);
    EXPECT_NE(plain.pbFormat, stereo.pbFormat);
    EXPECT_EQ(owner.refs, 3);
    // Frees the contents and leaves an empty structure: twice is harmless.
    FreeMediaType(plain);
    EXPECT_EQ(plain.pbFormat, nullptr);
    EXPECT_EQ(plain.pUnk, nullptr);
    FreeMediaType(plain);
    EXPECT_EQ(owner.refs, 2);

    AM_MEDIA_TYPE* created = CreateMediaType(&stereo);
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(CMediaType(*created), stereo);
    EXPECT_EQ(owner.refs, 3);
    DeleteMediaType(created);
    EXPECT_EQ(owner.refs, 2);
    stereo.pUnk = nullptr;
}

TEST(MediaType, PartialTypesMatch)
{
    CMediaType full = waveType(2);
    struct Case {
        const GUID *major, *sub, *format;
        bool partial, matches;
    } cases[] = {
        {nullptr, nullptr, nullptr, true, true},
        {&MEDIATYPE_Audio, nullptr, nullptr, true, true},
        {&MEDIATYPE_Video, nullptr, nullptr, true, false},
        {nullptr, &MEDIASUBTYPE_PCM, nullptr, true, true},
        {nullptr, &MEDIASUBTYPE_IEEE_FLOAT, nullptr, true, false},
        // With a format type the whole format must agree; this one has none.
        {nullptr, nullptr, &FORMAT_WaveFormatEx, true, false},
        // A missing subtype alone does not make a type partial.
        {&MEDIATYPE_Audio, nullptr, &FORMAT_None, false, false},
    };
    for (const Case& c : cases) {
        CMediaType partial;
        partial.SetType(c.major ? c.major : &GUID_NULL);
        partial.SetSubtype(c.sub ? c.sub : &GUID_NULL);
        partial.SetFormatType(c.format ? c.format : &GUID_NULL);
        EXPECT_EQ(partial.IsPartiallySpecified(), c.partial);
        EXPECT_EQ(full.MatchesPartial(&partial), c.matches);
    }
    EXPECT_FALSE(full.IsPartiallySpecified());
    EXPECT_TRUE(full.MatchesPartial(&full));
}

}  // namespace
