// Kernel objects with real threads, and loading modules.
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "platform/windows_api.h"

namespace {

TEST(CriticalSection, IsRecursiveAndExcludesOtherThreads)
{
    CRITICAL_SECTION cs;
    InitializeCriticalSection(&cs);
    EnterCriticalSection(&cs);
    EXPECT_TRUE(TryEnterCriticalSection(&cs));  // same thread re-enters
    LeaveCriticalSection(&cs);
    bool otherGotIn = true;
    std::thread([&] { otherGotIn = TryEnterCriticalSection(&cs); }).join();
    EXPECT_FALSE(otherGotIn);
    LeaveCriticalSection(&cs);
    std::thread([&] {
        otherGotIn = TryEnterCriticalSection(&cs);
        LeaveCriticalSection(&cs);
    }).join();
    EXPECT_TRUE(otherGotIn);
    DeleteCriticalSection(&cs);
}

TEST(Event, AutoResetReleasesOneWaitAndManualResetStaysSet)
{
    HANDLE autoEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    EXPECT_EQ(WaitForSingleObject(autoEvent, 10), WAIT_TIMEOUT);
    SetEvent(autoEvent);
    EXPECT_EQ(WaitForSingleObject(autoEvent, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(autoEvent, 0), WAIT_TIMEOUT);
    CloseHandle(autoEvent);

    HANDLE manual = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForSingleObject(manual, 0), WAIT_OBJECT_0);
    ResetEvent(manual);
    std::thread setter([&] {
        Sleep(20);
        SetEvent(manual);
    });
    EXPECT_EQ(WaitForSingleObject(manual, INFINITE), WAIT_OBJECT_0);
    setter.join();
    CloseHandle(manual);
}

TEST(Modules, LoadFindExportNameAndFree)
{
    HMODULE module = LoadLibraryA(TEST_MODULE_PATH);
    ASSERT_NE(module, nullptr);
    auto answer = platform::procAddress<int (*)()>(module, "testModuleAnswer");
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);
    EXPECT_EQ(GetProcAddress(module, "AUDIODEC_Create"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_PROC_NOT_FOUND));

    char path[1024];
    DWORD length = GetModuleFileNameA(module, path, sizeof path);
    EXPECT_EQ(std::string(path, length), TEST_MODULE_PATH);
    EXPECT_EQ(platform::moduleContaining(reinterpret_cast<void*>(answer)), module);
    char tiny[4] = {'x', 'x', 'x', 'x'};  // cut and terminated, and the size reported
    EXPECT_EQ(GetModuleFileNameA(module, tiny, sizeof tiny), DWORD(sizeof tiny));
    EXPECT_EQ(tiny[3], 0);
    EXPECT_TRUE(FreeLibrary(module));

    SetLastError(0);
    EXPECT_EQ(LoadLibraryA("/nonexistent/TvAc3Lib.dll"), nullptr);
    EXPECT_EQ(GetLastError(), DWORD(ERROR_MOD_NOT_FOUND));
}

}  // namespace
