// The PER side of the bit trace: switching it on and printing it.
#include "pu_trace.h"

bool pu_setTrace(VXCTXT* pctxt, bool value)
{
   if (pctxt == nullptr) return false;
   bool former = (pctxt->flags & VXCTXT_FLAG_TRACE) != 0;
   if (value) {
      // A failed allocation is recorded in the context; the flag is set all
      // the same and the helpers then find a null list.
      rtxDiagCtxtBitFieldListInit(pctxt);
      pctxt->flags |= VXCTXT_FLAG_TRACE;
   } else {
      pctxt->flags &= ~VXCTXT_FLAG_TRACE;
   }
   return former;
}

void pu_bindump(VXCTXT* pctxt, const char* varname)
{
   if (pctxt != nullptr) rtxDiagBitTracePrint(pctxt->pBitFldList, varname);
}
