#include "platform/dshow/media_type.h"

#include <cstring>

void FreeMediaType(AM_MEDIA_TYPE& type)
{
    if (type.cbFormat != 0 || type.pbFormat)
        CoTaskMemFree(type.pbFormat);
    type.cbFormat = 0;
    type.pbFormat = nullptr;
    if (type.pUnk) {
        type.pUnk->Release();
        type.pUnk = nullptr;
    }
}

void DeleteMediaType(AM_MEDIA_TYPE* type)
{
    if (!type)
        return;
    FreeMediaType(*type);
    CoTaskMemFree(type);
}

HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source)
{
    if (!target || !source)
        return E_POINTER;
    *target = *source;
    if (source->cbFormat != 0 && source->pbFormat) {
        target->pbFormat = static_cast<BYTE*>(CoTaskMemAlloc(source->cbFormat));
        if (!target->pbFormat) {
            target->cbFormat = 0;
            target->pUnk = nullptr;
            return E_OUTOFMEMORY;
        }
        std::memcpy(target->pbFormat, source->pbFormat, source->cbFormat);
    } else {
        target->cbFormat = 0;
        target->pbFormat = nullptr;
    }
    if (target->pUnk)
        target->pUnk->AddRef();
    return S_OK;
}

AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source)
{
    if (!source)
        return nullptr;
    auto* type = static_cast<AM_MEDIA_TYPE*>(CoTaskMemAlloc(sizeof(AM_MEDIA_TYPE)));
    if (!type)
        return nullptr;
    if (FAILED(CopyMediaType(type, source))) {
        CoTaskMemFree(type);
        return nullptr;
    }
    return type;
}

CMediaType::CMediaType()
{
    InitMediaType();
}

CMediaType::CMediaType(const GUID* majorType)
{
    InitMediaType();
    majortype = *majorType;
}

CMediaType::CMediaType(const AM_MEDIA_TYPE& type, HRESULT* phr)
{
    InitMediaType();
    HRESULT hr = Set(type);
    if (phr)
        *phr = hr;
}

CMediaType::CMediaType(const CMediaType& other) : AM_MEDIA_TYPE()
{
    InitMediaType();
    Set(other);
}

CMediaType& CMediaType::operator=(const CMediaType& other)
{
    Set(other);
    return *this;
}

CMediaType& CMediaType::operator=(const AM_MEDIA_TYPE& other)
{
    Set(other);
    return *this;
}

CMediaType::~CMediaType()
{
    FreeMediaType(*this);
}

HRESULT CMediaType::Set(const CMediaType& other)
{
    return Set(static_cast<const AM_MEDIA_TYPE&>(other));
}

HRESULT CMediaType::Set(const AM_MEDIA_TYPE& other)
{
    if (&other == static_cast<AM_MEDIA_TYPE*>(this))
        return S_OK;
    FreeMediaType(*this);
    HRESULT hr = CopyMediaType(this, &other);
    valid_ = SUCCEEDED(hr);
    return hr;
}

bool CMediaType::IsValid() const
{
    return valid_ && !IsEqualGUID(majortype, GUID_NULL);
}

bool CMediaType::operator==(const CMediaType& other) const
{
    if (!IsEqualGUID(majortype, other.majortype) || !IsEqualGUID(subtype, other.subtype) ||
        !IsEqualGUID(formattype, other.formattype) || cbFormat != other.cbFormat)
        return false;
    return cbFormat == 0 || std::memcmp(pbFormat, other.pbFormat, cbFormat) == 0;
}

BOOL CMediaType::SetFormat(const BYTE* format, ULONG length)
{
    if (!AllocFormatBuffer(length))
        return FALSE;
    if (length)
        std::memcpy(pbFormat, format, length);
    return TRUE;
}

BYTE* CMediaType::AllocFormatBuffer(ULONG length)
{
    if (cbFormat == length && pbFormat)
        return pbFormat;
    BYTE* block = static_cast<BYTE*>(CoTaskMemAlloc(length));
    if (!block)
        return nullptr;
    CoTaskMemFree(pbFormat);
    pbFormat = block;
    cbFormat = length;
    return pbFormat;
}

void CMediaType::ResetFormatBuffer()
{
    CoTaskMemFree(pbFormat);
    pbFormat = nullptr;
    cbFormat = 0;
}

bool CMediaType::IsPartiallySpecified() const
{
    return IsEqualGUID(majortype, GUID_NULL) || IsEqualGUID(formattype, GUID_NULL);
}

bool CMediaType::MatchesPartial(const CMediaType* partial) const
{
    if (!IsEqualGUID(partial->majortype, GUID_NULL) && !IsEqualGUID(majortype, partial->majortype))
        return false;
    if (!IsEqualGUID(partial->subtype, GUID_NULL) && !IsEqualGUID(subtype, partial->subtype))
        return false;
    if (!IsEqualGUID(partial->formattype, GUID_NULL)) {
        if (!IsEqualGUID(formattype, partial->formattype) || cbFormat != partial->cbFormat)
            return false;
        if (cbFormat && std::memcmp(pbFormat, partial->pbFormat, cbFormat) != 0)
            return false;
    }
    return true;
}

void CMediaType::InitMediaType()
{
    std::memset(static_cast<AM_MEDIA_TYPE*>(this), 0, sizeof(AM_MEDIA_TYPE));
    lSampleSize = 1;
    bFixedSizeSamples = TRUE;
}
