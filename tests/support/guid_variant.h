// A GUID as the codec API takes a property value: its braced text in a BSTR.
#pragma once

#include "platform/windows_api.h"

// The caller clears the variant (VariantClear) when done.
inline VARIANT guidVariant(const GUID& guid)
{
    VARIANT value;
    VariantInit(&value);
    OLECHAR wide[40];
    StringFromGUID2(guid, wide, 40);
    value.vt = VT_BSTR;
    value.bstrVal = SysAllocString(wide);
    return value;
}
