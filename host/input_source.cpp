#include "host/input_source.h"

#include <sys/stat.h>

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
    uint8_t head[4] = {};
    if (!file.read(reinterpret_cast<char*>(head), sizeof head) && file.gcount() == 0 &&
        info.st_size > 0) {
        error = "cannot be read (permission denied or I/O error)";
        return nullptr;
    }
    if (looksLikeProgramStream(head, size_t(file.gcount())))
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
    else
        error = "not a recognised audio or container format (" + error + ")";
    return input;
}
