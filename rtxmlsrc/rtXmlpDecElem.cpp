// XML decoding layer: the reader of a decode, and the element functions
// that match start tags against the per-type tables and close elements.
#include "rtXmlDec.h"
#include "rtXmlPullInternal.h"
#include "rtxDList.h"
#include "rtxMemory.h"
#include "rtxUTF8.h"

namespace {

constexpr uint32_t kEndOrStart = XMLRD_ENDTAG | XMLRD_STARTTAG;

// The name and position of the current tag as error parameters.
void addTagParms(XmlReader* r)
{
   const uint8_t* name;
   size_t len;
   rtXmlRdGetTagName(r, &name, &len, nullptr);
   rtxErrAddStrnParm(r->mpCtxt, (const char*)name, len);
   rtXmlRdErrAddSrcPos(r, false);
}

// Records status with the current tag's name and position.
int tagError(XmlReader* r, int status, int line)
{
   addTagParms(r);
   return rtxErrSetNewData(r->mpCtxt, status, VX_MODULE, line);
}
#define TAG_FAIL(r, stat) tagError(r, stat, __LINE__)

const char* nsURI(const XmlReader* r, int32_t index)
{
   if (index == 0) return "";
   if (index < 0 || index > r->nsTableCount || r->nsTable == nullptr) return "?";
   return r->nsTable[index - 1];
}

// Brings the next start tag inside `level` up as the current event: 0 at
// such a tag, XML_OK_EOB at the end of the level, or a failure.
int nextStartTag(XmlReader* r, uint32_t level)
{
   if (r->depth < level) return XML_OK_EOB;
   if (r->lastEvent == XMLRD_ENDTAG && r->lastEventLevel == level) return XML_OK_EOB;
   if (r->lastEvent != XMLRD_STARTTAG) {
      int stat = rtXmlRdNextEvent(r, kEndOrStart, (int)level, nullptr);
      if (stat < 0) return VX_LOG_ERR(r->mpCtxt, stat);
      if (r->lastEvent == XMLRD_ENDTAG) {
         if (r->lastEventLevel == level) return XML_OK_EOB;
         return TAG_FAIL(r, XML_E_UNEXPENDTAG);
      }
   }
   if ((uint64_t)r->lastEventLevel != (uint64_t)level + 1) return TAG_FAIL(r, XML_E_UNEXPSTARTTAG);
   return 0;
}

uint32_t levelOf(const XmlReader* r, int32_t level)
{
   return level < 0 ? r->doneLevel : (uint32_t)level;
}

// The element name stack as rtxCtxtPushElemName / rtxCtxtPopElemName keep
// it, with the nodes of ended elements kept in the information record for
// the next ones: no heap call per element once the deepest level is seen.
void pushElemName(VXCTXT* pctxt, const char* name)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   VXRTDListNode* node = info != nullptr ? info->freeNameNodes : nullptr;
   if (node == nullptr) {
      rtxCtxtPushElemName(pctxt, name);
      return;
   }
   info->freeNameNodes = node->next;
   node->data = (void*)name;
   rtxDListAppendNode(&pctxt->elemNameStack, node);
   pctxt->level++;
}

void popElemName(VXCTXT* pctxt)
{
   VXRTDList& names = pctxt->elemNameStack;
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   VXRTDListNode* node = names.tail;
   if (node == nullptr) return;
   if (info == nullptr) {
      rtxCtxtPopElemName(pctxt);
      return;
   }
   rtxDListRemove(&names, node);
   pctxt->level--;
   node->next = info->freeNameNodes;
   info->freeNameNodes = node;
}

}  // namespace

XmlReader* rtXmlpGetReader(VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) {
      VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
      return nullptr;
   }
   if (info->pXmlReader == nullptr) {
      info->pXmlReader = rtXmlRdCreateXmlReader(pctxt);
      if (info->pXmlReader == nullptr) VX_LOG_ERR(pctxt, RTERR_NULLPTR);
   }
   return info->pXmlReader;
}

int rtXmlpCreateReader(VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   if (info == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);
   uint64_t errors = rtxErrGetErrorCnt(pctxt);
   if (info->pXmlReader != nullptr) {
      int stat = rtXmlRdResetXmlReader(info->pXmlReader);
      return stat < 0 ? VX_LOG_ERR(pctxt, stat) : 0;
   }
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NULLPTR;
   // A failure at the first event is already in the list.
   if (r->lastEvent == XMLRD_NONE && rtxErrGetErrorCnt(pctxt) > errors)
      return VX_LOG_ERR(pctxt, rtxErrGetLastError(pctxt));
   return 0;
}

