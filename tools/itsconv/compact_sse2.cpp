// itsconv: JSON compaction 16 bytes per register (any x86-64 processor).
#include "compact.h"
#include "output.h"

#if defined(__x86_64__)

namespace itsconv {
namespace {

struct Sse2 {
   typedef __m128i Reg;
   static const unsigned kAll = 0xFFFFu;
   static const int W = 16;
   static Reg load(const char* p) { return _mm_loadu_si128(reinterpret_cast<const Reg*>(p)); }
   static void store(char* p, Reg v) { _mm_storeu_si128(reinterpret_cast<Reg*>(p), v); }
   static unsigned bits(Reg m) { return static_cast<unsigned>(_mm_movemask_epi8(m)); }
   static unsigned eq(Reg v, char c) { return bits(_mm_cmpeq_epi8(v, _mm_set1_epi8(c))); }
   // Blanks: space, line feed, tab, carriage return.
   static unsigned blank(Reg v)
   {
      Reg sp = _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(' ')),
                            _mm_cmpeq_epi8(v, _mm_set1_epi8('\n')));
      Reg tc = _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('\t')),
                            _mm_cmpeq_epi8(v, _mm_set1_epi8('\r')));
      return bits(_mm_or_si128(sp, tc));
   }
};

}  // namespace

size_t compactJsonSse2(char* d, const char* text, size_t n)
{
   return compactChunks<Sse2>(d, text, n);
}

}  // namespace itsconv

#endif
