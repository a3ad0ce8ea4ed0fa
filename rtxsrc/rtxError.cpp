// Error records of a context: recording, parameters, the report and clearing.
//
// Records live in the context's heap. Each is allocated together with its
// list node (the record directly behind the node), so that adding a record
// needs one allocation and never goes through a list function that could
// itself report exhausted memory.
#include "rtxError.h"

#include <cstdio>
#include <cstdlib>
#include <initializer_list>

#include "rtxCharStr.h"
#include "rtxDList.h"
#include "rtxMemory.h"

namespace {

const size_t kScratchSize = 200;  // one formatted message in the report
const char kUnknownStatusText[] = "unrecognized completion status";
const char kNormalStatusText[] = "normal completion status";

struct ErrNode {
   VXRTDListNode node;
   VXRTErrInfo info;
};

inline VXRTErrInfo* recordOf(const VXRTDListNode* node)
{
   return static_cast<VXRTErrInfo*>(node->data);
}

inline VXRTErrInfo* lastRecord(VXCTXT* pctxt)
{
   return pctxt->errInfo.tail != nullptr ? recordOf(pctxt->errInfo.tail) : nullptr;
}

// Records and parameters may only be touched while the heap that holds them
// is alive; after the heap has gone the lists are merely forgotten.
inline bool heapUsable(VXCTXT* pctxt)
{
   return pctxt->pMemHeap != nullptr && !rtxMemHeapIsEmpty(VX_HEAP(pctxt));
}

bool reservedInList(VXCTXT* pctxt)
{
   for (VXRTDListNode* node = pctxt->errInfo.head; node != nullptr; node = node->next) {
      if (node == &pctxt->reservedNode) return true;
   }
   return false;
}

// The element name stack joined with ".", as a heap string; null for an
// empty stack or on exhaustion (*exhausted tells the two apart).
char* joinElemNames(VXCTXT* pctxt, bool* exhausted)
{
   *exhausted = false;
   const VXRTDList& names = pctxt->elemNameStack;
   if (names.count == 0 || names.head == nullptr) return nullptr;
   size_t length = 0;
   for (VXRTDListNode* node = names.head; node != nullptr; node = node->next) {
      const char* name = static_cast<const char*>(node->data);
      if (node != names.head) length++;
      if (name != nullptr) length += strlen(name);
   }
   char* joined = static_cast<char*>(rtxMemAlloc(pctxt, length + 1));
   if (joined == nullptr) {
      *exhausted = true;
      return nullptr;
   }
   char* out = joined;
   for (VXRTDListNode* node = names.head; node != nullptr; node = node->next) {
      const char* name = static_cast<const char*>(node->data);
      if (node != names.head) *out++ = '.';
      if (name != nullptr) {
         size_t n = strlen(name);
         memcpy(out, name, n);
         out += n;
      }
   }
   *out = '\0';
   return joined;
}

// Stores an already allocated heap text as the next collected parameter.
int storeParm(VXCTXT* pctxt, char* text)
{
   VXRTErrInfo& reserved = pctxt->reservedErr;
   if (text == nullptr) return 0;
   if (reserved.parmCount >= VXRT_ERR_MAXPARMS) {
      rtxMemFreePtr(pctxt, text);
      return 0;
   }
   reserved.parms[reserved.parmCount++] = text;
   return 1;
}

int addParm(VXCTXT* pctxt, const char* text, size_t length)
{
   if (pctxt == nullptr || pctxt->reservedErr.parmCount >= VXRT_ERR_MAXPARMS) return 0;
   char* copy = static_cast<char*>(rtxMemAlloc(pctxt, length + 1));
   if (copy == nullptr) return 0;
   memcpy(copy, text, length);
   copy[length] = '\0';
   return storeParm(pctxt, copy);
}

// A number as decimal text.
template <typename T>
int addNumberParm(VXCTXT* pctxt, T value)
{
   VXDecimalText d(value);
   return d.length > 0 ? addParm(pctxt, d.text, (size_t)d.length) : 0;
}

void freeParms(VXCTXT* pctxt, VXRTErrInfo* rec)
{
   for (int i = 0; i < VXRT_ERR_MAXPARMS; i++) {
      if (rec->parms[i] != nullptr) rtxMemFreePtr(pctxt, rec->parms[i]);
      rec->parms[i] = nullptr;
   }
   rec->parmCount = 0;
}

void freeRecordTexts(VXCTXT* pctxt, VXRTErrInfo* rec)
{
   freeParms(pctxt, rec);
   if (rec->elemName != nullptr) rtxMemFreePtr(pctxt, rec->elemName);
   rec->elemName = nullptr;
}

// Forgets the reserved record's contents and unlinks its node.
void clearReserved(VXCTXT* pctxt)
{
   memset(&pctxt->reservedErr, 0, sizeof(pctxt->reservedErr));
   pctxt->reservedNode.data = &pctxt->reservedErr;
   pctxt->reservedNode.next = nullptr;
   pctxt->reservedNode.prev = nullptr;
}

// Removes one record from the list and releases it with its texts.
void dropNode(VXCTXT* pctxt, VXRTDListNode* node)
{
   freeRecordTexts(pctxt, recordOf(node));
   rtxDListRemove(&pctxt->errInfo, node);
   if (node == &pctxt->reservedNode) {
      clearReserved(pctxt);
   } else {
      rtxMemFreePtr(pctxt, node);
   }
}

// A new last record with status 0: from the heap, or, for -10 when the heap
// is exhausted, the reserved record. 0 on success, -10 otherwise.
int newLastRecord(VXCTXT* pctxt, int status)
{
   if (rtxErrNewNode(pctxt) != nullptr) {
      if (!reservedInList(pctxt)) pctxt->reservedErr.status = 0;
      return 0;
   }
   if (pctxt->reservedErr.status != 0 || status != RTERR_NOMEM || reservedInList(pctxt)) {
      return RTERR_NOMEM;
   }
   pctxt->reservedNode.data = &pctxt->reservedErr;
   rtxDListAppendNode(&pctxt->errInfo, &pctxt->reservedNode);
   return 0;
}

// Hands the collected parameters over to the record that takes the status.
void moveCollectedParms(VXCTXT* pctxt, VXRTErrInfo* rec)
{
   VXRTErrInfo& reserved = pctxt->reservedErr;
   if (rec == &reserved || reserved.parmCount == 0) return;
   int count = reserved.parmCount < VXRT_ERR_MAXPARMS ? reserved.parmCount : VXRT_ERR_MAXPARMS;
   freeParms(pctxt, rec);
   for (int i = 0; i < count; i++) {
      rec->parms[i] = reserved.parms[i];
      reserved.parms[i] = nullptr;
   }
   rec->parmCount = (uint8_t)count;
   reserved.parmCount = 0;
}

// rtxErrSetData without the element name parameter of -23.
int setDataNoName(VXCTXT* pctxt, int status, const char* file, int line)
{
   VXRTErrInfo* rec = lastRecord(pctxt);
   if (rec == nullptr) {
      if (newLastRecord(pctxt, status) != 0) return RTERR_NOMEM;
      rec = lastRecord(pctxt);
   }
   if (rec->status == 0) {
      rec->status = (int16_t)status;
   } else if (rec->status != status) {
      if (newLastRecord(pctxt, status) != 0) return RTERR_NOMEM;
      rec = lastRecord(pctxt);
      rec->status = (int16_t)status;
   }
   moveCollectedParms(pctxt, rec);
   if ((pctxt->flags & VXCTXT_FLAG_FREEING) == 0) {
      if (rec->stackCount < VXRT_ERR_MAXSTACK && file != nullptr && file[0] != '\0') {
         rec->stack[rec->stackCount].module = file;
         rec->stack[rec->stackCount].lineno = line;
         rec->stackCount++;
      }
      if (rec->elemName == nullptr || rec->elemName[0] == '\0') {
         bool exhausted;
         char* name = joinElemNames(pctxt, &exhausted);
         if (name != nullptr) {
            if (rec->elemName != nullptr) rtxMemFreePtr(pctxt, rec->elemName);
            rec->elemName = name;
         }
      }
   }
   return rtxErrGetStatus(pctxt);
}

inline bool hasElemName(const VXRTErrInfo* rec)
{
   return rec->elemName != nullptr && rec->elemName[0] != '\0';
}

// Capacity estimate of a report: one allocation, one pass.
size_t reportCapacity(VXCTXT* pctxt)
{
   size_t capacity = 200;
   for (VXRTDListNode* node = pctxt->errInfo.head; node != nullptr; node = node->next) {
      const VXRTErrInfo* rec = recordOf(node);
      capacity += 100 * ((size_t)rec->stackCount + 2);
      if (hasElemName(rec)) capacity += strlen(rec->elemName) + 20;
   }
   return capacity;
}

// Appends the pieces in order; false at the first that does not fit.
bool appendAll(char* buffer, size_t size, std::initializer_list<const char*> pieces)
{
   for (const char* piece : pieces) {
      if (rtxStrcat(buffer, size, piece) == nullptr) return false;
   }
   return true;
}

// One record of the report. The scratch area keeps the previous message for
// a -50 record, which formats nothing.
bool appendRecordReport(VXRTErrInfo* rec, char* scratch, char* buffer, size_t size)
{
   char number[24];
   rtxIntToCharStr(rec->status, number, sizeof(number), 0);
   rtxErrFmtMsg(rec, scratch, kScratchSize);
   if (!appendAll(buffer, size, {"ERROR: Status ", number, "\n", scratch, "\n"})) return false;
   if (hasElemName(rec) && !appendAll(buffer, size, {"Element name: ", rec->elemName, "\n"})) {
      return false;
   }
   if (rec->stackCount == 0) return true;
   if (!appendAll(buffer, size, {"Stack trace:\n"})) return false;
   int count = rec->stackCount < VXRT_ERR_MAXSTACK ? rec->stackCount : VXRT_ERR_MAXSTACK;
   for (int i = count - 1; i >= 0; i--) {
      rtxIntToCharStr(rec->stack[i].lineno, number, sizeof(number), 0);
      const char* module = rec->stack[i].module != nullptr ? rec->stack[i].module : "";
      if (!appendAll(buffer, size, {"  Module: ", module, " Line ", number, "\n"})) return false;
   }
   return true;
}

char* msgText(VXCTXT* pctxt, char* buffer, size_t size, bool withElemName)
{
   if (pctxt == nullptr || buffer == nullptr || size == 0) return nullptr;
   buffer[0] = '\0';
   char scratch[kScratchSize];
   memset(scratch, 0, sizeof(scratch));
   const char* sep = "";
   for (VXRTDListNode* node = pctxt->errInfo.head; node != nullptr; node = node->next) {
      VXRTErrInfo* rec = recordOf(node);
      if (withElemName && hasElemName(rec)) {
         if (!appendAll(buffer, size, {sep, "Element: ", rec->elemName})) break;
         sep = "\n";
      }
      rtxErrFmtMsg(rec, scratch, sizeof(scratch));
      if (!appendAll(buffer, size, {sep, scratch})) break;
      sep = "\n";
   }
   return buffer;
}

int appendCopies(VXCTXT* pDest, VXCTXT* pSrc)
{
   // Walk a fixed count so that appending a context to itself ends.
   uint64_t remaining = pSrc->errInfo.count;
   for (VXRTDListNode* node = pSrc->errInfo.head; node != nullptr && remaining > 0;
        node = node->next, remaining--) {
      const VXRTErrInfo* src = recordOf(node);
      VXRTErrInfo* dst = rtxErrNewNode(pDest);
      if (dst == nullptr) return RTERR_NOMEM;
      dst->status = src->status;
      dst->fatal = src->fatal;
      dst->stackCount = src->stackCount;
      memcpy(dst->stack, src->stack, sizeof(dst->stack));
      int count = src->parmCount < VXRT_ERR_MAXPARMS ? src->parmCount : VXRT_ERR_MAXPARMS;
      for (int i = 0; i < count; i++) {
         dst->parms[i] = rtxStrdup(pDest, src->parms[i] != nullptr ? src->parms[i] : "");
         if (dst->parms[i] == nullptr) return RTERR_NOMEM;
         dst->parmCount = (uint8_t)(i + 1);
      }
      if (src->elemName != nullptr) {
         dst->elemName = rtxStrdup(pDest, src->elemName);
         if (dst->elemName == nullptr) return RTERR_NOMEM;
      }
   }
   return 0;
}

}  // namespace

