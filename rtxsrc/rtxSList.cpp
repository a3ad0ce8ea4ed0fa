#include "rtxSList.h"

#include <cstdlib>

#include "rtxError.h"
#include "rtxMemory.h"

void rtxSListInitEx(VXCTXT* pctxt, VXRTSList* pList)
{
   pList->count = 0;
   pList->head = nullptr;
   pList->tail = nullptr;
   pList->pctxt = pctxt;
}

void rtxSListInit(VXRTSList* pList) { rtxSListInitEx(nullptr, pList); }

static void freeNode(VXRTSList* pList, VXRTSListNode* node)
{
   if (pList->pctxt != nullptr)
      rtxMemFreePtr(pList->pctxt, node);
   else
      free(node);
}

VXRTSListNode* rtxSListAppend(VXRTSList* pList, void* pData)
{
   VXRTSListNode* node;
   if (pList->pctxt != nullptr) {
      node = rtxMemAllocType(pList->pctxt, VXRTSListNode);
      if (node == nullptr) {
         VX_LOG_ERRNEW(pList->pctxt, RTERR_NOMEM);
         return nullptr;
      }
   } else {
      node = static_cast<VXRTSListNode*>(malloc(sizeof(VXRTSListNode)));
      if (node == nullptr) return nullptr;
   }
   node->data = pData;
   node->next = nullptr;
   if (pList->tail != nullptr)
      pList->tail->next = node;
   else
      pList->head = node;
   pList->tail = node;
   pList->count++;
   return node;
}

bool rtxSListFind(const VXRTSList* pList, const void* pData)
{
   for (VXRTSListNode* node = pList->head; node != nullptr; node = node->next) {
      if (node->data == pData) return true;
   }
   return false;
}

void rtxSListRemove(VXRTSList* pList, const void* pData)
{
   VXRTSListNode* prev = nullptr;
   for (VXRTSListNode* node = pList->head; node != nullptr; prev = node, node = node->next) {
      if (node->data != pData) continue;
      if (prev != nullptr)
         prev->next = node->next;
      else
         pList->head = node->next;
      if (pList->tail == node) pList->tail = prev;
      pList->count--;
      freeNode(pList, node);
      return;
   }
}

void rtxSListFree(VXRTSList* pList)
{
   VXRTSListNode* node = pList->head;
   while (node != nullptr) {
      VXRTSListNode* next = node->next;
      freeNode(pList, node);
      node = next;
   }
   pList->count = 0;
   pList->head = nullptr;
   pList->tail = nullptr;
}
