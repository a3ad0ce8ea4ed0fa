// The context's memory heap: a sub-allocator over a few large blocks, built
// for many small allocations released together. Heap functions take the
// address of the heap pointer (the first field of VXCTXT, so a context
// pointer converts); the rtxMem* macros take the context.
#ifndef RTXMEMORY_H
#define RTXMEMORY_H

#include "rtxCommon.h"

struct VXCTXT;
struct VXRTDList;

typedef void* (*VXMallocFunc)(size_t);
typedef void* (*VXReallocFunc)(void*, size_t);
typedef void (*VXFreeFunc)(void*);

// Heap flags.
#define RT_MH_FREEEMPTYBLOCK 0x1u
#define RT_MH_CHECKPTR 0x2u
#define RT_MH_CHECKHEAP 0x4u
#define RT_MH_ZEROONFREE 0x40u
#define RT_MH_SYSALLOC 0x10000000u
#define RT_MH_RAW 0x20000000u
#define RT_MH_STATIC 0x40000000u

// Property identifiers of rtxMemHeapSetProperty (the value is a uint32_t).
#define RT_MH_PROP_DEFBLKSIZE 1u
#define RT_MH_PROP_SETFLAGS 2u
#define RT_MH_PROP_CLEARFLAGS 3u
#define RT_MH_PROP_KEEPFREEUNITS 4u

// Options of rtxMemAllocArray2.
#define RT_MH_ZEROARRAY 0x80u
#define RT_MH_SYSARRAY 0x100u

int rtxMemHeapCreate(void** ppvMemHeap);
int rtxMemHeapCreateExt(void** ppvMemHeap, VXMallocFunc m, VXReallocFunc r, VXFreeFunc f);
int rtxMemStaticHeapCreate(void** ppvMemHeap, void* base, size_t size);
void* rtxMemHeapAlloc(void** ppvMemHeap, size_t nbytes);
void* rtxMemHeapAllocZ(void** ppvMemHeap, size_t nbytes);

// rtxMemHeapAllocZ for the macros: a small size known at compile time is
// cleared with a few stores. Larger ones go through the library's memset,
// which is faster there than the string instruction the compiler would
// inline for a constant size.
VX_INLINE void* rtxMemHeapAllocZInline(void** ppvMemHeap, size_t nbytes)
{
   if (__builtin_constant_p(nbytes) && nbytes <= 64) {
      void* p = rtxMemHeapAlloc(ppvMemHeap, nbytes);
      if (p != nullptr) __builtin_memset(p, 0, nbytes);
      return p;
   }
   return rtxMemHeapAllocZ(ppvMemHeap, nbytes);
}
void* rtxMemHeapRealloc(void** ppvMemHeap, void* ptr, size_t nbytes);
void* rtxMemHeapReallocStatic(void** ppvMemHeap, void* ptr, size_t oldSize, size_t newSize);
void rtxMemHeapFreePtr(void** ppvMemHeap, void* ptr);
void* rtxMemHeapAutoPtrRef(void** ppvMemHeap, void* ptr);
int rtxMemHeapAutoPtrUnref(void** ppvMemHeap, void* ptr);
int rtxMemHeapAutoPtrGetRefCount(void** ppvMemHeap, void* ptr);
void rtxMemHeapFreeAll(void** ppvMemHeap);
void rtxMemHeapReset(void** ppvMemHeap);
void rtxMemHeapAddRef(void** ppvMemHeap);
void rtxMemHeapRelease(void** ppvMemHeap);
bool rtxMemHeapIsEmpty(void** ppvMemHeap);
int rtxMemHeapCheckPtr(void** ppvMemHeap, const void* ptr);
// Walks the whole heap; on the first broken invariant prints a report and
// ends the process ("memory heap broken").
void rtxMemHeapCheck(void** ppvMemHeap, const char* file, int line);
// The same walk without printing or ending: the number of the first broken
// invariant, or 0 for a consistent heap (and for no heap).
int rtxMemHeapCheckQuiet(void** ppvMemHeap);
// Quick checks of a pointer given to free: its guard matches the heap's, and
// it lies in the address range of the heap's blocks.
bool rtxMemHeapCheckCode(void** ppvMemHeap, const void* ptr);
bool rtxMemInvalidPtr(void** ppvMemHeap, const void* ptr);
[[noreturn]] void rtxMemHeapInvalidPtrHook(void** ppvMemHeap, const void* ptr);
void* rtxMemHeapSysAlloc(void** ppvMemHeap, size_t nbytes);
void* rtxMemHeapSysAllocZ(void** ppvMemHeap, size_t nbytes);
void* rtxMemHeapSysRealloc(void** ppvMemHeap, void* ptr, size_t nbytes);
void rtxMemHeapSysFreePtr(void** ppvMemHeap, void* ptr);
void rtxMemHeapSetFlags(void** ppvMemHeap, uint32_t flags);
void rtxMemHeapClearFlags(void** ppvMemHeap, uint32_t flags);
void rtxMemHeapSetProperty(void** ppvMemHeap, uint32_t propId, void* pProp);
uint32_t rtxMemHeapGetDefBlkSize(void** ppvMemHeap);
void rtxMemSetDefBlkSize(uint32_t blkSize);
void rtxMemSetAllocFuncs(VXMallocFunc m, VXReallocFunc r, VXFreeFunc f);

// Allocates count * elemSize bytes; -23 on overflow, -10 on exhaustion are
// recorded in the context.
void* rtxMemAllocArray2(VXCTXT* pctxt, size_t count, size_t elemSize, unsigned options);

#define VX_HEAP(pctxt) (&(pctxt)->pMemHeap)
#define rtxMemAlloc(pctxt, n) rtxMemHeapAlloc(VX_HEAP(pctxt), n)
#define rtxMemAllocZ(pctxt, n) rtxMemHeapAllocZInline(VX_HEAP(pctxt), n)
#define rtxMemRealloc(pctxt, p, n) rtxMemHeapRealloc(VX_HEAP(pctxt), p, n)
#define rtxMemFreePtr(pctxt, p) rtxMemHeapFreePtr(VX_HEAP(pctxt), (void*)(p))
#define rtxMemSysAlloc(pctxt, n) rtxMemHeapSysAlloc(VX_HEAP(pctxt), n)
#define rtxMemSysAllocZ(pctxt, n) rtxMemHeapSysAllocZ(VX_HEAP(pctxt), n)
#define rtxMemSysFreePtr(pctxt, p) rtxMemHeapSysFreePtr(VX_HEAP(pctxt), (void*)(p))
#define rtxMemAllocType(pctxt, T) ((T*)rtxMemHeapAlloc(VX_HEAP(pctxt), sizeof(T)))
#define rtxMemAllocTypeZ(pctxt, T) ((T*)rtxMemHeapAllocZ(VX_HEAP(pctxt), sizeof(T)))

#endif
