// Stream functions over the record of any kind: reading with the context
// buffer or straight, skipping, mark and reset, writing, closing, capture.
#include "rtxStream.h"

#include "rtxError.h"
#include "rtxMemBuf.h"
#include "rtxMemory.h"

static const uint64_t NO_SAVED_INDEX = ~(uint64_t)0;

static inline bool inCtxtBufMode(const VXRTSTREAM* pStream)
{
   return (pStream->flags & VXRT_STREAM_CTXTBUF) != 0;
}

// Streams whose data already lie in a buffer of their own: the context
// buffer is not put in front of them, and their bytes are not counted twice.
static inline bool isBufferKind(const VXRTSTREAM* pStream)
{
   return pStream->id == VXRT_STREAM_ID_DIRECTBUF || pStream->id == VXRT_STREAM_ID_CTXTBUF;
}

static inline bool isReadable(const VXRTSTREAM* pStream)
{
   return (pStream->flags & VXRT_STREAM_INPUT) != 0;
}

static inline bool isWritable(const VXRTSTREAM* pStream)
{
   return (pStream->flags & VXRT_STREAM_OUTPUT) != 0;
}

static inline size_t bytesLeft(const VXRTBuffer& buf)
{
   return buf.byteIndex < buf.size ? (size_t)(buf.size - buf.byteIndex) : 0;
}

static inline void setLastChar(VXCTXT* pctxt)
{
   if (pctxt->buffer.byteIndex > 0 && pctxt->buffer.data != nullptr)
      pctxt->lastChar = pctxt->buffer.data[pctxt->buffer.byteIndex - 1];
}

// Frees a context buffer that context-buffer mode allocated, and clears
// the buffer fields.
static void releaseCtxtBuf(VXCTXT* pctxt)
{
   VXRTBuffer& buf = pctxt->buffer;
   if (buf.data != nullptr && buf.dynamic && (pctxt->flags & VXCTXT_FLAG_SYSBUF) != 0) {
      rtxMemHeapSysFreePtr(&pctxt->pMemHeap, buf.data);
      pctxt->flags &= ~VXCTXT_FLAG_SYSBUF;
   }
   buf.data = nullptr;
   buf.byteIndex = 0;
   buf.size = 0;
   buf.bitOffset = 8;
}

static void freeRecord(VXCTXT* pctxt)
{
   VXRTSTREAM* pStream = pctxt->pStream;
   if (inCtxtBufMode(pStream)) releaseCtxtBuf(pctxt);
   pStream->flags = 0;
   rtxMemHeapSysFreePtr(&pctxt->pMemHeap, pStream);
   pctxt->pStream = nullptr;
}

// One call of the stream's read function with the bookkeeping of counts
// and capture. Kinds 3 and 6 read out of the context's buffer, which a
// capture buffer took in whole when it was set, so they are not captured
// again here.
static long readChunk(VXRTSTREAM* pStream, uint8_t* pbuffer, size_t bufSize)
{
   long len = pStream->read(pStream, pbuffer, bufSize);
   if (len <= 0) return len;
   if (pStream->id != VXRT_STREAM_ID_CTXTBUF) pStream->bytesProcessed += (uint64_t)len;
   if (pStream->readAheadLimit != 0) pStream->readAheadCount += (uint64_t)len;
   if (pStream->pCaptureBuf != nullptr && pStream->id != VXRT_STREAM_ID_MEMORY &&
       pStream->id != VXRT_STREAM_ID_CTXTBUF) {
      int stat = rtxMemBufAppend(pStream->pCaptureBuf, pbuffer, (size_t)len);
      if (stat < 0) return stat;
   }
   return len;
}

// Reads until `count` bytes have come or the stream ends. A null buffer
// reads into a scratch area, that is, skips.
static long readStraight(VXRTSTREAM* pStream, uint8_t* pbuffer, size_t count)
{
   uint8_t scratch[256];
   size_t total = 0;
   while (total < count) {
      uint8_t* dest = pbuffer != nullptr ? pbuffer + total : scratch;
      size_t want = count - total;
      if (pbuffer == nullptr && want > sizeof(scratch)) want = sizeof(scratch);
      long len = readChunk(pStream, dest, want);
      if (len < 0) return len;
      if (len == 0) break;
      total += (size_t)len;
   }
   return (long)total;
}

