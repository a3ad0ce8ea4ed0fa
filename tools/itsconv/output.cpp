// itsconv: the output of a run of messages.
#include "output.h"

#include <emmintrin.h>

namespace itsconv {

void OutBuf::grow(size_t n)
{
   size_t cap = cap_ < 65536 ? 65536 : cap_;
   while (cap < size_ + n) cap *= 2;
   std::unique_ptr<char[]> bigger(new char[cap]);
   if (size_ > 0) memcpy(bigger.get(), data_.get(), size_);
   data_.swap(bigger);
   cap_ = cap;
}

void appendHex(OutBuf* out, const char* bytes, size_t n)
{
   static const char digits[] = "0123456789abcdef";
   char* d = out->reserve(2 * n);
   for (size_t i = 0; i < n; i++) {
      unsigned char b = static_cast<unsigned char>(bytes[i]);
      d[2 * i] = digits[b >> 4];
      d[2 * i + 1] = digits[b & 15];
   }
   out->commit(2 * n);
}

void appendBase64(OutBuf* out, const char* bytes, size_t n)
{
   static const char symbols[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
   char* d = out->reserve((n + 2) / 3 * 4);
   char* start = d;
   const unsigned char* s = reinterpret_cast<const unsigned char*>(bytes);
   size_t i = 0;
   for (; i + 3 <= n; i += 3) {
      unsigned v = s[i] << 16 | s[i + 1] << 8 | s[i + 2];
      *d++ = symbols[v >> 18];
      *d++ = symbols[v >> 12 & 63];
      *d++ = symbols[v >> 6 & 63];
      *d++ = symbols[v & 63];
   }
   if (i < n) {
      unsigned v = s[i] << 16 | (i + 1 < n ? s[i + 1] << 8 : 0);
      *d++ = symbols[v >> 18];
      *d++ = symbols[v >> 12 & 63];
      *d++ = i + 1 < n ? symbols[v >> 6 & 63] : '=';
      *d++ = '=';
   }
   out->commit(static_cast<size_t>(d - start));
}

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

inline __m128i eq(__m128i v, char c) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(c)); }

inline unsigned bits(__m128i m) { return static_cast<unsigned>(_mm_movemask_epi8(m)); }

}  // namespace

void appendCompactJson(OutBuf* out, const char* text, size_t n)
{
   // The library writes a line feed and an indentation after and before
   // brackets and after commas, and strict JSON has no raw line feed inside a
   // string, so each line starts outside a string. A line is skipped over and
   // copied 16 bytes at a time; only a line with a blank, a tab, a carriage
   // return or a backslash behind its indentation, or with an odd number of
   // quotes, is done again byte by byte with strings tracked (compactLine).
   // Stores may run up to 16 bytes past what is kept.
   char* start = out->reserve(n + 16);
   char* d = start;
   const char* s = text;
   const char* end = text + n;
   while (s < end) {
      while (end - s >= 16) {
         unsigned indent = bits(eq(_mm_loadu_si128(reinterpret_cast<const __m128i*>(s)), ' '));
         if (indent != 0xffff) {
            s += __builtin_ctz(~indent);
            break;
         }
         s += 16;
      }
      const char* line = s;
      char* lineOut = d;
      bool slow = true;
      unsigned quotes = 0;  // their parity in bit 0 after folding
      while (end - s >= 16) {
         __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
         unsigned lf = bits(eq(v, '\n'));
         unsigned special = bits(_mm_or_si128(_mm_or_si128(eq(v, ' '), eq(v, '\\')),
                                              _mm_or_si128(eq(v, '\t'), eq(v, '\r'))));
         unsigned q = bits(eq(v, '"'));
         _mm_storeu_si128(reinterpret_cast<__m128i*>(d), v);
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
         d += 16;
         s += 16;
      }
      if (slow) {
         d = lineOut;
         s = compactLine(line, end, &d);
      }
   }
   out->commit(static_cast<size_t>(d - start));
}

}  // namespace itsconv
