#include "rtxDList.h"

#include "rtxError.h"
#include "rtxMemory.h"

// Exhaustion is recorded in the context; the caller sees the null result.
static void* noMemory(VXCTXT* pctxt)
{
   VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
   return nullptr;
}

static VXRTDListNode* newNode(VXCTXT* pctxt, void* pData)
{
   VXRTDListNode* node = rtxMemAllocType(pctxt, VXRTDListNode);
   if (node == nullptr) return static_cast<VXRTDListNode*>(noMemory(pctxt));
   node->data = pData;
   node->next = nullptr;
   node->prev = nullptr;
   return node;
}

VXRTDListNode* rtxDListAppend(VXCTXT* pctxt, VXRTDList* pList, void* pData)
{
   return rtxDListAppendNode(pList, newNode(pctxt, pData));
}

VXRTDListNode* rtxDListAppendCharArray(VXCTXT* pctxt, VXRTDList* pList, size_t length,
                                       const char* data)
{
   char* copy = static_cast<char*>(rtxMemAlloc(pctxt, length + 1));
   if (copy == nullptr) return static_cast<VXRTDListNode*>(noMemory(pctxt));
   if (length > 0) memcpy(copy, data, length);
   copy[length] = 0;
   VXRTDListNode* node = rtxDListAppend(pctxt, pList, copy);
   if (node == nullptr) rtxMemFreePtr(pctxt, copy);
   return node;
}

int rtxDListAppendArray(VXCTXT* pctxt, VXRTDList* pList, void* pArray, size_t numElements,
                        size_t elemSize)
{
   uint8_t* p = static_cast<uint8_t*>(pArray);
   for (size_t i = 0; i < numElements; i++) {
      if (rtxDListAppend(pctxt, pList, p + i * elemSize) == nullptr) {
         VX_LOG_ERR(pctxt, RTERR_NOMEM);
         return RTERR_NOMEM;
      }
   }
   return (int)numElements;
}

int rtxDListAppendArrayCopy(VXCTXT* pctxt, VXRTDList* pList, const void* pArray, size_t numElements,
                            size_t elemSize)
{
   if (numElements == 0) return 0;
   void* copy = rtxMemAllocArray2(pctxt, numElements, elemSize, 0);
   if (copy == nullptr) {
      VX_LOG_ERR(pctxt, RTERR_NOMEM);
      return RTERR_NOMEM;
   }
   memcpy(copy, pArray, numElements * elemSize);
   return rtxDListAppendArray(pctxt, pList, copy, numElements, elemSize);
}

// Links pNode in front of `before` (null: at the tail).
static VXRTDListNode* linkBefore(VXRTDList* pList, VXRTDListNode* before, VXRTDListNode* pNode)
{
   if (pNode == nullptr) return nullptr;
   if (before == nullptr) return rtxDListAppendNode(pList, pNode);
   pNode->next = before;
   pNode->prev = before->prev;
   if (before->prev != nullptr)
      before->prev->next = pNode;
   else
      pList->head = pNode;
   before->prev = pNode;
   pList->count++;
   return pNode;
}

VXRTDListNode* rtxDListInsertNode(VXRTDList* pList, uint64_t idx, VXRTDListNode* pNode)
{
   if (idx > pList->count) return nullptr;
   VXRTDListNode* before = (idx == pList->count) ? nullptr : rtxDListFindByIndex(pList, idx);
   return linkBefore(pList, before, pNode);
}

VXRTDListNode* rtxDListInsert(VXCTXT* pctxt, VXRTDList* pList, uint64_t idx, void* pData)
{
   if (idx > pList->count) return nullptr;
   return rtxDListInsertNode(pList, idx, newNode(pctxt, pData));
}

VXRTDListNode* rtxDListInsertBefore(VXCTXT* pctxt, VXRTDList* pList, VXRTDListNode* node,
                                    void* pData)
{
   return linkBefore(pList, node, newNode(pctxt, pData));
}

