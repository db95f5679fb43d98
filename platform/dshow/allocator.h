// The memory allocator and its media samples. A sample whose last reference
// is released goes back to its allocator's free list; the allocator keeps
// itself alive while it is committed or samples are still out.
#pragma once

#include <vector>

#include "platform/dshow/crit_sec.h"
#include "platform/dshow/unknown.h"
#include "platform/strmif.h"

class CBaseAllocator;

class CMediaSample : public IMediaSample2 {
public:
    CMediaSample(const char* name, CBaseAllocator* allocator, HRESULT* phr, BYTE* buffer,
                 LONG length);
    virtual ~CMediaSample();
    CMediaSample(const CMediaSample&) = delete;
    CMediaSample& operator=(const CMediaSample&) = delete;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP GetPointer(BYTE** ppBuffer) override;
    STDMETHODIMP_(LONG) GetSize() override;
    STDMETHODIMP GetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    STDMETHODIMP SetTime(REFERENCE_TIME* start, REFERENCE_TIME* end) override;
    STDMETHODIMP IsSyncPoint() override;
    STDMETHODIMP SetSyncPoint(WINBOOL syncPoint) override;
    STDMETHODIMP IsPreroll() override;
    STDMETHODIMP SetPreroll(WINBOOL preroll) override;
    STDMETHODIMP_(LONG) GetActualDataLength() override;
    STDMETHODIMP SetActualDataLength(LONG length) override;
    STDMETHODIMP GetMediaType(AM_MEDIA_TYPE** type) override;
    STDMETHODIMP SetMediaType(AM_MEDIA_TYPE* type) override;
    STDMETHODIMP IsDiscontinuity() override;
    STDMETHODIMP SetDiscontinuity(WINBOOL discontinuity) override;
    STDMETHODIMP GetMediaTime(LONGLONG* start, LONGLONG* end) override;
    STDMETHODIMP SetMediaTime(LONGLONG* start, LONGLONG* end) override;
    STDMETHODIMP GetProperties(DWORD size, BYTE* properties) override;
    STDMETHODIMP SetProperties(DWORD size, const BYTE* properties) override;

    // Points the sample at another buffer (the allocator's memory).
    HRESULT SetPointer(BYTE* buffer, LONG length);

protected:
    friend class CBaseAllocator;
    friend class CMemAllocator;
    // Our private flag for media times; never reported through GetProperties.
    static constexpr DWORD kMediaTimeValid = 0x80000000u;

    void ResetProperties();

    DWORD m_dwFlags = 0;
    DWORD m_dwTypeSpecificFlags = 0;
    BYTE* m_pBuffer;
    LONG m_lActual = 0;
    LONG m_cbBuffer;
    CBaseAllocator* m_pAllocator;
    REFERENCE_TIME m_Start = 0;
    REFERENCE_TIME m_End = 0;
    LONGLONG m_MediaStart = 0;
    LONG m_MediaEnd = 0;  // offset from m_MediaStart
    AM_MEDIA_TYPE* m_pMediaType = nullptr;
    DWORD m_dwStreamId = AM_STREAM_MEDIA;
    volatile LONG m_cRef = 0;
};

class CBaseAllocator : public CUnknown, public IMemAllocatorCallbackTemp {
public:
    CBaseAllocator(const char* name, IUnknown* outer, HRESULT* phr);
    ~CBaseAllocator() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
    STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* props) override;
    STDMETHODIMP Commit() override;
    STDMETHODIMP Decommit() override;
    STDMETHODIMP GetBuffer(IMediaSample** buffer, REFERENCE_TIME* start, REFERENCE_TIME* end,
                           DWORD flags) override;
    STDMETHODIMP ReleaseBuffer(IMediaSample* buffer) override;
    STDMETHODIMP SetNotify(IMemAllocatorNotifyCallbackTemp* notify) override;
    STDMETHODIMP GetFreeCount(LONG* free) override;

protected:
    // Allocates m_lCount samples of m_lSize bytes (plus prefix) onto the free
    // list; frees them again.
    virtual HRESULT Alloc() = 0;
    virtual void Free() = 0;
    // Largest alignment accepted (powers of two up to it).
    virtual bool AlignmentAllowed(LONG align) const { return align == 1; }

    CCritSec m_cs;
    std::vector<CMediaSample*> m_free;
    LONG m_lAllocated = 0;
    LONG m_lCount = 0;
    LONG m_lSize = 0;
    LONG m_lAlignment = 0;
    LONG m_lPrefix = 0;
    bool m_bChanged = false;
    bool m_bCommitted = false;
    bool m_bDecommitInProgress = false;
    HANDLE m_available;  // manual-reset: a sample came back or the allocator decommitted
    IMemAllocatorNotifyCallbackTemp* m_pNotify = nullptr;
};

// The standard allocator: one block of memory carved into aligned buffers.
class CMemAllocator : public CBaseAllocator {
public:
    CMemAllocator(const char* name, IUnknown* outer, HRESULT* phr);
    ~CMemAllocator() override;

    static CUnknown* CreateInstance(IUnknown* outer, HRESULT* phr);

protected:
    HRESULT Alloc() override;
    void Free() override;
    bool AlignmentAllowed(LONG align) const override;

private:
    void ReallyFree();
    BYTE* m_pBuffer = nullptr;
};