static long readFromCtxtBufOrStream(VXCTXT* pctxt, uint8_t* pbuffer, size_t count)
{
   VXRTBuffer& buf = pctxt->buffer;
   VXRTSTREAM* pStream = pctxt->pStream;
   size_t avail = bytesLeft(buf);
   size_t done = avail < count ? avail : count;
   if (done > 0) {
      if (pbuffer != nullptr) memcpy(pbuffer, buf.data + buf.byteIndex, done);
      buf.byteIndex += done;
   }
   if (done < count) {
      size_t missing = count - done;
      if (missing > VXRT_STREAM_CTXTBUFSIZE) {
         // Too much for the context buffer: forget it and read straight.
         pStream->ioBytes += buf.size;
         pctxt->savedIndex = NO_SAVED_INDEX;
         buf.size = 0;
         buf.byteIndex = 0;
         long len = readStraight(pStream, pbuffer != nullptr ? pbuffer + done : nullptr, missing);
         if (len < 0) return len;
         pStream->ioBytes += (uint64_t)len;
         done += (size_t)len;
         if (len > 0 && pbuffer != nullptr) pctxt->lastChar = pbuffer[done - 1];
         return (long)done;
      }
      int stat = rtxStreamLoadInputBuffer(pctxt, missing);
      if (stat < 0) return stat;
      size_t more = bytesLeft(buf);
      if (more > missing) more = missing;
      if (more > 0) {
         if (pbuffer != nullptr) memcpy(pbuffer + done, buf.data + buf.byteIndex, more);
         buf.byteIndex += more;
         done += more;
      }
   }
   setLastChar(pctxt);
   return (long)done;
}

int rtxStreamInit(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   if (pctxt->pStream != nullptr) rtxStreamRelease(pctxt);
   VXRTSTREAM* pStream =
      static_cast<VXRTSTREAM*>(rtxMemHeapSysAllocZ(&pctxt->pMemHeap, sizeof(VXRTSTREAM)));
   if (pStream == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   pctxt->pStream = pStream;
   pctxt->flags &= ~VXCTXT_FLAG_BUFONLY;
   return 0;
}

long rtxStreamRead(VXCTXT* pctxt, uint8_t* pbuffer, size_t bufSize)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr || pStream->read == nullptr || !isReadable(pStream))
      return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   if (bufSize == 0) return 0;
   long len = (inCtxtBufMode(pStream) && !isBufferKind(pStream))
                 ? readFromCtxtBufOrStream(pctxt, pbuffer, bufSize)
                 : readStraight(pStream, pbuffer, bufSize);
   if (len < 0) return VX_LOG_ERR(pctxt, (int)len);
   return len;
}

long rtxStreamReadDirect(VXCTXT* pctxt, uint8_t* pbuffer, size_t bufSize)
{
   if (pctxt == nullptr || pbuffer == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr || pStream->read == nullptr || !isReadable(pStream))
      return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   if (bufSize == 0) return 0;
   long len = readChunk(pStream, pbuffer, bufSize);
   if (len < 0) return VX_LOG_ERR(pctxt, (int)len);
   return len;
}

int rtxStreamSkip(VXCTXT* pctxt, size_t skipBytes)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   if (!isReadable(pStream)) return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
   if (pStream->skip == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   size_t rest = skipBytes;
   if (inCtxtBufMode(pStream)) {
      size_t inBuf = bytesLeft(pctxt->buffer);
      if (inBuf > rest) inBuf = rest;
      pctxt->buffer.byteIndex += inBuf;
      rest -= inBuf;
   }
   if (rest > 0) {
      int stat = pStream->skip(pStream, rest);
      if (stat < 0) return VX_LOG_ERRNEW(pctxt, stat);
   }
   pStream->bytesProcessed += skipBytes;
   return 0;
}

static int checkMarkable(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
   if (pStream->mark == nullptr || pStream->reset == nullptr) {
      rtxErrAddStrParm(pctxt, "stream mark/reset");
      return VX_LOG_ERRNEW(pctxt, RTERR_NOTSUPP);
   }
   return 0;
}

