// Writing decoded PCM (or S/PDIF bursts) as a WAVE file with exact sizes.
// PCM and float go out as WAVE_FORMAT_EXTENSIBLE with the delivered channel
// mask. A reserved "JUNK" chunk becomes the "ds64" chunk of an RF64 file when
// the data outgrows the 32-bit RIFF sizes (EBU Tech 3306). To a pipe, the
// sizes are left unknown.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "platform/mmreg.h"
#include "platform/strmif.h"

// The "fmt " chunk for a connection's wave format block: plain PCM and float
// formats become WAVE_FORMAT_EXTENSIBLE (the mask from an extensible block, or
// the usual one for the channel count); other tags are kept as they are.
std::vector<uint8_t> fileWaveFormat(const std::vector<uint8_t>& connectionFormat);

class WavWriter {
public:
    bool open(const std::string& path, const std::vector<uint8_t>& format);
    // Writes nothing more once a write has failed (disk full, file size limit).
    void write(const uint8_t* data, size_t size);
    bool failed() const { return error_ != 0; }
    // Why writing failed (an errno value), or 0.
    int error() const { return error_; }
    // Fills in the sizes; false if the file could not be written. After a
    // failed write the file keeps the whole sample frames that reached it,
    // and its sizes say so as far as the header can still be written.
    bool close();
    uint64_t dataBytes() const { return data_; }

    // Where the sizes live, for tests that look at a header: 32-bit sizes
    // above this limit switch the file to RF64.
    static constexpr uint64_t kRiffLimit = 0xFFFFFFFFu;
    // Lowers the limit, so tests can exercise RF64 with small files.
    void setRiffLimitForTesting(uint64_t limit) { limit_ = limit; }

private:
    // Cuts the data to the whole, even-sized frames that reached the file.
    void keepWhatReachedTheFile();
    void writeSizes(std::ostream& out) const;

    std::string path_;
    std::ofstream file_;
    int error_ = 0;
    uint32_t headerSize_ = 0;  // bytes before the data
    uint64_t data_ = 0;
    uint32_t formatSize_ = 0;
    uint16_t blockAlign_ = 1;
    uint64_t limit_ = kRiffLimit;
    bool streaming_ = false;  // to a pipe or device: the sizes stay unknown
};
