#include "platform/dshow/allocator.h"

#include <cstdint>
#include <cstdlib>

CBaseAllocator::CBaseAllocator(const char* name, IUnknown* outer, HRESULT* phr)
    : CUnknown(name, outer, phr), m_available(CreateEventA(nullptr, TRUE, FALSE, nullptr))
{
    if (!m_available && phr)
        *phr = E_OUTOFMEMORY;
}

CBaseAllocator::~CBaseAllocator()
{
    if (m_pNotify)
        m_pNotify->Release();
    if (m_available)
        CloseHandle(m_available);
}

STDMETHODIMP CBaseAllocator::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (IsEqualGUID(riid, IID_IMemAllocator) || IsEqualGUID(riid, IID_IMemAllocatorCallbackTemp))
        return GetInterface(static_cast<IMemAllocatorCallbackTemp*>(this), ppv);
    return CUnknown::NonDelegatingQueryInterface(riid, ppv);
}

STDMETHODIMP CBaseAllocator::SetProperties(ALLOCATOR_PROPERTIES* request,
                                           ALLOCATOR_PROPERTIES* actual)
{
    if (!request || !actual)
        return E_POINTER;
    CAutoLock lock(&m_cs);
    *actual = ALLOCATOR_PROPERTIES{};
    LONG align = request->cbAlign;
    if (align < 1 || (align & (align - 1)) != 0 || !AlignmentAllowed(align))
        return VFW_E_BADALIGN;
    if (m_bCommitted)
        return VFW_E_ALREADY_COMMITTED;
    if (m_lAllocated != static_cast<LONG>(m_free.size()))
        return VFW_E_BUFFERS_OUTSTANDING;
    if (request->cBuffers < 0 || request->cbBuffer < 0 || request->cbPrefix < 0)
        return E_INVALIDARG;
    // In 64 bits: a buffer and prefix near the LONG limit must not wrap.
    int64_t rounded = int64_t{request->cbBuffer} + request->cbPrefix;
    rounded = (rounded + align - 1) / align * align;
    if (rounded > 0x7FFFFFFF)
        return E_INVALIDARG;
    m_lCount = request->cBuffers;
    m_lSize = static_cast<LONG>(rounded - request->cbPrefix);
    m_lAlignment = align;
    m_lPrefix = request->cbPrefix;
    m_bChanged = true;
    actual->cBuffers = m_lCount;
    actual->cbBuffer = m_lSize;
    actual->cbAlign = m_lAlignment;
    actual->cbPrefix = m_lPrefix;
    return S_OK;
}

STDMETHODIMP CBaseAllocator::GetProperties(ALLOCATOR_PROPERTIES* props)
{
    if (!props)
        return E_POINTER;
    CAutoLock lock(&m_cs);
    props->cBuffers = m_lCount;
    props->cbBuffer = m_lSize;
    props->cbAlign = m_lAlignment;
    props->cbPrefix = m_lPrefix;
    return S_OK;
}

STDMETHODIMP CBaseAllocator::Commit()
{
    CAutoLock lock(&m_cs);
    if (m_bCommitted)
        return S_OK;
    if (m_bDecommitInProgress) {
        // Samples are still out and the memory is still ours: just keep it.
        m_bDecommitInProgress = false;
        m_bCommitted = true;
        return S_OK;
    }
    if (m_lCount <= 0 || m_lSize <= 0)
        return VFW_E_SIZENOTSET;
    HRESULT hr = Alloc();
    if (FAILED(hr))
        return hr;
    m_bChanged = false;
    m_bCommitted = true;
    // Keeps the allocator alive while committed or while samples are out.
    AddRef();
    return S_OK;
}

STDMETHODIMP CBaseAllocator::Decommit()
{
    bool releaseSelf = false;
    {
        CAutoLock lock(&m_cs);
        if (!m_bCommitted && !m_bDecommitInProgress)
            return S_OK;
        if (m_bCommitted) {
            m_bCommitted = false;
            if (m_lAllocated != static_cast<LONG>(m_free.size())) {
                m_bDecommitInProgress = true;
            } else {
                Free();
                releaseSelf = true;
            }
        }
        // Waiters in GetBuffer wake up and find the allocator decommitted.
        SetEvent(m_available);
    }
    if (releaseSelf)
        Release();
    return S_OK;
}

