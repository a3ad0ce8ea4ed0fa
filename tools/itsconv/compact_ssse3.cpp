// itsconv: JSON compaction in 16-byte registers, eight bytes packed at a
// time by a shuffle from a table (processors with SSSE3 and POPCNT, built
// for them).
#if defined(__x86_64__)
#include <immintrin.h>

#include "compact.h"
#include "output.h"

namespace itsconv {
namespace {

// For each mask of eight bytes, the positions of its kept bytes, lowest
// first: the shuffle that packs them to the front. Made by the compiler, so
// no code built for these instructions runs before the processor is checked.
struct PackTable {
   alignas(8) uint8_t order[256][8];
};
constexpr PackTable makePackTable()
{
   PackTable t{};
   for (int m = 0; m < 256; m++) {
      int k = 0;
      for (int i = 0; i < 8; i++)
         if (m >> i & 1) t.order[m][k++] = static_cast<uint8_t>(i);
      for (; k < 8; k++) t.order[m][k] = 0x80;
   }
   return t;
}
constexpr PackTable kPack = makePackTable();

struct Ssse3 {
   // Blanks: their low four bits differ, so a byte is one when the entry its
   // low four bits pick is the byte itself (bytes from 0x80 up pick 0).
   static uint64_t blanks(__m128i v)
   {
      const char x = static_cast<char>(0xff);
      const __m128i table =
         _mm_setr_epi8(' ', x, x, x, x, x, x, x, x, '\t', '\n', x, x, '\r', x, x);
      return static_cast<uint16_t>(
         _mm_movemask_epi8(_mm_cmpeq_epi8(_mm_shuffle_epi8(table, v), v)));
   }
   static void masks(const char* s, uint64_t* blank, uint64_t* feed)
   {
      uint64_t b = 0, f = 0;
#pragma GCC unroll 4
      for (int i = 0; i < 4; i++) {
         __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16 * i));
         b |= blanks(v) << (16 * i);
         f |= static_cast<uint64_t>(
                 static_cast<uint16_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8('\n')))))
              << (16 * i);
      }
      *blank = b;
      *feed = f;
   }
   static char* pack(char* d, const char* s, uint64_t keep)
   {
#pragma GCC unroll 8
      for (int i = 0; i < 8; i++) {
         unsigned m = static_cast<unsigned>(keep >> (8 * i)) & 0xFF;
         __m128i v = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(s + 8 * i));
         __m128i order = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kPack.order[m]));
         _mm_storel_epi64(reinterpret_cast<__m128i*>(d), _mm_shuffle_epi8(v, order));
         d += _mm_popcnt_u32(m);
      }
      return d;
   }
};

}  // namespace

size_t compactJsonSsse3(char* d, const char* text, size_t n)
{
   return compactChunks<Ssse3>(d, text, n);
}

}  // namespace itsconv
#endif