VXRTDListNode* rtxDListInsertAfter(VXCTXT* pctxt, VXRTDList* pList, VXRTDListNode* node,
                                   void* pData)
{
   VXRTDListNode* before = (node == nullptr) ? pList->head : node->next;
   return linkBefore(pList, before, newNode(pctxt, pData));
}

VXRTDListNode* rtxDListInsertNodeSorted(VXRTDList* pList, VXRTDListNode* pNode,
                                        VXRTDListCompareFunc compareFunc, const void* sortCtxt)
{
   if (pNode == nullptr) return nullptr;
   VXRTDListNode* tail = pList->tail;
   // Not below the tail (the usual case of sorted input): append.
   if (tail == nullptr || compareFunc(pNode->data, tail->data, sortCtxt) >= 0)
      return rtxDListAppendNode(pList, pNode);
   // Below the head: new head.
   VXRTDListNode* head = pList->head;
   if (compareFunc(pNode->data, head->data, sortCtxt) < 0) return linkBefore(pList, head, pNode);
   // Somewhere in between: walk from the second node while the new one is
   // not below; the tail stops the walk, since the new node is below it.
   VXRTDListNode* cur = head->next;
   while (cur != tail && compareFunc(pNode->data, cur->data, sortCtxt) >= 0) cur = cur->next;
   return linkBefore(pList, cur, pNode);
}

VXRTDListNode* rtxDListInsertSorted(VXCTXT* pctxt, VXRTDList* pList, void* pData,
                                    VXRTDListCompareFunc compareFunc, const void* sortCtxt)
{
   return rtxDListInsertNodeSorted(pList, newNode(pctxt, pData), compareFunc, sortCtxt);
}

VXRTDListNode* rtxDListFindByIndex(const VXRTDList* pList, uint64_t idx)
{
   if (idx >= pList->count) return nullptr;
   VXRTDListNode* node;
   if (idx >= pList->count / 2) {
      node = pList->tail;
      for (uint64_t i = pList->count - 1; i > idx; i--) node = node->prev;
   } else {
      node = pList->head;
      for (uint64_t i = 0; i < idx; i++) node = node->next;
   }
   return node;
}

VXRTDListNode* rtxDListFindByData(const VXRTDList* pList, void* pData)
{
   for (VXRTDListNode* node = pList->head; node != nullptr; node = node->next) {
      if (node->data == pData) return node;
   }
   return nullptr;
}

void* rtxDListFindFirstData(const VXRTDList* pList)
{
   return pList->head != nullptr ? pList->head->data : nullptr;
}

int rtxDListFindIndexByData(const VXRTDList* pList, void* pData)
{
   int idx = 0;
   for (VXRTDListNode* node = pList->head; node != nullptr; node = node->next, idx++) {
      if (node->data == pData) return idx;
   }
   return -1;
}

void rtxDListRemove(VXRTDList* pList, VXRTDListNode* pNode)
{
   if (pNode == nullptr) return;
   if (pNode->next != nullptr)
      pNode->next->prev = pNode->prev;
   else
      pList->tail = pNode->prev;
   if (pNode->prev != nullptr)
      pNode->prev->next = pNode->next;
   else
      pList->head = pNode->next;
   pNode->next = pNode->prev = nullptr;
   if (pList->count > 0) pList->count--;
}

void rtxDListFreeNode(VXCTXT* pctxt, VXRTDList* pList, VXRTDListNode* pNode)
{
   if (pNode == nullptr) return;
   rtxDListRemove(pList, pNode);
   rtxMemFreePtr(pctxt, pNode);
}

// Frees every node, and with freeData their data too, unless the heap is
// already empty; the list is cleared in any case.
static void freeList(VXCTXT* pctxt, VXRTDList* pList, bool freeData)
{
   if (!rtxMemHeapIsEmpty(VX_HEAP(pctxt))) {
      VXRTDListNode* node = pList->head;
      while (node != nullptr) {
         VXRTDListNode* next = node->next;
         // Data allocated together with the node lies right behind it.
         if (freeData && node->data != nullptr && node->data != (void*)(node + 1))
            rtxMemFreePtr(pctxt, node->data);
         rtxMemFreePtr(pctxt, node);
         node = next;
      }
   }
   rtxDListInit(pList);
}

