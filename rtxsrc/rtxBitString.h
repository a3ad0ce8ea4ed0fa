// Bits in a byte array; bit 0 is the most significant bit of the first byte.
#ifndef RTXBITSTRING_H
#define RTXBITSTRING_H

#include "rtxCommon.h"

// Sets bit `index` of a string of `numbits` bits: its old state (0 or 1), or
// -19 for an index out of range.
int rtxSetBit(uint8_t* bits, size_t numbits, size_t index);
// Clears the bit: its old state, or -19.
int rtxClearBit(uint8_t* bits, size_t numbits, size_t index);
// Whether the bit is set; false for an index out of range.
bool rtxTestBit(const uint8_t* bits, size_t numbits, size_t index);
// The index of the last set bit, or -1 if none is set.
int rtxLastBitSet(const uint8_t* bits, size_t numbits);

#endif
