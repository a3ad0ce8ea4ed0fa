// Stack of signed 32-bit integers in an array from the context's heap that
// doubles when full.
#ifndef RTXINTSTACK_H
#define RTXINTSTACK_H

#include "rtxContext.h"

struct VXRTIntStack {
   VXCTXT* pctxt;
   int32_t* pdata;
   size_t index;  // next free entry
   size_t size;   // capacity
};

// Capacity 100 if 0 is given. 0 or -10.
int rtxIntStackInit(VXCTXT* pctxt, VXRTIntStack* pStack, size_t capacity);
// 0 or -10.
int rtxIntStackPush(VXRTIntStack* pStack, int32_t value);
// The top value (removed by Pop) into *pvalue, which may be null; -2 if empty.
int rtxIntStackPop(VXRTIntStack* pStack, int32_t* pvalue);
int rtxIntStackPeek(const VXRTIntStack* pStack, int32_t* pvalue);
inline bool rtxIntStackIsEmpty(const VXRTIntStack* pStack) { return pStack->index == 0; }
// Releases the array.
void rtxIntStackFree(VXRTIntStack* pStack);

#endif
