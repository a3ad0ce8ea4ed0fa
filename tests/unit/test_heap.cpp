// Tests of the context memory heap: block sizing, coalescing, raw blocks,
// reallocation, reference counts, whole-heap operations and the checker.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "asn1type.h"
#include "rtxContext.h"
#include "rtxError.h"
#include "rtxMemHeapImpl.h"

namespace {

MemUnit* hdr(void* p) { return vxElemOf(p); }
MemBlk* blockOf(void* p) { return vxBlockOf(vxElemOf(p)); }
size_t blockBytes(MemBlk* b) { return static_cast<size_t>(b->nunits) * 8 + 32; }

// Free elements of a block in address order: (unit index, size).
std::vector<std::pair<uint32_t, uint32_t>> freeRuns(MemBlk* b)
{
   std::vector<std::pair<uint32_t, uint32_t>> runs;
   for (uint32_t i = 2; i < b->nunits; i += vxUnitAt(b, i)->w0)
      if (vxIsFree(vxUnitAt(b, i))) runs.emplace_back(i, vxUnitAt(b, i)->w0);
   return runs;
}
using Runs = std::vector<std::pair<uint32_t, uint32_t>>;

class Heap : public ::testing::Test {
 protected:
   void* heap = nullptr;
   void TearDown() override
   {
      if (heap) {
         EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
         rtxMemHeapRelease(&heap);
      }
      EXPECT_EQ(heap, nullptr);
   }
   VXMemHeap* h() { return static_cast<VXMemHeap*>(heap); }
   void* alloc(size_t n)
   {
      void* p = rtxMemHeapAlloc(&heap, n);
      EXPECT_NE(p, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 8, 0u);
      return p;
   }
};

// ---- sizing ------------------------------------------------------------------

TEST_F(Heap, LargestBlockAllocationAndRawThreshold)
{
   void* p = alloc(524256);  // 65532 payload units: exactly a full block
   MemBlk* b = blockOf(p);
   EXPECT_EQ(blockBytes(b), 524312u);
   EXPECT_EQ(b->nunits, 65535u);
   EXPECT_TRUE(freeRuns(b).empty());
   memset(p, 0xA5, 524256);
   void* q = alloc(8);
   EXPECT_NE(blockOf(q), b);

   void* r = alloc(524257);  // one byte more: a raw block
   EXPECT_EQ(vxFlags(hdr(r)), VX_ELEM_RAW);
   EXPECT_EQ(hdr(r)->w2, 0u);
   EXPECT_EQ(vxRawOf(hdr(r))->size, 524257u);
   memset(r, 0x5A, 524257);
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   EXPECT_EQ(rtxMemHeapAutoPtrUnref(&heap, r), 0);
   EXPECT_EQ(h()->rawBlkList.pnext, &h()->rawBlkList);
}

// ---- freeing and coalescing --------------------------------------------------

TEST_F(Heap, FreeCoalescesInAllFourNeighbourCases)
{
   void* x[8];
   for (auto& p : x) p = alloc(24);  // 4 units each, from unit 2 on
   MemBlk* b = blockOf(x[0]);
   const uint32_t tail = 2 + 8 * 4, tailSize = b->nunits - 2 - 32;
   ASSERT_EQ(freeRuns(b), (Runs{{tail, tailSize}}));

   rtxMemHeapFreePtr(&heap, x[2]);  // neither neighbour free
   EXPECT_EQ(freeRuns(b), (Runs{{10u, 4u}, {tail, tailSize}}));
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   rtxMemHeapFreePtr(&heap, x[3]);  // only the previous one free
   EXPECT_EQ(freeRuns(b), (Runs{{10u, 8u}, {tail, tailSize}}));
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   rtxMemHeapFreePtr(&heap, x[1]);  // only the next one free
   EXPECT_EQ(freeRuns(b), (Runs{{6u, 12u}, {tail, tailSize}}));
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   rtxMemHeapFreePtr(&heap, x[5]);
   rtxMemHeapFreePtr(&heap, x[4]);  // both neighbours free
   EXPECT_EQ(freeRuns(b), (Runs{{6u, 20u}, {tail, tailSize}}));
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   rtxMemHeapFreePtr(&heap, x[7]);  // joins the tail
   EXPECT_EQ(freeRuns(b), (Runs{{6u, 20u}, {30u, tailSize + 4}}));
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);

