#include "VXJSONBuffers.h"

#include "rtxError.h"

VXJSONEncodeBuffer::VXJSONEncodeBuffer() : VXJSONMessageBuffer(JSONEncode, nullptr)
{
   VXCTXT* pctxt = getCtxtPtr();
   pctxt->indent = 0;
   if (rtxInitContextBuffer(pctxt, nullptr, 0) == 0) pctxt->buffer.data[0] = 0;
}

VXJSONEncodeBuffer::VXJSONEncodeBuffer(uint8_t* pMsgBuf, size_t msgBufLen)
    : VXJSONMessageBuffer(JSONEncode, nullptr)
{
   VXCTXT* pctxt = getCtxtPtr();
   pctxt->indent = 0;
   if (rtxInitContextBuffer(pctxt, pMsgBuf, msgBufLen) == 0 && pMsgBuf && msgBufLen > 0)
      pMsgBuf[0] = 0;
}

int VXJSONEncodeBuffer::init()
{
   getCtxtPtr()->buffer.byteIndex = 0;
   return 0;
}

int VXJSONEncodeBuffer::write(FILE* fp) { return writeMsg(fp); }

int VXJSONEncodeBuffer::write(const char* filename) { return writeMsg(filename); }
