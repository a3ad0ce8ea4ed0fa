#include "VXJSONBuffers.h"

#include "VXRTStream.h"

// The stream's context becomes this buffer's: decoding reads the stream's
// buffer directly.
VXJSONDecodeBuffer::VXJSONDecodeBuffer(VXRTInputStream& inputStream)
    : VXJSONMessageBuffer(JSONDecode, (VXRTContext*)inputStream.getContext()),
      mpInputStream(&inputStream),
      mbOwnStream(false)
{
}

VXJSONDecodeBuffer::VXJSONDecodeBuffer(const uint8_t* pMsgBuf, size_t msgBufLen)
    : VXJSONDecodeBuffer(*new VXRTMemoryInputStream(pMsgBuf, msgBufLen))
{
   mbOwnStream = true;
}

VXJSONDecodeBuffer::~VXJSONDecodeBuffer()
{
   if (mbOwnStream) delete mpInputStream;
}
