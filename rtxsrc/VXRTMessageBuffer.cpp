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

int VXRTMessageBuffer::writeMsg(FILE* fp)
{
   size_t n = getMsgLen();
   if (fp == nullptr) return VX_LOG_ERRNEW(getCtxtPtr(), RTERR_NULLPTR);
   if (fwrite(getMsgPtr(), 1, n, fp) != n) return VX_LOG_ERRNEW(getCtxtPtr(), RTERR_WRITEERR);
   return 0;
}

int VXRTMessageBuffer::writeMsg(const char* filename)
{
   FILE* fp = filename ? fopen(filename, "wb") : nullptr;
   if (fp == nullptr) return VX_LOG_ERRNEW(getCtxtPtr(), RTERR_FILNOTFOU);
   int stat = writeMsg(fp);
   fclose(fp);
   return stat;
}