int rtxStreamMark(VXCTXT* pctxt, size_t readAheadLimit)
{
   int stat = checkMarkable(pctxt);
   if (stat != 0) return stat;
   VXRTSTREAM* pStream = pctxt->pStream;
   bool ctxtBuf = inCtxtBufMode(pStream) && !isBufferKind(pStream);
   // A mark already stands: bring the stream back to where it is now by
   // going back to that mark and reading over what was read since. The
   // memory stream marks its live cursor and needs no such step.
   if (pStream->readAheadCount != 0 && pStream->id != VXRT_STREAM_ID_MEMORY) {
      stat = pStream->reset(pStream);
      if (stat >= 0 && pStream->skip != nullptr)
         stat = pStream->skip(pStream, (size_t)pStream->readAheadCount);
      if (stat < 0) return VX_LOG_ERRNEW(pctxt, stat);
   }
   if (ctxtBuf) {
      pctxt->savedIndex = pctxt->buffer.byteIndex;
      // Position of the stream itself: behind everything loaded.
      pStream->markedBytesProcessed = pStream->ioBytes + pctxt->buffer.size;
   } else {
      pStream->markedBytesProcessed = pStream->ioBytes;
   }
   stat = pStream->mark(pStream, readAheadLimit);
   if (stat < 0) return VX_LOG_ERRNEW(pctxt, stat);
   pStream->flags |= VXRT_STREAM_MARKED;
   pStream->readAheadCount = 0;
   // A limit of 0 would read as "no mark": keep counting all the same.
   pStream->readAheadLimit = readAheadLimit != 0 ? readAheadLimit : 0x7FFFFFFFu;
   return 0;
}

int rtxStreamReset(VXCTXT* pctxt)
{
   int stat = checkMarkable(pctxt);
   if (stat != 0) return stat;
   VXRTSTREAM* pStream = pctxt->pStream;
   pStream->flags &= ~VXRT_STREAM_MARKED;
   if (inCtxtBufMode(pStream) && !isBufferKind(pStream)) {
      if (pctxt->savedIndex != NO_SAVED_INDEX) {
         pctxt->buffer.byteIndex = pctxt->savedIndex;
         return 0;
      }
      // The marked bytes were shifted out of the buffer: empty it and let
      // the stream itself go back.
      pctxt->buffer.byteIndex = 0;
      pctxt->buffer.size = 0;
      pStream->ioBytes = pStream->markedBytesProcessed;
   }
   stat = pStream->reset(pStream);
   if (stat < 0) return VX_LOG_ERRNEW(pctxt, stat);
   pStream->readAheadCount = 0;
   pStream->readAheadLimit = 0x7FFFFFFFu;
   return 0;
}

bool rtxStreamMarkSupported(VXCTXT* pctxt)
{
   return pctxt != nullptr && pctxt->pStream != nullptr && pctxt->pStream->mark != nullptr &&
          pctxt->pStream->reset != nullptr;
}

// Writes out what the context buffer holds in context-buffer mode and
// calls the stream's flush. Does not record errors.
static int flushStream(VXCTXT* pctxt)
{
   VXRTSTREAM* pStream = pctxt->pStream;
   if (inCtxtBufMode(pStream) && pStream->write != nullptr && pctxt->buffer.byteIndex > 0) {
      long len = pStream->write(pStream, pctxt->buffer.data, (size_t)pctxt->buffer.byteIndex);
      if (len < 0) return (int)len;
      pStream->ioBytes += pctxt->buffer.byteIndex;
      pctxt->buffer.byteIndex = 0;
   }
   return pStream->flush != nullptr ? pStream->flush(pStream) : 0;
}

int rtxStreamFlush(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   if (pctxt->pStream == nullptr || !isWritable(pctxt->pStream))
      return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
   int stat = flushStream(pctxt);
   return stat < 0 ? VX_LOG_ERRNEW(pctxt, stat) : 0;
}

