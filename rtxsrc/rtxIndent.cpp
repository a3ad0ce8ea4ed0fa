#include "rtxIndent.h"

#include "rtxBuffer.h"
#include "rtxError.h"

// A line feed and the present indentation; nothing at all when indentation is
// switched off. The room is reserved first (a fixed buffer that is full gives
// -1) and the text stays NUL-terminated.
int rtxWriteIndent(VXCTXT* pctxt)
{
   size_t n = (size_t)pctxt->indent + 1;
   int stat = rtxCheckOutputBuffer(pctxt, n + 1);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (pctxt->flags & VXCTXT_FLAG_NOINDENT) return 0;
   uint8_t* p = pctxt->buffer.data + pctxt->buffer.byteIndex;
   p[0] = '\n';
   memset(p + 1, ' ', pctxt->indent);
   pctxt->buffer.byteIndex += n;
   pctxt->buffer.data[pctxt->buffer.byteIndex] = 0;
   return 0;
}
