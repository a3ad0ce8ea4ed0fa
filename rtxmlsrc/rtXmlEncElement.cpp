// XML writer: output primitives, the declaration, indentation, start and
// end tags with the short form of an element without content, and the
// attributes a start tag may carry.
#include "rtXmlInternal.h"
#include "rtxDList.h"
#include "rtxMemory.h"
#include "rtxStream.h"
#include "rtxUTF8.h"

int xmlWriteAscii(VXCTXT* pctxt, const char* text, size_t n)
{
   int stat = xmlReserve(pctxt, n);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   xmlPutRaw(pctxt, text, n);
   xmlTerminate(pctxt);
   return 0;
}

int rtXmlCheckBuffer(VXCTXT* pctxt, size_t nbytes)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   uint32_t enc = info != nullptr ? info->encoding : VXXMLUTF8;
   size_t need = enc == VXXMLUTF8 || enc == VXXMLLATIN1 ? nbytes
                 : enc <= VXXMLUTF16LE                  ? 2 * nbytes
                                                        : 0;
   return rtxCheckOutputBuffer(pctxt, need);
}

int rtXmlPutChar(VXCTXT* pctxt, char ch)
{
   int stat = rtxCheckOutputBuffer(pctxt, xmlUnitSize(pctxt));
   if (stat != 0) return XML_FAIL(pctxt, RTERR_BUFOVFLW);
   xmlPutRaw(pctxt, &ch, 1);
   return 0;
}

int rtXmlWriteChars(VXCTXT* pctxt, const char* text, size_t length)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   int stat;
   switch (info != nullptr ? info->encoding : VXXMLUTF8) {
      case VXXMLUTF16:
         stat = rtxStreamUTF8ToUTF16(pctxt, text, length);
         break;
      case VXXMLUTF16BE:
         stat = rtxStreamUTF8ToUTF16BE(pctxt, text, length);
         break;
      case VXXMLUTF16LE:
         stat = rtxStreamUTF8ToUTF16LE(pctxt, text, length);
         break;
      case VXXMLLATIN1:
         stat = rtxStreamUTF8ToLatin1(pctxt, text, length);
         break;
      default:
         stat = rtxWriteBytes(pctxt, (const uint8_t*)text, length);
         break;
   }
   return stat < 0 ? XML_FAIL(pctxt, stat) : 0;
}

int rtXmlEncBOM(VXCTXT* pctxt)
{
   static const uint8_t kMarks[6][4] = {
      {0},          {0x00, 0x00, 0xFE, 0xFF}, {0xFF, 0xFE, 0x00, 0x00}, {0xFE, 0xFF},
      {0xFF, 0xFE}, {0xEF, 0xBB, 0xBF}};
   static const uint8_t kLengths[6] = {0, 4, 4, 2, 2, 3};
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   uint32_t kind = info->bomKind;
   if (kind == 0 || kind > 5) return 0;
   // The mark goes out as bytes, whatever the encoding.
   int stat = rtxCheckOutputBuffer(pctxt, kLengths[kind]);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   memcpy(pctxt->buffer.data + pctxt->buffer.byteIndex, kMarks[kind], kLengths[kind]);
   pctxt->buffer.byteIndex += kLengths[kind];
   return 0;
}

int rtXmlEncStartDocument(VXCTXT* pctxt)
{
   if (pctxt->state != XMLSTATE_INITIAL) return 0;
   pctxt->level = 0;
   if (pctxt->pStream != nullptr) pctxt->pStream->bytesProcessed = 0;
   if (pctxt->flags & VXCTXT_FLAG_XMLFRAG) return 0;
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   rtxDListFreeNodes(pctxt, &info->encodedNamespaces);
   if (pctxt->flags & VXCTXT_FLAG_C14N) return 0;
   int stat = rtXmlEncBOM(pctxt);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   static const char kHead[] = "<?xml version=\"1.0\" encoding=\"";
   const char* name = info->encodingName != nullptr ? info->encodingName : VXXMLHDRUTF8;
   size_t nameLen = strlen(name);
   stat = xmlReserve(pctxt, sizeof kHead - 1 + nameLen + 3);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   xmlPutRaw(pctxt, kHead, sizeof kHead - 1);
   xmlPutRaw(pctxt, name, nameLen);
   xmlPutRaw(pctxt, "\"?>", 3);
   xmlTerminate(pctxt);
   pctxt->state = XMLSTATE_HEADER;
   return 0;
}

