// Reading what the process log received, line by line (a temporary folder
// stands for the drive root of parameter files and logs).
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "config/config.h"
#include "config/util.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"
#include "support/files.h"

inline std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::stringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        out.push_back(line);
    return out;
}

// Sends the process log to a file for the life of the object.
class CapturedLog {
public:
    explicit CapturedLog(const TempFolder& root) : path_(root.file("captured.log"))
    {
        logStream.close();
        logStream.clear();
        logStream.open(path_, std::ios::out | std::ios::trunc);
    }
    ~CapturedLog()
    {
        logStream.close();
        logStream.clear();
    }
    std::vector<std::string> lines()
    {
        logStream.flush();
        return ::lines(readText(path_));
    }

private:
    std::string path_;
};
