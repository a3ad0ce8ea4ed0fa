// UTF-8 text: lengths, encoding and decoding of characters, validation,
// conversion from and to 16-bit units, and byte-wise string functions.
// Lead bytes of up to six bytes (0xF8, 0xFC) are accepted and produced.
#ifndef RTXUTF8_H
#define RTXUTF8_H

#include "rtxCommon.h"

struct VXCTXT;

// Bytes up to the NUL; 0 for null.
size_t rtxUTF8LenBytes(const char* text);
// Number of characters in `nbytes` bytes, judged from the lead bytes alone;
// 0 if a lead byte is invalid.
size_t rtxCalcUTF8Len(const char* text, size_t nbytes);
size_t rtxUTF8Len(const char* text);

// Bytes needed for a code point: 1 to 6.
size_t rtxUTF8CharSize(uint32_t code);
// Encodes a code point; the number of bytes written, or -1 if it does not
// fit in `size` bytes.
int rtxUTF8EncodeChar(uint32_t code, uint8_t* buffer, size_t size);
// Decodes the character at `text`, taking at most *size bytes; *size gets
// the number of bytes taken. The code point, or -18 (recorded with the byte
// index as parameter).
int32_t rtxUTF8DecodeChar(VXCTXT* pctxt, const uint8_t* text, int* size);

// Converts a NUL-terminated UTF-8 text to 16-bit units (each code point cut
// to 16 bits), NUL-terminated. The number of units, -1 if more than
// `capacity` - 1 units, or -18 with the byte index as parameter.
int rtxUTF8ToUnicode(VXCTXT* pctxt, const char* text, uint16_t* buffer, size_t capacity);
// The same check without output: 0 or -18.
int rtxValidateUTF8(VXCTXT* pctxt, const char* text);

// From NUL-terminated 16-bit units: the UTF-8 byte count, and a heap copy.
size_t rtxUCSGetUTF8ByteCnt(const uint16_t* units);
char* rtxUCSToDynUTF8(VXCTXT* pctxt, const uint16_t* units);

// Byte-wise string functions. Comparisons give -1, 0 or 1; null sorts
// before anything and two nulls are equal.
char* rtxUTF8Strdup(VXCTXT* pctxt, const char* text);
char* rtxUTF8Strndup(VXCTXT* pctxt, const char* text, size_t nbytes);
char* rtxUTF8Strcpy(char* dest, size_t bufsiz, const char* src);
char* rtxUTF8Strncpy(char* dest, size_t bufsiz, const char* src, size_t nbytes);
bool rtxUTF8StrEqual(const char* a, const char* b);
bool rtxUTF8StrnEqual(const char* a, const char* b, size_t nbytes);
int rtxUTF8Strcmp(const char* a, const char* b);
int rtxUTF8Strncmp(const char* a, const char* b, size_t nbytes);

// A text that is an allocation of this context's heap gets one more
// reference; any other is copied into the heap. Null for null.
char* rtxUTF8StrRefOrDup(VXCTXT* pctxt, const char* text);
// The non-null texts joined into one heap string; null if all are null or
// empty.
char* rtxUTF8StrJoin(VXCTXT* pctxt, const char* s1, const char* s2, const char* s3, const char* s4,
                     const char* s5);

// Convert `nbytes` of UTF-8 into the output buffer. A sequence cut off at
// the end of the input ends the conversion without error; a malformed one,
// or a code point the target cannot hold, gives -24. UTF-16 without a
// suffix is big-endian; code points above 0xFFFF become surrogate pairs.
int rtxStreamUTF8ToLatin1(VXCTXT* pctxt, const char* text, size_t nbytes);
int rtxStreamUTF8ToUTF16(VXCTXT* pctxt, const char* text, size_t nbytes);
int rtxStreamUTF8ToUTF16BE(VXCTXT* pctxt, const char* text, size_t nbytes);
int rtxStreamUTF8ToUTF16LE(VXCTXT* pctxt, const char* text, size_t nbytes);

#endif
