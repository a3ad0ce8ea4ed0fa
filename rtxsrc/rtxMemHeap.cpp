// The context's memory heap: a sub-allocator over a ring of large blocks,
// built for very many small allocations that mostly go away together. See
// rtxMemHeapImpl.h for the layout of blocks, elements and free links.
#include <cstdio>
#include <cstdlib>

#include "rtxContext.h"
#include "rtxError.h"
#include "rtxMemHeapImpl.h"

// Process-wide defaults read when a heap is created.
static uint32_t g_defBlkSize = 4096;
static VXMallocFunc g_malloc_func = malloc;
static VXReallocFunc g_realloc_func = realloc;
static VXFreeFunc g_free_func = free;

void rtxMemSetDefBlkSize(uint32_t blkSize) { g_defBlkSize = blkSize; }

void rtxMemSetAllocFuncs(VXMallocFunc m, VXReallocFunc r, VXFreeFunc f)
{
   if (m) g_malloc_func = m;
   g_realloc_func = r;
   if (f) g_free_func = f;
}

// --- small helpers --------------------------------------------------------

static VX_INLINE VXMemHeap* heapOf(void** ppvMemHeap)
{
   return static_cast<VXMemHeap*>(*ppvMemHeap);
}

// A computed offset about to be stored in a 16-bit field.
static VX_INLINE uint16_t toOff(uint64_t tmpval)
{
   if (VX_UNLIKELY(!(tmpval < 65535UL)))
      rtxErrAssertionFailed("tmpval < 65535UL", __LINE__, VX_MODULE);
   return static_cast<uint16_t>(tmpval);
}

static VX_INLINE void writeHdr(MemUnit* e, uint32_t nunits, uint32_t prevOff, uint32_t beginOff,
                               unsigned flags, unsigned refCnt)
{
   e->w0 = static_cast<uint16_t>(nunits);
   e->w1 = static_cast<uint16_t>(prevOff);
   e->w2 = static_cast<uint16_t>(beginOff);
   e->w3 = vxFlagsRef(flags, refCnt);
}

// Free-list link operations; links are unit indices inside one block.
static VX_INLINE void unlinkFree(MemBlk* b, uint32_t link)
{
   MemUnit* l = vxUnitAt(b, link);
   uint32_t nxt = l->w2;
   vxUnitAt(b, l->w3)->w2 = static_cast<uint16_t>(nxt);
   vxUnitAt(b, nxt)->w3 = l->w3;
   if (b->freeElemOff == link) b->freeElemOff = static_cast<uint16_t>(nxt);
}

// Inserts a new link directly behind the link at freeElemOff.
static VX_INLINE void insertFree(MemBlk* b, uint32_t link)
{
   uint32_t at = b->freeElemOff;
   MemUnit* a = vxUnitAt(b, at);
   MemUnit* l = vxUnitAt(b, link);
   l->w2 = a->w2;
   l->w3 = static_cast<uint16_t>(at);
   vxUnitAt(b, a->w2)->w3 = static_cast<uint16_t>(link);
   a->w2 = static_cast<uint16_t>(link);
}

// Index of the link in the last unit of an element; one of fewer than two
// units has no room for a link.
static VX_INLINE uint32_t linkOf(uint32_t elemIdx, const MemUnit* e)
{
   if (VX_UNLIKELY(e->w0 < 2)) rtxErrAssertionFailed("pFreeLink != 0", __LINE__, VX_MODULE);
   return elemIdx + e->w0 - 1u;
}

static VX_INLINE void widenRange(VXMemHeap* h, void* p, size_t size)
{
   uint8_t* lo = static_cast<uint8_t*>(p);
   uint8_t* hi = lo + size - 1;
   if (!h->maxAddr) {
      h->minAddr = lo;
      h->maxAddr = hi;
      return;
   }
   if (lo < h->minAddr) h->minAddr = lo;
   if (hi > h->maxAddr) h->maxAddr = hi;
}

static VX_INLINE void rawUnlink(MemRawBlk* rb)
{
   rb->link.pprev->pnext = rb->link.pnext;
   rb->link.pnext->pprev = rb->link.pprev;
}

static VX_INLINE void ringUnlink(VXMemHeap* h, MemBlk* b)
{
   if (b->pnext == b) {
      h->curMemBlk = nullptr;
      return;
   }
   b->pprev->pnext = b->pnext;
   b->pnext->pprev = b->pprev;
   if (h->curMemBlk == b) h->curMemBlk = b->pnext;
}

static VX_INLINE void checkIfAsked(VXMemHeap* h, void** ppvMemHeap, int line)
{
   if (VX_UNLIKELY(h->flags & RT_MH_CHECKHEAP)) rtxMemHeapCheck(ppvMemHeap, VX_MODULE, line);
}

// --- creation -----------------------------------------------------------------

static int createHeap(void** ppvMemHeap, VXMallocFunc m, VXReallocFunc r, VXFreeFunc f,
                      uint32_t code)
{
   if (!ppvMemHeap || !m || !f) return RTERR_INVPARAM;
   VXMemHeap* h = static_cast<VXMemHeap*>(m(sizeof(VXMemHeap)));
   if (!h) return RTERR_NOMEM;
   memset(h, 0, sizeof(VXMemHeap));
   h->rawBlkList.pnext = h->rawBlkList.pprev = &h->rawBlkList;
   h->defBlkSize = g_defBlkSize;
   h->refCnt = 1;
   h->flags = RT_MH_SYSALLOC;
   h->mallocFunc = m;
   h->reallocFunc = r;
   h->freeFunc = f;
   h->code = code;
   *ppvMemHeap = h;
   return 0;
}