// ---- parameters ----

int rtxErrAddStrParm(VXCTXT* pctxt, const char* text)
{
   if (text == nullptr) text = "(null)";
   return addParm(pctxt, text, strlen(text));
}

int rtxErrAddStrnParm(VXCTXT* pctxt, const char* text, size_t length)
{
   if (text == nullptr) return rtxErrAddStrParm(pctxt, nullptr);
   const void* nul = memchr(text, '\0', length);
   if (nul != nullptr) length = (size_t)(static_cast<const char*>(nul) - text);
   return addParm(pctxt, text, length);
}

int rtxErrAddIntParm(VXCTXT* pctxt, int value) { return addNumberParm(pctxt, value); }

int rtxErrAddUIntParm(VXCTXT* pctxt, unsigned value) { return addNumberParm(pctxt, value); }

int rtxErrAddInt64Parm(VXCTXT* pctxt, int64_t value) { return addNumberParm(pctxt, value); }

int rtxErrAddUInt64Parm(VXCTXT* pctxt, uint64_t value) { return addNumberParm(pctxt, value); }

int rtxErrAddSizeParm(VXCTXT* pctxt, size_t value) { return addNumberParm(pctxt, value); }

int rtxErrAddDoubleParm(VXCTXT* pctxt, double value)
{
   char text[64];
   int n = snprintf(text, sizeof(text), "%E", value);
   if (n < 0 || (size_t)n >= sizeof(text)) return 0;
   return addParm(pctxt, text, (size_t)n);
}

