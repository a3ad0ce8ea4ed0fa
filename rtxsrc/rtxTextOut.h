// Pieces the text writers (JSON, XML) use to put numbers and indentation
// straight into an output buffer whose room they have reserved.
#ifndef RTXTEXTOUT_H
#define RTXTEXTOUT_H

#include <stddef.h>
#include <stdint.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "rtxCommon.h"

// "00" to "99": numbers are written two digits per division.
inline constexpr char kVxDigitPairs[] =
   "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
   "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
   "8081828384858687888990919293949596979899";

// The number of decimal digits of v (1 for 0).
VX_INLINE size_t rtxTextDigitCount(uint64_t v)
{
   size_t n = 1;
   for (;;) {
      if (v < 10) return n;
      if (v < 100) return n + 1;
      if (v < 1000) return n + 2;
      if (v < 10000) return n + 3;
      v /= 10000;
      n += 4;
   }
}

// The n digits of a number at p, written from the last back, two at a time.
VX_INLINE void rtxTextPutDigits(uint8_t* p, size_t n, uint64_t magnitude)
{
   uint8_t* q = p + n;
   while (magnitude >= 100) {
      size_t pair = (size_t)(magnitude % 100) * 2;
      magnitude /= 100;
      q -= 2;
      q[0] = (uint8_t)kVxDigitPairs[pair];
      q[1] = (uint8_t)kVxDigitPairs[pair + 1];
   }
   if (magnitude >= 10) {
      q[-2] = (uint8_t)kVxDigitPairs[magnitude * 2];
      q[-1] = (uint8_t)kVxDigitPairs[magnitude * 2 + 1];
   } else {
      q[-1] = (uint8_t)('0' + magnitude);
   }
}

// n copies of ch at p; returns the end. With `padded` the buffer holds 16
// bytes of room behind the n, and the characters are stored 16 at a time
// (possibly past the n, never into what is written next).
VX_INLINE uint8_t* rtxTextPutRun(uint8_t* p, size_t n, uint8_t ch, bool padded)
{
#if defined(__SSE2__)
   if (padded) {
      const __m128i run = _mm_set1_epi8((char)ch);
      // The empty asm hides the loop's pattern from the optimiser, which
      // would otherwise call memset (and save registers around the call)
      // for what is mostly one or two stores.
      for (size_t k = 0; k < n; k += 16) {
         _mm_storeu_si128(reinterpret_cast<__m128i*>(p + k), run);
         __asm__("" : "+r"(k));
      }
      return p + n;
   }
#endif
   for (; n > 0; n--) *p++ = ch;
   return p;
}

#endif
