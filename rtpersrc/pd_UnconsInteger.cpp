// PER decoding of unconstrained and semi-constrained integers, small
// non-negative whole numbers, and counted octets into numbers.
#include "asn1per.h"

#include "rtxReadBytes.h"

// A length that counts octets of a number: a fragment is far too many.
static int octetCount(VXCTXT* pctxt, uint32_t* pcount)
{
   int stat = pd_Length(pctxt, pcount);
   if (stat == RT_OK_FRAG) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

// Signed: count octets, the first read as signed. pd_UnconsInteger reads
// that octet before it tests the count, the 64-bit form tests first.
static int decodeUnconsSigned(VXCTXT* pctxt, int64_t* pvalue, unsigned maxOctets, bool testFirst,
                              const char* fieldName)
{
   uint32_t count = 0;
   int stat = octetCount(pctxt, &count);
   if (stat != 0) return stat;
   PU_NEWFIELD(pctxt, fieldName);
   int64_t acc = 0;
   if (count != 0) {
      pd_byteAlign(pctxt);
      if (testFirst && count > maxOctets) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      uint8_t buf[8];
      stat = rtxDecOctets(pctxt, buf, 1);
      if (stat != 0) return stat;
      if (count > maxOctets) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      stat = rtxDecOctets(pctxt, buf + 1, count - 1);
      if (stat != 0) return stat;
      acc = (int8_t)buf[0];
      for (unsigned i = 1; i < count; i++) acc = (int64_t)(((uint64_t)acc << 8) | buf[i]);
   }
   PU_SETBITCOUNT(pctxt);
   *pvalue = acc;
   return 0;
}

// Unsigned: one octet more than the width is allowed when it is 0; without
// it a set top bit would be a negative number.
static int decodeUnconsUnsigned(VXCTXT* pctxt, uint64_t* pvalue, unsigned maxOctets,
                                const char* fieldName)
{
   uint32_t count = 0;
   int stat = octetCount(pctxt, &count);
   if (stat != 0) return stat;
   PU_NEWFIELD(pctxt, fieldName);
   uint64_t acc = 0;
   if (count != 0) {
      if (count > maxOctets + 1) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      pd_byteAlign(pctxt);
      uint8_t buf[9];
      stat = rtxDecOctets(pctxt, buf, count);
      if (stat != 0) return stat;
      unsigned first = 0;
      if (count == maxOctets + 1) {
         if (buf[0] != 0) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
         first = 1;
      } else if (buf[0] & 0x80u) {
         return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      }
      acc = rtxOctetsToUInt64(buf + first, count - first);
   }
   PU_SETBITCOUNT(pctxt);
   *pvalue = acc;
   return 0;
}

int pd_UnconsInteger(VXCTXT* pctxt, int32_t* pvalue)
{
   int64_t v = 0;
   return pu_narrow(pctxt, decodeUnconsSigned(pctxt, &v, 4, false, "UnconsInteger"), v, pvalue);
}

int pd_UnconsInt8(VXCTXT* pctxt, int8_t* pvalue)
{
   int64_t v = 0;
   return pu_narrow(pctxt, decodeUnconsSigned(pctxt, &v, 1, false, "UnconsInteger"), v, pvalue);
}

int pd_UnconsInt16(VXCTXT* pctxt, int16_t* pvalue)
{
   int64_t v = 0;
   return pu_narrow(pctxt, decodeUnconsSigned(pctxt, &v, 2, false, "UnconsInteger"), v, pvalue);
}

int pd_UnconsInt64(VXCTXT* pctxt, int64_t* pvalue)
{
   int stat = decodeUnconsSigned(pctxt, pvalue, 8, true, "UnconsInt64");
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pd_UnconsUnsigned(VXCTXT* pctxt, uint32_t* pvalue)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, decodeUnconsUnsigned(pctxt, &v, 4, "UnconsUnsigned"), v, pvalue);
}

int pd_UnconsUInt8(VXCTXT* pctxt, uint8_t* pvalue)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, decodeUnconsUnsigned(pctxt, &v, 1, "UnconsUnsigned"), v, pvalue);
}

