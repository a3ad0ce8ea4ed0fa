// itsconv: the library's JSON text on one line, a line at a time in vector
// registers. Included by compact_sse2.cpp and compact_avx2.cpp, which build
// it for the two register widths; everything here has internal linkage, so
// the two builds never share a function.
#ifndef ITSCONV_COMPACT_H
#define ITSCONV_COMPACT_H

#include <cstddef>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace itsconv {
namespace {

// From s, at the start of a line and so outside any string, up to and
// including the next line feed outside a string: blanks outside strings go,
// strings are copied as they stand, a backslash taking the character behind
// it along.
const char* compactLine(const char* s, const char* end, char** pd)
{
   char* d = *pd;
   while (s < end) {
      char c = *s++;
      if (c == '\n') break;
      if (c == ' ' || c == '\t' || c == '\r') continue;
      *d++ = c;
      if (c != '"') continue;
      while (s < end) {
         c = *s++;
         *d++ = c;
         if (c == '"') break;
         if (c == '\\' && s < end) *d++ = *s++;
      }
   }
   *pd = d;
   return s;
}

// The library writes a line feed and an indentation after and before
// brackets and after commas, and strict JSON has no raw line feed (nor any
// other control character) inside a string, so each line starts outside a
// string. A line's indentation is skipped and the rest copied a register
// (V::W bytes) at a time; only a line with a blank, a control character or a
// backslash behind its indentation, or with an odd number of quotes, is done
// again byte by byte with strings tracked (compactLine). Stores run up to
// V::W bytes past what is kept. Returns the length written at d.
#if defined(__x86_64__)
template <typename V>
size_t compactLines(char* d, const char* text, size_t n)
{
   char* start = d;
   const char* s = text;
   const char* end = text + n;
   const unsigned all = ~0u >> (32 - V::W);
   while (s < end) {
      while (end - s >= V::W) {
         unsigned indent = V::eq(V::load(s), ' ');
         if (indent != all) {
            s += __builtin_ctz(~indent);
            break;
         }
         s += V::W;
      }
      const char* line = s;
      char* lineOut = d;
      bool slow = true;
      unsigned quotes = 0;  // their parity in bit 0 after folding
      while (end - s >= V::W) {
         typename V::Reg v = V::load(s);
         unsigned lf = V::eq(v, '\n');
         unsigned special = V::blankOrBackslash(v);
         unsigned q = V::eq(v, '"');
         V::store(d, v);
         if (lf != 0) {
            unsigned before = (lf & (0u - lf)) - 1;
            unsigned len = static_cast<unsigned>(__builtin_ctz(lf));
            slow = (special & before) != 0 || __builtin_parity(quotes ^ (q & before));
            d += len;
            s += len + 1;
            break;
         }
         if (special != 0) break;
         quotes ^= q;
         d += V::W;
         s += V::W;
      }
      if (slow) {
         d = lineOut;
         s = compactLine(line, end, &d);
      }
   }
   return static_cast<size_t>(d - start);
}
#endif

}  // namespace
}  // namespace itsconv

#endif
