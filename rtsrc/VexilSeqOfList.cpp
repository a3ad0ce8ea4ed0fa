// Base of the list control classes.
#include "VexilSeqOfList.h"

#include "rtxDList.h"
#include "rtxError.h"

VexilSeqOfList::VexilSeqOfList(ASN1TSeqOfList& list) : VexilType(), mpList(&list) {}

VexilSeqOfList::VexilSeqOfList(VXRTMessageBufferIF& msgBuf, ASN1TSeqOfList& list)
    : VexilType(msgBuf), mpList(&list)
{
}

VexilSeqOfList::VexilSeqOfList(VexilType& ctl, ASN1TSeqOfList& list) : VexilType(ctl), mpList(&list)
{
}

int VexilSeqOfList::append(void* data)
{
   VXCTXT* pctxt = getCtxtPtr();
   if (pctxt == nullptr) return RTERR_NOTINIT;
   if (rtxDListAppend(pctxt, mpList, data) == nullptr) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   return 0;
}
