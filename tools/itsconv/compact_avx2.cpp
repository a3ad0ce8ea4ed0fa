// itsconv: JSON compaction 32 bytes at a time (processors with AVX2, BMI and POPCNT, built for them).
#include "compact.h"
#include "output.h"

#if defined(__x86_64__)

namespace itsconv {
namespace {

struct Avx2 {
   typedef __m256i Reg;
   static const int W = 32;
   static Reg load(const char* p) { return _mm256_loadu_si256(reinterpret_cast<const Reg*>(p)); }
   static void store(char* p, Reg v) { _mm256_storeu_si256(reinterpret_cast<Reg*>(p), v); }
   static unsigned bits(Reg m) { return static_cast<unsigned>(_mm256_movemask_epi8(m)); }
   static unsigned eq(Reg v, char c) { return bits(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(c))); }
   // Bytes up to the blank (unsigned), and backslashes.
   static unsigned blankOrBackslash(Reg v)
   {
      Reg low = _mm256_cmpeq_epi8(_mm256_min_epu8(v, _mm256_set1_epi8(' ')), v);
      return bits(_mm256_or_si256(low, _mm256_cmpeq_epi8(v, _mm256_set1_epi8('\\'))));
   }
};

}  // namespace

size_t compactJsonAvx2(char* d, const char* text, size_t n)
{
   return compactLines<Avx2>(d, text, n);
}

}  // namespace itsconv

#endif