int rtxMemHeapCreate(void** ppvMemHeap)
{
   if (!ppvMemHeap) return RTERR_INVPARAM;
   return createHeap(ppvMemHeap, g_malloc_func, g_realloc_func, g_free_func,
                     static_cast<uint32_t>(rand()));
}

int rtxMemHeapCreateExt(void** ppvMemHeap, VXMallocFunc m, VXReallocFunc r, VXFreeFunc f)
{
   return createHeap(ppvMemHeap, m, r, f, 0);
}

int rtxMemStaticHeapCreate(void** ppvMemHeap, void* base, size_t size)
{
   int stat = createHeap(ppvMemHeap, malloc, realloc, free, 0);
   if (stat != 0) return stat;
   VXMemHeap* h = heapOf(ppvMemHeap);
   h->flags = RT_MH_STATIC | RT_MH_SYSALLOC;
   h->area.base = static_cast<uint8_t*>(base);
   h->area.capacity = base ? size : 0;
   h->staticUsed = 0;
   return 0;
}

static VX_INLINE VXMemHeap* heapOrCreate(void** ppvMemHeap)
{
   if (!ppvMemHeap) return nullptr;
   if (VX_UNLIKELY(!*ppvMemHeap) && rtxMemHeapCreate(ppvMemHeap) != 0) return nullptr;
   return heapOf(ppvMemHeap);
}

// --- allocation -----------------------------------------------------------------

static void* staticAlloc(VXMemHeap* h, size_t nbytes)
{
   if (nbytes > h->area.capacity - h->staticUsed) return nullptr;
   void* p = h->area.base + h->staticUsed;
   h->staticUsed += nbytes;
   return p;
}

static void* rawAlloc(VXMemHeap* h, size_t nbytes)
{
   size_t total = nbytes + VX_BLKHDR_BYTES;
   if (total < nbytes) return nullptr;
   MemRawBlk* rb = static_cast<MemRawBlk*>(h->mallocFunc(total));
   if (!rb) return nullptr;
   widenRange(h, rb, total);
   rb->size = nbytes;
   vxSetCode(&rb->hdr, h->code);
   rb->hdr.w2 = 0;
   rb->hdr.w3 = vxFlagsRef(VX_ELEM_RAW, 1);
   rb->link.pnext = &h->rawBlkList;
   rb->link.pprev = h->rawBlkList.pprev;
   h->rawBlkList.pprev->pnext = &rb->link;
   h->rawBlkList.pprev = &rb->link;
   return rb + 1;
}

// Searches one block's free list for `need` units; null if none fits, in
// which case maxFreeElem becomes the exact largest size met.
static VX_INLINE void* allocInBlock(VXMemHeap* h, MemBlk* b, uint32_t need)
{
   const uint32_t start = b->freeElemOff;
   uint32_t link = start;
   uint32_t size;
   uint32_t largest = 0;
   for (;;) {
      size = vxFreeSize(b, link);
      if (size >= need) break;
      if (size > largest) largest = size;
      link = vxUnitAt(b, link)->w2;
      if (link == start) {
         b->maxFreeElem = static_cast<uint16_t>(largest);
         return nullptr;
      }
   }
   b->maxFreeElem = VX_MAXUNITS;

   // One step of look-ahead: a smaller fit right behind wins.
   uint32_t next = vxUnitAt(b, link)->w2;
   uint32_t nextSize = vxFreeSize(b, next);
   if (nextSize >= need && nextSize < size) {
      if (link != start) b->freeElemOff = static_cast<uint16_t>(link);
      link = next;
      size = nextSize;
   }

   uint32_t ei = link + 1 - size;
   MemUnit* e = vxUnitAt(b, ei);
   uint32_t rem = size - need;
   if (rem <= 1) {
      unlinkFree(b, link);
   } else {
      // Cut the front off; the link at the back stays where it is.
      uint32_t fi = toOff(static_cast<uint64_t>(ei) + need);
      e->w0 = static_cast<uint16_t>(need);
      writeHdr(e + need, rem, need, fi, VX_ELEM_FREE, 0);
      vxUnitAt(b, link + 1)->w1 = static_cast<uint16_t>(rem);
   }
   e->w2 = static_cast<uint16_t>(ei);
   e->w3 = vxFlagsRef(0, 1);
   h->curMemBlk = b;
   return e + 1;
}

