// The memory allocator and its samples as producers and consumers use them.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>

#include "platform/dshow/streams.h"

namespace {

// An allocator owned by the test through its IMemAllocator interface.
IMemAllocator* newAllocator()
{
    HRESULT hr = S_OK;
    CUnknown* object = CMemAllocator::CreateInstance(nullptr, &hr);
    IMemAllocator* allocator = nullptr;
    object->NonDelegatingQueryInterface(IID_IMemAllocator, reinterpret_cast<void**>(&allocator));
    return allocator;
}

HRESULT setProperties(IMemAllocator* allocator,
                      LONG count,
                      LONG size,
                      LONG align,
                      LONG prefix,
                      ALLOCATOR_PROPERTIES* actual = nullptr)
{
    ALLOCATOR_PROPERTIES request{count, size, align, prefix};
    ALLOCATOR_PROPERTIES ignored;
    return allocator->SetProperties(&request, actual ? actual : &ignored);
}

class AllocatorTest : public ::testing::Test {
protected:
    void SetUp() override { allocator = newAllocator(); }
    void TearDown() override
    {
        allocator->Decommit();
        allocator->Release();
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    IMemAllocator* allocator = nullptr;
};

TEST_F(AllocatorTest, PropertiesAreCheckedAndRounded)
{
    struct Case {
        LONG count, size, align, prefix;
        HRESULT expected;
        LONG actualSize;
    } cases[] = {
        {2, 100, 1, 0, S_OK, 100},         {2, 100, 16, 0, S_OK, 112},
        {2, 100, 16, 8, S_OK, 104},  // size + prefix rounded to the alignment
        {2, 100, 3, 0, VFW_E_BADALIGN, 0}, {2, 100, 0, 0, VFW_E_BADALIGN, 0},
    };
    for (const Case& c : cases) {
        ALLOCATOR_PROPERTIES actual{};
        EXPECT_EQ(setProperties(allocator, c.count, c.size, c.align, c.prefix, &actual), c.expected)
            << c.size << "/" << c.align << "/" << c.prefix;
        EXPECT_EQ(actual.cbBuffer, c.actualSize);
    }
    EXPECT_EQ(allocator->SetProperties(nullptr, nullptr), E_POINTER);
}

TEST_F(AllocatorTest, CommitNeedsSizesAndLocksTheProperties)
{
    EXPECT_EQ(allocator->Commit(), VFW_E_SIZENOTSET);
    ASSERT_EQ(setProperties(allocator, 2, 64, 1, 0), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    EXPECT_EQ(allocator->Commit(), S_OK);
    EXPECT_EQ(setProperties(allocator, 2, 64, 1, 0), VFW_E_ALREADY_COMMITTED);
    IMediaSample* sample = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
    ASSERT_EQ(allocator->Decommit(), S_OK);
    EXPECT_EQ(setProperties(allocator, 2, 64, 1, 0), VFW_E_BUFFERS_OUTSTANDING);
    sample->Release();
    EXPECT_EQ(setProperties(allocator, 2, 64, 1, 0), S_OK);
}

TEST_F(AllocatorTest, BuffersOnlyWhileCommittedAndNoWaitTimesOut)
{
    ASSERT_EQ(setProperties(allocator, 2, 64, 32, 0), S_OK);
    IMediaSample* sample = reinterpret_cast<IMediaSample*>(1);
    EXPECT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
    EXPECT_EQ(sample, nullptr);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* a = nullptr;
    IMediaSample* b = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&a, nullptr, nullptr, 0), S_OK);
    ASSERT_EQ(allocator->GetBuffer(&b, nullptr, nullptr, 0), S_OK);
    EXPECT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_TIMEOUT);
    BYTE* pa = nullptr;
    BYTE* pb = nullptr;
    a->GetPointer(&pa);
    b->GetPointer(&pb);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(pa) % 32, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(pb) % 32, 0u);
    EXPECT_NE(pa, pb);
    EXPECT_EQ(a->GetSize(), 64);
    a->Release();
    ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, AM_GBF_NOWAIT), S_OK);
    sample->Release();
    b->Release();
}

