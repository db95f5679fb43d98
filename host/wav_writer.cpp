#include "host/wav_writer.h"

namespace {

void put32(std::ofstream& out, uint32_t v)
{
    char b[4] = {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    out.write(b, 4);
}

}  // namespace

bool WavWriter::open(const std::string& path, const std::vector<uint8_t>& format)
{
    file_.open(path, std::ios::binary | std::ios::trunc);
    if (!file_)
        return false;
    formatSize_ = static_cast<uint32_t>(format.size());
    file_.write("RIFF", 4);
    put32(file_, 0);  // filled in by close()
    file_.write("WAVEfmt ", 8);
    put32(file_, formatSize_);
    file_.write(reinterpret_cast<const char*>(format.data()), std::streamsize(format.size()));
    if (formatSize_ % 2)
        file_.put(0);
    file_.write("data", 4);
    put32(file_, 0);
    return bool(file_);
}

void WavWriter::write(const uint8_t* data, size_t size)
{
    file_.write(reinterpret_cast<const char*>(data), std::streamsize(size));
    data_ += size;
}

bool WavWriter::close()
{
    if (data_ % 2)
        file_.put(0);
    uint64_t padded = formatSize_ + (formatSize_ % 2);
    uint64_t riff = 4 + 8 + padded + 8 + data_ + (data_ % 2);
    // Beyond 4 GiB the sizes are saturated (players then read to the end).
    file_.seekp(4);
    put32(file_, riff > 0xFFFFFFFFu ? 0xFFFFFFFFu : uint32_t(riff));
    file_.seekp(std::streamoff(4 + 4 + 4 + 4 + 4 + padded + 4));
    put32(file_, data_ > 0xFFFFFFFFu ? 0xFFFFFFFFu : uint32_t(data_));
    file_.close();
    return !file_.fail();
}
