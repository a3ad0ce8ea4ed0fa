// JSON message buffers: the text being written (a growing buffer on a
// context of its own) and the text being read (through an input stream).
#ifndef VXJSONBUFFERS_H
#define VXJSONBUFFERS_H

#include <cstdio>

#include "VXRTMessageBuffer.h"

class VXRTInputStream;

class VXJSONMessageBuffer : public VXRTMessageBuffer {
 protected:
   VXJSONMessageBuffer(Type bufferType, VXRTContext* pContext)
       : VXRTMessageBuffer(bufferType, pContext)
   {
   }
};

class VXJSONEncodeBuffer : public VXJSONMessageBuffer {
 public:
   // A 1024-byte buffer that grows, on a plain context of its own.
   VXJSONEncodeBuffer();
   // The caller's memory; it can not grow.
   VXJSONEncodeBuffer(uint8_t* pMsgBuf, size_t msgBufLen);

   int init() override;
   bool isA(Type bufferType) override { return bufferType == JSONEncode; }
   size_t getMsgLen() override { return getByteIndex(); }

   virtual int write(const char* filename);
   virtual int write(FILE* fp);
};

class VXJSONDecodeBuffer : public VXJSONMessageBuffer {
 protected:
   VXRTInputStream* mpInputStream;
   bool mbOwnStream;

 public:
   // Reads from the caller's stream and shares its context.
   explicit VXJSONDecodeBuffer(VXRTInputStream& inputStream);
   // Reads the given bytes in place through a memory stream it owns.
   VXJSONDecodeBuffer(const uint8_t* pMsgBuf, size_t msgBufLen);
   ~VXJSONDecodeBuffer() override;

   int init() override { return 0; }
   bool isA(Type bufferType) override { return bufferType == JSONDecode; }
};

#endif
