// The memory allocator and its samples as producers and consumers use them,
// with threads waiting for buffers.
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <utility>

#include "platform/dshow/streams.h"

namespace {

class AllocatorTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        CMemAllocator::CreateInstance(nullptr, nullptr)
            ->NonDelegatingQueryInterface(IID_IMemAllocator, reinterpret_cast<void**>(&allocator));
    }
    void TearDown() override
    {
        if (allocator) {
            allocator->Decommit();
            allocator->Release();
        }
        EXPECT_EQ(CBaseObject::ObjectsActive(), 0);
    }
    HRESULT setProperties(LONG count, LONG size, LONG align = 1, LONG prefix = 0)
    {
        ALLOCATOR_PROPERTIES request{count, size, align, prefix};
        return allocator->SetProperties(&request, &actual);
    }
    // A buffer of the committed allocator; null with the answer in `result`.
    IMediaSample* buffer(DWORD flags = 0)
    {
        IMediaSample* sample = reinterpret_cast<IMediaSample*>(1);
        result = allocator->GetBuffer(&sample, nullptr, nullptr, flags);
        return sample;
    }
    IMemAllocator* allocator = nullptr;
    ALLOCATOR_PROPERTIES actual{};
    HRESULT result = S_OK;
};

TEST_F(AllocatorTest, PropertiesAreCheckedAndRounded)
{
    struct Case {
        LONG count, size, align, prefix;
        HRESULT expected;
        LONG actualSize;
    } cases[] = {
        {2, 100, 1, 0, S_OK, 100},
        {2, 100, 16, 0, S_OK, 112},
        {2, 100, 16, 8, S_OK, 104},  // size + prefix rounded to the alignment
        {2, 100, 3, 0, VFW_E_BADALIGN, 0},
        {2, 100, 0, 0, VFW_E_BADALIGN, 0},
        {-1, 64, 1, 0, E_INVALIDARG, 0},
        // Sizes that would pass the LONG limit once rounded.
        {1, 0x7FFFFFF0, 64, 0, E_INVALIDARG, 0},
        {1, 0x7FFFFFFF, 1, 1, E_INVALIDARG, 0},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(setProperties(c.count, c.size, c.align, c.prefix), c.expected) << c.size;
        EXPECT_EQ(actual.cbBuffer, c.actualSize) << c.size << "/" << c.align << "/" << c.prefix;
    }
}

TEST_F(AllocatorTest, CommitDecommitAndTheBuffersOut)
{
    EXPECT_EQ(allocator->Commit(), VFW_E_SIZENOTSET);
    ASSERT_EQ(setProperties(0, 64), S_OK);
    EXPECT_EQ(allocator->Commit(), VFW_E_SIZENOTSET);
    ASSERT_EQ(setProperties(2, 64, 16, 8), S_OK);
    EXPECT_EQ(buffer(), nullptr);
    EXPECT_EQ(result, VFW_E_NOT_COMMITTED);
    ASSERT_EQ(allocator->Commit(), S_OK);
    EXPECT_EQ(allocator->Commit(), S_OK);
    EXPECT_EQ(setProperties(2, 64), VFW_E_ALREADY_COMMITTED);

    // Two buffers apart, each with its own prefix in front, whose start is aligned.
    IMediaSample* a = buffer();
    IMediaSample* b = buffer();
    EXPECT_EQ(buffer(AM_GBF_NOWAIT), nullptr);
    EXPECT_EQ(result, VFW_E_TIMEOUT);
    BYTE* pa = nullptr;
    BYTE* pb = nullptr;
    a->GetPointer(&pa);
    b->GetPointer(&pb);
    EXPECT_EQ(a->GetSize(), 72);  // 64 + prefix 8 rounded to 16, less the prefix
    EXPECT_GE(pa > pb ? pa - pb : pb - pa, 72 + 8);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(pa - 8) % 16, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(pb - 8) % 16, 0u);
    b->Release();

    // Decommitted with a buffer out: no more buffers, no new sizes, but a
    // recommit keeps the memory, and the memory outlives the allocator's last
    // reference until the buffer comes back.
    ASSERT_EQ(allocator->Decommit(), S_OK);
    EXPECT_EQ(buffer(), nullptr);
    EXPECT_EQ(result, VFW_E_NOT_COMMITTED);
    EXPECT_EQ(setProperties(2, 64), VFW_E_BUFFERS_OUTSTANDING);
    ASSERT_EQ(allocator->Commit(), S_OK);
    buffer()->Release();
    ASSERT_EQ(allocator->Decommit(), S_OK);
    std::exchange(allocator, nullptr)->Release();
    a->Release();
}