static void* allocNewBlock(VXMemHeap* h, uint32_t need)
{
   uint64_t bytes = (static_cast<uint64_t>(need) + 2) * 8 + VX_BLKHDR_BYTES;
   uint64_t def = h->defBlkSize;
   uint64_t blkSize;
   if (def == 0)
      blkSize = bytes;
   else if (bytes >= def)
      blkSize = (bytes + def - 1) / def * def;
   else
      blkSize = def;
   if (blkSize > VX_MAXBLK_BYTES) blkSize = VX_MAXBLK_BYTES;

   MemBlk* b = static_cast<MemBlk*>(h->mallocFunc(static_cast<size_t>(blkSize)));
   if (!b) return nullptr;
   MemBlk* cur = h->curMemBlk;
   if (cur) {
      b->pnext = cur;
      b->pprev = cur->pprev;
      cur->pprev->pnext = b;
      cur->pprev = b;
   } else {
      b->pnext = b->pprev = b;
   }
   h->curMemBlk = b;
   widenRange(h, b, static_cast<size_t>(blkSize));

   uint32_t nunits = static_cast<uint32_t>((blkSize - VX_BLKHDR_BYTES) / 8);
   uint32_t rem = nunits - need - 2;
   if (rem == 1) {
      need += 1;
      rem = 0;
   }
   b->nunits = static_cast<uint16_t>(nunits);
   b->nsaved = 0;
   b->maxFreeElem = static_cast<uint16_t>(rem);

   MemUnit* anchor = vxUnitAt(b, 0);
   vxSetCode(anchor, h->code);
   writeHdr(anchor + 1, 0, 0, 1, 0, 0);  // start border
   MemUnit* e = anchor + 2;
   writeHdr(e, need, 1, 2, 0, 1);
   if (rem > 0) {
      uint32_t link = toOff(nunits - 1);
      writeHdr(e + need, rem, need, 2 + need, VX_ELEM_FREE, 0);
      MemUnit* l = vxUnitAt(b, link);
      l->w2 = l->w3 = 0;
      anchor->w2 = anchor->w3 = static_cast<uint16_t>(link);
      b->freeElemOff = static_cast<uint16_t>(link);
      writeHdr(vxUnitAt(b, nunits), 0, rem, 0, 0, 0);  // end border
   } else {
      anchor->w2 = anchor->w3 = 0;
      b->freeElemOff = 0;
      writeHdr(vxUnitAt(b, nunits), 0, need, 0, 0, 0);
   }
   return e + 1;
}

// Kept out of line, so that the fast path below needs no stack frame.
static __attribute__((noinline)) void* allocGeneral(void** ppvMemHeap, size_t nbytes);

// The common case first: a plain heap whose current block's first free
// element is large enough that a piece is cut from its front, and the
// look-ahead would not prefer the next one. Everything else, with the same
// result, goes through allocGeneral.
void* rtxMemHeapAlloc(void** ppvMemHeap, size_t nbytes)
{
   VXMemHeap* h = ppvMemHeap != nullptr ? heapOf(ppvMemHeap) : nullptr;
   if (VX_LIKELY(h != nullptr && (h->flags & (RT_MH_STATIC | RT_MH_CHECKHEAP | RT_MH_RAW)) == 0 &&
                 nbytes <= 8u * 1024u)) {
      uint32_t need = static_cast<uint32_t>((nbytes + 7u) >> 3) + 1u;
      if (need < 2) need = 2;
      MemBlk* b = h->curMemBlk;
      if (VX_LIKELY(b != nullptr && b->maxFreeElem >= need)) {
         uint32_t link = b->freeElemOff;
         uint32_t size = vxFreeSize(b, link);
         if (VX_LIKELY(size >= need + 2u)) {
            uint32_t nextSize = vxFreeSize(b, vxUnitAt(b, link)->w2);
            if (VX_LIKELY(nextSize < need || nextSize >= size)) {
               b->maxFreeElem = VX_MAXUNITS;
               uint32_t ei = link + 1 - size;
               uint32_t rem = size - need;
               MemUnit* e = vxUnitAt(b, ei);
               e->w0 = static_cast<uint16_t>(need);
               writeHdr(e + need, rem, need, toOff(static_cast<uint64_t>(ei) + need), VX_ELEM_FREE,
                        0);
               vxUnitAt(b, link + 1)->w1 = static_cast<uint16_t>(rem);
               e->w2 = static_cast<uint16_t>(ei);
               e->w3 = vxFlagsRef(0, 1);
               return e + 1;
            }
         }
      }
   }
   return allocGeneral(ppvMemHeap, nbytes);
}

static void* allocGeneral(void** ppvMemHeap, size_t nbytes)
{
   VXMemHeap* h = heapOrCreate(ppvMemHeap);
   if (VX_UNLIKELY(!h)) return nullptr;
   if (VX_UNLIKELY(h->flags & (RT_MH_STATIC | RT_MH_CHECKHEAP | RT_MH_RAW))) {
      if (h->flags & RT_MH_STATIC) return staticAlloc(h, nbytes);
      checkIfAsked(h, ppvMemHeap, __LINE__);
      if (h->flags & RT_MH_RAW) return rawAlloc(h, nbytes);
   }
   uint64_t punits = (static_cast<uint64_t>(nbytes) >> 3) + ((nbytes & 7u) != 0);
   if (VX_UNLIKELY(punits >= VX_RAW_UNITS)) return rawAlloc(h, nbytes);
   uint32_t need = static_cast<uint32_t>(punits) + 1;
   if (VX_UNLIKELY(need < 2)) need = 2;

   MemBlk* start = h->curMemBlk;
   if (VX_LIKELY(start != nullptr)) {
      MemBlk* b = start;
      do {
         if (b->maxFreeElem >= need) {
            void* p = allocInBlock(h, b, need);
            if (p) return p;
         }
         b = b->pnext;
      } while (b != start);
   }
   return allocNewBlock(h, need);
}

void* rtxMemHeapAllocZ(void** ppvMemHeap, size_t nbytes)
{
   void* p = rtxMemHeapAlloc(ppvMemHeap, nbytes);
   if (p) memset(p, 0, nbytes);
   return p;
}

