#include "diagnostics/profiling.h"

#include <chrono>
#include <fstream>
#include <iomanip>
#include <vector>

#include "diagnostics/assertions.h"

std::atomic<int64_t> totalDecodedTime{0};

namespace {

std::string reportPath;
std::vector<ProfileCounter*>* profileRegistry = nullptr;

int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace

void setProfileReportPath(const std::string& path)
{
    reportPath = path;
}

ProfileCounter::ProfileCounter(const char* counterName) : name(counterName)
{
    if (reportPath.empty())
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

void writeProfileReport()
{
    writeProfileReport(reportPath);
}

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
    out << std::endl
        << "total decoded time: " << static_cast<double>(totalDecodedTime) * 1e-7 << std::endl;
}

void resetProfilingForTesting()
{
    delete profileRegistry;
    profileRegistry = nullptr;
    reportPath.clear();
}
