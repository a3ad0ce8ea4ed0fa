// Registration and invocation of the context's error handler.
#include "asn1ErrorHandler.h"
#include "rtContext.h"

int Asn1ErrorHandler::setErrorHandler(VXCTXT* pctxt, Asn1ErrorHandler* pHandler)
{
   if (pctxt->pASN1Info == nullptr) {
      int stat = rtCtxtInitASN1Info(pctxt);
      if (stat != 0) return stat;
      if (pctxt->pASN1Info == nullptr) return RTERR_NOMEM;
   }
   pctxt->pASN1Info->errorHandler = pHandler;
   return 0;
}

int Asn1ErrorHandler::invoke(VXCTXT* pctxt, VexilCB* pCCB, int stat)
{
   if (pctxt == nullptr || pctxt->pASN1Info == nullptr) return stat;
   Asn1ErrorHandler* handler = pctxt->pASN1Info->errorHandler;
   return handler != nullptr ? handler->error(pctxt, pCCB, stat) : stat;
}

int Asn1ErrorHandler::invoke(VXCTXT* pctxt, const uint8_t* pos, uint64_t len, int stat)
{
   VexilCB ccb = {};
   ccb.pos = pos;
   ccb.len = len;
   return invoke(pctxt, &ccb, stat);
}
