// The filter's private control interface and the stream-information
// snapshots it hands out: what is being decoded (input) and delivered
// (output), as applications and the property page read it.
#pragma once

#include <memory>
#include <string>

#include "core/TvStatus.h"
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

// A snapshot of one status record; it never changes after creation.
// The format interfaces are answered only when the record is of their format.
class TavioStreamInfo : public ITavioStreamInfo,
                        public ITavioMpegStreamInfo,
                        public ITavioAc3StreamInfo,
                        public ITavioAACStreamInfo,
                        public ITavioMLPStreamInfo {
public:
    // Takes ownership of `status` (a clone).
    explicit TavioStreamInfo(TvStatus* status) : _status(status) {}
    virtual ~TavioStreamInfo() = default;

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP GetSpdif(DWORD* spdif) override;
    STDMETHODIMP GetStreamType(DWORD* type) override;
    STDMETHODIMP GetBitRate(DWORD* kbps) override;
    STDMETHODIMP GetFrameSize(DWORD* bytes) override;
    STDMETHODIMP GetSampleRate(DWORD* hz) override;
    STDMETHODIMP GetBitsPerSample(WORD* bits) override;
    STDMETHODIMP GetSamplesPerFrame(DWORD* samples) override;
    STDMETHODIMP GetChannelMask(DWORD* mask) override;
    STDMETHODIMP GetRemixMode(DWORD* mode) override;
    STDMETHODIMP GetChannels(WORD* channels) override;

    STDMETHODIMP GetKaraokeMode(DWORD* mode) override;
    STDMETHODIMP GetAcmod(DWORD* acmod) override;
    STDMETHODIMP GetBsmod(DWORD* bsmod) override;
    STDMETHODIMP GetDsurmod(DWORD* dsurmod) override;
    STDMETHODIMP GetLfeon(DWORD* lfeon) override;
    STDMETHODIMP GetDmixmod(DWORD* dmixmod) override;
    STDMETHODIMP GetDsurexmod(DWORD* dsurexmod) override;
    STDMETHODIMP GetDheadphonmod(DWORD* dheadphonmod) override;
    STDMETHODIMP GetAdconvtyp(DWORD* adconvtyp) override;

    STDMETHODIMP GetMpeg(DWORD* mpeg) override;
    STDMETHODIMP GetLayer(DWORD* layer) override;
    STDMETHODIMP GetMp3Pro(DWORD* mp3pro) override;

    STDMETHODIMP GetSbr(DWORD* sbr) override;
    STDMETHODIMP GetObjectType(DWORD* objectType) override;
    STDMETHODIMP GetPs(DWORD* ps) override;

    STDMETHODIMP GetMajorSync(DWORD* majorSync) override;

private:
    const TvStatusAc3& ac3() const { return static_cast<const TvStatusAc3&>(*_status); }
    const TvStatusMpeg& mpeg() const { return static_cast<const TvStatusMpeg&>(*_status); }
    const TvStatusAac& aac() const { return static_cast<const TvStatusAac&>(*_status); }
    const TvStatusMlp& mlp() const { return static_cast<const TvStatusMlp&>(*_status); }

    volatile LONG _references = 1;
    std::unique_ptr<TvStatus> _status;
};
