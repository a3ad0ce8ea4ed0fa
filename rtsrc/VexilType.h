// Bases of the generated code: VexilType, the base of every control class,
// which binds a record to a message buffer, and ASN1TPDU, the base of every
// top-level record, which keeps alive the context its parts were decoded
// into.
#ifndef VEXILTYPE_H
#define VEXILTYPE_H

#include "ASN1RtContext.h"
#include "VXRTMessageBuffer.h"
#include "rtContext.h"

class VexilType {
 protected:
   VXRTCtxtPtr mpContext;
   VXRTMessageBufferIF* mpMsgBuf;  // current buffer; never owned

 public:
   // A context of its own (an ASN1RtContext), no message buffer.
   VexilType();
   // Shares the given context; no message buffer.
   explicit VexilType(VXRTContext& ctxt);
   // Shares the buffer's context and keeps the buffer.
   explicit VexilType(VXRTMessageBufferIF& msgBuf);
   VexilType(const VexilType& o);
   VexilType& operator=(const VexilType& o) = default;
   virtual ~VexilType() {}

   // Encode / decode through the current message buffer.
   virtual int Encode();
   virtual int Decode(unsigned char initFlag = 0);
   // A type that is not a PDU has no codec: -108.
   virtual int EncodeTo(VXRTMessageBufferIF& msgBuf);
   virtual int DecodeFrom(VXRTMessageBufferIF& msgBuf, unsigned char initFlag = 0);
   virtual void MemFree() {}

   VXCTXT* getCtxtPtr() { return mpContext.getCtxtPtr(); }
   int getStatus() { return mpContext.isNull() ? 0 : mpContext->getStatus(); }

   void* memAlloc(size_t nbytes)
   {
      return mpContext.isNull() ? nullptr : mpContext->memAlloc(nbytes);
   }
   void* memRealloc(void* ptr, size_t nbytes)
   {
      return mpContext.isNull() ? nullptr : mpContext->memRealloc(ptr, nbytes);
   }
   void memFreePtr(void* ptr)
   {
      if (!mpContext.isNull()) mpContext->memFreePtr(ptr);
   }

   // With a buffer and a size, the report is written there. Otherwise it
   // comes in an operator new[] array owned by the caller; null if there is
   // no report.
   char* getErrorText(char* buf = nullptr, size_t size = 0);

   // Makes msgBuf the current buffer unless the context has a failure;
   // with initBuf, also initialises it. Returns the context's status.
   int setMsgBuf(VXRTMessageBufferIF& msgBuf, unsigned char initBuf = 0);
};

class ASN1TPDU {
 protected:
   VXRTCtxtPtr mpContext;

 public:
   ASN1TPDU() {}
   virtual ~ASN1TPDU() {}

   // The first context given stays; only a null one clears it.
   void setContext(VXRTContext* pContext);
   VXCTXT* getCtxtPtr() const { return mpContext.getCtxtPtr(); }
};

#endif