int rtXmlEncIndent(VXCTXT* pctxt)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   if ((pctxt->flags & (VXCTXT_FLAG_C14N | VXCTXT_FLAG_NOXMLNS)) ==
       (VXCTXT_FLAG_C14N | VXCTXT_FLAG_NOXMLNS))
      return 0;
   if (info->indent == 0) return 0;
   size_t width = (size_t)pctxt->level * info->indent;
   int stat = xmlReserve(pctxt, width + 1);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   if (pctxt->state != XMLSTATE_INITIAL) xmlPutRaw(pctxt, "\n", 1);
   xmlPutRepeat(pctxt, info->indentChar, width);
   xmlTerminate(pctxt);
   return 0;
}

int rtXmlEncXSINilAttr(VXCTXT* pctxt)
{
   static const char kNil[] = " xsi:nil=\"true\"";
   return xmlWriteAscii(pctxt, kNil, sizeof kNil - 1);
}

// The prefix a start or end tag carries for the namespace, or null.
static const char* tagPrefix(VXCTXT* pctxt, VXXMLNamespace* pNS, bool startTag)
{
   if (pNS == nullptr) return nullptr;
   bool emptyURI = pNS->uri == nullptr || pNS->uri[0] == 0;
   if (pNS->prefix != nullptr || !startTag) {
      if (pNS->prefix == nullptr && !emptyURI) return rtXmlNSGetPrefix(pctxt, pNS->uri);
      return pNS->prefix;
   }
   if (emptyURI) {
      pNS->prefix = "";
      return pNS->prefix;
   }
   const char* prefix = rtXmlNSGetPrefix(pctxt, pNS->uri);
   if (prefix == nullptr) prefix = rtXmlNSNewPrefix(pctxt, pNS->uri, nullptr);
   return prefix;
}

// "prefix:name", or the name alone, at p as bytes.
static uint8_t* putQName(uint8_t* p, const char* prefix, size_t prefixLen, const char* name,
                         size_t nameLen)
{
   if (prefixLen > 0) {
      p = xmlCopyName(p, prefix, prefixLen);
      *p++ = ':';
   }
   return xmlCopyName(p, name, nameLen);
}

// A tag in any output encoding: the opening text, the qualified name and
// the closing text.
static int putTag(VXCTXT* pctxt, const char* open, const char* prefix, size_t prefixLen,
                  const char* name, size_t nameLen, const char* close)
{
   size_t openLen = strlen(open), closeLen = strlen(close);
   int stat = xmlReserve(pctxt, openLen + prefixLen + 1 + nameLen + closeLen);
   if (stat != 0) return stat;
   xmlPutRaw(pctxt, open, openLen);
   if (prefixLen > 0) {
      xmlPutRaw(pctxt, prefix, prefixLen);
      xmlPutRaw(pctxt, ":", 1);
   }
   xmlPutRaw(pctxt, name, nameLen);
   xmlPutRaw(pctxt, close, closeLen);
   xmlTerminate(pctxt);
   return 0;
}

