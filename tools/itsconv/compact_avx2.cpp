// itsconv: JSON compaction 32 bytes per register (processors with AVX2, built for them).
#include "compact.h"
#include "output.h"

#if defined(__x86_64__)

namespace itsconv {
namespace {

struct Avx2 {
   typedef __m256i Reg;
   static const unsigned kAll = 0xFFFFFFFFu;
   static const int W = 32;
   static Reg load(const char* p) { return _mm256_loadu_si256(reinterpret_cast<const Reg*>(p)); }
   static void store(char* p, Reg v) { _mm256_storeu_si256(reinterpret_cast<Reg*>(p), v); }
   static unsigned bits(Reg m) { return static_cast<unsigned>(_mm256_movemask_epi8(m)); }
   static unsigned eq(Reg v, char c) { return bits(_mm256_cmpeq_epi8(v, _mm256_set1_epi8(c))); }
   // Blanks: space, line feed, tab, carriage return. Their low four bits
   // differ, so a byte is a blank when the table entry its low four bits
   // pick is the byte itself (bytes from 0x80 up pick 0).
   static unsigned blank(Reg v)
   {
      const char x = static_cast<char>(0xff);
      const Reg table = _mm256_setr_epi8(' ', x, x, x, x, x, x, x, x, '\t', '\n', x, x, '\r', x, x,
                                         ' ', x, x, x, x, x, x, x, x, '\t', '\n', x, x, '\r', x, x);
      return bits(_mm256_cmpeq_epi8(_mm256_shuffle_epi8(table, v), v));
   }
};

}  // namespace

size_t compactJsonAvx2(char* d, const char* text, size_t n)
{
   return compactChunks<Avx2>(d, text, n);
}

}  // namespace itsconv

#endif
