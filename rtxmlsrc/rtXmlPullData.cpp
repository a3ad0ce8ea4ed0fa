// XML pull reader: what callers ask of the current event (names,
// namespaces, attributes, values), events with a filter, marks, and the
// source positions of error reports.
#include <cstdio>
#include <string>

#include "rtXml.h"
#include "rtXmlPullInternal.h"
#include "rtxMemory.h"
#include "rtxUTF8.h"

// ---- stacks ----

void rtXmlRdStackInit(VXCTXT*, XmlRdStack* s, size_t unitSize, size_t capacity)
{
   VX_ASSERT(unitSize > 0 && unitSize < 8192);
   s->data = nullptr;
   s->capacity = capacity;
   s->unitSize = unitSize;
   s->count = 0;
   s->growable = true;
}

void rtXmlRdStackFree(VXCTXT* pctxt, XmlRdStack* s)
{
   if (s->data != nullptr) rtxMemFreePtr(pctxt, s->data);
   s->data = nullptr;
   s->count = 0;
}

void rtXmlRdStackReinit(VXCTXT* pctxt, XmlRdStack* s) { rtXmlRdStackFree(pctxt, s); }

int rtXmlRdStackEnsureCapacity(VXCTXT* pctxt, XmlRdStack* s, size_t n)
{
   if (s->data != nullptr && s->count + n <= s->capacity) return 0;
   if (s->data != nullptr && !s->growable) return RTERR_NOMEM;
   // Doubling keeps a deep nesting linear in its depth.
   size_t cap = s->count + n + 10;
   if (s->data == nullptr && s->capacity > cap) cap = s->capacity;
   if (s->data != nullptr && cap < 2 * s->capacity) cap = 2 * s->capacity;
   void* p = rtxMemRealloc(pctxt, s->data, cap * s->unitSize);
   if (p == nullptr) return RTERR_NOMEM;
   s->data = static_cast<uint8_t*>(p);
   s->capacity = cap;
   return 0;
}

void* rtXmlRdStackPushNew(VXCTXT* pctxt, XmlRdStack* s)
{
   if (rtXmlRdStackEnsureCapacity(pctxt, s, 1) != 0) return nullptr;
   void* unit = s->data + s->count * s->unitSize;
   memset(unit, 0, s->unitSize);
   s->count++;
   return unit;
}

void* rtXmlRdStackPop(XmlRdStack* s)
{
   if (s->count == 0) return nullptr;
   s->count--;
   return s->data + s->count * s->unitSize;
}

// ---- positions ----

void rtXmlRdUpdateSrcPos(XmlSrcPos* pos, const uint8_t* data, size_t n)
{
   for (size_t i = 0; i < n; i++) {
      uint8_t b = data[i];
      if (b == '\r') {
         pos->line++;
         pos->column = pos->byteColumn = 0;
         pos->afterCR = true;
      } else if (b == '\n') {
         if (!pos->afterCR) {
            pos->line++;
            pos->column = pos->byteColumn = 0;
         }
         pos->afterCR = false;
      } else {
         pos->afterCR = false;
         pos->byteColumn++;
         if (b < 0x80 || (b > 0xBF && b <= 0xFD)) pos->column++;
      }
   }
}

// The position of buffer offset `at`, carried on from the last one asked
// for when that lies before it, so that positions cost linear time.
static XmlSrcPos positionAt(XmlReader* r, uint64_t at)
{
   if (at > r->bufFill) at = r->bufFill;
   XmlSrcPos pos = r->basePos;
   uint64_t from = 0;
   if (r->posCacheValid && r->posCacheOffset <= at) {
      pos = r->posCache;
      from = r->posCacheOffset;
   }
   if (r->dataBuf != nullptr) rtXmlRdUpdateSrcPos(&pos, r->dataBuf + from, (size_t)(at - from));
   r->posCache = pos;
   r->posCacheOffset = at;
   r->posCacheValid = 1;
   return pos;
}

