// XML writer: the namespace prefix stack (one frame per open element),
// namespace lists, and the namespace declarations of a start tag.
#include <cstdio>

#include "rtXmlInternal.h"
#include "rtxCharStr.h"
#include "rtxDList.h"
#include "rtxMemory.h"
#include "rtxUTF8.h"

namespace {

bool isEmpty(const char* text) { return text == nullptr || text[0] == 0; }

// Null and empty prefixes are the same prefix.
bool samePrefix(const char* a, const char* b)
{
   if (isEmpty(a) || isEmpty(b)) return isEmpty(a) && isEmpty(b);
   return strcmp(a, b) == 0;
}

bool samePrefixFrag(const char* a, const char* b, size_t bLen)
{
   if (isEmpty(a) || bLen == 0) return isEmpty(a) && bLen == 0;
   return strncmp(a, b, bLen) == 0 && a[bLen] == 0;
}

const char* linkURI(const XmlCtxtInfo* info, const NSPrefixLink* link)
{
   if (link->uriIndex >= 0 && info->nsURITable != nullptr && link->uriIndex < info->nsURICount)
      return info->nsURITable[link->uriIndex];
   return link->uri;
}

void freeLinks(VXCTXT* pctxt, NSPrefixLink* link)
{
   while (link != nullptr) {
      NSPrefixLink* next = link->next;
      rtxMemFreePtr(pctxt, link->prefix);
      rtxMemFreePtr(pctxt, link->uri);
      for (uint16_t i = 0; i < link->extraPrefixes.count; i++)
         rtxMemFreePtr(pctxt, link->extraPrefixes.data[i]);
      rtxMemFreePtr(pctxt, link->extraPrefixes.data);
      rtxMemFreePtr(pctxt, link);
      link = next;
   }
}

// The link whose prefix (own or further) matches, searched from the top
// frame down.
template <class Match>
const NSPrefixLink* findLink(const XmlCtxtInfo* info, Match match)
{
   for (const XmlNSFrame* f = info->nsFrameTop; f != nullptr; f = f->next)
      for (const NSPrefixLink* link = f->head; link != nullptr; link = link->next)
         if (match(link)) return link;
   return nullptr;
}

template <class Same>
const char* lookupPrefix(VXCTXT* pctxt, Same same)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return nullptr;
   const NSPrefixLink* link = findLink(info, [&](const NSPrefixLink* l) {
      if (same(l->prefix)) return true;
      for (uint16_t i = 0; i < l->extraPrefixes.count; i++)
         if (same(static_cast<const char*>(l->extraPrefixes.data[i]))) return true;
      return false;
   });
   return link != nullptr ? linkURI(info, link) : nullptr;
}

// Walks the declarations of a start tag: the given list, or the document's
// namespaces when none is given.
template <class Visit>
int forEachNSAttr(VXCTXT* pctxt, VXRTDList* pNSAttrs, Visit visit)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   VXRTDList* list = pNSAttrs;
   if (list == nullptr || list->count == 0) {
      if (info == nullptr) return 0;
      list = &info->namespaceList;
   }
   for (VXRTDListNode* node = list->head; node != nullptr; node = node->next) {
      VXXMLNamespace* ns = static_cast<VXXMLNamespace*>(node->data);
      if (ns == nullptr || ns->uri == nullptr) return XML_FAIL(pctxt, RTERR_BADVALUE);
      if (ns->prefix != nullptr && strcmp(ns->prefix, "xsi") == 0) continue;
      int stat = visit(info, ns);
      if (stat != 0) return stat;
   }
   return 0;
}

}  // namespace

int rtXmlNSPush(VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   XmlNSFrame* frame = info->freeFrames;
   if (frame != nullptr)
      info->freeFrames = frame->next;
   else if ((frame = rtxMemAllocTypeZ(pctxt, XmlNSFrame)) == nullptr)
      return XML_FAIL(pctxt, RTERR_NOMEM);
   frame->head = nullptr;
   frame->encodedMark = info->encodedNamespaces.count;
   frame->next = info->nsFrameTop;
   info->nsFrameTop = frame;
   info->nsFrameCount++;
   return 0;
}

