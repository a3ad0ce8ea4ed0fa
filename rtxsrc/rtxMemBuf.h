// A growing memory buffer that grows by whole segments. Bytes come from the
// context's heap, or from its system allocator when isSysMem is set; a
// buffer over the caller's bytes becomes dynamic when it first grows.
#ifndef RTXMEMBUF_H
#define RTXMEMBUF_H

#include "rtxContext.h"

struct VXRTMEMBUF {
   VXCTXT* pctxt;
   size_t segsize;    // growth step
   size_t startidx;   // first valid byte
   size_t usedcnt;    // end of the valid bytes (index behind the last)
   size_t bufsize;    // capacity
   size_t bitOffset;  // bit-level fields, unused by the byte functions
   size_t userState;
   uint8_t* buffer;
   bool isDynamic;
   bool isExpandable;
   bool isSysMem;
};

// Segment size 1024 if 0 is given; dynamic, expandable, no bytes yet.
void rtxMemBufInit(VXCTXT* pctxt, VXRTMEMBUF* pMemBuf, size_t segsize);
// Over the caller's bytes: not dynamic, expandable.
void rtxMemBufInitBuffer(VXCTXT* pctxt, VXRTMEMBUF* pMemBuf, uint8_t* buf, size_t bufsize,
                         size_t segsize);
// Releases dynamic bytes and resets the buffer to empty.
void rtxMemBufFree(VXRTMEMBUF* pMemBuf);
// Counts to 0; the bytes are kept.
void rtxMemBufReset(VXRTMEMBUF* pMemBuf);
// Makes room for nbytes more. The capacity becomes a whole number of
// segments: segsize * ((nbytes + usedcnt - 1) / segsize + 1). 0, -1 for a
// buffer that may not grow, -10 on exhaustion or a segment size of 0.
int rtxMemBufPreAllocate(VXRTMEMBUF* pMemBuf, size_t nbytes);
// Appends nbytes (a null `data` only reserves room, the count unchanged).
int rtxMemBufAppend(VXRTMEMBUF* pMemBuf, const uint8_t* data, size_t nbytes);
// Appends nbytes copies of `value`.
int rtxMemBufSet(VXRTMEMBUF* pMemBuf, uint8_t value, size_t nbytes);
// The bytes from the start index; their count goes to *length (may be
// null), -1 if it is above 0x7FFFFFFF.
uint8_t* rtxMemBufGetData(const VXRTMEMBUF* pMemBuf, int* length);
size_t rtxMemBufGetDataLen(const VXRTMEMBUF* pMemBuf);
// Takes nbytes out at offset `from` of the valid bytes. 0 or -20.
int rtxMemBufCut(VXRTMEMBUF* pMemBuf, size_t from, size_t nbytes);

#endif
