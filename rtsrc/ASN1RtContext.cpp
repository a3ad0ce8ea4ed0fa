// Context object with the ASN.1 information record.
#include "ASN1RtContext.h"

#include "rtContext.h"
#include "rtxDiag.h"
#include "rtxError.h"

ASN1RtContext::ASN1RtContext() : VXRTContext()
{
   rtErrASN1Init();
   if (mbInitialized) mStatus = rtCtxtInitASN1Info(&mCtxt);
   // A heap that could not be made in the base constructor is not held
   // against the object: the first allocation creates it.
   mbInitialized = (mStatus == 0);
   rtxDiagPrint(&mCtxt, "context %x created, ref count = 0\n", (unsigned)(uintptr_t)&mCtxt);
}
