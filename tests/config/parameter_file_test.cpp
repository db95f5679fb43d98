// The parameter file grammar and its failure handling, as a user of the file
// meets them.
#include <algorithm>

#include "config_test_support.h"
#include "conversion/output_parameters.h"
#include "conversion/remix_parameters.h"
#include "core/receive_parameters.h"
#include "filter/filter_parameters.h"

namespace {

class ParameterFileTest : public ::testing::Test {
protected:
    void SetUp() override { resetParametersForTesting(); }
    void TearDown() override { resetParametersForTesting(); }
    void load(const std::string& text)
    {
        root.write("Tavio.conf", text);
        loadParameterFile(root.file("Tavio.conf"));
    }
    TempRoot root;
};

struct GrammarCase {
    const char* file;
    int outputBufferCount;
    int outputBufferSize;
    bool spdifSet;
    const char* logFile;
};

class GrammarTest : public ParameterFileTest, public ::testing::WithParamInterface<GrammarCase> {};

TEST_P(GrammarTest, ValuesFollowTheGrammar)
{
    const GrammarCase& c = GetParam();
    load(c.file);
    EXPECT_EQ(PoutputBufferCount(), c.outputBufferCount) << c.file;
    EXPECT_EQ(PoutputBufferSize(), c.outputBufferSize) << c.file;
    EXPECT_EQ(Pspdif.isSet == 1, c.spdifSet) << c.file;
    EXPECT_EQ(PlogFile(), c.logFile) << c.file;
}

INSTANTIATE_TEST_SUITE_P(
    Grammar, GrammarTest,
    ::testing::Values(
        GrammarCase{"", 4, 65536, false, ""},
        GrammarCase{"outputBufferCount=8\n", 8, 65536, false, ""},
        GrammarCase{"outputBufferCount= 8\n", 8, 65536, false, ""},
        GrammarCase{"  \n\toutputBufferCount=8", 8, 65536, false, ""},
        // A comment line, and a comment after a value.
        GrammarCase{"# outputBufferCount=8\n", 4, 65536, false, ""},
        GrammarCase{"outputBufferCount=8 # eight\noutputBufferSize=1024\n", 8, 1024, false, ""},
        // Several pairs on a line; a later value overwrites an earlier one.
        GrammarCase{"outputBufferCount=8 outputBufferSize=1024 spdif=0\n", 8, 1024, true, ""},
        GrammarCase{"outputBufferCount=8\noutputBufferCount=2\n", 2, 65536, false, ""},
        // A blank before "=" makes an unknown name: reading stops there.
        GrammarCase{"spdif = 1\noutputBufferCount=8\n", 4, 65536, false, ""},
        // A bad value stops reading; later lines are not applied.
        GrammarCase{"x16=true\noutputBufferCount=8\n", 4, 65536, false, ""},
        GrammarCase{"outputBufferCount=eight\noutputBufferSize=1024\n", 0, 65536, false, ""},
        // A string value is one word: the rest becomes an unknown name.
        GrammarCase{"logFile=C:\\my log.txt\noutputBufferCount=8\n", 4, 65536, false, "C:\\my"},
        GrammarCase{"a=1\noutputBufferCount=8\n", 4, 65536, false, ""},
        // A name may run over a line end when no "=" follows on its line.
        GrammarCase{"outputBuffer\nCount=8\n", 4, 65536, false, ""},
        GrammarCase{"spdif=1", 4, 65536, true, ""}));

TEST_F(ParameterFileTest, NoFileKeepsEveryDefault)
{
    loadParameterFile(root.file("missing.conf"));
    const ParameterRegistry* registry = parameterRegistry();
    ASSERT_NE(registry, nullptr);
    for (const auto& entry : *registry)
        EXPECT_EQ(entry.second->isSet, 0) << entry.first;
    EXPECT_EQ(PupmixType(), 101);
    EXPECT_EQ(PdownmixType(), 101);
    EXPECT_TRUE(PenableTimeStamps());
    EXPECT_TRUE(PallTimeStamps());
    EXPECT_FALSE(Pspdif());
    EXPECT_EQ(PoutputBufferSize(), 65536);
    EXPECT_EQ(PoutputBufferCount(), 4);
}

TEST_F(ParameterFileTest, EverySystemParameterIsRegisteredOnce)
{
    const std::vector<std::string> expected = {
        "allTimeStamps", "downmixType",       "enableTimeStamps", "inputLog",   "logFile",
        "outputBufferCount", "outputBufferSize", "outputLog",     "profile",    "remixMask",
        "showStat",      "singleChannel",     "spdif",            "upmixType",  "verboseAssert",
        "waveHeader",    "x16",
    };
    std::vector<std::string> names;
    for (const auto& entry : *parameterRegistry())
        names.push_back(entry.first);
    EXPECT_EQ(names, expected);
}

TEST_F(ParameterFileTest, TypedValuesAndSetFlags)
{
    load("remixMask=4294967295 singleChannel=-3 showStat=1 inputLog=/tmp/in.bin verboseAssert=1\n");
    EXPECT_EQ(PremixMask(), 4294967295u);
    EXPECT_EQ(PsingleChannel(), -3);
    EXPECT_TRUE(PshowStat());
    EXPECT_EQ(PinputLog(), "/tmp/in.bin");
    EXPECT_EQ(PverboseAssert.isSet, 1);
    EXPECT_EQ(PupmixType.isSet, 0);
}

TEST_F(ParameterFileTest, TheFileAndEachNameAreLogged)
{
    CapturedLog log(root);
    load("outputBufferCount=8 spdif=1\n");
    auto written = log.lines();
    ASSERT_EQ(written.size(), 3u);
    EXPECT_EQ(written[0], "parameter filename: " + root.file("Tavio.conf"));
    EXPECT_EQ(written[1], "name: outputBufferCount");
    EXPECT_EQ(written[2], "name: spdif");
}

TEST_F(ParameterFileTest, ReadingTwiceIsAnAssertion)
{
    CapturedLog log(root);
    load("");
    load("");
    auto written = log.lines();
    ASSERT_GE(written.size(), 2u);
    EXPECT_NE(std::find_if(written.begin(), written.end(),
                           [](const std::string& line) {
                               return line.find("error: TvAssert: config ") == 0 &&
                                      line.find("'readParameterFile == 0'") != std::string::npos;
                           }),
              written.end());
}

TEST_F(ParameterFileTest, LateOrDuplicateParametersAreReportedAndReplace)
{
    // Run apart: the extra parameter's destructor takes the process registry
    // with it, as every parameter does at unload.
    EXPECT_EXIT(
        {
            CapturedLog log(root);
            load("");
            bool ok = true;
            {
                Parameter<int> late("outputBufferCount", 77);
                ok = ok && parameterRegistry()->at("outputBufferCount") == &late;
            }
            ok = ok && parameterRegistry() == nullptr;
            auto written = log.lines();
            ok = ok && !written.empty() &&
                 written.back().find("'! readParameterFile'") != std::string::npos;
            std::exit(ok ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

}  // namespace
