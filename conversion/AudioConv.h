// The remixer: after decoding and before delivery it reduces a buffer to one
// channel, upmixes stereo through the matrix-surround library, or leaves the
// downmix to the decoders, as set per stream kind through ITavioRemix.
#pragma once

#include <utility>

#include "conversion/ITavioRemix.h"
#include "core/TvStatus.h"
#include "libs/TvRemix/tv_remix.h"
#include "platform/dshow/streams.h"

constexpr int kStreamKinds = 11;

// (configuration code, LFE flag) of a speaker mask; code -1 when none fits.
std::pair<int, bool> MaskToAcmod(uint32_t mask);
// The six-entry channel-order row of a configuration code (0..7).
const int* channelOrderRow(int code);

class AudioConv : public CUnknown, public ITavioRemix {
public:
    // `outer` is the filter's unknown; `lock` its critical section.
    AudioConv(IUnknown* outer, RemixHost* filter, CCritSec* lock);
    ~AudioConv() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;

    STDMETHODIMP SetOutputConfig(int mode, unsigned mask) override;
    STDMETHODIMP SetUpmixType(int kind, int type) override;
    STDMETHODIMP SetDownmixType(int kind, int type) override;
    STDMETHODIMP SetSingleChannel(int channel) override;
    STDMETHODIMP GetUpmixType(int kind, int* type) override;
    STDMETHODIMP GetDownmixType(int kind, int* type) override;
    STDMETHODIMP GetOutputConfig(int* mode, unsigned* mask) override;
    STDMETHODIMP GetSingleChannel(int* channel) override;
    STDMETHODIMP ResetRemix() override;

    // The remixed status when the buffer was changed, else null.
    TvStatus* process(IMediaSample* sample, const TvStatus* status);
    // Loads TvRemix.dll from the module's folder if it is not loaded yet, as
    // the upmix step does. The upmix setup only looks into a loaded library,
    // so a host that wants an upmix loads it first. False if it cannot.
    bool loadRemixLibrary();

private:
    HRESULT readKindEntry(const int* table, int kind, int* type);
    TvStatus* remixOneChannel(IMediaSample* sample, int channel);
    bool setupUpmix(uint32_t mask);
    bool upmix(IMediaSample* sample);
    void convertSampleTo16Bit(IMediaSample* sample);

    RemixHost* filter;
    uint32_t outputMask = 0;
    int outputMode = 0;
    CCritSec* lock;
    int upmixTypes[kStreamKinds];
    int downmixTypes[kStreamKinds];
    HMODULE library = nullptr;
    int rate = 0;
    int upChannels = 0;
    uint32_t upMask = 0;
    TvRemixObject* remixObject = nullptr;
    TvStatusRemix status;
    int singleChannel = 0;
};
