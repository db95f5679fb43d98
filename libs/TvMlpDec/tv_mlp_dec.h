// TvMlpDec.dll: the MLP decoder library that AdecMLP loads at run time, for
// DVD-Audio MLP (major sync 0xF8726FBB) and HD-DVD / Blu-ray TrueHD (major
// sync 0xF8726FBA). Access units are found and their major syncs read here;
// the access units themselves are decoded by libavcodec's MLP and TrueHD
// decoders. Lossless: the samples are the encoder's input, bit for bit.
//
// Exports (C linkage, found by name):
//   MlpDecoder* mlpDecoderInit(const MlpInitRecord* init, int version)
//       A new instance, or null when `version` is not kMlpRecordVersion (31,
//       the version of the records below) or the decoders cannot be opened.
//       `init` may be null: the defaults of MlpInitRecord.
//   const MlpResult* mlpDecoderRun(MlpDecoder* instance, const uint8_t* input,
//                                  MlpSampleRow* matrix)
//       Decodes the next access unit of the input (below) into `matrix`
//       (kMlpMaxSamples rows). The result lives in the instance, valid until
//       the next call; null only for a null instance.
//   void mlpDecoderClose(MlpDecoder* instance)
//
// Input: the caller offers `intface.inbufEnd` bytes at `input` and sets
// `intface.consumed` to 0; each call reads from `input + consumed`, decodes at
// most one access unit and adds the bytes it used to `consumed`, so the same
// pointer is passed until the call reports no samples. The library never
// changes `inbufEnd`. Bytes that cannot start an access unit (before the first
// major sync, or after an access unit whose check nibble or length is wrong)
// are passed over and counted as used; so is an access unit the decoder
// refuses (errorCode kMlpErrorRefused), and the call goes on with the next. A
// call that reaches an access unit not wholly offered stops before it.
//
// Presentations: an MLP stream may carry a two-channel presentation beside its
// multichannel one (the first substream when there are several). Each call
// decodes both, so the caller chooses per call:
//   - several substreams: the multichannel presentation is the last one
//     libavcodec decodes (up to 8 channels; TrueHD's fourth substream is not
//     audio), the two-channel presentation is the first substream;
//   - one substream of one or two channels: the two-channel presentation only;
//   - one substream of more channels: the multichannel presentation only.
// A presentation's selector is the matrix column of its first channel, -1 when
// it is absent: the multichannel presentation fills columns 0..count-1, the
// two-channel presentation columns 8..9 (column 8 alone for mono). Channels are
// in libavcodec's order, which is the WAVE speaker-mask order of the layout.
//
// Samples: one row of the matrix per sample period, each value a 24-bit sample
// sign-extended to 32 bits (16-bit streams are scaled up by 8 bits). Columns
// outside the presentations are left as they were.
#pragma once

#include <cstdint>

constexpr int kMlpRecordVersion = 31;
// Most sample periods in one access unit: 40 at 44.1/48 kHz, 160 at 176.4/192.
constexpr int kMlpMaxSamples = 160;
constexpr int kMlpColumns = 10;
constexpr int kMlpMultichannelColumn = 0;
constexpr int kMlpTwoChannelColumn = 8;
// The 32-bit words that open a major sync: DVD-Audio MLP and TrueHD.
constexpr uint32_t kMlpFormatSyncFbb = 0xF8726FBB;
constexpr uint32_t kMlpFormatSyncFba = 0xF8726FBA;

using MlpSampleRow = int32_t[kMlpColumns];

struct MlpInitRecord {
    // Non-zero: also decode the two-channel presentation of streams that carry
    // one beside their multichannel presentation (a second libavcodec decoder,
    // asked for a stereo downmix). Default 1.
    int32_t twoChannelPresentation = 1;
};

// What the caller offers and what the library has used of it.
struct MlpInterface {
    int32_t inbufEnd = 0;  // bytes offered at the input pointer
    int32_t consumed = 0;  // bytes used so far, counted from the input pointer
};

// The instance: the caller reads and writes `intface` only.
struct MlpDecoder {
    MlpInterface intface;
};

// The last major sync read (it stays until the next one).
struct MlpMajorSyncInfo {
    uint32_t format_sync = 0;  // kMlpFormatSyncFbb or kMlpFormatSyncFba
    // The 32-bit word after it. MLP: quantisation of groups 1 and 2 (bits
    // 31..28, 27..24), sample-rate codes of groups 1 and 2 (23..20, 19..16),
    // channel assignment (4..0). TrueHD: sample-rate code (31..28). A rate code
    // is 0 48 kHz, 1 96 kHz, 2 192 kHz, 8 44.1 kHz, 9 88.2 kHz, 10 176.4 kHz.
    uint32_t format_info = 0;
    int32_t substreams = 0;
    // Channels of the fullest presentation the major sync announces: MLP's
    // channel assignment, TrueHD's second or else first channel arrangement.
    int32_t channels = 0;
    int32_t sampleRate = 0;  // Hz, from the rate code
    int32_t accessUnitSamples = 0;
};

enum MlpErrorCode : int32_t {
    kMlpErrorNone = 0,
    kMlpErrorLostSync = 1,  // bytes were passed over to find an access unit
    kMlpErrorRefused = 2,   // an access unit was refused by the decoder
};

struct MlpResult {
    int32_t samplesDecoded = 0;         // rows written, at most kMlpMaxSamples; 0: no more
    int32_t errorCode = kMlpErrorNone;  // the first error met during the call
    int32_t twoChannel = -1;            // selector of the two-channel presentation
    int32_t twoChannelCount = 0;
    int32_t multichannel = -1;  // selector of the multichannel presentation
    int32_t multichannelCount = 0;
    const MlpMajorSyncInfo* major_sync_info = nullptr;  // null before the first
    // Speaker masks of the layouts libavcodec decoded the presentations in
    // (its channel order is theirs); 0 when a presentation is absent or its
    // layout has no mask.
    uint32_t twoChannelMask = 0;
    uint32_t multichannelMask = 0;
};

using MlpDecoderInitFunction = MlpDecoder* (*)(const MlpInitRecord* init, int version);
using MlpDecoderRunFunction = const MlpResult* (*)(MlpDecoder* instance,
                                                   const uint8_t* input,
                                                   MlpSampleRow* matrix);
using MlpDecoderCloseFunction = void (*)(MlpDecoder* instance);
