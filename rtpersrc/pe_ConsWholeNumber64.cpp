// PER encoding of constrained whole numbers and constrained integers.
#include "asn1per.h"

#include "rtxError.h"

int pe_ConsWholeNumber(VXCTXT* pctxt, uint32_t adjustedValue, uint32_t rangeValue)
{
   // A range of 0xFFFFFFFF stands for the full 32-bit range.
   if (adjustedValue >= rangeValue && rangeValue != UINT32_MAX)
      return VX_LOG_ERR(pctxt, RTERR_BADVALUE);
   unsigned nbits = rtxUInt32BitLen(rangeValue - 1);
   int stat;
   if (!pctxt->buffer.aligned || rangeValue < 256) {
      stat = rtxEncBits(pctxt, adjustedValue, nbits);
   } else if (rangeValue == 256) {
      stat = pe_bitsAligned(pctxt, adjustedValue, 8);
   } else if (rangeValue <= 65536) {
      stat = pe_bitsAligned(pctxt, adjustedValue, 16);
   } else {
      unsigned octets = adjustedValue < 256         ? 1
                        : adjustedValue < 65536     ? 2
                        : adjustedValue <= 0xFFFFFF ? 3
                                                    : 4;
      stat = rtxEncBits(pctxt, octets - 1, 2);
      if (stat == 0) {
         pe_byte_align(pctxt);
         stat = pe_NonNegBinInt(pctxt, adjustedValue);
      }
   }
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_ConsWholeNumRangeGT64K(VXCTXT* pctxt, uint64_t adjustedValue, unsigned lenBits)
{
   unsigned bits = rtxUInt64BitLen(adjustedValue);
   unsigned octets = bits == 0 ? 1 : (bits + 7) / 8;
   int stat = rtxEncBits(pctxt, octets - 1, lenBits);
   if (stat == 0) {
      pe_byte_align(pctxt);
      stat = pe_NonNegBinInt64(pctxt, adjustedValue);
   }
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_ConsWholeNumber64(VXCTXT* pctxt, uint64_t adjustedValue, uint64_t rangeValue)
{
   // The all-ones range stands for the full 64-bit range.
   if (adjustedValue >= rangeValue && rangeValue != UINT64_MAX)
      return VX_LOG_ERR(pctxt, RTERR_BADVALUE);
   if (adjustedValue <= UINT32_MAX && rangeValue <= UINT32_MAX)
      return pe_ConsWholeNumber(pctxt, (uint32_t)adjustedValue, (uint32_t)rangeValue);
   unsigned nbits = rtxUInt64BitLen(rangeValue - 1);
   if (!pctxt->buffer.aligned) return pe_bits64(pctxt, adjustedValue, nbits);
   unsigned lenBits = rtxUInt32BitLen((nbits + 7) / 8 - 1);
   return pe_ConsWholeNumRangeGT64K(pctxt, adjustedValue, lenBits);
}

// Number of values of lower..upper, the all-ones value meaning 2^64.
static uint64_t rangeOf(uint64_t lower, uint64_t upper)
{
   uint64_t range = upper - lower;
   return range == UINT64_MAX ? range : range + 1;
}

static int encodeAdjusted(VXCTXT* pctxt, uint64_t adjusted, uint64_t lower, uint64_t upper)
{
   if (lower == upper) return 0;  // a single value takes no bits
   int stat = pe_ConsWholeNumber64(pctxt, adjusted, rangeOf(lower, upper));
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

static int valueViolation(VXCTXT* pctxt, uint64_t value)
{
   rtxErrAddStrParm(pctxt, "'value'");
   rtxErrAddUInt64Parm(pctxt, value);
   return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
}

int pe_ConsInt64(VXCTXT* pctxt, int64_t value, int64_t lower, int64_t upper)
{
   PU_NEWFIELD(pctxt, "ConsInteger");
   if (value < lower || value > upper) return valueViolation(pctxt, (uint64_t)value);
   // Unsigned differences cover lower < 0 < upper without overflow.
   int stat =
      encodeAdjusted(pctxt, (uint64_t)value - (uint64_t)lower, (uint64_t)lower, (uint64_t)upper);
   PU_SETBITCOUNT(pctxt);
   return stat;
}

int pe_ConsUInt64(VXCTXT* pctxt, uint64_t value, uint64_t lower, uint64_t upper)
{
   // No range test of the value here: one out of range comes back as -14
   // from the whole-number encoder (unlike the -16 of pe_ConsInt64).
   PU_NEWFIELD(pctxt, "ConsUnsigned");
   if (lower > upper) return VX_LOG_ERR(pctxt, RTERR_BADVALUE);
   int stat = encodeAdjusted(pctxt, value - lower, lower, upper);
   PU_SETBITCOUNT(pctxt);
   return stat;
}

int pe_ConsUInt64SignedBound(VXCTXT* pctxt, uint64_t value, int64_t lower, int64_t upper)
{
   PU_NEWFIELD(pctxt, "ConsUnsigned");
   if ((lower > 0 && (uint64_t)lower > value) || upper < 0 || value > (uint64_t)upper)
      return valueViolation(pctxt, value);
   int stat = encodeAdjusted(pctxt, value - (uint64_t)lower, (uint64_t)lower, (uint64_t)upper);
   PU_SETBITCOUNT(pctxt);
   return stat;
}