   // The merged hole is the smaller fit right behind the tail's link.
   EXPECT_EQ(alloc(19 * 8), x[1]);
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
}

TEST_F(Heap, DoubleFreeIsHarmless)
{
   void* a = alloc(40);
   void* b = alloc(40);
   MemBlk* blk = blockOf(a);
   EXPECT_EQ(rtxMemHeapAutoPtrUnref(&heap, a), 0);
   Runs before = freeRuns(blk);
   uint16_t off = blk->freeElemOff, mx = blk->maxFreeElem;
   EXPECT_EQ(rtxMemHeapAutoPtrUnref(&heap, a), 0);
   EXPECT_EQ(freeRuns(blk), before);
   EXPECT_EQ(blk->freeElemOff, off);
   EXPECT_EQ(blk->maxFreeElem, mx);
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   rtxMemHeapFreePtr(&heap, b);
}

TEST_F(Heap, ForeignAndNullPointersAreRefused)
{
   void* a = alloc(16);
   long local[4] = {};
   EXPECT_EQ(rtxMemHeapAutoPtrUnref(&heap, &local[2]), RTERR_NOMEM);
   EXPECT_EQ(rtxMemHeapAutoPtrUnref(&heap, static_cast<uint8_t*>(a) + 3), RTERR_NOMEM);
   EXPECT_EQ(rtxMemHeapAutoPtrUnref(&heap, nullptr), RTERR_NULLPTR);
   void* none = nullptr;
   EXPECT_EQ(rtxMemHeapAutoPtrUnref(&none, a), RTERR_NULLPTR);
   EXPECT_EQ(rtxMemHeapAutoPtrGetRefCount(&heap, nullptr), RTERR_NULLPTR);
   EXPECT_EQ(rtxMemHeapAutoPtrGetRefCount(&heap, a), 1);
}

TEST_F(Heap, IsEmptyOnlyWithoutBlocks)
{
   EXPECT_TRUE(rtxMemHeapIsEmpty(&heap));
   void* a = alloc(10);
   void* b = alloc(100);
   rtxMemHeapFreePtr(&heap, a);
   rtxMemHeapFreePtr(&heap, b);
   EXPECT_FALSE(rtxMemHeapIsEmpty(&heap));  // the block stays for reuse
   rtxMemHeapFreeAll(&heap);
   EXPECT_TRUE(rtxMemHeapIsEmpty(&heap));
   EXPECT_EQ(h()->curMemBlk, nullptr);
   EXPECT_EQ(h()->maxAddr, nullptr);
   void* c = alloc(32);  // a new ring
   EXPECT_EQ(h()->curMemBlk, blockOf(c));
   EXPECT_EQ(blockOf(c)->pnext, blockOf(c));
   EXPECT_FALSE(rtxMemHeapIsEmpty(&heap));
}

TEST_F(Heap, FreeEmptyBlockFlagReleasesBlocks)
{
   rtxMemHeapSetFlags(&heap, RT_MH_FREEEMPTYBLOCK);
   void* a = alloc(3000);
   void* b = alloc(3000);  // second block
   ASSERT_NE(blockOf(a), blockOf(b));
   rtxMemHeapFreePtr(&heap, b);
   EXPECT_EQ(h()->curMemBlk, blockOf(a));
   EXPECT_EQ(blockOf(a)->pnext, blockOf(a));
   rtxMemHeapFreePtr(&heap, a);
   EXPECT_TRUE(rtxMemHeapIsEmpty(&heap));
}

TEST_F(Heap, ZeroOnFreeClearsTheFreedPart)
{
   rtxMemHeapSetFlags(&heap, RT_MH_ZEROONFREE);
   uint8_t* a = static_cast<uint8_t*>(alloc(64));
   void* guard = alloc(8);
   memset(a, 0xFF, 64);
   rtxMemHeapFreePtr(&heap, a);
   for (int i = 0; i < 56; i++) ASSERT_EQ(a[i], 0) << i;  // the last unit is the link
   rtxMemHeapFreePtr(&heap, guard);
}

// ---- raw blocks --------------------------------------------------------------

