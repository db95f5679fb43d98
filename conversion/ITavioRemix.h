// The remixer's control interface, and what the remixer needs of its filter.
#pragma once

#include <cstdint>
#include <string>

#include "core/sibling_library.h"
#include "platform/com.h"

// {40869117-031B-465F-B899-9F335331FD45}
TV_DEFINE_GUID(IID_ITavioRemix,
               0x40869117,
               0x031B,
               0x465F,
               0xB8,
               0x99,
               0x9F,
               0x33,
               0x53,
               0x31,
               0xFD,
               0x45);

struct ITavioRemix : public IUnknown {
    STDMETHOD(SetOutputConfig)(int mode, unsigned mask) PURE;
    STDMETHOD(SetUpmixType)(int kind, int type) PURE;
    STDMETHOD(SetDownmixType)(int kind, int type) PURE;
    STDMETHOD(SetSingleChannel)(int channel) PURE;
    STDMETHOD(GetUpmixType)(int kind, int* type) PURE;
    STDMETHOD(GetDownmixType)(int kind, int* type) PURE;
    STDMETHOD(GetOutputConfig)(int* mode, unsigned* mask) PURE;
    STDMETHOD(GetSingleChannel)(int* channel) PURE;
    STDMETHOD(ResetRemix)() PURE;
};

// The filter as the remixer sees it: it passes every mix-type change on to
// its decoders, and it knows the folder its module was loaded from.
class RemixHost {
public:
    virtual void setMixType(int kind, int type, uint32_t channelMask) = 0;
    virtual LibraryFolder moduleFolder() = 0;

protected:
    ~RemixHost() = default;
};
