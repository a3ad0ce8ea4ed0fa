// PER encoding of character strings: known-width alphabets and strings of
// variable-width characters (counted in octets).
#include "asn1per.h"

int pe_ConstrainedStringData(VXCTXT* pctxt, const char* string, const char* chars, unsigned nbits,
                             unsigned canonicalBits, uint64_t count)
{
   // Wide enough for the character codes themselves: no table look-up.
   bool direct = nbits >= canonicalBits && canonicalBits >= 5;
   if (!direct && chars == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   size_t nchars = direct ? 0 : strlen(chars);
   for (uint64_t i = 0; i < count; i++) {
      uint8_t c = (uint8_t)string[i];
      uint32_t code = c;
      if (!direct) {
         const void* hit = memchr(chars, c, nchars);
         if (hit == nullptr) {
            rtxErrAddElemNameParm(pctxt);
            rtxErrAddStrnParm(pctxt, string + i, 1);
            return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
         }
         code = (uint32_t)((const char*)hit - chars);
      }
      int stat = rtxEncBits(pctxt, code, nbits);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}

// Length (in pieces for long strings), then the characters; allowAlign is
// false for the unaligned-only entry points.
static int encodeConstrString(VXCTXT* pctxt, const char* string, const char* chars, unsigned nbits,
                              unsigned canonicalBits, bool allowAlign)
{
   Asn1SizeCnst saved = pu_copySizeConstraint(pctxt);
   uint64_t length = string ? strlen(string) : 0;
   uint64_t done = 0;
   for (;;) {
      int c = pe_Length(pctxt, length - done);
      if (c < 0) return VX_LOG_ERR(pctxt, c);
      PU_NEWFIELD(pctxt, "data");
      if (allowAlign && pu_alignCharStr(pctxt, length, nbits, &saved)) pe_byte_align(pctxt);
      int stat = c == 0 ? 0
                        : pe_ConstrainedStringData(pctxt, string + done, chars, nbits,
                                                   canonicalBits, (uint64_t)c);
      PU_SETBITCOUNT(pctxt);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      if (length - done <= (uint64_t)c || c == 0) return 0;
      done += (uint64_t)c;
   }
}

int pe_ConstrainedStringEx(VXCTXT* pctxt, const char* string, const char* chars, unsigned abits,
                           unsigned ubits, unsigned canonicalBits)
{
   unsigned nbits = pctxt->buffer.aligned ? abits : ubits;
   return encodeConstrString(pctxt, string, chars, nbits, canonicalBits, true);
}

int uperEncConstrString(VXCTXT* pctxt, const char* string, const char* chars, unsigned nbits,
                        unsigned canonicalBits)
{
   return encodeConstrString(pctxt, string, chars, nbits, canonicalBits, false);
}

int pe_ConstrainedString(VXCTXT* pctxt, const char* string, const CharSetRecord* pCharSet)
{
   if (pCharSet == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   return pe_ConstrainedStringEx(pctxt, string, pCharSet->chars, pCharSet->alignedBits,
                                 pCharSet->unalignedBits, pCharSet->canonicalBits);
}

int pe_VarWidthCharString(VXCTXT* pctxt, const char* string)
{
   // The octets go out as they stand; UTF-8 is neither checked nor recoded.
   if (string == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   Asn1SizeCnst saved = pu_copySizeConstraint(pctxt);
   uint64_t length = strlen(string);
   uint64_t done = 0;
   for (;;) {
      int c = pe_Length(pctxt, length - done);
      if (c < 0) return VX_LOG_ERR(pctxt, c);
      PU_NEWFIELD(pctxt, "data");
      if (pu_alignCharStr(pctxt, length, 8, &saved)) pe_byte_align(pctxt);
      int stat = rtxEncBitsFromByteArray(pctxt, (const uint8_t*)string + done, (uint64_t)c * 8);
      PU_SETBITCOUNT(pctxt);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      if (length - done <= (uint64_t)c || c == 0) return 0;
      done += (uint64_t)c;
   }
}
