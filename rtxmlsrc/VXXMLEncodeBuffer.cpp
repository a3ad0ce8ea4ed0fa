#include "VXXMLBuffers.h"

#include "rtXmlInternal.h"

VXXMLMessageBuffer::VXXMLMessageBuffer(Type bufferType, VXRTContext* pContext)
    : VXRTMessageBuffer(bufferType, pContext)
{
   if (getStatus() == 0) {
      rtXmlInitCtxtAppInfo(getCtxtPtr());
      rtErrXmlInit();
   }
}

void* VXXMLMessageBuffer::getAppInfo() { return getCtxtPtr()->pXMLInfo; }

void VXXMLMessageBuffer::setNamespace(const char* uri, const char* prefix)
{
   rtXmlNSAddNamespace(getCtxtPtr(), nullptr, prefix, uri);
}

// Takes over the settings of another buffer's record.
void VXXMLMessageBuffer::setAppInfo(void* pAppInfo)
{
   const XmlCtxtInfo* from = static_cast<const XmlCtxtInfo*>(pAppInfo);
   XmlCtxtInfo* to = rtXmlGetCtxtInfo(getCtxtPtr());
   if (from == nullptr || to == nullptr || from == to) return;
   to->encoding = from->encoding;
   to->encodingName = from->encodingName;
   to->bomKind = from->bomKind;
   to->indent = from->indent;
   to->indentChar = from->indentChar;
   to->totalDigits = from->totalDigits;
   to->fractionDigits = from->fractionDigits;
   to->nsURITable = from->nsURITable;
   to->nsURICount = from->nsURICount;
   for (VXRTDListNode* n = from->namespaceList.head; n != nullptr; n = n->next) {
      const VXXMLNamespace* ns = static_cast<const VXXMLNamespace*>(n->data);
      rtXmlNSAddNamespace(getCtxtPtr(), nullptr, ns->prefix, ns->uri);
   }
}

int VXXMLMessageBuffer::getIndent()
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(getCtxtPtr());
   return info != nullptr ? info->indent : -1;
}

int VXXMLMessageBuffer::getIndentChar()
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(getCtxtPtr());
   return info != nullptr ? info->indentChar : -1;
}

bool VXXMLMessageBuffer::getWriteBOM()
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(getCtxtPtr());
   return info != nullptr && info->bomKind != 0;
}

void VXXMLMessageBuffer::setFormatting(bool doFormatting)
{
   rtXmlSetFormatting(getCtxtPtr(), doFormatting);
}
void VXXMLMessageBuffer::setIndent(uint8_t indent) { rtXmlSetIndent(getCtxtPtr(), indent); }
void VXXMLMessageBuffer::setIndentChar(char indentChar)
{
   rtXmlSetIndentChar(getCtxtPtr(), indentChar);
}
void VXXMLMessageBuffer::setWriteBOM(bool write) { rtXmlSetWriteBOM(getCtxtPtr(), write); }

int VXXMLEncodeBase::encodeAttr(const char* name, const char* value)
{
   return rtXmlEncUTF8Attr2(getCtxtPtr(), name, name != nullptr ? strlen(name) : 0, value,
                            value != nullptr ? strlen(value) : 0);
}

VXXMLEncodeBuffer::VXXMLEncodeBuffer() : VXXMLEncodeBase(nullptr)
{
   rtXmlSetEncBufPtr(getCtxtPtr(), nullptr, 0);
}

VXXMLEncodeBuffer::VXXMLEncodeBuffer(uint8_t* pMsgBuf, size_t msgBufLen) : VXXMLEncodeBase(nullptr)
{
   rtXmlSetEncBufPtr(getCtxtPtr(), pMsgBuf, msgBufLen);
}

int VXXMLEncodeBuffer::addXMLHeader(const char* version, const char* encoding, bool newLine)
{
   if (version == nullptr || encoding == nullptr) return 0;
   VXCTXT* pctxt = getCtxtPtr();
   int stat = rtXmlEncBOM(pctxt);
   if (stat == 0) stat = rtXmlWriteChars(pctxt, "<?xml version=\"", 15);
   if (stat == 0) stat = rtXmlWriteChars(pctxt, version, strlen(version));
   if (stat == 0) stat = rtXmlWriteChars(pctxt, "\" encoding=\"", 12);
   if (stat == 0) stat = rtXmlWriteChars(pctxt, encoding, strlen(encoding));
   if (stat == 0) stat = rtXmlWriteChars(pctxt, "\"?>", 3);
   if (stat == 0 && newLine) stat = rtXmlWriteChars(pctxt, "\n", 1);
   if (stat != 0) return stat;
   setFragment(true);
   return 0;
}

int VXXMLEncodeBuffer::addXMLText(const char* text)
{
   if (text == nullptr) return 0;
   return rtXmlWriteChars(getCtxtPtr(), text, strlen(text));
}

int VXXMLEncodeBuffer::init()
{
   VXCTXT* pctxt = getCtxtPtr();
   pctxt->buffer.byteIndex = 0;
   pctxt->state = XMLSTATE_INITIAL;
   return 0;
}

void VXXMLEncodeBuffer::setFragment(bool value) { rtXmlSetEncDocHdr(getCtxtPtr(), !value); }

int VXXMLEncodeBuffer::write(FILE* fp) { return writeMsg(fp); }

int VXXMLEncodeBuffer::write(const char* filename) { return writeMsg(filename); }
