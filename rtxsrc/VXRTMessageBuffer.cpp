// Base of the message buffers of every encoding.
#include "VXRTMessageBuffer.h"

#include "rtxDiag.h"
#include "rtxError.h"

VXRTMessageBuffer::VXRTMessageBuffer(Type bufferType, VXRTContext* pContext)
    : mCtxtHolder(pContext), mBufferType(bufferType)
{
}

int VXRTMessageBuffer::initBuffer(uint8_t* pMsgBuf, size_t msgBufLen)
{
   int stat = getStatus();
   if (stat != 0) return stat;
   VXCTXT* pctxt = getCtxtPtr();
   stat = rtxInitContextBuffer(pctxt, pMsgBuf, msgBufLen);
   if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   return stat;
}

void VXRTMessageBuffer::setDiag(unsigned char value)
{
   if (getStatus() == 0) rtxSetDiag(getCtxtPtr(), value != 0);
}
