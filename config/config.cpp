#include "config/config.h"

#include <fstream>

#include "diagnostics/assertions.h"
#include "diagnostics/log_file.h"
#include "platform/paths.h"

namespace {

// Created by the first registration, whatever order the static initialisers
// of the rooms run in; owns no parameter.
ParameterRegistry* registry = nullptr;
bool readParameterFile = false;

}  // namespace

BaseParameter::BaseParameter(const std::string& name)
{
    // clang-format off
    TvAssert(! readParameterFile);
    // clang-format on
    if (!registry)
        registry = new ParameterRegistry;
    if (registry->count(name))
        reportError("Parameter " + name + " occured doubly");
    (*registry)[name] = this;
    isSet = 0;
}

BaseParameter::~BaseParameter()
{
    delete registry;
    registry = nullptr;
}

const ParameterRegistry* parameterRegistry()
{
    return registry;
}

void loadParameterFile()
{
    loadParameterFile(platform::driveRoot() + "Tavio.conf");
}

// The grammar: `name=value` pairs separated by white space, any number on a
// line; a pair's name runs up to the "=" exactly as written (blanks included),
// its value is one formatted extraction. "#" where a name would start begins a
// comment to the end of the line. An unknown name or a bad value stops the
// reading; what was read before stays.
void loadParameterFile(const std::string& path)
{
    // clang-format off
    TvAssert(readParameterFile == 0);
    // clang-format on
    readParameterFile = true;
    logStream << "parameter filename: " << path << std::endl;
    std::ifstream file(path);
    if (!file.is_open())
        return;
    readParameters(file);
}

void readParameters(std::istream& file)
{
    file >> std::ws;
    while (file.good()) {
        if (file.peek() == '#') {
            std::string comment;
            std::getline(file, comment);
        } else {
            std::string name;
            std::getline(file, name, '=');
            logStream << "name: " << name << std::endl;
            if (file.fail())
                reportError("error parsing Parameter file");
            auto it = registry ? registry->find(name) : ParameterRegistry::iterator();
            if (!registry || it == registry->end()) {
                reportError("no Parameter named '" + name + "'");
                break;
            }
            it->second->readValue(file);
            if (file.fail())
                reportError("error3 parsing parameter value for '" + name + "'");
        }
        file >> std::ws;
    }
}

void resetParametersForTesting()
{
    readParameterFile = false;
    if (!registry)
        return;
    for (auto& entry : *registry)
        if (entry.second->resetToDefault_)
            entry.second->resetToDefault_(entry.second);
}
