#include "rtxTxtRead.h"

#include "rtxError.h"
#include "rtxReadBytes.h"

namespace {

inline bool isWhitespace(uint8_t c) { return c == ' ' || (c >= 0x09 && c <= 0x0D); }
inline bool isDigit(uint8_t c) { return c >= '0' && c <= '9'; }

// Steps back over the byte just read.
void unreadByte(VXCTXT* pctxt)
{
   VX_ASSERT(pctxt->buffer.byteIndex > 0);
   pctxt->buffer.byteIndex--;
}

int passOn(VXCTXT* pctxt, int stat)
{
   VX_LOG_ERR(pctxt, stat);
   return stat;
}

int raise(VXCTXT* pctxt, int stat)
{
   VX_LOG_ERRNEW(pctxt, stat);
   return stat;
}

const int kEndOfInput = 1;

// Reads one byte. The end of the input, -2 from a buffer or, with
// `fileEndToo`, -17 from a stream, gives kEndOfInput and leaves no record:
// the callers that ask this way do not count the end as a failure. Other
// failures give the status the read recorded.
int readByte(VXCTXT* pctxt, uint8_t* pc, bool fileEndToo)
{
   uint64_t before = rtxErrGetErrorCnt(pctxt);
   int stat = rtxReadBytes(pctxt, pc, 1);
   if (stat >= 0) return 0;
   uint64_t added = rtxErrGetErrorCnt(pctxt) - before;
   // The read's own status, even if other records make the context's -50.
   if (added > 0) stat = rtxErrGetLastError(pctxt);
   if (stat == RTERR_ENDOFBUF || (fileEndToo && stat == RTERR_ENDOFFILE)) {
      rtxErrResetLastErrors(pctxt, (int)added);
      return kEndOfInput;
   }
   return stat;
}

// A byte that must be there: any failure, the end included, is reported.
int readRequired(VXCTXT* pctxt, uint8_t* pc)
{
   int stat = readByte(pctxt, pc, false);
   if (stat == kEndOfInput) return raise(pctxt, RTERR_ENDOFBUF);
   return stat < 0 ? passOn(pctxt, stat) : 0;
}

// White space skipped, the first byte read.
int readFirstByte(VXCTXT* pctxt, uint8_t* pc)
{
   int stat = rtxTxtSkipWhitespaceGeneral(pctxt);
   if (stat < 0) return passOn(pctxt, stat);
   return readRequired(pctxt, pc);
}

// Accumulates the digits that start with `c`, the bytes read already. Each
// step tests value > limit / 10 and value * 10 > bound - digit, so that no
// intermediate result exceeds `bound`. The byte after the digits is put
// back; the end of a buffer ends the number.
template <class U>
int readDigits(VXCTXT* pctxt, uint8_t c, U bound, U* pvalue)
{
   const U limit = bound / 10;
   U value = 0;
   for (;;) {
      U digit = (U)(c - '0');
      if (value > limit || value * 10 > bound - digit) return raise(pctxt, RTERR_TOOBIG);
      value = value * 10 + digit;
      int stat = readByte(pctxt, &c, false);
      if (stat == kEndOfInput) break;
      if (stat < 0) return passOn(pctxt, stat);
      if (!isDigit(c)) {
         unreadByte(pctxt);
         break;
      }
   }
   *pvalue = value;
   return 0;
}

template <class U>
int readUnsigned(VXCTXT* pctxt, U* pvalue)
{
   *pvalue = 0;
   uint8_t c;
   int stat = readFirstByte(pctxt, &c);
   if (stat != 0) return stat;
   if (c == '+') {
      stat = readRequired(pctxt, &c);
      if (stat != 0) return stat;
   }
   // No digit at all is not an error here: the value is 0 and the byte is
   // left for the caller's next step to judge.
   if (!isDigit(c)) {
      unreadByte(pctxt);
      return 0;
   }
   return readDigits<U>(pctxt, c, (U) ~(U)0, pvalue);
}

// The 32-bit reader, then a check against [lo, hi].
template <class T, class R, class V>
int readNarrow(VXCTXT* pctxt, T* pvalue, int (*reader)(VXCTXT*, V*), R lo, R hi)
{
   V value;
   int stat = reader(pctxt, &value);
   if (stat != 0) return stat;
   if ((R)value < lo || (R)value > hi) return raise(pctxt, RTERR_TOOBIG);
   *pvalue = (T)value;
   return 0;
}

}  // namespace

