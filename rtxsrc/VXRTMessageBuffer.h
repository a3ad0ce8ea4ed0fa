// Message buffers: a context tied to the bytes or text of one encoding.
// isA tells a control class which kind of buffer it was given.
#ifndef VXRTMESSAGEBUFFER_H
#define VXRTMESSAGEBUFFER_H

#include <cstdio>

#include "VXRTContext.h"

class VXRTMessageBufferIF {
 public:
   enum Type {
      PEREncode = 2,
      PERDecode = 3,
      XMLEncode = 4,
      XMLDecode = 5,
      JSONEncode = 6,
      JSONDecode = 7
   };

   virtual ~VXRTMessageBufferIF() {}
   virtual void* getAppInfo() = 0;
   virtual size_t getByteIndex() = 0;
   virtual VXRTCtxtPtr getContext() = 0;
   virtual VXCTXT* getCtxtPtr() = 0;
   virtual uint8_t* getMsgCopy() = 0;
   virtual const uint8_t* getMsgPtr() = 0;
   virtual int init() = 0;
   virtual int initBuffer(uint8_t* pMsgBuf, size_t msgBufLen) = 0;
   virtual bool isA(Type bufferType) = 0;
   virtual void setAppInfo(void* pAppInfo) = 0;
   virtual void setNamespace(const char* /*uri*/, const char* /*prefix*/) {}
   virtual void setDiag(unsigned char value = 1) = 0;
};

class VXRTMessageBuffer : public VXRTMessageBufferIF {
 protected:
   VXRTCtxtHolder mCtxtHolder;
   Type mBufferType;

   // A null context makes the holder create a plain one.
   VXRTMessageBuffer(Type bufferType, VXRTContext* pContext);

   VXRTContext* getContextObj() const { return mCtxtHolder.getContextObj(); }

   // The message (getMsgLen bytes from getMsgPtr) to an open file or to a
   // file made anew; the encode buffers' write operations.
   int writeMsg(FILE* fp);
   int writeMsg(const char* filename);

 public:
   ~VXRTMessageBuffer() override {}

   void* getAppInfo() override { return nullptr; }
   size_t getByteIndex() override { return getCtxtPtr()->buffer.byteIndex; }
   VXRTCtxtPtr getContext() override { return mCtxtHolder.getContext(); }
   VXCTXT* getCtxtPtr() override { return mCtxtHolder.getCtxtPtr(); }
   uint8_t* getMsgCopy() override { return nullptr; }
   const uint8_t* getMsgPtr() override { return getCtxtPtr()->buffer.data; }
   int init() override { return 0; }
   int initBuffer(uint8_t* pMsgBuf, size_t msgBufLen) override;
   void setAppInfo(void* /*pAppInfo*/) override {}
   void setDiag(unsigned char value = 1) override;

   virtual char* getErrorInfo() { return mCtxtHolder.getErrorInfo(); }
   virtual char* getErrorInfo(char* buf, size_t& size)
   {
      return mCtxtHolder.getErrorInfo(buf, size);
   }
   virtual size_t getMsgLen() { return 0; }
   virtual void printErrorInfo() { mCtxtHolder.printErrorInfo(); }
   virtual void resetErrorInfo() { mCtxtHolder.resetErrorInfo(); }

   int getStatus() { return mCtxtHolder.getStatus(); }
   Type getBufferType() const { return mBufferType; }
};

#endif
