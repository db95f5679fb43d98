// The module's own folder and the loading of sibling libraries from it, with
// the real TavioDec2.ax loaded so that its name can be found.
#include <gtest/gtest.h>

#include "filter/TvDllMain.h"
#include "filter/TvFilter.h"

namespace {

class ModuleLoading : public ::testing::Test {
protected:
    void SetUp() override
    {
        module = LoadLibraryA(TAVIO_MODULE_DIR "/TavioDec2.ax");
        ASSERT_NE(module, nullptr);
    }
    void TearDown() override { FreeLibrary(module); }
    HMODULE module = nullptr;
};

TEST_F(ModuleLoading, TheFolderIsTheLoadedModulesOwn)
{
    EXPECT_EQ(getModuleFolder(), std::string(TAVIO_MODULE_DIR) + "/");
    auto entry = reinterpret_cast<const void*>(GetProcAddress(module, "DllGetClassObject"));
    EXPECT_EQ(platform::moduleContaining(entry), module);
    char tiny[4] = {'x', 'x', 'x', 'x'};  // cut and terminated, and the size reported
    EXPECT_EQ(GetModuleFileNameA(module, tiny, sizeof tiny), DWORD(sizeof tiny));
    EXPECT_EQ(tiny[3], 0);
}

TEST_F(ModuleLoading, SiblingLibrariesStartOrAreRefused)
{
    struct Case {
        const char* name;
        bool opens;
    } cases[] = {
        {"TvRemix.dll", true},           // a real sibling: AUDIODEC_Create answers 0
        {"TavioDec2.ax", false},         // loads, but exports no AUDIODEC_Create
        {"TvNoSuchLibrary.dll", false},  // not there
    };
    for (const Case& c : cases) {
        HMODULE library = nullptr;
        void* engine = nullptr;
        EXPECT_EQ(OpenDll(c.name, &library, &engine), c.opens) << c.name;
        EXPECT_EQ(library != nullptr, c.opens) << c.name;
        EXPECT_EQ(engine != nullptr, c.opens) << c.name;
        if (library) {
            // The remix library's objects go with it when it unloads.
            FreeLibrary(library);
        }
    }
}

TEST_F(ModuleLoading, MakeTavio2HandsOverAFilterWithoutAReference)
{
    LONG before = TvFilter::activeCount();
    TvFilter* filter = nullptr;
    makeTavio2(&filter);
    ASSERT_NE(filter, nullptr);
    EXPECT_EQ(TvFilter::activeCount(), before + 1);
    // Nobody holds a reference yet: the host's first one is the only one,
    // and releasing it destroys the filter.
    EXPECT_EQ(filter->AddRef(), 1u);
    EXPECT_EQ(filter->Release(), 0u);
    EXPECT_EQ(TvFilter::activeCount(), before);
}

}  // namespace
