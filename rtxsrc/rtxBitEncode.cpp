// Bit cursor, writing side: buffer growth hook, patterns and bit arrays.
#include "rtxBitEncode.h"

#include "rtxBuffer.h"
#include "rtxError.h"

int rtxEncNeedBytes(VXCTXT* pctxt, uint64_t touched)
{
   // The check counts the partly filled current byte itself.
   uint64_t fresh = touched - (pctxt->buffer.bitOffset != 8 ? 1 : 0);
   int stat = rtxCheckOutputBuffer(pctxt, (size_t)fresh);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int rtxEncCountTooBig(VXCTXT* pctxt) { return VX_LOG_ERR(pctxt, RTERR_INVPARAM); }

int rtxEncBitsPattern(VXCTXT* pctxt, uint8_t pattern, uint64_t nbits)
{
   uint32_t word = 0x01010101u * pattern;
   for (; nbits >= 32; nbits -= 32) {
      int stat = rtxEncBits(pctxt, word, 32);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   if (nbits != 0) {
      int stat = rtxEncBits(pctxt, word >> (32 - nbits), (unsigned)nbits);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}

int rtxEncBitsFromByteArray(VXCTXT* pctxt, const uint8_t* src, uint64_t nbits)
{
   if (nbits == 0) return 0;
   if (src == nullptr || nbits > UINT64_MAX - 16) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   int stat = rtxEncRoomForBits(pctxt, nbits);
   if (stat != 0) return stat;

   VXRTBuffer& b = pctxt->buffer;
   uint64_t whole = nbits / 8;
   unsigned rem = (unsigned)(nbits % 8);
   unsigned off = (unsigned)b.bitOffset;
   uint8_t* p = b.data + b.byteIndex;
   if (off == 8) {
      memcpy(p, src, (size_t)whole);
      p += whole;
      if (rem != 0) {
         *p = (uint8_t)(src[whole] & (0xFF00u >> rem));
         off = 8 - rem;
      }
   } else {
      // Each source byte fills the free low bits of one output byte and the
      // high bits of the next.
      unsigned used = 8 - off;
      for (uint64_t i = 0; i < whole; i++) {
         *p++ |= (uint8_t)(src[i] >> used);
         *p = (uint8_t)(src[i] << off);
      }
      if (rem != 0) {
         unsigned last = src[whole] & (0xFF00u >> rem) & 0xFFu;
         *p |= (uint8_t)(last >> used);
         if (rem < off) {
            off -= rem;
         } else {
            p++;
            off = 8 - (rem - off);
            if (off != 8) *p = (uint8_t)(last << (8 - used));
         }
      }
   }
   b.byteIndex = (uint64_t)(p - b.data);
   b.bitOffset = (int16_t)off;
   return 0;
}