TEST_F(AllocatorTest, DecommitReleasesAWaitingThread)
{
    ASSERT_EQ(setProperties(allocator, 1, 16, 1, 0), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* held = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&held, nullptr, nullptr, 0), S_OK);
    std::atomic<HRESULT> result{S_OK};
    std::atomic<bool> started{false};
    std::thread waiter([&] {
        started = true;
        IMediaSample* sample = nullptr;
        result = allocator->GetBuffer(&sample, nullptr, nullptr, 0);
        if (sample)
            sample->Release();
    });
    while (!started)
        std::this_thread::yield();
    Sleep(20);
    ASSERT_EQ(allocator->Decommit(), S_OK);
    waiter.join();
    EXPECT_EQ(result.load(), VFW_E_NOT_COMMITTED);
    held->Release();
}

TEST_F(AllocatorTest, AReturnedBufferWakesAWaiter)
{
    ASSERT_EQ(setProperties(allocator, 1, 16, 1, 0), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* held = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&held, nullptr, nullptr, 0), S_OK);
    IMediaSample* got = nullptr;
    std::thread waiter([&] { allocator->GetBuffer(&got, nullptr, nullptr, 0); });
    Sleep(20);
    held->Release();
    waiter.join();
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(got, held);  // the same buffer came back round
    got->Release();
}

TEST_F(AllocatorTest, SamplesComeBackClean)
{
    ASSERT_EQ(setProperties(allocator, 1, 32, 1, 0), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* sample = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
    REFERENCE_TIME start = 10, stop = 20;
    sample->SetTime(&start, &stop);
    sample->SetDiscontinuity(TRUE);
    sample->SetSyncPoint(TRUE);
    CMediaType type(&MEDIATYPE_Audio);
    sample->SetMediaType(&type);
    sample->Release();

    ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
    EXPECT_EQ(sample->IsDiscontinuity(), S_FALSE);
    EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
    AM_MEDIA_TYPE* attached = reinterpret_cast<AM_MEDIA_TYPE*>(1);
    EXPECT_EQ(sample->GetMediaType(&attached), S_FALSE);
    EXPECT_EQ(attached, nullptr);
    sample->Release();
}

TEST_F(AllocatorTest, DecommitWithSamplesOutFreesWhenTheLastComesBack)
{
    ASSERT_EQ(setProperties(allocator, 2, 32, 1, 0), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* sample = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);
    ASSERT_EQ(allocator->Decommit(), S_OK);
    IMediaSample* other = nullptr;
    EXPECT_EQ(allocator->GetBuffer(&other, nullptr, nullptr, 0), VFW_E_NOT_COMMITTED);
    // Recommitting before the sample returns keeps the same memory.
    ASSERT_EQ(allocator->Commit(), S_OK);
    ASSERT_EQ(allocator->GetBuffer(&other, nullptr, nullptr, 0), S_OK);
    other->Release();
    ASSERT_EQ(allocator->Decommit(), S_OK);
    // The allocator outlives its last external reference while a sample is out.
    allocator->AddRef();
    allocator->Release();
    sample->Release();
}

TEST(MediaSample, TimesLengthsAndProperties)
{
    IMemAllocator* allocator = newAllocator();
    ALLOCATOR_PROPERTIES request{1, 64, 1, 0}, actual;
    ASSERT_EQ(allocator->SetProperties(&request, &actual), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* sample = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&sample, nullptr, nullptr, 0), S_OK);

    REFERENCE_TIME start = 100, stop = 0;
    sample->SetTime(&start, nullptr);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(stop, 101);
    stop = 300;
    sample->SetTime(&start, &stop);
    EXPECT_EQ(sample->GetTime(&start, &stop), S_OK);
    sample->SetTime(nullptr, nullptr);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);

    EXPECT_EQ(sample->SetActualDataLength(65), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->SetActualDataLength(-1), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->SetActualDataLength(64), S_OK);

    LONGLONG mediaStart = 5, mediaStop = 9;
    EXPECT_EQ(sample->GetMediaTime(&mediaStart, &mediaStop), VFW_E_MEDIA_TIME_NOT_SET);
    EXPECT_EQ(sample->SetMediaTime(&mediaStart, nullptr), E_POINTER);
    EXPECT_EQ(sample->SetMediaTime(&mediaStart, &mediaStop), S_OK);
    LONGLONG a = 0, b = 0;
    EXPECT_EQ(sample->GetMediaTime(&a, &b), S_OK);
    EXPECT_EQ(b, 9);

    IMediaSample2* sample2 = nullptr;
    ASSERT_EQ(sample->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample2)), S_OK);
    AM_SAMPLE2_PROPERTIES props{};
    ASSERT_EQ(sample2->GetProperties(sizeof props, reinterpret_cast<BYTE*>(&props)), S_OK);
    EXPECT_EQ(props.lActual, 64);
    EXPECT_EQ(props.dwSampleFlags & 0x80000000u, 0u);  // the media-time flag stays private
    props.dwSampleFlags = 0x40000;                     // unknown flag
    EXPECT_EQ(sample2->SetProperties(sizeof props, reinterpret_cast<BYTE*>(&props)), E_INVALIDARG);
    props.dwSampleFlags = AM_SAMPLE_SPLICEPOINT;
    props.lActual = 65;
    EXPECT_EQ(sample2->SetProperties(sizeof props, reinterpret_cast<BYTE*>(&props)), E_INVALIDARG);
    props.lActual = 10;
    EXPECT_EQ(sample2->SetProperties(sizeof props, reinterpret_cast<BYTE*>(&props)), S_OK);
    EXPECT_EQ(sample->GetActualDataLength(), 10);
    EXPECT_EQ(sample->IsSyncPoint(), S_OK);
    sample2->Release();

    sample->Release();
    allocator->Decommit();
    allocator->Release();
    EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
}

class SampleTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        allocator = newAllocator();
        ASSERT_EQ(setProperties(allocator, 2, 64, 16, 8), S_OK);
        ASSERT_EQ(allocator->Commit(), S_OK);
        IMediaSample* plain = nullptr;
        ASSERT_EQ(allocator->GetBuffer(&plain, nullptr, nullptr, 0), S_OK);
        plain->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample));
        plain->Release();
    }
    void TearDown() override
    {
        sample->Release();
        allocator->Decommit();
        allocator->Release();
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    AM_SAMPLE2_PROPERTIES properties()
    {
        AM_SAMPLE2_PROPERTIES props{};
        sample->GetProperties(sizeof props, reinterpret_cast<BYTE*>(&props));
        return props;
    }
    HRESULT setProperties2(const AM_SAMPLE2_PROPERTIES& props,
                           DWORD size = sizeof(AM_SAMPLE2_PROPERTIES))
    {
        return sample->SetProperties(size, reinterpret_cast<const BYTE*>(&props));
    }

    IMemAllocator* allocator = nullptr;
    IMediaSample2* sample = nullptr;
};

TEST_F(SampleTest, SetPropertiesValidatesBeforeChangingAnything)
{
    CMediaType pcm(&MEDIATYPE_Audio);
    AM_SAMPLE2_PROPERTIES good = properties();
    struct Case {
        const char* what;
        void (*spoil)(AM_SAMPLE2_PROPERTIES&);
        HRESULT expected;
    } cases[] = {
        {"unknown flag", [](AM_SAMPLE2_PROPERTIES& p) { p.dwSampleFlags |= 0x10000; },
         E_INVALIDARG},
        {"other buffer", [](AM_SAMPLE2_PROPERTIES& p) { p.pbBuffer += 1; }, E_INVALIDARG},
        {"other size", [](AM_SAMPLE2_PROPERTIES& p) { p.cbBuffer += 1; }, E_INVALIDARG},
        {"too long", [](AM_SAMPLE2_PROPERTIES& p) { p.lActual = p.cbBuffer + 1; }, E_INVALIDARG},
        {"type change without a type",
         [](AM_SAMPLE2_PROPERTIES& p) {
             p.dwSampleFlags |= AM_SAMPLE_TYPECHANGED;
             p.pMediaType = nullptr;
         },
         E_POINTER},
    };
    for (const Case& c : cases) {
        AM_SAMPLE2_PROPERTIES props = good;
        props.dwSampleFlags = AM_SAMPLE_SPLICEPOINT;
        c.spoil(props);
        EXPECT_EQ(setProperties2(props), c.expected) << c.what;
        EXPECT_EQ(sample->IsSyncPoint(), S_FALSE) << c.what;  // nothing was taken
    }
    EXPECT_EQ(setProperties2(good, sizeof good + 4), E_INVALIDARG);

    // A type change reaching only part of the structure has no type to take.
    AM_SAMPLE2_PROPERTIES typed = good;
    typed.dwSampleFlags = AM_SAMPLE_TYPECHANGED;
    typed.pMediaType = &pcm;
    EXPECT_EQ(setProperties2(typed, offsetof(AM_SAMPLE2_PROPERTIES, pMediaType)), E_POINTER);
    ASSERT_EQ(setProperties2(typed), S_OK);
    AM_MEDIA_TYPE* attached = nullptr;
    ASSERT_EQ(sample->GetMediaType(&attached), S_OK);
    EXPECT_TRUE(IsEqualGUID(attached->majortype, MEDIATYPE_Audio));
    DeleteMediaType(attached);
    // GetProperties lends the sample's own copy, not a new one.
    AM_SAMPLE2_PROPERTIES after = properties();
    ASSERT_NE(after.pMediaType, nullptr);
    EXPECT_NE(after.pMediaType, &pcm);
}

