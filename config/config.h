// Named, typed, process-wide parameters and the parameter file that sets them.
// Each parameter is a global object `P<name>` defined in the room that reads
// it; the file is read once at start-up and the values are constant after.
#pragma once

#include <istream>
#include <map>
#include <string>

class BaseParameter {
public:
    explicit BaseParameter(const std::string& name);
    BaseParameter(const BaseParameter&) = delete;
    BaseParameter& operator=(const BaseParameter&) = delete;

    // Reads the value from the file's stream and marks the parameter set,
    // whether the read succeeded or not.
    virtual std::istream& readValue(std::istream& in) = 0;

    // 1 when the parameter file named this parameter.
    int isSet = 0;

protected:
    // Not virtual: parameters are never deleted through the base. The first
    // one destroyed at unload takes the registry with it.
    ~BaseParameter();

    // Puts the default back (tests only; the system never writes a parameter).
    using ResetFunction = void (*)(BaseParameter*);
    ResetFunction resetToDefault_ = nullptr;

    friend void resetParametersForTesting();
};

template <class T>
class Parameter : public BaseParameter {
public:
    Parameter(const std::string& name, T defaultValue)
        : BaseParameter(name), value(defaultValue), default_(defaultValue)
    {
        resetToDefault_ = [](BaseParameter* self) {
            auto* parameter = static_cast<Parameter*>(self);
            parameter->value = parameter->default_;
            parameter->isSet = 0;
        };
    }
    ~Parameter() = default;

    T operator()() const { return value; }
    // Formatted extraction: a bool takes only 0 or 1, a string one word.
    std::istream& readValue(std::istream& in) override
    {
        in >> value;
        isSet = 1;
        return in;
    }

    T value;

private:
    T default_;
};

// The registry: name -> parameter, created by the first registration.
using ParameterRegistry = std::map<std::string, BaseParameter*>;
const ParameterRegistry* parameterRegistry();

// Reads <drive root>Tavio.conf; called once by the module start-up.
void loadParameterFile();
// Reads the parameter file at `path` by the file grammar (see config.cpp).
void loadParameterFile(const std::string& path);
// The file grammar applied to a stream (the file reader's loop).
void readParameters(std::istream& in);

// Tests only: every parameter back to its default and unset, and the file
// counted as not read yet.
void resetParametersForTesting();
