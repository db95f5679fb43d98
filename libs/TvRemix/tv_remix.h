// TvRemix.dll: a matrix-surround decoder for Lt/Rt stereo, loaded by the
// remixer at run time.
//
// Exports (C linkage):
//   int  AUDIODEC_Create(void** object)  -> 0 on success, *object a TvRemixObject*
//   void AUDIODEC_Destroy(TvRemixObject* object)
//
// The object is a table of operations in this slot order:
//   0 Reset()                      forget all signal history
//   1 GetParam(id, value*)         reads back a parameter; 0 on success
//   2 RemixProcess(in, out, bytes) interleaved 16-bit stereo in, interleaved
//                                  16-bit target layout out; returns the output
//                                  bytes written, 0 on failure
//   3 Latency()                    delay of the surround channel, in frames
//   4 Version()                    interface version (1)
//   5 RemixSetParam(id, value*)    0 on success
// Parameters: 1 configuration code of the target (int, 4..7: L R BC,
// L R C BC, L R BL BR, L R C BL BR); 2 LFE present (int, must be 0);
// 3 pointer to a six-entry channel-order row (int[6], a permutation of 0..5);
// 4 input sample rate in Hz (int, 8000..192000).
//
// Conventions of our own: the output is always in the WAVE speaker order of
// the configuration code, which is what the caller's channel mask describes;
// the channel-order row is checked and kept (GetParam 3) but the WAVE order is
// implied by the code. Processing needs a code and a rate to have been set.
#pragma once

#include <cstdint>

#include "platform/wintypes.h"

struct TvRemixObject {
    virtual int STDMETHODCALLTYPE Reset() = 0;
    virtual int STDMETHODCALLTYPE GetParam(int id, void* value) = 0;
    virtual int STDMETHODCALLTYPE RemixProcess(const void* input, void* output, int inputBytes) = 0;
    virtual int STDMETHODCALLTYPE Latency() = 0;
    virtual int STDMETHODCALLTYPE Version() = 0;
    virtual int STDMETHODCALLTYPE RemixSetParam(int id, const void* value) = 0;
};

using AudioDecCreate = int (*)(void** object);
using AudioDecDestroy = void (*)(TvRemixObject* object);

// Parameter ids.
enum TvRemixParam {
    kRemixConfiguration = 1,
    kRemixLfe = 2,
    kRemixChannelOrder = 3,
    kRemixSampleRate = 4,
};