void* rtxMemAllocArray2(VXCTXT* pctxt, size_t count, size_t elemSize, unsigned options)
{
   if (!pctxt) return nullptr;
   size_t total;
   if (__builtin_mul_overflow(count, elemSize, &total) || total < count) {
      VX_LOG_ERRNEW(pctxt, RTERR_TOOBIG);
      return nullptr;
   }
   void* p = (options & RT_MH_SYSARRAY) ? rtxMemHeapSysAlloc(&pctxt->pMemHeap, total)
                                        : rtxMemHeapAlloc(&pctxt->pMemHeap, total);
   if (!p) {
      VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      return nullptr;
   }
   if (options & RT_MH_ZEROARRAY) memset(p, 0, total);
   return p;
}

// --- pointer checks -----------------------------------------------------------

// Whether the 8 bytes at `p` lie in the address range of the heap's blocks.
static VX_INLINE bool inRange(const VXMemHeap* h, const void* p)
{
   uintptr_t a = reinterpret_cast<uintptr_t>(p);
   return a >= reinterpret_cast<uintptr_t>(h->minAddr) &&
          a + 7 <= reinterpret_cast<uintptr_t>(h->maxAddr) && a + 7 > a;
}

// The element header of `ptr` if it passes the quick checks: 8-byte
// alignment, optionally the address range of the heap (tested on the header,
// which a raw block of 0 bytes has too), and the guard found beginOff units
// before the header. Null otherwise.
static VX_INLINE MemUnit* quickCheck(VXMemHeap* h, const void* ptr, bool range)
{
   if (VX_UNLIKELY(reinterpret_cast<uintptr_t>(ptr) & 7u)) return nullptr;
   MemUnit* e = vxElemOf(ptr);
   if (range && VX_UNLIKELY(!inRange(h, e))) return nullptr;
   MemUnit* guard = e - e->w2;
   // The guard lies at or below the header, which passed the range test:
   // only its lower end is left to test.
   if (range &&
       VX_UNLIKELY(reinterpret_cast<uintptr_t>(guard) < reinterpret_cast<uintptr_t>(h->minAddr)))
      return nullptr;
   if (VX_UNLIKELY(vxGetCode(guard) != h->code)) return nullptr;
   return e;
}

bool rtxMemHeapCheckCode(void** ppvMemHeap, const void* ptr)
{
   if (!ppvMemHeap || !*ppvMemHeap || !ptr) return false;
   VXMemHeap* h = heapOf(ppvMemHeap);
   return !(h->flags & RT_MH_STATIC) && quickCheck(h, ptr, false) != nullptr;
}

bool rtxMemInvalidPtr(void** ppvMemHeap, const void* ptr)
{
   if (!ppvMemHeap || !*ppvMemHeap || !ptr) return true;
   VXMemHeap* h = heapOf(ppvMemHeap);
   return (h->flags & RT_MH_STATIC) || !inRange(h, vxElemOf(ptr));
}

void rtxMemHeapInvalidPtrHook(void** ppvMemHeap, const void* ptr)
{
   (void)ppvMemHeap;
   (void)ptr;
   rtxErrAssertionFailed("mem pointer valid", __LINE__, VX_MODULE);
}

static __attribute__((noinline)) void checkPtr(VXMemHeap* h, void** ppvMemHeap, const void* ptr,
                                               int line)
{
   checkIfAsked(h, ppvMemHeap, line);
   if ((h->flags & RT_MH_CHECKPTR) && !rtxMemHeapCheckPtr(ppvMemHeap, ptr))
      rtxMemHeapInvalidPtrHook(ppvMemHeap, ptr);
}

static VX_INLINE void checkPtrIfAsked(VXMemHeap* h, void** ppvMemHeap, const void* ptr, int line)
{
   if (VX_UNLIKELY(h->flags & (RT_MH_CHECKHEAP | RT_MH_CHECKPTR)))
      checkPtr(h, ppvMemHeap, ptr, line);
}

// --- release --------------------------------------------------------------------

// The rare steps of a free stay out of line, so that the common one needs
// no stack frame. releaseRaw unlinks the raw block and gives it back.
static __attribute__((noinline)) void releaseRaw(VXMemHeap* h, MemRawBlk* rb)
{
   rawUnlink(rb);
   if (h->flags & RT_MH_ZEROONFREE) memset(rb + 1, 0, static_cast<size_t>(rb->size));
   h->freeFunc(rb);
}

static __attribute__((noinline)) void zeroFreed(MemUnit* s, uint32_t size)
{
   memset(s + 1, 0, (static_cast<size_t>(size) - 2) * sizeof(MemUnit));
}

static __attribute__((noinline)) void releaseEmptyBlock(VXMemHeap* h, MemBlk* b)
{
   if (b->pnext == b) {
      h->curMemBlk = nullptr;
      h->minAddr = h->maxAddr = nullptr;
   } else {
      ringUnlink(h, b);
   }
   h->freeFunc(b);
}

