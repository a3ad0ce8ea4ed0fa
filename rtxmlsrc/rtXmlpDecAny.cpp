// XML decoding layer: kept content. Unknown elements are rebuilt as text
// from the input bytes (comments and CDATA markers kept, references as
// written, line ends as line feeds) and travel as open types; the writers
// here put such text back, or write octets in hexadecimal.
#include "rtXmlDec.h"
#include "rtXmlInternal.h"
#include "rtXmlPullInternal.h"
#include "rtxBuffer.h"
#include "rtxHexStr.h"
#include "rtxMemory.h"
#include "rtxUTF8.h"

namespace {

// A growing heap text, NUL-terminated while it grows.
struct KeptText {
   VXCTXT* pctxt;
   bool build;
   char* text = nullptr;
   size_t len = 0, cap = 0;

   int add(const void* p, size_t n)
   {
      if (!build) return 0;
      if (len + n + 1 > cap) {
         size_t grown = cap < 128 ? 128 : cap;
         while (grown < len + n + 1) grown *= 2;
         char* t = static_cast<char*>(rtxMemRealloc(pctxt, text, grown));
         if (t == nullptr) return RTERR_NOMEM;
         text = t;
         cap = grown;
      }
      if (n > 0) memcpy(text + len, p, n);
      len += n;
      text[len] = 0;
      return 0;
   }
   int add(const char* s) { return add(s, strlen(s)); }
};

// The bytes of the current token, from its first byte up to the reader.
int addToken(KeptText* t, XmlReader* r, const char* opening)
{
   uint64_t n = 0;
   const uint8_t* p = rtXmlRdGetPtr(r, 0, &n);
   int stat = t->add(opening);
   return stat != 0 ? stat : t->add(p, (size_t)n);
}

// Adds the current event; *pdone is set at the end tag of `level`.
int keepEvent(KeptText* t, XmlReader* r, uint32_t level, bool copyEnd, bool* inCData,
              bool* emptyOpen, bool* pdone)
{
   switch (rtXmlRdEvent(r)) {
      case XMLRD_STARTTAG:
         // An empty tag's "/>" is in its bytes; its end event adds nothing.
         *emptyOpen = r->emptyElement != 0;
         return addToken(t, r, "<");
      case XMLRD_ENDTAG: {
         bool synthetic = *emptyOpen;
         *emptyOpen = false;
         *pdone = r->lastEventLevel == level;
         if (synthetic || (*pdone && !copyEnd)) return 0;
         return addToken(t, r, "</");
      }
      case XMLRD_COMMENT: {
         int stat = t->add("<!--");
         if (stat == 0) stat = t->add(r->contentPtr, (size_t)r->contentLen);
         return stat != 0 ? stat : t->add(">");
      }
      case XMLRD_DATA: {
         int stat = 0;
         if (r->isCData && r->contentLen > 0 && !*inCData) {
            *inCData = true;
            stat = t->add("<![CDATA[");
         }
         if (stat == 0) stat = t->add(r->contentPtr, (size_t)r->contentLen);
         if (stat == 0 && *inCData && r->lastChunk) {
            *inCData = false;
            stat = t->add("]]>");
         }
         return stat;
      }
      case XMLRD_ENDDOC:
         return XMLRD_FAIL(r, XML_E_UNEXPEOF);
      default:
         return 0;  // instructions and document types carry nothing kept
   }
}

// Each carriage return, alone or before a line feed, becomes a line feed.
void normaliseLineEnds(char* text)
{
   char* out = text;
   for (const char* p = text; *p != 0; p++) {
      if (*p == '\r') {
         *out++ = '\n';
         if (p[1] == '\n') p++;
      } else {
         *out++ = *p;
      }
   }
   *out = 0;
}

// The current element whole (`whole`), starting at its start tag, or the
// content of the element whose start tag is done, up to its end tag. The
// end tag stays the current event.
int keepContent(VXCTXT* pctxt, const char** ppvalue, bool whole)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   uint32_t level = r->depth;
   r->wsMode = 0;
   r->rawMode = 1;
   if (whole) r->doneLevel = level;
   KeptText t{pctxt, ppvalue != nullptr};
   bool inCData = false, emptyOpen = false, done = false;
   int stat = 0;
   if (whole) stat = keepEvent(&t, r, level, true, &inCData, &emptyOpen, &done);
   while (stat == 0 && !done) {
      int ev = rtXmlRdNext(r);
      stat = ev < 0 ? ev : keepEvent(&t, r, level, whole, &inCData, &emptyOpen, &done);
   }
   r->rawMode = 0;
   if (stat == 0 && t.text == nullptr) stat = t.add("", 0);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, t.text);
      return stat == RTERR_NOMEM ? VX_LOG_ERRNEW(pctxt, stat) : VX_LOG_ERR(pctxt, stat);
   }
   if (ppvalue != nullptr) {
      normaliseLineEnds(t.text);
      *ppvalue = t.text;
   }
   return 0;
}

