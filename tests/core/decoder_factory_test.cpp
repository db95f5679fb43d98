// Building the decoder list and choosing the decoder for a proposed type.
#include <gtest/gtest.h>

#include <sstream>

#include "core/decoder_factory.h"

#include <cstring>

#include "diagnostics/assertions.h"
#include "filter/guid_names.h"

namespace {

CMediaType proposedType(const GUID& major, const GUID& subtype, ULONG formatLength,
                        const GUID& formatType = FORMAT_WaveFormatEx)
{
    CMediaType type(&major);
    type.SetSubtype(&subtype);
    type.SetFormatType(&formatType);
    if (formatLength) {
        BYTE* format = type.AllocFormatBuffer(formatLength);
        std::memset(format, 0, formatLength);
    }
    return type;
}

TEST(DecoderFactory, CreatesEachDecoderAndLogsIt)
{
    std::ostringstream log;
    DecoderList decoders;
    createDecoders(decoders, log);
    ASSERT_FALSE(decoders.empty());
    EXPECT_NE(log.str().find("successfully initialized Decoder: AdecLpcmDvd\n"), std::string::npos);
}

// With TvEac3Dec.dll in the module's folder AC-3 goes to AdecDDPlus and
// AdecDolby is never made; without it AdecDolby takes its place.
TEST(DecoderFactory, TheDDPlusLibraryDecidesBetweenTheTwoAc3Decoders)
{
    for (bool present : {true, false}) {
        std::ostringstream log;
        DecoderList decoders;
        createDecoders(decoders, log, present ? TAVIO_MODULE_DIR "/" : "/nonexistent/");
        ASSERT_FALSE(decoders.empty());
        const char* first = present ? "AdecDDPlus" : "AdecDolby";
        EXPECT_NE(log.str().find(std::string("successfully initialized Decoder: ") + first),
                  std::string::npos)
            << log.str();
        bool dolbyMade = log.str().find("initialized Decoder: AdecDolby") != std::string::npos;
        EXPECT_EQ(dolbyMade, !present);
        EXPECT_EQ(decoders[0]->accepts(proposedType(MEDIATYPE_Audio, MEDIASUBTYPE_DOLBY_AC3, 18)), true);
    }
}

// A decoder that stands for any class; its constructor throws when its
// library is "missing".
class StandIn : public Adec {
public:
    StandIn(std::ostream& log, bool libraryPresent) : Adec(log)
    {
        if (!libraryPresent)
            throw TvException("No handle for module TvEac3Dec.dll");
    }
    bool accepts(const CMediaType&) override { return true; }
    TvStatus* init(const CMediaType&) override { return nullptr; }
    TvStatus* process(const uint8_t**, const uint8_t*, IMediaSample*) override { return nullptr; }
};

template <bool Present>
std::unique_ptr<Adec> makeStandIn(std::ostream& log, const std::string&)
{
    return std::make_unique<StandIn>(log, Present);
}

TEST(DecoderFactory, TheSecondOfTwoAlternativesOnlyWhenTheFirstFails)
{
    struct Case {
        bool plusPresent;
        std::vector<std::string> expected;
    } cases[] = {
        {true, {"successfully initialized Decoder: AdecDDPlus", "successfully initialized Decoder: AdecDTS"}},
        {false,
         {"error initializing Audio decoder: AdecDDPlus", "successfully initialized Decoder: AdecDolby",
          "successfully initialized Decoder: AdecDTS"}},
    };
    for (const Case& c : cases) {
        const DecoderCreationStep steps[] = {
            {"AdecDDPlus", c.plusPresent ? makeStandIn<true> : makeStandIn<false>, false},
            {"AdecDolby", makeStandIn<true>, true},
            {"AdecDTS", makeStandIn<true>, false},
        };
        std::ostringstream log;
        DecoderList decoders;
        runCreationSteps(steps, 3, decoders, log);
        EXPECT_EQ(decoders.size(), 2u);
        std::vector<std::string> lines;
        std::istringstream text(log.str());
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        EXPECT_EQ(lines, c.expected);
    }
}

TEST(DecoderFactory, PreCheckAndFirstAcceptingDecoder)
{
    std::ostringstream log;
    DecoderList decoders;
    createDecoders(decoders, log);
    struct Case {
        CMediaType type;
        bool candidate;
        bool chosen;
    } cases[] = {
        {proposedType(MEDIATYPE_Audio, MEDIASUBTYPE_DVD_LPCM_AUDIO, 18), true, true},
        {proposedType(MEDIATYPE_MPEG2_PES, MEDIASUBTYPE_HDDVD_LPCM, 18), true, true},
        {proposedType(MEDIATYPE_DVD_ENCRYPTED_PACK, MEDIASUBTYPE_DVD_LPCM_AUDIO, 40), true, true},
        // A 17-byte wave format is refused before any decoder is asked.
        {proposedType(MEDIATYPE_Audio, MEDIASUBTYPE_DVD_LPCM_AUDIO, 17), false, false},
        {proposedType(MEDIATYPE_Video, MEDIASUBTYPE_DVD_LPCM_AUDIO, 18), false, false},
        {proposedType(MEDIATYPE_Audio, MEDIASUBTYPE_DVD_LPCM_AUDIO, 18, FORMAT_None), false, false},
        // The Vorbis subtype needs no wave format, but its own format type.
        {proposedType(MEDIATYPE_Audio, MEDIASUBTYPE_Vorbis2, 0, FORMAT_VorbisFormat2), true, true},
        {proposedType(MEDIATYPE_Audio, MEDIASUBTYPE_Vorbis2, 18), true, false},
        {proposedType(MEDIATYPE_Audio, MEDIASUBTYPE_PCM, 18), true, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(isCandidateInputType(c.type), c.candidate) << guidName(c.type.subtype);
        EXPECT_EQ(chooseDecoder(decoders, c.type) != nullptr, c.chosen) << guidName(c.type.subtype);
    }
}

}  // namespace
