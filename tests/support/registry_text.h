// Reading back values below HKEY_CLASSES_ROOT (on POSIX the in-process
// store), to see what registration wrote.
#pragma once

#include <string>

#include "platform/windows_api.h"

// A string value ("" names the default value); "<missing>" when the key or
// the value is absent.
inline std::string registryString(const std::string& path, const char* name = nullptr)
{
    HKEY key;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return "<missing>";
    char value[1024] = {};
    DWORD size = sizeof value - 1;
    LSTATUS status =
        RegQueryValueExA(key, name, nullptr, nullptr, reinterpret_cast<BYTE*>(value), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS ? std::string(value) : "<missing>";
}

// A REG_DWORD value; false when the key or the value is absent or of another type.
inline bool registryDword(const std::string& path, const char* name, DWORD& value)
{
    HKEY key;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    DWORD size = sizeof value, type = REG_NONE;
    LSTATUS status =
        RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &size);
    RegCloseKey(key);
    return status == ERROR_SUCCESS && type == REG_DWORD;
}