bool isHexDigit(uint8_t c)
{
   return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// Octets that can not stand in the text as they are: too short to be an
// element, not framed by "<" and ">", or not UTF-8 in between. Nothing is
// recorded in the context.
bool isBinaryData(const uint8_t* data, uint64_t n)
{
   if (n < 4 || data[0] != '<' || data[n - 1] != '>') return true;
   for (uint64_t i = 1; i < n - 1;) {
      uint64_t left = n - 1 - i;
      int size = left > 0x7FFFFFFF ? 0x7FFFFFFF : (int)left;
      if (rtxUTF8DecodeChar(nullptr, data + i, &size) < 0) return true;
      i += (uint64_t)size;
   }
   return false;
}

// The octets in hexadecimal as the content of an element.
int encHexElement(VXCTXT* pctxt, const uint8_t* data, uint64_t nocts, const char* elemName,
                  const char* nsPrefix)
{
   VXXMLNamespace ns{nsPrefix, nullptr};
   VXXMLNamespace* pNS = nsPrefix != nullptr && nsPrefix[0] != 0 ? &ns : nullptr;
   const char* name = elemName != nullptr && elemName[0] != 0 ? elemName : "binext";
   int stat = rtXmlEncStartElement(pctxt, name, pNS, nullptr, true);
   if (stat == 0 && nocts > 0) {
      stat = rtXmlEncHexStrValue(pctxt, (int64_t)nocts, data);
      pctxt->state = XMLSTATE_CHARDATA;
   }
   if (stat == 0) stat = rtXmlEncEndElement(pctxt, name, pNS);
   return stat != 0 ? VX_LOG_ERR(pctxt, stat) : 0;
}

// Copies the octets into the output unchanged.
int putBytes(VXCTXT* pctxt, const uint8_t* data, uint64_t nocts)
{
   int stat = rtxCheckOutputBuffer(pctxt, (size_t)nocts + 1);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   memcpy(pctxt->buffer.data + pctxt->buffer.byteIndex, data, (size_t)nocts);
   pctxt->buffer.byteIndex += (size_t)nocts;
   pctxt->buffer.data[pctxt->buffer.byteIndex] = 0;
   pctxt->lastChar = data[nocts - 1];
   return 0;
}

}  // namespace

int rtXmlpDecAnyElem(VXCTXT* pctxt, const char** ppvalue)
{
   return keepContent(pctxt, ppvalue, true);
}

int rtXmlpDecAny2(VXCTXT* pctxt, const char** ppvalue)
{
   return keepContent(pctxt, ppvalue, false);
}

int rtAsn1XmlpDecOpenType(VXCTXT* pctxt, ASN1OpenType* pvalue)
{
   const char* text = nullptr;
   int stat = rtXmlpDecAny2(pctxt, &text);
   if (stat != 0) return stat;
   size_t len = strlen(text);
   size_t i = 0;
   while (i < len && isHexDigit((uint8_t)text[i])) i++;
   if (i < len) {
      // Not all digits: the text itself is the value.
      pvalue->numocts = len;
      pvalue->data = reinterpret_cast<const uint8_t*>(text);
      return 0;
   }
   int64_t count = rtxHexCharsToBinCount(text, len);
   uint8_t* bytes = nullptr;
   if (count > 0) {
      bytes = static_cast<uint8_t*>(rtxMemAlloc(pctxt, (size_t)count));
      if (bytes == nullptr) {
         rtxMemFreePtr(pctxt, text);
         return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      }
      count = rtxHexCharsToBin(text, len, bytes, (size_t)count);
   }
   rtxMemFreePtr(pctxt, text);
   if (count < 0) return VX_LOG_ERRNEW(pctxt, (int)count);
   pvalue->numocts = (uint64_t)count;
   pvalue->data = bytes;
   return 0;
}

