// The decoder filter: owner of the decoders, the input buffer, the remixer
// and the two pins, and the receive-decode-deliver loop between them.
#pragma once

#include <atomic>
#include <fstream>
#include <memory>

#include "conversion/AudioConv.h"
#include "core/TvBuffer.h"
#include "core/decoder_factory.h"
#include "core/receive_loop.h"
#include "diagnostics/log_file.h"
#include "filter/ICodecApiImpl.h"
#include "filter/TavioControl.h"
#include "filter/TvOutputPin.h"
#include "filter/level_display.h"
#include "platform/dshow/streams.h"

class TvInputPin;

// {A3F1C5D2-6B8E-4F71-9D2C-7E5B1A9C3F60}: the filter's class identifier.
TV_DEFINE_GUID(CLSID_Tavio2,
               0xA3F1C5D2,
               0x6B8E,
               0x4F71,
               0x9D,
               0x2C,
               0x7E,
               0x5B,
               0x1A,
               0x9C,
               0x3F,
               0x60);
// Property pages: the stream page and the about page.
TV_DEFINE_GUID(CLSID_TavioPropertyPage,
               0x5D2E8A41,
               0x3C7B,
               0x4E96,
               0xA0,
               0x58,
               0x1F,
               0x6D,
               0x92,
               0xC4,
               0x7B,
               0x3E);
TV_DEFINE_GUID(CLSID_TavioAboutPage,
               0x9B4C1E73,
               0x2A6F,
               0x4D85,
               0xB3,
               0x17,
               0x6E,
               0x0A,
               0xC9,
               0x58,
               0x2D,
               0x41);

class TvFilter : public CBaseFilter,
                 public ISpecifyPropertyPages,
                 public ITavioControl,
                 public IKsPropertySet,
                 public RemixHost,
                 public ReceiveLoopHost {
public:
    // `moduleFolder`: where the module and its sibling libraries live.
    TvFilter(IUnknown* outer, HRESULT* phr, const LibraryFolder& moduleFolder = std::string());
    ~TvFilter() override;

    DECLARE_IUNKNOWN
    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP GetPages(CAUUID* pages) override;
    STDMETHODIMP Stop() override;

    // ITavioControl
    STDMETHODIMP GetOutputStreamInfo(ITavioStreamInfo** info) override;
    STDMETHODIMP GetInputStreamInfo(ITavioStreamInfo** info) override;
    STDMETHODIMP SetSpdif(BOOL on) override;
    STDMETHODIMP GetSpdif(BOOL* on) override;
    // IKsPropertySet: the DVD karaoke property (set only).
    STDMETHODIMP Set(REFGUID propertySet,
                     DWORD id,
                     LPVOID instanceData,
                     DWORD instanceLength,
                     LPVOID propertyData,
                     DWORD dataLength) override;
    STDMETHODIMP Get(REFGUID propertySet,
                     DWORD id,
                     LPVOID instanceData,
                     DWORD instanceLength,
                     LPVOID propertyData,
                     DWORD dataLength,
                     DWORD* returned) override;
    STDMETHODIMP QuerySupported(REFGUID propertySet, DWORD id, DWORD* support) override;

    int GetPinCount() override { return 2; }
    CBasePin* GetPin(int n) override;

    // Input-side type handling, for the input pin.
    HRESULT checkInputType(const CMediaType* type);
    HRESULT setInputType(const CMediaType* type);

    // Offers media types to `decoder` before the built-in decoders; for
    // tests that drive the receive loop with a decoder of their own.
    void addDecoderFirst(std::unique_ptr<Adec> decoder);

    // The receive loop (called by the input pin for every sample).
    HRESULT receive(IMediaSample* in);
    // The input ended: a last frame the decoder holds still goes out.
    void endOfStream();
    // Decodes at most one frame into `out`; false when no whole frame is left.
    bool process(IMediaSample* out);
    // ReceiveLoopHost: the output pin's samples and delivery, the remixer.
    bool outputConnected() override;
    HRESULT getEmptySample(IMediaSample** out) override;
    TvStatus* remix(IMediaSample* out, TvStatus* decoded) override;
    HRESULT deliver(IMediaSample* out, const TvStatus* status) override;
    // Resets decoding: discontinuity, flush, failed delivery.
    void flush() override;
    // Sends the delivered frame's channel peaks to the level window, if any.
    void showLevels(IMediaSample* out) override;

    bool setSpdif(bool on);
    bool spdif() const { return _spdif; }
    // RemixHost: broadcast to every decoder; the module's folder.
    void setMixType(int kind, int mixType, uint32_t mask) override;
    LibraryFolder moduleFolder() override { return _moduleFolder; }

    // Copies of the statuses of the last frame that had output (null when
    // none since the input type was set), owned by the caller.
    TvStatus* inputStatus();
    TvStatus* outputStatus();

    // Read-only, for tests that watch how much input is held.
    const TvBuffer& inputBuffer() const { return _decoding.buffer; }
    TvOutputPin* outputPin() { return _outputPin.get(); }
    TvInputPin* inputPin() { return _inputPin.get(); }
    ITavioRemix* remixer() { return _remixer; }
    long instanceNumber() const { return _instance; }
    std::ostream& log() { return _log; }
    static LONG activeCount();

    // Where the level display goes: the statistics box of an open property
    // page, or null (the default) for none.
    void setLevelWindow(HWND window) { _levels.attach(window); }
    HWND levelWindow() const { return _levels.box(); }
    LevelDisplay& levels() { return _levels; }

private:
    long _instance;
    LogFile _log;
    DecoderList _decoders;
    CCritSec _filterLock;
    CCritSec _streamLock;
    CMediaType _inputType;
    AudioConv* _remixer = nullptr;
    DecodingState _decoding;
    ReceiveLoop _loop{*this, _decoding, _streamLock, _log};
    REFERENCE_TIME _expectedTime = kNoTime;
    std::unique_ptr<TvInputPin> _inputPin;
    std::unique_ptr<TvOutputPin> _outputPin;
    std::atomic<bool> _spdif{false};
    std::unique_ptr<ICodecApiImpl> _codecApi;
    LibraryFolder _moduleFolder;
    LevelDisplay _levels;
};