int rtXmlNSPop(VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   XmlNSFrame* frame = info->nsFrameTop;
   if (frame == nullptr) return XML_FAIL(pctxt, RTERR_NULLPTR);
   info->nsFrameTop = frame->next;
   info->nsFrameCount--;
   freeLinks(pctxt, frame->head);
   // Kept for the next element: a push per element costs no allocation.
   frame->head = nullptr;
   frame->next = info->freeFrames;
   info->freeFrames = frame;
   return 0;
}

void rtXmlNSRemoveAll(VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return;
   while (info->nsFrameTop != nullptr) rtXmlNSPop(pctxt);
   info->nsFrameCount = 0;
}

int rtXmlNSAddPrefixLink(VXCTXT* pctxt, const char* prefix, const char* uri,
                         const char* const* uriTable, int32_t count)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return XML_FAIL(pctxt, RTERR_NOTINIT);
   XmlNSFrame* frame = info->nsFrameTop;
   if (frame == nullptr) return XML_FAIL(pctxt, RTERR_NULLPTR);
   if (uriTable == nullptr) {
      uriTable = info->nsURITable;
      count = info->nsURICount;
   }
   int32_t index = -1;
   for (int32_t i = 0; uriTable != nullptr && uri != nullptr && i < count; i++) {
      if (uriTable[i] != nullptr && strcmp(uriTable[i], uri) == 0) {
         index = i;
         break;
      }
   }
   NSPrefixLink* link = frame->head;
   for (; link != nullptr; link = link->next) {
      if (index >= 0 ? link->uriIndex == index
                     : (link->uriIndex < 0 && link->uri != nullptr && uri != nullptr &&
                        strcmp(link->uri, uri) == 0))
         break;
   }
   if (link != nullptr) {
      if (isEmpty(prefix) && isEmpty(link->prefix)) return 0;
      char* copy = rtxUTF8StrRefOrDup(pctxt, prefix != nullptr ? prefix : "");
      if (copy == nullptr) return XML_FAIL(pctxt, RTERR_NOMEM);
      char* further = copy;
      if (isEmpty(prefix)) {
         // The empty prefix becomes the link's own.
         further = const_cast<char*>(link->prefix);
         link->prefix = copy;
      }
      int stat = rtxDynPtrArrayAppend(pctxt, &link->extraPrefixes, further);
      return stat != 0 ? XML_FAIL(pctxt, stat) : 0;
   }
   link = rtxMemAllocTypeZ(pctxt, NSPrefixLink);
   if (link == nullptr) return XML_FAIL(pctxt, RTERR_NOMEM);
   link->uriIndex = index;
   link->prefix = rtxUTF8StrRefOrDup(pctxt, prefix != nullptr ? prefix : "");
   link->uri = index < 0 && uri != nullptr ? rtxUTF8StrRefOrDup(pctxt, uri) : nullptr;
   if (link->prefix == nullptr || (index < 0 && uri != nullptr && link->uri == nullptr) ||
       rtxDynPtrArrayInit(pctxt, &link->extraPrefixes, 4) != 0) {
      freeLinks(pctxt, link);
      return XML_FAIL(pctxt, RTERR_NOMEM);
   }
   link->next = frame->head;
   frame->head = link;
   return 0;
}

VXXMLNamespace* rtXmlNSAddNamespace(VXCTXT* pctxt, VXRTDList* pNSList, const char* prefix,
                                    const char* uri)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (pNSList == nullptr) {
      if (info == nullptr) return nullptr;
      pNSList = &info->namespaceList;
   }
   VXXMLNamespace* ns = rtxMemAllocTypeZ(pctxt, VXXMLNamespace);
   if (ns == nullptr) return nullptr;
   ns->prefix = rtxUTF8StrRefOrDup(pctxt, prefix != nullptr ? prefix : "");
   ns->uri = uri != nullptr ? rtxUTF8StrRefOrDup(pctxt, uri) : nullptr;
   if (ns->prefix == nullptr || rtxDListAppend(pctxt, pNSList, ns) == nullptr) {
      rtxMemFreePtr(pctxt, ns->prefix);
      rtxMemFreePtr(pctxt, ns->uri);
      rtxMemFreePtr(pctxt, ns);
      return nullptr;
   }
   return ns;
}

