// The in-process DTS engine: decodes one DTS Coherent Acoustics core frame at
// a time into interleaved little-endian 24-bit PCM in WAVE channel order.
// Built on libavcodec's DTS decoder limited to the core, so DTS-HD (MA, HRA),
// 96/24 and ES streams give their core audio.
//
// Conventions:
// - An instance keeps the decoder's history (its filter banks) from frame to
//   frame; frames must arrive in stream order.
// - `frame` is one whole core frame as the stream carries it (16-bit
//   big-endian words, sync 0x7FFE8001), extension data after the core
//   allowed; `size` is its length in bytes.
// - `output` receives channels x samples-per-frame sample frames of 3 bytes
//   each; a frame that does not fit in `capacity` is an error and nothing is
//   written.
// - Samples are clipped to the 24-bit range, never wrapped.
// - The channel mask is the decoded layout's speakers as WAVE's
//   dwChannelMask bits (side surrounds are 0x200/0x400), and the channels
//   stand in the mask's bit order.
#pragma once

#include <cstddef>
#include <cstdint>

struct DtsEngine;

struct DtsFrameInfo {
    int32_t error = 0;  // 0 on success; see the codes below
    int32_t channels = 0;
    int32_t samples = 0;  // total samples written, all channels together
    int32_t samplerate = 0;
    int32_t bitspersample = 0;  // 24 on success
    uint32_t channelMask = 0;
};

// Error codes of DtsFrameInfo::error.
enum DtsEngineError : int32_t {
    kDtsEngineOk = 0,
    kDtsEngineBadFrame = 1,        // libavcodec refused the frame
    kDtsEngineNoOutput = 2,        // the frame decoded to no audio
    kDtsEngineOutputTooSmall = 3,  // the decoded frame does not fit the output
    kDtsEngineBadLayout = 4,       // more channels than a WAVE mask can name
};

// A new instance, or null when libavcodec has no DTS decoder or no memory.
DtsEngine* dtsEngineCreate();
// Decodes one frame (see the conventions above).
DtsFrameInfo dtsEngineDecode(DtsEngine* engine,
                             const uint8_t* frame,
                             size_t size,
                             uint8_t* output,
                             size_t capacity);
// Releases an instance; null is allowed.
void dtsEngineDestroy(DtsEngine* engine);