int rtxErrAddElemNameParm(VXCTXT* pctxt)
{
   if (pctxt == nullptr || pctxt->reservedErr.parmCount >= VXRT_ERR_MAXPARMS) return 0;
   bool exhausted;
   char* joined = joinElemNames(pctxt, &exhausted);
   if (joined != nullptr) return storeParm(pctxt, joined);
   return exhausted ? 0 : rtxErrAddStrParm(pctxt, "?");
}

// ---- recording ----

int rtxErrSetData(VXCTXT* pctxt, int status, const char* file, int line)
{
   if (status == RTERR_TOOBIG) rtxErrAddElemNameParm(pctxt);
   return setDataNoName(pctxt, status, file, line);
}

int rtxErrSetNewData(VXCTXT* pctxt, int status, const char* file, int line)
{
   if (newLastRecord(pctxt, status) != 0) return RTERR_NOMEM;
   return rtxErrSetData(pctxt, status, file, line);
}

VXRTErrInfo* rtxErrNewNode(VXCTXT* pctxt)
{
   ErrNode* entry = static_cast<ErrNode*>(rtxMemAllocZ(pctxt, sizeof(ErrNode)));
   if (entry == nullptr) return nullptr;
   entry->info.fatal = 1;
   entry->node.data = &entry->info;
   rtxDListAppendNode(&pctxt->errInfo, &entry->node);
   return &entry->info;
}