TEST_F(Heap, RawModeAndFreeAllIgnoreReferenceCounts)
{
   uint32_t flags = RT_MH_RAW;
   rtxMemHeapSetProperty(&heap, RT_MH_PROP_SETFLAGS, &flags);
   void* small = alloc(16);
   EXPECT_EQ(vxFlags(hdr(small)), VX_ELEM_RAW);
   void* big = alloc(600000);
   EXPECT_EQ(rtxMemHeapAutoPtrRef(&heap, big), big);
   EXPECT_EQ(rtxMemHeapAutoPtrRef(&heap, big), big);
   EXPECT_EQ(rtxMemHeapAutoPtrUnref(&heap, big), 2);
   rtxMemHeapClearFlags(&heap, RT_MH_RAW);
   void* elem = alloc(16);
   EXPECT_EQ(vxFlags(hdr(elem)), 0u);
   rtxMemHeapFreeAll(&heap);  // the leak checker sees whether the raw blocks went
   EXPECT_TRUE(rtxMemHeapIsEmpty(&heap));
}

// ---- reallocation ------------------------------------------------------------

TEST_F(Heap, ReallocGrowsAndShrinksInPlace)
{
   uint8_t* a = static_cast<uint8_t*>(alloc(16));
   for (int i = 0; i < 16; i++) a[i] = static_cast<uint8_t>(i + 1);
   MemBlk* b = blockOf(a);
   const uint32_t free0 = freeRuns(b)[0].second;

   EXPECT_EQ(rtxMemHeapRealloc(&heap, a, 200), a);  // into the free tail
   EXPECT_EQ(hdr(a)->w0, 26u);
   for (int i = 0; i < 16; i++) ASSERT_EQ(a[i], i + 1);
   EXPECT_EQ(freeRuns(b), (Runs{{28u, free0 - 23}}));
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);

   EXPECT_EQ(rtxMemHeapRealloc(&heap, a, 8), a);  // the tail joins the free one
   EXPECT_EQ(hdr(a)->w0, 2u);
   EXPECT_EQ(freeRuns(b), (Runs{{4u, free0 + 1}}));
   EXPECT_EQ(a[0], 1);
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   EXPECT_EQ(rtxMemHeapRealloc(&heap, a, 8), a);  // same size
}

TEST_F(Heap, ReallocMovesWhenBlocked)
{
   uint8_t* a = static_cast<uint8_t*>(alloc(32));
   void* wall = alloc(8);
   memcpy(a, "0123456789abcdef0123456789ABCDEF", 32);
   uint8_t* m = static_cast<uint8_t*>(rtxMemHeapRealloc(&heap, a, 400));
   ASSERT_NE(m, nullptr);
   EXPECT_NE(m, a);
   EXPECT_EQ(memcmp(m, "0123456789abcdef0123456789ABCDEF", 32), 0);
   EXPECT_TRUE(vxIsFree(hdr(a)));
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   // Beyond the largest block size an element becomes a raw block.
   uint8_t* r = static_cast<uint8_t*>(rtxMemHeapRealloc(&heap, m, 600000));
   ASSERT_NE(r, nullptr);
   EXPECT_EQ(vxFlags(hdr(r)), VX_ELEM_RAW);
   EXPECT_EQ(memcmp(r, "0123456789abcdef0123456789ABCDEF", 32), 0);
   EXPECT_EQ(rtxMemHeapRealloc(&heap, r, 0), nullptr);  // frees
   EXPECT_EQ(h()->rawBlkList.pnext, &h()->rawBlkList);
   rtxMemHeapFreePtr(&heap, wall);
}

