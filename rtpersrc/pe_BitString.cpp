// PER encoding of bit and octet strings, fragmented above 16383 items.
#include "asn1per.h"

int pe_BinaryStringData(VXCTXT* pctxt, uint64_t itemsLeft, uint64_t nbits, const uint8_t* data,
                        const Asn1SizeCnst* pSavedCnst, bool bitString)
{
   PU_NEWFIELD(pctxt, bitString ? "BitString" : "OctetString");
   int stat = 0;
   if (itemsLeft != 0) {
      if (pctxt->buffer.aligned &&
          pu_BitAndOctetStringAlignmentTest(pSavedCnst, itemsLeft, bitString))
         pe_byte_align(pctxt);
      stat = rtxEncBitsFromByteArray(pctxt, data, nbits);
   }
   PU_SETBITCOUNT(pctxt);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

// Writes the pieces of a value of `count` items (bits, or octets of 8 bits);
// `writePiece` writes c items starting at item `done`. Returns whether the
// last length written was a fragment header.
template <typename WritePiece>
static int encodePieces(VXCTXT* pctxt, uint64_t count, bool* pLastFragment, WritePiece writePiece)
{
   uint64_t done = 0;
   for (;;) {
      bool fragment = false;
      int c = pe_LengthFrag(pctxt, count - done, &fragment);
      if (c < 0) return VX_LOG_ERR(pctxt, c);
      int stat = writePiece(done, (uint64_t)c);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      *pLastFragment = fragment;
      if (count - done <= (uint64_t)c || c == 0) return 0;
      done += (uint64_t)c;
   }
}

int pe_BitString(VXCTXT* pctxt, uint64_t numbits, const uint8_t* data)
{
   if (numbits != 0 && data == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   Asn1SizeCnst saved = pu_copySizeConstraint(pctxt);
   bool lastFragment;
   // A bit string ends with its last fragment: no closing zero length even
   // when that fragment is a whole multiple of 16384 bits.
   return encodePieces(pctxt, numbits, &lastFragment, [&](uint64_t done, uint64_t c) {
      return pe_BinaryStringData(pctxt, numbits - done, c, data + done / 8, &saved, true);
   });
}

int pe_BitString32(VXCTXT* pctxt, const ASN1TBitStr32* pbitstr, uint32_t lower, uint32_t upper)
{
   if (pbitstr == nullptr || pbitstr->numbits > 32) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   int stat = pu_setSizeConstraint(pctxt, lower, upper, 0, 0);
   if (stat == 0) stat = pe_BitString(pctxt, pbitstr->numbits, pbitstr->data);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

int pe_BitStringExt(VXCTXT* pctxt, uint64_t numbits, const uint8_t* data, uint64_t dataSize,
                    const uint8_t* extData)
{
   if (numbits != 0 && data == nullptr && dataSize != 0) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   if (numbits > dataSize * 8 && extData == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   Asn1SizeCnst saved = pu_copySizeConstraint(pctxt);
   uint64_t rootBits = dataSize * 8;
   bool lastFragment;
   return encodePieces(pctxt, numbits, &lastFragment, [&](uint64_t done, uint64_t c) {
      PU_NEWFIELD(pctxt, "BitString");
      int stat = 0;
      if (c != 0 && pctxt->buffer.aligned &&
          pu_BitAndOctetStringAlignmentTest(&saved, numbits - done, true))
         pe_byte_align(pctxt);
      uint64_t b = done / 8;
      if (b < dataSize) {
         // Bits past the root array continue from the start of extData.
         if (c + done > rootBits) {
            stat = rtxEncBitsFromByteArray(pctxt, data + b, rootBits - done);
            if (stat == 0) stat = rtxEncBitsFromByteArray(pctxt, extData, c + done - rootBits);
         } else {
            stat = rtxEncBitsFromByteArray(pctxt, data + b, c);
         }
      } else {
         stat = rtxEncBitsFromByteArray(pctxt, extData + (b - dataSize), c);
      }
      PU_SETBITCOUNT(pctxt);
      return stat;
   });
}

int pe_OctetString(VXCTXT* pctxt, uint64_t numocts, const uint8_t* data)
{
   if (numocts != 0 && data == nullptr) return VX_LOG_ERR(pctxt, RTERR_INVPARAM);
   if (numocts > UINT64_MAX / 8) return VX_LOG_ERR(pctxt, RTERR_TOOBIG);
   Asn1SizeCnst saved = pu_copySizeConstraint(pctxt);
   bool lastFragment = false;
   int stat = encodePieces(pctxt, numocts, &lastFragment, [&](uint64_t done, uint64_t c) {
      return pe_BinaryStringData(pctxt, numocts - done, c * 8, data + done, &saved, false);
   });
   if (stat != 0) return stat;
   // An octet string whose last piece was a fragment closes with length 0.
   if (lastFragment) {
      int c = pe_Length(pctxt, 0);
      if (c < 0) return VX_LOG_ERR(pctxt, c);
   }
   return 0;
}
