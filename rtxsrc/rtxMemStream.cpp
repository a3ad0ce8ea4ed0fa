// The memory stream: the caller's bytes become the context's buffer, so the
// decoders keep reading straight from `buffer`; the stream functions only
// move the cursor over those bytes.
#include "rtxStream.h"

#include "rtxError.h"
#include "rtxMemory.h"

namespace {

struct MemStreamExtra {
   VXCTXT* pctxt;
   uint8_t attached;
   uint64_t markIndex;
};

inline VXCTXT* ctxtOf(VXRTSTREAM* pStream)
{
   return static_cast<MemStreamExtra*>(pStream->extra)->pctxt;
}

inline size_t remaining(const VXRTBuffer& buf)
{
   return buf.byteIndex < buf.size ? (size_t)(buf.size - buf.byteIndex) : 0;
}

inline bool isSpace(uint8_t c) { return c == ' ' || (c >= 9 && c <= 13); }

inline int hexValue(uint8_t c)
{
   if (c >= '0' && c <= '9') return c - '0';
   if (c >= 'a' && c <= 'f') return c - 'a' + 10;
   if (c >= 'A' && c <= 'F') return c - 'A' + 10;
   return -1;
}

// Next hex digit behind white space: its value, -1 at the end, -2 for any
// other character.
int nextHexDigit(VXRTBuffer& buf)
{
   while (buf.byteIndex < buf.size && isSpace(buf.data[buf.byteIndex])) buf.byteIndex++;
   if (buf.byteIndex >= buf.size) return -1;
   int v = hexValue(buf.data[buf.byteIndex]);
   if (v < 0) return -2;
   buf.byteIndex++;
   return v;
}

long readHexText(VXRTBuffer& buf, uint8_t* pbuffer, size_t bufSize)
{
   size_t count = 0;
   while (count < bufSize) {
      int hi = nextHexDigit(buf);
      if (hi == -1) break;
      int lo = hi >= 0 ? nextHexDigit(buf) : hi;
      if (hi < 0 || lo < 0) return RTERR_INVHEXS;
      pbuffer[count++] = (uint8_t)(hi << 4 | lo);
   }
   return (long)count;
}

long memRead(VXRTSTREAM* pStream, uint8_t* pbuffer, size_t bufSize)
{
   VXCTXT* pctxt = ctxtOf(pStream);
   VXRTBuffer& buf = pctxt->buffer;
   uint64_t start = buf.byteIndex;
   long len;
   if ((pStream->flags & VXRT_STREAM_HEXTEXT) != 0) {
      len = readHexText(buf, pbuffer, bufSize);
      if (len < 0) return len;
   } else {
      size_t n = remaining(buf);
      if (n > bufSize) n = bufSize;
      if (n > 0) memcpy(pbuffer, buf.data + buf.byteIndex, n);
      buf.byteIndex += n;
      len = (long)n;
   }
   if ((pStream->flags & VXRT_STREAM_CTXTBUF) == 0) pStream->ioBytes += buf.byteIndex - start;
   return len;
}

long memWrite(VXRTSTREAM* pStream, const uint8_t* data, size_t numocts)
{
   VXRTBuffer& buf = ctxtOf(pStream)->buffer;
   if (numocts > remaining(buf)) return RTERR_BUFOVFLW;
   memcpy(buf.data + buf.byteIndex, data, numocts);
   buf.byteIndex += numocts;
   return (long)numocts;
}

int memSkip(VXRTSTREAM* pStream, size_t skipBytes)
{
   VXRTBuffer& buf = ctxtOf(pStream)->buffer;
   size_t n = remaining(buf);
   if (n == 0) return RTERR_ENDOFBUF;
   if (skipBytes > n) return RTERR_BUFOVFLW;
   buf.byteIndex += skipBytes;
   return 0;
}

int memMark(VXRTSTREAM* pStream, size_t)
{
   MemStreamExtra* extra = static_cast<MemStreamExtra*>(pStream->extra);
   extra->markIndex = extra->pctxt->buffer.byteIndex;
   return 0;
}

int memReset(VXRTSTREAM* pStream)
{
   MemStreamExtra* extra = static_cast<MemStreamExtra*>(pStream->extra);
   extra->pctxt->buffer.byteIndex = extra->markIndex;
   return 0;
}

int memGetPos(VXRTSTREAM* pStream, size_t* ppos)
{
   *ppos = (size_t)ctxtOf(pStream)->buffer.byteIndex;
   return 0;
}

int memSetPos(VXRTSTREAM* pStream, size_t pos)
{
   VXRTBuffer& buf = ctxtOf(pStream)->buffer;
   if (pos > buf.size) return RTERR_INVPARAM;
   buf.byteIndex = pos;
   return 0;
}

int memClose(VXRTSTREAM* pStream)
{
   MemStreamExtra* extra = static_cast<MemStreamExtra*>(pStream->extra);
   if (extra != nullptr) {
      rtxMemHeapSysFreePtr(&extra->pctxt->pMemHeap, extra);
      pStream->extra = nullptr;
   }
   return 0;
}

}  // namespace

bool rtxStreamMemoryUnread(VXCTXT* pctxt, const uint8_t** pdata, size_t* psize)
{
   const VXRTSTREAM* pStream = pctxt != nullptr ? pctxt->pStream : nullptr;
   if (pStream == nullptr || pStream->read != memRead ||
       (pStream->flags & (VXRT_STREAM_HEXTEXT | VXRT_STREAM_INPUT)) != VXRT_STREAM_INPUT ||
       pStream->pCaptureBuf != nullptr || pStream->ioBytes != 0 || pStream->bytesProcessed != 0 ||
       pctxt->buffer.byteIndex != 0)
      return false;
   *pdata = pctxt->buffer.data;
   *psize = (size_t)pctxt->buffer.size;
   return true;
}

int rtxStreamMemoryAttach(VXCTXT* pctxt, const uint8_t* pMemBuf, size_t bufSize, uint16_t flags)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   if (pMemBuf == nullptr || bufSize == 0 ||
       (flags & (VXRT_STREAM_INPUT | VXRT_STREAM_OUTPUT)) == 0)
      return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);

   int stat = rtxStreamInit(pctxt);
   if (stat < 0) return stat;
   VXRTSTREAM* pStream = pctxt->pStream;
   MemStreamExtra* extra =
      static_cast<MemStreamExtra*>(rtxMemHeapSysAllocZ(&pctxt->pMemHeap, sizeof(MemStreamExtra)));
   if (extra == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   extra->pctxt = pctxt;
   extra->attached = 1;
   extra->markIndex = 0;
   pStream->extra = extra;

   // The bytes stay the caller's: never written to on input, never freed.
   VXRTBuffer& buf = pctxt->buffer;
   buf.data = const_cast<uint8_t*>(pMemBuf);
   buf.size = bufSize;
   buf.byteIndex = 0;
   buf.bitOffset = 8;
   buf.dynamic = 0;
   pctxt->flags &= ~VXCTXT_FLAG_SYSBUF;

   if ((flags & VXRT_STREAM_OUTPUT) != 0) {
      pStream->write = memWrite;
   } else {
      pStream->read = memRead;
      pStream->skip = memSkip;
      pStream->mark = memMark;
      pStream->reset = memReset;
      pStream->getPos = memGetPos;
      pStream->setPos = memSetPos;
   }
   pStream->flags = (uint16_t)(flags | VXRT_STREAM_MARKED);
   pStream->id = VXRT_STREAM_ID_MEMORY;
   pStream->close = memClose;
   return 0;
}
