#include "rtxDListBuf.h"

#include "rtxDList.h"
#include "rtxError.h"
#include "rtxMemory.h"

void rtxDListBufInit(VXRTDListBuf* pBuf, size_t firstSegSz, void** ppArray, size_t elemSize)
{
   pBuf->n = 0;
   pBuf->nMax = 0;
   pBuf->nAll = 0;
   pBuf->firstSegSz = firstSegSz == 0 ? 1 : firstSegSz;
   pBuf->elemSize = elemSize;
   rtxDListInit(&pBuf->tmplist);
   pBuf->ppArray = ppArray;
   *ppArray = nullptr;
}

void rtxDListBufFreeAll(VXCTXT* pctxt, VXRTDListBuf* pBuf)
{
   rtxDListFreeAll(pctxt, &pBuf->tmplist);
   if (*pBuf->ppArray != nullptr) {
      rtxMemFreePtr(pctxt, *pBuf->ppArray);
      *pBuf->ppArray = nullptr;
   }
   pBuf->n = pBuf->nMax = pBuf->nAll = 0;
}

static int failNoMem(VXCTXT* pctxt, VXRTDListBuf* pBuf)
{
   rtxDListBufFreeAll(pctxt, pBuf);
   VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   return RTERR_NOMEM;
}

int rtxDListBufExpand(VXCTXT* pctxt, VXRTDListBuf* pBuf)
{
   size_t nMax;
   if (*pBuf->ppArray != nullptr) {
      if (pBuf->nMax > SIZE_MAX / 2) return failNoMem(pctxt, pBuf);
      nMax = pBuf->nMax * 2;
      if (rtxDListAppend(pctxt, &pBuf->tmplist, *pBuf->ppArray) == nullptr)
         return failNoMem(pctxt, pBuf);
      *pBuf->ppArray = nullptr;
   } else {
      nMax = pBuf->firstSegSz;
   }
   *pBuf->ppArray = rtxMemAllocArray2(pctxt, nMax, pBuf->elemSize, 0);
   if (*pBuf->ppArray == nullptr) return failNoMem(pctxt, pBuf);
   pBuf->nMax = nMax;
   pBuf->n = 0;
   return 0;
}

int rtxDListBufToArray(VXCTXT* pctxt, VXRTDListBuf* pBuf)
{
   if (pBuf->nAll == 0) {
      rtxDListBufFreeAll(pctxt, pBuf);
      return 0;
   }
   void* current = *pBuf->ppArray;
   if (pBuf->tmplist.count == 0) {
      // One segment: trim it to what it holds.
      void* p = rtxMemRealloc(pctxt, current, pBuf->nAll * pBuf->elemSize);
      if (p == nullptr) return failNoMem(pctxt, pBuf);
      *pBuf->ppArray = p;
      return 0;
   }

   if (rtxDListAppend(pctxt, &pBuf->tmplist, current) == nullptr) return failNoMem(pctxt, pBuf);
   *pBuf->ppArray = nullptr;
   uint8_t* array = static_cast<uint8_t*>(rtxMemAllocArray2(pctxt, pBuf->nAll, pBuf->elemSize, 0));
   if (array == nullptr) return failNoMem(pctxt, pBuf);

   // Segments are full but the last; their sizes double from the first.
   size_t segSize = pBuf->firstSegSz;
   size_t remaining = pBuf->nAll;
   uint8_t* dst = array;
   for (VXRTDListNode* node = pBuf->tmplist.head; node != nullptr && remaining > 0;
        node = node->next) {
      size_t k = segSize < remaining ? segSize : remaining;
      memcpy(dst, node->data, k * pBuf->elemSize);
      dst += k * pBuf->elemSize;
      remaining -= k;
      segSize *= 2;
   }
   rtxDListFreeAll(pctxt, &pBuf->tmplist);
   *pBuf->ppArray = array;
   pBuf->n = pBuf->nMax = pBuf->nAll;
   return 0;
}
