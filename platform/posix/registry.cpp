// The registry as an in-process store: keys by case-insensitive path, each
// with typed values. Handles of opened keys name their full path.
#include "platform/registry.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace {

struct Value {
    DWORD type = REG_NONE;
    std::vector<BYTE> data;
};

struct Key {
    std::string name;                                             // last path element, as created
    std::map<std::string, std::pair<std::string, Value>> values;  // lower name -> (name, value)
};

struct OpenKey {
    std::string path;  // lower-case full path, "hkcr\clsid\..."
};

std::mutex storeLock;
std::map<std::string, Key> store;  // lower-case full path -> key

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool rootName(HKEY key, std::string& path)
{
    if (key == HKEY_CLASSES_ROOT)
        path = "hkcr";
    else if (key == HKEY_CURRENT_USER)
        path = "hkcu";
    else if (key == HKEY_LOCAL_MACHINE)
        path = "hklm";
    else
        return false;
    return true;
}

// The full lower-case path of `sub` below `key`; false for an invalid handle.
bool resolve(HKEY key, LPCSTR sub, std::string& path)
{
    if (!rootName(key, path)) {
        if (!key)
            return false;
        path = static_cast<OpenKey*>(key)->path;
    }
    if (sub && *sub) {
        std::string rest = sub;
        while (!rest.empty() && rest.back() == '\\')
            rest.pop_back();
        if (!rest.empty()) {
            path += '\\';
            path += lower(rest);
        }
    }
    return true;
}

bool exists(const std::string& path)
{
    return path.find('\\') == std::string::npos || store.count(path) != 0;
}

HKEY openHandle(const std::string& path)
{
    return new OpenKey{path};
}

}  // namespace

