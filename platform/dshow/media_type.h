// CMediaType: a value type over AM_MEDIA_TYPE that owns its format block, and
// the classic free functions for task-allocated media types.
#pragma once

#include "platform/strmif.h"

class CMediaType : public AM_MEDIA_TYPE {
public:
    CMediaType();
    explicit CMediaType(const GUID* majorType);
    CMediaType(const AM_MEDIA_TYPE& type, HRESULT* phr = nullptr);
    CMediaType(const CMediaType& other);
    CMediaType& operator=(const CMediaType& other);
    CMediaType& operator=(const AM_MEDIA_TYPE& other);
    ~CMediaType();

    // Same major, sub and format type and the same format bytes; the sample
    // size and compression flags are not compared.
    bool operator==(const CMediaType& other) const;
    bool operator!=(const CMediaType& other) const { return !(*this == other); }

    HRESULT Set(const CMediaType& other);
    HRESULT Set(const AM_MEDIA_TYPE& other);
    // False after an allocation failure left the type without its format.
    bool IsValid() const;

    const GUID* Type() const { return &majortype; }
    void SetType(const GUID* type) { majortype = *type; }
    const GUID* Subtype() const { return &subtype; }
    void SetSubtype(const GUID* type) { subtype = *type; }
    const GUID* FormatType() const { return &formattype; }
    void SetFormatType(const GUID* type) { formattype = *type; }
    BOOL IsFixedSize() const { return bFixedSizeSamples; }
    BOOL IsTemporalCompressed() const { return bTemporalCompression; }

    BYTE* Format() const { return pbFormat; }
    ULONG FormatLength() const { return cbFormat; }
    // Replaces the format block with a copy of `format`.
    BOOL SetFormat(const BYTE* format, ULONG length);
    // A format block of `length` bytes (contents kept where the old one was
    // at least as long), or null on allocation failure.
    BYTE* AllocFormatBuffer(ULONG length);
    void ResetFormatBuffer();

    // True when the major type or the format type is not given (the subtype
    // is deliberately not looked at).
    bool IsPartiallySpecified() const;
    // Every field the partial type gives must match this one.
    bool MatchesPartial(const CMediaType* partial) const;
    void InitMediaType();

private:
    bool valid_ = true;
};

void FreeMediaType(AM_MEDIA_TYPE& type);
void DeleteMediaType(AM_MEDIA_TYPE* type);
AM_MEDIA_TYPE* CreateMediaType(const AM_MEDIA_TYPE* source);
HRESULT CopyMediaType(AM_MEDIA_TYPE* target, const AM_MEDIA_TYPE* source);
