// DirectShow interfaces and structures (the strmif.h subset the system uses),
// with the published IIDs and the Windows virtual slot order.
#pragma once

#include "platform/com.h"

#ifdef _WIN32
#include <control.h>
#include <evcode.h>
#include <strmif.h>
#include <uuids.h>
#else

typedef LONGLONG REFERENCE_TIME;
typedef double REFTIME;

// clang-format off
DEFINE_GUID(IID_IPin, 0x56A86891, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IEnumPins, 0x56A86892, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IBaseFilter, 0x56A86895, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IReferenceClock, 0x56A86897, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IMediaFilter, 0x56A86899, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IMediaSample, 0x56A8689A, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IMemAllocator, 0x56A8689C, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IMemInputPin, 0x56A8689D, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IFilterGraph, 0x56A8689F, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IGraphBuilder, 0x56A868A9, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IFilterGraph2, 0x36B73882, 0xC2C8, 0x11CF, 0x8B, 0x46, 0x00, 0x80, 0x5F, 0x6C, 0xEF, 0x60);
DEFINE_GUID(IID_IMediaEventSink, 0x56A868A2, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IQualityControl, 0x56A868A5, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IMediaPosition, 0x56A868B2, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IEnumFilters, 0x56A86893, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
DEFINE_GUID(IID_IEnumMediaTypes, 0x89C31040, 0x846B, 0x11CE, 0x97, 0xD3, 0x00, 0xAA, 0x00, 0x55, 0x59, 0x5A);
DEFINE_GUID(IID_IMediaSeeking, 0x36B73880, 0xC2C8, 0x11CF, 0x8B, 0x46, 0x00, 0x80, 0x5F, 0x6C, 0xEF, 0x60);
DEFINE_GUID(IID_IMediaSample2, 0x36B73884, 0xC2C8, 0x11CF, 0x8B, 0x46, 0x00, 0x80, 0x5F, 0x6C, 0xEF, 0x60);
DEFINE_GUID(IID_IAMovieSetup, 0xA3D8CEC0, 0x7E5A, 0x11CF, 0xBB, 0xC5, 0x00, 0x80, 0x5F, 0x6C, 0xEF, 0x20);
DEFINE_GUID(IID_IFilterMapper2, 0xB79BB0B0, 0x33C1, 0x11D1, 0xAB, 0xE1, 0x00, 0xA0, 0xC9, 0x05, 0xF3, 0x75);
DEFINE_GUID(IID_IMemAllocatorCallbackTemp, 0x379A0CF0, 0xC1DE, 0x11D2, 0xAB, 0xF5, 0x00, 0xA0, 0xC9, 0x05, 0xF3, 0x75);
DEFINE_GUID(IID_IMemAllocatorNotifyCallbackTemp, 0x92980B30, 0xC1DE, 0x11D2, 0xAB, 0xF5, 0x00, 0xA0, 0xC9, 0x05, 0xF3, 0x75);
DEFINE_GUID(IID_IAMFilterMiscFlags, 0x2DD74950, 0xA890, 0x11D1, 0xAB, 0xE8, 0x00, 0xA0, 0xC9, 0x05, 0xF3, 0x75);
DEFINE_GUID(IID_IKsPropertySet, 0x31EFAC30, 0x515C, 0x11D0, 0xA9, 0xAA, 0x00, 0xAA, 0x00, 0x61, 0xBE, 0x93);

DEFINE_GUID(CLSID_MemoryAllocator, 0x1E651CC0, 0xB199, 0x11D0, 0x82, 0x12, 0x00, 0xC0, 0x4F, 0xC3, 0x2C, 0x45);
DEFINE_GUID(CLSID_FilterMapper2, 0xCDA42200, 0xBD88, 0x11D0, 0xBD, 0x4E, 0x00, 0xA0, 0xC9, 0x11, 0xCE, 0x86);
DEFINE_GUID(CLSID_LegacyAmFilterCategory, 0x083863F1, 0x70DE, 0x11D0, 0xBD, 0x40, 0x00, 0xA0, 0xC9, 0x11, 0xCE, 0x86);

DEFINE_GUID(TIME_FORMAT_NONE, 0x00000000, 0x0000, 0x0000, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00);
DEFINE_GUID(TIME_FORMAT_FRAME, 0x7B785570, 0x8C82, 0x11CF, 0xBC, 0x0C, 0x00, 0xAA, 0x00, 0xAC, 0x74, 0xF6);
DEFINE_GUID(TIME_FORMAT_BYTE, 0x7B785571, 0x8C82, 0x11CF, 0xBC, 0x0C, 0x00, 0xAA, 0x00, 0xAC, 0x74, 0xF6);
DEFINE_GUID(TIME_FORMAT_SAMPLE, 0x7B785572, 0x8C82, 0x11CF, 0xBC, 0x0C, 0x00, 0xAA, 0x00, 0xAC, 0x74, 0xF6);
DEFINE_GUID(TIME_FORMAT_FIELD, 0x7B785573, 0x8C82, 0x11CF, 0xBC, 0x0C, 0x00, 0xAA, 0x00, 0xAC, 0x74, 0xF6);
DEFINE_GUID(TIME_FORMAT_MEDIA_TIME, 0x7B785574, 0x8C82, 0x11CF, 0xBC, 0x0C, 0x00, 0xAA, 0x00, 0xAC, 0x74, 0xF6);
// clang-format on

struct IPin;
struct IBaseFilter;
struct IEnumPins;
struct IEnumMediaTypes;
struct IEnumFilters;
struct IFilterGraph;
struct IReferenceClock;
struct IMemAllocator;
struct IMediaSample;
struct IQualityControl;

typedef struct _AMMediaType {
    GUID majortype;
    GUID subtype;
    WINBOOL bFixedSizeSamples;
    WINBOOL bTemporalCompression;
    ULONG lSampleSize;
    GUID formattype;
    IUnknown* pUnk;
    ULONG cbFormat;
    BYTE* pbFormat;
} AM_MEDIA_TYPE;

typedef enum _PinDirection { PINDIR_INPUT = 0, PINDIR_OUTPUT = 1 } PIN_DIRECTION;
typedef enum _FilterState { State_Stopped = 0, State_Paused = 1, State_Running = 2 } FILTER_STATE;

#define MAX_PIN_NAME 128
#define MAX_FILTER_NAME 128

typedef struct _PinInfo {
    IBaseFilter* pFilter;
    PIN_DIRECTION dir;
    WCHAR achName[MAX_PIN_NAME];
} PIN_INFO;

typedef struct _FilterInfo {
    WCHAR achName[MAX_FILTER_NAME];
    IFilterGraph* pGraph;
} FILTER_INFO;

typedef struct _AllocatorProperties {
    LONG cBuffers;
    LONG cbBuffer;
    LONG cbAlign;
    LONG cbPrefix;
} ALLOCATOR_PROPERTIES;

typedef struct tagAM_SAMPLE2_PROPERTIES {
    DWORD cbData;
    DWORD dwTypeSpecificFlags;
    DWORD dwSampleFlags;
    LONG lActual;
    REFERENCE_TIME tStart;
    REFERENCE_TIME tStop;
    DWORD dwStreamId;
    AM_MEDIA_TYPE* pMediaType;
    BYTE* pbBuffer;
    LONG cbBuffer;
} AM_SAMPLE2_PROPERTIES;

typedef enum tagQualityMessageType { Famine = 0, Flood = 1 } QualityMessageType;
typedef struct tagQuality {
    QualityMessageType Type;
    LONG Proportion;
    REFERENCE_TIME Late;
    REFERENCE_TIME TimeStamp;
} Quality;

enum tagAM_SAMPLE_PROPERTY_FLAGS {
    AM_SAMPLE_SPLICEPOINT = 0x1,
    AM_SAMPLE_PREROLL = 0x2,
    AM_SAMPLE_DATADISCONTINUITY = 0x4,
    AM_SAMPLE_TYPECHANGED = 0x8,
    AM_SAMPLE_TIMEVALID = 0x10,
    AM_SAMPLE_TIMEDISCONTINUITY = 0x40,
    AM_SAMPLE_FLUSH_ON_PAUSE = 0x80,
    AM_SAMPLE_STOPVALID = 0x100,
    AM_SAMPLE_ENDOFSTREAM = 0x200,
    AM_STREAM_MEDIA = 0,
    AM_STREAM_CONTROL = 1
};

#define AM_GBF_PREVFRAMESKIPPED 1
#define AM_GBF_NOTASYNCPOINT 2
#define AM_GBF_NOWAIT 4
#define AM_GBF_NODDSURFACELOCK 8

enum AM_SEEKING_SEEKING_CAPABILITIES {
    AM_SEEKING_CanSeekAbsolute = 0x1,
    AM_SEEKING_CanSeekForwards = 0x2,
    AM_SEEKING_CanSeekBackwards = 0x4,
    AM_SEEKING_CanGetCurrentPos = 0x8,
    AM_SEEKING_CanGetStopPos = 0x10,
    AM_SEEKING_CanGetDuration = 0x20,
    AM_SEEKING_CanPlayBackwards = 0x40,
    AM_SEEKING_CanDoSegments = 0x80,
    AM_SEEKING_Source = 0x100
};

enum AM_SEEKING_SEEKING_FLAGS {
    AM_SEEKING_NoPositioning = 0,
    AM_SEEKING_AbsolutePositioning = 0x1,
    AM_SEEKING_RelativePositioning = 0x2,
    AM_SEEKING_IncrementalPositioning = 0x3,
    AM_SEEKING_PositioningBitsMask = 0x3,
    AM_SEEKING_SeekToKeyFrame = 0x4,
    AM_SEEKING_ReturnTime = 0x8,
    AM_SEEKING_Segment = 0x10,
    AM_SEEKING_NoFlush = 0x20
};

#define KSPROPERTY_SUPPORT_GET 1
#define KSPROPERTY_SUPPORT_SET 2

// Filter-graph event codes (evcode.h).
#define EC_COMPLETE 0x01
#define EC_USERABORT 0x02
#define EC_ERRORABORT 0x03
#define EC_STREAM_ERROR_STOPPED 0x06
#define EC_STREAM_ERROR_STILLPLAYING 0x07
#define EC_ERROR_STILLPLAYING 0x08
#define EC_QUALITY_CHANGE 0x0B

enum {
    MERIT_PREFERRED = 0x800000,
    MERIT_NORMAL = 0x600000,
    MERIT_UNLIKELY = 0x400000,
    MERIT_DO_NOT_USE = 0x200000,
    MERIT_SW_COMPRESSOR = 0x100000,
    MERIT_HW_COMPRESSOR = 0x100050
};

enum {
    REG_PINFLAG_B_ZERO = 0x1,
    REG_PINFLAG_B_RENDERER = 0x2,
    REG_PINFLAG_B_MANY = 0x4,
    REG_PINFLAG_B_OUTPUT = 0x8
};

typedef struct {
    const CLSID* clsMajorType;
    const CLSID* clsMinorType;
} REGPINTYPES;

typedef struct {
    LPWSTR strName;
    WINBOOL bRendered;
    WINBOOL bOutput;
    WINBOOL bZero;
    WINBOOL bMany;
    const CLSID* clsConnectsToFilter;
    const WCHAR* strConnectsToPin;
    UINT nMediaTypes;
    const REGPINTYPES* lpMediaType;
} REGFILTERPINS;

typedef struct {
    CLSID clsMedium;
    DWORD dw1;
    DWORD dw2;
} REGPINMEDIUM;

typedef struct {
    DWORD dwFlags;
    UINT cInstances;
    UINT nMediaTypes;
    const REGPINTYPES* lpMediaType;
    UINT nMediums;
    const REGPINMEDIUM* lpMedium;
    const CLSID* clsPinCategory;
} REGFILTERPINS2;

typedef struct {
    DWORD dwVersion;
    DWORD dwMerit;
    union {
        struct {
            ULONG cPins;
            const REGFILTERPINS* rgPins;
        };
        struct {
            ULONG cPins2;
            const REGFILTERPINS2* rgPins2;
        };
    };
} REGFILTER2;

struct IEnumPins : public IUnknown {
    STDMETHOD(Next)(ULONG cPins, IPin** ppPins, ULONG* pcFetched) PURE;
    STDMETHOD(Skip)(ULONG cPins) PURE;
    STDMETHOD(Reset)() PURE;
    STDMETHOD(Clone)(IEnumPins** ppEnum) PURE;
};

struct IEnumMediaTypes : public IUnknown {
    STDMETHOD(Next)(ULONG cMediaTypes, AM_MEDIA_TYPE** ppMediaTypes, ULONG* pcFetched) PURE;
    STDMETHOD(Skip)(ULONG cMediaTypes) PURE;
    STDMETHOD(Reset)() PURE;
    STDMETHOD(Clone)(IEnumMediaTypes** ppEnum) PURE;
};

struct IPin : public IUnknown {
    STDMETHOD(Connect)(IPin* pReceivePin, const AM_MEDIA_TYPE* pmt) PURE;
    STDMETHOD(ReceiveConnection)(IPin* pConnector, const AM_MEDIA_TYPE* pmt) PURE;
    STDMETHOD(Disconnect)() PURE;
    STDMETHOD(ConnectedTo)(IPin** pPin) PURE;
    STDMETHOD(ConnectionMediaType)(AM_MEDIA_TYPE* pmt) PURE;
    STDMETHOD(QueryPinInfo)(PIN_INFO* pInfo) PURE;
    STDMETHOD(QueryDirection)(PIN_DIRECTION* pPinDir) PURE;
    STDMETHOD(QueryId)(LPWSTR* Id) PURE;
    STDMETHOD(QueryAccept)(const AM_MEDIA_TYPE* pmt) PURE;
    STDMETHOD(EnumMediaTypes)(IEnumMediaTypes** ppEnum) PURE;
    STDMETHOD(QueryInternalConnections)(IPin** apPin, ULONG* nPin) PURE;
    STDMETHOD(EndOfStream)() PURE;
    STDMETHOD(BeginFlush)() PURE;
    STDMETHOD(EndFlush)() PURE;
    STDMETHOD(NewSegment)(REFERENCE_TIME tStart, REFERENCE_TIME tStop, double dRate) PURE;
};

struct IMediaSample : public IUnknown {
    STDMETHOD(GetPointer)(BYTE** ppBuffer) PURE;
    STDMETHOD_(LONG, GetSize)() PURE;
    STDMETHOD(GetTime)(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) PURE;
    STDMETHOD(SetTime)(REFERENCE_TIME* pTimeStart, REFERENCE_TIME* pTimeEnd) PURE;
    STDMETHOD(IsSyncPoint)() PURE;
    STDMETHOD(SetSyncPoint)(WINBOOL bIsSyncPoint) PURE;
    STDMETHOD(IsPreroll)() PURE;
    STDMETHOD(SetPreroll)(WINBOOL bIsPreroll) PURE;
    STDMETHOD_(LONG, GetActualDataLength)() PURE;
    STDMETHOD(SetActualDataLength)(LONG a) PURE;
    STDMETHOD(GetMediaType)(AM_MEDIA_TYPE** ppMediaType) PURE;
    STDMETHOD(SetMediaType)(AM_MEDIA_TYPE* pMediaType) PURE;
    STDMETHOD(IsDiscontinuity)() PURE;
    STDMETHOD(SetDiscontinuity)(WINBOOL bDiscontinuity) PURE;
    STDMETHOD(GetMediaTime)(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) PURE;
    STDMETHOD(SetMediaTime)(LONGLONG* pTimeStart, LONGLONG* pTimeEnd) PURE;
};

struct IMediaSample2 : public IMediaSample {
    STDMETHOD(GetProperties)(DWORD cbProperties, BYTE* pbProperties) PURE;
    STDMETHOD(SetProperties)(DWORD cbProperties, const BYTE* pbProperties) PURE;
};

struct IMemAllocator : public IUnknown {
    STDMETHOD(SetProperties)(ALLOCATOR_PROPERTIES* pRequest, ALLOCATOR_PROPERTIES* pActual) PURE;
    STDMETHOD(GetProperties)(ALLOCATOR_PROPERTIES* pProps) PURE;
    STDMETHOD(Commit)() PURE;
    STDMETHOD(Decommit)() PURE;
    STDMETHOD(GetBuffer)
    (IMediaSample** ppBuffer,
     REFERENCE_TIME* pStartTime,
     REFERENCE_TIME* pEndTime,
     DWORD dwFlags) PURE;
    STDMETHOD(ReleaseBuffer)(IMediaSample* pBuffer) PURE;
};

struct IMemAllocatorNotifyCallbackTemp : public IUnknown {
    STDMETHOD(NotifyRelease)() PURE;
};

struct IMemAllocatorCallbackTemp : public IMemAllocator {
    STDMETHOD(SetNotify)(IMemAllocatorNotifyCallbackTemp* pNotify) PURE;
    STDMETHOD(GetFreeCount)(LONG* plBuffersFree) PURE;
};

struct IMemInputPin : public IUnknown {
    STDMETHOD(GetAllocator)(IMemAllocator** ppAllocator) PURE;
    STDMETHOD(NotifyAllocator)(IMemAllocator* pAllocator, WINBOOL bReadOnly) PURE;
    STDMETHOD(GetAllocatorRequirements)(ALLOCATOR_PROPERTIES* pProps) PURE;
    STDMETHOD(Receive)(IMediaSample* pSample) PURE;
    STDMETHOD(ReceiveMultiple)
    (IMediaSample** pSamples, LONG nSamples, LONG* nSamplesProcessed) PURE;
    STDMETHOD(ReceiveCanBlock)() PURE;
};

struct IReferenceClock : public IUnknown {
    STDMETHOD(GetTime)(REFERENCE_TIME* pTime) PURE;
    STDMETHOD(AdviseTime)
    (REFERENCE_TIME baseTime,
     REFERENCE_TIME streamTime,
     HEVENT hEvent,
     DWORD_PTR* pdwAdviseCookie) PURE;
    STDMETHOD(AdvisePeriodic)
    (REFERENCE_TIME startTime,
     REFERENCE_TIME periodTime,
     HSEMAPHORE hSemaphore,
     DWORD_PTR* pdwAdviseCookie) PURE;
    STDMETHOD(Unadvise)(DWORD_PTR dwAdviseCookie) PURE;
};

struct IMediaFilter : public IPersist {
    STDMETHOD(Stop)() PURE;
    STDMETHOD(Pause)() PURE;
    STDMETHOD(Run)(REFERENCE_TIME tStart) PURE;
    STDMETHOD(GetState)(DWORD dwMilliSecsTimeout, FILTER_STATE* State) PURE;
    STDMETHOD(SetSyncSource)(IReferenceClock* pClock) PURE;
    STDMETHOD(GetSyncSource)(IReferenceClock** pClock) PURE;
};

struct IBaseFilter : public IMediaFilter {
    STDMETHOD(EnumPins)(IEnumPins** ppEnum) PURE;
    STDMETHOD(FindPin)(LPCWSTR Id, IPin** ppPin) PURE;
    STDMETHOD(QueryFilterInfo)(FILTER_INFO* pInfo) PURE;
    STDMETHOD(JoinFilterGraph)(IFilterGraph* pGraph, LPCWSTR pName) PURE;
    STDMETHOD(QueryVendorInfo)(LPWSTR* pVendorInfo) PURE;
};

struct IEnumFilters : public IUnknown {
    STDMETHOD(Next)(ULONG cFilters, IBaseFilter** ppFilter, ULONG* pcFetched) PURE;
    STDMETHOD(Skip)(ULONG cFilters) PURE;
    STDMETHOD(Reset)() PURE;
    STDMETHOD(Clone)(IEnumFilters** ppEnum) PURE;
};

struct IFilterGraph : public IUnknown {
    STDMETHOD(AddFilter)(IBaseFilter* pFilter, LPCWSTR pName) PURE;
    STDMETHOD(RemoveFilter)(IBaseFilter* pFilter) PURE;
    STDMETHOD(EnumFilters)(IEnumFilters** ppEnum) PURE;
    STDMETHOD(FindFilterByName)(LPCWSTR pName, IBaseFilter** ppFilter) PURE;
    STDMETHOD(ConnectDirect)(IPin* ppinOut, IPin* ppinIn, const AM_MEDIA_TYPE* pmt) PURE;
    STDMETHOD(Reconnect)(IPin* ppin) PURE;
    STDMETHOD(Disconnect)(IPin* ppin) PURE;
    STDMETHOD(SetDefaultSyncSource)() PURE;
};

// Only for IFilterGraph2, through which a filter asks the graph to reconnect
// a pin with a given type.
struct IGraphBuilder : public IFilterGraph {
    STDMETHOD(Connect)(IPin* ppinOut, IPin* ppinIn) PURE;
    STDMETHOD(Render)(IPin* ppinOut) PURE;
    STDMETHOD(RenderFile)(LPCWSTR lpcwstrFile, LPCWSTR lpcwstrPlayList) PURE;
    STDMETHOD(AddSourceFilter)
    (LPCWSTR lpcwstrFileName, LPCWSTR lpcwstrFilterName, IBaseFilter** ppFilter) PURE;
    STDMETHOD(SetLogFile)(DWORD_PTR hFile) PURE;
    STDMETHOD(Abort)() PURE;
    STDMETHOD(ShouldOperationContinue)() PURE;
};

struct IFilterGraph2 : public IGraphBuilder {
    STDMETHOD(AddSourceFilterForMoniker)
    (IMoniker* pMoniker, IBindCtx* pCtx, LPCWSTR lpcwstrFilterName, IBaseFilter** ppFilter) PURE;
    STDMETHOD(ReconnectEx)(IPin* ppin, const AM_MEDIA_TYPE* pmt) PURE;
    STDMETHOD(RenderEx)(IPin* pPinOut, DWORD dwFlags, DWORD* pvContext) PURE;
};

struct IMediaEventSink : public IUnknown {
    STDMETHOD(Notify)(LONG EventCode, LONG_PTR EventParam1, LONG_PTR EventParam2) PURE;
};

struct IQualityControl : public IUnknown {
    STDMETHOD(Notify)(IBaseFilter* pSelf, Quality q) PURE;
    STDMETHOD(SetSink)(IQualityControl* piqc) PURE;
};

struct IMediaSeeking : public IUnknown {
    STDMETHOD(GetCapabilities)(DWORD* pCapabilities) PURE;
    STDMETHOD(CheckCapabilities)(DWORD* pCapabilities) PURE;
    STDMETHOD(IsFormatSupported)(const GUID* pFormat) PURE;
    STDMETHOD(QueryPreferredFormat)(GUID* pFormat) PURE;
    STDMETHOD(GetTimeFormat)(GUID* pFormat) PURE;
    STDMETHOD(IsUsingTimeFormat)(const GUID* pFormat) PURE;
    STDMETHOD(SetTimeFormat)(const GUID* pFormat) PURE;
    STDMETHOD(GetDuration)(LONGLONG* pDuration) PURE;
    STDMETHOD(GetStopPosition)(LONGLONG* pStop) PURE;
    STDMETHOD(GetCurrentPosition)(LONGLONG* pCurrent) PURE;
    STDMETHOD(ConvertTimeFormat)
    (LONGLONG* pTarget, const GUID* pTargetFormat, LONGLONG Source, const GUID* pSourceFormat) PURE;
    STDMETHOD(SetPositions)
    (LONGLONG* pCurrent, DWORD dwCurrentFlags, LONGLONG* pStop, DWORD dwStopFlags) PURE;
    STDMETHOD(GetPositions)(LONGLONG* pCurrent, LONGLONG* pStop) PURE;
    STDMETHOD(GetAvailable)(LONGLONG* pEarliest, LONGLONG* pLatest) PURE;
    STDMETHOD(SetRate)(double dRate) PURE;
    STDMETHOD(GetRate)(double* pdRate) PURE;
    STDMETHOD(GetPreroll)(LONGLONG* pllPreroll) PURE;
};

struct IMediaPosition : public IDispatch {
    STDMETHOD(get_Duration)(REFTIME* plength) PURE;
    STDMETHOD(put_CurrentPosition)(REFTIME llTime) PURE;
    STDMETHOD(get_CurrentPosition)(REFTIME* pllTime) PURE;
    STDMETHOD(get_StopTime)(REFTIME* pllTime) PURE;
    STDMETHOD(put_StopTime)(REFTIME llTime) PURE;
    STDMETHOD(get_PrerollTime)(REFTIME* pllTime) PURE;
    STDMETHOD(put_PrerollTime)(REFTIME llTime) PURE;
    STDMETHOD(put_Rate)(double dRate) PURE;
    STDMETHOD(get_Rate)(double* pdRate) PURE;
    STDMETHOD(CanSeekForward)(LONG* pCanSeekForward) PURE;
    STDMETHOD(CanSeekBackward)(LONG* pCanSeekBackward) PURE;
};

struct IAMovieSetup : public IUnknown {
    STDMETHOD(Register)() PURE;
    STDMETHOD(Unregister)() PURE;
};

struct IAMFilterMiscFlags : public IUnknown {
    STDMETHOD_(ULONG, GetMiscFlags)() PURE;
};

struct IFilterMapper2 : public IUnknown {
    STDMETHOD(CreateCategory)
    (REFCLSID clsidCategory, DWORD dwCategoryMerit, LPCWSTR Description) PURE;
    STDMETHOD(UnregisterFilter)
    (const CLSID* pclsidCategory, LPCOLESTR szInstance, REFCLSID Filter) PURE;
    STDMETHOD(RegisterFilter)
    (REFCLSID clsidFilter,
     LPCWSTR Name,
     IMoniker** ppMoniker,
     const CLSID* pclsidCategory,
     LPCOLESTR szInstance,
     const REGFILTER2* prf2) PURE;
    STDMETHOD(EnumMatchingFilters)
    (IEnumMoniker** ppEnum,
     DWORD dwFlags,
     WINBOOL bExactMatch,
     DWORD dwMerit,
     WINBOOL bInputNeeded,
     DWORD cInputTypes,
     const GUID* pInputTypes,
     const REGPINMEDIUM* pMedIn,
     const CLSID* pPinCategoryIn,
     WINBOOL bRender,
     WINBOOL bOutputNeeded,
     DWORD cOutputTypes,
     const GUID* pOutputTypes,
     const REGPINMEDIUM* pMedOut,
     const CLSID* pPinCategoryOut) PURE;
};

// The strmif/ksproxy flavour (not the DirectSound one of the same name).
struct IKsPropertySet : public IUnknown {
    STDMETHOD(Set)
    (REFGUID guidPropSet,
     DWORD dwPropID,
     LPVOID pInstanceData,
     DWORD cbInstanceData,
     LPVOID pPropData,
     DWORD cbPropData) PURE;
    STDMETHOD(Get)
    (REFGUID guidPropSet,
     DWORD dwPropID,
     LPVOID pInstanceData,
     DWORD cbInstanceData,
     LPVOID pPropData,
     DWORD cbPropData,
     DWORD* pcbReturned) PURE;
    STDMETHOD(QuerySupported)(REFGUID guidPropSet, DWORD dwPropID, DWORD* pTypeSupport) PURE;
};
#endif  // _WIN32