void rtXmlRdGetSourcePosition(XmlReader* r, uint32_t* pLine, uint32_t* pColumn,
                              uint32_t* pByteColumn, bool next)
{
   XmlSrcPos pos = positionAt(r, r->readPos + (next ? 1 : 0));
   if (pLine != nullptr) *pLine = pos.line + 1;
   if (pColumn != nullptr) *pColumn = pos.column;
   if (pByteColumn != nullptr) *pByteColumn = pos.byteColumn;
}

void rtXmlRdErrAddPos(VXCTXT* pctxt, const XmlSrcPos* pos)
{
   char text[80];
   if (pos->column != pos->byteColumn)
      snprintf(text, sizeof text, "at position %u:%u(%u)", pos->line + 1, pos->column,
               pos->byteColumn);
   else
      snprintf(text, sizeof text, "at position %u:%u", pos->line + 1, pos->column);
   rtxErrAddStrParm(pctxt, text);
}

void rtXmlRdErrAddSrcPos(XmlReader* r, bool next)
{
   XmlSrcPos pos = positionAt(r, r->readPos + (next ? 1 : 0));
   rtXmlRdErrAddPos(r->mpCtxt, &pos);
}

void rtXmlRdErrAddDataSrcPos(XmlReader* r, const XmlDataCtxt* d, size_t back)
{
   uint64_t at = r->readPos;
   if (d != nullptr && d->chunk != nullptr && r->dataBuf != nullptr && d->chunk >= r->dataBuf &&
       d->chunk + d->chunkLen <= r->dataBuf + r->bufFill) {
      uint64_t end = (uint64_t)(d->chunk - r->dataBuf) + d->chunkLen;
      at = back <= end ? end - back : 0;
   }
   XmlSrcPos pos = positionAt(r, at);
   rtXmlRdErrAddPos(r->mpCtxt, &pos);
}

void rtXmlRdLogInvSymbol(XmlReader* r, uint8_t symbol)
{
   char text[8];
   if (symbol < 32)
      snprintf(text, sizeof text, "\\x%02X", symbol);
   else {
      text[0] = (char)symbol;
      text[1] = 0;
   }
   rtxErrAddStrParm(r->mpCtxt, text);
   rtXmlRdErrAddSrcPos(r, true);
   XMLRD_FAIL(r, XML_E_INVSYMBOL);
}

// ---- events ----

uint64_t rtXmlRdGetLastEvent(XmlReader* r)
{
   r->attrsVisible = 1;
   return (uint64_t)r->lastEvent | ((uint64_t)r->lastEventLevel << 32);
}

uint32_t rtXmlRdMarkLastEventDone(XmlReader* r)
{
   uint32_t old = r->lastEvent;
   r->lastEvent |= XMLRD_DONE_MARK;
   r->doneLevel = r->depth;
   return old;
}

uint32_t rtXmlRdMarkLastEventActive(XmlReader* r)
{
   uint32_t old = r->lastEvent;
   r->lastEvent &= ~XMLRD_DONE_MARK;
   if (r->lastEvent == XMLRD_STARTTAG && r->depth > 0) r->doneLevel = r->depth - 1;
   return old;
}

uint32_t rtXmlRdGetCurrentLevel(XmlReader* r) { return r->depth; }

int rtXmlRdNextEvent(XmlReader* r, uint32_t eventMask, int level, uint64_t* pEvent)
{
   for (;;) {
      int ev = rtXmlRdNext(r);
      if (ev < 0) return ev;
      if ((uint32_t)ev & eventMask) {
         if (pEvent != nullptr)
            *pEvent = (uint64_t)(uint32_t)ev | ((uint64_t)r->lastEventLevel << 32);
         return 0;
      }
      if (ev == XMLRD_ENDDOC) return XMLRD_FAIL(r, XML_E_UNEXPEOF);
      if (level >= 0 && r->depth > (uint32_t)level) {
         int stat = rtXmlRdSkipCurrentLevel(r);
         if (stat < 0) return stat;
      }
   }
}

int rtXmlRdNextTag(XmlReader* r) { return rtXmlRdNextEvent(r, XMLRD_STARTTAG, -1, nullptr); }

int rtXmlRdNextEndTag(XmlReader* r) { return rtXmlRdNextEvent(r, XMLRD_ENDTAG, -1, nullptr); }

