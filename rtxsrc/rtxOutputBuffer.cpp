#include "rtxBuffer.h"

#include "rtxError.h"
#include "rtxMemory.h"

int rtxExpandOutputBuffer(VXCTXT* pctxt, size_t need) {
   VXRTBuffer& buf = pctxt->buffer;
   if (!buf.dynamic) return VX_LOG_ERRNEW(pctxt, RTERR_BUFOVFLW);

   // At least double, so that a run of small writes costs amortised O(1).
   size_t grow = buf.size > need ? buf.size : need;
   size_t newSize = buf.size + grow;
   if (newSize < buf.size) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);

   void* p = (pctxt->flags & VXCTXT_FLAG_SYSBUF)
                ? rtxMemHeapSysRealloc(VX_HEAP(pctxt), buf.data, newSize)
                : rtxMemHeapRealloc(VX_HEAP(pctxt), buf.data, newSize);
   if (p == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   buf.data = static_cast<uint8_t*>(p);
   buf.size = newSize;
   return 0;
}

int rtxWriteBytes(VXCTXT* pctxt, const uint8_t* data, size_t nbytes) {
   if (nbytes == 0) return 0;
   int stat = rtxCheckOutputBuffer(pctxt, nbytes);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   memcpy(pctxt->buffer.data + pctxt->buffer.byteIndex, data, nbytes);
   pctxt->buffer.byteIndex += nbytes;
   pctxt->lastChar = data[nbytes - 1];
   return 0;
}
