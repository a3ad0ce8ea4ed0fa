// PER encoding of unconstrained and semi-constrained integers and of small
// non-negative whole numbers.
#include "asn1per.h"

#include "rtxError.h"

// Count octet, then the shortest two's complement octets. The count never
// exceeds 9, so it is a plain octet rather than a general length.
static int encodeSigned(VXCTXT* pctxt, int64_t value, const char* fieldName)
{
   uint8_t buf[17];
   unsigned first = pe_2sCompOctets(value, buf, sizeof(buf));
   unsigned count = (unsigned)sizeof(buf) - first;
   bool aligned = pctxt->buffer.aligned != 0;

   PU_NEWFIELD(pctxt, "length");
   int stat = aligned ? pe_octetAligned(pctxt, (uint8_t)count) : pe_octet(pctxt, (uint8_t)count);
   PU_SETBITCOUNT(pctxt);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);

   PU_NEWFIELD(pctxt, fieldName);
   if (aligned) pe_byte_align(pctxt);
   stat = rtxEncBitsFromByteArray(pctxt, buf + first, (uint64_t)count * 8);
   PU_SETBITCOUNT(pctxt);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

// A value with its top bit set: one octet more than its width, the first 0.
static int encodeTopBitUnsigned(VXCTXT* pctxt, uint64_t value, unsigned width,
                                const char* fieldName)
{
   bool aligned = pctxt->buffer.aligned != 0;
   uint8_t count = (uint8_t)(width / 8 + 1);
   PU_NEWFIELD(pctxt, "length");
   int stat = aligned ? pe_octetAligned(pctxt, count) : pe_octet(pctxt, count);
   PU_SETBITCOUNT(pctxt);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);

   PU_NEWFIELD(pctxt, fieldName);
   if (aligned) pe_byte_align(pctxt);
   stat = rtxEncBits(pctxt, 0, 8);
   if (stat == 0) stat = rtxEncBitsFromSize(pctxt, value, width);
   PU_SETBITCOUNT(pctxt);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_UnconsInt32Unaligned(VXCTXT* pctxt, int32_t value)
{
   return encodeSigned(pctxt, value, "UnconsInteger");
}

int pe_UnconsInt32Aligned(VXCTXT* pctxt, int32_t value)
{
   return encodeSigned(pctxt, value, "UnconsInteger");
}

int pe_UnconsInt32(VXCTXT* pctxt, int32_t value)
{
   return pctxt->buffer.aligned ? pe_UnconsInt32Aligned(pctxt, value)
                                : pe_UnconsInt32Unaligned(pctxt, value);
}

int pe_UnconsInt64Unaligned(VXCTXT* pctxt, int64_t value)
{
   return encodeSigned(pctxt, value, "UnconsInt64");
}

int pe_UnconsInt64Aligned(VXCTXT* pctxt, int64_t value)
{
   return encodeSigned(pctxt, value, "UnconsInteger");
}

int pe_UnconsInt64(VXCTXT* pctxt, int64_t value)
{
   return pctxt->buffer.aligned ? pe_UnconsInt64Aligned(pctxt, value)
                                : pe_UnconsInt64Unaligned(pctxt, value);
}

int pe_UnconsUInt32Unaligned(VXCTXT* pctxt, uint32_t value)
{
   if (value & 0x80000000u) return encodeTopBitUnsigned(pctxt, value, 32, "UnconsUnsigned");
   return pe_UnconsInt32Unaligned(pctxt, (int32_t)value);
}

int pe_UnconsUInt32Aligned(VXCTXT* pctxt, uint32_t value)
{
   if (value & 0x80000000u) return encodeTopBitUnsigned(pctxt, value, 32, "UnconsUnsigned");
   return pe_UnconsInt32Aligned(pctxt, (int32_t)value);
}

int pe_UnconsUInt32(VXCTXT* pctxt, uint32_t value)
{
   return pctxt->buffer.aligned ? pe_UnconsUInt32Aligned(pctxt, value)
                                : pe_UnconsUInt32Unaligned(pctxt, value);
}

int pe_UnconsUInt64Unaligned(VXCTXT* pctxt, uint64_t value)
{
   if (value >> 63) return encodeTopBitUnsigned(pctxt, value, 64, "UnconsUInt64");
   return pe_UnconsInt64Unaligned(pctxt, (int64_t)value);
}

int pe_UnconsUInt64Aligned(VXCTXT* pctxt, uint64_t value)
{
   if (value >> 63) return encodeTopBitUnsigned(pctxt, value, 64, "UnconsUInt64");
   return pe_UnconsInt64Aligned(pctxt, (int64_t)value);
}

int pe_UnconsUInt64(VXCTXT* pctxt, uint64_t value)
{
   return pctxt->buffer.aligned ? pe_UnconsUInt64Aligned(pctxt, value)
                                : pe_UnconsUInt64Unaligned(pctxt, value);
}

int pe_SemiConsUInt64(VXCTXT* pctxt, uint64_t value, uint64_t lower)
{
   uint64_t t = value - lower;
   if (t == 0) {
      // The lower bound itself is a length of 0 with no content octet.
      int len = pe_Length(pctxt, 0);
      return len < 0 ? VX_LOG_ERR(pctxt, len) : 0;
   }
   unsigned octets = 8;
   while (octets > 1 && (t >> (8 * (octets - 1))) == 0) octets--;
   int len = pe_Length(pctxt, octets);
   if (len < 0) return VX_LOG_ERR(pctxt, len);
   PU_NEWFIELD(pctxt, "SemiConsUInt64");
   pe_byte_align(pctxt);
   int stat = pe_NonNegBinInt64(pctxt, t);
   PU_SETBITCOUNT(pctxt);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_SemiConsInt64(VXCTXT* pctxt, int64_t value, int64_t lower)
{
   return pe_SemiConsUInt64(pctxt, (uint64_t)value - (uint64_t)lower, 0);
}

int pe_SemiConsUInt64SignedBound(VXCTXT* pctxt, uint64_t value, int64_t lower)
{
   return pe_SemiConsUInt64(pctxt, value - (uint64_t)lower, 0);
}

int pe_SemiConsInteger(VXCTXT* pctxt, int32_t value, int32_t lower)
{
   return pe_SemiConsInt64(pctxt, value, lower);
}

int pe_SemiConsUnsigned(VXCTXT* pctxt, uint32_t value, uint32_t lower)
{
   return pe_SemiConsUInt64(pctxt, value, lower);
}

int pe_SmallNonNegWholeNumber(VXCTXT* pctxt, uint32_t value)
{
   int stat;
   if (value <= 63) {
      stat = rtxEncBits(pctxt, value, 7);  // bit 0, then six value bits
      return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
   }
   if (value > 0xFFFFFF) {
      rtxErrAddStrParm(pctxt, "very large SmallNonNegWholeNumber");
      return VX_LOG_ERR(pctxt, RTERR_NOTSUPP);
   }
   unsigned octets = value < 256 ? 1 : value < 65536 ? 2 : 3;
   stat = rtxEncBit(pctxt, 1);
   if (stat == 0) {
      pe_byte_align(pctxt);
      stat = rtxEncBits(pctxt, octets, 8);
   }
   if (stat == 0) stat = rtxEncBits(pctxt, value, octets * 8);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}
