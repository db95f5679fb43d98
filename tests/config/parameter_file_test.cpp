// The parameter file as a user writes it: what each line sets and what stops
// the reading.
#include <gtest/gtest.h>

#include <sstream>

#include "config/config.h"
#include "config/config_test_support.h"
#include "conversion/output_parameters.h"
#include "conversion/remix_parameters.h"
#include "filter/filter_parameters.h"

namespace {

struct FileCase {
    const char* file;
    int outputBufferCount;
    int outputBufferSize;
    bool spdifSet;
    const char* logFile;
};

class ParameterFile : public ::testing::TestWithParam<FileCase> {
protected:
    void SetUp() override { resetParametersForTesting(); }
    void TearDown() override { resetParametersForTesting(); }
};

TEST_P(ParameterFile, LinesSetValuesOrStopTheReading)
{
    const FileCase& c = GetParam();
    std::istringstream in(c.file);
    readParameters(in);
    EXPECT_EQ(PoutputBufferCount(), c.outputBufferCount) << c.file;
    EXPECT_EQ(PoutputBufferSize(), c.outputBufferSize) << c.file;
    EXPECT_EQ(Pspdif.isSet == 1, c.spdifSet) << c.file;
    EXPECT_EQ(PlogFile(), c.logFile) << c.file;
}

INSTANTIATE_TEST_SUITE_P(
    Lines,
    ParameterFile,
    ::testing::Values(
        FileCase{"", 4, 65536, false, ""},  // the defaults
        FileCase{"outputBufferCount= 8\n", 8, 65536, false, ""},
        FileCase{"  \n\toutputBufferCount=8", 8, 65536, false, ""},
        FileCase{"# outputBufferCount=8\n", 4, 65536, false, ""},
        FileCase{"outputBufferCount=8 # eight\noutputBufferSize=1024\n", 8, 1024, false, ""},
        FileCase{"outputBufferCount=8 outputBufferSize=1024 spdif=0\n", 8, 1024, true, ""},
        FileCase{"outputBufferCount=8\noutputBufferCount=2\n", 2, 65536, false, ""},
        // An unknown name or a bad value stops the reading.
        FileCase{"spdif = 1\noutputBufferCount=8\n", 4, 65536, false, ""},
        FileCase{"x16=true\noutputBufferCount=8\n", 4, 65536, false, ""},
        FileCase{"outputBufferCount=eight\noutputBufferSize=1024\n", 0, 65536, false, ""},
        FileCase{"logFile=C:\\my log.txt\noutputBufferCount=8\n", 4, 65536, false, "C:\\my"},
        FileCase{"outputBuffer\nCount=8\n", 4, 65536, false, ""},
        FileCase{"spdif=1", 4, 65536, true, ""}),
    [](const ::testing::TestParamInfo<FileCase>& info) {
        return "Line" + std::to_string(info.index);
    });

TEST(ParameterTypes, UnsignedSignedAndWordValues)
{
    resetParametersForTesting();
    std::istringstream in(
        "remixMask=4294967295 singleChannel=-3 showStat=1 inputLog=/tmp/in.bin\n");
    readParameters(in);
    EXPECT_EQ(PremixMask(), 4294967295u);
    EXPECT_EQ(PsingleChannel(), -3);
    EXPECT_TRUE(PshowStat());
    EXPECT_EQ(PinputLog(), "/tmp/in.bin");
    resetParametersForTesting();
}

}  // namespace
