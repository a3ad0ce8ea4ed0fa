// Growing array of pointers from the context's heap; doubles when full.
#ifndef RTXDYNPTRARRAY_H
#define RTXDYNPTRARRAY_H

#include "rtxContext.h"

struct VXRTDynPtrArray {
   uint16_t capacity;
   uint16_t count;
   void** data;
};

// Capacity 4 if 0 is given. 0 or -10.
int rtxDynPtrArrayInit(VXCTXT* pctxt, VXRTDynPtrArray* pArray, uint16_t capacity);
// 0, or -10 on exhaustion or when 65535 entries are held already.
int rtxDynPtrArrayAppend(VXCTXT* pctxt, VXRTDynPtrArray* pArray, void* ptr);

#endif