TEST_F(Heap, ReferenceMakesFreeADecrementAndReallocACopy)
{
   char* a = static_cast<char*>(alloc(24));
   strcpy(a, "shared text");
   EXPECT_EQ(rtxMemHeapAutoPtrRef(&heap, a), a);
   EXPECT_EQ(rtxMemHeapAutoPtrGetRefCount(&heap, a), 2);
   rtxMemHeapFreePtr(&heap, a);
   EXPECT_EQ(rtxMemHeapAutoPtrGetRefCount(&heap, a), 1);
   EXPECT_FALSE(vxIsFree(hdr(a)));

   EXPECT_EQ(rtxMemHeapAutoPtrRef(&heap, a), a);
   char* b = static_cast<char*>(rtxMemHeapRealloc(&heap, a, 16));  // shrink, yet a copy
   ASSERT_NE(b, nullptr);
   EXPECT_NE(b, a);
   EXPECT_EQ(memcmp(b, "shared text", 12), 0);
   EXPECT_STREQ(a, "shared text");
   EXPECT_EQ(rtxMemHeapAutoPtrGetRefCount(&heap, a), 1);
   EXPECT_EQ(rtxMemHeapAutoPtrGetRefCount(&heap, b), 1);
   rtxMemHeapFreePtr(&heap, a);
   EXPECT_EQ(rtxMemHeapRealloc(&heap, a, 40), nullptr);  // freed memory is not reallocated
   rtxMemHeapFreePtr(&heap, b);
}

// ---- whole heap ----------------------------------------------------------------

TEST_F(Heap, ResetRebuildsFreeListsAroundSavedElements)
{
   void* a = alloc(40);
   char* keep = static_cast<char*>(alloc(16));
   void* c = alloc(40);
   strcpy(keep, "kept");
   MemBlk* b = blockOf(keep);
   // Mark the middle element saved the way the heap records it.
   hdr(keep)->w3 = static_cast<uint16_t>(hdr(keep)->w3 | VX_ELEM_SAVED);
   b->nsaved = 1;
   (void)a;
   (void)c;
   rtxMemHeapReset(&heap);
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   EXPECT_STREQ(keep, "kept");
   EXPECT_EQ(freeRuns(b), (Runs{{2u, 6u}, {11u, static_cast<uint32_t>(b->nunits - 11)}}));
   EXPECT_EQ(b->maxFreeElem, b->nunits - 11);
   rtxMemHeapFreePtr(&heap, keep);
   EXPECT_EQ(b->nsaved, 0u);
   rtxMemHeapReset(&heap);  // no saved elements: one free element per block
   EXPECT_EQ(freeRuns(b), (Runs{{2u, static_cast<uint32_t>(b->nunits - 2)}}));
   EXPECT_FALSE(rtxMemHeapIsEmpty(&heap));
   EXPECT_EQ(alloc(16), static_cast<void*>(vxUnitAt(b, 3)));
}

TEST_F(Heap, StaticHeapBumpsWithinItsArea)
{
   alignas(8) uint8_t area[64];
   ASSERT_EQ(rtxMemStaticHeapCreate(&heap, area, sizeof area), 0);
   EXPECT_TRUE(rtxMemHeapIsEmpty(&heap));
   uint8_t* a = static_cast<uint8_t*>(rtxMemHeapAlloc(&heap, 10));
   EXPECT_EQ(a, area);
   uint8_t* b = static_cast<uint8_t*>(rtxMemHeapAlloc(&heap, 20));
   EXPECT_EQ(b, area + 10);
   EXPECT_EQ(rtxMemHeapAlloc(&heap, 40), nullptr);
   EXPECT_EQ(rtxMemHeapReallocStatic(&heap, b, 20, 54), b);  // the last one grows
   EXPECT_EQ(rtxMemHeapAlloc(&heap, 1), nullptr);
   EXPECT_EQ(rtxMemHeapReallocStatic(&heap, a, 10, 12), nullptr);  // not the last
   EXPECT_EQ(rtxMemHeapReallocStatic(&heap, b, 54, 54), nullptr);
   EXPECT_EQ(rtxMemHeapReallocStatic(&heap, b, 54, 4), b);
   EXPECT_EQ(rtxMemHeapAlloc(&heap, 50), area + 14);
   EXPECT_EQ(rtxMemHeapRealloc(&heap, a, 4), nullptr);
   rtxMemHeapFreePtr(&heap, a);  // ignored
   void* regular = nullptr;
   rtxMemHeapCreate(&regular);
   EXPECT_EXIT(rtxMemHeapReallocStatic(&regular, nullptr, 0, 8), ::testing::ExitedWithCode(255),
               "");
   rtxMemHeapRelease(&regular);
   rtxMemHeapFreeAll(&heap);
   EXPECT_TRUE(rtxMemHeapIsEmpty(&heap));
}

