#include "rtxStack.h"

#include "rtxDList.h"
#include "rtxError.h"
#include "rtxMemory.h"

void rtxStackInit(VXCTXT* pctxt, VXRTStack* pStack)
{
   pStack->pctxt = pctxt;
   rtxDListInit(&pStack->dlist);
}

VXRTStack* rtxStackCreate(VXCTXT* pctxt)
{
   VXRTStack* pStack = rtxMemAllocType(pctxt, VXRTStack);
   if (pStack == nullptr) {
      VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      return nullptr;
   }
   rtxStackInit(pctxt, pStack);
   return pStack;
}

int rtxStackPush(VXRTStack* pStack, void* pData)
{
   if (pStack->pctxt == nullptr) return RTERR_NULLPTR;
   if (rtxDListInsert(pStack->pctxt, &pStack->dlist, 0, pData) == nullptr) return RTERR_NOMEM;
   return 0;
}

void* rtxStackPop(VXRTStack* pStack)
{
   VXRTDListNode* top = pStack->dlist.head;
   if (top == nullptr) return nullptr;
   void* pData = top->data;
   rtxDListFreeNode(pStack->pctxt, &pStack->dlist, top);
   return pData;
}

void* rtxStackPeek(VXRTStack* pStack) { return rtxDListFindFirstData(&pStack->dlist); }