const char* rtXmlNSLookupPrefix(VXCTXT* pctxt, const char* prefix)
{
   return lookupPrefix(pctxt, [&](const char* p) { return samePrefix(p, prefix); });
}

const char* rtXmlNSLookupPrefixFrag(VXCTXT* pctxt, const char* prefix, size_t prefixLen)
{
   return lookupPrefix(pctxt, [&](const char* p) { return samePrefixFrag(p, prefix, prefixLen); });
}

const char* rtXmlNSGetPrefix(VXCTXT* pctxt, const char* uri)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr || uri == nullptr) return nullptr;
   const NSPrefixLink* link = findLink(info, [&](const NSPrefixLink* l) {
      const char* u = linkURI(info, l);
      return u != nullptr && strcmp(u, uri) == 0;
   });
   if (link == nullptr) return nullptr;
   return link->prefix != nullptr ? link->prefix : "";
}

const char* rtXmlNSNewPrefix(VXCTXT* pctxt, const char* uri, VXRTDList* pNSList)
{
   if (isEmpty(uri)) return nullptr;
   char prefix[24];
   for (unsigned n = 1;; n++) {
      snprintf(prefix, sizeof prefix, "ns%u", n);
      if (rtXmlNSLookupPrefix(pctxt, prefix) == nullptr) break;
   }
   if (rtXmlNSAddPrefixLink(pctxt, prefix, uri, nullptr, 0) != 0) return nullptr;
   VXXMLNamespace* ns = rtXmlNSAddNamespace(pctxt, pNSList, prefix, uri);
   return ns != nullptr ? ns->prefix : nullptr;
}

bool rtXmlNSEqual(const VXXMLNamespace* a, const VXXMLNamespace* b)
{
   if (a == b) return true;
   if (a == nullptr || b == nullptr) return false;
   auto same = [](const char* x, const char* y) {
      return x == y || (x != nullptr && y != nullptr && strcmp(x, y) == 0);
   };
   return same(a->prefix, b->prefix) && same(a->uri, b->uri);
}

int rtXmlSetNSPrefixLinks(VXCTXT* pctxt, VXRTDList* pNSAttrs)
{
   return forEachNSAttr(pctxt, pNSAttrs, [&](XmlCtxtInfo*, VXXMLNamespace* ns) {
      return rtXmlNSAddPrefixLink(pctxt, ns->prefix, ns->uri, nullptr, 0);
   });
}

int rtXmlEncNSAttrs(VXCTXT* pctxt, VXRTDList* pNSAttrs)
{
   if (pctxt->state == XMLSTATE_ATTR) return 0;
   return forEachNSAttr(pctxt, pNSAttrs, [&](XmlCtxtInfo* info, VXXMLNamespace* ns) {
      for (VXRTDListNode* n = info->encodedNamespaces.head; n != nullptr; n = n->next)
         if (n->data != nullptr && rtXmlNSEqual(static_cast<VXXMLNamespace*>(n->data), ns))
            return 0;
      size_t uriLen = strlen(ns->uri);
      size_t prefixLen = ns->prefix != nullptr ? strlen(ns->prefix) : 0;
      int stat = xmlReserve(pctxt, uriLen + prefixLen + 9);
      if (stat != 0) return XML_FAIL(pctxt, stat);
      xmlPutRaw(pctxt, " xmlns", 6);
      if (prefixLen > 0) {
         xmlPutRaw(pctxt, ":", 1);
         xmlPutRaw(pctxt, ns->prefix, prefixLen);
      }
      xmlPutRaw(pctxt, "=\"", 2);
      xmlPutRaw(pctxt, ns->uri, uriLen);
      xmlPutRaw(pctxt, "\"", 1);
      xmlTerminate(pctxt);
      if (info->attrsAside) {
         if ((stat = rtXmlEncAttrC14N(pctxt)) != 0) return XML_FAIL(pctxt, stat);
      }
      if (rtxDListAppend(pctxt, &info->encodedNamespaces, ns) == nullptr)
         return XML_FAIL(pctxt, RTERR_NOMEM);
      return 0;
   });
}
