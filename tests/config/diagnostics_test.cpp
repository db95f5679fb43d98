// The diagnostics the parameter file switches on (per-filter logs, the
// process log, profiling, the PCM dump), checked by what they write.
#include <cstring>

#include "config_test_support.h"
#include "platform/error_text.h"
#include "platform/media_guids.h"
#include "platform/mmreg.h"

namespace {

class DiagnosticsTest : public ::testing::Test {
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
        root.write("Tavio.conf", text);
        loadParameterFile(root.file("Tavio.conf"));
    }
    TempRoot root;
};

TEST_F(DiagnosticsTest, PerFilterLogNamesNeedALogFile)
{
    EXPECT_EQ(perFilterLogName(0, "/root/"), "");
    load("logFile=/anything/at/all.log");
    EXPECT_EQ(perFilterLogName(0, "/root/"), "/root/Tv0.log");
    EXPECT_EQ(perFilterLogName(1, "/root/"), "/root/Tv1.log");
}

TEST_F(DiagnosticsTest, WithoutAParameterFileNothingIsWritten)
{
    logStream.close();
    initializeModule(root.path());
    EXPECT_FALSE(logStream.is_open());
    EXPECT_EQ(perFilterLogName(0, root.path()), "");
    writeProfileReport(root.file("profile.txt"));
    BYTE pcm[4] = {1, 2, 3, 4};
    AM_MEDIA_TYPE type{};
    type.subtype = MEDIASUBTYPE_PCM;
    dumpOutput(type, pcm, 4);
    EXPECT_TRUE(root.entries().empty());
}

TEST_F(DiagnosticsTest, StartUpOpensTheNamedLog)
{
    root.write("Tavio.conf", "logFile=" + root.file("tavio.log") + "\n");
    initializeModule(root.path());
    logStream.close();
    logStream.clear();
    EXPECT_EQ(lines(readFile(root.file("tavio.log"))), std::vector<std::string>{"started logging"});
}

TEST_F(DiagnosticsTest, ProfileReportListsOnlyCountersThatRan)
{
    load("profile=" + root.file("profile.txt"));
    static ProfileCounter ran("AdecLpcmDvd::process");
    static ProfileCounter idle("AdecDTS::process");
    for (int i = 0; i < 3; ++i)
        ProfileScope scope(ran);
    totalDecodedTime = 25000000;  // 2.5 s
    writeProfileReport(root.file("profile.txt"));
    totalDecodedTime = 0;
    auto report = lines(readFile(root.file("profile.txt")));
    ASSERT_EQ(report.size(), 5u);
    EXPECT_EQ(report[0], "");
    EXPECT_EQ(report[1], " Profile: ");
    // Count right-aligned in 6, seconds with 3 decimals right-aligned in 10.
    const std::string& line = report[2];
    ASSERT_EQ(line.size(), 6u + 1 + 10 + 1 + std::strlen("AdecLpcmDvd::process"));
    EXPECT_EQ(line.substr(0, 7), "     3 ");
    EXPECT_EQ(line.substr(17), " AdecLpcmDvd::process");
    double seconds = std::stod(line.substr(7, 10));
    EXPECT_GE(seconds, 0.0);
    EXPECT_LT(seconds, 1.0);
    EXPECT_EQ(line[13], '.');
    EXPECT_EQ(report[3], "");
    EXPECT_EQ(report[4], "total decoded time: 2.5");
}

TEST_F(DiagnosticsTest, ProfilingIsOffWithoutAReportPath)
{
    static ProfileCounter counter("TvFilter::receive");
    {
        ProfileScope scope(counter);
    }
    EXPECT_EQ(counter.count, 0u);
    writeProfileReport(root.file("profile.txt"));
    EXPECT_TRUE(root.entries().empty());
}

AM_MEDIA_TYPE waveType(const GUID& subtype, const void* format, ULONG length)
{
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Audio;
    type.subtype = subtype;
    type.formattype = FORMAT_WaveFormatEx;
    type.cbFormat = length;
    type.pbFormat = static_cast<BYTE*>(const_cast<void*>(format));
    return type;
}

TEST(OutputDump, HeaderOnceWithFixedSizesThenData)
{
    WAVEFORMATEX pcm{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
    AM_MEDIA_TYPE type = waveType(MEDIASUBTYPE_PCM, &pcm, sizeof pcm);
    std::ostringstream out;
    bool headerDone = false;
    const BYTE first[4] = {1, 2, 3, 4}, second[2] = {5, 6};
    dumpOutput(out, headerDone, true, type, first, 4);
    dumpOutput(out, headerDone, true, type, second, 2);
    std::string bytes = out.str();
    ASSERT_EQ(bytes.size(), 4 + 4 + 4 + 4 + 4 + 18 + 4 + 4 + 6u);
    EXPECT_EQ(bytes.substr(0, 4), "RIFF");
    uint32_t riffSize, fmtSize, dataSize;
    std::memcpy(&riffSize, bytes.data() + 4, 4);
    std::memcpy(&fmtSize, bytes.data() + 16, 4);
    std::memcpy(&dataSize, bytes.data() + 20 + 18 + 4, 4);
    EXPECT_EQ(riffSize, 18u + 0x7000014u);
    EXPECT_EQ(fmtSize, 18u);
    EXPECT_EQ(dataSize, 0x7000000u);
    EXPECT_EQ(bytes.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(bytes.substr(bytes.size() - 6), std::string("\1\2\3\4\5\6", 6));

    std::ostringstream plain;
    bool done = false;
    dumpOutput(plain, done, false, type, first, 4);
    dumpOutput(plain, done, true, type, second, 2);  // the header is never written later
    EXPECT_EQ(plain.str(), std::string("\1\2\3\4\5\6", 6));
}

TEST(ErrorNames, CodesTheSystemMeets)
{
    EXPECT_EQ(platform::errorName(S_OK), "S_OK");
    EXPECT_EQ(platform::errorName(S_FALSE), "S_FALSE");
    EXPECT_EQ(platform::errorName(E_FAIL), "E_FAIL");
    EXPECT_EQ(platform::errorName(VFW_E_NOT_COMMITTED), "VFW_E_NOT_COMMITTED");
    EXPECT_EQ(platform::errorName(VFW_E_TYPE_NOT_ACCEPTED), "VFW_E_TYPE_NOT_ACCEPTED");
    EXPECT_EQ(platform::errorName(static_cast<HRESULT>(0x8123ABCD)), "0x8123ABCD");
}

}  // namespace
