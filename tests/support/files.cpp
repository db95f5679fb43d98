#include "support/files.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

std::vector<uint8_t> readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string readText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeBytes(const std::string& path, const std::vector<uint8_t>& bytes)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

void writeText(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::vector<uint8_t> swappedPairs(std::vector<uint8_t> bytes)
{
    for (size_t i = 0; i + 1 < bytes.size(); i += 2)
        std::swap(bytes[i], bytes[i + 1]);
    return bytes;
}

TempFolder::TempFolder()
{
    char pattern[] = "/tmp/tavio-test-XXXXXX";
    const char* made = mkdtemp(pattern);
    path_ = std::string(made ? made : "/tmp") + "/";
}

TempFolder::~TempFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

bool runningInCi()
{
    const char* ci = std::getenv("CI");
    return ci && std::string(ci) == "true";
}

std::string vectorPath(const std::string& relative)
{
    return std::string(TAVIO_SOURCE_DIR) + "/../shared/vectors/" + relative;
}

bool vectorPresent(const std::string& relative)
{
    return std::filesystem::exists(vectorPath(relative));
}
