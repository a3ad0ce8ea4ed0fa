// itsconv: JSON compaction a byte at a time, for any processor.
#include "compact.h"
#include "output.h"

namespace itsconv {
namespace {

struct Scalar {
   static void masks(const char* s, uint64_t* blank, uint64_t* feed)
   {
      uint64_t b = 0, f = 0;
      for (int i = 0; i < 64; i++) {
         b |= static_cast<uint64_t>(isJsonBlank(s[i])) << i;
         f |= static_cast<uint64_t>(s[i] == '\n') << i;
      }
      *blank = b;
      *feed = f;
   }
   // Every byte is stored; the cursor moves on past the kept ones.
   static char* pack(char* d, const char* s, uint64_t keep)
   {
      for (int i = 0; i < 64; i++) {
         *d = s[i];
         d += (keep >> i) & 1;
      }
      return d;
   }
};

}  // namespace

size_t compactJsonScalar(char* d, const char* text, size_t n)
{
   return compactChunks<Scalar>(d, text, n);
}

}  // namespace itsconv
