// COM basics: IUnknown and friends, task memory, GUID strings, BSTR and VARIANT.
#pragma once

#include "platform/guid.h"
#include "platform/hresult.h"

#ifdef _WIN32
#include <objbase.h>
#include <ocidl.h>
#include <oleauto.h>
#else

// clang-format off
DEFINE_GUID(IID_IUnknown, 0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_GUID(IID_IClassFactory, 0x00000001, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_GUID(IID_IPersist, 0x0000010C, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_GUID(IID_IPersistStream, 0x00000109, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_GUID(IID_IDispatch, 0x00020400, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
DEFINE_GUID(IID_ISpecifyPropertyPages, 0xB196B28B, 0xBAB4, 0x101A, 0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07);
DEFINE_GUID(IID_IPropertyPageSite, 0xB196B28C, 0xBAB4, 0x101A, 0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07);
DEFINE_GUID(IID_IPropertyPage, 0xB196B28D, 0xBAB4, 0x101A, 0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07);
// clang-format on

struct IUnknown {
    STDMETHOD(QueryInterface)(REFIID riid, void** ppvObject) PURE;
    STDMETHOD_(ULONG, AddRef)() PURE;
    STDMETHOD_(ULONG, Release)() PURE;
};
typedef IUnknown* LPUNKNOWN;

struct IClassFactory : public IUnknown {
    STDMETHOD(CreateInstance)(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) PURE;
    STDMETHOD(LockServer)(WINBOOL fLock) PURE;
};

struct IPersist : public IUnknown {
    STDMETHOD(GetClassID)(CLSID* pClassID) PURE;
};

struct IStream;  // only passed through (ICodecAPI settings, IPersistStream)
struct IMoniker;
struct IBindCtx;
struct IEnumMoniker;
struct ITypeInfo;

struct IPersistStream : public IPersist {
    STDMETHOD(IsDirty)() PURE;
    STDMETHOD(Load)(IStream* pStm) PURE;
    STDMETHOD(Save)(IStream* pStm, WINBOOL fClearDirty) PURE;
    STDMETHOD(GetSizeMax)(ULARGE_INTEGER* pcbSize) PURE;
};

// --- BSTR and VARIANT (the subset the codec API needs) ---
typedef OLECHAR* BSTR;
typedef uint16_t VARTYPE;
typedef int16_t VARIANT_BOOL;
#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

enum VARENUM {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_BOOL = 11,
    VT_UNKNOWN = 13,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
};

typedef struct tagVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        BSTR bstrVal;
        IUnknown* punkVal;
        CHAR cVal;
        USHORT uiVal;
        ULONG ulVal;
        ULONGLONG ullVal;
        INT intVal;
        UINT uintVal;
        struct {
            void* pvRecord;
            void* pRecInfo;
        } brecVal;  // sizes the union as on Windows (24-byte VARIANT on 64-bit)
    };
} VARIANT;
typedef VARIANT VARIANTARG;

struct DISPPARAMS;
struct EXCEPINFO;

struct IDispatch : public IUnknown {
    STDMETHOD(GetTypeInfoCount)(UINT* pctinfo) PURE;
    STDMETHOD(GetTypeInfo)(UINT iTInfo, LCID lcid, ITypeInfo** ppTInfo) PURE;
    STDMETHOD(GetIDsOfNames)
    (REFIID riid, LPOLESTR* rgszNames, UINT cNames, LCID lcid, DISPID* rgDispId) PURE;
    STDMETHOD(Invoke)
    (DISPID dispIdMember,
     REFIID riid,
     LCID lcid,
     WORD wFlags,
     DISPPARAMS* pDispParams,
     VARIANT* pVarResult,
     EXCEPINFO* pExcepInfo,
     UINT* puArgErr) PURE;
};

// --- property pages ---
typedef struct tagCAUUID {
    ULONG cElems;
    GUID* pElems;
} CAUUID;

typedef struct tagPROPPAGEINFO {
    ULONG cb;
    LPOLESTR pszTitle;
    SIZE size;
    LPOLESTR pszDocString;
    LPOLESTR pszHelpFile;
    DWORD dwHelpContext;
} PROPPAGEINFO;

struct ISpecifyPropertyPages : public IUnknown {
    STDMETHOD(GetPages)(CAUUID* pPages) PURE;
};

struct IPropertyPageSite : public IUnknown {
    STDMETHOD(OnStatusChange)(DWORD dwFlags) PURE;
    STDMETHOD(GetLocaleID)(LCID* pLocaleID) PURE;
    STDMETHOD(GetPageContainer)(IUnknown** ppUnk) PURE;
    STDMETHOD(TranslateAccelerator)(MSG* pMsg) PURE;
};

struct IPropertyPage : public IUnknown {
    STDMETHOD(SetPageSite)(IPropertyPageSite* pPageSite) PURE;
    STDMETHOD(Activate)(HWND hWndParent, LPCRECT pRect, WINBOOL bModal) PURE;
    STDMETHOD(Deactivate)() PURE;
    STDMETHOD(GetPageInfo)(PROPPAGEINFO* pPageInfo) PURE;
    STDMETHOD(SetObjects)(ULONG cObjects, IUnknown** ppUnk) PURE;
    STDMETHOD(Show)(UINT nCmdShow) PURE;
    STDMETHOD(Move)(LPCRECT pRect) PURE;
    STDMETHOD(IsPageDirty)() PURE;
    STDMETHOD(Apply)() PURE;
    STDMETHOD(Help)(LPCOLESTR pszHelpDir) PURE;
    STDMETHOD(TranslateAccelerator)(MSG* pMsg) PURE;
};

#define PROPPAGESTATUS_DIRTY 0x1
#define PROPPAGESTATUS_VALIDATE 0x2
#define PROPPAGESTATUS_CLEAN 0x4

// --- functions (implemented in com.cpp) ---
#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_INPROC (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER)
#define COINIT_APARTMENTTHREADED 0x2
#define COINIT_MULTITHREADED 0x0

extern "C" {
void* CoTaskMemAlloc(size_t cb);
void CoTaskMemFree(void* pv);
HRESULT StringFromCLSID(REFCLSID rclsid, LPOLESTR* lplpsz);
HRESULT CLSIDFromString(LPCOLESTR lpsz, LPCLSID pclsid);
int StringFromGUID2(REFGUID rguid, LPOLESTR lpsz, int cchMax);
HRESULT CoInitialize(LPVOID pvReserved);
void CoUninitialize();
HRESULT CoCreateInstance(REFCLSID rclsid,
                         LPUNKNOWN pUnkOuter,
                         DWORD dwClsContext,
                         REFIID riid,
                         LPVOID* ppv);

BSTR SysAllocString(const OLECHAR* psz);
BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui);
void SysFreeString(BSTR bstrString);
UINT SysStringLen(BSTR pbstr);
void VariantInit(VARIANT* pvarg);
HRESULT VariantClear(VARIANT* pvarg);
HRESULT VariantCopy(VARIANTARG* pvargDest, VARIANTARG* pvargSrc);
// Converts to VT_BSTR (decimal text for the numbers, "True"/"False" as
// automation writes booleans, "" for VT_EMPTY) or copies to the same type;
// anything else is DISP_E_TYPEMISMATCH. Source and destination may be one.
HRESULT VariantChangeType(VARIANTARG* pvargDest, VARIANTARG* pvarSrc, USHORT wFlags, VARTYPE vt);
}
#endif  // _WIN32
