// Consistency checks of the memory heap: the full walk behind
// rtxMemHeapCheck (a debugging aid, run on every heap operation with heap
// flag 0x4) and the membership test of rtxMemHeapCheckPtr (flag 0x2).
#include <cstdio>
#include <vector>

#include "rtxError.h"
#include "rtxMemHeapImpl.h"

namespace {

enum ElemKind : uint8_t { kNone = 0, kUsed = 1, kFree = 2 };

struct Checker {
   VXMemHeap* heap;
   VXMemCheckResult* res;

   int fail(int number, const char* text, const void* block, bool raw, int elemIdx)
   {
      res->number = number;
      res->text = text;
      res->block = block;
      res->rawBlock = raw;
      res->elemIdx = elemIdx;
      return number;
   }

   int checkRawList()
   {
      VXMemLink* anchor = &heap->rawBlkList;
      VXMemLink* l = anchor;
      for (;;) {
         VXMemLink* nx = l->pnext;
         const void* where = l == anchor ? nullptr : l;
         if (!nx || (nx == l && l != anchor) || nx->pprev != l)
            return fail(1, "invalid MemLink", where, true, -1);
         if (nx == anchor) return 0;
         MemRawBlk* rb = reinterpret_cast<MemRawBlk*>(nx);
         if (!(rb->hdr.w3 & VX_ELEM_RAW))
            return fail(2, "absent raw block type flag", rb, true, -1);
         if (vxGetCode(&rb->hdr) != heap->code)
            return fail(3, "invalid code guard value", rb, true, -1);
         l = nx;
      }
   }

   int checkBlock(MemBlk* b)
   {
      const uint32_t nunits = b->nunits;
      if (vxGetCode(vxUnitAt(b, 0)) != heap->code)
         return fail(5, "invalid code guard value", b, false, -1);
      if (nunits < 3) return fail(6, "invalid mem block size", b, false, -1);
      MemUnit* border = vxUnitAt(b, 1);
      if (border->w0 != 0 || vxIsFree(border))
         return fail(7, "invalid start border elem", b, false, 1);
      if (vxIsFree(vxUnitAt(b, nunits)))
         return fail(8, "invalid end border elem", b, false, static_cast<int>(nunits));

      // Elements in address order.
      std::vector<uint8_t> kind(nunits + 1u, kNone);
      uint32_t nfree = 0, nsaved = 0, largest = 0;
      bool prevFree = false;
      if (vxUnitAt(b, 2)->w1 != 1)
         return fail(11, "pElem->nunits != pNextElem->prevOff", b, false, 2);
      for (uint32_t idx = 2; idx < nunits;) {
         MemUnit* e = vxUnitAt(b, idx);
         const int at = static_cast<int>(idx);
         if (e->w3 & VX_ELEM_RAW) return fail(9, "raw flag on", b, false, at);
         const uint32_t n = e->w0;
         if (n < 2 || idx + n > nunits) return fail(10, "invalid mem elem size", b, false, at);
         if (e[n].w1 != n) return fail(11, "pElem->nunits != pNextElem->prevOff", b, false, at);
         const bool isFree = vxIsFree(e);
         if (isFree && prevFree) return fail(12, "free elems is not joined", b, false, at);
         if (!isFree && e->w2 != idx) return fail(13, "invalid beginOff field", b, false, at);
         if (isFree) {
            nfree++;
            if (n > largest) largest = n;
            kind[idx] = kFree;
         } else {
            if (e->w3 & VX_ELEM_SAVED) nsaved++;
            kind[idx] = kUsed;
         }
         prevFree = isFree;
         idx += n;
      }
      if (nsaved != b->nsaved) return fail(14, "invalid nsaved field", b, false, -1);
      if (b->maxFreeElem != VX_MAXUNITS && b->maxFreeElem < largest)
         return fail(15, "invalid maxFreeElem field", b, false, -1);

      // The free list, from the anchor round to the anchor.
      bool sawStart = b->freeElemOff == 0;
      uint32_t count = 0;
      uint32_t link = 0;
      for (;;) {
         const uint32_t nx = vxUnitAt(b, link)->w2;
         if (nx == 0) {
            if (vxUnitAt(b, 0)->w3 != link)
               return fail(18, "invalid prevFree/nextFree", b, false, -1);
            break;
         }
         if (nx < 3 || nx >= nunits || (kind[nx + 1u] == kNone && nx + 1u != nunits))
            return fail(15, "invalid free element", b, false, -1);
         const uint32_t size = vxFreeSize(b, nx);
         if (size < 2 || size > nx - 1u || kind[nx + 1u - size] == kNone)
            return fail(15, "invalid free element", b, false, -1);
         const int elemAt = static_cast<int>(nx + 1u - size);
         if (++count > nfree) return fail(16, "broken free list", b, false, elemAt);
         if (kind[nx + 1u - size] == kUsed)
            return fail(17, "free list contains allocated elem", b, false, elemAt);
         if (vxUnitAt(b, nx)->w3 != link)
            return fail(18, "invalid prevFree/nextFree", b, false, elemAt);
         if (nx == b->freeElemOff) sawStart = true;
         link = nx;
      }
      if (count != nfree) return fail(19, "free list contains not all free elems", b, false, -1);
      // The search start must be a link of the list.
      if (!sawStart) return fail(16, "broken free list", b, false, -1);
      return 0;
   }

