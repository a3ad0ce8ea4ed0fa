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
   stat = pe_OpenTypeExtBits(pctxt, ext);
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
   for (uint32_t i = 0; i < count; i++) {
      stat = rtxDecBit(pctxt, &flags[i]);
      if (stat != 0) {
         rtxMemFreePtr(pctxt, flags);
         return VX_LOG_ERR(pctxt, stat);
      }
   }
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

// Open types with a table constraint, encoding: the known value is written
// into a fresh buffer of its own; *saved keeps the caller's buffer, given
// back with rtxCopyContext(pctxt, saved).
inline int uperGenOpenBegin(VXCTXT* pctxt, VXCTXT* saved)
{
   rtxCopyContext(saved, pctxt);
   pctxt->pStream = 0;
   // The caller's buffer is not released when the new one is set up.
   pctxt->flags &= ~VXCTXT_FLAG_SYSBUF;
   int stat = rtxInitContextBuffer(pctxt, 0, 0);
   if (stat != 0) {
      rtxCopyContext(pctxt, saved);
      return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
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
   int stat = rtxDecBitsToByteArray(pctxt, data, len != 0 ? len : 1, len * 8);
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
