// itstest.h: what the generated test support (random records, deep
// comparison, the table of every type) is built on: the random source,
// the table row, and helpers for the parts every type has in common.
#ifndef ITSTEST_H
#define ITSTEST_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "asn1type.h"
#include "rtxDList.h"
#include "rtxMemory.h"

struct XmlFastIn;

// Random numbers for the fill functions (seeded, so a failing case can be
// replayed) and the depth of the record being filled.
struct ItsTestRng {
   uint64_t state;
   unsigned depth;
   explicit ItsTestRng(uint64_t seed) : state(seed * 0x9E3779B97F4A7C15ULL + 1), depth(0) {}
   uint64_t next()
   {
      uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
      z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
      z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
      return z ^ (z >> 31);
   }
   uint64_t below(uint64_t n) { return n != 0 ? next() % n : 0; }
   // A value of lo..hi; the bounds themselves come up often.
   int64_t pick(int64_t lo, int64_t hi)
   {
      uint64_t span = (uint64_t)hi - (uint64_t)lo;
      switch (next() % 4) {
         case 0:
            return lo;
         case 1:
            return hi;
         default:
            return (int64_t)((uint64_t)lo + (span == UINT64_MAX ? next() : below(span + 1)));
      }
   }
   // A list count: the lower bound, or up to two more near the root.
   uint64_t count(uint64_t lo, uint64_t hi)
   {
      uint64_t extra = depth < 5 ? 2 : 0;
      uint64_t top = hi - lo < extra ? hi : lo + extra;
      return lo + below(top - lo + 1);
   }
   // Optional components get rarer with depth.
   bool optional() { return depth < 7 && below(2) != 0; }
};

// One row per type: its name and what a test needs to run it generically.
// make returns a new set-up record (release frees its parts and deletes it);
// the codecs take the record as the generated functions do, behind void*.
struct ItsTestType {
   const char* name;
   void* (*make)(VXCTXT* pctxt);
   void (*release)(VXCTXT* pctxt, void* pvalue);
   int (*perEncode)(VXCTXT* pctxt, void* pvalue);
   int (*perDecode)(VXCTXT* pctxt, void* pvalue);
   int (*jsonEncode)(VXCTXT* pctxt, const void* pvalue);
   int (*jsonDecode)(VXCTXT* pctxt, void* pvalue);
   void (*fill)(VXCTXT* pctxt, void* pvalue, ItsTestRng& rng);
   bool (*equal)(const void* a, const void* b);
   // Whether a record may hold an open type without a known type (its
   // octets as they came), which the two codecs carry differently.
   bool rawOpen;
   // The unknown additions of an extensible SEQUENCE, or null.
   ASN1TSeqExt* (*ext)(void* pvalue);
   // Makes an extensible CHOICE the unknown alternative `ot`, or null.
   void (*unknownAlt)(void* pvalue, ASN1OpenType* ot);
   // The XML writer, the value written as the element elemName.
   int (*xmlEncode)(VXCTXT* pctxt, const void* pvalue, const char* elemName);
   // The XML reader, inside the element the writer wrote.
   int (*xmlDecode)(VXCTXT* pctxt, void* pvalue);
   // The direct XML reader, inside the element the writer wrote (0, or
   // XML_FAST_NO when it leaves the text to the reader above).
   int (*xmlFast)(XmlFastIn* in, void* pvalue);
};

extern const ItsTestType itsTestTypes[];
extern const size_t itsTestTypeCount;

inline void itsTestRandomBytes(ItsTestRng& rng, uint8_t* data, uint64_t n)
{
   for (uint64_t i = 0; i < n; i++) data[i] = (uint8_t)rng.next();
}

// nbits random bits, the rest of the nbytes bytes zero.
inline void itsTestRandomBits(ItsTestRng& rng, uint8_t* data, uint64_t nbits, uint64_t nbytes)
{
   for (uint64_t i = 0; i < nbytes; i++) {
      uint64_t first = i * 8;
      uint8_t b = (uint8_t)rng.next();
      if (first >= nbits)
         b = 0;
      else if (nbits - first < 8)
         b = (uint8_t)(b & (0xFF00u >> (nbits - first)));
      data[i] = b;
   }
}

inline bool itsTestBitsEqual(const uint8_t* a, const uint8_t* b, uint64_t nbits)
{
   for (uint64_t i = 0; i < nbits; i++)
      if (((a[i / 8] ^ b[i / 8]) >> (7 - i % 8)) & 1) return false;
   return true;
}

inline bool itsTestBytesEqual(const uint8_t* a, uint64_t na, const uint8_t* b, uint64_t nb)
{
   return na == nb && (na == 0 || memcmp(a, b, (size_t)na) == 0);
}

inline bool itsTestStringEqual(const char* a, const char* b)
{
   return strcmp(a != 0 ? a : "", b != 0 ? b : "") == 0;
}

inline bool itsTestOpenEqual(const ASN1OpenType* a, const ASN1OpenType* b)
{
   if (a == 0 || b == 0) return a == b;
   return itsTestBytesEqual(a->data, a->numocts, b->data, b->numocts);
}

// Unknown additions: the same count, each absent or with the same octets.
inline bool itsTestExtEqual(const ASN1TSeqExt* a, const ASN1TSeqExt* b)
{
   if (a->count != b->count) return false;
   const VXRTDListNode* na = a->head;
   const VXRTDListNode* nb = b->head;
   for (; na != 0 && nb != 0; na = na->next, nb = nb->next)
      if (!itsTestOpenEqual((const ASN1OpenType*)na->data, (const ASN1OpenType*)nb->data))
         return false;
   return na == nb;
}

// Octets of an open type without a known type: "<hex digits>" (a JSON
// value, so that both codecs carry it), not NUL-terminated.
inline const uint8_t* itsTestRandomOpenText(VXCTXT* pctxt, ItsTestRng& rng, uint64_t* numocts)
{
   uint64_t n = 2 + 2 * rng.below(4);
   uint8_t* s = (uint8_t*)rtxMemAlloc(pctxt, n);
   if (s == 0) {
      *numocts = 0;
      return 0;
   }
   s[0] = '"';
   for (uint64_t i = 1; i + 1 < n; i++) s[i] = (uint8_t) "0123456789abcdef"[rng.below(16)];
   s[n - 1] = '"';
   *numocts = n;
   return s;
}

// A NUL-terminated string of n characters on the heap.
inline const char* itsTestRandomString(VXCTXT* pctxt, ItsTestRng& rng, size_t n, bool utf8)
{
   static const char* const wide[] = {"\xC3\xA9", "\xE2\x82\xAC"};
   static const char ascii[] =
      " !\"#$%&'()*+,-./"
      "0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~";
   char* s = (char*)rtxMemAlloc(pctxt, n * 3 + 1);
   if (s == 0) return 0;
   size_t k = 0;
   for (size_t i = 0; i < n; i++) {
      if (utf8 && rng.below(4) == 0) {
         const char* w = wide[rng.below(2)];
         while (*w) s[k++] = *w++;
      } else {
         s[k++] = ascii[rng.below(sizeof(ascii) - 1)];
      }
   }
   s[k] = 0;
   return s;
}

#endif
