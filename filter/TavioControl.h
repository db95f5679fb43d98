// The stream-information snapshots the filter's control interface hands
// out: what is being decoded (input) and delivered (output), as applications
// and the property page read it.
#pragma once

#include <memory>
#include <string>

#include "core/TvStatus.h"
#include "filter/tavio_interfaces.h"

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
