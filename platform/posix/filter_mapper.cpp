// An in-process IFilterMapper2 over the in-process registry. It writes the
// same keys as the platform's mapper (CLSID, FriendlyName, FilterData under
// CLSID\{category}\Instance\{instance}); FilterData uses a private layout.
#include <atomic>
#include <cstring>
#include <string>
#include <vector>

#include "platform/filter_registration.h"
#include "platform/registry.h"
#include "platform/strings.h"

namespace {

// CLSID_ActiveMovieCategories: the category of categories.
TV_DEFINE_GUID(categoryOfCategories,
               0xDA4E3DA0,
               0xD07D,
               0x11D0,
               0xBD,
               0x50,
               0x00,
               0xA0,
               0xC9,
               0x11,
               0xCE,
               0x86);

std::string guidText(REFGUID guid)
{
    OLECHAR text[39];
    StringFromGUID2(guid, text, 39);
    return platform::toUtf8(text);
}

std::string instanceKey(REFCLSID category, const std::string& instance)
{
    return "CLSID\\" + guidText(category) + "\\Instance\\" + instance;
}

void putDword(std::vector<BYTE>& out, DWORD v)
{
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<BYTE>(v >> (8 * i)));
}

void putGuid(std::vector<BYTE>& out, const CLSID* guid)
{
    GUID value = guid ? *guid : GUID_NULL;
    const auto* bytes = reinterpret_cast<const BYTE*>(&value);
    out.insert(out.end(), bytes, bytes + sizeof(GUID));
}

// Private layout: version, merit, pin count; per pin: flags, type count, types.
std::vector<BYTE> encode(const REGFILTER2& rf)
{
    std::vector<BYTE> out;
    putDword(out, rf.dwVersion);
    putDword(out, rf.dwMerit);
    putDword(out, rf.cPins);
    for (ULONG i = 0; i < rf.cPins; ++i) {
        DWORD flags = 0;
        UINT count = 0;
        const REGPINTYPES* types = nullptr;
        if (rf.dwVersion == 1) {
            const REGFILTERPINS& pin = rf.rgPins[i];
            flags = (pin.bOutput ? REG_PINFLAG_B_OUTPUT : 0) |
                    (pin.bZero ? REG_PINFLAG_B_ZERO : 0) | (pin.bMany ? REG_PINFLAG_B_MANY : 0) |
                    (pin.bRendered ? REG_PINFLAG_B_RENDERER : 0);
            count = pin.nMediaTypes;
            types = pin.lpMediaType;
        } else {
            const REGFILTERPINS2& pin = rf.rgPins2[i];
            flags = pin.dwFlags;
            count = pin.nMediaTypes;
            types = pin.lpMediaType;
        }
        putDword(out, flags);
        putDword(out, count);
        for (UINT t = 0; t < count; ++t) {
            putGuid(out, types[t].clsMajorType);
            putGuid(out, types[t].clsMinorType);
        }
    }
    return out;
}

LSTATUS setString(HKEY key, const char* name, const std::string& value)
{
    return RegSetValueExA(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>(value.size() + 1));
}

class FilterMapper final : public IFilterMapper2 {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override
    {
        if (!ppv)
            return E_POINTER;
        if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IFilterMapper2)) {
            *ppv = static_cast<IFilterMapper2*>(this);
            AddRef();
            return S_OK;
        }
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++refs_; }
    STDMETHODIMP_(ULONG) Release() override
    {
        ULONG left = --refs_;
        if (left == 0)
            delete this;
        return left;
    }

    STDMETHODIMP CreateCategory(REFCLSID category, DWORD merit, LPCWSTR description) override
    {
        HKEY key;
        if (RegCreateKeyExA(HKEY_CLASSES_ROOT,
                            instanceKey(categoryOfCategories, guidText(category)).c_str(), 0,
                            nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr) != ERROR_SUCCESS)
            return VFW_E_BAD_KEY;
        setString(key, "CLSID", guidText(category));
        setString(key, "FriendlyName", platform::toUtf8(description));
        RegSetValueExA(key, "Merit", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&merit),
                       sizeof merit);
        RegCloseKey(key);
        return S_OK;
    }

    STDMETHODIMP UnregisterFilter(const CLSID* category,
                                  LPCOLESTR instance,
                                  REFCLSID filter) override
    {
        std::string path = instanceKey(category ? *category : CLSID_LegacyAmFilterCategory,
                                       instance ? platform::toUtf8(instance) : guidText(filter));
        HKEY key;
        if (RegOpenKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, KEY_ALL_ACCESS, &key) !=
            ERROR_SUCCESS)
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        for (const char* name : {"CLSID", "FriendlyName", "FilterData"})
            RegDeleteValueA(key, name);
        RegCloseKey(key);
        // A key that still holds subkeys stays, as the registry keeps it; the
        // filter is unregistered all the same, its values being gone.
        LSTATUS status = RegDeleteKeyA(HKEY_CLASSES_ROOT, path.c_str());
        return status == ERROR_SUCCESS || status == ERROR_ACCESS_DENIED
                   ? S_OK
                   : HRESULT_FROM_WIN32(status);
    }

    STDMETHODIMP RegisterFilter(REFCLSID filter,
                                LPCWSTR name,
                                IMoniker** moniker,
                                const CLSID* category,
                                LPCOLESTR instance,
                                const REGFILTER2* rf2) override
    {
        if (moniker)
            *moniker = nullptr;
        if (!rf2 || (rf2->dwVersion != 1 && rf2->dwVersion != 2))
            return E_INVALIDARG;
        std::string path = instanceKey(category ? *category : CLSID_LegacyAmFilterCategory,
                                       instance ? platform::toUtf8(instance) : guidText(filter));
        HKEY key;
        if (RegCreateKeyExA(HKEY_CLASSES_ROOT, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            &key, nullptr) != ERROR_SUCCESS)
            return VFW_E_BAD_KEY;
        std::vector<BYTE> data = encode(*rf2);
        bool ok = setString(key, "CLSID", guidText(filter)) == ERROR_SUCCESS &&
                  setString(key, "FriendlyName", platform::toUtf8(name)) == ERROR_SUCCESS &&
                  RegSetValueExA(key, "FilterData", 0, REG_BINARY, data.data(),
                                 static_cast<DWORD>(data.size())) == ERROR_SUCCESS;
        RegCloseKey(key);
        return ok ? S_OK : VFW_E_BAD_KEY;
    }

    STDMETHODIMP EnumMatchingFilters(IEnumMoniker** ppEnum,
                                     DWORD,
                                     WINBOOL,
                                     DWORD,
                                     WINBOOL,
                                     DWORD,
                                     const GUID*,
                                     const REGPINMEDIUM*,
                                     const CLSID*,
                                     WINBOOL,
                                     WINBOOL,
                                     DWORD,
                                     const GUID*,
                                     const REGPINMEDIUM*,
                                     const CLSID*) override
    {
        if (ppEnum)
            *ppEnum = nullptr;
        return E_NOTIMPL;
    }

