// The PER message buffers.
#include "asn1PerCppTypes.h"

#include <cstdio>
#include <new>

#include "ASN1RtContext.h"
#include "rtxReadBytes.h"

void ASN1PERMessageBuffer::recordFailure(int stat)
{
   if (stat != 0) VX_LOG_ERR(getCtxtPtr(), stat);
}

// Without a shared context a buffer gets one with ASN.1 information.
static VXRTContext* contextOrNew(VXRTContext* pContext)
{
   return pContext != nullptr ? pContext : new ASN1RtContext();
}

ASN1PERMessageBuffer::ASN1PERMessageBuffer(Type bufferType, bool aligned, VXRTContext* pContext)
    : ASN1MessageBuffer(bufferType, contextOrNew(pContext))
{
   VXCTXT* pctxt = getCtxtPtr();
   if (!rtxCtxtHasLiveStream(pctxt))
      recordFailure(pu_setBuffer(pctxt, nullptr, 0, aligned));
   else
      pu_setAligned(pctxt, aligned);
}

ASN1PERMessageBuffer::ASN1PERMessageBuffer(Type bufferType, const uint8_t* pMsgBuf,
                                           size_t msgBufLen, bool aligned, VXRTContext* pContext)
    : ASN1MessageBuffer(bufferType, contextOrNew(pContext))
{
   recordFailure(pu_setBuffer(getCtxtPtr(), const_cast<uint8_t*>(pMsgBuf), msgBufLen, aligned));
}

int ASN1PERMessageBuffer::setBuffer(const uint8_t* pMsgBuf, size_t msgBufLen)
{
   int stat = getStatus();
   if (stat != 0) return stat;
   VXCTXT* pctxt = getCtxtPtr();
   return pu_setBuffer(pctxt, const_cast<uint8_t*>(pMsgBuf), msgBufLen, pctxt->buffer.aligned != 0);
}

int ASN1PEREncodeBuffer::init()
{
   int stat = getStatus();
   if (stat != 0) return stat;
   return pe_resetBuffer(getCtxtPtr());
}

const uint8_t* ASN1PEREncodeBuffer::getMsgPtr()
{
   if (getStatus() != 0) return nullptr;
   return pe_GetMsgPtr64(getCtxtPtr(), nullptr);
}

uint8_t* ASN1PEREncodeBuffer::getMsgCopy()
{
   if (getStatus() != 0) return nullptr;
   uint64_t len = 0;
   const uint8_t* msg = pe_GetMsgPtr64(getCtxtPtr(), &len);
   if (msg == nullptr) return nullptr;
   uint8_t* copy = new uint8_t[len != 0 ? len : 1];
   memcpy(copy, msg, (size_t)len);
   return copy;
}

int ASN1PEREncodeBuffer::encodeLength(uint64_t length, const Asn1SizeCnst* pSizeCnst)
{
   VXCTXT* pctxt = getCtxtPtr();
   int stat = pu_addSizeConstraint(pctxt, pSizeCnst);
   if (stat != 0) return stat;
   return pe_Length(pctxt, length);
}

int ASN1PEREncodeBuffer::encodeBitOrOctStr(const uint8_t* data, uint64_t count, bool bitString,
                                           const Asn1SizeCnst* pSizeCnst)
{
   VXCTXT* pctxt = getCtxtPtr();
   int stat = pu_addSizeConstraint(pctxt, pSizeCnst);
   if (stat != 0) return stat;
   return bitString ? pe_BitString(pctxt, count, data) : pe_OctetString(pctxt, count, data);
}

// Reads a whole file into a block of the context's heap; the block lives as
// long as the context. *pdata stays null on failure.
static int readBinaryFile(VXCTXT* pctxt, const char* fileName, uint8_t** pdata, size_t* plen)
{
   *pdata = nullptr;
   *plen = 0;
   FILE* fp = fileName ? fopen(fileName, "rb") : nullptr;
   if (fp == nullptr) return RTERR_FILNOTFOU;
   int stat = 0;
   long len = -1;
   if (fseek(fp, 0, SEEK_END) == 0) len = ftell(fp);
   if (len < 0 || fseek(fp, 0, SEEK_SET) != 0) {
      stat = RTERR_READERR;
   } else {
      uint8_t* data = (uint8_t*)rtxMemAlloc(pctxt, len != 0 ? (size_t)len : 1);
      if (data == nullptr) {
         stat = RTERR_NOMEM;
      } else if (fread(data, 1, (size_t)len, fp) != (size_t)len) {
         rtxMemFreePtr(pctxt, data);
         stat = RTERR_READERR;
      } else {
         *pdata = data;
         *plen = (size_t)len;
      }
   }
   fclose(fp);
   return stat;
}

ASN1PERDecodeBuffer::ASN1PERDecodeBuffer(const char* fileName, bool aligned)
    : ASN1PERMessageBuffer(PERDecode, nullptr, 0, aligned)
{
   VXCTXT* pctxt = getCtxtPtr();
   uint8_t* data;
   size_t len;
   int stat = readBinaryFile(pctxt, fileName, &data, &len);
   if (stat == 0) stat = pu_setBuffer(pctxt, data, len, aligned);
   if (stat != 0) getContextObj()->setStatus(stat);
}

int ASN1PERDecodeBuffer::readBytes(uint8_t* buffer, size_t nbytes)
{
   return rtxReadBytes(getCtxtPtr(), buffer, nbytes);
}

int ASN1PERDecodeBuffer::peekByte(uint8_t& value)
{
   VXCTXT* pctxt = getCtxtPtr();
   VXRTBuffer saved = pctxt->buffer;
   int stat = rtxDecBitsToByte(pctxt, &value, 8);
   pctxt->buffer.byteIndex = saved.byteIndex;
   pctxt->buffer.bitOffset = saved.bitOffset;
   return stat;
}