TEST_F(SampleTest, PartialPropertiesOnlyTouchWhatTheyCover)
{
    AM_SAMPLE2_PROPERTIES props = properties();
    EXPECT_EQ(props.cbData, sizeof props);
    EXPECT_EQ(props.cbBuffer, 72);  // 64 + prefix 8 rounded to 16, less the prefix
    props.dwSampleFlags = AM_SAMPLE_DATADISCONTINUITY;
    props.lActual = 5;
    // Only up to the flags: the length stays as it was.
    ASSERT_EQ(setProperties2(props, offsetof(AM_SAMPLE2_PROPERTIES, lActual)), S_OK);
    EXPECT_EQ(sample->IsDiscontinuity(), S_OK);
    EXPECT_NE(sample->GetActualDataLength(), 5);
    AM_SAMPLE2_PROPERTIES head{};
    ASSERT_EQ(sample->GetProperties(sizeof(DWORD) * 2, reinterpret_cast<BYTE*>(&head)), S_OK);
    EXPECT_EQ(head.cbData, sizeof(DWORD) * 2);
    EXPECT_EQ(head.dwSampleFlags, 0u);  // not copied: beyond what was asked
}

TEST_F(SampleTest, MediaTimesKeepLongSpans)
{
    LONGLONG start = 1, stop = 1 + (LONGLONG{1} << 40);
    ASSERT_EQ(sample->SetMediaTime(&start, &stop), S_OK);
    LONGLONG a = 0, b = 0;
    ASSERT_EQ(sample->GetMediaTime(&a, &b), S_OK);
    EXPECT_EQ(b, stop);
    ASSERT_EQ(sample->SetMediaTime(nullptr, nullptr), S_OK);
    EXPECT_EQ(sample->GetMediaTime(&a, &b), VFW_E_MEDIA_TIME_NOT_SET);
}

TEST_F(SampleTest, BuffersLeaveRoomForThePrefix)
{
    IMediaSample* other = nullptr;
    ASSERT_EQ(allocator->GetBuffer(&other, nullptr, nullptr, 0), S_OK);
    BYTE* a = nullptr;
    BYTE* b = nullptr;
    sample->GetPointer(&a);
    other->GetPointer(&b);
    // The prefix in front of each buffer belongs to it alone; the prefix
    // start is aligned.
    EXPECT_GE(a > b ? a - b : b - a, 64 + 8);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(a - 8) % 16, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b - 8) % 16, 0u);
    other->Release();
}

TEST_F(AllocatorTest, SizesThatWouldOverflowAreRefused)
{
    EXPECT_EQ(setProperties(allocator, 1, 0x7FFFFFF0, 64, 0), E_INVALIDARG);
    EXPECT_EQ(setProperties(allocator, 1, 0x7FFFFFFF, 1, 1), E_INVALIDARG);
    EXPECT_EQ(setProperties(allocator, -1, 64, 1, 0), E_INVALIDARG);
}

}  // namespace
