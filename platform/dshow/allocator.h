// The memory allocator: the buffers a connection agreed on, handed out as
// media samples. A sample whose last reference is released comes back to the
// free list; the allocator keeps itself alive while it is committed or
// samples are still out.
#pragma once

#include <vector>

#include "platform/dshow/crit_sec.h"
#include "platform/dshow/media_sample.h"
#include "platform/dshow/unknown.h"
#include "platform/strmif.h"

class CBaseAllocator : public CUnknown, public IMemAllocatorCallbackTemp {
public:
    CBaseAllocator(const char* name, IUnknown* outer, HRESULT* phr);
    ~CBaseAllocator() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    STDMETHODIMP SetProperties(ALLOCATOR_PROPERTIES* request,
                               ALLOCATOR_PROPERTIES* actual) override;
    STDMETHODIMP GetProperties(ALLOCATOR_PROPERTIES* props) override;
    STDMETHODIMP Commit() override;
    STDMETHODIMP Decommit() override;
    STDMETHODIMP GetBuffer(IMediaSample** buffer,
                           REFERENCE_TIME* start,
                           REFERENCE_TIME* end,
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
