#include "rtxBitString.h"

static inline uint8_t maskOf(size_t index) { return (uint8_t)(0x80u >> (index % 8)); }

int rtxSetBit(uint8_t* bits, size_t numbits, size_t index)
{
   if (bits == nullptr || index >= numbits) return RTERR_OUTOFBND;
   uint8_t& byte = bits[index / 8];
   int old = (byte & maskOf(index)) != 0;
   byte |= maskOf(index);
   return old;
}

int rtxClearBit(uint8_t* bits, size_t numbits, size_t index)
{
   if (bits == nullptr || index >= numbits) return RTERR_OUTOFBND;
   uint8_t& byte = bits[index / 8];
   int old = (byte & maskOf(index)) != 0;
   byte &= (uint8_t)~maskOf(index);
   return old;
}

bool rtxTestBit(const uint8_t* bits, size_t numbits, size_t index)
{
   if (bits == nullptr || index >= numbits) return false;
   return (bits[index / 8] & maskOf(index)) != 0;
}

int rtxLastBitSet(const uint8_t* bits, size_t numbits)
{
   if (bits == nullptr) return -1;
   for (size_t i = numbits; i > 0; i--) {
      size_t index = i - 1;
      // Whole zero bytes are passed over at once.
      if (index % 8 == 7 && bits[index / 8] == 0) {
         i -= 7;
         continue;
      }
      if (bits[index / 8] & maskOf(index)) return index > 0x7FFFFFFF ? 0x7FFFFFFF : (int)index;
   }
   return -1;
}