void rtxErrSetNonFatal(VXCTXT* pctxt)
{
   VXRTErrInfo* rec = lastRecord(pctxt);
   if (rec != nullptr) rec->fatal = 0;
}

int rtxErrInvUIntOpt(VXCTXT* pctxt, uint32_t value)
{
   rtxErrAddUIntParm(pctxt, value);
   return RTERR_INVOPT;
}

void rtxErrAssertionFailed(const char* condition, int lineno, const char* file)
{
   printf("Run-time assertion '%s' failed.  Line %d, File %s\n", condition, lineno, file);
   fflush(stdout);
   exit(-1);
}

// ---- reading ----

int rtxErrGetStatus(VXCTXT* pctxt)
{
   int status = 0;
   bool seenFatal = false;
   for (VXRTDListNode* node = pctxt->errInfo.head; node != nullptr; node = node->next) {
      const VXRTErrInfo* rec = recordOf(node);
      if (!rec->fatal) continue;
      if (seenFatal) return RTERR_MULTIPLE;
      seenFatal = true;
      status = rec->status;
   }
   return status;
}

int rtxErrGetFirstError(VXCTXT* pctxt)
{
   return pctxt->errInfo.head != nullptr ? recordOf(pctxt->errInfo.head)->status : 0;
}

int rtxErrGetLastError(VXCTXT* pctxt)
{
   VXRTErrInfo* rec = lastRecord(pctxt);
   return rec != nullptr ? rec->status : 0;
}