// Decommit releasing a waiting thread is checked through the filter's Stop.
TEST_F(AllocatorTest, AWaitingThreadGetsTheBufferThatComesBack)
{
    ASSERT_EQ(setProperties(1, 16), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* held = buffer();
    std::atomic<bool> started{false};
    IMediaSample* got = nullptr;
    HRESULT waited = E_FAIL;
    std::thread waiter([&] {
        started = true;
        waited = allocator->GetBuffer(&got, nullptr, nullptr, 0);
    });
    while (!started)
        std::this_thread::yield();
    Sleep(20);
    held->Release();
    waiter.join();
    EXPECT_EQ(waited, S_OK);
    EXPECT_EQ(got, held);
    got->Release();
}

// A buffer comes back without the last user's times, flags or type.
TEST_F(AllocatorTest, SamplesComeBackClean)
{
    ASSERT_EQ(setProperties(1, 64), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* sample = buffer();
    REFERENCE_TIME start = 100, stop = 0;
    sample->SetTime(&start, nullptr);
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);
    EXPECT_EQ(stop, 101);
    sample->SetDiscontinuity(TRUE);
    sample->SetSyncPoint(TRUE);
    CMediaType type(&MEDIATYPE_Audio);
    sample->SetMediaType(&type);
    EXPECT_EQ(sample->SetActualDataLength(65), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->SetActualDataLength(-1), VFW_E_BUFFER_OVERFLOW);
    EXPECT_EQ(sample->SetActualDataLength(64), S_OK);
    sample->Release();

    sample = buffer();
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_E_SAMPLE_TIME_NOT_SET);
    EXPECT_EQ(sample->IsDiscontinuity(), S_FALSE);
    EXPECT_EQ(sample->IsSyncPoint(), S_FALSE);
    AM_MEDIA_TYPE* attached = reinterpret_cast<AM_MEDIA_TYPE*>(1);
    EXPECT_EQ(sample->GetMediaType(&attached), S_FALSE);
    EXPECT_EQ(attached, nullptr);
    sample->Release();
}