// Returns an element with refCnt 0 to its block, coalescing with free
// neighbours. The borders are never free, so both neighbours always exist.
// Units are reached from the element itself: the link of a free element
// before it is the unit right in front of it, its own link would be its
// last unit, and the data area starts beginOff units back.
static VX_INLINE void freeElem(VXMemHeap* h, MemUnit* e)
{
   const uint32_t ei = e->w2;
   const uint32_t n = e->w0;
   MemUnit* const area = e - ei;
   MemBlk* const b = reinterpret_cast<MemBlk*>(reinterpret_cast<uint8_t*>(area) - sizeof(MemBlk));
   if (VX_UNLIKELY(e->w3 & VX_ELEM_SAVED)) b->nsaved--;
   MemUnit* const next = e + n;
   const uint32_t prevUnits = e->w1;
   MemUnit* s;     // start of the free element that results
   uint32_t size;  // and its size
   if (vxIsFree(e - prevUnits)) {
      s = e - prevUnits;
      if (vxIsFree(next)) {
         // The link of prev goes; the link of next serves the whole.
         unlinkFree(b, ei - 1);
         size = prevUnits + n + next->w0;
      } else {
         // Move prev's link to the end of this element.
         const uint32_t oldLink = ei - 1;
         const uint32_t newLink = linkOf(ei, e);
         const MemUnit* ol = e - 1;
         MemUnit* nl = e + (n - 1);
         const uint16_t nxt = ol->w2, prv = ol->w3;
         nl->w2 = nxt;
         nl->w3 = prv;
         area[prv].w2 = static_cast<uint16_t>(newLink);
         area[nxt].w3 = static_cast<uint16_t>(newLink);
         if (b->freeElemOff == oldLink) b->freeElemOff = static_cast<uint16_t>(newLink);
         size = prevUnits + n;
      }
   } else {
      s = e;
      e->w3 = vxFlagsRef(VX_ELEM_FREE, 0);
      if (vxIsFree(next)) {
         size = n + next->w0;
      } else {
         insertFree(b, linkOf(ei, e));
         size = n;
      }
   }
   if (size != n) {
      s->w0 = toOff(size);
      s[size].w1 = static_cast<uint16_t>(size);
   }
   if (VX_UNLIKELY(h->flags & RT_MH_ZEROONFREE) && size > 2) zeroFreed(s, size);
   if (size > b->maxFreeElem) b->maxFreeElem = static_cast<uint16_t>(size);

   if (VX_UNLIKELY(size == b->nunits - 2u) && (h->flags & RT_MH_FREEEMPTYBLOCK))
      releaseEmptyBlock(h, b);
}

// Drops the last reference of a raw block or an element.
static VX_INLINE void releaseLast(VXMemHeap* h, MemUnit* e)
{
   e->w3 = static_cast<uint16_t>(e->w3 & 0xFFu);
   if (VX_UNLIKELY(e->w3 & VX_ELEM_RAW)) {
      releaseRaw(h, vxRawOf(e));
      return;
   }
   freeElem(h, e);
}

static VX_INLINE int unref(VXMemHeap* h, void** ppvMemHeap, void* ptr)
{
   checkPtrIfAsked(h, ppvMemHeap, ptr, __LINE__);
   MemUnit* e = quickCheck(h, ptr, true);
   if (VX_UNLIKELY(!e)) return RTERR_NOMEM;
   unsigned refCnt = vxRefCnt(e);
   if (VX_UNLIKELY(refCnt == 0 || (e->w3 & VX_ELEM_FREE))) return 0;  // freed already
   if (VX_UNLIKELY(refCnt > 1)) {
      e->w3 = static_cast<uint16_t>(e->w3 - 0x100u);
      return static_cast<int>(refCnt - 1);
   }
   releaseLast(h, e);
   return 0;
}

int rtxMemHeapAutoPtrUnref(void** ppvMemHeap, void* ptr)
{
   if (!ptr || !ppvMemHeap || !*ppvMemHeap) return RTERR_NULLPTR;
   VXMemHeap* h = heapOf(ppvMemHeap);
   if (VX_UNLIKELY(h->flags & RT_MH_STATIC)) return RTERR_NOMEM;
   return unref(h, ppvMemHeap, ptr);
}

void rtxMemHeapFreePtr(void** ppvMemHeap, void* ptr)
{
   if (!ppvMemHeap || !*ppvMemHeap || !ptr) return;
   VXMemHeap* h = heapOf(ppvMemHeap);
   if (VX_UNLIKELY(h->flags & RT_MH_STATIC)) return;
   unref(h, ppvMemHeap, ptr);
}

void* rtxMemHeapAutoPtrRef(void** ppvMemHeap, void* ptr)
{
   if (!ptr || !ppvMemHeap || !*ppvMemHeap) return nullptr;
   VXMemHeap* h = heapOf(ppvMemHeap);
   if (h->flags & RT_MH_STATIC) return nullptr;
   MemUnit* e = quickCheck(h, ptr, true);
   if (!e) return nullptr;
   unsigned refCnt = vxRefCnt(e);
   if (refCnt == 0 || refCnt >= 255 || (e->w3 & VX_ELEM_FREE)) return nullptr;
   e->w3 = static_cast<uint16_t>(e->w3 + 0x100u);
   return ptr;
}

int rtxMemHeapAutoPtrGetRefCount(void** ppvMemHeap, void* ptr)
{
   if (!ptr || !ppvMemHeap || !*ppvMemHeap) return RTERR_NULLPTR;
   VXMemHeap* h = heapOf(ppvMemHeap);
   if (h->flags & RT_MH_STATIC) return RTERR_NOMEM;
   MemUnit* e = quickCheck(h, ptr, true);
   if (!e) return RTERR_NOMEM;
   return static_cast<int>(vxRefCnt(e));
}

