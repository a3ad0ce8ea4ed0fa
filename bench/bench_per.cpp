// PER primitives: decoding and encoding of constrained whole numbers of 1..32
// bits, on and off byte boundaries, and of lengths. Reported per field.
#include <benchmark/benchmark.h>

#include <vector>

#include "asn1per.h"

namespace {

constexpr int kFields = 1024;

struct Ctx {
   VXCTXT c;
   Ctx() { rtInitASN1RtContext(&c); }
   ~Ctx() { rtFreeContext(&c); }
};

void perField(benchmark::State& state)
{
   state.counters["per_field"] = benchmark::Counter(
      kFields, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Input of kFields fields of `bits` bits behind `lead` bits.
std::vector<uint8_t> makeInput(unsigned bits, unsigned lead)
{
   Ctx ctx;
   pu_setBuffer(&ctx.c, nullptr, 0, false);
   rtxEncBits(&ctx.c, 0, lead);
   uint32_t v = 0x9E3779B9u;
   for (int i = 0; i < kFields; i++) {
      v = v * 1664525u + 1013904223u;
      rtxEncBits(&ctx.c, v, bits);
   }
   return std::vector<uint8_t>(ctx.c.buffer.data, ctx.c.buffer.data + pu_getMsgLen(&ctx.c) + 8);
}

// Reads kFields fields with `read` (status, value out) from the start of a
// prepared input, again and again.
template <typename Read>
void decodeLoop(benchmark::State& state, unsigned bits, unsigned lead, Read read)
{
   std::vector<uint8_t> in = makeInput(bits, lead);
   Ctx ctx;
   pu_setBuffer(&ctx.c, in.data(), in.size(), false);
   uint32_t sum = 0;
   for (auto _ : state) {
      ctx.c.buffer.byteIndex = 0;
      ctx.c.buffer.bitOffset = (int16_t)(8 - lead);
      for (int i = 0; i < kFields; i++) {
         uint32_t v = 0;
         if (read(&ctx.c, &v) != 0) state.SkipWithError("decode failed");
         sum += v;
      }
      benchmark::DoNotOptimize(sum);
   }
   perField(state);
}

// Writes kFields values with `write` behind `lead` bits.
template <typename Write>
void encodeLoop(benchmark::State& state, unsigned bits, unsigned lead, Write write)
{
   Ctx ctx;
   pu_setBuffer(&ctx.c, nullptr, 64 * 1024, false);
   uint32_t mask = bits == 32 ? 0xFFFFFFFFu : (1u << bits) - 1;
   for (auto _ : state) {
      ctx.c.buffer.byteIndex = 0;
      ctx.c.buffer.bitOffset = 8;
      rtxEncBits(&ctx.c, 0, lead);
      for (int i = 0; i < kFields; i++)
         if (write(&ctx.c, (uint32_t)i * 2654435761u & mask) != 0)
            state.SkipWithError("encode failed");
      benchmark::DoNotOptimize(ctx.c.buffer.data[0]);
   }
   perField(state);
}

uint32_t rangeOfBits(unsigned bits) { return bits == 32 ? 0xFFFFFFFFu : (1u << bits); }

// The inline one-bit read.
void BM_DecBit(benchmark::State& state)
{
   decodeLoop(state, 1, 0, [](VXCTXT* c, uint32_t* v) {
      uint8_t b = 0;
      int stat = rtxDecBit(c, &b);
      *v = b;
      return stat;
   });
}

// The inline field read that generated decoders use for fixed ranges.
void BM_DecBits(benchmark::State& state)
{
   unsigned bits = (unsigned)state.range(0);
   decodeLoop(state, bits, (unsigned)state.range(1),
              [bits](VXCTXT* c, uint32_t* v) { return rtxDecBits(c, v, bits); });
}

// The constrained whole number primitive (range 2^bits).
void BM_PdConsWholeNumber(benchmark::State& state)
{
   unsigned bits = (unsigned)state.range(0);
   uint32_t range = rangeOfBits(bits);
   decodeLoop(state, bits, (unsigned)state.range(1),
              [range](VXCTXT* c, uint32_t* v) { return pd_ConsWholeNumber(c, v, range); });
}

void BM_EncBits(benchmark::State& state)
{
   unsigned bits = (unsigned)state.range(0);
   encodeLoop(state, bits, (unsigned)state.range(1),
              [bits](VXCTXT* c, uint32_t v) { return rtxEncBits(c, v, bits); });
}

void BM_PeConsWholeNumber(benchmark::State& state)
{
   unsigned bits = (unsigned)state.range(0);
   uint32_t range = rangeOfBits(bits);
   encodeLoop(state, bits, (unsigned)state.range(1),
              [range](VXCTXT* c, uint32_t v) { return pe_ConsWholeNumber(c, v, range); });
}

// Lengths: arg 0 = a constrained SIZE(1..4) length, else the value of an
// unconstrained length (100: one octet, 1000: two octets).
void BM_PeLength(benchmark::State& state)
{
   uint64_t n = (uint64_t)state.range(0);
   Ctx ctx;
   pu_setBuffer(&ctx.c, nullptr, 64 * 1024, false);
   for (auto _ : state) {
      ctx.c.buffer.byteIndex = 0;
      ctx.c.buffer.bitOffset = 8;
      for (int i = 0; i < kFields; i++) {
         if (n == 0) pu_setSizeConstraint(&ctx.c, 1, 4, 0, 0);
         if (pe_Length(&ctx.c, n == 0 ? 3 : n) < 0) state.SkipWithError("encode failed");
      }
      benchmark::DoNotOptimize(ctx.c.buffer.data[0]);
   }
   perField(state);
}

void BM_PdLength(benchmark::State& state)
{
   uint64_t n = (uint64_t)state.range(0);
   Ctx enc;
   pu_setBuffer(&enc.c, nullptr, 0, false);
   for (int i = 0; i < kFields; i++) {
      if (n == 0) pu_setSizeConstraint(&enc.c, 1, 4, 0, 0);
      pe_Length(&enc.c, n == 0 ? 3 : n);
   }
   std::vector<uint8_t> in(enc.c.buffer.data, enc.c.buffer.data + pu_getMsgLen(&enc.c));
   Ctx ctx;
   pu_setBuffer(&ctx.c, in.data(), in.size(), false);
   uint64_t sum = 0;
   for (auto _ : state) {
      ctx.c.buffer.byteIndex = 0;
      ctx.c.buffer.bitOffset = 8;
      for (int i = 0; i < kFields; i++) {
         uint64_t v = 0;
         if (n == 0) pu_setSizeConstraint(&ctx.c, 1, 4, 0, 0);
         if (pd_Length64(&ctx.c, &v) != 0) state.SkipWithError("decode failed");
         sum += v;
      }
      benchmark::DoNotOptimize(sum);
   }
   perField(state);
}

void fieldArgs(benchmark::internal::Benchmark* b)
{
   for (int bits : {1, 2, 3, 5, 7, 8, 12, 16, 17, 24, 31, 32})
      for (int lead : {0, 3}) b->Args({bits, lead});
}

}  // namespace

BENCHMARK(BM_DecBit);
BENCHMARK(BM_DecBits)->Apply(fieldArgs);
BENCHMARK(BM_PdConsWholeNumber)->Apply(fieldArgs);
BENCHMARK(BM_EncBits)->Apply(fieldArgs);
BENCHMARK(BM_PeConsWholeNumber)->Apply(fieldArgs);
BENCHMARK(BM_PeLength)->Arg(0)->Arg(100)->Arg(1000);
BENCHMARK(BM_PdLength)->Arg(0)->Arg(100)->Arg(1000);

BENCHMARK_MAIN();
