// Doubly linked list over the context's heap.
#ifndef RTXDLIST_H
#define RTXDLIST_H

#include "rtxContext.h"

void rtxDListInit(VXRTDList* pList);
VXRTDListNode* rtxDListAppend(VXCTXT* pctxt, VXRTDList* pList, void* pData);
VXRTDListNode* rtxDListAppendNode(VXRTDList* pList, VXRTDListNode* pNode);
VXRTDListNode* rtxDListInsert(VXCTXT* pctxt, VXRTDList* pList, uint64_t idx, void* pData);
VXRTDListNode* rtxDListFindByIndex(const VXRTDList* pList, uint64_t idx);
VXRTDListNode* rtxDListFindByData(const VXRTDList* pList, void* pData);
int rtxDListFindIndexByData(const VXRTDList* pList, void* pData);
void rtxDListRemove(VXRTDList* pList, VXRTDListNode* pNode);
void rtxDListFreeNode(VXCTXT* pctxt, VXRTDList* pList, VXRTDListNode* pNode);
void rtxDListFreeNodes(VXCTXT* pctxt, VXRTDList* pList);
void rtxDListFreeAll(VXCTXT* pctxt, VXRTDList* pList);
int rtxDListToUTF8Str(VXCTXT* pctxt, const VXRTDList* pList, char** ppstr, char sep);

#endif
