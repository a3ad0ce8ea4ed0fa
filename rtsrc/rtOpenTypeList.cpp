// Lists of unknown extension additions (ASN1OpenType*), released early.
#include "asn1type.h"
#include "rtxMemory.h"

void rtxMemFreeOpenSeqExt(VXCTXT* pctxt, VXRTDList* pElemList)
{
   if (!pctxt || !pElemList) return;
   if (!rtxMemHeapIsEmpty(&pctxt->pMemHeap)) {
      VXRTDListNode* node = pElemList->head;
      while (node) {
         VXRTDListNode* next = node->next;
         ASN1OpenType* ot = static_cast<ASN1OpenType*>(node->data);
         if (ot) {
            rtxMemFreePtr(pctxt, ot->data);
            rtxMemFreePtr(pctxt, ot);
         }
         rtxMemFreePtr(pctxt, node);
         node = next;
      }
   }
   pElemList->count = 0;
   pElemList->head = pElemList->tail = nullptr;
}
