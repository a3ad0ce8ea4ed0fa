// PER decoding of character strings: known-width alphabets and strings of
// variable-width characters.
#include "asn1per.h"

#include "rtxMemory.h"

int pd_ConstrainedStringData(VXCTXT* pctxt, char* dest, size_t destSize, uint64_t count,
                             const char* chars, unsigned nbits, unsigned canonicalBits)
{
   if (dest == nullptr) {
      // Skipping: the characters are only passed over.
      if (nbits != 0 && count > (uint64_t)INT32_MAX / nbits) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      int stat = rtxMoveBitCursor(pctxt, (int32_t)(count * nbits));
      return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
   }
   if (count >= destSize) return VX_LOG_ERR(pctxt, RTERR_STROVFLW);
   bool table = nbits < canonicalBits || canonicalBits < 5;
   if (table && chars == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   size_t nchars = table ? strlen(chars) : 0;
   for (uint64_t i = 0; i < count; i++) {
      uint32_t v = 0;
      int stat = rtxDecBits(pctxt, &v, nbits);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      if (table) {
         if (v >= nchars) {
            rtxErrAddElemNameParm(pctxt);
            rtxErrAddUIntParm(pctxt, v);
            return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
         }
         dest[i] = chars[v];
      } else {
         dest[i] = (char)v;  // stored as read
      }
   }
   dest[count] = '\0';
   return 0;
}

int pd_DynConstrainedStringData(VXCTXT* pctxt, const char** pstring, uint64_t count,
                                const char* chars, unsigned nbits, unsigned canonicalBits)
{
   if (pstring == nullptr)
      return pd_ConstrainedStringData(pctxt, nullptr, 0, count, chars, nbits, canonicalBits);
   if (count >= SIZE_MAX) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   char* p = (char*)rtxMemAlloc(pctxt, (size_t)count + 1);
   if (p == nullptr) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   int stat =
      pd_ConstrainedStringData(pctxt, p, (size_t)count + 1, count, chars, nbits, canonicalBits);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, p);
      return VX_LOG_ERR(pctxt, stat);
   }
   *pstring = p;
   return 0;
}

// The length of a character string: a fragment is refused (status 2), and
// a count above the constraint's (extension's) upper bound gives -13.
static int stringLength(VXCTXT* pctxt, uint32_t* pcount, Asn1SizeCnst* pSaved)
{
   *pSaved = pu_copySizeConstraint(pctxt);
   int stat = pd_Length(pctxt, pcount);
   if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   if (stat != 0) return stat;
   uint64_t limit = pSaved->extUpper != 0 ? pSaved->extUpper : pSaved->rootUpper;
   if (limit != 0 && *pcount > limit) return VX_LOG_ERR(pctxt, RTERR_STROVFLW);
   return 0;
}

// Shared by the allocating and the fixed-memory forms: dest null allocates
// into *pstring.
static int decodeConstrString(VXCTXT* pctxt, const char** pstring, char* dest, size_t destSize,
                              const char* chars, unsigned nbits, unsigned canonicalBits,
                              bool allowAlign)
{
   Asn1SizeCnst saved;
   uint32_t count = 0;
   int stat = stringLength(pctxt, &count, &saved);
   if (stat != 0) return stat;
   if (dest != nullptr && (uint64_t)count + 1 > destSize) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   PU_NEWFIELD(pctxt, "data");
   if (allowAlign && pu_alignCharStr(pctxt, count, nbits, &saved)) pd_byteAlign(pctxt);
   stat = dest != nullptr
             ? pd_ConstrainedStringData(pctxt, dest, destSize, count, chars, nbits, canonicalBits)
             : pd_DynConstrainedStringData(pctxt, pstring, count, chars, nbits, canonicalBits);
   PU_SETBITCOUNT(pctxt);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pd_ConstrainedStringEx(VXCTXT* pctxt, const char** pstring, const char* chars, unsigned abits,
                           unsigned ubits, unsigned canonicalBits)
{
   unsigned nbits = pctxt->buffer.aligned ? abits : ubits;
   return decodeConstrString(pctxt, pstring, nullptr, 0, chars, nbits, canonicalBits, true);
}

int pd_ConstrFixedLenStringEx(VXCTXT* pctxt, char* dest, size_t destSize, const char* chars,
                              unsigned abits, unsigned ubits, unsigned canonicalBits)
{
   if (dest == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   unsigned nbits = pctxt->buffer.aligned ? abits : ubits;
   return decodeConstrString(pctxt, nullptr, dest, destSize, chars, nbits, canonicalBits, true);
}

int uperDecConstrString(VXCTXT* pctxt, const char** pstring, const char* chars, unsigned nbits,
                        unsigned canonicalBits)
{
   return decodeConstrString(pctxt, pstring, nullptr, 0, chars, nbits, canonicalBits, false);
}

int uperDecConstrFixedLenString(VXCTXT* pctxt, char* dest, size_t destSize, const char* chars,
                                unsigned nbits, unsigned canonicalBits)
{
   if (dest == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   return decodeConstrString(pctxt, nullptr, dest, destSize, chars, nbits, canonicalBits, false);
}

int pd_ConstrainedString(VXCTXT* pctxt, const char** pstring, const CharSetRecord* pCharSet)
{
   if (pCharSet == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   return pd_ConstrainedStringEx(pctxt, pstring, pCharSet->chars, pCharSet->alignedBits,
                                 pCharSet->unalignedBits, pCharSet->canonicalBits);
}

int pd_VarWidthCharString(VXCTXT* pctxt, const char** pstring)
{
   Asn1SizeCnst saved = pu_copySizeConstraint(pctxt);
   uint32_t count = 0;
   int stat = pd_Length(pctxt, &count);
   if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   if (stat != 0) return stat;
   if (count >= 0x20000000u) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   PU_NEWFIELD(pctxt, "data");
   if (pu_alignCharStr(pctxt, count, 8, &saved)) pd_byteAlign(pctxt);
   if (pstring == nullptr) {
      stat = rtxSkipBytes(pctxt, count);
   } else {
      char* p = (char*)rtxMemAlloc(pctxt, (size_t)count + 1);
      if (p == nullptr) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
      stat = rtxDecBitsToByteArray(pctxt, (uint8_t*)p, (size_t)count + 1, (uint64_t)count * 8);
      if (stat != 0) {
         rtxMemFreePtr(pctxt, p);
      } else {
         p[count] = '\0';
         *pstring = p;
      }
   }
   PU_SETBITCOUNT(pctxt);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}
