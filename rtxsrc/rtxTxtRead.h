// Reading text at the cursor: white space, a peek at the next character,
// and decimal numbers. All read through rtxReadBytes, so they work on the
// context's buffer alone and through a stream alike. A byte read too many
// is put back by stepping byteIndex back.
//
// The skip and the number readers are inline for the common case, the
// text in the buffer and ending there (rtxTextInPlace): they scan it in
// place and leave what the byte-wise readers (the ...General functions)
// leave. Anything else, failures included, goes to those.
#ifndef RTXTXTREAD_H
#define RTXTXTREAD_H

#include <limits>
#include <type_traits>

#include "rtxContext.h"
#include "rtxReadBytes.h"

// Skips 0x09..0x0D and blanks. The end of the input is no failure.
int rtxTxtSkipWhitespaceGeneral(VXCTXT* pctxt);
// The next byte, not consumed (white space first skipped if `skipWs`);
// -2 at the end of the input.
int rtxTxtPeekChar(VXCTXT* pctxt, char* pch, bool skipWs);
// The same, returning the byte, or 0 on any failure.
char rtxTxtPeekChar2(VXCTXT* pctxt, bool skipWs);

// A signed decimal number with optional sign: -24 if no digit comes, -23 if
// it is out of range. The end of a buffer (-2) ends the number normally.
int rtxTxtReadInt32General(VXCTXT* pctxt, int32_t* pvalue);
int rtxTxtReadInt16General(VXCTXT* pctxt, int16_t* pvalue);
int rtxTxtReadInt8General(VXCTXT* pctxt, int8_t* pvalue);
// An unsigned decimal number with optional "+": -23 if out of range. A text
// that does not start with a digit gives 0 and status 0, the byte unread.
int rtxTxtReadUInt32General(VXCTXT* pctxt, uint32_t* pvalue);
int rtxTxtReadUInt64General(VXCTXT* pctxt, uint64_t* pvalue);
int rtxTxtReadUInt16General(VXCTXT* pctxt, uint16_t* pvalue);
int rtxTxtReadUInt8General(VXCTXT* pctxt, uint8_t* pvalue);

VX_INLINE int rtxTxtSkipWhitespace(VXCTXT* pctxt)
{
   VXRTSTREAM* pMemStream;
   if (VX_LIKELY(pctxt != nullptr && rtxTextInPlace(pctxt, &pMemStream))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size) {
         // The byte-wise skip reads the first other byte and puts it back.
         rtxTextCommit(pctxt, pMemStream, i, i + 1 - buf.byteIndex, buf.data[i]);
         return 0;
      }
   }
   return rtxTxtSkipWhitespaceGeneral(pctxt);
}

// Scans a number in place from `from`: blanks, a sign ('-' only if `minus`
// may be set), digits accumulated as long as no step passes `bound` (or
// `negBound` after '-'), and a byte that ends them, all in the buffer.
// Returns the index of that byte, or 0 when the scan does not succeed so.
template <class U>
VX_INLINE uint64_t rtxTextScanNumber(const VXRTBuffer& buf, uint64_t from, bool signedText, U bound,
                                     U negBound, U* pmagnitude, bool* pminus)
{
   uint64_t i = rtxTextSkipBlanks(buf, from);
   if (i >= buf.size) return 0;
   bool minus = signedText && buf.data[i] == '-';
   if (minus || buf.data[i] == '+') {
      i++;
      if (minus) bound = negBound;
   }
   const U limit = bound / 10;
   U value = 0;
   uint64_t first = i;
   // Nine digits fit any bound (all are 2^31 - 1 or more) unchecked.
   uint64_t unchecked = buf.size - i > 9 ? i + 9 : buf.size;
   for (; i < unchecked; i++) {
      uint8_t digit = (uint8_t)(buf.data[i] - '0');
      if (digit > 9) break;
      value = value * 10 + digit;
   }
   if (i == unchecked) {
      for (; i < buf.size; i++) {
         uint8_t c = buf.data[i];
         if (c < '0' || c > '9') break;
         U digit = (U)(c - '0');
         if (value > limit || value * 10 > bound - digit) return 0;
         value = value * 10 + digit;
      }
   }
   if (i == first || i >= buf.size) return 0;
   *pmagnitude = value;
   *pminus = minus;
   return i;
}

