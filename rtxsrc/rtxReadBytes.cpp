// Generic input over the context's buffer, with or without a stream behind
// it. The text decoders read through these functions only, so they need
// not know whether the bytes come from memory or from a stream.
#include "rtxReadBytes.h"

#include "rtxError.h"
#include "rtxStream.h"

static inline size_t bytesLeft(const VXRTBuffer& buf)
{
   return buf.byteIndex < buf.size ? (size_t)(buf.size - buf.byteIndex) : 0;
}

static inline bool inCtxtBufMode(const VXCTXT* pctxt)
{
   return (pctxt->pStream->flags & VXRT_STREAM_CTXTBUF) != 0;
}

int rtxReadBytesGeneral(VXCTXT* pctxt, uint8_t* pdata, size_t nocts)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   if (nocts == 0) return 0;
   VXRTBuffer& buf = pctxt->buffer;
   bool live = rtxCtxtHasLiveStream(pctxt);
   if (nocts <= bytesLeft(buf) && !(live && !inCtxtBufMode(pctxt))) {
      if (pdata != nullptr) memcpy(pdata, buf.data + buf.byteIndex, nocts);
      buf.byteIndex += nocts;
   } else {
      if (!live) return VX_LOG_ERRNEW(pctxt, RTERR_ENDOFBUF);
      if (buf.data == nullptr) {
         int stat = rtxStreamInitCtxtBuf(pctxt);
         if (stat < 0) return stat;
      }
      // Errors of the stream are already recorded there.
      long len = rtxStreamRead(pctxt, pdata, nocts);
      if (len < 0) return (int)len;
      if ((size_t)len < nocts) return VX_LOG_ERRNEW(pctxt, RTERR_ENDOFFILE);
      if (buf.byteIndex == 0 && pdata != nullptr) {
         // Read straight past the context buffer.
         pctxt->lastChar = pdata[nocts - 1];
         return 0;
      }
   }
   if (buf.byteIndex > 0 && buf.data != nullptr) pctxt->lastChar = buf.data[buf.byteIndex - 1];
   return 0;
}

int rtxPeekByte(VXCTXT* pctxt, uint8_t* pbyte)
{
   if (pctxt == nullptr || pbyte == nullptr) return RTERR_INVPARAM;
   VXRTBuffer& buf = pctxt->buffer;
   if (VX_LIKELY(buf.byteIndex < buf.size)) {
      *pbyte = buf.data[buf.byteIndex];
      return 1;
   }
   if (!rtxCtxtHasLiveStream(pctxt)) return 0;
   int stat = rtxStreamLoadInputBuffer(pctxt, 1);
   if (stat < 0) return stat;
   if (buf.byteIndex < buf.size) {
      *pbyte = buf.data[buf.byteIndex];
      return 1;
   }
   return 0;
}

int rtxCheckInputBuffer(VXCTXT* pctxt, size_t nbytes)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   if (nbytes <= bytesLeft(pctxt->buffer)) return 0;
   if (!rtxCtxtHasLiveStream(pctxt) || !inCtxtBufMode(pctxt))
      return VX_LOG_ERRNEW(pctxt, RTERR_ENDOFBUF);
   int stat = rtxStreamLoadInputBuffer(pctxt, nbytes);
   if (stat < 0) return stat;
   if (nbytes > bytesLeft(pctxt->buffer)) return VX_LOG_ERRNEW(pctxt, RTERR_ENDOFFILE);
   return 0;
}

// Position tokens. Without a stream the token is byteIndex. A stream with
// its own positions gives the position of the reader: in context-buffer
// mode that is the stream's position less what is still unread in the
// buffer. Otherwise, in context-buffer mode, the token is relative to an
// index held in the buffer (savedIndex with stream flag POSMARKED), which
// keeps the bytes behind it from being shifted out until the reset.
int rtxMarkPos(VXCTXT* pctxt, size_t* ppos)
{
   if (pctxt == nullptr || ppos == nullptr) return RTERR_INVPARAM;
   VXRTBuffer& buf = pctxt->buffer;
   if (!rtxCtxtHasLiveStream(pctxt)) {
      *ppos = (size_t)buf.byteIndex;
      return 0;
   }
   VXRTSTREAM* pStream = pctxt->pStream;
   bool ctxtBuf = inCtxtBufMode(pctxt);
   if (pStream->getPos != nullptr && pStream->setPos != nullptr) {
      size_t pos = 0;
      int stat = rtxStreamGetPos(pctxt, &pos);
      if (stat < 0) return stat;
      if (ctxtBuf) pos -= bytesLeft(buf);
      *ppos = pos;
      return 0;
   }
   if (!ctxtBuf) {
      rtxErrAddStrParm(pctxt, "mark position in stream");
      return VX_LOG_ERRNEW(pctxt, RTERR_NOTSUPP);
   }
   if ((pStream->flags & VXRT_STREAM_POSMARKED) == 0 || pctxt->savedIndex > buf.byteIndex) {
      pctxt->savedIndex = buf.byteIndex;
      pStream->flags |= VXRT_STREAM_POSMARKED;
   }
   *ppos = (size_t)(buf.byteIndex - pctxt->savedIndex);
   return 0;
}

int rtxResetToPos(VXCTXT* pctxt, size_t pos)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTBuffer& buf = pctxt->buffer;
   if (!rtxCtxtHasLiveStream(pctxt)) {
      if (pos > buf.size) return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
      buf.byteIndex = pos;
      return 0;
   }
   VXRTSTREAM* pStream = pctxt->pStream;
   bool ctxtBuf = inCtxtBufMode(pctxt);
   if (pStream->getPos != nullptr && pStream->setPos != nullptr) {
      int stat = rtxStreamSetPos(pctxt, pos);
      if (stat < 0) return stat;
      if (ctxtBuf) {
         // The buffer no longer matches the stream: start it afresh there.
         buf.byteIndex = 0;
         buf.size = 0;
         pStream->ioBytes = pos;
      }
      return 0;
   }
   if (!ctxtBuf || (pStream->flags & VXRT_STREAM_POSMARKED) == 0 ||
       pctxt->savedIndex + pos > buf.size) {
      return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
   }
   buf.byteIndex = pctxt->savedIndex + pos;
   pStream->flags &= ~VXRT_STREAM_POSMARKED;
   pctxt->savedIndex = ~(uint64_t)0;
   return 0;
}
