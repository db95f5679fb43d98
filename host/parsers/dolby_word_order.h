// AC-3 and E-AC-3 written with the bytes of every 16-bit word swapped, as
// some tools write them (the sync word reads 0x77 0x0B instead of 0x0B 0x77):
// the host puts such payloads back in stream order, so the filter sees the
// stream as the format defines it.
#pragma once

#include <cstdint>
#include <vector>

// True when the payload starts with a byte-swapped AC-3 sync word.
bool startsWithSwappedDolbySync(const std::vector<uint8_t>& payload);

// Swaps the bytes of every whole 16-bit word of a payload that starts with a
// byte-swapped sync word; leaves any other payload alone. Returns whether it
// swapped.
bool restoreDolbyWordOrder(std::vector<uint8_t>& payload);
