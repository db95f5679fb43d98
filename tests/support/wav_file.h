// Reading back the WAVE and RF64 files the host writes, chunk by chunk, so
// tests check what a player would read rather than fixed offsets.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/pcm.h"

struct WavFile {
    std::string form;  // "RIFF" or "RF64"
    uint32_t riffSize = 0;
    std::vector<uint8_t> format;  // the "fmt " chunk
    std::vector<uint8_t> data;
    uint32_t dataSizeField = 0;
    bool hasDs64 = false;
    uint64_t ds64RiffSize = 0;
    uint64_t ds64DataSize = 0;

    uint16_t formatTag() const { return read16(0); }
    uint16_t channels() const { return read16(2); }
    uint32_t sampleRate() const { return read32(4); }
    uint16_t bitsPerSample() const { return read16(14); }
    // dwChannelMask of an extensible format, else 0.
    uint32_t channelMask() const { return format.size() >= 24 ? read32(20) : 0; }

    // The sample format of the data chunk (a 32-bit extensible format with
    // subformat 3 holds floats).
    SampleFormat sampleFormat() const
    {
        if (bitsPerSample() == 32)
            return read16(24) == 3 ? SampleFormat::F32 : SampleFormat::S32;
        return bitsPerSample() == 24 ? SampleFormat::S24 : SampleFormat::S16;
    }

    uint16_t read16(size_t at) const
    {
        uint16_t v = 0;
        if (at + 2 <= format.size())
            std::memcpy(&v, format.data() + at, 2);
        return v;
    }
    uint32_t read32(size_t at) const
    {
        uint32_t v = 0;
        if (at + 4 <= format.size())
            std::memcpy(&v, format.data() + at, 4);
        return v;
    }
};

// False when the bytes are not a well-formed WAVE file.
inline bool parseWav(const std::vector<uint8_t>& bytes, WavFile& wav)
{
    auto u32 = [&](size_t at) {
        uint32_t v;
        std::memcpy(&v, bytes.data() + at, 4);
        return v;
    };
    auto u64 = [&](size_t at) {
        uint64_t v;
        std::memcpy(&v, bytes.data() + at, 8);
        return v;
    };
    if (bytes.size() < 12 || std::string(bytes.begin() + 8, bytes.begin() + 12) != "WAVE")
        return false;
    wav.form.assign(bytes.begin(), bytes.begin() + 4);
    wav.riffSize = u32(4);
    size_t at = 12;
    while (at + 8 <= bytes.size()) {
        std::string id(bytes.begin() + long(at), bytes.begin() + long(at + 4));
        uint64_t size = u32(at + 4);
        if (id == "data") {
            wav.dataSizeField = uint32_t(size);
            if (wav.hasDs64 && size == 0xFFFFFFFFu)
                size = wav.ds64DataSize;
            if (at + 8 + size > bytes.size())
                return false;
            wav.data.assign(bytes.begin() + long(at + 8), bytes.begin() + long(at + 8 + size));
            return !wav.format.empty();
        }
        if (at + 8 + size > bytes.size())
            return false;
        if (id == "fmt ")
            wav.format.assign(bytes.begin() + long(at + 8), bytes.begin() + long(at + 8 + size));
        if (id == "ds64" && size >= 16) {
            wav.hasDs64 = true;
            wav.ds64RiffSize = u64(at + 8);
            wav.ds64DataSize = u64(at + 16);
        }
        at += 8 + size + (size % 2);
    }
    return false;
}
