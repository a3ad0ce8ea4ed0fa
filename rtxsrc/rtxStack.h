// Stack of data pointers over a doubly linked list (record in rtxContext.h):
// the top is the head of the list.
#ifndef RTXSTACK_H
#define RTXSTACK_H

#include "rtxContext.h"

void rtxStackInit(VXCTXT* pctxt, VXRTStack* pStack);
// A new, empty stack from the context's heap; null on exhaustion.
VXRTStack* rtxStackCreate(VXCTXT* pctxt);
// 0, -47 for a stack without a context, or -10.
int rtxStackPush(VXRTStack* pStack, void* pData);
// The data on top, removed (Pop) or not (Peek); null if the stack is empty.
void* rtxStackPop(VXRTStack* pStack);
void* rtxStackPeek(VXRTStack* pStack);
inline bool rtxStackIsEmpty(const VXRTStack* pStack) { return pStack->dlist.count == 0; }

#endif
