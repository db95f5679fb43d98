// What the memory tests need to know about the process: its resident size,
// and whether AddressSanitizer runs it (its quarantine keeps freed blocks
// resident, so resident growth means nothing there; LeakSanitizer checks the
// heap instead).
#pragma once

#include <unistd.h>

#include <fstream>

#if defined(__SANITIZE_ADDRESS__)
#define TAVIO_TEST_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TAVIO_TEST_UNDER_ASAN 1
#endif
#endif

#ifdef TAVIO_TEST_UNDER_ASAN
constexpr bool kResidentGrowthMeaningful = false;
#else
constexpr bool kResidentGrowthMeaningful = true;
#endif

inline double residentMegabytes()
{
    std::ifstream statm("/proc/self/statm");
    long pages = 0;
    long resident = 0;
    statm >> pages >> resident;
    return double(resident) * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
}