// A number of a field of type T scanned in place from `from`, as its
// reader takes it: a signed field through a 32-bit magnitude, an unsigned
// one through its own width (32 bits at least), then the field's range.
// Returns the index of the byte behind the number, or 0 when the in-place
// scan does not succeed (the general reader decides then).
template <class T>
VX_INLINE uint64_t rtxTextNumberFrom(const VXRTBuffer& buf, uint64_t from, T* pvalue)
{
   if constexpr (std::numeric_limits<T>::is_signed) {
      static_assert(sizeof(T) <= 4, "signed fields are read through 32 bits");
      uint32_t magnitude;
      bool minus;
      uint64_t end =
         rtxTextScanNumber<uint32_t>(buf, from, true, 0x7FFFFFFFu, 0x80000000u, &magnitude, &minus);
      if (end == 0) return 0;
      int64_t value = minus ? -(int64_t)magnitude : (int64_t)magnitude;
      if (value < (int64_t)std::numeric_limits<T>::min() ||
          value > (int64_t)std::numeric_limits<T>::max())
         return 0;
      *pvalue = (T)value;
      return end;
   } else {
      using U = typename std::conditional<(sizeof(T) > 4), uint64_t, uint32_t>::type;
      U magnitude;
      bool minus;
      uint64_t end =
         rtxTextScanNumber<U>(buf, from, false, (U) ~(U)0, (U) ~(U)0, &magnitude, &minus);
      if (end == 0 || magnitude > (U)std::numeric_limits<T>::max()) return 0;
      *pvalue = (T)magnitude;
      return end;
   }
}

// The byte-wise readers read the first byte twice (the skip puts it back)
// and the byte after the digits once.
VX_INLINE void rtxTextCommitNumber(VXCTXT* pctxt, VXRTSTREAM* pMemStream, uint64_t end)
{
   rtxTextCommit(pctxt, pMemStream, end, end - pctxt->buffer.byteIndex + 2,
                 pctxt->buffer.data[end]);
}

// The general (byte-wise) reader of each field width: the one table of
// widths for every number reader.
template <class T>
VX_INLINE int rtxTxtReadNumberGeneral(VXCTXT* pctxt, T* pvalue)
{
   if constexpr (std::is_same<T, int32_t>::value)
      return rtxTxtReadInt32General(pctxt, pvalue);
   else if constexpr (std::is_same<T, int16_t>::value)
      return rtxTxtReadInt16General(pctxt, pvalue);
   else if constexpr (std::is_same<T, int8_t>::value)
      return rtxTxtReadInt8General(pctxt, pvalue);
   else if constexpr (std::is_same<T, uint64_t>::value)
      return rtxTxtReadUInt64General(pctxt, pvalue);
   else if constexpr (std::is_same<T, uint32_t>::value)
      return rtxTxtReadUInt32General(pctxt, pvalue);
   else if constexpr (std::is_same<T, uint16_t>::value)
      return rtxTxtReadUInt16General(pctxt, pvalue);
   else {
      static_assert(std::is_same<T, uint8_t>::value, "no text reader for this field width");
      return rtxTxtReadUInt8General(pctxt, pvalue);
   }
}

// A number reader with the test of rtxTextInPlace made by the caller:
// `inPlace` is its result and pMemStream the stream it gave. In place the
// scan of the field's width, the width's general reader otherwise.
template <class T>
VX_INLINE int rtxTxtReadNumberAt(VXCTXT* pctxt, bool inPlace, VXRTSTREAM* pMemStream, T* pvalue)
{
   if (VX_LIKELY(inPlace)) {
      uint64_t end = rtxTextNumberFrom(pctxt->buffer, pctxt->buffer.byteIndex, pvalue);
      if (end != 0) {
         rtxTextCommitNumber(pctxt, pMemStream, end);
         return 0;
      }
   }
   return rtxTxtReadNumberGeneral(pctxt, pvalue);
}

// The same with the test made here.
template <class T>
VX_INLINE int rtxTxtReadNumber(VXCTXT* pctxt, T* pvalue)
{
   VXRTSTREAM* pMemStream = nullptr;
   bool inPlace = pctxt != nullptr && rtxTextInPlace(pctxt, &pMemStream);
   return rtxTxtReadNumberAt(pctxt, inPlace, pMemStream, pvalue);
}

VX_INLINE int rtxTxtReadInt32(VXCTXT* pctxt, int32_t* pvalue)
{
   return rtxTxtReadNumber(pctxt, pvalue);
}
VX_INLINE int rtxTxtReadInt16(VXCTXT* pctxt, int16_t* pvalue)
{
   return rtxTxtReadNumber(pctxt, pvalue);
}
VX_INLINE int rtxTxtReadInt8(VXCTXT* pctxt, int8_t* pvalue)
{
   return rtxTxtReadNumber(pctxt, pvalue);
}
VX_INLINE int rtxTxtReadUInt32(VXCTXT* pctxt, uint32_t* pvalue)
{
   return rtxTxtReadNumber(pctxt, pvalue);
}
VX_INLINE int rtxTxtReadUInt64(VXCTXT* pctxt, uint64_t* pvalue)
{
   return rtxTxtReadNumber(pctxt, pvalue);
}
VX_INLINE int rtxTxtReadUInt16(VXCTXT* pctxt, uint16_t* pvalue)
{
   return rtxTxtReadNumber(pctxt, pvalue);
}
VX_INLINE int rtxTxtReadUInt8(VXCTXT* pctxt, uint8_t* pvalue)
{
   return rtxTxtReadNumber(pctxt, pvalue);
}

#endif