int rtxStreamClose(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr) return 0;
   if (pStream->close == nullptr) {
      freeRecord(pctxt);
      return 0;
   }
   int flushStat = 0;
   if (isWritable(pStream)) {
      if (pctxt->buffer.bitOffset != 8) {
         pctxt->buffer.byteIndex++;
         pctxt->buffer.bitOffset = 8;
      }
      flushStat = flushStream(pctxt);
   } else if (!isReadable(pStream)) {
      return RTERR_NOTINIT;
   }
   int closeStat = pStream->close(pStream);

   // An attached memory buffer is the caller's and is simply forgotten.
   if (pctxt->buffer.data != nullptr) {
      if (pctxt->buffer.dynamic && inCtxtBufMode(pStream)) releaseCtxtBuf(pctxt);
      pctxt->buffer.data = nullptr;
      pctxt->buffer.byteIndex = 0;
      pctxt->buffer.size = 0;
      pctxt->buffer.bitOffset = 8;
   }
   pStream->flags = 0;
   rtxMemHeapSysFreePtr(&pctxt->pMemHeap, pStream);
   pctxt->pStream = nullptr;

   if (flushStat < 0) return VX_LOG_ERRNEW(pctxt, flushStat);
   if (closeStat < 0) return VX_LOG_ERRNEW(pctxt, closeStat);
   return 0;
}

int rtxStreamRelease(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   if (pctxt->pStream == nullptr) return 0;
   if (rtxStreamIsOpened(pctxt)) return rtxStreamClose(pctxt);
   freeRecord(pctxt);
   return 0;
}

int rtxStreamWrite(VXCTXT* pctxt, const uint8_t* data, size_t numocts)
{
   if (pctxt == nullptr || (data == nullptr && numocts > 0)) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr || pStream->write == nullptr || !isWritable(pStream))
      return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   if (numocts == 0) return 0;
   long len = pStream->write(pStream, data, numocts);
   if (len < 0) return VX_LOG_ERRNEW(pctxt, (int)len);
   pStream->bytesProcessed += numocts;
   pStream->ioBytes += numocts;
   if (pStream->pCaptureBuf != nullptr) {
      int stat = rtxMemBufAppend(pStream->pCaptureBuf, data, numocts);
      if (stat < 0) return VX_LOG_ERRNEW(pctxt, stat);
   }
   return 0;
}

bool rtxStreamIsOpened(VXCTXT* pctxt)
{
   return pctxt != nullptr && pctxt->pStream != nullptr &&
          (pctxt->pStream->flags & (VXRT_STREAM_INPUT | VXRT_STREAM_OUTPUT)) != 0;
}

bool rtxStreamIsReadable(VXCTXT* pctxt)
{
   return pctxt != nullptr && pctxt->pStream != nullptr && isReadable(pctxt->pStream);
}

bool rtxStreamIsWritable(VXCTXT* pctxt)
{
   return pctxt != nullptr && pctxt->pStream != nullptr && isWritable(pctxt->pStream);
}

int rtxStreamGetIOBytes(VXCTXT* pctxt, size_t* pvalue)
{
   if (pctxt == nullptr || pvalue == nullptr) return RTERR_INVPARAM;
   if (pctxt->pStream == nullptr) return RTERR_NOTINIT;
   *pvalue = (size_t)pctxt->pStream->ioBytes;
   return 0;
}

int rtxStreamGetPos(VXCTXT* pctxt, size_t* ppos)
{
   if (pctxt == nullptr || ppos == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr || pStream->getPos == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   int stat = pStream->getPos(pStream, ppos);
   return stat < 0 ? VX_LOG_ERRNEW(pctxt, stat) : 0;
}

int rtxStreamSetPos(VXCTXT* pctxt, size_t pos)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr || pStream->setPos == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   int stat = pStream->setPos(pStream, pos);
   return stat < 0 ? VX_LOG_ERRNEW(pctxt, stat) : 0;
}

int rtxStreamSetCapture(VXCTXT* pctxt, VXRTMEMBUF* pmembuf)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   pStream->pCaptureBuf = pmembuf;
   // These kinds read out of the context's buffer: take it in whole now.
   if (pmembuf != nullptr &&
       (pStream->id == VXRT_STREAM_ID_MEMORY || pStream->id == VXRT_STREAM_ID_CTXTBUF) &&
       pctxt->buffer.data != nullptr && pctxt->buffer.size > 0) {
      int stat = rtxMemBufAppend(pmembuf, pctxt->buffer.data, (size_t)pctxt->buffer.size);
      if (stat < 0) return VX_LOG_ERRNEW(pctxt, stat);
   }
   return 0;
}

VXRTMEMBUF* rtxStreamGetCapture(VXCTXT* pctxt)
{
   return (pctxt != nullptr && pctxt->pStream != nullptr) ? pctxt->pStream->pCaptureBuf : nullptr;
}

