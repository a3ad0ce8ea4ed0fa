// XML writer, canonical form: the attributes of an open start tag are
// written into a side buffer and come out sorted when the tag closes.
// Namespace declarations come first (the default one, then by prefix), then
// attributes without prefix by name, then those with a prefix by namespace
// URI and local name; names compare byte-wise, a shorter equal head first.
#include "rtXmlInternal.h"
#include "rtxDList.h"
#include "rtxMemory.h"

namespace {

constexpr size_t kSideBufferSize = 512;

// One attribute in the side buffer: " qname="value"".
struct C14NAttr {
   size_t offset;
   size_t length;
   size_t prefixLen;  // 0: no prefix
   size_t localLen;
};

enum { kDefaultNSDecl, kPrefixedNSDecl, kPlainAttr, kPrefixedAttr };

const char* qnameOf(const uint8_t* base, const C14NAttr* a)
{
   return (const char*)base + a->offset + 1;  // behind the blank
}

int category(const uint8_t* base, const C14NAttr* a)
{
   const char* q = qnameOf(base, a);
   if (a->prefixLen == 0) {
      return (a->localLen == 5 && memcmp(q, "xmlns", 5) == 0) ? kDefaultNSDecl : kPlainAttr;
   }
   return (a->prefixLen == 5 && memcmp(q, "xmlns", 5) == 0) ? kPrefixedNSDecl : kPrefixedAttr;
}

int compareBytes(const char* a, size_t aLen, const char* b, size_t bLen)
{
   int c = memcmp(a, b, aLen < bLen ? aLen : bLen);
   if (c != 0) return c;
   return aLen < bLen ? -1 : aLen > bLen ? 1 : 0;
}

int compareAttrs(const void* pa, const void* pb, const void* sortCtxt)
{
   VXCTXT* pctxt = const_cast<VXCTXT*>(static_cast<const VXCTXT*>(sortCtxt));
   const uint8_t* base = pctxt->buffer.data;
   const C14NAttr* a = static_cast<const C14NAttr*>(pa);
   const C14NAttr* b = static_cast<const C14NAttr*>(pb);
   int ca = category(base, a), cb = category(base, b);
   if (ca != cb) return ca < cb ? -1 : 1;
   const char* qa = qnameOf(base, a);
   const char* qb = qnameOf(base, b);
   if (ca == kPrefixedAttr) {
      const char* ua = rtXmlNSLookupPrefixFrag(pctxt, qa, a->prefixLen);
      const char* ub = rtXmlNSLookupPrefixFrag(pctxt, qb, b->prefixLen);
      int c = compareBytes(ua ? ua : "", ua ? strlen(ua) : 0, ub ? ub : "", ub ? strlen(ub) : 0);
      if (c != 0) return c;
   }
   size_t skipA = a->prefixLen > 0 ? a->prefixLen + 1 : 0;
   size_t skipB = b->prefixLen > 0 ? b->prefixLen + 1 : 0;
   return compareBytes(qa + skipA, a->localLen, qb + skipB, b->localLen);
}

}  // namespace

int rtXmlEncStartAttrC14N(VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   if (info->attrsBuf == nullptr) {
      info->attrsBuf = static_cast<uint8_t*>(rtxMemAlloc(pctxt, kSideBufferSize));
      if (info->attrsBuf == nullptr) return XML_FAIL(pctxt, RTERR_NOMEM);
      info->attrsBufSize = kSideBufferSize;
   }
   rtxDListFreeAll(pctxt, &info->sortedAttrList);
   info->savedBuffer = pctxt->buffer;
   info->savedFlags = pctxt->flags;
   VXRTBuffer& buf = pctxt->buffer;
   buf.data = info->attrsBuf;
   buf.size = info->attrsBufSize;
   buf.byteIndex = 0;
   buf.bitOffset = 8;
   buf.dynamic = 1;
   buf.aligned = 0;
   pctxt->flags = (pctxt->flags & ~VXCTXT_FLAG_SYSBUF) | VXCTXT_FLAG_BUFONLY;
   info->attrStartPos = 0;
   info->attrsAside = true;
   return 0;
}

int rtXmlEncAttrC14N(VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   C14NAttr* a = rtxMemAllocTypeZ(pctxt, C14NAttr);
   if (a == nullptr) return XML_FAIL(pctxt, RTERR_NOMEM);
   // The side buffer may have grown while the attribute was written.
   info->attrsBuf = pctxt->buffer.data;
   info->attrsBufSize = pctxt->buffer.size;
   a->offset = info->attrStartPos;
   a->length = pctxt->buffer.byteIndex - info->attrStartPos;
   const uint8_t* q = pctxt->buffer.data + a->offset + 1;
   size_t nameLen = 0;
   while (a->offset + 1 + nameLen < pctxt->buffer.byteIndex && q[nameLen] != '=') nameLen++;
   const void* colon = memchr(q, ':', nameLen);
   a->prefixLen = colon != nullptr ? (size_t)((const uint8_t*)colon - q) : 0;
   a->localLen = colon != nullptr ? nameLen - a->prefixLen - 1 : nameLen;
   if (rtxDListInsertSorted(pctxt, &info->sortedAttrList, a, compareAttrs, pctxt) == nullptr) {
      rtxMemFreePtr(pctxt, a);
      return XML_FAIL(pctxt, RTERR_NOMEM);
   }
   info->attrStartPos = pctxt->buffer.byteIndex;
   return 0;
}

int rtXmlEncEndAttrC14N(VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   if (!info->attrsAside) return 0;
   info->attrsAside = false;
   info->attrsBuf = pctxt->buffer.data;
   info->attrsBufSize = pctxt->buffer.size;
   pctxt->buffer = info->savedBuffer;
   pctxt->flags = info->savedFlags;
   int stat = 0;
   for (VXRTDListNode* n = info->sortedAttrList.head; n != nullptr && stat == 0; n = n->next) {
      const C14NAttr* a = static_cast<const C14NAttr*>(n->data);
      stat = rtxCheckOutputBuffer(pctxt, a->length + 1);
      if (stat == 0) {
         memcpy(pctxt->buffer.data + pctxt->buffer.byteIndex, info->attrsBuf + a->offset,
                a->length);
         pctxt->buffer.byteIndex += a->length;
         xmlTerminate(pctxt);
      }
   }
   rtxDListFreeAll(pctxt, &info->sortedAttrList);
   return stat != 0 ? XML_FAIL(pctxt, stat) : 0;
}
