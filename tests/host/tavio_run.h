// Running the built tavio executable as a user does, for the host's tests.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <algorithm>
#include <cstdlib>
#include <string>

#include "support/files.h"
#include "support/wav_file.h"

inline const std::string kTavio = TAVIO_EXECUTABLE;

// Runs tavio with `arguments`; returns its exit code and what it wrote on
// standard error.
inline int runTavio(const std::string& arguments, std::string* errors = nullptr)
{
    TempFolder folder;
    std::string errorFile = folder.file("stderr.txt");
    int status = std::system((kTavio + " " + arguments + " 2>" + errorFile).c_str());
    if (errors)
        *errors = readText(errorFile);
    return WEXITSTATUS(status);
}

inline WavFile readWav(const std::string& path)
{
    WavFile wav;
    EXPECT_TRUE(parseWav(readBytes(path), wav)) << path;
    return wav;
}

inline long lineCount(const std::string& text)
{
    return std::count(text.begin(), text.end(), '\n');
}
