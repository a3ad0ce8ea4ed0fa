// Collects the elements of a repeated type whose number is not known in
// advance, in segments that double in size, and ends as one array.
//
// Use: rtxDListBufInit(&buf, firstSize, (void**)&array, sizeof(T)); for each
// element, if buf.n == buf.nMax call rtxDListBufExpand, then fill
// ((T*)*buf.ppArray)[buf.n] and increment both buf.n and buf.nAll; at the
// end rtxDListBufToArray leaves all nAll elements in *ppArray.
#ifndef RTXDLISTBUF_H
#define RTXDLISTBUF_H

#include "rtxContext.h"

struct VXRTDListBuf {
   size_t n;           // index in the current segment
   size_t nMax;        // size of the current segment
   size_t nAll;        // total elements
   size_t firstSegSz;  // size of the first segment
   size_t elemSize;    // element size in bytes
   VXRTDList tmplist;  // finished segments, oldest first
   void** ppArray;     // the caller's array pointer: the current segment
};

// *ppArray is set to null; no memory is allocated yet.
void rtxDListBufInit(VXRTDListBuf* pBuf, size_t firstSegSz, void** ppArray, size_t elemSize);
// A new segment: the first of firstSegSz elements, then each twice the size
// of the one before. 0 or -10 (everything is released on failure).
int rtxDListBufExpand(VXCTXT* pctxt, VXRTDListBuf* pBuf);
// Puts the nAll elements into one array at *ppArray. 0 or -10.
int rtxDListBufToArray(VXCTXT* pctxt, VXRTDListBuf* pBuf);
// Releases the segments and the current array; *ppArray becomes null.
void rtxDListBufFreeAll(VXCTXT* pctxt, VXRTDListBuf* pBuf);

#endif
