#include "host/push_source.h"

#include <algorithm>
#include <cstring>

// {6A1B7C52-0E39-4F4B-9D2A-5C0E8F31A7B4}: only for GetClassID; never registered.
TV_DEFINE_GUID(CLSID_TavioPushSource,
               0x6A1B7C52,
               0x0E39,
               0x4F4B,
               0x9D,
               0x2A,
               0x5C,
               0x0E,
               0x8F,
               0x31,
               0xA7,
               0xB4);

PushSourcePin::PushSourcePin(PushSource* filter, CCritSec* lock, HRESULT* phr)
    : CBaseOutputPin("PushSourcePin", filter, lock, phr, WIDE("Out")),
      m_pSource(filter),
      m_seeking(GetOwner())
{
}

STDMETHODIMP PushSourcePin::NonDelegatingQueryInterface(REFIID riid, void** ppv)
{
    if (ppv && IsEqualGUID(riid, IID_IMediaSeeking))
        return GetInterface(static_cast<IMediaSeeking*>(&m_seeking), ppv);
    return CBaseOutputPin::NonDelegatingQueryInterface(riid, ppv);
}

HRESULT PushSourcePin::CheckMediaType(const CMediaType* mt)
{
    return *mt == m_pSource->OfferedType() ? S_OK : S_FALSE;
}

HRESULT PushSourcePin::GetMediaType(int position, CMediaType* mt)
{
    if (position < 0)
        return E_INVALIDARG;
    if (position > 0)
        return VFW_S_NO_MORE_ITEMS;
    *mt = m_pSource->OfferedType();
    return S_OK;
}

HRESULT PushSourcePin::DecideBufferSize(IMemAllocator* allocator, ALLOCATOR_PROPERTIES* request)
{
    request->cBuffers = std::max(request->cBuffers, m_pSource->BufferCount());
    request->cbBuffer = std::max(request->cbBuffer, m_pSource->BufferSize());
    ALLOCATOR_PROPERTIES actual{};
    HRESULT hr = allocator->SetProperties(request, &actual);
    if (FAILED(hr))
        return hr;
    if (actual.cbBuffer < m_pSource->BufferSize() || actual.cBuffers < 1)
        return E_FAIL;
    return S_OK;
}

PushSource::PushSource(const CMediaType& type, LONG bufferSize, LONG bufferCount, HRESULT* phr)
    : CBaseFilter("PushSource", nullptr, &m_lock, CLSID_TavioPushSource, phr),
      m_type(type),
      m_bufferSize(bufferSize),
      m_bufferCount(bufferCount),
      m_pin(this, &m_lock, phr)
{
}

PushSource::~PushSource() = default;

PushSource* PushSource::Create(const CMediaType& type, LONG bufferSize, LONG bufferCount)
{
    HRESULT hr = S_OK;
    auto* source = new PushSource(type, bufferSize, bufferCount, &hr);
    source->NonDelegatingAddRef();
    return source;
}

CBasePin* PushSource::GetPin(int n)
{
    return n == 0 ? &m_pin : nullptr;
}

HRESULT PushSource::Deliver(const Packet& packet)
{
    if (packet.size > static_cast<size_t>(m_bufferSize))
        return E_INVALIDARG;
    IMediaSample* sample = nullptr;
    HRESULT hr = m_pin.GetDeliveryBuffer(&sample, nullptr, nullptr, 0);
    if (FAILED(hr))
        return hr;
    BYTE* buffer = nullptr;
    sample->GetPointer(&buffer);
    if (packet.size)
        std::memcpy(buffer, packet.data, packet.size);
    sample->SetActualDataLength(static_cast<LONG>(packet.size));
    REFERENCE_TIME start = packet.start ? *packet.start : 0;
    REFERENCE_TIME stop = packet.stop ? *packet.stop : 0;
    sample->SetTime(packet.start ? &start : nullptr, packet.stop ? &stop : nullptr);
    sample->SetDiscontinuity(packet.discontinuity);
    sample->SetSyncPoint(packet.syncPoint);
    if (packet.newType)
        sample->SetMediaType(const_cast<AM_MEDIA_TYPE*>(packet.newType));
    hr = m_pin.Deliver(sample);
    sample->Release();
    return hr;
}

HRESULT PushSource::DeliverSplit(const Packet& packet)
{
    size_t offset = 0;
    Packet piece = packet;
    do {
        piece.data = packet.data + offset;
        piece.size = std::min(packet.size - offset, static_cast<size_t>(m_bufferSize));
        HRESULT hr = Deliver(piece);
        if (hr != S_OK)
            return hr;
        offset += piece.size;
        piece.start = nullptr;
        piece.stop = nullptr;
        piece.discontinuity = false;
        piece.newType = nullptr;
    } while (offset < packet.size);
    return S_OK;
}
