// itsconv: the library's JSON text on one line, in vector registers.
// Included by compact_sse2.cpp and compact_avx2.cpp, which build it for the
// two register widths; everything here has internal linkage, so the two
// builds never share a function.
//
// The rule: every line feed goes, with the blanks that open the next line
// (the indentation). In JSON a raw line feed stands only between tokens, so
// nothing dropped belongs to a string, and the library writes no other
// blank outside strings, so its text comes out compact. Per line that is
// one search for the line feed and one for the end of the indentation.
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

#if !defined(__x86_64__)
inline bool isJsonBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

// Byte by byte; *skipping: inside the blanks behind a line feed.
char* compactBytes(const char* s, const char* end, char* d, bool* skipping)
{
   bool skip = *skipping;
   for (; s < end; s++) {
      char c = *s;
      if (skip && isJsonBlank(c)) continue;
      skip = c == '\n';
      if (!skip) *d++ = c;
   }
   *skipping = skip;
   return d;
}
#else
// The text from s on while s < stop, a register at a time: a line's bytes
// are stored whole and the cursor moved to its line feed; blanks behind
// one are passed over. Loads W bytes at any s < stop and stores W bytes at
// the output cursor. Returns where it stopped.
template <typename V>
const char* compactSteps(const char* s, const char* stop, char** pd, bool* skipping)
{
   char* d = *pd;
   bool skip = *skipping;
   for (;;) {
      if (skip) {
         unsigned kept;
         for (;;) {
            if (s >= stop) goto out;
            kept = ~V::blank(V::load(s)) & V::kAll;
            if (kept != 0) break;
            s += V::W;
         }
         s += __builtin_ctz(kept);
         skip = false;
      }
      unsigned feed;
      for (;;) {
         if (s >= stop) goto out;
         typename V::Reg v = V::load(s);
         V::store(d, v);
         feed = V::eq(v, '\n');
         if (feed != 0) break;
         s += V::W;
         d += V::W;
      }
      unsigned k = static_cast<unsigned>(__builtin_ctz(feed));
      d += k;
      s += k + 1;
      skip = true;
   }
out:
   *pd = d;
   *skipping = skip;
   return s;
}

// The whole text; the last bytes (fewer than a register) go through a copy
// padded with line feeds, which drop out. Stores run up to W bytes past what
// is kept. Returns the length written at d.
template <typename V>
size_t compactChunks(char* d, const char* text, size_t n)
{
   char* start = d;
   const char* end = text + n;
   bool skip = true;  // blanks before the first token go too
   const char* s = text;
   if (n >= static_cast<size_t>(V::W)) s = compactSteps<V>(s, end - V::W + 1, &d, &skip);
   size_t rest = static_cast<size_t>(end - s);
   char padded[2 * V::W];
   memcpy(padded, s, rest);
   memset(padded + rest, '\n', sizeof padded - rest);
   compactSteps<V>(padded, padded + rest, &d, &skip);
   return static_cast<size_t>(d - start);
}
#endif

}  // namespace
}  // namespace itsconv

#endif