uint64_t rtxErrGetErrorCnt(VXCTXT* pctxt) { return pctxt->errInfo.count; }

char* rtxErrGetText(VXCTXT* pctxt, char* buffer, size_t* pSize)
{
   if (buffer != nullptr && pSize != nullptr) return rtxErrGetTextBuf(pctxt, buffer, *pSize);
   size_t capacity = reportCapacity(pctxt);
   char* text = static_cast<char*>(rtxMemAllocArray2(pctxt, capacity, 1, 0));
   if (text == nullptr) return nullptr;
   if (pSize != nullptr) *pSize = capacity;
   return rtxErrGetTextBuf(pctxt, text, capacity);
}

char* rtxErrGetTextBuf(VXCTXT* pctxt, char* buffer, size_t size)
{
   if (pctxt == nullptr || buffer == nullptr || size == 0) return buffer;
   buffer[0] = '\0';
   char scratch[kScratchSize];
   memset(scratch, 0, sizeof(scratch));
   for (VXRTDListNode* node = pctxt->errInfo.head; node != nullptr; node = node->next) {
      if (!appendRecordReport(recordOf(node), scratch, buffer, size)) break;
   }
   return buffer;
}

char* rtxErrFmtMsg(VXRTErrInfo* pErrInfo, char* buffer, size_t size)
{
   if (pErrInfo == nullptr || buffer == nullptr || size == 0) return nullptr;
   if (pErrInfo->status == RTERR_MULTIPLE) return buffer;
   if (pErrInfo->status < 0) {
      const char* tmpl = rtxErrGetTemplate(pErrInfo->status);
      if (tmpl != nullptr) return rtxErrFmtMsgText(pErrInfo, tmpl, buffer, size);
      rtxStrncpy(buffer, size, kUnknownStatusText, sizeof(kUnknownStatusText) - 1);
   } else {
      rtxStrncpy(buffer, size, kNormalStatusText, sizeof(kNormalStatusText) - 1);
   }
   return buffer;
}

char* rtxErrFmtMsgText(VXRTErrInfo* pErrInfo, const char* tmpl, char* buffer, size_t size)
{
   if (pErrInfo == nullptr || tmpl == nullptr || buffer == nullptr || size == 0) return nullptr;
   const size_t limit = size - 1;
   const int parmCount =
      pErrInfo->parmCount < VXRT_ERR_MAXPARMS ? pErrInfo->parmCount : VXRT_ERR_MAXPARMS;
   int nextParm = 0;
   size_t n = 0;
   bool full = false;
   for (const char* p = tmpl; *p != '\0' && !full;) {
      if (p[0] == '%' && p[1] == 's') {
         const char* parm = nextParm < parmCount ? pErrInfo->parms[nextParm++] : nullptr;
         if (parm == nullptr) parm = "?";
         for (; *parm != '\0'; parm++) {
            if (n >= limit) {
               full = true;
               break;
            }
            buffer[n++] = *parm;
         }
         p += 2;
      } else if (n >= limit) {
         full = true;
      } else {
         buffer[n++] = *p++;
      }
   }
   // Parameters that no placeholder took stand behind the text.
   for (; !full && nextParm < parmCount; nextParm++) {
      const char* parm = pErrInfo->parms[nextParm] != nullptr ? pErrInfo->parms[nextParm] : "?";
      size_t length = strlen(parm);
      if (length + 1 > limit - n) break;
      buffer[n++] = ' ';
      memcpy(buffer + n, parm, length);
      n += length;
   }
   buffer[n] = '\0';
   return buffer;
}

void rtxErrPrint(VXCTXT* pctxt)
{
   for (VXRTDListNode* node = pctxt->errInfo.head; node != nullptr; node = node->next) {
      rtxErrPrintElement(recordOf(node));
   }
}

