// The filter's private control and stream-information interfaces, as an
// application declares them: it includes this header alone (the identifiers
// come with it) and queries the filter for ITavioControl.
#pragma once

#include "filter/private_iids.h"
#include "platform/com.h"

struct ITavioStreamInfo : public IUnknown {
    STDMETHOD(GetSpdif)(DWORD* spdif) PURE;
    STDMETHOD(GetStreamType)(DWORD* type) PURE;
    STDMETHOD(GetBitRate)(DWORD* kbps) PURE;
    STDMETHOD(GetFrameSize)(DWORD* bytes) PURE;
    STDMETHOD(GetSampleRate)(DWORD* hz) PURE;
    STDMETHOD(GetBitsPerSample)(WORD* bits) PURE;
    STDMETHOD(GetSamplesPerFrame)(DWORD* samples) PURE;
    STDMETHOD(GetChannelMask)(DWORD* mask) PURE;
    STDMETHOD(GetRemixMode)(DWORD* mode) PURE;
    STDMETHOD(GetChannels)(WORD* channels) PURE;
};

// AC-3 details; the first getter answers S_FALSE (output unset) for streams
// that are not karaoke streams.
struct ITavioAc3StreamInfo : public IUnknown {
    STDMETHOD(GetKaraokeMode)(DWORD* mode) PURE;
    STDMETHOD(GetAcmod)(DWORD* acmod) PURE;
    STDMETHOD(GetBsmod)(DWORD* bsmod) PURE;
    STDMETHOD(GetDsurmod)(DWORD* dsurmod) PURE;
    STDMETHOD(GetLfeon)(DWORD* lfeon) PURE;
    STDMETHOD(GetDmixmod)(DWORD* dmixmod) PURE;
    STDMETHOD(GetDsurexmod)(DWORD* dsurexmod) PURE;
    STDMETHOD(GetDheadphonmod)(DWORD* dheadphonmod) PURE;
    STDMETHOD(GetAdconvtyp)(DWORD* adconvtyp) PURE;
};

// MPEG audio details: version (1, 2, 4 for MPEG-2.5), layer, mp3PRO flag.
struct ITavioMpegStreamInfo : public IUnknown {
    STDMETHOD(GetMpeg)(DWORD* mpeg) PURE;
    STDMETHOD(GetLayer)(DWORD* layer) PURE;
    STDMETHOD(GetMp3Pro)(DWORD* mp3pro) PURE;
};

// AAC details as FAAD2 reported them for the last frame, each widened to
// 32 bits: the SBR indication, the audio object type, parametric stereo.
struct ITavioAACStreamInfo : public IUnknown {
    STDMETHOD(GetSbr)(DWORD* sbr) PURE;
    STDMETHOD(GetObjectType)(DWORD* objectType) PURE;
    STDMETHOD(GetPs)(DWORD* ps) PURE;
};

// MLP details: which major sync the stream carries (0 DVD-Audio MLP, 1 TrueHD).
struct ITavioMLPStreamInfo : public IUnknown {
    STDMETHOD(GetMajorSync)(DWORD* majorSync) PURE;
};

struct ITavioControl : public IUnknown {
    STDMETHOD(GetOutputStreamInfo)(ITavioStreamInfo** info) PURE;
    STDMETHOD(GetInputStreamInfo)(ITavioStreamInfo** info) PURE;
    STDMETHOD(SetSpdif)(BOOL on) PURE;
    STDMETHOD(GetSpdif)(BOOL* on) PURE;
};
