// Bit cursor, reading side: the out-of-line parts (buffer end, arrays, moves).
#include "rtxBitDecode.h"

#include "rtxError.h"
#include "rtxReadBytes.h"
#include "rtxStream.h"

int rtxDecNeedBytes(VXCTXT* pctxt, uint64_t nbytes)
{
   int stat = rtxCheckInputBuffer(pctxt, (size_t)nbytes);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int rtxDecCountTooBig(VXCTXT* pctxt) { return VX_LOG_ERR(pctxt, RTERR_TOOBIG); }

static inline uint64_t bytesLeft(const VXRTBuffer& b)
{
   return b.byteIndex < b.size ? b.size - b.byteIndex : 0;
}

// At a byte boundary: whole bytes with one block copy, a stream may supply
// what the buffer lacks.
static int copyWholeBytes(VXCTXT* pctxt, uint8_t* dest, uint64_t nbytes)
{
   VXRTBuffer& b = pctxt->buffer;
   uint64_t n = bytesLeft(b);
   if (n > nbytes) n = nbytes;
   if (n != 0) memcpy(dest, b.data + b.byteIndex, (size_t)n);
   b.byteIndex += n;
   if (n == nbytes) return 0;
   if (!rtxCtxtHasLiveStream(pctxt)) return VX_LOG_ERR(pctxt, RTERR_ENDOFBUF);

   uint64_t missing = nbytes - n;
   if (missing <= 1024) {
      int stat = rtxCheckInputBuffer(pctxt, (size_t)missing);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      memcpy(dest + n, b.data + b.byteIndex, (size_t)missing);
      b.byteIndex += missing;
      return 0;
   }
   long got = rtxStreamRead(pctxt, dest + n, (size_t)missing);
   if (got < 0) return VX_LOG_ERR(pctxt, (int)got);
   if ((uint64_t)got < missing) return VX_LOG_ERR(pctxt, RTERR_ENDOFFILE);
   return 0;
}

int rtxDecBitsToByteArray(VXCTXT* pctxt, uint8_t* dest, size_t destSize, uint64_t nbits)
{
   if (nbits == 0) return 0;
   if (nbits > UINT64_MAX - 16) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   if (dest == nullptr) {
      if (nbits > (uint64_t)INT32_MAX) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      int stat = rtxMoveBitCursor(pctxt, (int32_t)nbits);
      return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
   }
   uint64_t whole = nbits / 8;
   unsigned rem = (unsigned)(nbits % 8);
   if (whole + (rem != 0) > destSize) return VX_LOG_ERR(pctxt, RTERR_STROVFLW);

   VXRTBuffer& b = pctxt->buffer;
   unsigned off = (unsigned)b.bitOffset;
   if (off == 8) {
      int stat = copyWholeBytes(pctxt, dest, whole);
      if (stat != 0) return stat;
      if (rem != 0) {
         if (b.byteIndex >= b.size) {
            stat = rtxDecNeedBytes(pctxt, 1);
            if (stat != 0) return stat;
         }
         dest[whole] = (uint8_t)(b.data[b.byteIndex] & (0xFF00u >> rem));
         b.bitOffset = (int16_t)(8 - rem);
      }
      return 0;
   }

   // Off a byte boundary every output byte joins two adjacent input bytes.
   uint64_t touched = ((8 - off) + nbits + 7) / 8;
   if (b.byteIndex >= b.size || touched > b.size - b.byteIndex) {
      int stat = rtxDecNeedBytes(pctxt, touched);
      if (stat != 0) return stat;
   }
   const uint8_t* p = b.data + b.byteIndex;
   unsigned used = 8 - off;
   for (uint64_t i = 0; i < whole; i++, p++) dest[i] = (uint8_t)((p[0] << used) | (p[1] >> off));
   uint64_t idx = (uint64_t)(p - b.data);
   if (rem != 0) {
      unsigned v = (unsigned)(p[0] << used) & 0xFFu;
      if (rem > off) v |= p[1] >> off;
      dest[whole] = (uint8_t)(v & (0xFF00u >> rem));
      if (rem < off) {
         off -= rem;
      } else {
         idx++;
         off = 8 - (rem - off);
      }
   }
   b.byteIndex = idx;
   b.bitOffset = (int16_t)off;
   return 0;
}

int rtxPeekBit(VXCTXT* pctxt, uint8_t* pvalue)
{
   int stat = rtxDecBit(pctxt, pvalue);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   stat = rtxMoveBitCursor(pctxt, -1);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int rtxMoveBitCursor(VXCTXT* pctxt, int32_t delta)
{
   VXRTBuffer& b = pctxt->buffer;
   uint64_t pos = b.byteIndex * 8 + 8 - (uint64_t)b.bitOffset;
   if (delta < 0 && (uint64_t)(-(int64_t)delta) > pos) return VX_LOG_ERR(pctxt, RTERR_ENDOFBUF);
   uint64_t npos = pos + (uint64_t)(int64_t)delta;

   if (delta > 0 && rtxCtxtHasLiveStream(pctxt) && npos / 8 >= b.size) {
      // Whole bytes past the loaded data are skipped in the stream.
      int stat = rtxStreamSkip(pctxt, (size_t)(npos / 8 - b.byteIndex));
      if (stat < 0) return VX_LOG_ERR(pctxt, stat);
      b.bitOffset = (int16_t)(8 - npos % 8);
      if (b.bitOffset != 8 && b.byteIndex >= b.size) return rtxDecNeedBytes(pctxt, 1);
      return 0;
   }

   b.byteIndex = npos / 8;
   b.bitOffset = (int16_t)(8 - npos % 8);
   if (b.byteIndex > b.size || (b.byteIndex == b.size && b.bitOffset != 8))
      return VX_LOG_ERR(pctxt, RTERR_ENDOFBUF);
   return 0;
}

int rtxSkipBits(VXCTXT* pctxt, uint32_t nbits)
{
   if (nbits > (uint32_t)INT32_MAX) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   int stat = rtxMoveBitCursor(pctxt, (int32_t)nbits);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int rtxSkipBytes(VXCTXT* pctxt, uint64_t nbytes)
{
   VXRTBuffer& b = pctxt->buffer;
   if (rtxCtxtHasLiveStream(pctxt) && nbytes > bytesLeft(b)) {
      int stat = rtxStreamSkip(pctxt, (size_t)nbytes);
      return stat < 0 ? VX_LOG_ERR(pctxt, stat) : 0;
   }
   if (nbytes > UINT64_MAX - b.byteIndex) return VX_LOG_ERR(pctxt, RTERR_ENDOFBUF);
   b.byteIndex += nbytes;
   if (b.byteIndex > b.size || (b.byteIndex == b.size && b.bitOffset != 8))
      return VX_LOG_ERR(pctxt, RTERR_ENDOFBUF);
   return 0;
}

int rtxDecOctets(VXCTXT* pctxt, uint8_t* buf, unsigned count)
{
   int stat = pctxt->buffer.bitOffset == 8
                 ? rtxReadBytes(pctxt, buf, count)
                 : rtxDecBitsToByteArray(pctxt, buf, count, (uint64_t)count * 8);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int rtxDecUInt64(VXCTXT* pctxt, uint64_t* pvalue, unsigned count)
{
   if (count > 9) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   uint8_t buf[9];
   int stat = rtxDecOctets(pctxt, buf, count);
   if (stat != 0) return stat;
   if (count == 9 && buf[0] != 0) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   *pvalue = rtxOctetsToUInt64(buf, count);  // a top bit is plain magnitude here
   return 0;
}

int rtxDecUInt32(VXCTXT* pctxt, uint32_t* pvalue, unsigned count)
{
   if (count > 5) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   uint8_t buf[5];
   int stat = rtxDecOctets(pctxt, buf, count);
   if (stat != 0) return stat;
   if (count == 5 && buf[0] != 0) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   *pvalue = (uint32_t)rtxOctetsToUInt64(buf, count);
   return 0;
}

int rtxDecInt32(VXCTXT* pctxt, int32_t* pvalue, unsigned count)
{
   if (count > 4) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   uint8_t buf[4];
   int stat = rtxDecOctets(pctxt, buf, count);
   if (stat != 0) return stat;
   int64_t acc = count != 0 ? (int8_t)buf[0] : 0;
   for (unsigned i = 1; i < count; i++) acc = (int64_t)(((uint64_t)acc << 8) | buf[i]);
   *pvalue = (int32_t)acc;
   return 0;
}
