#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxStream.h"

namespace {

// A stream that takes the encoded bytes from the context's buffer: attached,
// not bypassed, and not a memory stream (whose bytes are the buffer itself).
bool hasFlushableStream(const VXCTXT* pctxt)
{
   return rtxCtxtHasLiveStream(pctxt) && pctxt->pStream->id != VXRT_STREAM_ID_MEMORY;
}

// Hands what has been encoded to the stream and starts the buffer afresh;
// a partly written byte moves to the front. The buffer is set up on first
// use. Nothing is written while a mark holds the data.
int flushToStream(VXCTXT* pctxt)
{
   VXRTBuffer& buf = pctxt->buffer;
   if (buf.data == nullptr) return rtxStreamInitCtxtBuf(pctxt);
   if ((pctxt->pStream->flags & VXRT_STREAM_POSMARKED) != 0 || buf.byteIndex == 0) return 0;
   long stat = rtxStreamWrite(pctxt, buf.data, (size_t)buf.byteIndex);
   if (stat < 0) return (int)stat;
   if (buf.bitOffset != 8 && buf.byteIndex < buf.size) buf.data[0] = buf.data[buf.byteIndex];
   buf.byteIndex = 0;
   return 0;
}

int fail(VXCTXT* pctxt, int stat)
{
   VX_LOG_ERRNEW(pctxt, stat);
   return stat;
}

}  // namespace

int rtxExpandOutputBuffer(VXCTXT* pctxt, size_t need)
{
   VXRTBuffer& buf = pctxt->buffer;
   if (hasFlushableStream(pctxt)) {
      int stat = flushToStream(pctxt);
      if (stat < 0) {
         VX_LOG_ERR(pctxt, stat);
         return stat;
      }
      if (buf.byteIndex + need <= buf.size) return 0;
   }
   if (!buf.dynamic) return fail(pctxt, RTERR_BUFOVFLW);

   // At least double, so that a run of small writes costs amortised O(1).
   size_t grow = buf.size > need ? buf.size : need;
   size_t newSize = buf.size + grow;
   if (newSize < buf.size) return fail(pctxt, RTERR_NOMEM);

   void* p = (pctxt->flags & VXCTXT_FLAG_SYSBUF)
                ? rtxMemHeapSysRealloc(VX_HEAP(pctxt), buf.data, newSize)
                : rtxMemHeapRealloc(VX_HEAP(pctxt), buf.data, newSize);
   if (p == nullptr) return fail(pctxt, RTERR_NOMEM);
   buf.data = static_cast<uint8_t*>(p);
   buf.size = newSize;
   if (pctxt->pStream != nullptr && (pctxt->pStream->flags & VXRT_STREAM_CTXTBUF) != 0)
      pctxt->pStream->bufSize = newSize;
   return 0;
}

int rtxWriteBytes(VXCTXT* pctxt, const uint8_t* data, size_t nbytes)
{
   if (nbytes == 0) return 0;
   if (hasFlushableStream(pctxt) && (pctxt->pStream->flags & VXRT_STREAM_CTXTBUF) == 0) {
      // Straight through to a stream that has no context buffer.
      long stat = rtxStreamWrite(pctxt, data, nbytes);
      if (stat < 0) {
         VX_LOG_ERR(pctxt, (int)stat);
         return (int)stat;
      }
   } else {
      int stat = rtxCheckOutputBuffer(pctxt, nbytes);
      if (stat != 0) {
         VX_LOG_ERR(pctxt, stat);
         return stat;
      }
      memcpy(pctxt->buffer.data + pctxt->buffer.byteIndex, data, nbytes);
      pctxt->buffer.byteIndex += nbytes;
   }
   pctxt->lastChar = data[nbytes - 1];
   return 0;
}