private:
    std::atomic<ULONG> refs_{0};
};

bool readValue(HKEY key, const char* name, std::vector<BYTE>& out)
{
    DWORD size = 0;
    if (RegQueryValueExA(key, name, nullptr, nullptr, nullptr, &size) != ERROR_SUCCESS)
        return false;
    out.resize(size);
    return RegQueryValueExA(key, name, nullptr, nullptr, out.data(), &size) == ERROR_SUCCESS;
}

struct Reader {
    const std::vector<BYTE>& data;
    size_t pos = 0;
    bool ok = true;
    DWORD dword()
    {
        if (pos + 4 > data.size()) {
            ok = false;
            return 0;
        }
        DWORD v = 0;
        for (int i = 0; i < 4; ++i)
            v |= DWORD(data[pos + i]) << (8 * i);
        pos += 4;
        return v;
    }
    GUID guid()
    {
        GUID g = GUID_NULL;
        if (pos + sizeof(GUID) > data.size()) {
            ok = false;
            return g;
        }
        std::memcpy(&g, data.data() + pos, sizeof(GUID));
        pos += sizeof(GUID);
        return g;
    }
};

}  // namespace

namespace platform {

HRESULT createFilterMapper(IUnknown* outer, REFIID riid, void** ppv)
{
    if (outer)
        return CLASS_E_NOAGGREGATION;
    auto* mapper = new FilterMapper;
    mapper->AddRef();
    HRESULT hr = mapper->QueryInterface(riid, ppv);
    mapper->Release();
    return hr;
}

bool readFilterRegistration(REFCLSID category, REFCLSID instance, RegisteredFilter& out)
{
    HKEY key;
    if (RegOpenKeyExA(HKEY_CLASSES_ROOT, instanceKey(category, guidText(instance)).c_str(), 0,
                      KEY_READ, &key) != ERROR_SUCCESS)
        return false;
    std::vector<BYTE> name, clsid, data;
    bool found = readValue(key, "FriendlyName", name) && readValue(key, "CLSID", clsid) &&
                 readValue(key, "FilterData", data);
    RegCloseKey(key);
    if (!found)
        return false;
    out = RegisteredFilter{};
    out.friendlyName.assign(name.begin(), name.end());
    while (!out.friendlyName.empty() && out.friendlyName.back() == 0)
        out.friendlyName.pop_back();
    CLSIDFromString(toWide(std::string(clsid.begin(), clsid.end() - 1)).c_str(), &out.clsid);
    Reader reader{data};
    reader.dword();  // version
    out.merit = reader.dword();
    DWORD pins = reader.dword();
    for (DWORD i = 0; i < pins && reader.ok; ++i) {
        RegisteredPin pin;
        DWORD flags = reader.dword();
        pin.output = flags & REG_PINFLAG_B_OUTPUT;
        pin.zero = flags & REG_PINFLAG_B_ZERO;
        pin.many = flags & REG_PINFLAG_B_MANY;
        pin.rendered = flags & REG_PINFLAG_B_RENDERER;
        DWORD types = reader.dword();
        for (DWORD t = 0; t < types && reader.ok; ++t) {
            GUID major = reader.guid();
            GUID minor = reader.guid();
            pin.types.emplace_back(major, minor);
        }
        out.pins.push_back(std::move(pin));
    }
    return reader.ok;
}

}  // namespace platform
