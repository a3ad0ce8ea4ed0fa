#include "VXRTStream.h"
#include "VXXMLBuffers.h"

// The stream's context becomes this buffer's: the pull reader takes the
// stream's bytes in place.
VXXMLDecodeBuffer::VXXMLDecodeBuffer(VXRTInputStream& inputStream)
    : VXXMLMessageBuffer(XMLDecode, (VXRTContext*)inputStream.getContext()),
      mpInputStream(&inputStream),
      mbOwnStream(false)
{
}

VXXMLDecodeBuffer::VXXMLDecodeBuffer(const uint8_t* pMsgBuf, size_t msgBufLen)
    : VXXMLDecodeBuffer(*new VXRTMemoryInputStream(pMsgBuf, msgBufLen))
{
   mbOwnStream = true;
}

VXXMLDecodeBuffer::~VXXMLDecodeBuffer()
{
   if (mbOwnStream) delete mpInputStream;
}

void VXXMLDecodeBuffer::setMaxErrors(uint32_t maxErrors)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(getCtxtPtr());
   if (info != nullptr) info->maxSaxErrors = maxErrors;
}
