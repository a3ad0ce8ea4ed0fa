// Bit cursor, reading side: single bits, small fields, bit arrays and cursor
// moves over the context's buffer.
#ifndef RTXBITDECODE_H
#define RTXBITDECODE_H

#include "rtxBitDecTmpl.h"
#include "rtxStream.h"

// Reads one bit as 0 or 1 into *pvalue; null skips the bit.
VX_INLINE int rtxDecBit(VXCTXT* pctxt, uint8_t* pvalue)
{
   VXRTBuffer& b = pctxt->buffer;
   if (VX_UNLIKELY(b.byteIndex >= b.size)) {
      int stat = rtxDecNeedBytes(pctxt, 1);
      if (stat != 0) return stat;
   }
   unsigned off = (unsigned)b.bitOffset - 1;
   uint8_t bit = (uint8_t)((b.data[b.byteIndex] >> off) & 1u);
   if (off == 0) {
      off = 8;
      b.byteIndex++;
   }
   b.bitOffset = (int16_t)off;
   if (pvalue) *pvalue = bit;
   return 0;
}

VX_INLINE int rtxDecBitsToUInt16(VXCTXT* pctxt, uint16_t* pvalue, unsigned nbits)
{
   return rtxDecBitsTmpl<uint16_t, 16>(pctxt, pvalue, nbits);
}

VX_INLINE int rtxDecBits(VXCTXT* pctxt, uint32_t* pvalue, unsigned nbits)
{
   return rtxDecBitsTmpl<uint32_t, 32>(pctxt, pvalue, nbits);
}

// Accepts up to 64 bits but keeps only the last 32 read (see the template).
VX_INLINE int rtxDecBitsToSize(VXCTXT* pctxt, uint64_t* pvalue, unsigned nbits)
{
   return rtxDecBitsTmpl<uint64_t, 64>(pctxt, pvalue, nbits);
}

// Up to 8 bits into a byte. A count of 0 leaves *pvalue as it was.
VX_INLINE int rtxDecBitsToByte(VXCTXT* pctxt, uint8_t* pvalue, unsigned nbits)
{
   if (nbits == 0) return 0;
   VXRTBuffer& b = pctxt->buffer;
   if (nbits == 8 && b.bitOffset == 8 && b.byteIndex < b.size) {
      uint8_t v = b.data[b.byteIndex++];
      if (pvalue) *pvalue = v;
      return 0;
   }
   if (VX_UNLIKELY(nbits > 8)) return rtxDecCountTooBig(pctxt);
   return rtxDecBitsTmpl<uint8_t, 8>(pctxt, pvalue, nbits);
}

// Copies nbits into dest (left-aligned, unused low bits of the last byte 0);
// null dest skips. -13 when dest (destSize bytes) is too small.
int rtxDecBitsToByteArray(VXCTXT* pctxt, uint8_t* dest, size_t destSize, uint64_t nbits);

// rtxDecBit, then one bit back.
int rtxPeekBit(VXCTXT* pctxt, uint8_t* pvalue);

// Moves the cursor by delta bits. -2 before the start or past the end; in
// the latter case the cursor stays where the move put it.
int rtxMoveBitCursor(VXCTXT* pctxt, int32_t delta);
int rtxSkipBits(VXCTXT* pctxt, uint32_t nbits);
int rtxSkipBytes(VXCTXT* pctxt, uint64_t nbytes);

// count octets at the cursor, read as one block at a byte boundary.
int rtxDecOctets(VXCTXT* pctxt, uint8_t* buf, unsigned count);

// The number the count octets at p spell, most significant first.
VX_INLINE uint64_t rtxOctetsToUInt64(const uint8_t* p, unsigned count)
{
   uint64_t acc = 0;
   for (unsigned i = 0; i < count; i++) acc = (acc << 8) | p[i];
   return acc;
}

// Numbers of count octets (unsigned: one leading zero octet more than the
// width is allowed; signed: two's complement).
int rtxDecUInt32(VXCTXT* pctxt, uint32_t* pvalue, unsigned count);
int rtxDecInt32(VXCTXT* pctxt, int32_t* pvalue, unsigned count);
int rtxDecUInt64(VXCTXT* pctxt, uint64_t* pvalue, unsigned count);

#endif
