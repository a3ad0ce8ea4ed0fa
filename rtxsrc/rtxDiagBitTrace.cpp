// The bit trace: recording bit fields while a codec runs, and printing them
// as a table of bits, hex digits and characters, 4 bytes to a line.
#include "rtxDiagBitTrace.h"

#include <cstdio>

#include "rtxDList.h"
#include "rtxDiag.h"
#include "rtxMemBuf.h"
#include "rtxMemory.h"
#include "rtxPrintStream.h"
#include "rtxSList.h"
#include "rtxStream.h"

static const uint8_t FIRST_BIT_MASK = 0x80;
static const int32_t LINE_BYTES = 4;

static inline VXCTXT* traceCtxt(const VXRTDiagBitFieldList* pBFList)
{
   return pBFList->fieldList.pctxt;
}

static inline VXRTDiagBitField* lastField(const VXRTDiagBitFieldList* pBFList)
{
   const VXRTSListNode* tail = pBFList->fieldList.tail;
   return tail != nullptr ? static_cast<VXRTDiagBitField*>(tail->data) : nullptr;
}

static void resetDumpState(VXRTDiagBitDumpState& ds)
{
   memset(&ds, 0, sizeof(ds));
   ds.bitMask = FIRST_BIT_MASK;
}

// The element path of the context joined with "."; null for an empty stack.
static char* elemPath(VXCTXT* pctxt)
{
   char* name = nullptr;
   if (pctxt->elemNameStack.count > 0 &&
       rtxDListToUTF8Str(pctxt, &pctxt->elemNameStack, &name, '.') < 0)
      return nullptr;
   return name;
}

