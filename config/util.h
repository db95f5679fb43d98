// The diagnostics the parameter file switches on: the process log's and the
// per-filter logs' names, the profile report, the PCM output dump; and the
// module start-up that reads the file and opens the log.
#pragma once

#include <istream>
#include <ostream>
#include <string>

#include "config/config.h"
#include "platform/strmif.h"

// The profile report's path, handed to the profiling counters as the file is
// read: they sit below the parameters and cannot read them.
class ProfilePathParameter : public Parameter<std::string> {
public:
    using Parameter::Parameter;
    std::istream& readValue(std::istream& in) override;
};

extern Parameter<std::string> PlogFile;
extern ProfilePathParameter Pprofile;
extern Parameter<std::string> PoutputLog;
extern Parameter<bool> PwaveHeader;
extern Parameter<bool> PverboseAssert;
// 1 puts back the house rules where, followed to the letter, they put a
// channel on the wrong speaker, play at the wrong speed or lose audio; by
// default the output follows the public standard there (README lists each
// place).
extern Parameter<bool> PcompatQuirks;

// The per-filter log path: "<root>Tv<n>.log" when `logFile` is set, else "".
std::string perFilterLogName(long filterNumber);
std::string perFilterLogName(long filterNumber, const std::string& root);

// Appends a delivered PCM buffer to `outputLog` (with a RIFF header first
// when `waveHeader` is 1); see outputDump for the testable form.
void dumpOutput(const AM_MEDIA_TYPE& type, const BYTE* data, long length);
// The same into a given stream; `headerDone` carries "a buffer was dumped".
void dumpOutput(std::ostream& out,
                bool& headerDone,
                bool waveHeader,
                const AM_MEDIA_TYPE& type,
                const BYTE* data,
                long length);

// Module start-up: read the parameter file, open the log when asked.
void initializeModule();
void initializeModule(const std::string& root);
