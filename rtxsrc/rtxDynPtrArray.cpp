#include "rtxDynPtrArray.h"

#include "rtxError.h"
#include "rtxMemory.h"

int rtxDynPtrArrayInit(VXCTXT* pctxt, VXRTDynPtrArray* pArray, uint16_t capacity)
{
   if (capacity == 0) capacity = 4;
   pArray->count = 0;
   pArray->capacity = 0;
   pArray->data = static_cast<void**>(rtxMemAllocArray2(pctxt, capacity, sizeof(void*), 0));
   if (pArray->data == nullptr) {
      VX_LOG_ERR(pctxt, RTERR_NOMEM);
      return RTERR_NOMEM;
   }
   pArray->capacity = capacity;
   return 0;
}

int rtxDynPtrArrayAppend(VXCTXT* pctxt, VXRTDynPtrArray* pArray, void* ptr)
{
   if (pArray->count >= pArray->capacity) {
      // The counts are 16 bits wide: doubling stops at 65535 entries.
      uint32_t newCap = pArray->capacity == 0 ? 4u : 2u * pArray->capacity;
      if (newCap > UINT16_MAX) newCap = UINT16_MAX;
      void* p = (newCap <= pArray->count)
                   ? nullptr
                   : rtxMemRealloc(pctxt, pArray->data, newCap * sizeof(void*));
      if (p == nullptr) {
         VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
         return RTERR_NOMEM;
      }
      pArray->data = static_cast<void**>(p);
      pArray->capacity = (uint16_t)newCap;
   }
   pArray->data[pArray->count++] = ptr;
   return 0;
}