int pd_UnconsUInt16(VXCTXT* pctxt, uint16_t* pvalue)
{
   uint64_t v = 0;
   return pu_narrow(pctxt, decodeUnconsUnsigned(pctxt, &v, 2, "UnconsUnsigned"), v, pvalue);
}

int pd_UnconsUInt64(VXCTXT* pctxt, uint64_t* pvalue)
{
   int stat = decodeUnconsUnsigned(pctxt, pvalue, 8, "UnconsUInt64");
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

// Semi-constrained: a length of octets, then the offset from the lower
// bound. A length of 0 (this system's form of the lower bound) is 0.
static int decodeSemiCons(VXCTXT* pctxt, uint64_t* poffset, const char* fieldName)
{
   uint32_t count = 0;
   int stat = octetCount(pctxt, &count);
   if (stat != 0) return stat;
   PU_NEWFIELD(pctxt, fieldName);
   uint32_t hi = 0, lo = 0;
   if (count != 0) {
      if (count > 8) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      pd_byteAlign(pctxt);
      if (count > 4) stat = rtxDecBits(pctxt, &hi, count * 8 - 32);
      if (stat == 0) stat = rtxDecBits(pctxt, &lo, count > 4 ? 32 : count * 8);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   PU_SETBITCOUNT(pctxt);
   *poffset = ((uint64_t)hi << 32) | lo;
   return 0;
}

int pd_SemiConsUInt64(VXCTXT* pctxt, uint64_t* pvalue, uint64_t lower)
{
   uint64_t t = 0;
   int stat = decodeSemiCons(pctxt, &t, "SemiConsUInt64");
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (t > UINT64_MAX - lower) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   *pvalue = t + lower;
   return 0;
}

int pd_SemiConsInt64(VXCTXT* pctxt, int64_t* pvalue, int64_t lower)
{
   uint64_t t = 0;
   int stat = decodeSemiCons(pctxt, &t, "SemiCons");
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   // Largest offset that stays within int64 (computed without overflow).
   if (t > (uint64_t)INT64_MAX - (uint64_t)lower) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   *pvalue = (int64_t)((uint64_t)lower + t);
   return 0;
}

int pd_SemiConsUInt64SignedBound(VXCTXT* pctxt, uint64_t* pvalue, int64_t lower)
{
   uint64_t t = 0;
   int stat = decodeSemiCons(pctxt, &t, "SemiConsUInt64");
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (lower < 0) {
      uint64_t below = (uint64_t)0 - (uint64_t)lower;
      if (t < below) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      *pvalue = t - below;
   } else {
      if (t > UINT64_MAX - (uint64_t)lower) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      *pvalue = t + (uint64_t)lower;
   }
   return 0;
}

int pd_SemiConsInteger(VXCTXT* pctxt, int32_t* pvalue, int32_t lower)
{
   int64_t v = 0;
   return pu_narrow(pctxt, pd_SemiConsInt64(pctxt, &v, lower), v, pvalue);
}

int pd_SemiConsUnsigned(VXCTXT* pctxt, uint32_t* pvalue, uint32_t lower)
{
   uint64_t t = 0;
   int stat = decodeSemiCons(pctxt, &t, "SemiConsUnsigned");
   // An offset above 32 bits can not fit whatever the bound; no wrap-around.
   return pu_narrow(pctxt, stat, t > UINT32_MAX ? UINT64_MAX : t + lower, pvalue);
}

int pd_SmallNonNegWholeNumber(VXCTXT* pctxt, uint32_t* pvalue)
{
   uint8_t bit = 0;
   uint32_t value = 0;
   int stat = rtxDecBit(pctxt, &bit);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (bit == 0) {
      stat = rtxDecBits(pctxt, &value, 6);
   } else {
      uint32_t count = 0;
      stat = octetCount(pctxt, &count);
      if (stat != 0) return stat;
      if (count > 4) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      pd_byteAlign(pctxt);
      stat = rtxDecBits(pctxt, &value, count * 8);
   }
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (pvalue) *pvalue = value;
   return 0;
}
