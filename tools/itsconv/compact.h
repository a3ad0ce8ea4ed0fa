// itsconv: JSON text on one line, 64 bytes per step in vector registers.
// Included by compact_sse2.cpp and compact_avx2.cpp, which build it for the
// two register widths; everything here has internal linkage, so the two
// builds never share a function.
#ifndef ITSCONV_COMPACT_H
#define ITSCONV_COMPACT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace itsconv {
namespace {

// Where a text stands between two pieces of it.
struct JsonState {
   bool inString = false;
   bool escape = false;  // a backslash inside a string was the last byte
};

inline bool isJsonBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

// Byte by byte: blanks outside strings go, strings are copied as they stand,
// a backslash taking the byte behind it along.
char* compactBytes(const char* s, const char* end, char* d, JsonState* st)
{
   bool inString = st->inString, escape = st->escape;
   for (; s < end; s++) {
      char c = *s;
      if (inString) {
         *d++ = c;
         if (escape)
            escape = false;
         else if (c == '\\')
            escape = true;
         else if (c == '"')
            inString = false;
      } else if (!isJsonBlank(c)) {
         *d++ = c;
         inString = c == '"';
      }
   }
   st->inString = inString;
   st->escape = escape;
   return d;
}

#if defined(__x86_64__)
// Trailing zero bits, 64 for none.
inline unsigned zeros(uint64_t x)
{
   return x != 0 ? static_cast<unsigned>(__builtin_ctzll(x)) : 64;
}

// Copies the lowest run of kept bytes of the step at s to d (64 bytes are
// stored, the run's length kept) and clears it from *keep; with no run left
// it copies nothing.
template <typename V>
__attribute__((always_inline)) inline void copyRun(const char* s, uint64_t* keep, char** d)
{
   uint64_t k = *keep;
   unsigned at = zeros(k) & 63;
   unsigned len = zeros(~(k >> at));
#pragma GCC unroll 4
   for (int i = 0; i < 64 / V::W; i++) V::store(*d + i * V::W, V::load(s + at + i * V::W));
   *d += len;
   *keep = k & (k + (k & (0 - k)));
}

// One step: the 64 bytes at s as 64-bit masks of blanks and quotes. The
// quotes seen so far, counted odd or even, tell which bytes are inside
// strings (a prefix XOR), so the bytes to keep are the non-blanks and
// everything inside strings; runs of them are copied 64 bytes at a time. A
// step with a backslash, or behind one, goes byte by byte. Reads 128 bytes
// from s, stores up to 64 bytes past what it keeps; returns the new end of d.
template <typename V>
__attribute__((always_inline)) inline char* compactStep(const char* s, char* d, JsonState* st)
{
   uint64_t blank = 0, quote = 0, backslash = 0;
#pragma GCC unroll 4
   for (int i = 0; i < 64 / V::W; i++) {
      typename V::Reg v = V::load(s + i * V::W);
      blank |= static_cast<uint64_t>(V::blank(v)) << (i * V::W);
      quote |= static_cast<uint64_t>(V::eq(v, '"')) << (i * V::W);
      backslash |= static_cast<uint64_t>(V::eq(v, '\\')) << (i * V::W);
   }
   if (backslash != 0 || st->escape) return compactBytes(s, s + 64, d, st);
   uint64_t inside = quote;
   inside ^= inside << 1;
   inside ^= inside << 2;
   inside ^= inside << 4;
   inside ^= inside << 8;
   inside ^= inside << 16;
   inside ^= inside << 32;
   if (st->inString) inside = ~inside;
   st->inString = (inside >> 63) != 0;
   uint64_t keep = ~blank | inside;
   // Most steps of the library's text have two or three runs: the first two
   // go without a test (as no-ops once keep is empty), which leaves fewer
   // mispredicted loop ends than a plain loop.
   for (int r = 0; r < 2; r++) copyRun<V>(s, &keep, &d);
   while (keep != 0) copyRun<V>(s, &keep, &d);
   return d;
}

// The whole text in steps of 64 bytes, whose loads do not wait on one
// another, so the processor overlaps them. The last bytes go through a copy
// padded with blanks, which drop out unless the text ends inside a string;
// then they are done again byte by byte. Stores run up to 64 bytes past what
// is kept. Returns the length written at d.
template <typename V>
size_t compactChunks(char* d, const char* text, size_t n)
{
   char* start = d;
   const char* s = text;
   const char* end = text + n;
   JsonState st;
   for (; end - s >= 128; s += 64) d = compactStep<V>(s, d, &st);
   size_t rest = static_cast<size_t>(end - s);
   char padded[192], out[256];
   memcpy(padded, s, rest);
   memset(padded + rest, ' ', sizeof padded - rest);
   JsonState before = st;
   char* o = out;
   for (size_t at = 0; at < rest; at += 64) o = compactStep<V>(padded + at, o, &st);
   if (st.inString) {
      st = before;
      d = compactBytes(s, end, d, &st);
   } else {
      memcpy(d, out, static_cast<size_t>(o - out));
      d += o - out;
   }
   return static_cast<size_t>(d - start);
}
#endif

}  // namespace
}  // namespace itsconv

#endif
