// Base of the ASN.1 message buffers.
#include "ASN1MessageBuffer.h"

#include "ASN1RtContext.h"
#include "asn1ErrorHandler.h"
#include "rtContext.h"
#include "rtxError.h"
#include "rtxMemBuf.h"

ASN1MessageBuffer::ASN1MessageBuffer(Type bufferType)
    : VXRTMessageBuffer(bufferType, new ASN1RtContext())
{
}

ASN1MessageBuffer::ASN1MessageBuffer(Type bufferType, VXRTContext* pContext)
    : VXRTMessageBuffer(bufferType, pContext)
{
   rtErrASN1Init();
}

int ASN1MessageBuffer::setStatus(int stat) { return getContextObj()->setStatus(stat); }

int ASN1MessageBuffer::addEventHandler(Asn1NamedEventHandler* pHandler)
{
   return rtAddEventHandler(getCtxtPtr(), pHandler);
}

void ASN1MessageBuffer::removeEventHandler(Asn1NamedEventHandler* pHandler)
{
   rtRemoveEventHandler(getCtxtPtr(), pHandler);
}

int ASN1MessageBuffer::setErrorHandler(Asn1ErrorHandler* pHandler)
{
   return Asn1ErrorHandler::setErrorHandler(getCtxtPtr(), pHandler);
}

int ASN1MessageBuffer::initBuffer(VXRTMEMBUF& membuf)
{
   int shortLen = 0;
   uint8_t* data = rtxMemBufGetData(&membuf, &shortLen);
   return rtxInitContextBuffer(getCtxtPtr(), data, rtxMemBufGetDataLen(&membuf));
}

int ASN1MessageBuffer::initBuffer(unsigned short* /*pMsgBuf*/) { return setStatus(RTERR_NOTSUPP); }

int ASN1MessageBuffer::initBuffer(const unsigned char* /*pMsgBuf*/) { return RTERR_NOTSUPP; }
