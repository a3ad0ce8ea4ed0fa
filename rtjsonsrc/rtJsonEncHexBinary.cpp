// JSON writer: hexadecimal digits and bit strings.
#include "rtJson.h"

#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxIndent.h"

static const char kHexDigits[] = "0123456789abcdef";
static const char kHexDigitsUpper[] = "0123456789ABCDEF";

// Writes the digits of nocts bytes, and of one more partial byte holding
// `restBits` (1..7) significant high bits when restBits is non-zero.
static int putHex(VXCTXT* pctxt, const uint8_t* data, uint64_t nocts, uint8_t partial,
                  unsigned restBits, bool quoted)
{
   uint64_t ndigits = nocts * 2 + (restBits ? 2 : 0);
   int stat = rtxCheckOutputBuffer(pctxt, ndigits + (quoted ? 2 : 0) + 1);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   const char* digits = (pctxt->flags & VXCTXT_FLAG_JSONSTR) ? kHexDigitsUpper : kHexDigits;
   uint8_t* q = pctxt->buffer.data + pctxt->buffer.byteIndex;
   if (quoted) *q++ = '"';
   for (uint64_t i = 0; i < nocts; i++) {
      *q++ = (uint8_t)digits[data[i] >> 4];
      *q++ = (uint8_t)digits[data[i] & 0x0F];
   }
   if (restBits) {
      uint8_t b = (uint8_t)(partial & (0xFFu << (8 - restBits)));
      *q++ = (uint8_t)digits[b >> 4];
      *q++ = (uint8_t)digits[b & 0x0F];
   }
   if (quoted) *q++ = '"';
   pctxt->buffer.byteIndex = (uint64_t)(q - pctxt->buffer.data);
   *q = 0;
   return 0;
}

int rtJsonEncHexValue(VXCTXT* pctxt, uint64_t nocts, const uint8_t* data)
{
   if ((int64_t)nocts < 0) return VX_LOG_ERRNEW(pctxt, RTERR_TOOBIG);
   return putHex(pctxt, data, nocts, 0, 0, false);
}

int rtJsonEncHexStr(VXCTXT* pctxt, uint64_t nocts, const uint8_t* data)
{
   if ((int64_t)nocts < 0) return VX_LOG_ERRNEW(pctxt, RTERR_TOOBIG);
   return putHex(pctxt, data, nocts, 0, 0, true);
}

int rtJsonEncFixedBitStrValue(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data)
{
   unsigned rest = (unsigned)(nbits % 8);
   return putHex(pctxt, data, nbits / 8, rest ? data[nbits / 8] : 0, rest, true);
}

// {"value":"<digits>","length":<nbits>} over indented lines; the digits come
// from the root array and, past rootSize bytes, from the extension array.
static int encBitStrObject(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data, size_t rootSize,
                           const uint8_t* extData)
{
   int stat = rtJsonEncChar(pctxt, '{');
   rtxIndentIncr(pctxt);
   if (stat == 0) stat = rtJsonEncIndent(pctxt);
   if (stat == 0) stat = rtxCopyAsciiText(pctxt, "\"value\":");
   if (stat == 0) {
      if (extData == nullptr) {
         stat = rtJsonEncFixedBitStrValue(pctxt, nbits, data);
      } else {
         uint64_t restBits = nbits - (uint64_t)rootSize * 8;
         unsigned rest = (unsigned)(restBits % 8);
         stat = rtJsonEncChar(pctxt, '"');
         if (stat == 0) stat = putHex(pctxt, data, rootSize, 0, 0, false);
         if (stat == 0)
            stat =
               putHex(pctxt, extData, restBits / 8, rest ? extData[restBits / 8] : 0, rest, false);
         if (stat == 0) stat = rtJsonEncChar(pctxt, '"');
      }
   }
   if (stat == 0) stat = rtJsonEncChar(pctxt, ',');
   if (stat == 0) stat = rtJsonEncIndent(pctxt);
   if (stat == 0) stat = rtxCopyAsciiText(pctxt, "\"length\":");
   if (stat == 0) stat = rtxTxtWriteUInt64(pctxt, nbits);
   rtxIndentDecr(pctxt);
   if (stat == 0) stat = rtJsonEncIndent(pctxt);
   if (stat == 0) stat = rtJsonEncChar(pctxt, '}');
   return stat;
}

int rtJsonEncBitStrValue(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data)
{
   return encBitStrObject(pctxt, nbits, data, 0, nullptr);
}

int rtJsonEncBitStrValueExt(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data, size_t rootSize,
                            const uint8_t* extData)
{
   if (nbits > (uint64_t)rootSize * 8) {
      // Bits past the root live in the extension array; a record that claims
      // them without one is inconsistent.
      if (extData == nullptr) {
         rtxErrAddStrParm(pctxt, "extdata");
         return VX_LOG_ERRNEW(pctxt, RTERR_NULLPTR);
      }
      return encBitStrObject(pctxt, nbits, data, rootSize, extData);
   }
   return rtJsonEncBitStrValue(pctxt, nbits, data);
}
