// The diagnostics the parameter file switches on, checked by the files they
// write: nothing without the file, the named log, the profile report, the
// PCM dump.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "config/config_test_support.h"
#include "platform/media_guids.h"
#include "platform/mmreg.h"

namespace {

class Diagnostics : public ::testing::Test {
protected:
    void SetUp() override
    {
        resetParametersForTesting();
        resetProfilingForTesting();
    }
    void TearDown() override
    {
        resetParametersForTesting();
        resetProfilingForTesting();
    }
    void load(const std::string& text)
    {
        writeText(root.file("Tavio.conf"), text);
        loadParameterFile(root.file("Tavio.conf"));
    }
    TempFolder root;
};

TEST_F(Diagnostics, WithoutAParameterFileNothingIsWritten)
{
    logStream.close();
    initializeModule(root.path());
    EXPECT_FALSE(logStream.is_open());
    EXPECT_EQ(perFilterLogName(0, root.path()), "");
    static ProfileCounter counter("TvFilter::receive");
    {
        ProfileScope scope(counter);
    }
    EXPECT_EQ(counter.count, 0u);
    writeProfileReport(root.file("profile.txt"));
    BYTE pcm[4] = {1, 2, 3, 4};
    AM_MEDIA_TYPE type{};
    type.subtype = MEDIASUBTYPE_PCM;
    dumpOutput(type, pcm, 4);
    EXPECT_TRUE(std::filesystem::is_empty(root.path()));
}

TEST_F(Diagnostics, ALogFileNamesTheProcessLogAndEachFiltersOwn)
{
    writeText(root.file("Tavio.conf"), "logFile=" + root.file("tavio.log") + "\n");
    initializeModule(root.path());
    logStream.close();
    logStream.clear();
    EXPECT_EQ(lines(readText(root.file("tavio.log"))), std::vector<std::string>{"started logging"});
    EXPECT_EQ(perFilterLogName(1, "/root/"), "/root/Tv1.log");
}

TEST_F(Diagnostics, ProfileReportCountsWhatRanAndTheDecodedTime)
{
    load("profile=" + root.file("profile.txt"));
    static ProfileCounter ran("AdecLpcmDvd::process");
    static ProfileCounter idle("AdecDTS::process");
    for (int i = 0; i < 3; ++i)
        ProfileScope scope(ran);
    totalDecodedTime = 25000000;
    writeProfileReport(root.file("profile.txt"));
    totalDecodedTime = 0;
    auto report = lines(readText(root.file("profile.txt")));
    ASSERT_EQ(report.size(), 5u);
    EXPECT_EQ(report[2].substr(0, 7), "     3 ");
    EXPECT_EQ(report[2].substr(17), " AdecLpcmDvd::process");
    EXPECT_EQ(report[4], "total decoded time: 2.5");
}

TEST(OutputDump, WaveHeaderOnceWithFixedSizesThenTheData)
{
    WAVEFORMATEX pcm{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Audio;
    type.subtype = MEDIASUBTYPE_PCM;
    type.formattype = FORMAT_WaveFormatEx;
    type.cbFormat = sizeof pcm;
    type.pbFormat = reinterpret_cast<BYTE*>(&pcm);
    const BYTE first[4] = {1, 2, 3, 4}, second[2] = {5, 6};
    std::ostringstream out, plain;
    bool headerDone = false, plainDone = false;
    dumpOutput(out, headerDone, true, type, first, 4);
    dumpOutput(out, headerDone, true, type, second, 2);
    dumpOutput(plain, plainDone, false, type, first, 4);
    dumpOutput(plain, plainDone, true, type, second, 2);  // never a header later
    std::string bytes = out.str();
    ASSERT_EQ(bytes.size(), 4 + 4 + 4 + 4 + 4 + 18 + 4 + 4 + 6u);
    uint32_t riffSize, fmtSize, dataSize;
    std::memcpy(&riffSize, bytes.data() + 4, 4);
    std::memcpy(&fmtSize, bytes.data() + 16, 4);
    std::memcpy(&dataSize, bytes.data() + 20 + 18 + 4, 4);
    EXPECT_EQ(bytes.substr(0, 4) + bytes.substr(8, 8), "RIFFWAVEfmt ");
    EXPECT_EQ(riffSize, 18u + 0x7000014u);
    EXPECT_EQ(fmtSize, 18u);
    EXPECT_EQ(dataSize, 0x7000000u);
    EXPECT_EQ(bytes.substr(bytes.size() - 6), std::string("\1\2\3\4\5\6", 6));
    EXPECT_EQ(plain.str(), std::string("\1\2\3\4\5\6", 6));
}

}  // namespace