int rtXmlpMatchStartTag(VXCTXT* pctxt, const char* name, uint16_t nsIndex)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   if (r->lastEvent != XMLRD_STARTTAG) {
      int stat = rtXmlRdNextEvent(r, XMLRD_STARTTAG, (int)r->lastEventLevel + 1, nullptr);
      if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   }
   const uint8_t* parsed;
   size_t len;
   int16_t parsedNs;
   rtXmlRdGetTagName(r, &parsed, &len, &parsedNs);
   bool nsFits = (uint16_t)parsedNs == 0xFFFE || nsIndex == 0xFFFF || nsIndex == 0 ||
                 nsIndex == (uint16_t)parsedNs;
   // The root alone is matched over the length of the parsed name.
   if (nsFits && (len == 0 || rtxUTF8StrnEqual((const char*)parsed, name, len))) {
      rtXmlRdMarkLastEventDone(r);
      pushElemName(pctxt, name);
      return 0;
   }
   rtxErrAddStrParm(pctxt, nsURI(r, (int16_t)nsIndex));
   rtxErrAddStrParm(pctxt, name);
   rtxErrAddStrParm(pctxt, nsURI(r, parsedNs));
   rtxErrAddStrnParm(pctxt, (const char*)parsed, len);
   rtXmlRdErrAddSrcPos(r, false);
   return VX_LOG_ERRNEW(pctxt, XML_E_IDNOTFOU);
}

int rtXmlpMatchEndTag(VXCTXT* pctxt, int32_t level)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   uint32_t lvl = levelOf(r, level);
   uint32_t mask = kEndOrStart | (rtXmlRdEvent(r) == XMLRD_DATA ? XMLRD_DATA : 0);
   // A done event carries bit 31 and so never ends the loop.
   while (!(r->lastEvent == XMLRD_ENDTAG && r->lastEventLevel <= lvl)) {
      int stat;
      if (r->lastEvent == XMLRD_STARTTAG) {
         // Content that no table allows: noted, passed over, and the
         // status comes out at the end of the decode.
         TAG_FAIL(r, RTERR_UNEXPELEM);
         stat = rtXmlRdSkipCurrentLevel(r);
      } else {
         stat = rtXmlRdNextEvent(r, mask, (int)lvl, nullptr);
      }
      if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   }
   rtXmlRdMarkLastEventDone(r);
   popElemName(pctxt);
   return 0;
}

int rtXmlpGetNextElem(VXCTXT* pctxt, const uint8_t** pName, size_t* pNameLen, int32_t level)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   int stat = nextStartTag(r, levelOf(r, level));
   if (stat != 0) return stat;
   const uint8_t* name;
   size_t len;
   rtXmlRdGetTagName(r, &name, &len, nullptr);
   if (pName != nullptr) *pName = name;
   if (pNameLen != nullptr) *pNameLen = len;
   char* copy = rtxUTF8Strndup(pctxt, (const char*)name, len);
   if (copy == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   rtXmlRdMarkLastEventDone(r);
   pushElemName(pctxt, copy);
   return 0;
}

int rtXmlpGetNextElemID(VXCTXT* pctxt, const XmlElemDescr* table, size_t count, int32_t level,
                        bool errorOnUnknown)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   uint32_t lvl = levelOf(r, level);
   for (;;) {
      int stat = nextStartTag(r, lvl);
      if (stat != 0) return stat;
      const uint8_t* name;
      size_t len;
      int16_t ns;
      rtXmlRdGetTagName(r, &name, &len, &ns);
      uint16_t uns = (uint16_t)ns;
      for (size_t i = 0; i < count; i++) {
         const XmlElemDescr& e = table[i];
         if (e.nameLen == 0) continue;
         if (e.nsIndex != 0 && e.nsIndex != 0xFFFF && e.nsIndex != uns && uns != 0xFFFE) continue;
         if (e.nameLen == len && memcmp(e.name, name, len) == 0) {
            rtXmlRdMarkLastEventDone(r);
            pushElemName(pctxt, e.name);
            return e.id;
         }
      }
      for (size_t i = 0; i < count; i++) {
         const XmlElemDescr& e = table[i];
         if (e.nameLen != 0) continue;
         bool other = e.name != nullptr && e.name[0] != 0;
         if (other ? (uns != 0 && uns != e.nsIndex) : uns == e.nsIndex) {
            rtXmlRdMarkLastEventDone(r);
            pushElemName(pctxt, "*");
            return e.id;
         }
      }
      if (!errorOnUnknown) {
         // Left current and unmarked for the caller to keep or refuse.
         pushElemName(pctxt, "<unknown>");
         return RTERR_UNEXPELEM;
      }
      TAG_FAIL(r, RTERR_UNEXPELEM);
      stat = rtXmlRdSkipCurrentLevel(r);
      if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   }
}

