// DTS Coherent Acoustics core frame headers (ETSI TS 102 114, 5.3.1 frame
// header): the fields that framing and the status record need. Pure: bytes
// in, a header record or "no frame here" out.
#pragma once

#include <cstddef>
#include <cstdint>

// The core sync word as the stream carries it: 16-bit big-endian words.
constexpr uint8_t kDtsCoreSync[4] = {0x7F, 0xFE, 0x80, 0x01};
// Bytes a header needs: sync and the fields up to SFREQ.
constexpr size_t kDtsHeaderBytes = 9;

struct DtsHeader {
    int ftype = 0;       // 1: normal frame; 0: termination frame
    int shortCount = 0;  // SHORT: deficit sample count (31 in normal frames)
    int blocks = 0;      // NBLKS + 1: blocks of 32 samples
    int frameBytes = 0;  // FSIZE + 1
    int sfreq = 0;       // SFREQ code
};

// Whether the four bytes at `p` are the core sync word.
bool isDtsCoreSync(const uint8_t* p);

// Parses the header at `p` (`available` bytes readable). False when no frame
// starts here: no core sync word, or fewer than kDtsHeaderBytes bytes. The
// frame size is as coded: callers check it against the bytes they hold.
bool parseDtsHeader(const uint8_t* p, size_t available, DtsHeader& header);

// The sample rate of an SFREQ code; 0 for the codes no core uses.
int32_t dtsSampleRate(int sfreq);

// Samples per channel of a frame: blocks of 32, less the SHORT deficit
// (SHORT + 1 samples) in a termination frame.
int32_t dtsFrameSamples(const DtsHeader& header);
