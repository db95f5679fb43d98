// The decoded audio on its way out of the host: the output file (WAVE, raw or
// standard output) and the samples the sink delivers into it, through the
// format changes a stream may bring.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/format_converter.h"
#include "host/pcm_format.h"
#include "host/wav_writer.h"
#include "platform/dshow/media_type.h"

// Where the delivered bytes go: a WAVE file, a raw file or standard output.
class OutputFile {
public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    // A file left open is closed while its buffer still exists.
    ~OutputFile();

    // A name ending in .wav gets a WAVE file of `type`'s format, "-"
    // standard output, any other name a raw file; no name, nothing.
    bool open(const std::string& path, const CMediaType& type);
    void write(const uint8_t* data, size_t size);
    bool failed() const { return wave_ ? writer_.failed() : failed_; }
    // Why a write failed, for the user.
    std::string error() const;
    bool close();
    // Before any audio was written: a WAVE file starts again with the header
    // of this type.
    bool restartWith(const CMediaType& type);
    bool isWave() const { return wave_; }
    uint64_t bytes() const { return bytes_; }

private:
    std::string path_;
    bool wave_ = false;
    WavWriter writer_;
    FILE* raw_ = nullptr;
    std::unique_ptr<char[]> buffer_;  // raw_'s, until it is closed
    bool failed_ = false;
    int error_ = 0;
    uint64_t bytes_ = 0;
};

// The delivered samples on their way to the output. The file takes the format
// of the first sample that carries audio (the filter changes its type in-band
// when a decoder's first frame differs from the connection's type). A later
// change is said once on standard error when `announce` is set; a WAVE file
// gets the new format converted to its own, raw output gets what the filter
// delivers.
class DeliveredAudio {
public:
    DeliveredAudio(OutputFile& file, const CMediaType& connected, bool announce);

    // The format is read from a type once, when it arrives, not per sample.
    void setType(const CMediaType& type);
    const PcmFormat& currentFormat() const { return currentFormat_; }

    void write(const uint8_t* data, size_t size);
    void finish() { drainConverter(); }
    bool failed() const { return failed_ || file_.failed(); }
    // "16-bit PCM, 48000 Hz, 2 channels (mask 0x3)", and the first change after audio.
    std::string description() const;
    double seconds() const { return seconds_; }
    PcmFormat fileFormat() const { return started_ ? fileFormat_ : currentFormat_; }

private:
    // Writes bytes of `format` and counts the time they last, if written.
    void put(const uint8_t* data, size_t size, const PcmFormat& format);
    void drainConverter();
    void sayChange(const PcmFormat& now, const char* consequence);

    OutputFile& file_;
    CMediaType current_;
    PcmFormat currentFormat_;
    PcmFormat fileFormat_;
    PcmFormat announced_;
    std::optional<PcmFormat> changedTo_;
    bool announce_;
    bool started_ = false;
    bool failed_ = false;
    double seconds_ = 0;
    FormatConverter converter_;
    std::vector<uint8_t> buffer_;
};