int rtXmlRdSkipCurrentLevel(XmlReader* r)
{
   if (r->lastEvent != XMLRD_STARTTAG) return 0;
   uint32_t level = r->depth;
   for (;;) {
      int ev = rtXmlRdNext(r);
      if (ev < 0) return ev;
      if (ev == XMLRD_ENDTAG && r->lastEventLevel == level) return 0;
      if (ev == XMLRD_ENDDOC) return XMLRD_FAIL(r, XML_E_UNEXPEOF);
   }
}

bool rtXmlRdIsEmpty(XmlReader* r)
{
   if (rtXmlRdEvent(r) != XMLRD_STARTTAG) return false;
   if (r->emptyElement) return true;
   return rtXmlRdPeekAt(r, 0) == '<' && rtXmlRdPeekAt(r, 1) == '/';
}

// ---- names and namespaces ----

static const char* nsPrefixOf(const XmlNsRec* ns)
{
   return ns->prefixLen <= sizeof ns->inlinePrefix ? ns->inlinePrefix : ns->prefix;
}

static int pushNamespace(XmlReader* r, const uint8_t* prefix, size_t plen, const uint8_t* uri,
                         size_t ulen)
{
   static const char kXsi[] = "http://www.w3.org/2001/XMLSchema-instance";
   static const char kSoap11[] = "http://schemas.xmlsoap.org/soap/envelope/";
   static const char kSoap12[] = "http://www.w3.org/2003/05/soap-envelope";
   static const char kXsd[] = "http://www.w3.org/2001/XMLSchema";
   auto trimmed = [](uint8_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
   while (ulen > 0 && trimmed(uri[0])) {
      uri++;
      ulen--;
   }
   while (ulen > 0 && trimmed(uri[ulen - 1])) ulen--;
   XmlNsRec* ns = static_cast<XmlNsRec*>(rtXmlRdStackPushNew(r->mpCtxt, &r->nsStack));
   VX_ASSERT(ns != nullptr);
   ns->prefixLen = plen;
   if (plen <= sizeof ns->inlinePrefix) {
      memcpy(ns->inlinePrefix, prefix, plen);
   } else {
      char* copy = static_cast<char*>(rtxMemAlloc(r->mpCtxt, plen));
      if (copy == nullptr) return XMLRD_FAIL(r, RTERR_NOMEM);
      memcpy(copy, prefix, plen);
      ns->prefix = copy;
   }
   ns->depth = (int32_t)r->depth;
   auto is = [&](const char* u) { return strlen(u) == ulen && memcmp(u, uri, ulen) == 0; };
   if (ulen == 0)
      ns->nsIndex = plen == 0 ? XMLNS_NONE : XMLNS_UNKNOWN;
   else if (is(kXsi))
      ns->nsIndex = XMLNS_XSI;
   else if (is(kSoap11) || is(kSoap12))
      ns->nsIndex = XMLNS_SOAP;
   else if (is(kXsd))
      ns->nsIndex = XMLNS_XSD;
   else {
      ns->nsIndex = XMLNS_UNKNOWN;
      for (int32_t i = 0; r->nsTable != nullptr && i < r->nsTableCount; i++) {
         if (r->nsTable[i] != nullptr && is(r->nsTable[i])) {
            ns->nsIndex = i + 1;
            ns->uri = r->nsTable[i];
            break;
         }
      }
   }
   return 0;
}

int rtXmlRdGetNamespaceIndex(XmlReader* r, const uint8_t* prefix, size_t len)
{
   if (len == 3 && memcmp(prefix, "xml", 3) == 0) return XMLNS_XML;
   for (size_t i = r->nsStack.count; i-- > 0;) {
      const XmlNsRec* ns = static_cast<const XmlNsRec*>(rtXmlRdStackAt(&r->nsStack, i));
      if (ns->prefixLen == len && memcmp(nsPrefixOf(ns), prefix, len) == 0) return ns->nsIndex;
   }
   if (len == 0) return XMLNS_NONE;
   if (len == 3 && memcmp(prefix, "xsi", 3) == 0) return XMLNS_XSI;
   if (r->mpCtxt->flags & 0x80u) return XMLNS_UNKNOWN;
   rtxErrAddStrnParm(r->mpCtxt, (const char*)prefix, len);
   rtXmlRdErrAddSrcPos(r, false);
   XMLRD_FAIL(r, XML_E_NSURINOTFOU);
   return XMLNS_UNKNOWN;
}

void rtXmlRdPopNamespaces(XmlReader* r)
{
   while (r->nsStack.count > 0) {
      XmlNsRec* ns = static_cast<XmlNsRec*>(rtXmlRdStackTop(&r->nsStack));
      if ((uint32_t)ns->depth <= r->depth) break;
      if (ns->prefixLen > sizeof ns->inlinePrefix) rtxMemFreePtr(r->mpCtxt, ns->prefix);
      rtXmlRdStackPop(&r->nsStack);
   }
}

int rtXmlRdProcessStartElement(XmlReader* r)
{
   if (rtXmlRdEvent(r) != XMLRD_STARTTAG) return XMLRD_FAIL(r, XML_E_INVMODE);
   if (r->nsTable != r->nsTableSeen) {
      for (size_t i = 0; i < r->nsStack.count; i++) {
         XmlNsRec* ns = static_cast<XmlNsRec*>(rtXmlRdStackAt(&r->nsStack, i));
         if (ns->uri == nullptr) continue;
         const char* uri = ns->uri;
         ns->uri = nullptr;
         ns->nsIndex = XMLNS_UNKNOWN;
         for (int32_t k = 0; r->nsTable != nullptr && k < r->nsTableCount; k++) {
            if (r->nsTable[k] != nullptr && strcmp(r->nsTable[k], uri) == 0) {
               ns->nsIndex = k + 1;
               ns->uri = r->nsTable[k];
            }
         }
      }
      r->nsTableSeen = r->nsTable;
      r->nsTableSeenCount = r->nsTableCount;
   }
   if (r->elemNsIndex != XMLNS_ANY) return 0;
   for (size_t i = 0; i < r->attrStack.count; i++) {
      XmlAttrRec* a = static_cast<XmlAttrRec*>(rtXmlRdStackAt(&r->attrStack, i));
      const uint8_t* q = rtXmlRdGetPtr(r, a->qName.offset, nullptr);
      const uint8_t* value = rtXmlRdGetPtr(r, a->value.offset, nullptr);
      bool isDefault = a->qName.length == 5 && memcmp(q, "xmlns", 5) == 0;
      bool isPrefixed = a->prefix.length == 5 && memcmp(q, "xmlns", 5) == 0;
      if (!isDefault && !isPrefixed) continue;
      const uint8_t* prefix = isDefault ? q : rtXmlRdGetPtr(r, a->localName.offset, nullptr);
      int stat = pushNamespace(r, prefix, isDefault ? 0 : (size_t)a->localName.length, value,
                               (size_t)a->value.length);
      if (stat != 0) return stat;
      a->nsIndex = XMLATTR_NS_DECL;
   }
   r->elemNsIndex = (int16_t)rtXmlRdGetNamespaceIndex(
      r, rtXmlRdGetPtr(r, r->prefixName.offset, nullptr), (size_t)r->prefixName.length);
   return 0;
}

int rtXmlRdGetTagName(XmlReader* r, const uint8_t** ppName, size_t* pLen, int16_t* pNsIndex)
{
   if (rtXmlRdEvent(r) == XMLRD_STARTTAG) rtXmlRdProcessStartElement(r);
   if (ppName != nullptr) *ppName = rtXmlRdGetPtr(r, r->localName.offset, nullptr);
   if (pLen != nullptr) *pLen = (size_t)r->localName.length;
   if (pNsIndex != nullptr)
      *pNsIndex = (r->mpCtxt->flags & 0x80u) ? (int16_t)0xFFFE : r->elemNsIndex;
   return 0;
}

// ---- attributes ----

static XmlAttrRec* attrAt(XmlReader* r, size_t index, int* pstat)
{
   if (rtXmlRdEvent(r) != XMLRD_STARTTAG || !r->attrsVisible) {
      *pstat = XMLRD_FAIL(r, XML_E_INVMODE);
      return nullptr;
   }
   XmlAttrRec* a = static_cast<XmlAttrRec*>(rtXmlRdStackAt(&r->attrStack, index));
   if (a == nullptr) *pstat = XMLRD_FAIL(r, RTERR_INVPARAM);
   return a;
}

int rtXmlRdGetAttributeCount(XmlReader* r)
{
   if (rtXmlRdEvent(r) != XMLRD_STARTTAG || !r->attrsVisible) return XMLRD_FAIL(r, XML_E_INVMODE);
   return (int)r->attrStack.count;
}

int rtXmlRdGetAttributeName(XmlReader* r, size_t index, const uint8_t** ppName, size_t* pLen,
                            int16_t* pNsIndex)
{
   int stat = 0;
   XmlAttrRec* a = attrAt(r, index, &stat);
   if (a == nullptr) return stat;
   if ((stat = rtXmlRdProcessStartElement(r)) != 0) return stat;
   const uint8_t* q = rtXmlRdGetPtr(r, a->qName.offset, nullptr);
   if (a->nsIndex == 0 && a->prefix.length > 0) {
      int index2 = rtXmlRdGetNamespaceIndex(r, q, (size_t)a->prefix.length);
      a->nsIndex = index2 == XMLNS_XSI ? XMLATTR_NS_XSI : index2 > 0 ? (uint16_t)index2 : 0;
   }
   if (ppName != nullptr) *ppName = rtXmlRdGetPtr(r, a->localName.offset, nullptr);
   if (pLen != nullptr) *pLen = (size_t)a->localName.length;
   if (pNsIndex != nullptr) {
      *pNsIndex = a->nsIndex == XMLATTR_NS_DECL  ? (int16_t)XMLNS_DECL
                  : a->nsIndex == XMLATTR_NS_XSI ? (int16_t)XMLNS_XSI
                                                 : (int16_t)a->nsIndex;
   }
   return 0;
}

int rtXmlRdGetAttribute(XmlReader* r, size_t index, const uint8_t** ppValue, size_t* pLen)
{
   int stat = 0;
   XmlAttrRec* a = attrAt(r, index, &stat);
   if (a == nullptr) return stat;
   if (ppValue != nullptr) *ppValue = rtXmlRdGetPtr(r, a->value.offset, nullptr);
   if (pLen != nullptr) *pLen = (size_t)a->value.length;
   return 0;
}

int rtXmlRdSelectAttribute(XmlReader* r, size_t index)
{
   int stat = 0;
   if (attrAt(r, index, &stat) == nullptr) return stat;
   r->attrMode = 1;
   r->savedAttrCount = index;
   return 0;
}

int rtXmlRdFirstAttr(XmlReader* r)
{
   int count = rtXmlRdGetAttributeCount(r);
   if (count <= 0) return count;
   r->savedAttrCount = 0;
   return rtXmlRdSelectAttribute(r, 0) == 0 ? 1 : -1;
}

int rtXmlRdNextAttr(XmlReader* r)
{
   int count = rtXmlRdGetAttributeCount(r);
   if (count < 0) return count;
   size_t next = (size_t)r->savedAttrCount + 1;
   if (next >= (size_t)count) {
      r->attrMode = 0;
      return 0;
   }
   return rtXmlRdSelectAttribute(r, next) == 0 ? 1 : -1;
}

// The xsi attributes of the current start tag into the context: the type
// and the schema locations into the information record (when there is
// one), xsi:nil="true" as context flag 0x40.
int rtXmlRdGetXSITypeAttr(XmlReader* r)
{
   int count = rtXmlRdGetAttributeCount(r);
   if (count < 0) return count;
   VXCTXT* pctxt = r->mpCtxt;
   bool info = rtXmlGetCtxtInfo(pctxt) != nullptr;
   for (int i = 0; i < count; i++) {
      const uint8_t *name = nullptr, *value = nullptr;
      size_t nameLen = 0, valueLen = 0;
      int16_t ns = 0;
      int stat = rtXmlRdGetAttributeName(r, (size_t)i, &name, &nameLen, &ns);
      if (stat == 0) stat = rtXmlRdGetAttribute(r, (size_t)i, &value, &valueLen);
      if (stat != 0) return stat;
      if (ns != XMLNS_XSI) continue;
      auto is = [&](const char* text) {
         return strlen(text) == nameLen && memcmp(text, name, nameLen) == 0;
      };
      std::string v((const char*)value, valueLen);
      if (is("nil")) {
         if (v == "true" || v == "1") pctxt->flags |= VXCTXT_FLAG_XSIATTR;
      } else if (info && is("type"))
         stat = rtXmlSetXSITypeAttr(pctxt, v.c_str());
      else if (info && is("schemaLocation"))
         stat = rtXmlSetSchemaLocation(pctxt, v.c_str());
      else if (info && is("noNamespaceSchemaLocation"))
         stat = rtXmlSetNoNSSchemaLocation(pctxt, v.c_str());
      if (stat != 0) return stat;
   }
   return 0;
}

// ---- values ----

uint32_t rtXmlRdSetWhiteSpaceMode(XmlReader* r, uint32_t mode)
{
   uint32_t old = r->wsMode;
   r->wsMode = r->listMode ? 2 : mode;
   return old;
}

void rtXmlRdSetListMode(XmlReader* r, bool on)
{
   r->listModeFresh = r->listMode;
   r->listMode = on ? 1 : 0;
   if (on) r->wsMode = 2;
}

int rtXmlRdGetDataMode(XmlReader* r)
{
   int mode = r->attrMode == 1 ? 1 : 2;
   r->attrMode = 0;
   return mode;
}

static void setChunk(XmlDataCtxt* d, const uint8_t* p, size_t len, bool last)
{
   d->chunk = p;
   d->chunkLen = len;
   d->lastChunk = last ? 1 : 0;
}

// One chunk of the selected attribute value: a run of text, a decoded
// reference, or (collapsing) a word or the single blank between words.
static int processAttrValue(XmlReader* r, XmlDataCtxt* d)
{
   const uint8_t* v = d->attrValue;
   size_t n = d->attrValueLen;
   size_t i = d->attrPos;
   if (r->rawMode) {
      setChunk(d, v + i, n - i, true);
      d->attrPos = n;
      d->mode = 0;
      return (int)(n - i);
   }
   bool collapse = r->wsMode == 2;
   auto isWs = [](uint8_t c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
   if (collapse) {
      size_t j = i;
      while (j < n && isWs(v[j])) j++;
      if (j >= n) {
         setChunk(d, v + n, 0, true);
         d->attrPos = n;
         d->mode = 0;
         return 0;
      }
      if (j > i && d->pendingBlank) {
         d->pendingBlank = 0;
         d->attrPos = j;
         r->charBuf[0] = ' ';
         setChunk(d, r->charBuf, 1, false);
         return 1;
      }
      i = j;
   }
   if (i >= n) {
      setChunk(d, v + n, 0, true);
      d->mode = 0;
      return 0;
   }
   if (v[i] == '&') {
      const void* semi = memchr(v + i, ';', n - i);
      uint32_t code = 0;
      int len = -1;
      if (semi != nullptr) {
         size_t refLen = (size_t)(static_cast<const uint8_t*>(semi) - (v + i));
         len = rtXmlRdDecodeReference(r, v + i, refLen, &code);
         i += refLen + 1;
      }
      if (len < 0) {
         rtxErrAddStrnParm(
            r->mpCtxt, (const char*)(v + d->attrPos),
            semi ? (size_t)((const uint8_t*)semi - (v + d->attrPos)) : n - d->attrPos);
         rtXmlRdErrAddSrcPos(r, false);
         return XMLRD_FAIL(r, XML_E_BADCHARREF);
      }
      d->attrPos = i;
      bool ws = code == 9 || code == 10 || code == 13 || code == 32;
      if (ws && r->wsMode == 1) {
         r->charBuf[0] = ' ';
         setChunk(d, r->charBuf, 1, i >= n);
      } else {
         setChunk(d, r->charBuf + 1, (size_t)len, i >= n);
      }
      if (collapse) d->pendingBlank = 1;
      return (int)d->chunkLen;
   }
   size_t j = i;
   if (r->wsMode == 0 && v[j] == '\r') {
      // A carriage return, with or without line feed, is one line feed.
      j++;
      if (j < n && v[j] == '\n') j++;
      d->attrPos = j;
      r->charBuf[0] = '\n';
      setChunk(d, r->charBuf, 1, j >= n);
      return 1;
   }
   if (r->wsMode == 1 && isWs(v[j])) {
      j++;
      if (v[j - 1] == '\r' && j < n && v[j] == '\n') j++;
      d->attrPos = j;
      r->charBuf[0] = ' ';
      setChunk(d, r->charBuf, 1, j >= n);
      return 1;
   }
   while (j < n && v[j] != '&' && !(r->wsMode == 0 && v[j] == '\r') &&
          !(r->wsMode != 0 && isWs(v[j])))
      j++;
   d->attrPos = j;
   bool last = j >= n;
   if (collapse) {
      size_t k = j;
      while (k < n && isWs(v[k])) k++;
      last = k >= n || r->listMode;
      d->pendingBlank = 1;
   }
   setChunk(d, v + i, j - i, last);
   return (int)(j - i);
}

// The next piece of an element's value, passing comments and instructions:
// its length, or 0 when a tag ends the value, or a failure.
static int nextDataEvent(XmlReader* r, XmlDataCtxt* d)
{
   for (;;) {
      int e = rtXmlRdNext(r);
      if (e < 0) return e;
      if (e == XMLRD_COMMENT || e == XMLRD_PI) continue;
      if (e == XMLRD_STARTTAG || e == XMLRD_ENDTAG) {
         d->mode = 0;
         return 0;
      }
      if (e == XMLRD_ENDDOC) return XMLRD_FAIL(r, XML_E_UNEXPEOF);
      setChunk(d, r->contentPtr, (size_t)r->contentLen, r->lastChunk);
      d->isCData = r->isCData;
      return (int)r->contentLen;
   }
}

int rtXmlRdFirstData(XmlReader* r, XmlDataCtxt* d)
{
   memset(d, 0, sizeof *d);
   d->level = r->depth;
   if (r->attrMode == 1) {
      const uint8_t* value = nullptr;
      size_t len = 0;
      int stat = rtXmlRdGetAttribute(r, (size_t)r->savedAttrCount, &value, &len);
      if (stat != 0) return stat;
      d->mode = 1;
      d->attrValue = value;
      d->attrValueLen = len;
      int n = processAttrValue(r, d);
      if (n >= 0 && d->mode == 0 && !r->listMode) r->attrMode = 0;
      return n;
   }
   uint32_t ev = rtXmlRdEvent(r);
   if (r->listMode && ev == XMLRD_DATA) {
      d->mode = 2;
      setChunk(d, r->contentPtr, (size_t)r->contentLen, r->lastChunk);
      d->isCData = r->isCData;
      return (int)r->contentLen;
   }
   if (ev != XMLRD_STARTTAG && ev != XMLRD_ENDTAG) return XMLRD_FAIL(r, XML_E_INVMODE);
   if (rtXmlRdIsEmpty(r)) {
      setChunk(d, r->charBuf + 1, 0, true);
      return 0;
   }
   d->mode = 2;
   return nextDataEvent(r, d);
}

int rtXmlRdNextData(XmlReader* r, XmlDataCtxt* d)
{
   if (d->mode == 1) {
      if (d->lastChunk && !r->listMode) {
         d->mode = 0;
         r->attrMode = 0;
         return 0;
      }
      d->chunkNo++;
      int n = processAttrValue(r, d);
      if (n >= 0 && d->mode == 0 && !r->listMode) r->attrMode = 0;
      return n;
   }
   if (d->mode != 2) return XMLRD_FAIL(r, XML_E_INVMODE);
   if (d->lastChunk) {
      d->mode = 0;
      return 0;
   }
   d->chunkNo++;
   return nextDataEvent(r, d);
}

// ---- marks ----

int rtXmlRdMarkPos(XmlReader* r)
{
   XmlMarkRec* m = static_cast<XmlMarkRec*>(rtXmlRdStackPushNew(r->mpCtxt, &r->markStack));
   VX_ASSERT(m != nullptr);
   m->readPos = r->attrMode ? XMLRD_NO_MARK : r->readPos;
   m->lastEvent = r->lastEvent;
   m->lastEventLevel = r->lastEventLevel;
   m->contentPtr = r->contentPtr;
   m->contentLen = r->contentLen;
   m->listMode = r->listMode;
   m->lastChunk = r->lastChunk;
   m->stepMark = r->stepMark;
   m->keep = r->stepMark != XMLRD_NO_MARK && r->stepMark < r->readPos ? r->stepMark : r->readPos;
   bool inBuf = r->dataBuf != nullptr && r->contentPtr >= r->dataBuf &&
                r->contentPtr <= r->dataBuf + r->bufFill;
   m->contentOff = inBuf ? (uint64_t)(r->contentPtr - r->dataBuf) : XMLRD_NO_MARK;
   if (inBuf && m->contentOff < m->keep) m->keep = m->contentOff;
   m->depth = r->depth;
   m->tagCount = r->tagStack.count;
   m->names[0] = r->qualName;
   m->names[1] = r->localName;
   m->names[2] = r->prefixName;
   m->emptyElement = r->emptyElement;
   m->elemNsIndex = r->elemNsIndex;
   if (const XmlTagRec* top = static_cast<const XmlTagRec*>(rtXmlRdStackTop(&r->tagStack)))
      m->topTag = *top;
   memcpy(m->tasks, r->delayedTasks, sizeof m->tasks);
   m->taskCount = r->mDelayedTaskCount;
   m->taskHead = r->delayedHead;
   return 0;
}

int rtXmlRdRewindToMarkedPos(XmlReader* r)
{
   const XmlMarkRec* m = static_cast<const XmlMarkRec*>(rtXmlRdStackTop(&r->markStack));
   if (m == nullptr) return XMLRD_FAIL(r, RTERR_NULLPTR);
   if (m->readPos == XMLRD_NO_MARK) {
      r->attrMode = 1;
   } else {
      r->readPos = m->readPos;
      r->stepMark = m->stepMark;
      r->depth = m->depth;
      r->qualName = m->names[0];
      r->localName = m->names[1];
      r->prefixName = m->names[2];
      r->emptyElement = m->emptyElement;
      r->elemNsIndex = m->elemNsIndex;
      // The open element of the mark gets its name back, in case a later
      // sibling took its place on the stack.
      if (m->tagCount > 0 && rtXmlRdStackEnsureCapacity(r->mpCtxt, &r->tagStack, 0) == 0 &&
          m->tagCount <= r->tagStack.capacity) {
         r->tagStack.count = m->tagCount;
         *static_cast<XmlTagRec*>(rtXmlRdStackTop(&r->tagStack)) = m->topTag;
      }
      memcpy(r->delayedTasks, m->tasks, sizeof m->tasks);
      r->mDelayedTaskCount = m->taskCount;
      r->delayedHead = m->taskHead;
      for (int& s : r->subState) s = 0;
      r->mainState = 1;
      r->lastEvent = XMLRD_NONE;
   }
   r->lastEvent = m->lastEvent;
   r->lastEventLevel = m->lastEventLevel;
   r->contentPtr = m->contentOff != XMLRD_NO_MARK ? r->dataBuf + m->contentOff : m->contentPtr;
   r->contentLen = m->contentLen;
   r->listMode = m->listMode;
   r->lastChunk = m->lastChunk;
   r->subState[XMLSUB_CHARS] = 0;
   return 0;
}

int rtXmlRdResetMarkedPos(XmlReader* r)
{
   return rtXmlRdStackPop(&r->markStack) != nullptr ? 0 : XMLRD_FAIL(r, RTERR_NULLPTR);
}
