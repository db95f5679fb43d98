// Writing decoded PCM as a WAVE file with the exact sizes filled in.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "platform/strmif.h"

class WavWriter {
public:
    // `format` is the connection's wave format block (WAVEFORMATEX or
    // WAVEFORMATEXTENSIBLE), written as the "fmt " chunk.
    bool open(const std::string& path, const std::vector<uint8_t>& format);
    void write(const uint8_t* data, size_t size);
    // Fills in the RIFF and data sizes; false if the file could not be written.
    bool close();
    uint64_t dataBytes() const { return data_; }

private:
    std::ofstream file_;
    uint64_t data_ = 0;
    uint32_t formatSize_ = 0;
};
