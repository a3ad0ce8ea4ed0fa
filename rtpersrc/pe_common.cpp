// PER encoding: bit writers, alignment and the plain binary integer forms.
#include "asn1per.h"

#include "rtxError.h"

int pe_octet(VXCTXT* pctxt, uint8_t value)
{
   int stat = rtxEncBits(pctxt, value, 8);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_byte_align(VXCTXT* pctxt)
{
   VXRTBuffer& b = pctxt->buffer;
   if (b.aligned && b.bitOffset != 8) {
      b.byteIndex++;
      b.bitOffset = 8;
      PU_SETBITOFFSET(pctxt);
   }
   return 0;
}

int pe_octetAligned(VXCTXT* pctxt, uint8_t value)
{
   pe_byte_align(pctxt);
   return pe_octet(pctxt, value);
}

int pe_bitsAligned(VXCTXT* pctxt, uint32_t value, unsigned nbits)
{
   if (nbits == 0) return 0;
   pe_byte_align(pctxt);
   int stat = rtxEncBits(pctxt, value, nbits);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_msBitsFromOctet(VXCTXT* pctxt, uint8_t value, unsigned nbits)
{
   if (nbits > 8) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   if (nbits == 0) return 0;
   int stat = rtxEncBits(pctxt, (uint32_t)value >> (8 - nbits), nbits);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_lsBitsFromOctet(VXCTXT* pctxt, uint8_t value, unsigned nbits)
{
   if (nbits > 8) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   int stat = rtxEncBits(pctxt, value, nbits);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_lsBitsFromOctetAligned(VXCTXT* pctxt, uint8_t value, unsigned nbits)
{
   if (nbits == 0) return 0;
   pe_byte_align(pctxt);
   return pe_lsBitsFromOctet(pctxt, value, nbits);
}

int pe_resetBuffer(VXCTXT* pctxt)
{
   pctxt->buffer.byteIndex = 0;
   pctxt->buffer.bitOffset = 8;
   PU_RESETTRACE(pctxt);
   return 0;
}

// Octets needed for a non-negative number, at least one.
static unsigned octetCount(uint64_t value)
{
   unsigned bits = rtxUInt64BitLen(value);
   return bits == 0 ? 1u : (bits + 7) / 8;
}

int pe_NonNegBinInt64(VXCTXT* pctxt, uint64_t value)
{
   int stat = rtxEncBitsFromSize(pctxt, value, octetCount(value) * 8);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_NonNegBinInt(VXCTXT* pctxt, uint32_t value) { return pe_NonNegBinInt64(pctxt, value); }

// Shortest two's complement octets of value, filled from the end of buf
// (at least 9 bytes); returns the index of the first octet.
unsigned pe_2sCompOctets(int64_t value, uint8_t* buf, unsigned bufSize)
{
   unsigned i = bufSize;
   int64_t v = value;
   do {
      buf[--i] = (uint8_t)((uint64_t)v & 0xFFu);
      v >>= 8;  // floor division by 256
   } while (v != 0 && v != -1);
   if (value >= 0 && (buf[i] & 0x80u) != 0)
      buf[--i] = 0x00;
   else if (value < 0 && (buf[i] & 0x80u) == 0)
      buf[--i] = 0xFF;
   return i;
}

int pe_2sCompBinInt64(VXCTXT* pctxt, int64_t value)
{
   uint8_t buf[17];
   unsigned first = pe_2sCompOctets(value, buf, sizeof(buf));
   int stat = rtxEncBitsFromByteArray(pctxt, buf + first, (uint64_t)(sizeof(buf) - first) * 8);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_2sCompBinInt(VXCTXT* pctxt, int32_t value) { return pe_2sCompBinInt64(pctxt, value); }

int pe_identifier64(VXCTXT* pctxt, uint64_t value)
{
   unsigned groups = 1;
   while (groups < 10 && (value >> (7 * groups)) != 0) groups++;
   for (unsigned g = groups; g-- > 0;) {
      uint32_t octet = (uint32_t)(value >> (7 * g)) & 0x7Fu;
      if (g != 0) octet |= 0x80u;
      int stat = rtxEncBits(pctxt, octet, 8);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}

int pe_identifier(VXCTXT* pctxt, uint32_t value) { return pe_identifier64(pctxt, value); }
