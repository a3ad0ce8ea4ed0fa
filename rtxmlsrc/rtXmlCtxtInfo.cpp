// The XML information record of a context, its release and reset, and the
// writer settings kept in it.
#include <cctype>

#include "rtXmlInternal.h"
#include "rtXmlPull.h"
#include "rtxCharStr.h"
#include "rtxDList.h"
#include "rtxMemory.h"
#include "rtxStream.h"

namespace {

void freeText(VXCTXT* pctxt, char*& text)
{
   if (text != nullptr) rtxMemFreePtr(pctxt, text);
   text = nullptr;
}

int setText(VXCTXT* pctxt, char*& field, const char* text)
{
   freeText(pctxt, field);
   if (text == nullptr) return 0;
   field = rtxStrdup(pctxt, text);
   return field != nullptr ? 0 : XML_FAIL(pctxt, RTERR_NOMEM);
}

// What reset and release share: everything that belongs to one message.
void clearForNextMessage(VXCTXT* pctxt, XmlCtxtInfo* info)
{
   rtxMemBufReset(&info->memBuf);
   rtXmlNSRemoveAll(pctxt);
   freeText(pctxt, info->schemaLocation);
   freeText(pctxt, info->noNSSchemaLocation);
   freeText(pctxt, info->xsiTypeAttr);
   info->indent = 3;
   info->indentChar = ' ';
   info->encoding = VXXMLUTF8;
   info->encodingName = nullptr;
   info->nsURITable = nullptr;
   info->nsURICount = 0;
   if (info->attrsBuf != nullptr) rtxMemFreePtr(pctxt, info->attrsBuf);
   if (info->attrsAside) pctxt->buffer = info->savedBuffer;
   info->attrsAside = false;
   info->attrsBuf = nullptr;
   info->attrsBufSize = 0;
   info->attrStartPos = 0;
   rtxDListFreeAll(pctxt, &info->sortedAttrList);
}

}  // namespace

int rtXmlInitCtxtAppInfo(VXCTXT* pctxt)
{
   rtErrXmlInit();
   if (pctxt->pXMLInfo == nullptr) {
      XmlCtxtInfo* info =
         static_cast<XmlCtxtInfo*>(rtxMemHeapSysAllocZ(VX_HEAP(pctxt), sizeof(XmlCtxtInfo)));
      if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOMEM);
      info->fnFree = rtXmlFreeCtxtAppInfo;
      info->fnReset = rtXmlResetCtxtAppInfo;
      rtxDListInit(&info->namespaceList);
      rtxDListInit(&info->encodedNamespaces);
      rtxDListInit(&info->sortedAttrList);
      rtxMemBufInit(pctxt, &info->memBuf, 1024);
      info->indent = 3;
      info->indentChar = ' ';
      info->realFormat = 12;
      info->totalDigits = -1;
      info->fractionDigits = -1;
      pctxt->pXMLInfo = info;
   }
   pctxt->state = XMLSTATE_INITIAL;
   return 0;
}

int rtXmlResetCtxtAppInfo(VXCTXT* pctxt, void* pinfo)
{
   XmlCtxtInfo* info = static_cast<XmlCtxtInfo*>(pinfo);
   if (info == nullptr) return RTERR_NOTINIT;
   clearForNextMessage(pctxt, info);
   // The reader belongs to the release; reset only forgets it.
   info->pXmlReader = nullptr;
   return 0;
}

int rtXmlFreeCtxtAppInfo(VXCTXT* pctxt, void* pinfo)
{
   XmlCtxtInfo* info = static_cast<XmlCtxtInfo*>(pinfo);
   if (info == nullptr) return RTERR_NOTINIT;
   clearForNextMessage(pctxt, info);
   rtxMemBufFree(&info->memBuf);
   rtxDListFreeAll(pctxt, &info->namespaceList);
   rtxDListFreeNodes(pctxt, &info->encodedNamespaces);
   while (info->freeNameNodes != nullptr) {
      VXRTDListNode* next = info->freeNameNodes->next;
      rtxMemFreePtr(pctxt, info->freeNameNodes);
      info->freeNameNodes = next;
   }
   while (info->freeFrames != nullptr) {
      XmlNSFrame* next = info->freeFrames->next;
      rtxMemFreePtr(pctxt, info->freeFrames);
      info->freeFrames = next;
   }
   rtXmlpFreeReader(pctxt, info->pXmlReader);
   info->pXmlReader = nullptr;
   if (pctxt->pXMLInfo == info) pctxt->pXMLInfo = nullptr;
   return 0;
}