// --- reallocation ---------------------------------------------------------------

static VX_INLINE size_t payloadSize(MemUnit* e)
{
   if (e->w3 & VX_ELEM_RAW) return static_cast<size_t>(vxRawOf(e)->size);
   return (static_cast<size_t>(e->w0) - 1) * sizeof(MemUnit);
}

// Marks a new allocation saved when the one it replaces was.
static void carrySaved(MemUnit* from, void* to)
{
   if (!(from->w3 & VX_ELEM_SAVED)) return;
   MemUnit* e = vxElemOf(to);
   e->w3 = static_cast<uint16_t>(e->w3 | VX_ELEM_SAVED);
   if (!(e->w3 & VX_ELEM_RAW)) vxBlockOf(e)->nsaved++;
}

// Allocates anew and copies the smaller of the two sizes.
static void* moveTo(void** ppvMemHeap, MemUnit* e, size_t size)
{
   void* np = rtxMemHeapAlloc(ppvMemHeap, size);
   if (!np) return nullptr;
   size_t old = payloadSize(e);
   memcpy(np, e + 1, old < size ? old : size);
   carrySaved(e, np);
   return np;
}

// Grows an element, in place if the free element behind it suffices.
static void* growElem(void** ppvMemHeap, MemUnit* e, uint32_t nu, size_t size)
{
   MemBlk* b = vxBlockOf(e);
   const uint32_t ei = e->w2;
   const uint32_t old = e->w0;
   b->maxFreeElem = VX_MAXUNITS;
   MemUnit* next = e + old;
   if (vxIsFree(next) && old + next->w0 >= nu) {
      uint32_t total = old + next->w0;
      uint32_t rem = total - nu;
      if (rem >= 2) {
         e->w0 = static_cast<uint16_t>(nu);
         writeHdr(e + nu, rem, nu, toOff(static_cast<uint64_t>(ei) + nu), VX_ELEM_FREE, 0);
         e[total].w1 = static_cast<uint16_t>(rem);
      } else {
         unlinkFree(b, linkOf(ei + old, next));
         e->w0 = static_cast<uint16_t>(total);
         e[total].w1 = static_cast<uint16_t>(total);
      }
      return e + 1;
   }
   void* np = moveTo(ppvMemHeap, e, size);
   if (np) releaseLast(heapOf(ppvMemHeap), e);
   return np;
}

// Shrinks an element in place, giving the tail back to the block.
static void* shrinkElem(MemUnit* e, uint32_t nu)
{
   MemBlk* b = vxBlockOf(e);
   const uint32_t ei = e->w2;
   const uint32_t old = e->w0;
   const uint32_t diff = old - nu;
   MemUnit* next = e + old;
   uint32_t result;
   if (vxIsFree(next)) {
      result = diff + next->w0;
      e[old + next->w0].w1 = static_cast<uint16_t>(result);
      writeHdr(e + nu, result, nu, toOff(static_cast<uint64_t>(ei) + nu), VX_ELEM_FREE, 0);
      e->w0 = static_cast<uint16_t>(nu);
   } else if (diff >= 2) {
      result = diff;
      writeHdr(e + nu, diff, nu, toOff(static_cast<uint64_t>(ei) + nu), VX_ELEM_FREE, 0);
      insertFree(b, ei + old - 1);
      next->w1 = static_cast<uint16_t>(diff);
      e->w0 = static_cast<uint16_t>(nu);
   } else {
      result = nu;  // one unit left over stays with the element
   }
   if (result > b->maxFreeElem) b->maxFreeElem = static_cast<uint16_t>(result);
   return e + 1;
}

void* rtxMemHeapRealloc(void** ppvMemHeap, void* ptr, size_t size)
{
   if (!ppvMemHeap || !*ppvMemHeap) return nullptr;
   if (!ptr) return rtxMemHeapAlloc(ppvMemHeap, size);
   if (size == 0) {
      rtxMemHeapFreePtr(ppvMemHeap, ptr);
      return nullptr;
   }
   VXMemHeap* h = heapOf(ppvMemHeap);
   if (h->flags & RT_MH_STATIC) return nullptr;
   checkPtrIfAsked(h, ppvMemHeap, ptr, __LINE__);
   MemUnit* e = quickCheck(h, ptr, false);
   if (VX_UNLIKELY(!e)) rtxMemHeapInvalidPtrHook(ppvMemHeap, ptr);
   unsigned refCnt = vxRefCnt(e);
   if (refCnt == 0 || (e->w3 & VX_ELEM_FREE)) return nullptr;
   const bool raw = (e->w3 & VX_ELEM_RAW) != 0;

   if (refCnt > 1 || (size > 0x7FFEFu && !raw)) {
      // Other holders keep the old copy.
      if (refCnt > 1) e->w3 = static_cast<uint16_t>(e->w3 - 0x100u);
      void* np = moveTo(ppvMemHeap, e, size);
      if (np && refCnt == 1) releaseLast(h, e);
      return np;
   }
   if (raw) {
      MemRawBlk* rb = vxRawOf(e);
      if (h->reallocFunc) {
         // The stored size and the heap's address range are left as they
         // were: a moved block may then fail the range check of free and
         // stay until the heap is freed as a whole.
         size_t total = size + VX_BLKHDR_BYTES;
         if (total < size) return nullptr;
         uintptr_t oldAddr = reinterpret_cast<uintptr_t>(rb);
         MemRawBlk* nb = static_cast<MemRawBlk*>(h->reallocFunc(rb, total));
         if (!nb) return nullptr;
         if (reinterpret_cast<uintptr_t>(nb) != oldAddr) {
            nb->link.pprev->pnext = &nb->link;
            nb->link.pnext->pprev = &nb->link;
         }
         return nb + 1;
      }
      void* np = moveTo(ppvMemHeap, e, size);
      if (np) releaseLast(h, e);
      return np;
   }

   uint32_t nu = static_cast<uint32_t>((size + 7) / 8 + 1);
   if (nu == e->w0) return ptr;
   if (nu > e->w0) return growElem(ppvMemHeap, e, nu, size);
   return shrinkElem(e, nu);
}

