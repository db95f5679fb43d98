#include "config/util.h"

#include <chrono>
#include <cstring>
#include <iomanip>
#include <vector>

#include "platform/media_guids.h"
#include "platform/mmreg.h"
#include "platform/paths.h"

Parameter<std::string> PlogFile("logFile", "");
Parameter<std::string> Pprofile("profile", "");
Parameter<std::string> PoutputLog("outputLog", "");
Parameter<bool> PwaveHeader("waveHeader", false);
// Accepted in the parameter file; assertions are always written the same way.
Parameter<bool> PverboseAssert("verboseAssert", false);

std::ofstream logStream;
std::atomic<int64_t> totalDecodedTime{0};

namespace {

std::vector<ProfileCounter*>* profileRegistry = nullptr;

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Only the source's own name: neither the build folder nor the extension is
// part of the message.
std::string sourceName(const char* path)
{
    const char* name = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/' || *p == '\\')
            name = p + 1;
    const char* dot = std::strrchr(name, '.');
    return dot && dot != name ? std::string(name, dot) : std::string(name);
}

void putLittleEndian32(std::ostream& out, uint32_t value)
{
    char bytes[4] = {char(value & 0xFF), char((value >> 8) & 0xFF), char((value >> 16) & 0xFF),
                     char((value >> 24) & 0xFF)};
    out.write(bytes, 4);
}

}  // namespace

bool tvAssertionFailed(const char* source, int line, const char* condition)
{
    logStream << "error: TvAssert: " << sourceName(source) << " " << line << "'" << condition << "'"
              << std::endl;
    return false;
}

TvException::TvException(const std::string& text) : message(text)
{
    logStream << "error: Exception: " << message << std::endl;
}

std::string perFilterLogName(long filterNumber)
{
    return perFilterLogName(filterNumber, platform::driveRoot());
}

std::string perFilterLogName(long filterNumber, const std::string& root)
{
    if (PlogFile().empty())
        return "";
    return root + "Tv" + std::to_string(filterNumber) + ".log";
}

ProfileCounter::ProfileCounter(const char* counterName) : name(counterName)
{
    if (Pprofile().empty())
        return;
    if (!profileRegistry)
        profileRegistry = new std::vector<ProfileCounter*>;
    profileRegistry->push_back(this);
}

ProfileScope::ProfileScope(ProfileCounter& counter) : counter_(counter)
{
    if (profileRegistry)
        startMs_ = nowMs();
}

ProfileScope::~ProfileScope()
{
    if (!profileRegistry)
        return;
    counter_.count += 1;
    counter_.total += static_cast<double>(nowMs() - startMs_) * 0.001;
}

void writeProfileReport() { writeProfileReport(Pprofile()); }

void writeProfileReport(const std::string& path)
{
    if (!profileRegistry)
        return;
    std::ofstream out(path, std::ios::out | std::ios::trunc);
    if (!out.is_open())
        reportError("Error opening profile " + path);
    out << '\n' << " Profile: " << std::endl;
    for (const ProfileCounter* counter : *profileRegistry) {
        if (counter->count == 0)
            continue;
        out << std::setw(6) << counter->count << ' ' << std::fixed << std::setprecision(3)
            << std::setw(10) << counter->total << ' ' << counter->name << std::endl;
    }
    out.unsetf(std::ios::floatfield);
    out.precision(6);
    out << std::endl << "total decoded time: " << static_cast<double>(totalDecodedTime) * 1e-7
        << std::endl;
}

void resetProfilingForTesting()
{
    delete profileRegistry;
    profileRegistry = nullptr;
}

