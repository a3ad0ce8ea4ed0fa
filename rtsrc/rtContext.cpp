// ASN.1 side of the run-time context: the ASN.1 information record with its
// event handler list and size constraint, and contexts that carry one.
#include <cstdlib>

#include "rtContext.h"
#include "rtxContext.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxSList.h"

int rtInitASN1RtContext(VXCTXT* pctxt)
{
   int stat = rtxInitContext(pctxt);
   if (stat != 0) return stat;
   rtErrASN1Init();
   return rtCtxtInitASN1Info(pctxt);
}

int rtInitContext(VXCTXT* pctxt) { return rtInitASN1RtContext(pctxt); }

int rtInitSubContext(VXCTXT* sub, VXCTXT* parent)
{
   rtxPreInitContext(sub);
   rtxCtxtSetMemHeap(sub, parent);
   sub->buffer.aligned = parent->buffer.aligned;
   sub->buffer.dynamic = 1;
   sub->buffer.byteIndex = 0;
   sub->buffer.bitOffset = 8;
   return rtCtxtInitASN1Info(sub);
}

int rtCtxtInitASN1Info(VXCTXT* pctxt)
{
   if (pctxt->pASN1Info != nullptr) return 0;  // one record per context
   VXASN1Info* info =
      static_cast<VXASN1Info*>(rtxMemHeapSysAllocZ(&pctxt->pMemHeap, sizeof(VXASN1Info)));
   if (info == nullptr) return RTERR_NOMEM;
   info->freeHook = rtCtxtFreeASN1Info;
   info->resetHook = rtCtxtResetASN1Info;
   rtxSListInitEx(pctxt, &info->eventHandlers);
   pctxt->pASN1Info = info;
   return 0;
}

int rtCtxtFreeASN1Info(VXCTXT* /*pctxt*/, void* info)
{
   if (info == nullptr) return RTERR_NOTINIT;
   rtxSListFree(&static_cast<VXASN1Info*>(info)->eventHandlers);
   return 0;
}

int rtCtxtResetASN1Info(VXCTXT* pctxt, void* info) { return rtCtxtFreeASN1Info(pctxt, info); }

void rtFreeContext(VXCTXT* pctxt)
{
   if (pctxt == nullptr || pctxt->initCode != VXCTXT_INITCODE) return;
   // Read before the context is torn down: the record itself was malloc'ed.
   bool releaseRecord = (pctxt->flags & VXCTXT_FLAG_JSONSTR) != 0;
   rtxFreeContext(pctxt);
   if (releaseRecord) free(pctxt);
}

void rtSetFastCopy(VXCTXT* pctxt, bool value)
{
   if (value)
      pctxt->flags |= VXCTXT_FLAG_FASTCOPY;
   else
      pctxt->flags &= ~VXCTXT_FLAG_FASTCOPY;
}

void rtSetCopyValues(VXCTXT* pctxt, bool value) { rtSetFastCopy(pctxt, !value); }

int rtAddEventHandler(VXCTXT* pctxt, void* handler)
{
   int stat = rtCtxtInitASN1Info(pctxt);
   if (stat != 0) return stat;
   if (rtxSListAppend(&pctxt->pASN1Info->eventHandlers, handler) == nullptr) return RTERR_NOMEM;
   return 0;
}

void rtRemoveEventHandler(VXCTXT* pctxt, void* handler)
{
   if (pctxt->pASN1Info != nullptr) rtxSListRemove(&pctxt->pASN1Info->eventHandlers, handler);
}