void* rtxMemHeapReallocStatic(void** ppvMemHeap, void* ptr, size_t oldSize, size_t newSize)
{
   if (!ppvMemHeap || !*ppvMemHeap) return nullptr;
   VXMemHeap* pMemHeap = heapOf(ppvMemHeap);
   VX_ASSERT(pMemHeap->flags & RT_MH_STATIC);
   VXMemHeap* h = pMemHeap;
   if (!ptr) return staticAlloc(h, newSize);
   uint8_t* p = static_cast<uint8_t*>(ptr);
   // Only the last allocation can change size.
   if (p < h->area.base || oldSize > h->staticUsed || p != h->area.base + (h->staticUsed - oldSize))
      return nullptr;
   if (newSize == oldSize) return nullptr;
   if (newSize > oldSize && newSize - oldSize > h->area.capacity - h->staticUsed) return nullptr;
   h->staticUsed = h->staticUsed - oldSize + newSize;
   return ptr;
}

// --- whole-heap operations ------------------------------------------------------

// Common start of free-all and reset: a static heap just forgets what it
// handed out. Returns the heap if there is more to do.
static VXMemHeap* beginWholeHeapOp(void** ppvMemHeap, int line)
{
   if (!ppvMemHeap || !*ppvMemHeap) return nullptr;
   VXMemHeap* h = heapOf(ppvMemHeap);
   if (h->flags & RT_MH_STATIC) {
      h->staticUsed = 0;
      return nullptr;
   }
   checkIfAsked(h, ppvMemHeap, line);
   return h;
}

// Releases the raw blocks: all of them, or those without the saved flag.
static void releaseRawBlocks(VXMemHeap* h, bool keepSaved)
{
   VXMemLink* anchor = &h->rawBlkList;
   for (VXMemLink* l = anchor->pnext; l != anchor;) {
      VXMemLink* nl = l->pnext;
      MemRawBlk* rb = reinterpret_cast<MemRawBlk*>(l);
      if (!keepSaved || !(rb->hdr.w3 & VX_ELEM_SAVED)) releaseRaw(h, rb);
      l = nl;
   }
}

void rtxMemHeapFreeAll(void** ppvMemHeap)
{
   VXMemHeap* h = beginWholeHeapOp(ppvMemHeap, __LINE__);
   if (!h) return;
   releaseRawBlocks(h, false);
   MemBlk* start = h->curMemBlk;
   if (!start) return;
   MemBlk* b = start;
   do {
      MemBlk* nb = b->pnext;
      h->freeFunc(b);
      b = nb;
   } while (b != start);
   h->curMemBlk = nullptr;
   h->minAddr = h->maxAddr = nullptr;
}

// Makes a block hold one free element spanning the whole data area.
static void resetBlockEmpty(MemBlk* b)
{
   uint32_t nunits = b->nunits;
   uint32_t size = nunits - 2;
   uint32_t link = nunits - 1;
   MemUnit* anchor = vxUnitAt(b, 0);
   writeHdr(anchor + 2, size, 1, 2, VX_ELEM_FREE, 0);
   anchor[link].w2 = anchor[link].w3 = 0;
   anchor->w2 = anchor->w3 = static_cast<uint16_t>(link);
   anchor[nunits].w1 = static_cast<uint16_t>(size);
   b->freeElemOff = static_cast<uint16_t>(link);
   b->maxFreeElem = static_cast<uint16_t>(size);
}

// Rebuilds the free list of a block around its saved elements: each run of
// unsaved elements between them becomes one free element.
static void resetBlockSaved(MemBlk* b)
{
   const uint32_t nunits = b->nunits;
   MemUnit* anchor = vxUnitAt(b, 0);
   anchor->w2 = anchor->w3 = 0;
   b->freeElemOff = 0;
   uint32_t largest = 0;
   uint32_t prevSize = 1;  // the start border counts as one unit backwards
   uint32_t runStart = 0;
   bool inRun = false;
   uint32_t idx = 2;
   for (;;) {
      MemUnit* e = vxUnitAt(b, idx);
      bool atEnd = idx >= nunits;
      bool saved = !atEnd && (e->w3 & VX_ELEM_SAVED) && !(e->w3 & VX_ELEM_FREE);
      if (inRun && (atEnd || saved)) {
         uint32_t size = idx - runStart;
         writeHdr(vxUnitAt(b, runStart), size, prevSize, runStart, VX_ELEM_FREE, 0);
         // Append the link at the end of the list (before the anchor).
         uint32_t link = idx - 1;
         MemUnit* l = vxUnitAt(b, link);
         l->w2 = 0;
         l->w3 = anchor->w3;
         vxUnitAt(b, anchor->w3)->w2 = static_cast<uint16_t>(link);
         anchor->w3 = static_cast<uint16_t>(link);
         e->w1 = static_cast<uint16_t>(size);
         if (size > largest) largest = size;
         prevSize = size;
         inRun = false;
      }
      if (atEnd) break;
      uint32_t n = e->w0;
      if (saved) {
         e->w1 = static_cast<uint16_t>(prevSize);
         prevSize = n;
      } else if (!inRun) {
         inRun = true;
         runStart = idx;
      }
      idx += n;
   }
   b->maxFreeElem = static_cast<uint16_t>(largest);
}

