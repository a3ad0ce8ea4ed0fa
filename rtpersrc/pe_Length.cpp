// PER encoding of length determinants.
#include "asn1per.h"

#include "rtxError.h"

int pe_UnconsLength(VXCTXT* pctxt, uint64_t length)
{
   bool aligned = pctxt->buffer.aligned != 0;
   int stat, covered;
   PU_NEWFIELD(pctxt, "length");
   if (length < 128) {
      stat =
         aligned ? pe_octetAligned(pctxt, (uint8_t)length) : rtxEncBits(pctxt, (uint32_t)length, 8);
      covered = (int)length;
   } else if (length < 16384) {
      uint32_t v = (uint32_t)length | 0x8000u;
      stat = aligned ? pe_bitsAligned(pctxt, v, 16) : rtxEncBits(pctxt, v, 16);
      covered = (int)length;
   } else {
      // Fragment header: 1 1 and a multiplier of 16384 items, at most 4.
      uint64_t m = length / 16384;
      if (m > 4) m = 4;
      stat = rtxEncBits(pctxt, 0xC0u + (uint32_t)m, 8);
      covered = (int)(m * 16384);
   }
   PU_SETBITCOUNT(pctxt);
   return stat == 0 ? covered : VX_LOG_ERR(pctxt, stat);
}

int pe_LengthFrag(VXCTXT* pctxt, uint64_t length, bool* pFragment)
{
   *pFragment = false;
   // The constraint is a one-shot parameter: read it and clear it.
   Asn1SizeCnst cnst = pu_copySizeConstraint(pctxt);
   if (Asn1SizeCnst* p = pu_getSizeConstraint(pctxt)) *p = Asn1SizeCnst{0, 0, 0, 0};

   bool extensible = false, isExt = false;
   Asn1SizeCnst range;
   int stat = pu_checkSizeExt(&cnst, length, &extensible, &range, &isExt);
   if (stat == RTERR_CONSVIO) {
      rtxErrAddElemNameParm(pctxt);
      rtxErrAddUInt64Parm(pctxt, length);
   }
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);

   if (extensible) {
      PU_NEWFIELD(pctxt, "length extension");
      stat = rtxEncBit(pctxt, isExt);
      PU_SETBITCOUNT(pctxt);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }

   if (range.rootUpper < 65536 && !isExt) {
      if (range.rootLower != range.rootUpper) {
         PU_NEWFIELD(pctxt, "length");
         stat = pe_ConsWholeNumber64(pctxt, length - range.rootLower,
                                     range.rootUpper - range.rootLower + 1);
         PU_SETBITCOUNT(pctxt);
         if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      }
      return (int)length;
   }
   int covered = pe_UnconsLength(pctxt, length);
   if (covered < 0) return VX_LOG_ERR(pctxt, covered);
   *pFragment = length >= 16384;
   return covered;
}

int pe_Length(VXCTXT* pctxt, uint64_t length)
{
   bool fragment;
   return pe_LengthFrag(pctxt, length, &fragment);
}

int pe_SmallLength(VXCTXT* pctxt, uint64_t length)
{
   int stat;
   if (length <= 64) {
      // No range test: 0 writes 63 in the six bits, as callers never pass it.
      stat = rtxEncBits(pctxt, (uint32_t)(length - 1) & 0x3Fu, 7);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      PU_ADDFIELD(pctxt, "length", 7);
      return 0;
   }
   // The long form: a bit 1, then a length of its own.
   stat = rtxEncBit(pctxt, 1);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   PU_ADDFIELD(pctxt, "length", 1);
   int covered = pe_Length(pctxt, length);
   return covered < 0 ? VX_LOG_ERR(pctxt, covered) : 0;
}
