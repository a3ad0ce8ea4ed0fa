// Set-up, tear-down and cursor handling of the run-time context, and its
// element name and container stacks.
#include "rtxContext.h"

#include "rtxCharStr.h"
#include "rtxDList.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxPrintStream.h"
#include "rtxStack.h"
#include "rtxStream.h"

// Default size of a work buffer the run-time allocates itself.
static const uint64_t VX_DEFAULT_WORKBUF_SIZE = 1024;

// One entry of the container stack: where the container ends.
struct VXCtxtContainer {
   uint64_t endByteIndex;
   uint16_t endBitOffset;
};

// True if the context's stream reads through the context buffer.
static inline bool streamInCtxtBufMode(const VXCTXT* pctxt)
{
   return pctxt->pStream != nullptr && (pctxt->pStream->flags & VXRT_STREAM_CTXTBUF) != 0;
}

/* Set-up and tear-down */

void rtxPreInitContext(VXCTXT* pctxt)
{
   memset(pctxt, 0, sizeof(VXCTXT));
   rtxStackInit(pctxt, &pctxt->containerStack);
   pctxt->initCode = VXCTXT_INITCODE;
   pctxt->buffer.bitOffset = 8;
   pctxt->indent = 0;
}

int rtxInitContext(VXCTXT* pctxt)
{
   rtxErrInit();
   rtxPreInitContext(pctxt);
   return rtxMemHeapCreate(&pctxt->pMemHeap);
}

int rtxInitContextExt(VXCTXT* pctxt, void* (*mallocFunc)(size_t),
                      void* (*reallocFunc)(void*, size_t), void (*freeFunc)(void*))
{
   rtxErrInit();
   rtxPreInitContext(pctxt);
   return rtxMemHeapCreateExt(&pctxt->pMemHeap, mallocFunc, reallocFunc, freeFunc);
}

void rtxFreeAppInfo(VXCTXT* pctxt, void* info)
{
   if (info == nullptr) return;
   VXRTAppInfo* pAppInfo = static_cast<VXRTAppInfo*>(info);
   if (pAppInfo->freeHook != nullptr) pAppInfo->freeHook(pctxt, info);
   rtxMemHeapSysFreePtr(&pctxt->pMemHeap, info);
}

void rtxFreeContext(VXCTXT* pctxt)
{
   // From here on errors are still recorded, but without positions.
   pctxt->flags |= VXCTXT_FLAG_FREEING;

   rtxErrReset(pctxt);

   void* info = pctxt->pXMLInfo;
   pctxt->pXMLInfo = nullptr;
   rtxFreeAppInfo(pctxt, info);
   info = pctxt->pASN1Info;
   pctxt->pASN1Info = nullptr;
   rtxFreeAppInfo(pctxt, info);

   rtxStreamRelease(pctxt);
   rtxPrintStreamRelease(pctxt);

   if (pctxt->buffer.dynamic && pctxt->buffer.data != nullptr) {
      if (streamInCtxtBufMode(pctxt)) {
         rtxMemHeapSysFreePtr(&pctxt->pMemHeap, pctxt->buffer.data);
      } else if (!rtxMemHeapIsEmpty(&pctxt->pMemHeap)) {
         rtxMemHeapFreePtr(&pctxt->pMemHeap, pctxt->buffer.data);
      }
   }
   pctxt->buffer.data = nullptr;

   rtxMemHeapRelease(&pctxt->pMemHeap);

   if (pctxt->freeHook != nullptr)
      pctxt->freeHook(pctxt);
   else
      pctxt->initCode = 0;
}

int rtxCheckContext(VXCTXT* pctxt)
{
   return (pctxt != nullptr && pctxt->initCode == VXCTXT_INITCODE) ? 0 : RTERR_NOTINIT;
}

void rtxCopyContext(VXCTXT* dst, VXCTXT* src)
{
   dst->buffer = src->buffer;
   dst->flags = src->flags;
   dst->pStream = src->pStream;
}

