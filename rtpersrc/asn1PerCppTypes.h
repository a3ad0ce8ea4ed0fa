// The PER message buffers: a context's buffer seen as a PER encoding, for
// writing (growing buffer of the context) or for reading (caller's bytes,
// not copied).
#ifndef ASN1PERCPPTYPES_H
#define ASN1PERCPPTYPES_H

#include "ASN1MessageBuffer.h"
#include "asn1per.h"

class ASN1PERMessageBuffer : public ASN1MessageBuffer {
 protected:
   // Without data: a growing buffer of the context, unless a stream feeds it.
   ASN1PERMessageBuffer(Type bufferType, bool aligned, VXRTContext* pContext = nullptr);
   // On the caller's bytes.
   ASN1PERMessageBuffer(Type bufferType, const uint8_t* pMsgBuf, size_t msgBufLen, bool aligned,
                        VXRTContext* pContext = nullptr);

 public:
   ~ASN1PERMessageBuffer() override {}

   size_t getMsgLen() override { return (size_t)pu_getMsgLen(getCtxtPtr()); }

   // New bytes for the buffer, keeping the aligned flag.
   int setBuffer(const uint8_t* pMsgBuf, size_t msgBufLen);
   bool isAligned() { return getCtxtPtr()->buffer.aligned != 0; }

   // The bit trace.
   void newBitField(const char* name) { PU_NEWFIELD(getCtxtPtr(), name); }
   void setBitFieldCount() { PU_SETBITCOUNT(getCtxtPtr()); }
   void binDump(const char* varname) { pu_bindump(getCtxtPtr(), varname); }
   bool setTrace(bool value) { return pu_setTrace(getCtxtPtr(), value); }

 private:
   void recordFailure(int stat);
};

class ASN1PEREncodeBuffer : public ASN1PERMessageBuffer {
 public:
   explicit ASN1PEREncodeBuffer(bool aligned) : ASN1PERMessageBuffer(PEREncode, aligned) {}
   ASN1PEREncodeBuffer(bool aligned, VXRTContext* pContext)
       : ASN1PERMessageBuffer(PEREncode, aligned, pContext)
   {
   }
   // A fixed buffer of the caller's, which can not grow.
   ASN1PEREncodeBuffer(uint8_t* pMsgBuf, size_t msgBufLen, bool aligned)
       : ASN1PERMessageBuffer(PEREncode, pMsgBuf, msgBufLen, aligned)
   {
   }
   ~ASN1PEREncodeBuffer() override {}

   int init() override;
   const uint8_t* getMsgPtr() override;
   // A copy in an operator new[] array owned by the caller; null on failure.
   uint8_t* getMsgCopy() override;
   bool isA(Type bufferType) override { return bufferType == PEREncode; }

   int byteAlign() { return pe_byte_align(getCtxtPtr()); }
   int encodeLength(uint64_t length, const Asn1SizeCnst* pSizeCnst = nullptr);
   int encodeBitOrOctStr(const uint8_t* data, uint64_t count, bool bitString,
                         const Asn1SizeCnst* pSizeCnst = nullptr);
};

class ASN1PERDecodeBuffer : public ASN1PERMessageBuffer {
 public:
   // The caller keeps the bytes alive while decoding.
   ASN1PERDecodeBuffer(const uint8_t* pMsgBuf, size_t msgBufLen, bool aligned)
       : ASN1PERMessageBuffer(PERDecode, pMsgBuf, msgBufLen, aligned)
   {
   }
   ASN1PERDecodeBuffer(const uint8_t* pMsgBuf, size_t msgBufLen, bool aligned,
                       VXRTContext* pContext)
       : ASN1PERMessageBuffer(PERDecode, pMsgBuf, msgBufLen, aligned, pContext)
   {
   }
   // Reads a whole file into the context's heap.
   ASN1PERDecodeBuffer(const char* fileName, bool aligned);
   ~ASN1PERDecodeBuffer() override {}

   bool isA(Type bufferType) override { return bufferType == PERDecode; }

   int byteAlign()
   {
      pd_byteAlign(getCtxtPtr());
      return 0;
   }
   int decodeBits(unsigned nbits, uint32_t& value)
   {
      return rtxDecBits(getCtxtPtr(), &value, nbits);
   }
   int decodeBits(uint64_t nbits, uint8_t* dest, size_t destSize)
   {
      return rtxDecBitsToByteArray(getCtxtPtr(), dest, destSize, nbits);
   }
   int decodeBytes(size_t nbytes, uint8_t* dest, size_t destSize)
   {
      return rtxDecBitsToByteArray(getCtxtPtr(), dest, destSize, (uint64_t)nbytes * 8);
   }
   int readBytes(uint8_t* buffer, size_t nbytes);
   // The byte at the cursor; the cursor goes back to where it was.
   int peekByte(uint8_t& value);
};

#endif