   int checkRing()
   {
      MemBlk* start = heap->curMemBlk;
      if (!start) return 0;
      MemBlk* b = start;
      do {
         if (!b->pnext || !b->pprev || b->pnext->pprev != b)
            return fail(4, "invalid MemLink", b, false, -1);
         if (int stat = checkBlock(b)) return stat;
         b = b->pnext;
      } while (b != start);
      return 0;
   }
};

}  // namespace

int vxMemHeapWalkCheck(VXMemHeap* pHeap, VXMemCheckResult* pResult)
{
   pResult->number = 0;
   pResult->text = "";
   pResult->block = nullptr;
   pResult->rawBlock = false;
   pResult->elemIdx = -1;
   if (!pHeap || (pHeap->flags & RT_MH_STATIC)) return 0;
   Checker c{pHeap, pResult};
   if (int stat = c.checkRawList()) return stat;
   return c.checkRing();
}

int rtxMemHeapCheckQuiet(void** ppvMemHeap)
{
   if (!ppvMemHeap) return 0;
   VXMemCheckResult res;
   return vxMemHeapWalkCheck(static_cast<VXMemHeap*>(*ppvMemHeap), &res);
}

void rtxMemHeapCheck(void** ppvMemHeap, const char* file, int line)
{
   if (!ppvMemHeap) return;
   VXMemCheckResult res;
   if (vxMemHeapWalkCheck(static_cast<VXMemHeap*>(*ppvMemHeap), &res) == 0) return;
   printf("Memory report at %s, line %i\n", file ? file : "?", line);
   printf("Error %d: %s.\n", res.number, res.text);
   if (res.block && res.rawBlock) {
      const MemRawBlk* rb = static_cast<const MemRawBlk*>(res.block);
      printf("Raw block %p: size %llu, flags 0x%x, refCnt %u\n", res.block,
             static_cast<unsigned long long>(rb->size), vxFlags(&rb->hdr), vxRefCnt(&rb->hdr));
   } else if (res.block) {
      MemBlk* b = const_cast<MemBlk*>(static_cast<const MemBlk*>(res.block));
      printf("Block %p: nunits %u, freeElemOff %u, maxFreeElem %u, nsaved %u\n", res.block,
             b->nunits, b->freeElemOff, b->maxFreeElem, b->nsaved);
      if (res.elemIdx >= 0) {
         const MemUnit* e = vxUnitAt(b, static_cast<uint32_t>(res.elemIdx));
         printf("Element at unit %d: nunits %u, prevOff %u, beginOff %u, flags 0x%x, refCnt %u\n",
                res.elemIdx, e->w0, e->w1, e->w2, vxFlags(e), vxRefCnt(e));
      }
   }
   fflush(stdout);
   rtxErrAssertionFailed("memory heap broken", line, file ? file : VX_MODULE);
}

int rtxMemHeapCheckPtr(void** ppvMemHeap, const void* ptr)
{
   if (!ppvMemHeap || !*ppvMemHeap || !ptr) return 0;
   VXMemHeap* h = static_cast<VXMemHeap*>(*ppvMemHeap);
   if (h->flags & RT_MH_STATIC) return 0;
   VXMemLink* anchor = &h->rawBlkList;
   for (VXMemLink* l = anchor->pnext; l != anchor; l = l->pnext) {
      if (reinterpret_cast<MemRawBlk*>(l) + 1 == ptr) return 1;
   }
   MemBlk* start = h->curMemBlk;
   if (!start) return 0;
   const uint8_t* p = static_cast<const uint8_t*>(ptr);
   MemBlk* b = start;
   do {
      const uint32_t nunits = b->nunits;
      if (p > reinterpret_cast<uint8_t*>(vxUnitAt(b, 2)) &&
          p < reinterpret_cast<uint8_t*>(vxUnitAt(b, nunits))) {
         for (uint32_t idx = 2; idx < nunits;) {
            MemUnit* e = vxUnitAt(b, idx);
            if (reinterpret_cast<const uint8_t*>(e + 1) == p) return vxIsFree(e) ? 0 : 1;
            if (reinterpret_cast<const uint8_t*>(e + 1) > p || e->w0 < 2) return 0;
            idx += e->w0;
         }
         return 0;
      }
      b = b->pnext;
   } while (b != start);
   return 0;
}
