#include "rtxIntStack.h"

#include "rtxError.h"
#include "rtxMemory.h"

int rtxIntStackInit(VXCTXT* pctxt, VXRTIntStack* pStack, size_t capacity)
{
   if (capacity == 0) capacity = 100;
   pStack->pctxt = pctxt;
   pStack->index = 0;
   pStack->size = 0;
   pStack->pdata = static_cast<int32_t*>(rtxMemAllocArray2(pctxt, capacity, sizeof(int32_t), 0));
   if (pStack->pdata == nullptr) {
      VX_LOG_ERR(pctxt, RTERR_NOMEM);
      return RTERR_NOMEM;
   }
   pStack->size = capacity;
   return 0;
}

int rtxIntStackPush(VXRTIntStack* pStack, int32_t value)
{
   if (pStack->index >= pStack->size) {
      size_t newSize = pStack->size == 0 ? 100 : pStack->size * 2;
      void* p = (newSize > SIZE_MAX / sizeof(int32_t))
                   ? nullptr
                   : rtxMemRealloc(pStack->pctxt, pStack->pdata, newSize * sizeof(int32_t));
      if (p == nullptr) {
         VX_LOG_ERRNEW(pStack->pctxt, RTERR_NOMEM);
         return RTERR_NOMEM;
      }
      pStack->pdata = static_cast<int32_t*>(p);
      pStack->size = newSize;
   }
   pStack->pdata[pStack->index++] = value;
   return 0;
}

int rtxIntStackPeek(const VXRTIntStack* pStack, int32_t* pvalue)
{
   if (pStack->index == 0) return RTERR_ENDOFBUF;
   if (pvalue != nullptr) *pvalue = pStack->pdata[pStack->index - 1];
   return 0;
}

int rtxIntStackPop(VXRTIntStack* pStack, int32_t* pvalue)
{
   int stat = rtxIntStackPeek(pStack, pvalue);
   if (stat == 0) pStack->index--;
   return stat;
}

void rtxIntStackFree(VXRTIntStack* pStack)
{
   if (pStack->pdata != nullptr) rtxMemFreePtr(pStack->pctxt, pStack->pdata);
   pStack->pdata = nullptr;
   pStack->index = 0;
   pStack->size = 0;
}
