// JSON reader: hexadecimal strings into fixed arrays or onto the heap.
#include "rtJson.h"
#include "rtJsonInternal.h"

#include "rtxMemBuf.h"
#include "rtxMemory.h"
#include "rtxStream.h"

// Reads one byte; false at the end of input or on a read failure (which
// ends a run of digits and is not an error of the digit readers).
static inline bool nextByte(VXCTXT* pctxt, uint8_t* b) { return rtxReadBytes(pctxt, b, 1) == 0; }

// Shifts an array right by one nibble so an odd digit count reads as if a
// leading zero had been written: "abc" becomes 0x0A 0xBC.
static void shiftNibble(uint8_t* data, uint64_t nocts)
{
   for (uint64_t i = nocts; i-- > 0;) {
      data[i] = (uint8_t)((data[i] >> 4) | (i > 0 ? (data[i - 1] << 4) : 0));
   }
}

// The digits scanned in place when they, and the byte that ends them unless
// the array is full first, lie in the buffer: the same bytes stored, and the
// cursor, last byte and stream counts of the byte-wise loop (which reads the
// ending byte and steps back over it). Returns the digit count, or -1 with
// nothing read when the digits run to the end of the buffer.
static int64_t scanHexInPlace(VXCTXT* pctxt, uint8_t* data, uint64_t bufsize)
{
   VXRTSTREAM* pMemStream;
   if (!rtxTextInPlace(pctxt, &pMemStream) || bufsize > UINT64_MAX / 4) return -1;
   const VXRTBuffer& buf = pctxt->buffer;
   const uint64_t start = buf.byteIndex;
   const uint64_t maxDigits = bufsize * 2;
   uint64_t i = start;
   while (i - start < maxDigits && i < buf.size) {
      int nib = rtJsonHexNibble(buf.data[i]);
      if (nib < 0) break;
      uint64_t ndigits = i - start;
      if (ndigits % 2 == 0)
         data[ndigits / 2] = (uint8_t)(nib << 4);
      else
         data[ndigits / 2] |= (uint8_t)nib;
      i++;
   }
   uint64_t ndigits = i - start;
   if (ndigits == maxDigits)
      rtxTextCommit(pctxt, pMemStream, i, ndigits, buf.data[i - 1]);
   else if (i < buf.size)
      rtxTextCommit(pctxt, pMemStream, i, ndigits + 1, buf.data[i]);
   else
      return -1;
   return (int64_t)ndigits;
}

int rtJsonDecHexData64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnocts, uint64_t bufsize)
{
   *pnocts = 0;
   if (bufsize == 0) return 0;
   int64_t scanned = scanHexInPlace(pctxt, data, bufsize);
   if (scanned >= 0) {
      uint64_t nocts = ((uint64_t)scanned + 1) / 2;
      if (scanned % 2) shiftNibble(data, nocts);
      *pnocts = nocts;
      return 0;
   }
   uint64_t ndigits = 0;
   uint8_t b;
   while (ndigits < bufsize * 2 && nextByte(pctxt, &b)) {
      int nib = rtJsonHexNibble(b);
      if (nib < 0) {
         rtJsonStepBack(pctxt);
         break;
      }
      if (ndigits % 2 == 0)
         data[ndigits / 2] = (uint8_t)(nib << 4);
      else
         data[ndigits / 2] |= (uint8_t)nib;
      ndigits++;
   }
   uint64_t nocts = (ndigits + 1) / 2;
   if (ndigits % 2) shiftNibble(data, nocts);
   *pnocts = nocts;
   return 0;
}

int rtJsonDecHexStr64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnocts, uint64_t bufsize)
{
   uint64_t localCount;
   if (pnocts == nullptr) pnocts = &localCount;
   rtxTxtSkipWhitespace(pctxt);
   int stat = rtJsonDecMatchChar(pctxt, '"');
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   stat = rtJsonDecHexData64(pctxt, data, pnocts, bufsize);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (*pnocts == bufsize && bufsize > 0) {
      // A full array must be followed by the closing quote.
      if (rtxTxtPeekChar2(pctxt, true) != '"') return VX_LOG_ERRNEW(pctxt, RTERR_STROVFLW);
   }
   stat = rtJsonDecMatchChar(pctxt, '"');
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   return 0;
}

int rtJsonDecDynHexData64(VXCTXT* pctxt, ASN1TDynOctStr64* pvalue)
{
   VXRTMEMBUF membuf;
   rtxMemBufInit(pctxt, &membuf, 128);
   uint64_t ndigits = 0;
   uint8_t cur = 0;
   uint8_t b;
   int stat = 0;
   while (nextByte(pctxt, &b)) {
      int nib = rtJsonHexNibble(b);
      if (nib < 0) {
         rtJsonStepBack(pctxt);
         break;
      }
      if (ndigits % 2 == 0) {
         cur = (uint8_t)(nib << 4);
      } else {
         cur |= (uint8_t)nib;
         if ((stat = rtxMemBufAppend(&membuf, &cur, 1)) != 0) break;
      }
      ndigits++;
   }
   if (stat == 0 && ndigits % 2) stat = rtxMemBufAppend(&membuf, &cur, 1);
   if (stat != 0) {
      rtxMemBufFree(&membuf);
      return VX_LOG_ERR(pctxt, stat);
   }
   int len = 0;
   uint8_t* data = rtxMemBufGetData(&membuf, &len);
   uint64_t nocts = (ndigits + 1) / 2;
   if (ndigits % 2) shiftNibble(data, nocts);
   if (pvalue == nullptr) {
      rtxMemBufFree(&membuf);  // validation only
   } else {
      pvalue->numocts = nocts;
      pvalue->data = nocts ? data : nullptr;
      if (!nocts) rtxMemBufFree(&membuf);
   }
   return 0;
}

int rtJsonDecDynHexStr64(VXCTXT* pctxt, ASN1TDynOctStr64* pvalue)
{
   rtxTxtSkipWhitespace(pctxt);
   int stat = rtJsonDecMatchChar(pctxt, '"');
   if (stat == 0) stat = rtJsonDecDynHexData64(pctxt, pvalue);
   if (stat == 0) stat = rtJsonDecMatchChar(pctxt, '"');
   if (stat != 0) {
      if (pvalue && pvalue->data) {
         rtxMemFreePtr(pctxt, pvalue->data);
         pvalue->data = nullptr;
         pvalue->numocts = 0;
      }
      return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}
