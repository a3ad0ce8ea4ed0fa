// PER decoding of length determinants, and totals of fragmented lengths.
#include "asn1per.h"

int pd_UnconsLen64Value(VXCTXT* pctxt, uint64_t* pvalue)
{
   PU_NEWFIELD(pctxt, "length");
   uint32_t first = 0;
   uint64_t value;
   int result = 0;
   int stat = rtxDecBits(pctxt, &first, 8);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if ((first & 0x80u) == 0) {
      value = first;
   } else if ((first & 0x40u) == 0) {
      uint32_t second = 0;
      stat = rtxDecBits(pctxt, &second, 8);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      value = ((first & 0x3Fu) << 8) | second;
   } else {
      // Fragment header; a multiplier of 0 is taken as an empty fragment.
      uint32_t m = first & 0x3Fu;
      if (m > 4) return VX_LOG_ERR(pctxt, RTERR_INVLEN);
      value = (uint64_t)m * 16384;
      result = RT_OK_FRAG;
   }
   PU_SETBITCOUNT(pctxt);
   if (pvalue) *pvalue = value;
   return result;
}

int pd_UnconsLength64(VXCTXT* pctxt, uint64_t* pvalue)
{
   pd_byteAlign(pctxt);
   int stat = pd_UnconsLen64Value(pctxt, pvalue);
   return stat >= 0 ? stat : VX_LOG_ERR(pctxt, stat);
}

int pd_UnconsLength(VXCTXT* pctxt, uint32_t* pvalue)
{
   uint64_t v = 0;
   int stat = pd_UnconsLength64(pctxt, &v);
   if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   if (pvalue) *pvalue = (uint32_t)v;  // at most 16383 or 4 * 16384
   return stat;
}

