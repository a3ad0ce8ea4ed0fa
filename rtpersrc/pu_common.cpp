// PER helpers shared by both directions: buffer set-up, size constraints and
// the alignment rules for string data.
#include "asn1per.h"

#include "rtxError.h"

int pu_setBuffer(VXCTXT* pctxt, uint8_t* data, uint64_t size, bool aligned)
{
   int stat = rtxInitContextBuffer(pctxt, data, size);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   pctxt->buffer.aligned = aligned ? 1 : 0;
   return 0;
}

void pu_setAligned(VXCTXT* pctxt, bool aligned) { pctxt->buffer.aligned = aligned ? 1 : 0; }

int pu_initContextBuffer(VXCTXT* target, VXCTXT* source)
{
   int stat =
      pu_setBuffer(target, source->buffer.data, source->buffer.size, source->buffer.aligned != 0);
   if (stat != 0) return VX_LOG_ERR(target, stat);
   target->buffer.byteIndex = source->buffer.byteIndex;
   target->buffer.bitOffset = source->buffer.bitOffset;
   return 0;
}

const uint8_t* pe_GetMsgPtr64(VXCTXT* pctxt, uint64_t* pLength)
{
   if (pLength) *pLength = pu_getMsgLen(pctxt);
   return pctxt->buffer.data;
}

const uint8_t* pe_GetMsgPtr(VXCTXT* pctxt, int32_t* pLength)
{
   if (pLength) *pLength = (int32_t)pu_getMsgLen(pctxt);
   return pctxt->buffer.data;
}

const uint8_t* pe_GetMsgPtrU(VXCTXT* pctxt, uint32_t* pLength)
{
   if (pLength) *pLength = (uint32_t)pu_getMsgLen(pctxt);
   return pctxt->buffer.data;
}

// ---------------------------------------------------------------------------
// Size constraints

Asn1SizeCnst* pu_getSizeConstraint(VXCTXT* pctxt)
{
   return pctxt->pASN1Info ? &pctxt->pASN1Info->sizeConstraint : nullptr;
}

Asn1SizeCnst pu_copySizeConstraint(VXCTXT* pctxt)
{
   Asn1SizeCnst copy = {0, 0, 0, 0};
   if (const Asn1SizeCnst* p = pu_getSizeConstraint(pctxt)) copy = *p;
   return copy;
}

int pu_setSizeConstraint(VXCTXT* pctxt, uint64_t lower, uint64_t upper, uint64_t extLower,
                         uint64_t extUpper)
{
   int stat = rtCtxtInitASN1Info(pctxt);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   Asn1SizeCnst& c = pctxt->pASN1Info->sizeConstraint;
   c.rootLower = lower;
   c.rootUpper = upper;
   c.extLower = extLower;
   c.extUpper = extUpper;
   return 0;
}

static bool inRange(uint64_t n, uint64_t lower, uint64_t upper) { return n >= lower && n <= upper; }

int pu_addSizeConstraint(VXCTXT* pctxt, const Asn1SizeCnst* pSizeCnst)
{
   if (pSizeCnst == nullptr) return 0;
   int stat = rtCtxtInitASN1Info(pctxt);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   Asn1SizeCnst& cur = pctxt->pASN1Info->sizeConstraint;
   if (cur.rootUpper == 0) {
      cur = *pSizeCnst;
      return 0;
   }
   // A constraint in force stays; it must be narrower than the new one.
   if (pSizeCnst->rootUpper != 0 &&
       !(cur.rootLower >= pSizeCnst->rootLower && cur.rootUpper <= pSizeCnst->rootUpper))
      return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
   if (cur.extUpper != 0 && pSizeCnst->extUpper != 0 &&
       !(cur.extLower >= pSizeCnst->extLower && cur.extUpper <= pSizeCnst->extUpper))
      return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
   return 0;
}

const Asn1SizeCnst* pu_checkSize(const Asn1SizeCnst* pSizeCnst, uint64_t n, bool* pExtensible)
{
   if (pSizeCnst == nullptr) return nullptr;
   if (pExtensible) *pExtensible = pSizeCnst->extUpper != 0;
   if (pSizeCnst->rootUpper != 0 && inRange(n, pSizeCnst->rootLower, pSizeCnst->rootUpper))
      return pSizeCnst;
   if (pSizeCnst->extUpper != 0 && inRange(n, pSizeCnst->extLower, pSizeCnst->extUpper))
      return pSizeCnst;
   return nullptr;
}

int pu_checkSizeExt(const Asn1SizeCnst* pSizeCnst, uint64_t n, bool* pExtensible,
                    Asn1SizeCnst* pRange, bool* pIsExt)
{
   if (pSizeCnst == nullptr) return RTERR_INVPARAM;
   bool extensible = pSizeCnst->extUpper != 0;
   *pExtensible = extensible;
   pRange->extLower = pRange->extUpper = 0;
   if (pSizeCnst->rootUpper != 0) {
      if (inRange(n, pSizeCnst->rootLower, pSizeCnst->rootUpper)) {
         pRange->rootLower = pSizeCnst->rootLower;
         pRange->rootUpper = pSizeCnst->rootUpper;
         *pIsExt = false;
         return 0;
      }
      if (!extensible) return RTERR_CONSVIO;
   } else if (!extensible) {
      pRange->rootLower = 0;
      pRange->rootUpper = UINT64_MAX;
      return 0;
   }
   if (!inRange(n, pSizeCnst->extLower, pSizeCnst->extUpper)) return RTERR_CONSVIO;
   pRange->rootLower = pSizeCnst->extLower;
   pRange->rootUpper = pSizeCnst->extUpper;
   *pIsExt = true;
   return 0;
}

bool pu_isFixedSize(const Asn1SizeCnst* pSizeCnst)
{
   return pSizeCnst != nullptr && pSizeCnst->rootUpper != 0 && pSizeCnst->extUpper == 0 &&
          pSizeCnst->rootLower == pSizeCnst->rootUpper;
}

// ---------------------------------------------------------------------------
// Alignment rules

bool pu_BitAndOctetStringAlignmentTest(const Asn1SizeCnst* pSizeCnst, uint64_t count,
                                       bool bitString)
{
   // An all-zero record is the absence of a constraint.
   if (pSizeCnst == nullptr || (pSizeCnst->rootUpper == 0 && pSizeCnst->extUpper == 0)) return true;
   if (count > (bitString ? 16u : 2u)) return true;
   if (pSizeCnst->extUpper != 0 &&
       !(pSizeCnst->rootUpper != 0 && inRange(count, pSizeCnst->rootLower, pSizeCnst->rootUpper)))
      return true;
   return pSizeCnst->rootLower != pSizeCnst->rootUpper;
}

bool pu_alignCharStr(VXCTXT* pctxt, uint64_t count, unsigned bitsPerChar,
                     const Asn1SizeCnst* pSizeCnst)
{
   if (!pctxt->buffer.aligned) return false;
   bool align = count != 0;
   bool extensible = false;
   const Asn1SizeCnst* match = pu_checkSize(pSizeCnst, count, &extensible);
   if (match != nullptr && !extensible && match->rootUpper < 65536) {
      uint64_t total = (uint64_t)bitsPerChar * match->rootUpper;
      if (match->rootLower != match->rootUpper ? total < 16 : total < 17) align = false;
   }
   return align;
}
