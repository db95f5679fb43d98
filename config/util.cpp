#include "config/util.h"

#include <cstring>
#include <fstream>

#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "platform/dshow/crit_sec.h"
#include "platform/media_guids.h"
#include "platform/paths.h"

Parameter<std::string> PlogFile("logFile", "");
ProfilePathParameter Pprofile("profile", "");
Parameter<std::string> PoutputLog("outputLog", "");
Parameter<bool> PwaveHeader("waveHeader", false);
// Accepted in the parameter file; assertions are always written the same way.
Parameter<bool> PverboseAssert("verboseAssert", false);
Parameter<bool> PcompatQuirks("compatQuirks", false);

namespace {

void putLittleEndian32(std::ostream& out, uint32_t value)
{
    char bytes[4] = {char(value & 0xFF), char((value >> 8) & 0xFF), char((value >> 16) & 0xFF),
                     char((value >> 24) & 0xFF)};
    out.write(bytes, 4);
}

}  // namespace

std::istream& ProfilePathParameter::readValue(std::istream& in)
{
    Parameter::readValue(in);
    setProfileReportPath(value);
    return in;
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

void dumpOutput(const AM_MEDIA_TYPE& type, const BYTE* data, long length)
{
    if (!IsEqualGUID(type.subtype, MEDIASUBTYPE_PCM) || PoutputLog().empty())
        return;
    // Opened once per process and shared by every filter, whose streaming
    // threads take turns.
    static CCritSec lock;
    CAutoLock guard(&lock);
    static std::ofstream out(PoutputLog(), std::ios::out | std::ios::binary | std::ios::trunc);
    static bool headerDone = false;
    dumpOutput(out, headerDone, PwaveHeader(), type, data, length);
}

void dumpOutput(std::ostream& out,
                bool& headerDone,
                bool waveHeader,
                const AM_MEDIA_TYPE& type,
                const BYTE* data,
                long length)
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

void initializeModule()
{
    initializeModule(platform::driveRoot());
}

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
