#include "host/delivered_audio.h"

#include <strings.h>

#include <cerrno>
#include <cstring>

namespace {

constexpr size_t kWriteBuffer = size_t(1) << 20;

// Whether the name ends in ".wav", in any case (WAV, Wav).
bool namesWaveFile(const std::string& path)
{
    return path.size() >= 4 && strcasecmp(path.c_str() + path.size() - 4, ".wav") == 0;
}

}  // namespace

OutputFile::~OutputFile()
{
    if (raw_ && raw_ != stdout)
        std::fclose(raw_);
}

bool OutputFile::open(const std::string& path, const CMediaType& type)
{
    if (path.empty())
        return true;
    path_ = path;
    wave_ = namesWaveFile(path);
    if (wave_) {
        std::vector<uint8_t> format(type.pbFormat, type.pbFormat + type.cbFormat);
        return writer_.open(path, fileWaveFormat(format));
    }
    raw_ = path == "-" ? stdout : std::fopen(path.c_str(), "wb");
    if (!raw_)
        error_ = errno;
    // A file takes the audio in writes of a megabyte: one system call
    // each instead of one per few kilobytes. Standard output keeps its
    // own buffering, so that a pipe's reader is fed as before.
    if (raw_ && raw_ != stdout) {
        buffer_ = std::make_unique<char[]>(kWriteBuffer);
        std::setvbuf(raw_, buffer_.get(), _IOFBF, kWriteBuffer);
    }
    return raw_ != nullptr;
}

void OutputFile::write(const uint8_t* data, size_t size)
{
    if (failed())
        return;
    size_t written = size;
    if (wave_) {
        writer_.write(data, size);
        written = writer_.failed() ? 0 : size;
    } else if (raw_ && (written = std::fwrite(data, 1, size, raw_)) != size) {
        failed_ = true;
        error_ = errno;
    }
    bytes_ += written;
}

std::string OutputFile::error() const
{
    int error = wave_ ? writer_.error() : error_;
    return error ? std::strerror(error) : "unknown error";
}

bool OutputFile::close()
{
    if (wave_) {
        bool ok = writer_.close();
        bytes_ = writer_.dataBytes();  // after a failure, what the file keeps
        return ok;
    }
    bool ok = !failed_;
    if (raw_ && raw_ != stdout)
        ok &= std::fclose(raw_) == 0;
    else if (raw_)
        ok &= std::fflush(raw_) == 0;
    raw_ = nullptr;
    if (!ok && !error_)
        error_ = errno;
    return ok;
}

bool OutputFile::restartWith(const CMediaType& type)
{
    if (!wave_ || bytes_)
        return true;
    writer_ = WavWriter();
    std::vector<uint8_t> format(type.pbFormat, type.pbFormat + type.cbFormat);
    return writer_.open(path_, fileWaveFormat(format));
}

DeliveredAudio::DeliveredAudio(OutputFile& file, const CMediaType& connected, bool announce)
    : file_(file),
      current_(connected),
      currentFormat_(pcmFormatOf(connected)),
      fileFormat_(currentFormat_),
      announce_(announce)
{
    announced_ = fileFormat_;
}

void DeliveredAudio::setType(const CMediaType& type)
{
    current_ = type;
    currentFormat_ = pcmFormatOf(current_);
}

void DeliveredAudio::write(const uint8_t* data, size_t size)
{
    if (!size || failed())
        return;
    const PcmFormat& now = currentFormat_;
    if (!started_) {
        started_ = true;
        fileFormat_ = announced_ = now;
        failed_ = !file_.restartWith(current_);
        if (!failed_)
            put(data, size, now);
        return;
    }
    if (now == fileFormat_) {
        drainConverter();
        put(data, size, now);
        return;
    }
    if (!changedTo_)
        changedTo_ = now;
    bool convert = file_.isWave();
    if (convert && (!converter_.configured() || !(converter_.from() == now))) {
        drainConverter();
        convert = converter_.configure(now, fileFormat_);
    }
    sayChange(now, !file_.isWave() ? "the raw output goes on in the new format"
                   : convert       ? "converting to the file's format"
                                   : "it cannot be converted to the file's format and is left out");
    if (!file_.isWave()) {
        put(data, size, now);
    } else if (convert) {
        buffer_.clear();
        converter_.convert(data, size, buffer_);
        put(buffer_.data(), buffer_.size(), fileFormat_);
    }
}

std::string DeliveredAudio::description() const
{
    std::string text = describe(fileFormat());
    if (changedTo_)
        text += "; changed mid-stream to " + describe(*changedTo_);
    return text;
}

void DeliveredAudio::put(const uint8_t* data, size_t size, const PcmFormat& format)
{
    file_.write(data, size);
    uint64_t perSecond = uint64_t(format.blockAlign) * format.rate;
    if (perSecond && !file_.failed())
        seconds_ += double(size) / double(perSecond);
}

void DeliveredAudio::drainConverter()
{
    if (!converter_.configured())
        return;
    buffer_.clear();
    converter_.drain(buffer_);
    put(buffer_.data(), buffer_.size(), fileFormat_);
}

void DeliveredAudio::sayChange(const PcmFormat& now, const char* consequence)
{
    if (now == announced_)
        return;
    if (announce_)
        std::fprintf(stderr, "tavio: the delivered format changed from %s to %s; %s\n",
                     describe(announced_).c_str(), describe(now).c_str(), consequence);
    announced_ = now;
}