STDMETHODIMP CBaseAllocator::GetBuffer(IMediaSample** buffer,
                                       REFERENCE_TIME*,
                                       REFERENCE_TIME*,
                                       DWORD flags)
{
    if (!buffer)
        return E_POINTER;
    *buffer = nullptr;
    for (;;) {
        {
            CAutoLock lock(&m_cs);
            if (!m_bCommitted)
                return VFW_E_NOT_COMMITTED;
            if (!m_free.empty()) {
                CMediaSample* sample = m_free.back();
                m_free.pop_back();
                sample->AddRef();
                *buffer = sample;
                return S_OK;
            }
            if (flags & AM_GBF_NOWAIT)
                return VFW_E_TIMEOUT;
            // Reset under the lock: a sample returned after this sets it again.
            ResetEvent(m_available);
        }
        WaitForSingleObject(m_available, INFINITE);
    }
}

STDMETHODIMP CBaseAllocator::ReleaseBuffer(IMediaSample* buffer)
{
    if (!buffer)
        return E_POINTER;
    bool releaseSelf = false;
    IMemAllocatorNotifyCallbackTemp* notify = nullptr;
    {
        CAutoLock lock(&m_cs);
        m_free.push_back(static_cast<CMediaSample*>(buffer));
        SetEvent(m_available);
        if (m_bDecommitInProgress && m_lAllocated == static_cast<LONG>(m_free.size())) {
            Free();
            m_bDecommitInProgress = false;
            releaseSelf = true;
        }
        notify = m_pNotify;
        if (notify)
            notify->AddRef();
    }
    if (notify) {
        notify->NotifyRelease();
        notify->Release();
    }
    // Outside the lock: this may destroy the allocator.
    if (releaseSelf)
        Release();
    return S_OK;
}

STDMETHODIMP CBaseAllocator::SetNotify(IMemAllocatorNotifyCallbackTemp* notify)
{
    CAutoLock lock(&m_cs);
    if (notify)
        notify->AddRef();
    if (m_pNotify)
        m_pNotify->Release();
    m_pNotify = notify;
    return S_OK;
}

STDMETHODIMP CBaseAllocator::GetFreeCount(LONG* free)
{
    if (!free)
        return E_POINTER;
    CAutoLock lock(&m_cs);
    *free = static_cast<LONG>(m_free.size());
    return S_OK;
}

CMemAllocator::CMemAllocator(const char* name, IUnknown* outer, HRESULT* phr)
    : CBaseAllocator(name, outer, phr)
{
}

CMemAllocator::~CMemAllocator()
{
    Decommit();
    ReallyFree();
}

CUnknown* CMemAllocator::CreateInstance(IUnknown* outer, HRESULT* phr)
{
    return new CMemAllocator("CMemAllocator", outer, phr);
}

bool CMemAllocator::AlignmentAllowed(LONG align) const
{
    return align >= 1 && align <= 4096;
}

HRESULT CMemAllocator::Alloc()
{
    // Unchanged properties and memory still held: the buffers are reused.
    if (m_pBuffer && !m_bChanged)
        return S_OK;
    ReallyFree();
    size_t stride = static_cast<size_t>(m_lSize) + static_cast<size_t>(m_lPrefix);  // aligned
    // Count times stride can exceed what a 32-bit process can address.
    size_t limit = (SIZE_MAX - static_cast<size_t>(m_lAlignment)) / (stride ? stride : 1);
    if (static_cast<size_t>(m_lCount) > limit)
        return E_OUTOFMEMORY;
    size_t total = stride * static_cast<size_t>(m_lCount) + static_cast<size_t>(m_lAlignment);
    m_pBuffer = static_cast<BYTE*>(std::malloc(total));
    if (!m_pBuffer)
        return E_OUTOFMEMORY;
    auto base = reinterpret_cast<uintptr_t>(m_pBuffer);
    uintptr_t aligned = (base + static_cast<uintptr_t>(m_lAlignment) - 1) /
                        static_cast<uintptr_t>(m_lAlignment) * static_cast<uintptr_t>(m_lAlignment);
    BYTE* first = m_pBuffer + (aligned - base);
    for (LONG i = 0; i < m_lCount; ++i) {
        HRESULT hr = S_OK;
        auto* sample =
            new CMediaSample("CMediaSample", this, &hr,
                             first + static_cast<size_t>(i) * stride + m_lPrefix, m_lSize);
        m_free.push_back(sample);
        ++m_lAllocated;
    }
    return S_OK;
}

// The memory stays until the properties change or the allocator goes away,
// so a Pause after a Stop reuses it.
void CMemAllocator::Free() {}

void CMemAllocator::ReallyFree()
{
    for (CMediaSample* sample : m_free)
        delete sample;
    m_free.clear();
    m_lAllocated = 0;
    std::free(m_pBuffer);
    m_pBuffer = nullptr;
}
