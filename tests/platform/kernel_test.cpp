// Kernel objects with real threads. (Loading modules, exports and the
// module's own name are checked through the filter's sibling libraries.)
#include <gtest/gtest.h>

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

}  // namespace