void writeMediaTypeToLog(std::ostream& out, const AM_MEDIA_TYPE& mediaType)
{
    out << guidName(mediaType.majortype) << " " << guidName(mediaType.subtype) << std::endl;
    if (!IsEqualGUID(mediaType.formattype, FORMAT_WaveFormatEx) || !mediaType.pbFormat ||
        mediaType.cbFormat < sizeof(WAVEFORMATEX))
        return;
    WAVEFORMATEX wave;
    std::memcpy(&wave, mediaType.pbFormat, sizeof wave);
    out << "chan: " << wave.nChannels << " bits: " << wave.wBitsPerSample
        << " cbSize: " << wave.cbSize << " bytesPerS: " << wave.nAvgBytesPerSec
        << " Align: " << wave.nBlockAlign << " freq: " << wave.nSamplesPerSec << std::endl;
    out << "Format: ";
    // The S/PDIF tag is tested apart from the chain below, so it is followed
    // by the chain's own "unknown" line: two lines, as intended.
    if (wave.wFormatTag == WAVE_FORMAT_DOLBY_AC3_SPDIF)
        out << "WAVE_FORMAT_DOLBY_AC3_SPDIF" << std::endl;
    if (wave.wFormatTag == WAVE_FORMAT_MPEGLAYER3)
        out << "WAVE_FORMAT_MPEGLAYER3" << std::endl;
    else if (wave.wFormatTag == WAVE_FORMAT_EXTENSIBLE)
        out << "WAVE_FORMAT_EXTENSIBLE" << std::endl;
    else if (wave.wFormatTag == WAVE_FORMAT_MPEG)
        out << "WAVE_FORMAT_MPEG" << std::endl;
    else
        out << "unknown format Tag: " << wave.wFormatTag << std::endl;
    if (mediaType.cbFormat == sizeof(WAVEFORMATEXTENSIBLE)) {
        WAVEFORMATEXTENSIBLE extensible;
        std::memcpy(&extensible, mediaType.pbFormat, sizeof extensible);
        out << "valid: " << extensible.Samples.wValidBitsPerSample
            << " mask: " << extensible.dwChannelMask << " subf: " << guidName(extensible.SubFormat)
            << std::endl;
    }
}

void writeMediaTypeToLog(std::ostream& out, const AM_MEDIA_TYPE* mediaType)
{
    if (mediaType)
        writeMediaTypeToLog(out, *mediaType);
    else
        out << std::endl;
}

void dumpOutput(const AM_MEDIA_TYPE& type, const BYTE* data, long length)
{
    if (!IsEqualGUID(type.subtype, MEDIASUBTYPE_PCM) || PoutputLog().empty())
        return;
    // Opened once per process and shared by every filter.
    static std::ofstream out(PoutputLog(), std::ios::out | std::ios::binary | std::ios::trunc);
    static bool headerDone = false;
    dumpOutput(out, headerDone, PwaveHeader(), type, data, length);
}

void dumpOutput(std::ostream& out, bool& headerDone, bool waveHeader, const AM_MEDIA_TYPE& type,
                const BYTE* data, long length)
{
    if (!headerDone && waveHeader) {
        // The sizes are fixed placeholders (a 117,440,512-byte data chunk),
        // never corrected, so the file plays however long it grows.
        uint32_t formatLength = type.cbFormat;
        out.write("RIFF", 4);
        putLittleEndian32(out, formatLength + 0x7000014);
        out.write("WAVE", 4);
        out.write("fmt ", 4);
        putLittleEndian32(out, formatLength);
        if (formatLength)
            out.write(reinterpret_cast<const char*>(type.pbFormat), formatLength);
        out.write("data", 4);
        putLittleEndian32(out, 0x7000000);
    }
    headerDone = true;
    if (data && length > 0)
        out.write(reinterpret_cast<const char*>(data), length);
}

void initializeModule() { initializeModule(platform::driveRoot()); }

void initializeModule(const std::string& root)
{
    loadParameterFile(root + "Tavio.conf");
    if (PlogFile().empty())
        return;
    logStream.open(PlogFile(), std::ios::out | std::ios::trunc);
    if (!logStream.good())
        reportError("Failed to open logfile");
    logStream << "started logging" << std::endl;
    if (!logStream.good())
        reportError("Failed2 to open logfile");
}