int rtXmlpGetNextSeqElemID2(VXCTXT* pctxt, const XmlElemDescr* table, const XmlGroupDescr* groups,
                            int32_t groupCount, int32_t pos, int32_t lastRequired,
                            bool optionalTail, bool joinNext)
{
   const XmlGroupDescr& g = groups[pos];
   int64_t count = g.count;
   if (joinNext && pos < groupCount - 1) {
      int64_t end = (int64_t)groups[pos + 1].row + groups[pos + 1].count;
      if (end > (int64_t)g.row + count) count = end - g.row;
   }
   bool any = g.anyCase >= 0;
   bool lenient =
      any || (optionalTail && pos > lastRequired) || (joinNext && (int64_t)pos + 1 > lastRequired);
   int id = rtXmlpGetNextElemID(pctxt, table + g.row, count > 0 ? (size_t)count : 0, -1, !lenient);
   bool atLastJoined = joinNext && pos == lastRequired;
   if (id == RTERR_UNEXPELEM) {
      if (any) return g.anyCase;
      if (pos <= lastRequired && !atLastJoined) {
         XmlReader* r = rtXmlpReader(pctxt);
         addTagParms(r);
         return VX_LOG_ERR(pctxt, id);
      }
      // The sequence ends here; the enclosing element refuses what is left.
      return XML_OK_EOB;
   }
   if (id == XML_OK_EOB && pos <= lastRequired && !atLastJoined)
      return VX_LOG_ERRNEW(pctxt, XML_E_ELEMSMISRQ);
   if (id < 0) return VX_LOG_ERR(pctxt, id);
   return id;
}

int rtXmlpGetNextSeqElemID(VXCTXT* pctxt, const XmlElemDescr* table, const XmlGroupDescr* groups,
                           int32_t pos, int32_t lastRequired, bool optionalTail)
{
   return rtXmlpGetNextSeqElemID2(pctxt, table, groups, 0, pos, lastRequired, optionalTail, false);
}

void rtXmlpMarkLastEventActive(VXCTXT* pctxt)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return;
   rtXmlRdMarkLastEventActive(r);
   popElemName(pctxt);
}

bool rtXmlpIsLastEventDone(VXCTXT* pctxt)
{
   XmlReader* r = rtXmlpReader(pctxt);
   return r != nullptr && (r->lastEvent & XMLRD_DONE_MARK) != 0;
}

int32_t rtXmlpGetCurrentLevel(VXCTXT* pctxt)
{
   XmlReader* r = rtXmlpReader(pctxt);
   return r != nullptr ? (int32_t)rtXmlRdGetCurrentLevel(r) : RTERR_NOTINIT;
}

bool rtXmlpIsEmptyElement(VXCTXT* pctxt)
{
   XmlReader* r = rtXmlpReader(pctxt);
   return r != nullptr && rtXmlRdIsEmpty(r);
}

void rtXmlpSetWhiteSpaceMode(VXCTXT* pctxt, uint32_t mode)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r != nullptr) r->nextWsMode = mode;
}

int rtXmlDecEmptyElement(VXCTXT* pctxt)
{
   XmlReader* r = rtXmlpReader(pctxt);
   if (r == nullptr) return RTERR_NOTINIT;
   if (rtXmlRdEvent(r) != XMLRD_STARTTAG) return VX_LOG_ERRNEW(pctxt, XML_E_INVMODE);
   if (r->emptyElement || rtXmlRdIsEmpty(r)) return 0;
   r->wsMode = 0;
   // Comments and instructions may stand inside; nothing else may.
   for (;;) {
      int stat = rtXmlRdNextEvent(r, kEndOrStart | XMLRD_DATA, -1, nullptr);
      if (stat < 0) return VX_LOG_ERR(pctxt, stat);
      if (r->lastEvent == XMLRD_ENDTAG) return 0;
      if (r->lastEvent == XMLRD_STARTTAG || r->contentLen > 0) {
         rtXmlRdErrAddSrcPos(r, false);
         return VX_LOG_ERRNEW(pctxt, XML_E_NOTEMPTY);
      }
   }
}
