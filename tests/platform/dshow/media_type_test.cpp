#include <gtest/gtest.h>

#include "platform/dshow/streams.h"

namespace {

// An IUnknown that counts its references, to see media types handle pUnk.
struct CountingUnknown : IUnknown {
    LONG refs = 1;
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override
    {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++refs); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--refs); }
};

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

TEST(MediaType, DefaultStateAndDeepCopies)
{
    CMediaType empty;
    EXPECT_EQ(empty.lSampleSize, 1u);
    EXPECT_TRUE(empty.bFixedSizeSamples);
    EXPECT_TRUE(empty.IsPartiallySpecified());

    CMediaType stereo = waveType(2);
    CMediaType copy = stereo;
    EXPECT_EQ(copy, stereo);
    EXPECT_NE(copy.pbFormat, stereo.pbFormat);
    copy.pbFormat[2] = 1;  // a different channel count
    EXPECT_NE(copy, stereo);

    AM_MEDIA_TYPE* created = CreateMediaType(&stereo);
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(CMediaType(*created), stereo);
    DeleteMediaType(created);
    DeleteMediaType(nullptr);
}

TEST(MediaType, FormatBlockOwnerReferenceIsCounted)
{
    CountingUnknown owner;
    {
        CMediaType type = waveType(2);
        type.pUnk = &owner;
        owner.AddRef();
        CMediaType copy(type);
        EXPECT_EQ(owner.refs, 3);
    }
    EXPECT_EQ(owner.refs, 1);
}

TEST(MediaType, EqualityIgnoresSampleSizeAndCompression)
{
    CMediaType a = waveType(2), b = waveType(2);
    b.SetSampleSize(4);
    b.SetTemporalCompression(TRUE);
    EXPECT_EQ(a, b);
    b.SetFormatType(&FORMAT_None);
    EXPECT_NE(a, b);
}

TEST(MediaType, PartialMatching)
{
    CMediaType full = waveType(2);
    struct Case {
        const GUID* major;
        const GUID* sub;
        const GUID* format;
        bool matches;
    } cases[] = {
        {nullptr, nullptr, nullptr, true},
        {&MEDIATYPE_Audio, nullptr, nullptr, true},
        {&MEDIATYPE_Video, nullptr, nullptr, false},
        {nullptr, &MEDIASUBTYPE_PCM, nullptr, true},
        {nullptr, &MEDIASUBTYPE_IEEE_FLOAT, nullptr, false},
        // With a format type the whole format must agree; this one has none.
        {nullptr, nullptr, &FORMAT_WaveFormatEx, false},
    };
    for (const Case& c : cases) {
        CMediaType partial;
        if (c.major)
            partial.SetType(c.major);
        if (c.sub)
            partial.SetSubtype(c.sub);
        if (c.format)
            partial.SetFormatType(c.format);
        EXPECT_EQ(full.MatchesPartial(&partial), c.matches);
    }
    EXPECT_TRUE(full.MatchesPartial(&full));
    // A missing subtype alone does not make a type partial.
    CMediaType noSubtype = full;
    noSubtype.SetSubtype(&GUID_NULL);
    EXPECT_FALSE(noSubtype.IsPartiallySpecified());
}

TEST(MediaType, ReallocationKeepsTheFormatPrefix)
{
    CMediaType type = waveType(6);
    ASSERT_NE(type.ReallocFormatBuffer(40), nullptr);
    EXPECT_EQ(type.FormatLength(), 40u);
    EXPECT_EQ(reinterpret_cast<WAVEFORMATEX*>(type.Format())->nChannels, 6);
    type.ResetFormatBuffer();
    EXPECT_EQ(type.Format(), nullptr);
    EXPECT_EQ(type.FormatLength(), 0u);
}

TEST(MediaType, FreeFunctionsOverTaskMemory)
{
    CountingUnknown owner;
    CMediaType stereo = waveType(2);
    stereo.pUnk = &owner;
    owner.AddRef();

    AM_MEDIA_TYPE copy;
    ASSERT_EQ(CopyMediaType(&copy, &stereo), S_OK);
    EXPECT_NE(copy.pbFormat, stereo.pbFormat);
    EXPECT_EQ(owner.refs, 3);
    // Frees the contents and leaves an empty structure behind.
    FreeMediaType(copy);
    EXPECT_EQ(copy.pbFormat, nullptr);
    EXPECT_EQ(copy.cbFormat, 0u);
    EXPECT_EQ(copy.pUnk, nullptr);
    EXPECT_EQ(owner.refs, 2);
    FreeMediaType(copy);  // twice is harmless

    EXPECT_EQ(CopyMediaType(nullptr, &stereo), E_POINTER);
    EXPECT_EQ(CreateMediaType(nullptr), nullptr);
    AM_MEDIA_TYPE* created = CreateMediaType(&stereo);
    EXPECT_EQ(owner.refs, 3);
    DeleteMediaType(created);
    EXPECT_EQ(owner.refs, 2);
    stereo.pUnk = nullptr;
    owner.Release();
}

TEST(MediaType, AssignmentReplacesAndSelfAssignmentKeeps)
{
    CMediaType type = waveType(6);
    const CMediaType& same = type;
    type = same;
    EXPECT_EQ(type, waveType(6));
    type = waveType(2);
    EXPECT_EQ(type, waveType(2));
    CMediaType mono = waveType(1);
    const AM_MEDIA_TYPE& plain = mono;
    CMediaType fromPlain;
    fromPlain = plain;
    EXPECT_EQ(fromPlain, waveType(1));
    EXPECT_NE(fromPlain.pbFormat, plain.pbFormat);
}

}  // namespace
