// PER decoding of constrained whole numbers and constrained integers.
#include "asn1per.h"

#include "rtxError.h"

int pd_ConsWholeNumber(VXCTXT* pctxt, uint32_t* padjusted, uint32_t rangeValue)
{
   if (rangeValue == 0) return VX_LOG_ERR(pctxt, RTERR_BADVALUE);
   unsigned nbits = rtxUInt32BitLen(rangeValue - 1);
   int stat;
   if (!pctxt->buffer.aligned || rangeValue < 256) {
      stat = rtxDecBits(pctxt, padjusted, nbits);
   } else if (rangeValue <= 65536) {
      pd_byteAlign(pctxt);
      stat = rtxDecBits(pctxt, padjusted, rangeValue == 256 ? 8 : 16);
   } else {
      uint32_t octets = 0;
      stat = rtxDecBits(pctxt, &octets, 2);
      if (stat == 0) {
         pd_byteAlign(pctxt);
         stat = rtxDecBits(pctxt, padjusted, (octets + 1) * 8);
      }
   }
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

// Reads nbits (up to 64) as two 32-bit pieces, the high part first.
static int decodeBits64(VXCTXT* pctxt, uint64_t* pvalue, unsigned nbits)
{
   uint32_t hi = 0, lo = 0;
   int stat = 0;
   if (nbits > 32) {
      stat = rtxDecBits(pctxt, &hi, nbits - 32);
      if (stat == 0) stat = rtxDecBits(pctxt, &lo, 32);
   } else {
      stat = rtxDecBits(pctxt, &lo, nbits);
   }
   if (stat != 0) return stat;
   *pvalue = ((uint64_t)hi << 32) | lo;
   return 0;
}

int pd_ConsWholeNumber64(VXCTXT* pctxt, uint64_t* padjusted, uint64_t rangeValue)
{
   if (rangeValue == 0) return VX_LOG_ERR(pctxt, RTERR_BADVALUE);
   if (rangeValue <= UINT32_MAX) {
      uint32_t v = 0;
      int stat = pd_ConsWholeNumber(pctxt, &v, (uint32_t)rangeValue);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      *padjusted = v;
      return 0;
   }
   int stat;
   if (!pctxt->buffer.aligned) {
      stat = decodeBits64(pctxt, padjusted, rtxUInt64BitLen(rangeValue - 1));
   } else {
      uint32_t octets = 0;
      stat = rtxDecBits(pctxt, &octets, rangeValue <= 0x100000000ull ? 2 : 3);
      if (stat == 0) {
         pd_byteAlign(pctxt);
         stat = decodeBits64(pctxt, padjusted, (octets + 1) * 8);
      }
   }
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

// Number of values of lower..upper, the all-ones value meaning 2^64.
static uint64_t rangeOf(uint64_t lower, uint64_t upper)
{
   uint64_t range = upper - lower;
   return range == UINT64_MAX ? range : range + 1;
}

// Reads value - lower for lower..upper (unsigned view of the bounds) and
// tests it against the span; the span test catches ranges that are not a
// power of two.
static int decodeAdjusted(VXCTXT* pctxt, uint64_t* padjusted, uint64_t lower, uint64_t upper)
{
   *padjusted = 0;
   if (lower == upper) return 0;
   int stat = pd_ConsWholeNumber64(pctxt, padjusted, rangeOf(lower, upper));
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pd_ConsInt64(VXCTXT* pctxt, int64_t* pvalue, int64_t lower, int64_t upper)
{
   PU_NEWFIELD(pctxt, "ConsInteger");
   if (lower > upper) return VX_LOG_ERR(pctxt, RTERR_BADVALUE);
   uint64_t adj;
   int stat = decodeAdjusted(pctxt, &adj, (uint64_t)lower, (uint64_t)upper);
   PU_SETBITCOUNT(pctxt);
   if (stat != 0) return stat;
   int64_t value = (int64_t)((uint64_t)lower + adj);
   if (adj > (uint64_t)upper - (uint64_t)lower) {
      rtxErrAddElemNameParm(pctxt);
      rtxErrAddInt64Parm(pctxt, value);
      return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
   }
   *pvalue = value;
   return 0;
}

int pd_ConsUInt64(VXCTXT* pctxt, uint64_t* pvalue, uint64_t lower, uint64_t upper)
{
   PU_NEWFIELD(pctxt, "ConsUnsigned");
   if (lower > upper) return VX_LOG_ERR(pctxt, RTERR_BADVALUE);
   uint64_t adj;
   int stat = decodeAdjusted(pctxt, &adj, lower, upper);
   PU_SETBITCOUNT(pctxt);
   if (stat != 0) return stat;
   uint64_t value = lower + adj;
   if (adj > upper - lower) {
      rtxErrAddElemNameParm(pctxt);
      rtxErrAddUInt64Parm(pctxt, value);
      return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
   }
   *pvalue = value;
   return 0;
}

int pd_ConsInt8(VXCTXT* pctxt, int8_t* pvalue, int32_t lower, int32_t upper)
{
   int64_t v = 0;
   return pu_narrow(pctxt, pd_ConsInt64(pctxt, &v, lower, upper), v, pvalue);
}

int pd_ConsInt16(VXCTXT* pctxt, int16_t* pvalue, int32_t lower, int32_t upper)
{
   int64_t v = 0;
   return pu_narrow(pctxt, pd_ConsInt64(pctxt, &v, lower, upper), v, pvalue);
}

int pd_ConsInteger(VXCTXT* pctxt, int32_t* pvalue, int32_t lower, int32_t upper)
{
   int64_t v = 0;
   return pu_narrow(pctxt, pd_ConsInt64(pctxt, &v, lower, upper), v, pvalue);
}

int pd_ConsUInt8(VXCTXT* pctxt, uint8_t* pvalue, uint32_t lower, uint32_t upper)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, pd_ConsUInt64(pctxt, &v, lower, upper), v, pvalue);
}

int pd_ConsUInt16(VXCTXT* pctxt, uint16_t* pvalue, uint32_t lower, uint32_t upper)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, pd_ConsUInt64(pctxt, &v, lower, upper), v, pvalue);
}

int pd_ConsUnsigned(VXCTXT* pctxt, uint32_t* pvalue, uint32_t lower, uint32_t upper)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, pd_ConsUInt64(pctxt, &v, lower, upper), v, pvalue);
}

int pd_ConsUInt64SignedBound(VXCTXT* pctxt, uint64_t* pvalue, int64_t lower, int64_t upper)
{
   int64_t v = 0;
   int stat = pd_ConsInt64(pctxt, &v, lower, upper);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (v < 0) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);  // a negative bound let it below 0
   *pvalue = (uint64_t)v;
   return 0;
}

int pd_ConsUInt8SignedBound(VXCTXT* pctxt, uint8_t* pvalue, int32_t lower, int32_t upper)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, pd_ConsUInt64SignedBound(pctxt, &v, lower, upper), v, pvalue);
}

int pd_ConsUInt16SignedBound(VXCTXT* pctxt, uint16_t* pvalue, int32_t lower, int32_t upper)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, pd_ConsUInt64SignedBound(pctxt, &v, lower, upper), v, pvalue);
}

int pd_ConsUnsignedSignedBound(VXCTXT* pctxt, uint32_t* pvalue, int32_t lower, int32_t upper)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, pd_ConsUInt64SignedBound(pctxt, &v, lower, upper), v, pvalue);
}