int rtXmlSetEncBufPtr(VXCTXT* pctxt, uint8_t* data, size_t size)
{
   if (data == nullptr && pctxt->pStream != nullptr) rtxStreamClose(pctxt);
   int stat = rtxInitContextBuffer(pctxt, data, size);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   if (pctxt->buffer.data != nullptr && pctxt->buffer.size > 0) pctxt->buffer.data[0] = 0;
   pctxt->flags |= VXCTXT_FLAG_BUFONLY;
   pctxt->state = XMLSTATE_INITIAL;
   return 0;
}

void rtXmlUpdateBOM(XmlCtxtInfo* info, uint32_t encoding)
{
   if (encoding == VXXMLUTF16 || encoding == VXXMLUTF16BE)
      info->bomKind = 3;
   else if (encoding == VXXMLUTF16LE)
      info->bomKind = 4;
}

int rtXmlSetEncoding(VXCTXT* pctxt, uint32_t encoding)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   if (encoding > VXXMLLATIN1) return XML_FAIL(pctxt, RTERR_NOTSUPP);
   info->encoding = encoding;
   if (info->bomKind == 0) rtXmlUpdateBOM(info, encoding);
   return 0;
}

int rtXmlSetEncodingStr(VXCTXT* pctxt, const char* encodingStr)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   info->encodingName = encodingStr;
   static const struct {
      const char* name;
      uint32_t code;
   } kNames[] = {{VXXMLHDRUTF16, VXXMLUTF16},
                 {VXXMLHDRUTF16BE, VXXMLUTF16BE},
                 {VXXMLHDRUTF16LE, VXXMLUTF16LE},
                 {VXXMLHDRLATIN1, VXXMLLATIN1}};
   char upper[17];
   size_t n = encodingStr != nullptr ? strlen(encodingStr) : 0;
   uint32_t code = VXXMLUTF8;
   if (n <= 16) {
      for (size_t i = 0; i < n; i++) upper[i] = (char)toupper((unsigned char)encodingStr[i]);
      upper[n] = 0;
      for (const auto& e : kNames)
         if (strcmp(upper, e.name) == 0) code = e.code;
   }
   info->encoding = code;
   if (info->bomKind == 0) rtXmlUpdateBOM(info, code);
   return 0;
}

int rtXmlSetWriteBOM(VXCTXT* pctxt, bool on)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   if (on)
      rtXmlUpdateBOM(info, info->encoding);
   else
      info->bomKind = 0;
   return 0;
}

int rtXmlSetIndent(VXCTXT* pctxt, uint8_t indent)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   info->indent = indent;
   return 0;
}

int rtXmlSetIndentChar(VXCTXT* pctxt, char indentChar)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   info->indentChar = indentChar;
   return 0;
}

int rtXmlSetFormatting(VXCTXT* pctxt, bool on) { return rtXmlSetIndent(pctxt, on ? 3 : 0); }

int rtXmlSetEncC14N(VXCTXT* pctxt, bool on)
{
   if (on) {
      pctxt->flags |= VXCTXT_FLAG_C14N;
      return rtXmlSetFormatting(pctxt, false);
   }
   pctxt->flags &= ~VXCTXT_FLAG_C14N;
   return 0;
}

int rtXmlSetEncXSINilAttr(VXCTXT* pctxt, bool on)
{
   if (on)
      pctxt->flags |= VXCTXT_FLAG_XSIATTR;
   else
      pctxt->flags &= ~VXCTXT_FLAG_XSIATTR;
   return 0;
}

int rtXmlSetEncDocHdr(VXCTXT* pctxt, bool on)
{
   if (on)
      pctxt->flags &= ~VXCTXT_FLAG_XMLFRAG;
   else
      pctxt->flags |= VXCTXT_FLAG_XMLFRAG;
   return 0;
}

int rtXmlSetDigitsFacets(VXCTXT* pctxt, int totalDigits, int fractionDigits)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   if (info->totalDigits < 0) info->totalDigits = totalDigits;
   if (info->fractionDigits < 0) info->fractionDigits = fractionDigits;
   return 0;
}

int rtXmlSetSchemaLocation(VXCTXT* pctxt, const char* text)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   return info != nullptr ? setText(pctxt, info->schemaLocation, text)
                          : XML_FAIL(pctxt, RTERR_NOTINIT);
}

int rtXmlSetNoNSSchemaLocation(VXCTXT* pctxt, const char* text)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   return info != nullptr ? setText(pctxt, info->noNSSchemaLocation, text)
                          : XML_FAIL(pctxt, RTERR_NOTINIT);
}

int rtXmlSetXSITypeAttr(VXCTXT* pctxt, const char* text)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   return info != nullptr ? setText(pctxt, info->xsiTypeAttr, text)
                          : XML_FAIL(pctxt, RTERR_NOTINIT);
}

int rtXmlSetNSURITable(VXCTXT* pctxt, const char* const* table, int32_t count)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   info->nsURITable = table;
   info->nsURICount = table != nullptr ? count : 0;
   return 0;
}