void rtxMemFree(VXCTXT* pctxt)
{
   if (pctxt->buffer.dynamic && (pctxt->pStream == nullptr || streamInCtxtBufMode(pctxt))) {
      // The heap is about to be emptied; a buffer from the system allocator
      // would outlive it unreferenced, so that one is given back here.
      if ((pctxt->flags & VXCTXT_FLAG_SYSBUF) != 0 && pctxt->buffer.data != nullptr) {
         rtxMemHeapSysFreePtr(&pctxt->pMemHeap, pctxt->buffer.data);
         pctxt->flags &= ~VXCTXT_FLAG_SYSBUF;
      }
      pctxt->buffer.data = nullptr;
      pctxt->buffer.size = 0;
      pctxt->buffer.byteIndex = 0;
      pctxt->buffer.bitOffset = 8;
   }
   rtxStackInit(pctxt, &pctxt->containerStack);
   pctxt->pBitFldList = nullptr;
   rtxErrReset(pctxt);
   rtxMemHeapFreeAll(&pctxt->pMemHeap);
}

void rtxMemReset(VXCTXT* pctxt)
{
   rtxErrReset(pctxt);
   rtxMemHeapReset(&pctxt->pMemHeap);
}

/* Buffer and cursor */

int rtxInitContextBuffer(VXCTXT* pctxt, uint8_t* data, uint64_t size)
{
   if (pctxt->initCode != VXCTXT_INITCODE) return VX_LOG_ERRNEW(pctxt, RTERR_NOTINIT);

   VXRTBuffer& buf = pctxt->buffer;
   if (buf.data != nullptr && buf.dynamic && (pctxt->flags & VXCTXT_FLAG_SYSBUF) != 0) {
      rtxMemHeapSysFreePtr(&pctxt->pMemHeap, buf.data);
      buf.data = nullptr;
      buf.size = 0;
   }
   pctxt->flags &= ~VXCTXT_FLAG_SYSBUF;

   if (data != nullptr) {
      buf.data = data;
      buf.size = size;
      buf.dynamic = 0;
   } else if (pctxt->pStream != nullptr && !streamInCtxtBufMode(pctxt)) {
      // A stream in any other mode brings its own buffer: the data pointer,
      // its capacity and ownership are left as they are.
   } else {
      if (size == 0) size = VX_DEFAULT_WORKBUF_SIZE;
      if (pctxt->pStream == nullptr) {
         // The work buffer starts zeroed so that nothing undefined is ever read.
         uint8_t* p = static_cast<uint8_t*>(rtxMemAllocArray2(pctxt, size, 1, RT_MH_ZEROARRAY));
         if (p == nullptr) return RTERR_NOMEM;  // already recorded by the allocator
         buf.data = p;
      } else {
         uint8_t* p = static_cast<uint8_t*>(rtxMemHeapSysAllocZ(&pctxt->pMemHeap, size));
         if (p == nullptr) {
            VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
            return RTERR_NOMEM;
         }
         buf.data = p;
         pctxt->flags |= VXCTXT_FLAG_SYSBUF;
      }
      buf.size = size;
      buf.dynamic = 1;
   }
   buf.byteIndex = 0;
   buf.bitOffset = 8;
   return 0;
}

int rtxCtxtSetBufPtr(VXCTXT* pctxt, uint8_t* data, uint64_t size)
{
   int stat = rtxInitContextBuffer(pctxt, data, size);
   if (stat != 0) return stat;
   pctxt->flags |= VXCTXT_FLAG_BUFONLY;
   pctxt->state = 0;
   return 0;
}

uint64_t rtxCtxtGetBitOffset(VXCTXT* pctxt)
{
   uint64_t bits = pctxt->buffer.byteIndex * 8 + 8 - (uint64_t)(int64_t)pctxt->buffer.bitOffset;
   if (streamInCtxtBufMode(pctxt)) bits += pctxt->pStream->ioBytes * 8;
   return bits;
}

