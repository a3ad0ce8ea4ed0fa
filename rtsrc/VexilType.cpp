// Bases of the control classes and of the top-level records.
#include "VexilType.h"

#include "rtxError.h"

VexilType::VexilType() : mpContext(new ASN1RtContext()), mpMsgBuf(nullptr) {}

VexilType::VexilType(VXRTContext& ctxt) : mpContext(&ctxt), mpMsgBuf(nullptr) {}

VexilType::VexilType(VXRTMessageBufferIF& msgBuf)
    : mpContext(msgBuf.getContext()), mpMsgBuf(&msgBuf)
{
}

VexilType::VexilType(const VexilType& o) : mpContext(o.mpContext), mpMsgBuf(o.mpMsgBuf) {}

int VexilType::setMsgBuf(VXRTMessageBufferIF& msgBuf, unsigned char initBuf)
{
   if (mpContext.isNull()) return RTERR_NOTINIT;
   if (getStatus() == 0) {
      mpMsgBuf = &msgBuf;
      if (initBuf != 0 && getStatus() == 0) mpContext->setStatus(msgBuf.init());
   }
   return getStatus();
}

int VexilType::Decode(unsigned char initFlag)
{
   if (mpContext.isNull()) return RTERR_NOTINIT;
   int stat = getStatus();
   if (stat != 0) return stat;
   stat = DecodeFrom(*mpMsgBuf, initFlag);
   // A constraint violation goes back as it is, without a position.
   if (stat >= 0 || stat == RTERR_CONSVIO) return stat;
   return VX_LOG_ERR(getCtxtPtr(), stat);
}

int VexilType::Encode()
{
   if (mpContext.isNull()) return RTERR_NOTINIT;
   int stat = getStatus();
   if (stat != 0) return stat;
   stat = EncodeTo(*mpMsgBuf);
   if (stat >= 0) return stat;
   return VX_LOG_ERR(getCtxtPtr(), stat);
}

int VexilType::EncodeTo(VXRTMessageBufferIF& /*msgBuf*/) { return ASN_E_NOTPDU; }

int VexilType::DecodeFrom(VXRTMessageBufferIF& /*msgBuf*/, unsigned char /*initFlag*/)
{
   return ASN_E_NOTPDU;
}

char* VexilType::getErrorText(char* buf, size_t size)
{
   if (mpContext.isNull()) return nullptr;
   VXCTXT* pctxt = getCtxtPtr();
   if (buf != nullptr && size != 0) return rtxErrGetText(pctxt, buf, &size);
   if (rtxErrGetErrorCnt(pctxt) == 0) return nullptr;
   return mpContext->getErrorInfo();
}

void ASN1TPDU::setContext(VXRTContext* pContext)
{
   if (mpContext.isNull())
      mpContext = pContext;
   else if (pContext == nullptr)
      mpContext = nullptr;
}
