// Files, temporary folders and the shared real streams, for every test.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

std::vector<uint8_t> readBytes(const std::string& path);
std::string readText(const std::string& path);
void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes);
void writeText(const std::string& path, const std::string& text);

// Byte strings one after the other.
std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t>& b);
// Each pair of bytes swapped, as 16-bit words in the other order; an odd last
// byte stays where it is.
std::vector<uint8_t> swappedPairs(std::vector<uint8_t> bytes);

// A fresh folder under /tmp, removed with everything in it when the object goes.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // With a trailing slash, as the drive root and module folders are given.
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + name; }

private:
    std::string path_;
};

// True on a CI machine (CI=true), where a missing tool or vectors folder is a
// failure rather than a reason to skip.
bool runningInCi();

// The path of a real stream in the shared vectors folder.
std::string vectorPath(const std::string& relative);
bool vectorPresent(const std::string& relative);

// Skips the test when the shared vector is absent (fails it in CI).
#define REQUIRE_VECTOR(relative)                                     \
    do {                                                             \
        if (!vectorPresent(relative)) {                              \
            if (runningInCi())                                       \
                FAIL() << "missing vector " << vectorPath(relative); \
            GTEST_SKIP() << vectorPath(relative) << " not present";  \
        }                                                            \
    } while (0)