int rtxCtxtSetBitOffset(VXCTXT* pctxt, uint64_t position)
{
   if (pctxt->pStream != nullptr && (pctxt->flags & VXCTXT_FLAG_BUFONLY) == 0) {
      rtxErrAddStrParm(pctxt, "set bit offset in stream");
      return VX_LOG_ERRNEW(pctxt, RTERR_NOTSUPP);
   }
   pctxt->buffer.byteIndex = position / 8;
   pctxt->buffer.bitOffset = (int16_t)(8 - (position % 8));
   return 0;
}

uint64_t rtxCtxtGetIOByteCount(VXCTXT* pctxt)
{
   return (pctxt->pStream != nullptr) ? pctxt->pStream->bytesProcessed : pctxt->buffer.byteIndex;
}

void rtxCtxtSetMemHeap(VXCTXT* pctxt, VXCTXT* src)
{
   if (pctxt->pMemHeap == src->pMemHeap) return;
   rtxMemHeapRelease(&pctxt->pMemHeap);
   pctxt->pMemHeap = src->pMemHeap;
   rtxMemHeapAddRef(&pctxt->pMemHeap);
}

/* Element names */

int rtxCtxtPushElemName(VXCTXT* pctxt, const char* name)
{
   pctxt->level++;
   if (rtxDListAppend(pctxt, &pctxt->elemNameStack, (void*)name) == nullptr) return RTERR_NOMEM;
   return 0;
}

// Unlinks the top of the name stack and returns its name, or null.
static const char* popElemName(VXCTXT* pctxt)
{
   VXRTDListNode* node = pctxt->elemNameStack.tail;
   if (node == nullptr) return nullptr;
   const char* name = static_cast<const char*>(node->data);
   rtxDListFreeNode(pctxt, &pctxt->elemNameStack, node);
   return name;
}

const char* rtxCtxtPopElemName(VXCTXT* pctxt)
{
   pctxt->level--;  // also on an empty stack; wraps at 0
   return popElemName(pctxt);
}

int rtxCtxtPushElemNameCopy(VXCTXT* pctxt, const char* name)
{
   char* copy = rtxStrdup(pctxt, name);
   if (copy == nullptr) return RTERR_NOMEM;
   if (rtxDListAppend(pctxt, &pctxt->elemNameStack, copy) == nullptr) {
      rtxMemFreePtr(pctxt, copy);
      return RTERR_NOMEM;
   }
   return 0;
}

const char* rtxCtxtPopElemNameCopy(VXCTXT* pctxt) { return popElemName(pctxt); }

int rtxCtxtPushArrayElemName(VXCTXT* pctxt, const char* name, uint64_t index)
{
   char digits[24];
   int ndigits = rtxUInt64ToCharStr(index, digits, sizeof(digits), 0);
   if (ndigits < 0) return ndigits;
   size_t namelen = (name != nullptr) ? strlen(name) : 0;
   char* text = static_cast<char*>(rtxMemAlloc(pctxt, namelen + (size_t)ndigits + 3));
   if (text == nullptr) return RTERR_NOMEM;
   if (namelen > 0) memcpy(text, name, namelen);
   text[namelen] = '[';
   memcpy(text + namelen + 1, digits, (size_t)ndigits);
   text[namelen + 1 + ndigits] = ']';
   text[namelen + 2 + ndigits] = '\0';
   int stat = rtxCtxtPushElemName(pctxt, text);
   if (stat != 0) rtxMemFreePtr(pctxt, text);
   return stat;
}

bool rtxCtxtPopArrayElemName(VXCTXT* pctxt)
{
   const char* text = rtxCtxtPopElemName(pctxt);
   if (text == nullptr) return false;
   rtxMemFreePtr(pctxt, text);
   return true;
}

int rtxCtxtPushTypeName(VXCTXT* pctxt, const char* name)
{
   if (pctxt->elemNameStack.count != 0) return 0;
   return rtxCtxtPushElemName(pctxt, name);
}

