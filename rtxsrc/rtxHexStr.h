// Hexadecimal text helpers.
#ifndef RTXHEXSTR_H
#define RTXHEXSTR_H

#include "rtxCommon.h"

// Two lowercase digits and a NUL: 0, or -1 if size is below 3.
int rtxByteToHexChar(uint8_t byte, char* buffer, size_t size);

// Hexadecimal text to bytes. `length` 0 means up to the NUL. White space
// and commas separate groups of digits, and a "0x" or "0X" prefix is
// skipped. Digits pair up from the end of each group, so an odd group's
// first digit makes a byte alone ("abc" gives 0x0A 0xBC). Returns the
// number of bytes, -11 for any other character, -13 if more than
// `capacity` bytes result. A null or empty text gives 0. With `bytes` null
// only the count is made.
int64_t rtxHexCharsToBin(const char* text, size_t length, uint8_t* bytes, size_t capacity);
// The number of bytes rtxHexCharsToBin makes of the text, or -11.
int64_t rtxHexCharsToBinCount(const char* text, size_t length);

#endif
