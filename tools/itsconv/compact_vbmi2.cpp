// itsconv: JSON compaction in 64-byte registers, packed by one compress
// instruction (processors with AVX-512 BW and VBMI2, built for them; every
// such processor has BMI, which keeps the masks out of mask registers).
#if defined(__x86_64__)
#include <immintrin.h>

#include "compact.h"
#include "output.h"

namespace itsconv {
namespace {

#define ITSCONV_BLANKS ' ', -1, -1, -1, -1, -1, -1, -1, -1, '\t', '\n', -1, -1, '\r', -1, -1
alignas(64) const
   char kBlankTable[64] = {ITSCONV_BLANKS, ITSCONV_BLANKS, ITSCONV_BLANKS, ITSCONV_BLANKS};
#undef ITSCONV_BLANKS

struct Vbmi2 {
   static void masks(const char* s, uint64_t* blank, uint64_t* feed)
   {
      const __m512i v = _mm512_loadu_si512(s);
      // Blanks: the entry a byte's low four bits pick is the byte itself
      // (bytes from 0x80 up pick 0).
      const __m512i table = _mm512_load_si512(kBlankTable);
      *blank = _mm512_cmpeq_epi8_mask(_mm512_shuffle_epi8(table, v), v);
      *feed = _mm512_cmpeq_epi8_mask(v, _mm512_set1_epi8('\n'));
   }
   static char* pack(char* d, const char* s, uint64_t keep)
   {
      const __m512i v = _mm512_loadu_si512(s);
      _mm512_storeu_si512(d, _mm512_maskz_compress_epi8(keep, v));
      return d + _mm_popcnt_u64(keep);
   }
};

}  // namespace

size_t compactJsonVbmi2(char* d, const char* text, size_t n)
{
   return compactChunks<Vbmi2>(d, text, n);
}

}  // namespace itsconv
#endif
