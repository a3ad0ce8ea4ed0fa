// The context heap against the system allocator, on the two patterns the
// codecs produce: single allocate/free pairs, and bursts of small
// allocations that go away together when the heap is freed.
//   bench_heap --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
// A burst occupies about 150 KB of blocks. When rtxMemHeapFreeAll hands them
// back at once, the system allocator trims the top of its heap (threshold
// 128 KB by default) and the next burst faults the pages in again; with
// GLIBC_TUNABLES=glibc.malloc.trim_threshold=268435456 the burst benchmarks
// measure the allocators alone.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "rtxMemory.h"

namespace {

constexpr size_t kBurst = 1000;

// Request sizes of 16 to 256 bytes, the same sequence for every benchmark.
const std::vector<size_t>& sizes()
{
   static const std::vector<size_t> s = [] {
      std::mt19937 rng(2024);
      std::vector<size_t> v(4096);
      for (auto& n : v) n = 16 + rng() % 241;
      return v;
   }();
   return s;
}

void BM_HeapAllocFree(benchmark::State& state)
{
   void* heap = nullptr;
   rtxMemHeapCreate(&heap);
   const auto& sz = sizes();
   size_t i = 0;
   for (auto _ : state) {
      void* p = rtxMemHeapAlloc(&heap, sz[i++ & 4095]);
      *static_cast<volatile char*>(p) = 1;
      rtxMemHeapFreePtr(&heap, p);
   }
   rtxMemHeapRelease(&heap);
}
BENCHMARK(BM_HeapAllocFree);

void BM_MallocFree(benchmark::State& state)
{
   const auto& sz = sizes();
   size_t i = 0;
   for (auto _ : state) {
      void* p = malloc(sz[i++ & 4095]);
      *static_cast<volatile char*>(p) = 1;
      free(p);
   }
}
BENCHMARK(BM_MallocFree);

// 1,000 allocations, then rtxMemHeapFreeAll on a heap that lives on.
void BM_HeapBurstFreeAll(benchmark::State& state)
{
   void* heap = nullptr;
   rtxMemHeapCreate(&heap);
   const auto& sz = sizes();
   for (auto _ : state) {
      for (size_t i = 0; i < kBurst; i++) {
         void* p = rtxMemHeapAlloc(&heap, sz[i]);
         *static_cast<volatile char*>(p) = 1;
      }
      rtxMemHeapFreeAll(&heap);
   }
   rtxMemHeapRelease(&heap);
   state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kBurst));
}
BENCHMARK(BM_HeapBurstFreeAll);

// A new heap per burst: creation, 1,000 allocations, release.
void BM_HeapCreateBurstRelease(benchmark::State& state)
{
   const auto& sz = sizes();
   for (auto _ : state) {
      void* heap = nullptr;
      rtxMemHeapCreate(&heap);
      for (size_t i = 0; i < kBurst; i++) {
         void* p = rtxMemHeapAlloc(&heap, sz[i]);
         *static_cast<volatile char*>(p) = 1;
      }
      rtxMemHeapRelease(&heap);
   }
   state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kBurst));
}
BENCHMARK(BM_HeapCreateBurstRelease);

// The same burst through malloc, released by 1,000 frees.
void BM_MallocBurstFree(benchmark::State& state)
{
   const auto& sz = sizes();
   std::vector<void*> ptrs(kBurst);
   for (auto _ : state) {
      for (size_t i = 0; i < kBurst; i++) {
         ptrs[i] = malloc(sz[i]);
         *static_cast<volatile char*>(ptrs[i]) = 1;
      }
      for (size_t i = 0; i < kBurst; i++) free(ptrs[i]);
   }
   state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kBurst));
}
BENCHMARK(BM_MallocBurstFree);

}  // namespace

BENCHMARK_MAIN();
