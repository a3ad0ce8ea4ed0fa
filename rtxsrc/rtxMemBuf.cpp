#include "rtxMemBuf.h"

#include "rtxError.h"
#include "rtxMemory.h"

void rtxMemBufInitBuffer(VXCTXT* pctxt, VXRTMEMBUF* pMemBuf, uint8_t* buf, size_t bufsize,
                         size_t segsize)
{
   memset(pMemBuf, 0, sizeof(*pMemBuf));
   pMemBuf->pctxt = pctxt;
   pMemBuf->segsize = segsize;
   pMemBuf->buffer = buf;
   pMemBuf->bufsize = bufsize;
   pMemBuf->isDynamic = false;
   pMemBuf->isExpandable = true;
}

void rtxMemBufInit(VXCTXT* pctxt, VXRTMEMBUF* pMemBuf, size_t segsize)
{
   rtxMemBufInitBuffer(pctxt, pMemBuf, nullptr, 0, segsize == 0 ? 1024 : segsize);
   pMemBuf->isDynamic = true;
}

void rtxMemBufFree(VXRTMEMBUF* pMemBuf)
{
   if (pMemBuf->isDynamic && pMemBuf->buffer != nullptr) {
      if (pMemBuf->isSysMem)
         rtxMemSysFreePtr(pMemBuf->pctxt, pMemBuf->buffer);
      else
         rtxMemFreePtr(pMemBuf->pctxt, pMemBuf->buffer);
   }
   pMemBuf->buffer = nullptr;
   pMemBuf->bufsize = 0;
   rtxMemBufReset(pMemBuf);
}

void rtxMemBufReset(VXRTMEMBUF* pMemBuf)
{
   pMemBuf->startidx = 0;
   pMemBuf->usedcnt = 0;
   pMemBuf->bitOffset = 0;
   pMemBuf->userState = 0;
}

static int noMemory(VXRTMEMBUF* pMemBuf)
{
   if (pMemBuf->pctxt != nullptr) VX_LOG_ERRNEW(pMemBuf->pctxt, RTERR_NOMEM);
   return RTERR_NOMEM;
}

int rtxMemBufPreAllocate(VXRTMEMBUF* pMemBuf, size_t nbytes)
{
   size_t used = pMemBuf->usedcnt;
   if (nbytes > SIZE_MAX - used) return noMemory(pMemBuf);
   if (used + nbytes <= pMemBuf->bufsize) return 0;
   if (!pMemBuf->isExpandable) return RTERR_BUFOVFLW;
   size_t seg = pMemBuf->segsize;
   if (seg == 0) return noMemory(pMemBuf);

   // Whole segments only.
   size_t nsegs = (nbytes + used - 1) / seg + 1;
   if (nsegs > SIZE_MAX / seg) return noMemory(pMemBuf);
   size_t newSize = seg * nsegs;

   VXCTXT* pctxt = pMemBuf->pctxt;
   uint8_t* p;
   if (pMemBuf->isDynamic && pMemBuf->buffer != nullptr) {
      p = static_cast<uint8_t*>(pMemBuf->isSysMem
                                   ? rtxMemHeapSysRealloc(VX_HEAP(pctxt), pMemBuf->buffer, newSize)
                                   : rtxMemHeapRealloc(VX_HEAP(pctxt), pMemBuf->buffer, newSize));
      if (p == nullptr) return noMemory(pMemBuf);
   } else {
      // No bytes yet, or the caller's bytes: take a block of our own.
      p = static_cast<uint8_t*>(pMemBuf->isSysMem ? rtxMemHeapSysAlloc(VX_HEAP(pctxt), newSize)
                                                  : rtxMemHeapAlloc(VX_HEAP(pctxt), newSize));
      if (p == nullptr) return noMemory(pMemBuf);
      if (pMemBuf->buffer != nullptr && pMemBuf->bufsize > 0)
         memcpy(p, pMemBuf->buffer, pMemBuf->bufsize);
      pMemBuf->isDynamic = true;
   }
   pMemBuf->buffer = p;
   pMemBuf->bufsize = newSize;
   return 0;
}

int rtxMemBufAppend(VXRTMEMBUF* pMemBuf, const uint8_t* data, size_t nbytes)
{
   if (nbytes == 0) return 0;
   int stat = rtxMemBufPreAllocate(pMemBuf, nbytes);
   if (stat != 0) return stat;
   if (data != nullptr) {
      memcpy(pMemBuf->buffer + pMemBuf->usedcnt, data, nbytes);
      pMemBuf->usedcnt += nbytes;
   }
   return 0;
}

int rtxMemBufSet(VXRTMEMBUF* pMemBuf, uint8_t value, size_t nbytes)
{
   if (nbytes == 0) return 0;
   int stat = rtxMemBufPreAllocate(pMemBuf, nbytes);
   if (stat != 0) return stat;
   memset(pMemBuf->buffer + pMemBuf->usedcnt, value, nbytes);
   pMemBuf->usedcnt += nbytes;
   return 0;
}

size_t rtxMemBufGetDataLen(const VXRTMEMBUF* pMemBuf)
{
   return pMemBuf->usedcnt - pMemBuf->startidx;
}

uint8_t* rtxMemBufGetData(const VXRTMEMBUF* pMemBuf, int* length)
{
   if (length != nullptr) {
      size_t len = rtxMemBufGetDataLen(pMemBuf);
      *length = len > 0x7FFFFFFFu ? -1 : (int)len;
   }
   return pMemBuf->buffer != nullptr ? pMemBuf->buffer + pMemBuf->startidx : nullptr;
}

int rtxMemBufCut(VXRTMEMBUF* pMemBuf, size_t from, size_t nbytes)
{
   size_t len = rtxMemBufGetDataLen(pMemBuf);
   if (from > len || nbytes > len - from) return RTERR_INVPARAM;
   if (nbytes == 0) return 0;
   uint8_t* at = pMemBuf->buffer + pMemBuf->startidx + from;
   memmove(at, at + nbytes, len - from - nbytes);
   pMemBuf->usedcnt -= nbytes;
   return 0;
}
