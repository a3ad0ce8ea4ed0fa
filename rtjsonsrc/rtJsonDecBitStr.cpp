// JSON reader: bit strings, as a hexadecimal string of known length or as
// the object {"value":"<hex>","length":<bits>}.
#include "rtJson.h"
#include "rtJsonInternal.h"

#include "rtxMemory.h"

// Size test shared by the fixed forms: n octets must hold exactly nbits,
// and the unused low bits of a partial last octet must be clear.
static int checkFixedBits(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data, uint64_t nocts)
{
   if (nocts * 8 < nbits || nocts * 8 - nbits >= 8) {
      rtxErrAddUInt64Parm(pctxt, nocts * 8);
      return VX_LOG_ERRNEW(pctxt, RTERR_CONSVIO);
   }
   unsigned r = (unsigned)(nbits % 8);
   if (r != 0 && (data[nocts - 1] & (0xFFu >> r)) != 0) return VX_LOG_ERRNEW(pctxt, RTERR_BADVALUE);
   return 0;
}

int rtJsonDecFixedDynBitStr(VXCTXT* pctxt, uint64_t nbits, uint8_t** ppdata)
{
   ASN1TDynOctStr64 value = {0, nullptr};
   int stat = rtJsonDecDynHexStr64(pctxt, &value);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   stat = (value.numocts == 0 && nbits == 0)
             ? 0
             : checkFixedBits(pctxt, nbits, value.data, value.numocts);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, value.data);
      return stat;
   }
   *ppdata = value.data;
   return 0;
}

int rtJsonDecFixedBitStrValue(VXCTXT* pctxt, uint64_t nbits, uint8_t* data, uint64_t bufsize)
{
   if (data == nullptr) {
      uint8_t* tmp = nullptr;
      return rtJsonDecFixedDynBitStr(pctxt, nbits, &tmp);
   }
   uint64_t nocts = 0;
   int stat = rtJsonDecHexStr64(pctxt, data, &nocts, bufsize);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (nocts == 0 && nbits == 0) return 0;
   return checkFixedBits(pctxt, nbits, data, nocts);
}

// Reads the quoted digits of "value": the first `bufsize` octets into data,
// any rest (when pext is given) onto the heap.
static int decString(VXCTXT* pctxt, uint8_t* data, uint64_t bufsize, ASN1TDynOctStr64* pext,
                     uint64_t* pnocts)
{
   rtxTxtSkipWhitespace(pctxt);
   int stat = rtJsonDecMatchChar(pctxt, '"');
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   uint64_t nroot = 0;
   stat = rtJsonDecHexData64(pctxt, data, &nroot, bufsize);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   uint64_t next = 0;
   if (nroot == bufsize) {
      if (pext != nullptr) {
         stat = rtJsonDecDynHexData64(pctxt, pext);
         if (stat != 0) return VX_LOG_ERR(pctxt, stat);
         next = pext->numocts;
      } else if (rtxTxtPeekChar2(pctxt, true) != '"') {
         return VX_LOG_ERRNEW(pctxt, RTERR_STROVFLW);
      }
   }
   stat = rtJsonDecMatchChar(pctxt, '"');
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   *pnocts = nroot + next;
   return 0;
}

static int decValueAndLength(VXCTXT* pctxt, uint8_t* data, uint64_t bufsize, ASN1TDynOctStr64* pext,
                             uint64_t* pnbits)
{
   int stat = rtJsonDecMatchChar(pctxt, '{');
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   bool haveValue = false, haveLength = false;
   uint64_t nocts = 0, length = 0;
   for (;;) {
      char* key = nullptr;
      stat = rtJsonDecStringValue(pctxt, &key);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      bool isValue = strcmp(key, "value") == 0 && !haveValue;
      bool isLength = strcmp(key, "length") == 0 && !haveLength;
      if (!isValue && !isLength) {
         rtxErrAddStrParm(pctxt, key);
         rtxMemFreePtr(pctxt, key);
         return VX_LOG_ERRNEW(pctxt, RTERR_UNEXPELEM);
      }
      rtxMemFreePtr(pctxt, key);
      stat = rtJsonDecMatchChar(pctxt, ':');
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      if (isValue) {
         haveValue = true;
         stat = decString(pctxt, data, bufsize, pext, &nocts);
      } else {
         haveLength = true;
         stat = rtxTxtReadUInt64(pctxt, &length);
      }
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      char c = (char)rtxTxtPeekChar2(pctxt, true);
      if (c == '}') break;
      stat = rtJsonDecMatchChar(pctxt, ',');
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   stat = rtJsonDecMatchChar(pctxt, '}');
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (!haveValue || !haveLength) {
      rtxErrAddStrParm(pctxt, haveValue ? "length" : "value");
      return VX_LOG_ERRNEW(pctxt, RTERR_SETMISRQ);
   }
   if (length > UINT64_MAX - 7 || nocts != (length + 7) / 8)
      return VX_LOG_ERRNEW(pctxt, RTERR_BADVALUE);
   unsigned r = (unsigned)(length % 8);
   if (r != 0) {
      uint8_t last = (nocts <= bufsize) ? data[nocts - 1] : pext->data[nocts - bufsize - 1];
      if ((last & (0xFFu >> r)) != 0) return VX_LOG_ERRNEW(pctxt, RTERR_BADVALUE);
   }
   *pnbits = length;
   return 0;
}

int rtJsonDecBitStrValue64(VXCTXT* pctxt, uint64_t* pnbits, uint8_t* data, uint64_t bufsize)
{
   int stat = decValueAndLength(pctxt, data, bufsize, nullptr, pnbits);
   if (stat != 0) *pnbits = 0;
   return stat;
}

int rtJsonDecBitStrValueExt64(VXCTXT* pctxt, uint64_t* pnbits, uint8_t* data, uint64_t rootSize,
                              ASN1TDynOctStr64* pext)
{
   pext->numocts = 0;
   pext->data = nullptr;
   int stat = decValueAndLength(pctxt, data, rootSize, pext, pnbits);
   if (stat != 0) {
      if (pext->data) rtxMemFreePtr(pctxt, pext->data);
      pext->numocts = 0;
      pext->data = nullptr;
      *pnbits = 0;
   }
   return stat;
}
