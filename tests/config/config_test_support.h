// A temporary drive root for parameter files and logs, and a way to read
// what the process log received.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "config/config.h"
#include "config/util.h"
#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "diagnostics/profiling.h"

class TempRoot {
public:
    TempRoot()
    {
        char pattern[] = "/tmp/tavio-config-XXXXXX";
        path_ = mkdtemp(pattern);
        path_ += "/";
    }
    ~TempRoot() { std::filesystem::remove_all(path_); }
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + name; }
    void write(const std::string& name, const std::string& text) const
    {
        std::ofstream(file(name), std::ios::binary) << text;
    }

private:
    std::string path_;
};

inline std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

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
    explicit CapturedLog(const TempRoot& root) : path_(root.file("captured.log"))
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
        return ::lines(readFile(path_));
    }

private:
    std::string path_;
};
