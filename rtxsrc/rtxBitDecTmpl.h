// Reading of up to 16, 32 or 64 bits at the bit cursor: one inline template
// for the three widths. The fast path (the bits lie in the buffer) makes no
// call; only the end of the buffer goes out of line.
#ifndef RTXBITDECTMPL_H
#define RTXBITDECTMPL_H

#include <string.h>

#include "rtxContext.h"

// Out of line, in rtxBitDecode: make nbytes available from byteIndex (a
// stream may load them) or record -2; and record -23 for a count too large.
int rtxDecNeedBytes(VXCTXT* pctxt, uint64_t nbytes);
int rtxDecCountTooBig(VXCTXT* pctxt);

// Whether eight bytes lie ahead of the cursor, so that the next 57 bits at
// least can be taken from one load.
VX_INLINE bool rtxDecHasWord(const VXCTXT* pctxt)
{
   const VXRTBuffer& b = pctxt->buffer;
   return b.byteIndex < b.size && b.size - b.byteIndex >= 8;
}

// The bits from the cursor on, left-aligned in a word (the next bit is the
// top one); at least 57 of them are the buffer's. Needs rtxDecHasWord.
VX_INLINE uint64_t rtxDecPeekWord(const VXCTXT* pctxt)
{
   const VXRTBuffer& b = pctxt->buffer;
   uint64_t w;
   memcpy(&w, b.data + b.byteIndex, 8);
   return __builtin_bswap64(w) << (8u - (unsigned)b.bitOffset);
}

// Moves the cursor nbits on without a test: the bits were checked to be
// there (rtxDecHasWord, nbits at most 57).
VX_INLINE void rtxDecPassBits(VXCTXT* pctxt, unsigned nbits)
{
   VXRTBuffer& b = pctxt->buffer;
   unsigned total = (8u - (unsigned)b.bitOffset) + nbits;
   b.byteIndex += total >> 3;
   b.bitOffset = (int16_t)(8u - (total & 7u));
}

// Reads nbits (0..Limit) high bit first into *pvalue (null: skip). The
// accumulator is 32 bits wide on purpose: with more than 32 bits only the
// last 32 read remain.
template <typename T, unsigned Limit>
VX_INLINE int rtxDecBitsTmpl(VXCTXT* pctxt, T* pvalue, unsigned nbits)
{
   if (nbits == 0) {
      if (pvalue) *pvalue = 0;
      return 0;
   }
   if (VX_UNLIKELY(nbits > Limit)) return rtxDecCountTooBig(pctxt);

   VXRTBuffer& b = pctxt->buffer;
   unsigned off = (unsigned)b.bitOffset;
   uint32_t acc;
   if (nbits <= off) {
      if (VX_UNLIKELY(b.byteIndex >= b.size)) {
         int stat = rtxDecNeedBytes(pctxt, 1);
         if (stat != 0) return stat;
      }
      off -= nbits;
      acc = ((uint32_t)b.data[b.byteIndex] >> off) & ((1u << nbits) - 1u);
      if (off == 0) {
         off = 8;
         b.byteIndex++;
      }
   } else if (VX_LIKELY(nbits <= 32 && rtxDecHasWord(pctxt))) {
      // Eight bytes lie ahead: one big-endian load, one shift each way.
      acc = (uint32_t)(rtxDecPeekWord(pctxt) >> (64 - nbits));
      rtxDecPassBits(pctxt, nbits);
      if (pvalue) *pvalue = (T)acc;
      return 0;
   } else {
      uint64_t need = (nbits - off + 15) / 8;
      if (VX_UNLIKELY(b.byteIndex >= b.size || need > b.size - b.byteIndex)) {
         int stat = rtxDecNeedBytes(pctxt, need);
         if (stat != 0) return stat;
      }
      const uint8_t* p = b.data + b.byteIndex;
      acc = *p++ & ((1u << off) - 1u);
      nbits -= off;
      while (nbits >= 8) {
         acc = (acc << 8) | *p++;
         nbits -= 8;
      }
      if (nbits != 0) {
         acc = (acc << nbits) | ((uint32_t)*p >> (8 - nbits));
         off = 8 - nbits;
      } else {
         off = 8;
      }
      b.byteIndex = (uint64_t)(p - b.data);
   }
   b.bitOffset = (int16_t)off;
   if (pvalue) *pvalue = (T)acc;
   return 0;
}

#endif