int rtAsn1XmlEncOpenType(VXCTXT* pctxt, const uint8_t* data, uint64_t nocts, const char* elemName,
                         const char* nsPrefix)
{
   if (data == nullptr || isBinaryData(data, nocts))
      return encHexElement(pctxt, data, nocts, elemName, nsPrefix);
   int stat;
   if (elemName != nullptr && elemName[0] != 0) {
      VXXMLNamespace ns{nsPrefix, nullptr};
      VXXMLNamespace* pNS = nsPrefix != nullptr && nsPrefix[0] != 0 ? &ns : nullptr;
      stat = rtXmlEncStartElement(pctxt, elemName, pNS, nullptr, true);
      if (stat == 0) stat = putBytes(pctxt, data, nocts);
      pctxt->state = XMLSTATE_CHARDATA;
      if (stat == 0) stat = rtXmlEncEndElement(pctxt, elemName, pNS);
   } else {
      // A kept element on its own line at the indentation of the level.
      stat = rtXmlEncTermStartElement(pctxt);
      if (stat == 0) stat = rtXmlEncIndent(pctxt);
      if (stat == 0) stat = putBytes(pctxt, data, nocts);
      pctxt->state = XMLSTATE_EOE;
   }
   return stat != 0 ? VX_LOG_ERR(pctxt, stat) : 0;
}

bool rtXmlIsElementText(VXCTXT* pctxt, const uint8_t* data, uint64_t nocts,
                        const char* const* names, size_t nnames)
{
   if (data == nullptr || isBinaryData(data, nocts)) return false;
   // Read by the pull reader on a context of its own, over a copy, so that
   // nothing is recorded where the text is being written.
   uint8_t* copy = static_cast<uint8_t*>(rtxMemAlloc(pctxt, (size_t)nocts));
   if (copy == nullptr) return false;
   memcpy(copy, data, (size_t)nocts);
   VXCTXT tmp;
   bool ok = false;
   if (rtInitContext(&tmp) == 0 && rtxInitContextBuffer(&tmp, copy, nocts) == 0) {
      XmlReader* r = rtXmlRdCreateXmlReader(&tmp);
      if (r != nullptr && r->lastEvent == XMLRD_STARTTAG && r->lastEventLevel == 1) {
         const uint8_t* name;
         size_t len;
         rtXmlRdGetTagName(r, &name, &len, nullptr);
         ok = true;
         for (size_t i = 0; i < nnames && ok; i++)
            ok = !(strlen(names[i]) == len && memcmp(names[i], name, len) == 0);
         // The one element must end exactly at the last octet.
         ok = ok && rtXmlRdSkipCurrentLevel(r) == 0 && r->readPos == nocts;
      }
      ok = ok && rtxErrGetErrorCnt(&tmp) == 0;
      rtXmlpFreeReader(&tmp, r);
   }
   rtFreeContext(&tmp);
   rtxMemFreePtr(pctxt, copy);
   return ok;
}

int rtAsn1XmlEncOpenTypeExt(VXCTXT* pctxt, const ASN1TSeqExt* pList, const char* const* names,
                            size_t nnames)
{
   if (pList == nullptr) return 0;
   for (const VXRTDListNode* node = pList->head; node != nullptr; node = node->next) {
      const ASN1OpenType* ot = static_cast<const ASN1OpenType*>(node->data);
      if (ot == nullptr) continue;
      // Only one element of a name the parent does not know may stand as
      // text; anything else could put elements of a sender's choosing
      // into what a reader of the text sees.
      int stat = rtXmlIsElementText(pctxt, ot->data, ot->numocts, names, nnames)
                    ? rtAsn1XmlEncOpenType(pctxt, ot->data, ot->numocts, nullptr, nullptr)
                    : encHexElement(pctxt, ot->data, ot->numocts, nullptr, nullptr);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}
