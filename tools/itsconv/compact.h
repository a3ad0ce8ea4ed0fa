// itsconv: the library's JSON text on one line, 64 bytes a step.
// Included by the units that build it for one instruction set each
// (compact_scalar.cpp, compact_ssse3.cpp, compact_vbmi2.cpp); everything
// here has internal linkage, so the builds never share a function.
//
// The rule: every line feed goes, with the blanks that open the next line
// (the indentation). In JSON a raw line feed stands only between tokens, so
// nothing dropped belongs to a string, and the library writes no other
// blank outside strings, so its text comes out compact. Each step finds the
// bytes to keep of 64 with a few operations on 64-bit masks and packs them,
// without a branch on the text: the cost does not hang on line lengths.
#ifndef ITSCONV_COMPACT_H
#define ITSCONV_COMPACT_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace itsconv {
namespace {

// The bytes to keep of a step, from its masks of blanks (space, line feed,
// tab, carriage return) and of line feeds. A run of blanks other than line
// feeds is kept when it starts right behind a kept byte; *carry tells that
// the last byte of the step before was kept.
inline uint64_t keptBytes(uint64_t blank, uint64_t feed, uint64_t* carry)
{
#if defined(__GNUC__)
   // Plain registers: worked in mask registers (AVX-512), each move between
   // the two kinds would lengthen the chain that runs from step to step.
   __asm__("" : "+r"(blank), "+r"(feed));
#endif
   uint64_t other = ~blank;
   uint64_t spaces = blank & ~feed;
   // One start bit at the bottom of each run that follows a kept byte; the
   // addition carries it through its run, which then drops out of the sum.
   uint64_t starts = spaces & (other << 1 | *carry);
   uint64_t keep = other | (spaces & ~(spaces + starts));
   *carry = keep >> 63;
   return keep;
}

inline bool isJsonBlank(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

// The whole text in steps of V (masks(s, &blank, &feed) and pack(d, s, keep),
// which writes the kept bytes of the 64 at s to d, may store 64 bytes, and
// returns the new end). The last bytes go through a copy padded with line
// feeds, which drop out. Returns the length written at d.
template <typename V>
size_t compactChunks(char* d, const char* text, size_t n)
{
   char* start = d;
   const char* s = text;
   const char* end = text + n;
   uint64_t carry = 0;  // blanks before the first token go too
   uint64_t blank, feed;
   for (; end - s >= 64; s += 64) {
      V::masks(s, &blank, &feed);
      d = V::pack(d, s, keptBytes(blank, feed, &carry));
   }
   size_t rest = static_cast<size_t>(end - s);
   alignas(64) char padded[64];
   memcpy(padded, s, rest);
   memset(padded + rest, '\n', sizeof padded - rest);
   V::masks(padded, &blank, &feed);
   d = V::pack(d, padded, keptBytes(blank, feed, &carry));
   return static_cast<size_t>(d - start);
}

}  // namespace
}  // namespace itsconv

#endif
