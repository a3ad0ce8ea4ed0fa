// Cost of diagnostic and trace calls on a context without diagnostics and
// without a trace list, against the same loop with no calls: the checks
// are inline flag tests, so the two should be within noise.
#include <benchmark/benchmark.h>

#include "pu_trace.h"
#include "rtxDiag.h"
#include "rtxDiagBitTrace.h"

namespace {

const int kInner = 1000;

VXCTXT* quietContext()
{
   static VXCTXT ctx;
   static bool ready = (rtxInitContext(&ctx), true);
   (void)ready;
   return &ctx;
}

// The context is re-read on every turn (as a codec would after any store),
// so the flag tests cannot be hoisted out of the loop.
void BM_EmptyLoop(benchmark::State& state)
{
   VXCTXT* pctxt = quietContext();
   for (auto _ : state) {
      for (int i = 0; i < kInner; i++) {
         benchmark::DoNotOptimize(pctxt);
         benchmark::ClobberMemory();
      }
   }
   state.SetItemsProcessed(state.iterations() * kInner);
}
BENCHMARK(BM_EmptyLoop);

// One field as a PER primitive brackets it: start and count.
void BM_TraceCallsOff(benchmark::State& state)
{
   VXCTXT* pctxt = quietContext();
   for (auto _ : state) {
      for (int i = 0; i < kInner; i++) {
         benchmark::DoNotOptimize(pctxt);
         PU_NEWFIELD(pctxt, "ConsInteger");
         PU_SETBITCOUNT(pctxt);
         benchmark::ClobberMemory();
      }
   }
   state.SetItemsProcessed(state.iterations() * kInner);
}
BENCHMARK(BM_TraceCallsOff);

// A diagnostic line and the list functions on the (null) trace list.
void BM_DiagCallsOff(benchmark::State& state)
{
   VXCTXT* pctxt = quietContext();
   for (auto _ : state) {
      for (int i = 0; i < kInner; i++) {
         benchmark::DoNotOptimize(pctxt);
         rtxDiagPrint(pctxt, "field '%s' bit offset set to %d\n", "x", i);
         rtxDiagNewBitField(pctxt->pBitFldList, "length");
         rtxDiagSetBitFldCount(pctxt->pBitFldList);
         benchmark::ClobberMemory();
      }
   }
   state.SetItemsProcessed(state.iterations() * kInner);
}
BENCHMARK(BM_DiagCallsOff);

}  // namespace

BENCHMARK_MAIN();