int rtxStreamInitCtxtBuf(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   if (pctxt->buffer.data != nullptr) {
      rtxErrAddStrParm(pctxt, "context buffer pointer already set");
      return VX_LOG_ERRNEW(pctxt, RTERR_FAILED);
   }
   if (isBufferKind(pStream)) {
      rtxErrAddStrParm(pctxt, "init context buffer on already buffered stream");
      return VX_LOG_ERRNEW(pctxt, RTERR_NOTSUPP);
   }
   pStream->flags |= VXRT_STREAM_CTXTBUF;
   int stat = rtxInitContextBuffer(pctxt, nullptr, VXRT_STREAM_CTXTBUFSIZE);
   if (stat < 0) {
      pStream->flags &= ~VXRT_STREAM_CTXTBUF;
      return stat;
   }
   if (isReadable(pStream)) {
      pctxt->buffer.size = 0;
      pStream->inputLimit = 0xFFFFFFFFu;
   }
   pStream->bufSize = VXRT_STREAM_CTXTBUFSIZE;
   return 0;
}

int rtxStreamRemoveCtxtBuf(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   if (inCtxtBufMode(pStream)) {
      pStream->flags &= ~VXRT_STREAM_CTXTBUF;
      if (pctxt->buffer.dynamic && (pctxt->flags & VXCTXT_FLAG_SYSBUF) != 0) releaseCtxtBuf(pctxt);
      pStream->bufSize = 0;
   }
   return 0;
}

int rtxStreamLoadInputBuffer(VXCTXT* pctxt, size_t nbytes)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTSTREAM* pStream = pctxt->pStream;
   if (pStream == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   VXRTBuffer& buf = pctxt->buffer;
   if (buf.data == nullptr) {
      int stat = rtxStreamInitCtxtBuf(pctxt);
      if (stat < 0) return stat;
   }
   if (buf.size + pStream->ioBytes == pStream->inputLimit)
      return VX_LOG_ERRNEW(pctxt, RTERR_ENDOFBUF);

   if (buf.byteIndex + nbytes > pStream->bufSize) {
      // Make room by dropping what lies before the cursor, or before the
      // index held for a mark.
      uint64_t keepFrom = buf.byteIndex;
      bool held = (pStream->flags & VXRT_STREAM_POSMARKED) != 0 &&
                  pctxt->savedIndex != NO_SAVED_INDEX && pctxt->savedIndex <= buf.byteIndex;
      if (held) keepFrom = pctxt->savedIndex;
      if (keepFrom > buf.size) keepFrom = buf.size;
      // The caller's bytes (an attached memory buffer) are never moved;
      // once all of them are consumed there is simply nothing to keep.
      if (buf.dynamic || keepFrom == buf.size) {
         if (keepFrom > 0 && keepFrom < buf.size)
            memmove(buf.data, buf.data + keepFrom, (size_t)(buf.size - keepFrom));
         buf.size -= keepFrom;
         buf.byteIndex -= keepFrom;
         pStream->ioBytes += keepFrom;
         pctxt->savedIndex = held ? 0 : NO_SAVED_INDEX;
      }
   }
   if (buf.byteIndex + nbytes > pStream->bufSize) {
      if (!buf.dynamic) return VX_LOG_ERRNEW(pctxt, RTERR_BUFOVFLW);
      uint64_t grow = pStream->bufSize > nbytes ? pStream->bufSize : nbytes;
      uint64_t newSize = pStream->bufSize + grow;
      uint8_t* p =
         static_cast<uint8_t*>(rtxMemHeapSysRealloc(&pctxt->pMemHeap, buf.data, (size_t)newSize));
      if (p == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      buf.data = p;
      pStream->bufSize = newSize;
   }
   while (buf.byteIndex + nbytes > buf.size && buf.size < pStream->bufSize) {
      long len = readChunk(pStream, buf.data + buf.size, (size_t)(pStream->bufSize - buf.size));
      if (len < 0) return VX_LOG_ERRNEW(pctxt, (int)len);
      if (len == 0) break;
      buf.size += (uint64_t)len;
   }
   if (buf.size + pStream->ioBytes > pStream->inputLimit)
      buf.size =
         pStream->inputLimit > pStream->ioBytes ? pStream->inputLimit - pStream->ioBytes : 0;
   return 0;
}
