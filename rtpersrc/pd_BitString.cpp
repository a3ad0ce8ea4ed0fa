// PER decoding of bit and octet strings, into fixed memory or the heap.
#include "asn1per.h"

#include "rtxMemory.h"

// Reads all pieces of a bit (itemBits 1) or octet (itemBits 8) string into
// buffer, or skips them with a null buffer. *pcount gets the items.
static int decodePieces(VXCTXT* pctxt, uint64_t* pcount, uint8_t* buffer, size_t bufsiz,
                        bool bitString)
{
   Asn1SizeCnst saved = pu_copySizeConstraint(pctxt);
   const char* fieldName = bitString ? "bits" : "octets";
   uint64_t total = 0, offset = 0;
   if (pcount) *pcount = 0;
   for (;;) {
      uint64_t len = 0;
      int lstat = pd_Length64(pctxt, &len);
      if (lstat < 0) return VX_LOG_ERR(pctxt, lstat);
      PU_NEWFIELD(pctxt, fieldName);
      if (len != 0) {
         if (!bitString && len > UINT64_MAX / 8) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
         uint64_t nbits = bitString ? len : len * 8;
         if (buffer == nullptr && nbits > (uint64_t)INT32_MAX)
            return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
         total += len;
         if (pcount) *pcount = total;
         if (pctxt->buffer.aligned && pu_BitAndOctetStringAlignmentTest(&saved, len, bitString))
            pd_byteAlign(pctxt);
         int stat = buffer ? rtxDecBitsToByteArray(pctxt, buffer + offset, bufsiz - offset, nbits)
                           : rtxDecBitsToByteArray(pctxt, nullptr, 0, nbits);
         if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      }
      PU_SETBITCOUNT(pctxt);
      if (lstat != RT_OK_FRAG) return 0;
      offset += bitString ? len / 8 : len;
      // Kept as "Encode buffer overflow" on purpose, as elsewhere in decoding.
      if (buffer != nullptr && offset > bufsiz) return VX_LOG_ERR(pctxt, RTERR_BUFOVFLW);
   }
}

int pd_BitString64(VXCTXT* pctxt, uint64_t* pnumbits, uint8_t* buffer, size_t bufsiz)
{
   return decodePieces(pctxt, pnumbits, buffer, bufsiz, true);
}

int pd_BitString(VXCTXT* pctxt, uint32_t* pnumbits, uint8_t* buffer, size_t bufsiz)
{
   uint64_t n = 0;
   return pu_narrow(pctxt, pd_BitString64(pctxt, &n, buffer, bufsiz), n, pnumbits);
}

int pd_BitString32(VXCTXT* pctxt, ASN1TBitStr32* pbitstr, uint32_t lower, uint32_t upper)
{
   int stat = pu_setSizeConstraint(pctxt, lower, upper, 0, 0);
   if (stat == 0)
      stat = pd_BitString(pctxt, &pbitstr->numbits, pbitstr->data, sizeof(pbitstr->data));
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   if ((lower != 0 && pbitstr->numbits < lower) || pbitstr->numbits > upper) {
      rtxErrAddElemNameParm(pctxt);
      rtxErrAddUIntParm(pctxt, pbitstr->numbits);
      return VX_LOG_ERR(pctxt, RTERR_CONSVIO);
   }
   return 0;
}

int pd_OctetString64(VXCTXT* pctxt, uint64_t* pnumocts, uint8_t* buffer, size_t bufsiz)
{
   return decodePieces(pctxt, pnumocts, buffer, bufsiz, false);
}

int pd_OctetString(VXCTXT* pctxt, uint32_t* pnumocts, uint8_t* buffer, size_t bufsiz)
{
   uint64_t n = 0;
   return pu_narrow(pctxt, pd_OctetString64(pctxt, &n, buffer, bufsiz), n, pnumocts);
}

