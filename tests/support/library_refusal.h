// A decoder whose sibling library is missing, is not a library, or lacks
// AUDIODEC_Create refuses its type; the process log names the library and,
// when loading failed, carries the system's error on the next line.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "diagnostics/log_file.h"
#include "support/reference_tools.h"

// `Decoder` is constructed as (filter log, module folder); the library is
// copied into a temporary module folder as `library`.
template <class Decoder>
void expectRefusedWithoutItsLibrary(const std::string& library, const CMediaType& type)
{
    TempFolder folder;
    std::string log = folder.file("process.log");
    struct Case {
        const char* what;
        std::string copiedIn;  // "" = no library
        bool loadError;
    } cases[] = {
        {"missing", "", true},
        {"not a library", log, true},
        {"no AUDIODEC_Create", TEST_MODULE_PATH, false},
    };
    for (const Case& c : cases) {
        std::filesystem::remove(folder.file(library));
        if (!c.copiedIn.empty()) {
            std::ofstream(log) << "not a library";
            std::filesystem::copy_file(c.copiedIn, folder.file(library));
        }
        logStream.open(log, std::ios::out | std::ios::trunc);
        std::ostringstream filterLog;
        Decoder decoder(filterLog, folder.file(""));
        EXPECT_TRUE(decoder.accepts(type)) << c.what;
        EXPECT_EQ(decoder.init(type), nullptr) << c.what;
        logStream.close();
        std::ifstream in(log);
        std::string first, second;
        std::getline(in, first);
        std::getline(in, second);
        EXPECT_EQ(first, "OpenDll: " + library) << c.what;
        EXPECT_EQ(second.rfind("error: ", 0) == 0 && second.size() > 7, c.loadError)
            << c.what << ": " << second;
    }
}
