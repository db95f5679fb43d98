// A media sample (IMediaSample2) over one of its allocator's buffers: data,
// time stamps, flags and an attached type change. It is not deleted when its
// last reference goes: it returns, cleared, to the allocator that owns it.
#pragma once

#include "platform/kernel.h"
#include "platform/strmif.h"

class CBaseAllocator;

class CMediaSample : public IMediaSample2 {
public:
    CMediaSample(const char* name,
                 CBaseAllocator* allocator,
                 HRESULT* phr,
                 BYTE* buffer,
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
    LONGLONG m_MediaEnd = 0;  // offset from m_MediaStart
    AM_MEDIA_TYPE* m_pMediaType = nullptr;
    DWORD m_dwStreamId = AM_STREAM_MEDIA;
    volatile LONG m_cRef = 0;
};