extern "C" {

LSTATUS RegCreateKeyExA(HKEY key,
                        LPCSTR subKey,
                        DWORD,
                        LPSTR,
                        DWORD,
                        REGSAM,
                        void*,
                        HKEY* result,
                        DWORD* disposition)
{
    if (!result)
        return ERROR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> guard(storeLock);
    std::string path;
    if (!resolve(key, subKey, path))
        return ERROR_INVALID_HANDLE;
    bool created = false;
    // Create every missing element along the path, as the registry does; new
    // keys keep the case the caller gave them.
    std::string given = subKey ? subKey : "";
    while (!given.empty() && given.back() == '\\')
        given.pop_back();
    size_t givenStart = path.size() - lower(given).size();
    for (size_t pos = path.find('\\'); pos != std::string::npos;) {
        size_t next = path.find('\\', pos + 1);
        std::string prefix = path.substr(0, next);
        if (!store.count(prefix)) {
            Key k;
            size_t end = next == std::string::npos ? path.size() : next;
            k.name = pos + 1 >= givenStart ? given.substr(pos + 1 - givenStart, end - pos - 1)
                                           : prefix.substr(pos + 1);
            store[prefix] = k;
            created = true;
        }
        pos = next;
    }
    *result = openHandle(path);
    if (disposition)
        *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    return ERROR_SUCCESS;
}

LSTATUS RegOpenKeyExA(HKEY key, LPCSTR subKey, DWORD, REGSAM, HKEY* result)
{
    if (!result)
        return ERROR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> guard(storeLock);
    std::string path;
    if (!resolve(key, subKey, path))
        return ERROR_INVALID_HANDLE;
    if (!exists(path))
        return ERROR_FILE_NOT_FOUND;
    *result = openHandle(path);
    return ERROR_SUCCESS;
}

LSTATUS RegSetValueExA(HKEY key, LPCSTR valueName, DWORD, DWORD type, const BYTE* data, DWORD size)
{
    std::lock_guard<std::mutex> guard(storeLock);
    std::string path;
    if (!resolve(key, nullptr, path) || path.find('\\') == std::string::npos)
        return ERROR_INVALID_HANDLE;
    auto it = store.find(path);
    if (it == store.end())
        return ERROR_INVALID_HANDLE;  // deleted while open
    std::string name = valueName ? valueName : "";
    Value value;
    value.type = type;
    if (data)
        value.data.assign(data, data + size);
    it->second.values[lower(name)] = {name, value};
    return ERROR_SUCCESS;
}

LSTATUS RegQueryValueExA(HKEY key, LPCSTR valueName, DWORD*, DWORD* type, BYTE* data, DWORD* size)
{
    std::lock_guard<std::mutex> guard(storeLock);
    std::string path;
    if (!resolve(key, nullptr, path))
        return ERROR_INVALID_HANDLE;
    auto it = store.find(path);
    if (it == store.end())
        return ERROR_FILE_NOT_FOUND;
    auto v = it->second.values.find(lower(valueName ? valueName : ""));
    if (v == it->second.values.end())
        return ERROR_FILE_NOT_FOUND;
    const Value& value = v->second.second;
    if (type)
        *type = value.type;
    DWORD needed = static_cast<DWORD>(value.data.size());
    if (data) {
        if (!size || *size < needed) {
            if (size)
                *size = needed;
            return ERROR_MORE_DATA;
        }
        std::memcpy(data, value.data.data(), needed);
    }
    if (size)
        *size = needed;
    return ERROR_SUCCESS;
}

LSTATUS
RegEnumKeyExA(HKEY key, DWORD index, LPSTR name, DWORD* nameSize, DWORD*, LPSTR, DWORD*, FILETIME*)
{
    if (!name || !nameSize)
        return ERROR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> guard(storeLock);
    std::string path;
    if (!resolve(key, nullptr, path))
        return ERROR_INVALID_HANDLE;
    std::string prefix = path + "\\";
    DWORD seen = 0;
    for (auto it = store.lower_bound(prefix); it != store.end(); ++it) {
        if (it->first.compare(0, prefix.size(), prefix) != 0)
            break;
        if (it->first.find('\\', prefix.size()) != std::string::npos)
            continue;  // a deeper descendant
        if (seen++ != index)
            continue;
        const std::string& child = it->second.name;
        if (child.size() + 1 > *nameSize)
            return ERROR_MORE_DATA;
        std::memcpy(name, child.c_str(), child.size() + 1);
        *nameSize = static_cast<DWORD>(child.size());
        return ERROR_SUCCESS;
    }
    return ERROR_NO_MORE_ITEMS;
}

// Like the NT registry, a key that still has subkeys is not deleted.
LSTATUS RegDeleteKeyA(HKEY key, LPCSTR subKey)
{
    std::lock_guard<std::mutex> guard(storeLock);
    std::string path;
    if (!resolve(key, subKey, path))
        return ERROR_INVALID_HANDLE;
    auto it = store.find(path);
    if (it == store.end())
        return ERROR_FILE_NOT_FOUND;
    auto next = std::next(it);
    if (next != store.end() && next->first.compare(0, path.size() + 1, path + "\\") == 0)
        return ERROR_ACCESS_DENIED;
    store.erase(it);
    return ERROR_SUCCESS;
}

LSTATUS RegDeleteValueA(HKEY key, LPCSTR valueName)
{
    std::lock_guard<std::mutex> guard(storeLock);
    std::string path;
    if (!resolve(key, nullptr, path))
        return ERROR_INVALID_HANDLE;
    auto it = store.find(path);
    if (it == store.end())
        return ERROR_FILE_NOT_FOUND;
    return it->second.values.erase(lower(valueName ? valueName : "")) ? ERROR_SUCCESS
                                                                      : ERROR_FILE_NOT_FOUND;
}

LSTATUS RegCloseKey(HKEY key)
{
    std::string root;
    if (!key)
        return ERROR_INVALID_HANDLE;
    if (!rootName(key, root))
        delete static_cast<OpenKey*>(key);
    return ERROR_SUCCESS;
}

}  // extern "C"

namespace platform {

void registryClear()
{
    std::lock_guard<std::mutex> guard(storeLock);
    store.clear();
}

}  // namespace platform
