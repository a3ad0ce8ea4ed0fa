// Bit cursor, writing side. Bits behind the cursor in the current byte are
// always zero: a byte entered at a byte boundary is assigned as a whole, so
// the output buffer never needs clearing.
#ifndef RTXBITENCODE_H
#define RTXBITENCODE_H

#include <string.h>

#include "rtxContext.h"

// Bit lengths: 0 for 0, 1 for 1, 8 for 255, 9 for 256.
VX_INLINE unsigned rtxUInt32BitLen(uint32_t v)
{
   return v == 0 ? 0u : 32u - (unsigned)__builtin_clz(v);
}
VX_INLINE unsigned rtxUInt64BitLen(uint64_t v)
{
   return v == 0 ? 0u : 64u - (unsigned)__builtin_clzll(v);
}

// Out of line, in rtxBitEncode: grow (or refuse) the output buffer so that
// the bytes from byteIndex up to byteIndex + touched exist.
int rtxEncNeedBytes(VXCTXT* pctxt, uint64_t touched);
int rtxEncCountTooBig(VXCTXT* pctxt);

// Makes room for nbits more bits at the cursor; no call while they fit.
VX_INLINE int rtxEncRoomForBits(VXCTXT* pctxt, uint64_t nbits)
{
   VXRTBuffer& b = pctxt->buffer;
   uint64_t touched = ((uint64_t)(8 - b.bitOffset) + nbits + 7) / 8;
   if (VX_UNLIKELY(b.byteIndex >= b.size || touched > b.size - b.byteIndex))
      return rtxEncNeedBytes(pctxt, touched);
   return 0;
}

// Writes one bit; any non-zero low byte of value counts as 1.
VX_INLINE int rtxEncBit(VXCTXT* pctxt, unsigned value)
{
   VXRTBuffer& b = pctxt->buffer;
   unsigned off = (unsigned)b.bitOffset;
   unsigned bit = (value & 0xFFu) != 0;
   if (off == 8) {
      if (VX_UNLIKELY(b.byteIndex >= b.size)) {
         int stat = rtxEncNeedBytes(pctxt, 1);
         if (stat != 0) return stat;
      }
      b.data[b.byteIndex] = (uint8_t)(bit << 7);
   } else {
      b.data[b.byteIndex] |= (uint8_t)(bit << (off - 1));
   }
   if (--off == 0) {
      off = 8;
      b.byteIndex++;
   }
   b.bitOffset = (int16_t)off;
   return 0;
}

// Whether eight bytes of the buffer lie at and after the cursor, so that up
// to 57 bits go in with rtxEncPutWord and no growth.
VX_INLINE bool rtxEncHasWord(const VXCTXT* pctxt)
{
   const VXRTBuffer& b = pctxt->buffer;
   return b.byteIndex < b.size && b.size - b.byteIndex >= 8;
}

// Writes value (nbits of 1..57, nothing above them) at the cursor: merged
// with the bits already in the current byte and stored as one big-endian
// word. The bytes beyond the new cursor get zeros, which is what a byte not
// yet entered may hold. Needs rtxEncHasWord.
VX_INLINE void rtxEncPutWord(VXCTXT* pctxt, uint64_t value, unsigned nbits)
{
   VXRTBuffer& b = pctxt->buffer;
   unsigned off = (unsigned)b.bitOffset;
   uint8_t* p = b.data + b.byteIndex;
   unsigned used = 8 - off;
   uint64_t w = (off == 8) ? 0 : (uint64_t)*p << 56;
   w |= value << (64 - used - nbits);
   w = __builtin_bswap64(w);
   memcpy(p, &w, 8);
   unsigned total = used + nbits;
   b.byteIndex += total >> 3;
   b.bitOffset = (int16_t)(8 - (total & 7u));
}

// Writes the low nbits (0..Limit) of value, high bit first, in one pass.
template <typename T, unsigned Limit>
VX_INLINE int rtxEncBitsTmpl(VXCTXT* pctxt, T value, unsigned nbits)
{
   if (nbits == 0) return 0;
   if (VX_UNLIKELY(nbits > Limit)) return rtxEncCountTooBig(pctxt);
   int stat = rtxEncRoomForBits(pctxt, nbits);
   if (stat != 0) return stat;

   VXRTBuffer& b = pctxt->buffer;
   unsigned off = (unsigned)b.bitOffset;
   uint8_t* p = b.data + b.byteIndex;
   if (nbits < Limit) value &= (T)(((T)1 << nbits) - 1);
   if (nbits > off && nbits <= 32 && b.size - b.byteIndex >= 8) {
      rtxEncPutWord(pctxt, (uint64_t)value, nbits);
      return 0;
   }
   if (nbits <= off) {
      off -= nbits;
      unsigned bits = (unsigned)value << off;
      if (off + nbits == 8)
         *p = (uint8_t)bits;
      else
         *p |= (uint8_t)bits;
      if (off == 0) {
         off = 8;
         p++;
      }
   } else {
      unsigned rem = nbits - off;
      unsigned head = (unsigned)(value >> rem) & 0xFFu;
      if (off == 8)
         *p = (uint8_t)head;
      else
         *p |= (uint8_t)head;
      p++;
      while (rem >= 8) {
         rem -= 8;
         *p++ = (uint8_t)(value >> rem);
      }
      if (rem != 0) {
         *p = (uint8_t)(value << (8 - rem));
         off = 8 - rem;
      } else {
         off = 8;
      }
   }
   b.byteIndex = (uint64_t)(p - b.data);
   b.bitOffset = (int16_t)off;
   return 0;
}

// Low nbits of a 32-bit value; above 32 gives -20. A value wider than nbits
// is cut, never refused.
VX_INLINE int rtxEncBits(VXCTXT* pctxt, uint32_t value, unsigned nbits)
{
   return rtxEncBitsTmpl<uint32_t, 32>(pctxt, value, nbits);
}

VX_INLINE int rtxEncBitsFromSize(VXCTXT* pctxt, uint64_t value, unsigned nbits)
{
   return rtxEncBitsTmpl<uint64_t, 64>(pctxt, value, nbits);
}

// Repeats an 8-bit pattern for nbits bits.
int rtxEncBitsPattern(VXCTXT* pctxt, uint8_t pattern, uint64_t nbits);

// Copies a left-aligned bit string of nbits bits; bits beyond nbits in the
// last source byte never reach the output.
int rtxEncBitsFromByteArray(VXCTXT* pctxt, const uint8_t* src, uint64_t nbits);

#endif