int rtxDiagCtxtBitFieldListInit(VXCTXT* pctxt)
{
   if (pctxt == nullptr) return RTERR_INVPARAM;
   VXRTDiagBitFieldList* pBFList = rtxMemAllocTypeZ(pctxt, VXRTDiagBitFieldList);
   if (pBFList == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   rtxDiagBitFieldListInit(pctxt, pBFList);
   pctxt->pBitFldList = pBFList;
   return 0;
}

void rtxDiagBitFieldListInit(VXCTXT* pctxt, VXRTDiagBitFieldList* pBFList)
{
   if (pctxt == nullptr || pBFList == nullptr) return;
   memset(pBFList, 0, sizeof(*pBFList));
   rtxSListInitEx(pctxt, &pBFList->fieldList);
   resetDumpState(pBFList->dumpState);
   // A stream other than memory passes its bytes by: keep a copy of them
   // for the printer.
   if (rtxCtxtHasLiveStream(pctxt) && pctxt->pStream->id != VXRT_STREAM_ID_MEMORY) {
      VXRTMEMBUF* pCapture = rtxMemAllocTypeZ(pctxt, VXRTMEMBUF);
      if (pCapture != nullptr) {
         rtxMemBufInit(pctxt, pCapture, 0);
         if (rtxStreamSetCapture(pctxt, pCapture) == 0) pBFList->pCaptureBuf = pCapture;
      }
   }
}

void rtxDiagBitFieldListReset(VXRTDiagBitFieldList* pBFList)
{
   if (pBFList == nullptr) return;
   VXCTXT* pctxt = traceCtxt(pBFList);
   if (pctxt != nullptr && !rtxMemHeapIsEmpty(&pctxt->pMemHeap)) {
      for (VXRTSListNode* node = pBFList->fieldList.head; node != nullptr; node = node->next) {
         VXRTDiagBitField* field = static_cast<VXRTDiagBitField*>(node->data);
         if (field == nullptr) continue;
         if (field->elemName != nullptr) rtxMemFreePtr(pctxt, field->elemName);
         rtxMemFreePtr(pctxt, field);
      }
   }
   rtxSListFree(&pBFList->fieldList);
   pBFList->curNode = nullptr;
   resetDumpState(pBFList->dumpState);
}

VXRTDiagBitField* rtxDiagNewBitFieldImpl(VXRTDiagBitFieldList* pBFList, const char* nameSuffix)
{
   VXCTXT* pctxt = traceCtxt(pBFList);
   if (pBFList->disabled != 0 || pctxt == nullptr) return nullptr;
   VXRTDiagBitField* field = rtxMemAllocTypeZ(pctxt, VXRTDiagBitField);
   if (field == nullptr) return nullptr;
   field->elemName = elemPath(pctxt);
   field->nameSuffix = nameSuffix;
   field->bitOffset = rtxCtxtGetBitOffset(pctxt);
   if (rtxSListAppend(&pBFList->fieldList, field) == nullptr) {
      if (field->elemName != nullptr) rtxMemFreePtr(pctxt, field->elemName);
      rtxMemFreePtr(pctxt, field);
      return nullptr;
   }
   return field;
}

VXRTDiagBitField* rtxDiagAddBitFieldImpl(VXRTDiagBitFieldList* pBFList, const char* nameSuffix,
                                         uint64_t bitCount)
{
   VXRTDiagBitField* field = rtxDiagNewBitFieldImpl(pBFList, nameSuffix);
   if (field == nullptr) return nullptr;
   // A write that could not take place leaves the cursor behind the count.
   field->bitOffset = field->bitOffset >= bitCount ? field->bitOffset - bitCount : 0;
   field->bitCount = bitCount;
   return field;
}

VXRTDiagBitFieldList* rtxDiagNewNestedList(VXCTXT* pctxt)
{
   VXRTDiagBitFieldList* nested = rtxMemAllocTypeZ(pctxt, VXRTDiagBitFieldList);
   if (nested == nullptr) return nullptr;
   rtxDiagBitFieldListInit(pctxt, nested);
   if (rtxDiagNewBitFieldImpl(nested, nullptr) == nullptr) {
      rtxSListFree(&nested->fieldList);
      rtxMemFreePtr(pctxt, nested);
      return nullptr;
   }
   return nested;
}

void rtxDiagAttachNestedList(VXRTDiagBitFieldList* outer, VXRTDiagBitFieldList* nested)
{
   VXRTDiagBitField* field = outer != nullptr ? lastField(outer) : nullptr;
   if (field == nullptr || nested == nullptr || nested->fieldList.head == nullptr) return;
   VXRTDiagBitField* base = static_cast<VXRTDiagBitField*>(nested->fieldList.head->data);
   // The base field holds where the value began in the positions of the
   // nested fields; afterwards, the bits of the first byte that come before
   // the open type.
   uint64_t origin = base->bitOffset;
   for (VXRTSListNode* node = nested->fieldList.head->next; node != nullptr; node = node->next) {
      VXRTDiagBitField* f = static_cast<VXRTDiagBitField*>(node->data);
      if (f != nullptr) f->bitOffset = f->bitOffset >= origin ? f->bitOffset - origin : 0;
   }
   base->bitOffset = field->bitOffset % 8;
   field->pOpenTypeFields = nested;
}

void rtxDiagSetBitFldOffsetImpl(VXRTDiagBitFieldList* pBFList)
{
   VXRTDiagBitField* field = lastField(pBFList);
   if (field == nullptr || field->bitCount != 0) return;
   VXCTXT* pctxt = traceCtxt(pBFList);
   field->bitOffset = rtxCtxtGetBitOffset(pctxt);
   rtxDiagPrint(pctxt, "field '%s' bit offset set to %d\n",
                field->nameSuffix != nullptr ? field->nameSuffix : "", (int)field->bitOffset);
}

void rtxDiagSetBitFldCountImpl(VXRTDiagBitFieldList* pBFList)
{
   VXRTDiagBitField* field = lastField(pBFList);
   if (field == nullptr) return;
   uint64_t pos = rtxCtxtGetBitOffset(traceCtxt(pBFList));
   field->bitCount = pos > field->bitOffset ? pos - field->bitOffset : 0;
}

void rtxDiagSetBitFldNameSuffixImpl(VXRTDiagBitFieldList* pBFList, const char* nameSuffix)
{
   VXRTDiagBitField* field = lastField(pBFList);
   if (field != nullptr) field->nameSuffix = nameSuffix;
}

void rtxDiagBitFldAppendNamePartImpl(VXRTDiagBitFieldList* pBFList, const char* namePart)
{
   VXRTDiagBitField* field = lastField(pBFList);
   VXCTXT* pctxt = traceCtxt(pBFList);
   if (field == nullptr || namePart == nullptr) return;
   if (field->elemName == nullptr) {
      field->elemName = elemPath(pctxt);
      if (field->elemName != nullptr) return;
   }
   size_t oldLen = field->elemName != nullptr ? strlen(field->elemName) : 0;
   size_t partLen = strlen(namePart);
   char* name = static_cast<char*>(rtxMemAlloc(pctxt, oldLen + partLen + 2));
   if (name == nullptr) return;
   size_t len = 0;
   if (oldLen > 0) {
      memcpy(name, field->elemName, oldLen);
      name[oldLen] = '.';
      len = oldLen + 1;
   }
   memcpy(name + len, namePart, partLen + 1);
   if (field->elemName != nullptr) rtxMemFreePtr(pctxt, field->elemName);
   field->elemName = name;
}

void rtxDiagInsBitFieldLenImpl(VXRTDiagBitFieldList* pBFList)
{
   VXRTDiagBitField* field = lastField(pBFList);
   if (field == nullptr) return;
   const char* suffix = field->nameSuffix;
   rtxDiagSetBitFldCountImpl(pBFList);
   field->nameSuffix = "length";
   rtxDiagNewBitFieldImpl(pBFList, suffix);
}

bool rtxDiagSetBitFldDisabled(VXRTDiagBitFieldList* pBFList, bool value)
{
   if (pBFList == nullptr) return true;
   if (value) {
      if (pBFList->disabled < 0xFFFF) pBFList->disabled++;
   } else if (pBFList->disabled > 0) {
      pBFList->disabled--;
   }
   return pBFList->disabled != 0;
}

// ---- printing ----

namespace {

// The bytes a list describes; bits beyond `size` read as 0.
struct TraceBytes {
   const uint8_t* data;
   size_t size;

   bool bit(uint64_t bitPos) const
   {
      uint64_t byteIdx = bitPos / 8;
      if (data == nullptr || byteIdx >= size) return false;
      return (data[byteIdx] & (FIRST_BIT_MASK >> (bitPos % 8))) != 0;
   }
};

void printLine(VXCTXT* pctxt, const VXRTDiagBitDumpState& ds)
{
   rtxPrintToStream(pctxt, "%-35.35s    %-8.8s    %-4.4s\n", ds.bitsText, ds.hexText, ds.asciiText);
}

// Ends a byte of the line; prints and clears the line when it holds 4.
void completeByte(VXCTXT* pctxt, VXRTDiagBitDumpState& ds)
{
   static const char hexDigits[] = "0123456789abcdef";
   ds.bitsText[ds.bitsCount++] = ' ';
   ds.hexText[ds.hexCount++] = hexDigits[ds.byteValue >> 4];
   ds.hexText[ds.hexCount++] = hexDigits[ds.byteValue & 15];
   ds.asciiText[ds.asciiCount++] =
      (ds.byteValue >= 32 && ds.byteValue <= 126) ? (char)ds.byteValue : '.';
   ds.byteValue = 0;
   ds.bitMask = FIRST_BIT_MASK;
   if (ds.hexCount >= 2 * LINE_BYTES) {
      printLine(pctxt, ds);
      resetDumpState(ds);
   }
}

void putBit(VXCTXT* pctxt, VXRTDiagBitDumpState& ds, char symbol, bool isSet)
{
   ds.bitsText[ds.bitsCount++] = symbol;
   if (isSet) ds.byteValue |= ds.bitMask;
   ds.bitMask >>= 1;
   if (ds.bitMask == 0) completeByte(pctxt, ds);
}

// Masks what earlier fields put on the carried-over line.
void maskCarriedLine(VXRTDiagBitDumpState& ds)
{
   for (int32_t i = 0; i < ds.bitsCount; i++) ds.bitsText[i] = (i % 9 == 8) ? ' ' : '-';
   memset(ds.hexText, '-', (size_t)ds.hexCount);
   memset(ds.asciiText, '-', (size_t)ds.asciiCount);
}

void dumpFieldBits(VXCTXT* pctxt, VXRTDiagBitDumpState& ds, const TraceBytes& bytes,
                   uint64_t bitOffset, uint64_t bitCount, uint64_t limit)
{
   maskCarriedLine(ds);
   // A field that opens a line in the middle of a byte: the bits of that
   // byte before it count as an earlier field's.
   if (ds.bitsCount == 0 && ds.bitMask == FIRST_BIT_MASK) {
      for (uint64_t pos = bitOffset & ~(uint64_t)7; pos < bitOffset; pos++) {
         bool isSet = bytes.bit(pos);
         ds.bitsText[ds.bitsCount++] = '-';
         if (isSet) ds.byteValue |= ds.bitMask;
         ds.bitMask >>= 1;
      }
   }
   uint64_t end = bitOffset + bitCount;
   for (uint64_t pos = bitOffset; pos < end; pos++) {
      bool isSet = bytes.bit(pos);
      putBit(pctxt, ds, isSet ? '1' : '0', isSet);
   }
   for (uint64_t pos = end; pos < limit; pos++) putBit(pctxt, ds, 'x', false);

   if (ds.bitsCount > 0) {
      // Print the partial line filled up with "-"; the state keeps it as it
      // is for the next field.
      VXRTDiagBitDumpState padded = ds;
      memset(padded.bitsText + padded.bitsCount, '-', (size_t)(35 - padded.bitsCount));
      padded.bitsText[35] = '\0';
      memset(padded.hexText + padded.hexCount, '-', (size_t)(8 - padded.hexCount));
      padded.hexText[8] = '\0';
      memset(padded.asciiText + padded.asciiCount, '-', (size_t)(4 - padded.asciiCount));
      padded.asciiText[4] = '\0';
      printLine(pctxt, padded);
   }
}

inline bool isBaseField(const VXRTDiagBitField* field)
{
   return field->elemName == nullptr && field->nameSuffix == nullptr && field->bitCount == 0;
}

// Prints through `pctxt`, the context of the outermost list: a nested list
// may have been recorded in a sub-context that no longer exists.
void printList(VXCTXT* pctxt, VXRTDiagBitFieldList* pBFList, const char* varname,
               const TraceBytes& bytes)
{
   VXRTSListNode* head = pBFList->fieldList.head;
   if (head == nullptr) return;
   uint64_t base = 0;
   const VXRTDiagBitField* first = static_cast<const VXRTDiagBitField*>(head->data);
   bool hasBase = first != nullptr && isBaseField(first);
   if (hasBase) base = first->bitOffset;

   VXRTSListNode* node = pBFList->curNode != nullptr ? pBFList->curNode->next : head;
   if (node == head && hasBase) node = head->next;
   for (; node != nullptr; node = node->next) {
      const VXRTDiagBitField* field = static_cast<const VXRTDiagBitField*>(node->data);
      pBFList->curNode = node;
      if (field == nullptr) continue;
      uint64_t offset = field->bitOffset + base;
      uint64_t limit = 0;
      if (node->next != nullptr && node->next->data != nullptr)
         limit = static_cast<const VXRTDiagBitField*>(node->next->data)->bitOffset + base;

      rtxPrintToStream(pctxt, "%s", varname != nullptr ? varname : "");
      if (field->elemName != nullptr) rtxPrintToStream(pctxt, ".%s", field->elemName);
      if (field->nameSuffix != nullptr) rtxPrintToStream(pctxt, " %.32s", field->nameSuffix);
      rtxPrintToStream(pctxt, "\n");
      rtxPrintToStream(pctxt, "bit offset: %d\tbit count: %d\tnext bit offset: %d\n", (int)offset,
                       (int)field->bitCount, (int)(offset + field->bitCount));
      dumpFieldBits(pctxt, pBFList->dumpState, bytes, offset, field->bitCount, limit);
      rtxPrintToStream(pctxt, "\n");

      if (field->pOpenTypeFields != nullptr) {
         rtxPrintToStream(pctxt, "*** Open Type Data ***\n");
         size_t startByte = (size_t)(offset / 8);
         TraceBytes inner = {nullptr, 0};
         if (startByte < bytes.size) inner = {bytes.data + startByte, bytes.size - startByte};
         printList(pctxt, field->pOpenTypeFields, varname, inner);
         rtxPrintToStream(pctxt, "***\n");
      }
   }
}

}  // namespace

void rtxDiagBitTracePrint(VXRTDiagBitFieldList* pBFList, const char* varname)
{
   if (pBFList == nullptr || traceCtxt(pBFList) == nullptr) return;
   VXCTXT* pctxt = traceCtxt(pBFList);
   TraceBytes bytes = {pctxt->buffer.data,
                       pctxt->buffer.data != nullptr ? (size_t)pctxt->buffer.size : 0};
   if (rtxCtxtHasLiveStream(pctxt) && pctxt->pStream->id != VXRT_STREAM_ID_MEMORY) {
      if (pBFList->pCaptureBuf == nullptr) {
         rtxDiagStream(pctxt, "~E ERROR: capture buffer was not assigned to stream\n");
         return;
      }
      bytes.data = rtxMemBufGetData(pBFList->pCaptureBuf, nullptr);
      bytes.size = rtxMemBufGetDataLen(pBFList->pCaptureBuf);
   }
   printList(pctxt, pBFList, varname, bytes);
}