int g_allocsLeft = 0;
void* limitedMalloc(size_t n) { return g_allocsLeft-- > 0 ? malloc(n) : nullptr; }

TEST_F(Heap, ExhaustedAllocatorGivesNull)
{
   g_allocsLeft = 2;  // the heap record and one block
   ASSERT_EQ(rtxMemHeapCreateExt(&heap, limitedMalloc, realloc, free), 0);
   void* a = alloc(3000);
   EXPECT_EQ(rtxMemHeapAlloc(&heap, 3000), nullptr);
   EXPECT_EQ(rtxMemHeapAlloc(&heap, 600000), nullptr);
   EXPECT_EQ(rtxMemHeapRealloc(&heap, a, 5000), nullptr);
   EXPECT_EQ(rtxMemHeapAutoPtrGetRefCount(&heap, a), 1);
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
}

// ---- checker -------------------------------------------------------------------

// ---- context-level helpers -----------------------------------------------------

TEST(HeapContext, AllocArrayReportsOverflowAndExhaustion)
{
   VXCTXT ctxt;
   ASSERT_EQ(rtxInitContext(&ctxt), 0);
   EXPECT_EQ(rtxMemAllocArray2(&ctxt, SIZE_MAX / 2, 4, 0), nullptr);
   EXPECT_EQ(rtxErrGetLastError(&ctxt), RTERR_TOOBIG);
   EXPECT_EQ(rtxMemAllocArray2(&ctxt, 3, 0, 0), nullptr);
   EXPECT_EQ(rtxErrGetLastError(&ctxt), RTERR_TOOBIG);
   uint32_t* z = static_cast<uint32_t*>(rtxMemAllocArray2(&ctxt, 10, 4, RT_MH_ZEROARRAY));
   ASSERT_NE(z, nullptr);
   for (int i = 0; i < 10; i++) EXPECT_EQ(z[i], 0u);
   void* s = rtxMemAllocArray2(&ctxt, 4, 8, RT_MH_SYSARRAY);
   ASSERT_NE(s, nullptr);
   rtxMemSysFreePtr(&ctxt, s);
   rtxErrReset(&ctxt);
   rtxFreeContext(&ctxt);

   g_allocsLeft = 1;  // the heap record only
   ASSERT_EQ(rtxInitContextExt(&ctxt, limitedMalloc, realloc, free), 0);
   EXPECT_EQ(rtxMemAllocArray2(&ctxt, 100, 1, 0), nullptr);
   EXPECT_EQ(rtxErrGetLastError(&ctxt), RTERR_NOMEM);
   rtxFreeContext(&ctxt);
}

TEST(HeapContext, FreeOpenSeqExtReleasesNodesAndValues)
{
   VXCTXT ctxt;
   ASSERT_EQ(rtxInitContext(&ctxt), 0);
   ASN1TSeqExt list{0, nullptr, nullptr};
   for (int i = 0; i < 3; i++) {
      ASN1OpenType* ot = rtxMemAllocType(&ctxt, ASN1OpenType);
      uint8_t* data = static_cast<uint8_t*>(rtxMemAlloc(&ctxt, 5));
      ot->numocts = 5;
      ot->data = data;
      VXRTDListNode* node = rtxMemAllocType(&ctxt, VXRTDListNode);
      node->data = i == 1 ? nullptr : ot;  // an absent addition
      node->next = nullptr;
      node->prev = list.tail;
      if (list.tail)
         list.tail->next = node;
      else
         list.head = node;
      list.tail = node;
      list.count++;
      if (i == 1) {
         rtxMemFreePtr(&ctxt, data);
         rtxMemFreePtr(&ctxt, ot);
      }
   }
   rtxMemFreeOpenSeqExt(&ctxt, &list);
   EXPECT_EQ(list.count, 0u);
   EXPECT_EQ(list.head, nullptr);
   VXMemHeap* hp = static_cast<VXMemHeap*>(ctxt.pMemHeap);
   ASSERT_NE(hp->curMemBlk, nullptr);
   // Everything allocated above went back: the block is one free element.
   EXPECT_EQ(freeRuns(hp->curMemBlk), (Runs{{2u, hp->curMemBlk->nunits - 2u}}));
   EXPECT_EQ(rtxMemHeapCheckQuiet(&ctxt.pMemHeap), 0);
   rtxFreeContext(&ctxt);
}

