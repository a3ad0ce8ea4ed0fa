// uperGen.h: the steps the generated UPER codecs (asn1PE_<Type>,
// asn1PD_<Type>) share, so that the schema compiler writes only what
// differs from type to type.
#ifndef UPERGEN_H
#define UPERGEN_H

#include <cstring>
#include <new>

#include "asn1ErrorHandler.h"
#include "asn1EventHandler.h"
#include "asn1Gen.h"
#include "asn1per.h"
#include "rtxBitString.h"
#include "rtxDList.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxUTF8.h"

// Bits between the cursor and the end of the message (no limit on a live
// stream). Counts read from the wire are compared with it before they size
// an allocation.
inline uint64_t uperGenBitsLeft(const VXCTXT* pctxt)
{
   const VXRTBuffer& b = pctxt->buffer;
   if (pctxt->pStream != 0) return UINT64_MAX;
   if (b.byteIndex >= b.size) return 0;
   return (b.size - b.byteIndex) * 8 - (8 - (uint64_t)b.bitOffset);
}

// Whether a run of fixed bit fields can be read with one load: a word lies
// ahead, and no event handler listens (the ASN.1 information block exists,
// so no event call would have to create it, and its list is empty).
inline bool uperGenQuietWord(const VXCTXT* pctxt)
{
   const VXASN1Info* info = pctxt->pASN1Info;
   return info != 0 && info->eventHandlers.count == 0 && rtxDecHasWord(pctxt);
}

// Unknown extension additions of a SEQUENCE whose extension bit is set: the
// count, one presence bit per node and the octets of the present ones,
// exactly as they came.
inline int uperGenEncExt(VXCTXT* pctxt, const ASN1TSeqExt* ext)
{
   int stat = pe_SmallLength(pctxt, ext->count);
   if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   PU_NEWFIELD(pctxt, "extension bitmap");
   stat = pe_OpenTypeExtBits(pctxt, ext);
   PU_SETBITCOUNT(pctxt);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   stat = pe_OpenTypeExt(pctxt, ext);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   return 0;
}

