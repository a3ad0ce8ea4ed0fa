// Print streams: the context's, the process-wide one, or standard output.
#include "rtxPrintStream.h"

#include <cstdio>

#include "rtxError.h"
#include "rtxMemory.h"

// Process-wide print stream; nothing on the road of a call changes it.
static VXRTPrintStream g_PrintStream = {nullptr, nullptr};

int rtxSetPrintStream(VXCTXT* pctxt, rtxPrintCallback myCallback, void* pStrmInfo)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   if (myCallback == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_INVPARAM);
   if (pctxt->pPrintStream == nullptr) {
      pctxt->pPrintStream = static_cast<VXRTPrintStream*>(
         rtxMemHeapSysAllocZ(&pctxt->pMemHeap, sizeof(VXRTPrintStream)));
      if (pctxt->pPrintStream == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   }
   pctxt->pPrintStream->pfPrintFunc = myCallback;
   pctxt->pPrintStream->pPrntStrmInfo = pStrmInfo;
   pctxt->indent = 0;
   return 0;
}

int rtxSetGlobalPrintStream(rtxPrintCallback myCallback, void* pStrmInfo)
{
   g_PrintStream.pfPrintFunc = myCallback;
   g_PrintStream.pPrntStrmInfo = pStrmInfo;
   return 0;
}

int rtxDiagToStream(VXCTXT* pctxt, const char* fmtspec, va_list arglist)
{
   if (fmtspec == nullptr) return RTERR_INVPARAM;
   if (pctxt != nullptr && pctxt->pPrintStream != nullptr &&
       pctxt->pPrintStream->pfPrintFunc != nullptr) {
      pctxt->pPrintStream->pfPrintFunc(pctxt->pPrintStream->pPrntStrmInfo, fmtspec, arglist);
   } else if (g_PrintStream.pfPrintFunc != nullptr) {
      g_PrintStream.pfPrintFunc(g_PrintStream.pPrntStrmInfo, fmtspec, arglist);
   } else {
      vfprintf(stdout, fmtspec, arglist);
      fflush(stdout);
   }
   return 0;
}

int rtxPrintToStream(VXCTXT* pctxt, const char* fmtspec, ...)
{
   va_list arglist;
   va_start(arglist, fmtspec);
   int stat = rtxDiagToStream(pctxt, fmtspec, arglist);
   va_end(arglist);
   return stat;
}

int rtxPrintStreamRelease(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   if (pctxt->pPrintStream != nullptr) {
      rtxMemHeapSysFreePtr(&pctxt->pMemHeap, pctxt->pPrintStream);
      pctxt->pPrintStream = nullptr;
   }
   return 0;
}