int rtXmlEncStartElement(VXCTXT* pctxt, const char* elemName, VXXMLNamespace* pNS,
                         VXRTDList* pNSAttrs, bool terminate)
{
   int stat = 0;
   if (elemName == nullptr || elemName[0] == 0) {
      if (terminate) stat = rtXmlEncTermStartElement(pctxt);
      pctxt->flags &= ~VXCTXT_FLAG_XSIATTR;
      return stat;
   }
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   VX_ASSERT(0 != info);
   size_t nameLen = strlen(elemName);
   if ((stat = rtXmlNSPush(pctxt)) != 0) return XML_FAIL(pctxt, stat);
   if ((pNSAttrs != nullptr && pNSAttrs->count > 0) || info->namespaceList.count > 0) {
      if ((stat = rtXmlSetNSPrefixLinks(pctxt, pNSAttrs)) != 0) return XML_FAIL(pctxt, stat);
   }

   const char* prefix = tagPrefix(pctxt, pNS, true);
   size_t prefixLen = prefix != nullptr ? strlen(prefix) : 0;

   if (xmlPlainMarkup(pctxt, info)) {
      // The parent's ">", the break, the indentation and this tag at once.
      bool close = pctxt->state == XMLSTATE_SOE && (pctxt->flags & VXCTXT_FLAG_XMLTAGOPEN) != 0;
      size_t width = info->indent != 0 ? (size_t)pctxt->level * info->indent : 0;
      if ((stat = rtxCheckOutputBuffer(pctxt, 5 + width + prefixLen + nameLen + 1)) != 0)
         return XML_FAIL(pctxt, stat);
      uint8_t* start = pctxt->buffer.data + pctxt->buffer.byteIndex;
      uint8_t* p = start;
      if (close) *p++ = '>';
      p = xmlPutBreak(pctxt, info, p, width);
      *p++ = '<';
      p = putQName(p, prefix, prefixLen, elemName, nameLen);
      if (terminate) *p++ = '>';
      *p = 0;
      pctxt->buffer.byteIndex += (size_t)(p - start);
      pctxt->lastChar = p[-1];
      pctxt->level++;
      pctxt->state = XMLSTATE_SOE;
      if (terminate)
         pctxt->flags &= ~VXCTXT_FLAG_XMLTAGOPEN;
      else
         pctxt->flags |= VXCTXT_FLAG_XMLTAGOPEN;
   } else {
      if ((stat = rtXmlEncTermStartElement(pctxt)) != 0) return XML_FAIL(pctxt, stat);
      if ((stat = rtXmlEncIndent(pctxt)) != 0) return XML_FAIL(pctxt, stat);
      pctxt->level++;
      pctxt->state = XMLSTATE_SOE;

      if ((stat = putTag(pctxt, "<", prefix, prefixLen, elemName, nameLen, "")) != 0)
         return XML_FAIL(pctxt, stat);
      if (pctxt->flags & VXCTXT_FLAG_XSIATTR) {
         // The attribute belongs to this one start tag.
         pctxt->flags &= ~VXCTXT_FLAG_XSIATTR;
         if ((stat = rtXmlEncXSINilAttr(pctxt)) != 0) return XML_FAIL(pctxt, stat);
      }
      if (terminate) {
         if ((stat = xmlWriteAscii(pctxt, ">", 1)) != 0) return XML_FAIL(pctxt, stat);
         pctxt->flags &= ~VXCTXT_FLAG_XMLTAGOPEN;
      } else {
         pctxt->flags |= VXCTXT_FLAG_XMLTAGOPEN;
      }
   }
   VXRTDListNode* node = info->freeNameNodes;
   if (node != nullptr)
      info->freeNameNodes = node->next;
   else if ((node = rtxMemAllocType(pctxt, VXRTDListNode)) == nullptr)
      return XML_FAIL(pctxt, RTERR_NOMEM);
   node->data = (void*)elemName;
   rtxDListAppendNode(&pctxt->elemNameStack, node);
   if (!terminate &&
       (pctxt->flags & (VXCTXT_FLAG_C14N | VXCTXT_FLAG_NOXMLNS)) == VXCTXT_FLAG_C14N) {
      if ((stat = rtXmlEncStartAttrC14N(pctxt)) != 0) return XML_FAIL(pctxt, stat);
   }
   return 0;
}

int rtXmlEncTermStartElement(VXCTXT* pctxt)
{
   if (pctxt->state != XMLSTATE_SOE || (pctxt->flags & VXCTXT_FLAG_XMLTAGOPEN) == 0) return 0;
   int stat;
   if ((pctxt->flags & (VXCTXT_FLAG_C14N | VXCTXT_FLAG_NOXMLNS)) == VXCTXT_FLAG_C14N) {
      if ((stat = rtXmlEncEndAttrC14N(pctxt)) != 0) return XML_FAIL(pctxt, stat);
   }
   if (pctxt->flags & VXCTXT_FLAG_XMLEMPTYTAG)
      stat = xmlWriteAscii(pctxt, "/>", 2);
   else
      stat = xmlWriteAscii(pctxt, ">", 1);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   pctxt->flags &= ~(VXCTXT_FLAG_XMLEMPTYTAG | VXCTXT_FLAG_XMLTAGOPEN);
   return 0;
}

// Closes the level of the element just ended: the namespaces written for
// it, its prefix frame and its name (whose node is kept for the next one).
static void closeLevel(VXCTXT* pctxt, XmlCtxtInfo* info)
{
   VXRTDList& encoded = info->encodedNamespaces;
   uint64_t mark = info->nsFrameTop != nullptr ? info->nsFrameTop->encodedMark : 0;
   while (encoded.count > mark) rtxDListFreeNode(pctxt, &encoded, encoded.tail);
   rtXmlNSPop(pctxt);
   VXRTDListNode* node = pctxt->elemNameStack.tail;
   if (node != nullptr) {
      rtxDListRemove(&pctxt->elemNameStack, node);
      node->next = info->freeNameNodes;
      info->freeNameNodes = node;
   }
}

