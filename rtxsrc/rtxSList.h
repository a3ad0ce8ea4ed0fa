// Singly linked list (record in rtxContext.h). With a context, nodes come
// from its heap; without one (rtxSListInit), from malloc.
#ifndef RTXSLIST_H
#define RTXSLIST_H

#include "rtxContext.h"

void rtxSListInit(VXRTSList* pList);
void rtxSListInitEx(VXCTXT* pctxt, VXRTSList* pList);
// Appends a node that points to pData; null on exhaustion.
VXRTSListNode* rtxSListAppend(VXRTSList* pList, void* pData);
// Whether a node points to pData.
bool rtxSListFind(const VXRTSList* pList, const void* pData);
// Unlinks and frees the first node that points to pData, if any.
void rtxSListRemove(VXRTSList* pList, const void* pData);
// Frees all nodes (not the data) and empties the list.
void rtxSListFree(VXRTSList* pList);

#endif