// Reads the additions after a set extension bit into ext: one node per
// addition in wire order, an ASN1OpenType for a present one, null for an
// absent one.
inline int uperGenDecExt(VXCTXT* pctxt, ASN1TSeqExt* ext)
{
   uint32_t count = 0;
   int stat = pd_SmallLength(pctxt, &count);
   if (stat != 0) return stat < 0 ? VX_LOG_ERR(pctxt, stat) : stat;
   if (count > uperGenBitsLeft(pctxt)) return VX_LOG_ERR(pctxt, RTERR_ENDOFBUF);
   uint8_t* flags = (uint8_t*)rtxMemAlloc(pctxt, count != 0 ? count : 1);
   if (flags == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   PU_NEWFIELD(pctxt, "extension bitmap");
   for (uint32_t i = 0; i < count; i++) {
      stat = rtxDecBit(pctxt, &flags[i]);
      if (stat != 0) {
         PU_SETBITCOUNT(pctxt);
         rtxMemFreePtr(pctxt, flags);
         return VX_LOG_ERR(pctxt, stat);
      }
   }
   PU_SETBITCOUNT(pctxt);
   // Where the additions' contents begin, as the writing side marks it.
   PU_NEWFIELD(pctxt, "OpenTypeExt");
   for (uint32_t i = 0; i < count && stat == 0; i++) {
      ASN1OpenType* item = 0;
      if (flags[i]) {
         const uint8_t* data = 0;
         uint64_t numocts = 0;
         stat = pd_OpenType(pctxt, &data, &numocts);
         if (stat != 0) {
            stat = VX_LOG_ERR(pctxt, stat);
            break;
         }
         item = rtxMemAllocTypeZ(pctxt, ASN1OpenType);
         if (item == 0) {
            stat = VX_LOG_ERR(pctxt, RTERR_NOMEM);
            break;
         }
         item->numocts = numocts;
         item->data = data;
      }
      if (rtxDListAppend(pctxt, ext, item) == 0) stat = VX_LOG_ERR(pctxt, RTERR_NOMEM);
   }
   rtxMemFreePtr(pctxt, flags);
   return stat;
}

// The traced codecs' normally small numbers (the index of an unknown
// alternative or enumeration value): one field of the given name over all
// their bits, whichever of the two forms the number takes (the long form's
// length is not a field of its own).
inline int uperGenTracedEncSmall(VXCTXT* pctxt, uint32_t value, const char* name)
{
   uint64_t start = pu_getMsgLenBits(pctxt);
   PU_DISABLETRACE(pctxt, true);
   int stat = pe_SmallNonNegWholeNumber(pctxt, value);
   PU_DISABLETRACE(pctxt, false);
   PU_ADDFIELD(pctxt, name, pu_getMsgLenBits(pctxt) - start);
   return stat;
}

inline int uperGenTracedDecSmall(VXCTXT* pctxt, uint32_t* pvalue, const char* name)
{
   uint64_t start = pu_getMsgLenBits(pctxt);
   PU_DISABLETRACE(pctxt, true);
   int stat = pd_SmallNonNegWholeNumber(pctxt, pvalue);
   PU_DISABLETRACE(pctxt, false);
   PU_ADDFIELD(pctxt, name, pu_getMsgLenBits(pctxt) - start);
   return stat;
}

// Open types with a table constraint, encoding: the known value is written
// into a fresh buffer of its own; *saved keeps the caller's buffer (and
// trace list), given back with uperGenOpenRestore. While the trace is on,
// the value's fields go to a nested list of their own, whose positions are
// those of the fresh buffer.
inline int uperGenOpenBegin(VXCTXT* pctxt, VXCTXT* saved)
{
   rtxCopyContext(saved, pctxt);
   saved->pBitFldList = pctxt->pBitFldList;
   pctxt->pStream = 0;
   // The caller's buffer is not released when the new one is set up.
   pctxt->flags &= ~VXCTXT_FLAG_SYSBUF;
   int stat = rtxInitContextBuffer(pctxt, 0, 0);
   if (stat != 0) {
      rtxCopyContext(pctxt, saved);
      return VX_LOG_ERR(pctxt, stat);
   }
   if (pu_isTraceOn(pctxt) && saved->pBitFldList != 0)
      pctxt->pBitFldList = rtxDiagNewNestedList(pctxt);
   return 0;
}

// Gives the caller's buffer and trace list back after uperGenOpenBegin;
// returns the nested trace list of the value (null without a trace).
inline VXRTDiagBitFieldList* uperGenOpenRestore(VXCTXT* pctxt, VXCTXT* saved)
{
   VXRTDiagBitFieldList* nested = pctxt->pBitFldList != saved->pBitFldList ? pctxt->pBitFldList : 0;
   rtxCopyContext(pctxt, saved);
   pctxt->pBitFldList = saved->pBitFldList;
   return nested;
}

// After the open type of a known value was written (pe_OpenType, whose
// last field holds the octets): the value's nested fields go under it.
inline void uperGenOpenAttach(VXCTXT* pctxt, VXRTDiagBitFieldList* nested)
{
   rtxDiagAttachNestedList(pctxt->pBitFldList, nested);
}

// Decoding a known value in place: its fields go to a nested list, hung
// under a field "OpenType" of the value's bits. Returns the caller's list,
// to be handed to uperGenOpenNestEnd with the value's status and declared
// length in octets; null without a trace.
inline VXRTDiagBitFieldList* uperGenOpenNestBegin(VXCTXT* pctxt)
{
   VXRTDiagBitFieldList* outer = pctxt->pBitFldList;
   if (!pu_isTraceOn(pctxt) || outer == 0) return 0;
   if (rtxDiagNewBitField(outer, "OpenType") == 0) return 0;
   VXRTDiagBitFieldList* nested = rtxDiagNewNestedList(pctxt);
   if (nested == 0) return 0;
   pctxt->pBitFldList = nested;
   return outer;
}

inline void uperGenOpenNestEnd(VXCTXT* pctxt, VXRTDiagBitFieldList* outer, int stat, uint64_t len)
{
   if (outer == 0) return;
   VXRTDiagBitFieldList* nested = pctxt->pBitFldList != outer ? pctxt->pBitFldList : 0;
   pctxt->pBitFldList = outer;
   // The field covers the declared octets; a value that read past them (or
   // failed) covers what it read.
   rtxDiagSetBitFldCount(outer);
   VXRTDiagBitField* field = (VXRTDiagBitField*)outer->fieldList.tail->data;
   if (stat == 0 && field->bitCount <= len * 8) field->bitCount = len * 8;
   rtxDiagAttachNestedList(outer, nested);
}

// Decoding: the length of the value in octets and the bit position where
// the value starts. A fragmented length is not supported (-60).
inline int uperGenOpenLength(VXCTXT* pctxt, uint64_t* plen, uint64_t* pstart)
{
   uint32_t len = 0;
   int stat = pd_UnconsLength(pctxt, &len);
   if (stat < 0) return VX_LOG_ERR(pctxt, stat);
   if (stat == 2) return RTERR_NOTSUPP;
   *plen = len;
   *pstart = pu_getMsgLenBits(pctxt);
   return 0;
}

// After a known value: bits it left unused (a longer value of a newer
// version) are skipped; reading past the declared length is -101.
inline int uperGenOpenEnd(VXCTXT* pctxt, uint64_t start, uint64_t len)
{
   uint64_t used = pu_getMsgLenBits(pctxt) - start;
   uint64_t expected = len * 8;
   if (used > expected) return VX_LOG_ERR(pctxt, ASN_E_INVLEN);
   if (used < expected) {
      int stat = rtxMoveBitCursor(pctxt, (int32_t)(expected - used));
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}

// A value of a key without a known type: len octets kept as they are.
inline int uperGenDecRawOpenType(VXCTXT* pctxt, uint64_t len, ASN1OpenType** pout)
{
   ASN1OpenType* item = rtxMemAllocTypeZ(pctxt, ASN1OpenType);
   if (item == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   uint8_t* data = (uint8_t*)rtxMemAlloc(pctxt, len != 0 ? len : 1);
   if (data == 0) {
      rtxMemFreePtr(pctxt, item);
      return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   }
   PU_NEWFIELD(pctxt, "OpenType");
   int stat = rtxDecBitsToByteArray(pctxt, data, len != 0 ? len : 1, len * 8);
   PU_SETBITCOUNT(pctxt);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, data);
      rtxMemFreePtr(pctxt, item);
      return VX_LOG_ERR(pctxt, stat);
   }
   item->numocts = len;
   item->data = data;
   *pout = item;
   Asn1NamedEventHandler::invokeOpenTypeValue(pctxt, (uint32_t)len, data);
   return 0;
}

#endif
