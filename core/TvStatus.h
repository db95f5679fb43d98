// The stream status record: what a decoder produced (or the remixer delivers),
// as the streaming core, the output pin and the stream-information interfaces
// read it. Each format adds its own fields in a subclass.
#pragma once

#include <cstdint>

enum TvSampleType : int32_t {
    STUninitialized = 0,
    ST16Bit = 1,
    ST8Bit = 2,
    ST20Bit = 3,
    ST24Bit = 4,
    ST32Bit = 5,
    STFloat = 6,
    STDouble = 7,
};

enum TvRemixMode : uint32_t {
    RemixNone = 101,
    RemixProLogicUpmix = 102,
    RemixSingleChannel = 103,
    RemixDecoderDownmix = 104,
    RemixDecoderSurroundDownmix = 105,
    RemixLeftOnly = 106,
    RemixRightOnly = 107,
};

// Stream kind codes: the formatId() of each record and the first argument of
// the mix-type broadcast.
enum TvStreamKind : int {
    KindMpeg = 1,
    KindAc3 = 2,
    KindAmr = 3,
    KindAac = 5,
    KindRemix = 6,
    KindDts = 7,
    KindMlp = 8,
    KindLpcm = 9,
    KindVorbis = 10,
};

struct TvStatus {
    int32_t freq = 0;
    int32_t chan = 0;
    TvSampleType stype = STUninitialized;
    int32_t samples = 0;     // per channel, in one decoded frame
    int32_t iFrameSize = 0;  // input bytes that produced the frame
    int32_t bitRate = 0;     // bits per second; 0 = unknown
    uint32_t channelMask = 0;
    int32_t timeOffset = 0;  // 100 ns, added to the input time stamp
    bool spdif = false;
    TvRemixMode remixMode = RemixNone;

    // A heap copy of the most-derived record, owned by the caller.
    virtual TvStatus* clone() const = 0;
    // Copies `other` into this record when both are of one kind (one record
    // class per kind); false, and nothing copied, otherwise.
    virtual bool assignFrom(const TvStatus& other) = 0;
    virtual ~TvStatus() = default;
    virtual int formatId() const = 0;

protected:
    TvStatus() = default;
    TvStatus(const TvStatus&) = default;
    TvStatus& operator=(const TvStatus&) = default;
};

// Gives a record class its clone() and formatId() from its own type and kind.
template <class Derived, int Kind>
struct TvStatusOf : TvStatus {
    TvStatus* clone() const override { return new Derived(static_cast<const Derived&>(*this)); }
    bool assignFrom(const TvStatus& other) override
    {
        if (other.formatId() != Kind)
            return false;
        static_cast<Derived&>(*this) = static_cast<const Derived&>(other);
        return true;
    }
    int formatId() const override { return Kind; }
};

// All three LPCM packings. The group counts are those of DVD-Audio streams,
// which may carry two channel groups; 0 when the stream has one group.
struct TvStatusLpcm : TvStatusOf<TvStatusLpcm, KindLpcm> {
    int32_t group1Channels = 0;
    int32_t group2Channels = 0;
};

// MPEG-1/2/2.5 audio, layers I to III.
struct TvStatusMpeg : TvStatusOf<TvStatusMpeg, KindMpeg> {
    int32_t mpeg = 0;    // 1 MPEG-1, 2 MPEG-2, 4 MPEG-2.5
    int32_t layer = 0;   // 1..3
    uint8_t mp3pro = 0;  // the layer III decoder reports an mp3PRO stream
};

// AC-3 and DD+ streams. The coded layout is kept apart from the delivered one
// because a decoder downmix changes `acmod` and `lfeon`; the four Annex D
// fields are only read from alternate-syntax streams (bsid 6).
struct TvStatusAc3 : TvStatusOf<TvStatusAc3, KindAc3> {
    int32_t dsurmod = 0;     // Dolby Surround mode, read for 2/0 streams only
    int32_t karaoke = 0;     // karaoke setting reported for karaoke streams
    int32_t codedAcmod = 0;  // audio coding mode as coded
    int32_t acmod = 0;       // audio coding mode as delivered
    int32_t bsmod = 0;
    int32_t bsid = 0;
    int32_t codedLfeon = 0;  // low-frequency channel as coded
    uint8_t lfeon = 0;       // low-frequency channel as delivered
    int32_t dmixmod = 0;
    int32_t dsurexmod = 0;
    int32_t dheadphonmod = 0;
    int32_t adconvtyp = 0;
};

// MLP streams (DVD-Audio MLP and TrueHD), with the kind of their major sync.
struct TvStatusMlp : TvStatusOf<TvStatusMlp, KindMlp> {
    int32_t majorSync = 0;  // the last major sync: 0 DVD-Audio MLP, 1 TrueHD
};
// Vorbis streams: the base record is all they need.
struct TvStatusVorbis : TvStatusOf<TvStatusVorbis, KindVorbis> {};

// AMR speech: narrow band at 8000 Hz or wide band at 16000 Hz, one channel.
struct TvStatusAmr : TvStatusOf<TvStatusAmr, KindAmr> {
    uint8_t wideband = 0;  // 1 for AMR-WB
};

// The remixer's own record: the input stream's status with the remix applied.
struct TvStatusRemix : TvStatusOf<TvStatusRemix, KindRemix> {};

// MPEG-4 AAC streams, with what FAAD2 reported for the last frame.
struct TvStatusAac : TvStatusOf<TvStatusAac, KindAac> {
    uint8_t sbr = 0;           // the library's SBR indication
    uint8_t objectType = 0;    // audio object type; 5 = SBR (HE-AAC)
    uint8_t ps = 0;            // non-zero when parametric stereo was used
    int32_t openChannels = 0;  // channels of the wave format the decoder was opened with
};

// DTS streams: nothing beyond the base record.
struct TvStatusDts : TvStatusOf<TvStatusDts, KindDts> {};