int rtXmlEncEndElement(VXCTXT* pctxt, const char* elemName, VXXMLNamespace* pNS)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   VX_ASSERT(0 != info);
   if (elemName == nullptr || elemName[0] == 0) return 0;
   VX_ASSERT(pctxt->elemNameStack.count > 0);
   const char* openName = static_cast<const char*>(pctxt->elemNameStack.tail->data);
   if (openName != elemName && strcmp(openName, elemName) != 0) {
      rtxErrAddStrParm(pctxt, openName);
      rtxErrAddStrParm(pctxt, elemName);
      VX_LOG_ERRNEW(pctxt, RTERR_IDNOTFOU);
   }
   int stat;
   size_t nameLen = strlen(elemName);
   bool shortForm = pctxt->state == XMLSTATE_SOE && ((pctxt->flags & VXCTXT_FLAG_NOXMLNS) ||
                                                     (pctxt->flags & VXCTXT_FLAG_C14N) == 0);
   if (shortForm) {
      // "<a>" followed at once by its end becomes "<a/>": step back over
      // a ">" already written.
      if ((pctxt->flags & VXCTXT_FLAG_XMLTAGOPEN) == 0 && pctxt->buffer.byteIndex != 0)
         pctxt->buffer.byteIndex -= xmlUnitSize(pctxt) < pctxt->buffer.byteIndex
                                       ? xmlUnitSize(pctxt)
                                       : pctxt->buffer.byteIndex;
      if ((stat = xmlWriteAscii(pctxt, "/>", 2)) != 0) return XML_FAIL(pctxt, stat);
      pctxt->flags &= ~(VXCTXT_FLAG_XMLEMPTYTAG | VXCTXT_FLAG_XMLTAGOPEN);
      pctxt->state = XMLSTATE_EOE;
      pctxt->level--;
   } else {
      const char* prefix = tagPrefix(pctxt, pNS, false);
      size_t prefixLen = prefix != nullptr ? strlen(prefix) : 0;
      bool close = pctxt->state == XMLSTATE_SOE && (pctxt->flags & VXCTXT_FLAG_XMLTAGOPEN);
      // Only an element that held elements or a comment ends on a line of its own.
      bool own = pctxt->state == XMLSTATE_EOE || pctxt->state == XMLSTATE_COMMENT;
      if (xmlPlainMarkup(pctxt, info)) {
         pctxt->level--;
         size_t width = own && info->indent != 0 ? (size_t)pctxt->level * info->indent : 0;
         if ((stat = rtxCheckOutputBuffer(pctxt, 6 + width + prefixLen + nameLen + 1)) != 0)
            return XML_FAIL(pctxt, stat);
         uint8_t* start = pctxt->buffer.data + pctxt->buffer.byteIndex;
         uint8_t* p = start;
         if (close) *p++ = '>';
         if (own) p = xmlPutBreak(pctxt, info, p, width);
         *p++ = '<';
         *p++ = '/';
         p = putQName(p, prefix, prefixLen, elemName, nameLen);
         *p++ = '>';
         *p = 0;
         pctxt->buffer.byteIndex += (size_t)(p - start);
         pctxt->lastChar = '>';
         pctxt->flags &= ~VXCTXT_FLAG_XMLTAGOPEN;
      } else {
         if (close && (stat = rtXmlEncTermStartElement(pctxt)) != 0) return XML_FAIL(pctxt, stat);
         pctxt->level--;
         if (own && (stat = rtXmlEncIndent(pctxt)) != 0) return XML_FAIL(pctxt, stat);
         if ((stat = putTag(pctxt, "</", prefix, prefixLen, elemName, nameLen, ">")) != 0)
            return XML_FAIL(pctxt, stat);
      }
      pctxt->state = XMLSTATE_EOE;
   }
   closeLevel(pctxt, info);
   return 0;
}

int rtXmlEncEmptyElement(VXCTXT* pctxt, const char* elemName, VXXMLNamespace* pNS,
                         VXRTDList* pNSAttrs, bool terminate)
{
   if (elemName == nullptr) return 0;
   int stat = rtXmlEncStartElement(pctxt, elemName, pNS, pNSAttrs, false);
   if (stat == 0) stat = rtXmlEncNSAttrs(pctxt, pNSAttrs);
   if (stat == 0 && terminate) stat = rtXmlEncEndElement(pctxt, elemName, pNS);
   return stat < 0 ? XML_FAIL(pctxt, stat) : stat;
}

int rtXmlEncUTF8Attr2(VXCTXT* pctxt, const char* name, size_t nameLen, const char* value,
                      size_t valueLen)
{
   int stat = xmlReserve(pctxt, nameLen + 3);
   if (stat != 0) return XML_FAIL(pctxt, stat);
   xmlPutRaw(pctxt, " ", 1);
   xmlPutRaw(pctxt, name, nameLen);
   xmlPutRaw(pctxt, "=\"", 2);
   uint8_t oldState = pctxt->state;
   pctxt->state = XMLSTATE_ATTR;
   stat = rtXmlEncStringValue2(pctxt, value, valueLen);
   pctxt->state = oldState;
   if (stat != 0) return XML_FAIL(pctxt, stat);
   if ((stat = xmlWriteAscii(pctxt, "\"", 1)) != 0) return XML_FAIL(pctxt, stat);
   if (rtXmlGetCtxtInfo(pctxt) != nullptr && rtXmlGetCtxtInfo(pctxt)->attrsAside) {
      if ((stat = rtXmlEncAttrC14N(pctxt)) != 0) return XML_FAIL(pctxt, stat);
   }
   return 0;
}