void rtxMemHeapReset(void** ppvMemHeap)
{
   VXMemHeap* h = beginWholeHeapOp(ppvMemHeap, __LINE__);
   if (!h) return;
   releaseRawBlocks(h, true);
   MemBlk* b = h->curMemBlk;
   if (b) {
      MemBlk* last = b->pprev;
      for (;;) {
         MemBlk* nb = b->pnext;
         bool isLast = b == last;
         if (b->nsaved != 0) {
            resetBlockSaved(b);
         } else if (h->flags & RT_MH_FREEEMPTYBLOCK) {
            ringUnlink(h, b);
            h->freeFunc(b);
         } else {
            resetBlockEmpty(b);
         }
         if (isLast) break;
         b = nb;
      }
   }
   if (!h->curMemBlk && h->rawBlkList.pnext == &h->rawBlkList) h->minAddr = h->maxAddr = nullptr;
}

void rtxMemHeapAddRef(void** ppvMemHeap)
{
   if (ppvMemHeap && *ppvMemHeap) heapOf(ppvMemHeap)->refCnt++;
}

void rtxMemHeapRelease(void** ppvMemHeap)
{
   if (!ppvMemHeap || !*ppvMemHeap) return;
   VXMemHeap* h = heapOf(ppvMemHeap);
   if (h->refCnt > 1) {
      h->refCnt--;
      return;
   }
   h->refCnt = 0;
   rtxMemHeapFreeAll(ppvMemHeap);
   if (h->flags & RT_MH_SYSALLOC) {
      h->freeFunc(h);
      *ppvMemHeap = nullptr;
   }
}

bool rtxMemHeapIsEmpty(void** ppvMemHeap)
{
   if (!ppvMemHeap || !*ppvMemHeap) return true;
   VXMemHeap* h = heapOf(ppvMemHeap);
   if (h->flags & RT_MH_STATIC) return h->staticUsed == 0;
   return h->rawBlkList.pnext == &h->rawBlkList && h->curMemBlk == nullptr;
}

// --- system allocator -----------------------------------------------------------

void* rtxMemHeapSysAlloc(void** ppvMemHeap, size_t nbytes)
{
   VXMemHeap* h = heapOrCreate(ppvMemHeap);
   return h ? h->mallocFunc(nbytes) : nullptr;
}

void* rtxMemHeapSysAllocZ(void** ppvMemHeap, size_t nbytes)
{
   void* p = rtxMemHeapSysAlloc(ppvMemHeap, nbytes);
   if (p) memset(p, 0, nbytes);
   return p;
}

void* rtxMemHeapSysRealloc(void** ppvMemHeap, void* ptr, size_t nbytes)
{
   VXMemHeap* h = heapOrCreate(ppvMemHeap);
   if (!h || !h->reallocFunc) return nullptr;
   return h->reallocFunc(ptr, nbytes);
}

void rtxMemHeapSysFreePtr(void** ppvMemHeap, void* ptr)
{
   if (!ptr) return;
   if (ppvMemHeap && *ppvMemHeap)
      heapOf(ppvMemHeap)->freeFunc(ptr);
   else
      g_free_func(ptr);
}

// --- flags and properties -------------------------------------------------------

void rtxMemHeapSetFlags(void** ppvMemHeap, uint32_t flags)
{
   VXMemHeap* h = heapOrCreate(ppvMemHeap);
   if (h) h->flags |= flags;
}

void rtxMemHeapClearFlags(void** ppvMemHeap, uint32_t flags)
{
   VXMemHeap* h = heapOrCreate(ppvMemHeap);
   if (h) h->flags &= ~flags;
}

void rtxMemHeapSetProperty(void** ppvMemHeap, uint32_t propId, void* pProp)
{
   VXMemHeap* h = heapOrCreate(ppvMemHeap);
   if (!h || !pProp) return;
   uint32_t value = *static_cast<uint32_t*>(pProp);
   switch (propId) {
      case RT_MH_PROP_DEFBLKSIZE:
         h->defBlkSize = value;
         break;
      case RT_MH_PROP_SETFLAGS:
         h->flags |= value;
         break;
      case RT_MH_PROP_CLEARFLAGS:
         h->flags &= ~value;
         break;
      case RT_MH_PROP_KEEPFREEUNITS:
         h->keepFreeUnits = value;
         break;
      default:
         break;
   }
}

uint32_t rtxMemHeapGetDefBlkSize(void** ppvMemHeap)
{
   if (!ppvMemHeap || !*ppvMemHeap) return g_defBlkSize;
   return heapOf(ppvMemHeap)->defBlkSize;
}