void rtxDListFreeNodes(VXCTXT* pctxt, VXRTDList* pList) { freeList(pctxt, pList, false); }

void rtxDListFreeAll(VXCTXT* pctxt, VXRTDList* pList) { freeList(pctxt, pList, true); }

VXRTDListNode* rtxDListAllocNodeAndData(VXCTXT* pctxt, size_t dataSize, void** ppData)
{
   if (dataSize > SIZE_MAX - sizeof(VXRTDListNode)) return nullptr;
   VXRTDListNode* node =
      static_cast<VXRTDListNode*>(rtxMemAllocZ(pctxt, sizeof(VXRTDListNode) + dataSize));
   if (node == nullptr) return static_cast<VXRTDListNode*>(noMemory(pctxt));
   node->data = node + 1;
   if (ppData != nullptr) *ppData = node->data;
   return node;
}

int rtxDListToArray(VXCTXT* pctxt, const VXRTDList* pList, void** ppArray, size_t* pElemCount,
                    size_t elemSize)
{
   size_t count = (size_t)pList->count;
   uint8_t* array = static_cast<uint8_t*>(*ppArray);
   if (array == nullptr) {
      if (count > 0) {
         array = static_cast<uint8_t*>(rtxMemAllocArray2(pctxt, count, elemSize, 0));
         if (array == nullptr) {
            VX_LOG_ERR(pctxt, RTERR_NOMEM);
            return RTERR_NOMEM;
         }
      }
   } else if (pElemCount != nullptr && count > *pElemCount) {
      return RTERR_BUFOVFLW;
   }
   size_t i = 0;
   for (VXRTDListNode* node = pList->head; node != nullptr; node = node->next, i++)
      memcpy(array + i * elemSize, node->data, elemSize);
   *ppArray = array;
   if (pElemCount != nullptr) *pElemCount = count;
   return 0;
}

int rtxDListToPointerArray(VXCTXT* pctxt, const VXRTDList* pList, void*** ppArray,
                           size_t* pElemCount)
{
   size_t count = (size_t)pList->count;
   void** array = nullptr;
   if (count > 0) {
      array = static_cast<void**>(rtxMemAllocArray2(pctxt, count, sizeof(void*), 0));
      if (array == nullptr) {
         VX_LOG_ERR(pctxt, RTERR_NOMEM);
         return RTERR_NOMEM;
      }
      size_t i = 0;
      for (VXRTDListNode* node = pList->head; node != nullptr; node = node->next)
         array[i++] = node->data;
   }
   *ppArray = array;
   if (pElemCount != nullptr) *pElemCount = count;
   return 0;
}

int rtxDListToUTF8Str(VXCTXT* pctxt, const VXRTDList* pList, char** ppstr, char sep)
{
   *ppstr = nullptr;
   if (pList->count == 0) return 0;
   size_t total = 0;
   for (VXRTDListNode* node = pList->head; node != nullptr; node = node->next) {
      if (node->data != nullptr) total += strlen(static_cast<const char*>(node->data));
      if (sep != 0 && node->next != nullptr) total++;
   }
   char* str = static_cast<char*>(rtxMemAlloc(pctxt, total + 1));
   if (str == nullptr) {
      VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      return RTERR_NOMEM;
   }
   size_t at = 0;
   for (VXRTDListNode* node = pList->head; node != nullptr; node = node->next) {
      if (node->data != nullptr) {
         size_t len = strlen(static_cast<const char*>(node->data));
         memcpy(str + at, node->data, len);
         at += len;
      }
      if (sep != 0 && node->next != nullptr) str[at++] = sep;
   }
   str[at] = 0;
   *ppstr = str;
   return 0;
}