// ---- randomized workload -------------------------------------------------------

struct Slot {
   uint8_t* p = nullptr;
   size_t size = 0;
   uint8_t seed = 0;
};

void fill(Slot& s)
{
   for (size_t i = 0; i < s.size; i++) s.p[i] = static_cast<uint8_t>(s.seed + i * 31);
}
bool intact(const Slot& s, size_t n)
{
   for (size_t i = 0; i < n; i++)
      if (s.p[i] != static_cast<uint8_t>(s.seed + i * 31)) return false;
   return true;
}

// Heap flags, and whether raw blocks are reallocated in place. Zeroing on
// free goes with moving raw blocks: a raw block reallocated in place keeps
// its first size, which zeroing would then overrun.
struct WorkloadParam {
   uint32_t flags;
   bool reallocFunc;
};

class HeapWorkload : public ::testing::TestWithParam<WorkloadParam> {};

TEST_P(HeapWorkload, PayloadsSurviveAndHeapStaysConsistent)
{
   void* heap = nullptr;
   const WorkloadParam param = GetParam();
   ASSERT_EQ(rtxMemHeapCreateExt(&heap, malloc, param.reallocFunc ? realloc : nullptr, free), 0);
   rtxMemHeapSetFlags(&heap, param.flags);
   std::mt19937 rng(12345 + param.flags);
   auto randSize = [&rng]() -> size_t {
      uint32_t r = rng() % 1000;
      if (r < 850) return rng() % 300;
      if (r < 990) return rng() % 6000;
      if (r < 998) return rng() % 200000;
      return 524200 + rng() % 200;  // either side of the raw threshold
   };
   std::vector<Slot> slots(300);
   for (int op = 0; op < 30000; op++) {
      Slot& s = slots[rng() % slots.size()];
      uint32_t what = rng() % 10;
      if (!s.p) {
         s.size = randSize();
         s.p = static_cast<uint8_t*>(rtxMemHeapAlloc(&heap, s.size));
         ASSERT_NE(s.p, nullptr);
         ASSERT_EQ(reinterpret_cast<uintptr_t>(s.p) % 8, 0u);
         s.seed = static_cast<uint8_t>(rng());
         fill(s);
      } else if (what < 4) {
         size_t n = what == 0 ? s.size + rng() % 64 : randSize() + 1;
         uint8_t* q = static_cast<uint8_t*>(rtxMemHeapRealloc(&heap, s.p, n));
         ASSERT_NE(q, nullptr);
         ASSERT_EQ(reinterpret_cast<uintptr_t>(q) % 8, 0u);
         s.p = q;
         ASSERT_TRUE(intact(s, n < s.size ? n : s.size)) << "op " << op;
         s.size = n;
         fill(s);
      } else {
         ASSERT_TRUE(intact(s, s.size)) << "op " << op;
         rtxMemHeapFreePtr(&heap, s.p);
         s.p = nullptr;
      }
      if (op % 500 == 0) {
         ASSERT_EQ(rtxMemHeapCheckQuiet(&heap), 0) << "op " << op;
      }
   }
   for (Slot& s : slots) {
      if (s.p) {
         ASSERT_TRUE(intact(s, s.size));
      }
   }
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   for (size_t i = 0; i < slots.size(); i += 2)
      if (slots[i].p) rtxMemHeapFreePtr(&heap, slots[i].p);
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   rtxMemHeapFreeAll(&heap);
   EXPECT_TRUE(rtxMemHeapIsEmpty(&heap));
   void* again = rtxMemHeapAlloc(&heap, 100);
   EXPECT_NE(again, nullptr);
   EXPECT_EQ(rtxMemHeapCheckQuiet(&heap), 0);
   rtxMemHeapRelease(&heap);
}

INSTANTIATE_TEST_SUITE_P(
   Flags, HeapWorkload,
   ::testing::Values(WorkloadParam{0u, true}, WorkloadParam{RT_MH_FREEEMPTYBLOCK, true},
                     WorkloadParam{RT_MH_FREEEMPTYBLOCK | RT_MH_ZEROONFREE, false}));

}  // namespace