void rtxErrPrintElement(VXRTErrInfo* pErrInfo)
{
   if (pErrInfo == nullptr) return;
   char message[kScratchSize];
   message[0] = '\0';
   rtxErrFmtMsg(pErrInfo, message, sizeof(message));
   printf("ERROR: Status %d\n", pErrInfo->status);
   printf("%s\n", message);
   if (hasElemName(pErrInfo)) printf("Element name: %s\n", pErrInfo->elemName);
   if (pErrInfo->stackCount > 0) {
      puts("Stack trace:");
      int count =
         pErrInfo->stackCount < VXRT_ERR_MAXSTACK ? pErrInfo->stackCount : VXRT_ERR_MAXSTACK;
      for (int i = count - 1; i >= 0; i--) {
         const VXRTErrLocn& locn = pErrInfo->stack[i];
         printf("  Module: %s, Line %d\n", locn.module != nullptr ? locn.module : "", locn.lineno);
      }
   }
}

char* rtxErrGetMsgText(VXCTXT* pctxt)
{
   size_t capacity = reportCapacity(pctxt);
   char* text = static_cast<char*>(rtxMemAllocArray2(pctxt, capacity, 1, 0));
   if (text == nullptr) return nullptr;
   return msgText(pctxt, text, capacity, true);
}

char* rtxErrGetMsgTextBuf(VXCTXT* pctxt, char* buffer, size_t size)
{
   return msgText(pctxt, buffer, size, false);
}

// ---- clearing ----

void rtxErrFreeParms(VXCTXT* pctxt)
{
   if (!heapUsable(pctxt)) {
      memset(pctxt->reservedErr.parms, 0, sizeof(pctxt->reservedErr.parms));
      pctxt->reservedErr.parmCount = 0;
      return;
   }
   for (VXRTDListNode* node = pctxt->errInfo.head; node != nullptr; node = node->next) {
      freeRecordTexts(pctxt, recordOf(node));
   }
   freeParms(pctxt, &pctxt->reservedErr);
}

void rtxErrResetErrInfo(VXCTXT* pctxt)
{
   // An empty list and no collected parameter (every call that succeeds):
   // nothing to free, so the heap need not be asked.
   const VXRTErrInfo& reserved = pctxt->reservedErr;
   if (pctxt->errInfo.head != nullptr || reserved.parmCount != 0 || reserved.elemName != nullptr) {
      if (heapUsable(pctxt)) {
         rtxErrFreeParms(pctxt);
         VXRTDListNode* node = pctxt->errInfo.head;
         while (node != nullptr) {
            VXRTDListNode* next = node->next;
            if (node != &pctxt->reservedNode) rtxMemFreePtr(pctxt, node);
            node = next;
         }
      }
   }
   rtxDListInit(&pctxt->errInfo);
   clearReserved(pctxt);
}

void rtxErrReset(VXCTXT* pctxt)
{
   if (pctxt->elemNameStack.head != nullptr)
      rtxDListFreeNodes(pctxt, &pctxt->elemNameStack);
   else
      rtxDListInit(&pctxt->elemNameStack);
   rtxErrResetErrInfo(pctxt);
   rtxCtxtPopAllContainers(pctxt);
}

void rtxErrResetLastErrors(VXCTXT* pctxt, int count)
{
   if (!heapUsable(pctxt)) {
      if (count > 0) rtxErrResetErrInfo(pctxt);
      return;
   }
   for (int i = 0; i < count && pctxt->errInfo.tail != nullptr; i++) {
      dropNode(pctxt, pctxt->errInfo.tail);
   }
}

int rtxErrCopy(VXCTXT* pDestCtxt, VXCTXT* pSrcCtxt)
{
   if (pDestCtxt == nullptr || pSrcCtxt == nullptr) return RTERR_INVPARAM;
   if (pDestCtxt == pSrcCtxt) return 0;
   rtxErrResetErrInfo(pDestCtxt);
   return appendCopies(pDestCtxt, pSrcCtxt);
}

int rtxErrAppend(VXCTXT* pDestCtxt, VXCTXT* pSrcCtxt)
{
   if (pDestCtxt == nullptr || pSrcCtxt == nullptr) return RTERR_INVPARAM;
   return appendCopies(pDestCtxt, pSrcCtxt);
}