int rtxTxtSkipWhitespaceGeneral(VXCTXT* pctxt)
{
   rtxSkipBufferedWhitespace(pctxt);
   for (;;) {
      uint8_t c;
      int stat = readByte(pctxt, &c, true);
      if (stat == kEndOfInput) return 0;
      if (stat < 0) return passOn(pctxt, stat);
      if (!isWhitespace(c)) {
         unreadByte(pctxt);
         return 0;
      }
   }
}

int rtxTxtPeekChar(VXCTXT* pctxt, char* pch, bool skipWs)
{
   if (skipWs) {
      int stat = rtxTxtSkipWhitespace(pctxt);
      if (stat < 0) return passOn(pctxt, stat);
   }
   uint8_t c;
   int stat = readByte(pctxt, &c, true);
   if (stat == kEndOfInput) return raise(pctxt, RTERR_ENDOFBUF);
   if (stat < 0) return passOn(pctxt, stat);
   unreadByte(pctxt);
   if (pch != nullptr) *pch = (char)c;
   return 0;
}

char rtxTxtPeekChar2(VXCTXT* pctxt, bool skipWs)
{
   char c = 0;
   return rtxTxtPeekChar(pctxt, &c, skipWs) == 0 ? c : 0;
}

int rtxTxtReadInt32General(VXCTXT* pctxt, int32_t* pvalue)
{
   uint8_t c;
   int stat = readFirstByte(pctxt, &c);
   if (stat != 0) return stat;
   bool minus = false;
   if (c == '-' || c == '+') {
      minus = (c == '-');
      stat = readRequired(pctxt, &c);
      if (stat != 0) return stat;
   }
   if (!isDigit(c)) return raise(pctxt, RTERR_INVCHAR);
   uint32_t magnitude;
   stat = readDigits<uint32_t>(pctxt, c, minus ? 0x80000000u : 0x7FFFFFFFu, &magnitude);
   if (stat != 0) return stat;
   *pvalue = minus ? (int32_t)(-(int64_t)magnitude) : (int32_t)magnitude;
   return 0;
}

int rtxTxtReadUInt32General(VXCTXT* pctxt, uint32_t* pvalue)
{
   return readUnsigned<uint32_t>(pctxt, pvalue);
}

int rtxTxtReadUInt64General(VXCTXT* pctxt, uint64_t* pvalue)
{
   return readUnsigned<uint64_t>(pctxt, pvalue);
}

int rtxTxtReadInt16General(VXCTXT* pctxt, int16_t* pvalue)
{
   return readNarrow<int16_t, int32_t, int32_t>(pctxt, pvalue, rtxTxtReadInt32General, INT16_MIN,
                                                INT16_MAX);
}

int rtxTxtReadInt8General(VXCTXT* pctxt, int8_t* pvalue)
{
   return readNarrow<int8_t, int32_t, int32_t>(pctxt, pvalue, rtxTxtReadInt32General, INT8_MIN,
                                               INT8_MAX);
}

int rtxTxtReadUInt16General(VXCTXT* pctxt, uint16_t* pvalue)
{
   return readNarrow<uint16_t, uint32_t, uint32_t>(pctxt, pvalue, rtxTxtReadUInt32General, 0u,
                                                   UINT16_MAX);
}

int rtxTxtReadUInt8General(VXCTXT* pctxt, uint8_t* pvalue)
{
   return readNarrow<uint8_t, uint32_t, uint32_t>(pctxt, pvalue, rtxTxtReadUInt32General, 0u,
                                                  UINT8_MAX);
}
