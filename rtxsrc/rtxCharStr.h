// Character string helpers: bounded copy and concatenation, heap copies,
// and integer to decimal text conversions. None of the bounded functions
// allocates; they take the capacity of the destination in bytes (NUL
// included).
#ifndef RTXCHARSTR_H
#define RTXCHARSTR_H

#include <type_traits>

#include "rtxCommon.h"

struct VXCTXT;

// Appends src to the NUL-terminated dest of capacity bufsiz. Returns dest,
// or null if an argument is null or the result would not fit; dest is then
// left unchanged.
char* rtxStrcat(char* dest, size_t bufsiz, const char* src);

// Appends at most nchars bytes of src (stopping at its NUL). Same rules.
char* rtxStrncat(char* dest, size_t bufsiz, const char* src, size_t nchars);

// Copies src into dest of capacity bufsiz. Returns dest, or null if an
// argument is null or src does not fit; dest is then left unchanged.
char* rtxStrcpy(char* dest, size_t bufsiz, const char* src);

// Copies at most nchars bytes of src. Returns null for null arguments or a
// zero capacity; if the text does not fit, the copy is cut and terminated at
// the last place, and null is returned.
char* rtxStrncpy(char* dest, size_t bufsiz, const char* src, size_t nchars);

// Whether every byte of the NUL-terminated text lies in 0..0x7F, the
// characters a 7-bit string can carry (a null text is empty). The text
// readers refuse the others rather than cut them to seven bits.
inline bool rtxTextIs7Bit(const char* text)
{
   if (text == nullptr) return true;
   for (const unsigned char* p = (const unsigned char*)text; *p != 0; p++)
      if (*p > 0x7F) return false;
   return true;
}

// Heap copies (from the context's heap); null for a null text or on
// exhaustion.
char* rtxStrdup(VXCTXT* pctxt, const char* src);
char* rtxStrndup(VXCTXT* pctxt, const char* src, size_t nchars);

// Joins up to five texts (null ones skipped) into one heap string; null if
// all are null or empty, or on exhaustion.
char* rtxStrJoin(VXCTXT* pctxt, const char* str1, const char* str2, const char* str3,
                 const char* str4, const char* str5);

// Integer to decimal text. Returns the number of characters written (NUL
// excluded), -20 for a null buffer or a size below 2, -1 if the digits and
// sign do not fit in size - 1 characters. With a non-zero pad character the
// text is right-aligned to size - 1 characters and filled with pad; with pad
// '0' the sign stays in front of the zeros.
int rtxIntToCharStr(int32_t value, char* buffer, size_t size, char padchar);
int rtxUIntToCharStr(uint32_t value, char* buffer, size_t size, char padchar);
int rtxInt64ToCharStr(int64_t value, char* buffer, size_t size, char padchar);
int rtxUInt64ToCharStr(uint64_t value, char* buffer, size_t size, char padchar);
int rtxSizeToCharStr(size_t value, char* buffer, size_t size, char padchar);

// The decimal text of a whole number of any width (no padding), in a buffer
// of its own wide enough for any 64-bit value; length is the count of
// characters or a negative status from the conversion.
struct VXDecimalText {
   char text[24];
   int length;
   template <typename T>
   explicit VXDecimalText(T value)
       : length(std::is_signed<T>::value
                   ? rtxInt64ToCharStr((int64_t)value, text, sizeof text, 0)
                   : rtxUInt64ToCharStr((uint64_t)value, text, sizeof text, 0))
   {
   }
};

#endif
