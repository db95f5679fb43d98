#include "host/input_source.h"

#include <sys/stat.h>

#include <cstring>
#include <fstream>

#include "host/av_input.h"
#include "host/elementary_audio_input.h"
#include "host/host_media_types.h"
#include "host/ogg_vorbis_input.h"
#include "host/ps_input.h"
#include "host/raw_mpeg_input.h"

SingleStreamInput::SingleStreamInput(const AudioStreamParameters& parameters,
                                     const std::string& description)
{
    HostStream stream;
    stream.codec = parameters.codec;
    stream.description = description;
    stream.mediaType = hostMediaType(parameters, stream.unsupported);
    streams_.push_back(std::move(stream));
}

namespace {

// Walks the top-level boxes of an MP4/QuickTime file for its moov box.
bool hasTopLevelMoov(std::ifstream& file)
{
    file.clear();
    uint64_t at = 0;
    for (int boxes = 0; boxes < 10000; ++boxes) {
        uint8_t box[16];
        file.seekg(std::streamoff(at));
        if (!file.read(reinterpret_cast<char*>(box), 8))
            return false;
        if (std::memcmp(box + 4, "moov", 4) == 0)
            return true;
        uint64_t size =
            uint64_t(box[0]) << 24 | uint32_t(box[1]) << 16 | uint32_t(box[2]) << 8 | box[3];
        if (size == 1) {  // a 64-bit size follows the type
            if (!file.read(reinterpret_cast<char*>(box + 8), 8))
                return false;
            size = 0;
            for (int i = 8; i < 16; ++i)
                size = size << 8 | box[i];
        }
        if (size < 8)  // 0: the box runs to the end of the file
            return false;
        at += size;
    }
    return false;
}

}  // namespace

std::unique_ptr<InputSource> openInputSource(const std::string& path, std::string& error)
{
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        error = "cannot be read (no such file)";
        return nullptr;
    }
    if (S_ISDIR(info.st_mode)) {
        error = "cannot be read (a folder)";
        return nullptr;
    }
    if (S_ISREG(info.st_mode) && info.st_size == 0) {
        error = "the input is empty";
        return nullptr;
    }
    std::ifstream file(path, std::ios::binary);
    uint8_t head[8] = {};
    if (!file.read(reinterpret_cast<char*>(head), sizeof head) && file.gcount() == 0 &&
        info.st_size > 0) {
        error = "cannot be read (permission denied or I/O error)";
        return nullptr;
    }
    const size_t headSize = size_t(file.gcount());
    if (looksLikeProgramStream(head, headSize))
        return openProgramStream(path, error);
    // Bare MPEG audio, AMR and Ogg Vorbis are read without libavformat, which then stays unloaded.
    if (auto input = openElementaryAudio(path))
        return input;
    if (auto input = openOggVorbis(path))
        return input;
    auto input = openAvInput(path, error);
    if (!input)
        input = openRawMpegAudio(path);
    if (input)
        return input;
    std::string known = formatOutsideTheList(path);
    if (!known.empty())
        error = known + ": a format tavio reads no audio from";
    else if (headSize == 8 && std::memcmp(head + 4, "ftyp", 4) == 0 && !hasTopLevelMoov(file))
        // Its index (the moov box) usually comes last: a download broken off
        // or a recording still running leaves a file nothing can be found in.
        error = "an MP4 file without its index (no moov box): cut short, or still being written";
    else
        error = "not a recognised audio or container format (" + error + ")";
    return input;
}