bool rtxCtxtPopTypeName(VXCTXT* pctxt)
{
   if (pctxt->elemNameStack.count != 1) return false;
   return rtxCtxtPopElemName(pctxt) != nullptr;
}

/* Containers */

static int pushContainer(VXCTXT* pctxt, uint64_t endByteIndex, uint16_t endBitOffset)
{
   VXCtxtContainer* entry = rtxMemAllocType(pctxt, VXCtxtContainer);
   if (entry == nullptr) return RTERR_NOMEM;
   entry->endByteIndex = endByteIndex;
   entry->endBitOffset = endBitOffset;
   int stat = rtxStackPush(&pctxt->containerStack, entry);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, entry);
      return stat;
   }
   return 0;
}

// a + b, held at the largest value instead of wrapping.
static inline uint64_t addSat(uint64_t a, uint64_t b)
{
   return (b > UINT64_MAX - a) ? UINT64_MAX : a + b;
}

int rtxCtxtPushContainerBytes(VXCTXT* pctxt, uint64_t n)
{
   return pushContainer(pctxt, addSat(pctxt->buffer.byteIndex, n),
                        (uint16_t)pctxt->buffer.bitOffset);
}

int rtxCtxtPushContainerBits(VXCTXT* pctxt, uint64_t n)
{
   uint64_t endByte = addSat(pctxt->buffer.byteIndex, n / 8);
   int endOffset = pctxt->buffer.bitOffset - (int)(n % 8);
   if (endOffset <= 0) {  // past the current byte: carry into the next one
      endOffset += 8;
      endByte = addSat(endByte, 1);
   }
   return pushContainer(pctxt, endByte, (uint16_t)endOffset);
}

// The end of the innermost container as a byte index and bits used in that
// byte (0..8); the end of the buffer when no container stands.
static inline void containerEnd(VXCTXT* pctxt, uint64_t* endByte, uint64_t* endBitsUsed)
{
   const VXCtxtContainer* top =
      static_cast<const VXCtxtContainer*>(rtxStackPeek(&pctxt->containerStack));
   if (top != nullptr) {
      *endByte = top->endByteIndex;
      *endBitsUsed = 8 - (uint64_t)top->endBitOffset;
   } else {
      *endByte = pctxt->buffer.size;
      *endBitsUsed = 0;
   }
}

uint64_t rtxCtxtGetContainerRemBits(VXCTXT* pctxt)
{
   uint64_t endByte, endUsed;
   containerEnd(pctxt, &endByte, &endUsed);
   uint64_t curByte = pctxt->buffer.byteIndex;
   uint64_t curUsed = 8 - (uint64_t)(int64_t)pctxt->buffer.bitOffset;
   if (curByte > endByte || (curByte == endByte && curUsed >= endUsed)) return 0;
   uint64_t bytes = endByte - curByte;
   if (bytes >= UINT64_MAX / 8) return UINT64_MAX;
   // (bytes * 8 + endUsed - curUsed) cannot go negative: the cursor is
   // before the end, so either bytes > 0 or endUsed > curUsed.
   return bytes * 8 + endUsed - curUsed;
}

bool rtxCtxtContainerHasRemBits(VXCTXT* pctxt) { return rtxCtxtGetContainerRemBits(pctxt) != 0; }

bool rtxCtxtContainerEnd(VXCTXT* pctxt) { return rtxCtxtGetContainerRemBits(pctxt) == 0; }

void rtxCtxtPopContainer(VXCTXT* pctxt)
{
   void* entry = rtxStackPop(&pctxt->containerStack);
   if (entry != nullptr) rtxMemFreePtr(pctxt, entry);
}

void rtxCtxtPopAllContainers(VXCTXT* pctxt)
{
   void* entry;
   while ((entry = rtxStackPop(&pctxt->containerStack)) != nullptr) rtxMemFreePtr(pctxt, entry);
}