// IMediaSample2 as a renderer or a splitter uses it: a refused structure
// changes nothing, an accepted one is read back whole, media times keep long
// spans and their flag never shows.
TEST_F(AllocatorTest, SamplePropertiesAreValidatedBeforeAnythingChanges)
{
    ASSERT_EQ(setProperties(1, 64), S_OK);
    ASSERT_EQ(allocator->Commit(), S_OK);
    IMediaSample* plain = buffer();
    IMediaSample2* sample = nullptr;
    ASSERT_EQ(plain->QueryInterface(IID_IMediaSample2, reinterpret_cast<void**>(&sample)), S_OK);
    plain->Release();
    AM_SAMPLE2_PROPERTIES props{};
    ASSERT_EQ(sample->GetProperties(sizeof props, reinterpret_cast<BYTE*>(&props)), S_OK);
    BYTE other[4];
    CMediaType pcm(&MEDIATYPE_Audio);
    struct Case {
        const char* what;
        DWORD flags, size;
        LONG length;
        AM_MEDIA_TYPE* type;
        BYTE* buffer;
        HRESULT expected;
    } cases[] = {
        {"unknown flag", 0x10000, sizeof props, 10, nullptr, nullptr, E_INVALIDARG},
        {"too long", 0, sizeof props, 65, nullptr, nullptr, E_INVALIDARG},
        {"another buffer", 0, sizeof props, 10, nullptr, other, E_INVALIDARG},
        {"larger than the structure", 0, sizeof props + 1, 10, nullptr, nullptr, E_INVALIDARG},
        {"times cut off", AM_SAMPLE_TIMEVALID, offsetof(AM_SAMPLE2_PROPERTIES, tStop), 10, nullptr,
         nullptr, E_INVALIDARG},
        {"type change without a type", AM_SAMPLE_TYPECHANGED, sizeof props, 10, nullptr, nullptr,
         E_POINTER},
        {"type change cut off before the type", AM_SAMPLE_TYPECHANGED,
         offsetof(AM_SAMPLE2_PROPERTIES, pMediaType), 10, &pcm, nullptr, E_POINTER},
        {"all well", AM_SAMPLE_TYPECHANGED | AM_SAMPLE_TIMEVALID, sizeof props, 10, &pcm, nullptr,
         S_OK},
    };
    for (const Case& c : cases) {
        props.dwSampleFlags = c.flags | AM_SAMPLE_SPLICEPOINT;
        props.lActual = c.length;
        props.pMediaType = c.type;
        props.pbBuffer = c.buffer;
        props.tStart = 5;
        props.tStop = 9;
        props.cbData = c.size;
        EXPECT_EQ(sample->SetProperties(c.size, reinterpret_cast<const BYTE*>(&props)), c.expected)
            << c.what;
        EXPECT_EQ(sample->IsSyncPoint(), c.expected == S_OK ? S_OK : S_FALSE) << c.what;
    }
    AM_SAMPLE2_PROPERTIES back{};
    ASSERT_EQ(sample->GetProperties(sizeof back, reinterpret_cast<BYTE*>(&back)), S_OK);
    EXPECT_EQ(back.lActual, 10);
    EXPECT_EQ(back.tStop, 9);
    ASSERT_NE(back.pMediaType, nullptr);
    EXPECT_NE(back.pMediaType, &pcm);  // a copy of its own
    REFERENCE_TIME start = 0, stop = 0;
    EXPECT_EQ(sample->GetTime(&start, &stop), VFW_S_NO_STOP_TIME);  // no AM_SAMPLE_STOPVALID
    EXPECT_EQ(start, 5);

    LONGLONG mediaStart = 1, mediaStop = 1 + (LONGLONG{1} << 40), a = 0, b = 0;
    EXPECT_EQ(sample->GetMediaTime(&a, &b), VFW_E_MEDIA_TIME_NOT_SET);
    EXPECT_EQ(sample->SetMediaTime(&mediaStart, nullptr), E_POINTER);
    ASSERT_EQ(sample->SetMediaTime(&mediaStart, &mediaStop), S_OK);
    ASSERT_EQ(sample->GetMediaTime(&a, &b), S_OK);
    EXPECT_EQ(b, mediaStop);
    // A short read fills only what it asked for; the media time flag stays inside.
    AM_SAMPLE2_PROPERTIES head{};
    ASSERT_EQ(sample->GetProperties(sizeof(DWORD) * 3, reinterpret_cast<BYTE*>(&head)), S_OK);
    EXPECT_EQ(head.cbData, sizeof(DWORD) * 3);
    EXPECT_EQ(head.dwSampleFlags,
              DWORD(AM_SAMPLE_SPLICEPOINT | AM_SAMPLE_TIMEVALID | AM_SAMPLE_TYPECHANGED));
    EXPECT_EQ(head.lActual, 0);
    sample->SetPreroll(TRUE);
    EXPECT_EQ(sample->IsPreroll(), S_OK);
    sample->Release();
}

}  // namespace
