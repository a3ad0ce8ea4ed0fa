// Base of the ASN.1 message buffers: a message buffer whose context carries
// the ASN.1 information, with event and error handler registration.
#ifndef ASN1MESSAGEBUFFER_H
#define ASN1MESSAGEBUFFER_H

#include "VXRTMessageBuffer.h"

struct VXRTMEMBUF;
class Asn1NamedEventHandler;
class Asn1ErrorHandler;

class ASN1MessageBuffer : public VXRTMessageBuffer {
 protected:
   // Creates an ASN1RtContext of its own.
   explicit ASN1MessageBuffer(Type bufferType);
   // Works on the given context (null: a plain one is made).
   ASN1MessageBuffer(Type bufferType, VXRTContext* pContext);

 public:
   ~ASN1MessageBuffer() override {}

   using VXRTMessageBuffer::initBuffer;

   void* getAppInfo() override { return nullptr; }
   bool isA(Type /*bufferType*/) override { return false; }
   void setAppInfo(void* /*pAppInfo*/) override {}
   void resetErrorInfo() override { VXRTMessageBuffer::resetErrorInfo(); }

   // Stores the status in the context and returns it.
   virtual int setStatus(int stat);
   virtual int addEventHandler(Asn1NamedEventHandler* pHandler);
   virtual int initBuffer(VXRTMEMBUF& membuf);
   virtual int initBuffer(unsigned short* pMsgBuf);
   virtual int initBuffer(const unsigned char* pMsgBuf);
   virtual void removeEventHandler(Asn1NamedEventHandler* pHandler);
   virtual int setErrorHandler(Asn1ErrorHandler* pHandler);
};

#endif