int pd_Length64(VXCTXT* pctxt, uint64_t* pvalue)
{
   // The constraint is a one-shot parameter: taken and cleared at once, so
   // it is gone also when the read fails.
   Asn1SizeCnst cnst = pu_copySizeConstraint(pctxt);
   if (Asn1SizeCnst* p = pu_getSizeConstraint(pctxt)) *p = Asn1SizeCnst{0, 0, 0, 0};

   uint8_t ext = 0;
   int stat;
   if (cnst.extUpper != 0) {
      PU_NEWFIELD(pctxt, "length extension");
      stat = rtxDecBit(pctxt, &ext);
      PU_SETBITCOUNT(pctxt);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   uint64_t lower = ext ? cnst.extLower : cnst.rootLower;
   uint64_t upper = ext ? cnst.extUpper : cnst.rootUpper;
   if (upper == 0) upper = UINT64_MAX;

   if (upper < 65536 && !ext) {
      if (lower > upper) return VX_LOG_ERR(pctxt, RTERR_BADVALUE);
      uint64_t value = lower;
      // A fixed size takes no bits, and the trace has no field for it (as
      // on the writing side).
      if (lower != upper) {
         PU_NEWFIELD(pctxt, "length");
         uint32_t adj = 0;
         stat = pd_ConsWholeNumber(pctxt, &adj, (uint32_t)(upper - lower + 1));
         PU_SETBITCOUNT(pctxt);
         if (stat != 0) return VX_LOG_ERR(pctxt, stat);
         value += adj;
      }
      if (value > upper) {
         rtxErrAddStrParm(pctxt, "'length'");
         rtxErrAddUInt64Parm(pctxt, value);
         return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
      }
      *pvalue = value;
      return 0;
   }
   // General form: the bounds are not tested here.
   stat = pd_UnconsLength64(pctxt, pvalue);
   return stat >= 0 ? stat : VX_LOG_ERR(pctxt, stat);
}

int pd_Length(VXCTXT* pctxt, uint32_t* pvalue)
{
   uint64_t v = 0;
   int stat = pd_Length64(pctxt, &v);
   if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   if (v > UINT32_MAX) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   *pvalue = (uint32_t)v;
   return stat;
}

int pd_ConsLength(VXCTXT* pctxt, uint32_t* pvalue, unsigned nbits, uint32_t lower)
{
   uint32_t v = 0;
   int stat = rtxDecBits(pctxt, &v, nbits);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   *pvalue = v + lower;
   return 0;
}

int pd_ConsLength64(VXCTXT* pctxt, uint64_t* pvalue, unsigned nbits, uint64_t lower)
{
   uint64_t v = 0;
   int stat = rtxDecBitsToSize(pctxt, &v, nbits);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   *pvalue = v + lower;
   return 0;
}

int pd_SmallLength(VXCTXT* pctxt, uint32_t* pvalue)
{
   uint8_t bit = 0;
   int stat = rtxDecBit(pctxt, &bit);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (bit == 0) {
      uint32_t v = 0;
      stat = rtxDecBits(pctxt, &v, 6);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      PU_ADDFIELD(pctxt, "length", 7);
      *pvalue = v + 1;
      return 0;
   }
   PU_ADDFIELD(pctxt, "length", 1);
   stat = pd_Length(pctxt, pvalue);
   return stat >= 0 ? stat : VX_LOG_ERR(pctxt, stat);
}

int pd_isFragmented(VXCTXT* pctxt)
{
   const VXRTBuffer& b = pctxt->buffer;
   if (b.byteIndex >= b.size) return 0;
   uint64_t bitsLeft = (b.size - b.byteIndex) * 8 - (8 - (uint64_t)b.bitOffset);
   if (bitsLeft < 2) return 0;
   unsigned off = (unsigned)b.bitOffset;
   unsigned two = off >= 2 ? (b.data[b.byteIndex] >> (off - 2)) & 3u
                           : ((b.data[b.byteIndex] & 1u) << 1) | (b.data[b.byteIndex + 1] >> 7);
   return two == 3 ? 1 : 0;
}

int pd_GetComponentLength64(VXCTXT* pctxt, unsigned itemBits, uint64_t* ptotal)
{
   if (rtxCtxtHasLiveStream(pctxt)) {
      rtxErrAddStrParm(pctxt, "determine length of fragmented length field");
      return VX_LOG_ERR(pctxt, RTERR_NOTSUPP);
   }
   // A sub-context reads the same bytes from the same bit; the caller's
   // cursor does not move.
   VXCTXT sub;
   int stat = rtInitSubContext(&sub, pctxt);
   if (stat == 0) stat = pu_initContextBuffer(&sub, pctxt);
   if (stat == 0 && sub.pASN1Info != nullptr)
      sub.pASN1Info->sizeConstraint = pu_copySizeConstraint(pctxt);

   uint64_t total = 0;
   while (stat == 0) {
      uint64_t len = 0;
      int lstat = pd_Length64(&sub, &len);
      if (lstat < 0) {
         stat = lstat;
         break;
      }
      if (len > UINT64_MAX - total) {
         stat = RTERR_TOOBIG;
         break;
      }
      total += len;
      if (lstat != RT_OK_FRAG) {
         *ptotal = total;
         break;
      }
      uint64_t bits = len * itemBits;
      if (itemBits != 0 && (bits / itemBits != len || bits > (uint64_t)INT32_MAX)) {
         stat = RTERR_TOOBIG;
         break;
      }
      stat = rtxMoveBitCursor(&sub, (int32_t)bits);
   }
   rtFreeContext(&sub);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pd_GetComponentLength(VXCTXT* pctxt, unsigned itemBits)
{
   uint64_t total = 0;
   int stat = pd_GetComponentLength64(pctxt, itemBits, &total);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if (total >= 0x80000000ull) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   return (int)total;
}

int pd_GetBinStrDataOffset(VXCTXT* pctxt, uint32_t* pnumbits, bool bitStrFlag)
{
   if (pd_isFragmented(pctxt)) {
      rtxErrAddStrParm(pctxt, "determine length of fragmented length field");
      return VX_LOG_ERR(pctxt, RTERR_NOTSUPP);
   }
   // Read the length and the alignment, then put cursor and constraint back.
   VXRTBuffer saved = pctxt->buffer;
   Asn1SizeCnst cnst = pu_copySizeConstraint(pctxt);
   uint64_t start = pu_getMsgLenBits(pctxt);
   uint64_t len = 0;
   int stat = pd_Length64(pctxt, &len);
   if (stat >= 0 && len != 0 && pu_BitAndOctetStringAlignmentTest(&cnst, len, bitStrFlag))
      pd_byteAlign(pctxt);
   uint64_t end = pu_getMsgLenBits(pctxt);
   pctxt->buffer = saved;
   if (Asn1SizeCnst* p = pu_getSizeConstraint(pctxt)) *p = cnst;
   if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   *pnumbits = (uint32_t)(end - start);
   return 0;
}
