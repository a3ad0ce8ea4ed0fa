// itsconv: JSON compaction 16 bytes at a time (any x86-64 processor).
#include "compact.h"
#include "output.h"

#if defined(__x86_64__)

namespace itsconv {
namespace {

struct Sse2 {
   typedef __m128i Reg;
   static const int W = 16;
   static Reg load(const char* p) { return _mm_loadu_si128(reinterpret_cast<const Reg*>(p)); }
   static void store(char* p, Reg v) { _mm_storeu_si128(reinterpret_cast<Reg*>(p), v); }
   static unsigned bits(Reg m) { return static_cast<unsigned>(_mm_movemask_epi8(m)); }
   static unsigned eq(Reg v, char c) { return bits(_mm_cmpeq_epi8(v, _mm_set1_epi8(c))); }
   // Bytes up to the blank (unsigned), and backslashes.
   static unsigned blankOrBackslash(Reg v)
   {
      Reg low = _mm_cmpeq_epi8(_mm_min_epu8(v, _mm_set1_epi8(' ')), v);
      return bits(_mm_or_si128(low, _mm_cmpeq_epi8(v, _mm_set1_epi8('\\'))));
   }
};

}  // namespace

size_t compactJsonSse2(char* d, const char* text, size_t n)
{
   return compactLines<Sse2>(d, text, n);
}

}  // namespace itsconv

#endif
