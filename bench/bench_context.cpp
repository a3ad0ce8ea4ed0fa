// Cost of making and destroying a context object, heap included: a call of
// the library makes two or three of them.
#include <benchmark/benchmark.h>

#include "ASN1RtContext.h"
#include "VXRTContext.h"

static void BM_VXRTContextCreateDestroy(benchmark::State& state)
{
   for (auto _ : state) {
      VXRTCtxtPtr ctx(new VXRTContext());
      benchmark::DoNotOptimize(ctx.getCtxtPtr());
   }
}
BENCHMARK(BM_VXRTContextCreateDestroy);

static void BM_ASN1RtContextCreateDestroy(benchmark::State& state)
{
   for (auto _ : state) {
      VXRTCtxtPtr ctx(new ASN1RtContext());
      benchmark::DoNotOptimize(ctx.getCtxtPtr());
   }
}
BENCHMARK(BM_ASN1RtContextCreateDestroy);

// The same with one small allocation, so that the heap's first block is
// made and released too.
static void BM_ASN1RtContextWithAllocation(benchmark::State& state)
{
   for (auto _ : state) {
      VXRTCtxtPtr ctx(new ASN1RtContext());
      benchmark::DoNotOptimize(ctx->memAlloc(16));
   }
}
BENCHMARK(BM_ASN1RtContextWithAllocation);

BENCHMARK_MAIN();