// Dynamic form shared by bit and octet strings: count in items, data on the
// heap, or pointing into the message with fast copy at a byte boundary.
static int decodeDynamic(VXCTXT* pctxt, uint64_t* pcount, uint8_t** ppdata, bool bitString)
{
   Asn1SizeCnst saved = pu_copySizeConstraint(pctxt);
   uint64_t len = 0;
   int lstat = pd_Length64(pctxt, &len);
   if (lstat < 0) return VX_LOG_ERR(pctxt, lstat);
   unsigned itemBits = bitString ? 1 : 8;

   if (lstat != RT_OK_FRAG) {
      PU_NEWFIELD(pctxt, bitString ? "bits" : "octets");
      if (!bitString && len > 0x1FFFFFFFFFFFFFFEull) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
      uint64_t nbits = len * itemBits;
      *pcount = len;
      *ppdata = nullptr;
      if (len != 0) {
         if (pctxt->buffer.aligned && pu_BitAndOctetStringAlignmentTest(&saved, len, bitString))
            pd_byteAlign(pctxt);
         uint64_t nbytes = (nbits + 7) / 8;
         VXRTBuffer& b = pctxt->buffer;
         if (!rtxCtxtHasLiveStream(pctxt) && (pctxt->flags & VXCTXT_FLAG_FASTCOPY) &&
             b.bitOffset == 8) {
            // Fast copy: the value stays in the message buffer.
            if (b.byteIndex >= b.size || nbytes > b.size - b.byteIndex)
               return VX_LOG_ERR(pctxt, RTERR_ENDOFBUF);
            *ppdata = b.data + b.byteIndex;
            b.byteIndex += nbits / 8;
            if (nbits % 8) b.bitOffset = (int16_t)(8 - nbits % 8);
         } else {
            if (nbytes > SIZE_MAX) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
            uint8_t* p = (uint8_t*)rtxMemAlloc(pctxt, (size_t)nbytes);
            if (p == nullptr) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
            int stat = rtxDecBitsToByteArray(pctxt, p, (size_t)nbytes, nbits);
            if (stat != 0) {
               rtxMemFreePtr(pctxt, p);
               return VX_LOG_ERR(pctxt, stat);
            }
            *ppdata = p;
         }
      }
      PU_SETBITCOUNT(pctxt);
      return 0;
   }

   // Fragmented: back over the one-octet header, add up the fragments, then
   // read them all. One byte per item is allocated, which is simple and
   // more than a bit string needs.
   int stat = rtxMoveBitCursor(pctxt, -8);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   int total = pd_GetComponentLength(pctxt, itemBits);
   if (total < 0) return VX_LOG_ERR(pctxt, total);
   size_t bufsiz = total != 0 ? (size_t)total : 1;
   uint8_t* p = (uint8_t*)rtxMemAlloc(pctxt, bufsiz);
   if (p == nullptr) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   stat = decodePieces(pctxt, pcount, p, bufsiz, bitString);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, p);
      return VX_LOG_ERR(pctxt, stat);
   }
   *ppdata = p;
   return 0;
}

int pd_DynBitString64(VXCTXT* pctxt, ASN1TDynBitStr64* pbitstr)
{
   return decodeDynamic(pctxt, &pbitstr->numbits, &pbitstr->data, true);
}

int pd_DynBitString(VXCTXT* pctxt, uint32_t* pnumbits, uint8_t** ppdata)
{
   uint64_t n = 0;
   return pu_narrow(pctxt, decodeDynamic(pctxt, &n, ppdata, true), n, pnumbits);
}

int pd_DynOctetString64(VXCTXT* pctxt, ASN1TDynOctStr64* poctstr)
{
   if (poctstr == nullptr) return pd_OctetString64(pctxt, nullptr, nullptr, 0);
   return decodeDynamic(pctxt, &poctstr->numocts, &poctstr->data, false);
}

int pd_DynOctetString(VXCTXT* pctxt, uint32_t* pnumocts, uint8_t** ppdata)
{
   if (ppdata == nullptr) {
      uint64_t n = 0;
      return pu_narrow(pctxt, pd_OctetString64(pctxt, &n, nullptr, 0), n, pnumocts);
   }
   uint64_t n = 0;
   return pu_narrow(pctxt, decodeDynamic(pctxt, &n, ppdata, false), n, pnumocts);
}
