// The PER primitives: numbers, lengths, size constraints, bit and octet
// strings, character strings and open types, both directions. Aligned and
// unaligned PER are chosen at run time by the buffer's `aligned` flag.
//
// Conventions: the context comes first; 0 or a negative status is returned
// unless stated; length decoders return 2 for a fragment with more to follow.
#ifndef ASN1PER_H
#define ASN1PER_H

#include "asn1type.h"
#include "pu_trace.h"
#include "rtxBitDecode.h"
#include "rtxBitEncode.h"
#include "rtxError.h"

#include <limits>

// ---------------------------------------------------------------------------
VX_INLINE unsigned pu_bitcnt(uint32_t v) { return rtxUInt32BitLen(v); }

// ---------------------------------------------------------------------------
// Buffer helpers and queries.
int pu_setBuffer(VXCTXT* pctxt, uint8_t* data, uint64_t size, bool aligned);
void pu_setAligned(VXCTXT* pctxt, bool aligned);
// The target reads the source's bytes from the source's bit position.
int pu_initContextBuffer(VXCTXT* target, VXCTXT* source);
// byteIndex, plus 1 for a partly filled byte.
VX_INLINE uint64_t pu_getMsgLen(const VXCTXT* pctxt)
{
   return pctxt->buffer.byteIndex + (pctxt->buffer.bitOffset != 8 ? 1u : 0u);
}
// The absolute bit position.
VX_INLINE uint64_t pu_getMsgLenBits(const VXCTXT* pctxt)
{
   return pctxt->buffer.byteIndex * 8 + 8 - (uint64_t)pctxt->buffer.bitOffset;
}
const uint8_t* pe_GetMsgPtr(VXCTXT* pctxt, int32_t* pLength);
const uint8_t* pe_GetMsgPtrU(VXCTXT* pctxt, uint32_t* pLength);
const uint8_t* pe_GetMsgPtr64(VXCTXT* pctxt, uint64_t* pLength);

// Read side of the alignment step: only in aligned PER off a byte boundary.
VX_INLINE void pd_byteAlign(VXCTXT* pctxt)
{
   VXRTBuffer& b = pctxt->buffer;
   if (b.aligned && b.bitOffset != 8) {
      b.byteIndex++;
      b.bitOffset = 8;
      PU_SETBITOFFSET(pctxt);
   }
}

// Narrows a decoded number (status stat) into its target: -23 when it does
// not fit. The number is taken by reference, so that it is read only after
// a decoding call in the argument list has run.
template <typename T, typename W>
inline int pu_narrow(VXCTXT* pctxt, int stat, const W& wide, T* pvalue)
{
   if (stat != 0) return rtxErrSetData(pctxt, stat, VX_MODULE, __LINE__);
   if (wide < (W)std::numeric_limits<T>::min() || wide > (W)std::numeric_limits<T>::max())
      return rtxErrSetData(pctxt, RTERR_TOOBIG, VX_MODULE, __LINE__);
   *pvalue = (T)wide;
   return 0;
}

// ---------------------------------------------------------------------------
// Bit writers.
// Writes the low nbits (0..64) of value. Always 0, on purpose: callers never
// test it, and the next tested write reports a buffer that could not grow.
VX_INLINE int pe_bits64(VXCTXT* pctxt, uint64_t value, unsigned nbits)
{
   if (nbits > 32) {
      if (rtxEncBits(pctxt, (uint32_t)(value >> 32), nbits - 32) != 0) return 0;
      rtxEncBits(pctxt, (uint32_t)value, 32);
   } else {
      rtxEncBits(pctxt, (uint32_t)value, nbits);
   }
   return 0;
}
int pe_octet(VXCTXT* pctxt, uint8_t value);
int pe_octetAligned(VXCTXT* pctxt, uint8_t value);
int pe_bitsAligned(VXCTXT* pctxt, uint32_t value, unsigned nbits);
int pe_msBitsFromOctet(VXCTXT* pctxt, uint8_t value, unsigned nbits);
int pe_lsBitsFromOctet(VXCTXT* pctxt, uint8_t value, unsigned nbits);
int pe_lsBitsFromOctetAligned(VXCTXT* pctxt, uint8_t value, unsigned nbits);
int pe_byte_align(VXCTXT* pctxt);
int pe_resetBuffer(VXCTXT* pctxt);

// ---------------------------------------------------------------------------
// Size constraints. The context's sizeConstraint is a one-shot parameter of
// the next length: pe_Length and pd_Length64 clear it as they read it.
Asn1SizeCnst* pu_getSizeConstraint(VXCTXT* pctxt);  // null without ASN.1 info
// A copy of the constraint in force (all zero without one).
Asn1SizeCnst pu_copySizeConstraint(VXCTXT* pctxt);
int pu_setSizeConstraint(VXCTXT* pctxt, uint64_t lower, uint64_t upper, uint64_t extLower,
                         uint64_t extUpper);
int pu_addSizeConstraint(VXCTXT* pctxt, const Asn1SizeCnst* pSizeCnst);
const Asn1SizeCnst* pu_checkSize(const Asn1SizeCnst* pSizeCnst, uint64_t n, bool* pExtensible);
int pu_checkSizeExt(const Asn1SizeCnst* pSizeCnst, uint64_t n, bool* pExtensible,
                    Asn1SizeCnst* pRange, bool* pIsExt);
bool pu_isFixedSize(const Asn1SizeCnst* pSizeCnst);

// Whether aligned PER pads before string data.
bool pu_BitAndOctetStringAlignmentTest(const Asn1SizeCnst* pSizeCnst, uint64_t count,
                                       bool bitString);
bool pu_alignCharStr(VXCTXT* pctxt, uint64_t count, unsigned bitsPerChar,
                     const Asn1SizeCnst* pSizeCnst);

// ---------------------------------------------------------------------------
// Whole numbers and integers, encoding.
int pe_ConsWholeNumber(VXCTXT* pctxt, uint32_t adjustedValue, uint32_t rangeValue);
int pe_ConsWholeNumber64(VXCTXT* pctxt, uint64_t adjustedValue, uint64_t rangeValue);
int pe_ConsWholeNumRangeGT64K(VXCTXT* pctxt, uint64_t adjustedValue, unsigned lenBits);
int pe_ConsInt64(VXCTXT* pctxt, int64_t value, int64_t lower, int64_t upper);
int pe_ConsUInt64(VXCTXT* pctxt, uint64_t value, uint64_t lower, uint64_t upper);
int pe_ConsUInt64SignedBound(VXCTXT* pctxt, uint64_t value, int64_t lower, int64_t upper);
int pe_NonNegBinInt(VXCTXT* pctxt, uint32_t value);
int pe_NonNegBinInt64(VXCTXT* pctxt, uint64_t value);
int pe_2sCompBinInt(VXCTXT* pctxt, int32_t value);
// Shortest two's complement octets of value, filled from the end of buf
// (at least 9 bytes); returns the index of the first octet.
unsigned pe_2sCompOctets(int64_t value, uint8_t* buf, unsigned bufSize);
int pe_2sCompBinInt64(VXCTXT* pctxt, int64_t value);
int pe_UnconsInt32(VXCTXT* pctxt, int32_t value);
int pe_UnconsInt32Aligned(VXCTXT* pctxt, int32_t value);
int pe_UnconsInt32Unaligned(VXCTXT* pctxt, int32_t value);
int pe_UnconsInt64(VXCTXT* pctxt, int64_t value);
int pe_UnconsInt64Aligned(VXCTXT* pctxt, int64_t value);
int pe_UnconsInt64Unaligned(VXCTXT* pctxt, int64_t value);
int pe_UnconsUInt32(VXCTXT* pctxt, uint32_t value);
int pe_UnconsUInt32Aligned(VXCTXT* pctxt, uint32_t value);
int pe_UnconsUInt32Unaligned(VXCTXT* pctxt, uint32_t value);
int pe_UnconsUInt64(VXCTXT* pctxt, uint64_t value);
int pe_UnconsUInt64Aligned(VXCTXT* pctxt, uint64_t value);
int pe_UnconsUInt64Unaligned(VXCTXT* pctxt, uint64_t value);
int pe_SemiConsUInt64(VXCTXT* pctxt, uint64_t value, uint64_t lower);
int pe_SemiConsInt64(VXCTXT* pctxt, int64_t value, int64_t lower);
int pe_SemiConsUInt64SignedBound(VXCTXT* pctxt, uint64_t value, int64_t lower);
int pe_SemiConsInteger(VXCTXT* pctxt, int32_t value, int32_t lower);
int pe_SemiConsUnsigned(VXCTXT* pctxt, uint32_t value, uint32_t lower);
int pe_SmallNonNegWholeNumber(VXCTXT* pctxt, uint32_t value);
int pe_identifier(VXCTXT* pctxt, uint32_t value);
int pe_identifier64(VXCTXT* pctxt, uint64_t value);

// Lengths, encoding: the number of items the written length covers (the
// value, or the items of one fragment), or a negative status.
int pe_Length(VXCTXT* pctxt, uint64_t length);
// As pe_Length; *pFragment tells whether a fragment header was written.
int pe_LengthFrag(VXCTXT* pctxt, uint64_t length, bool* pFragment);
int pe_UnconsLength(VXCTXT* pctxt, uint64_t length);
int pe_SmallLength(VXCTXT* pctxt, uint64_t length);

// ---------------------------------------------------------------------------
// Whole numbers and integers, decoding.
int pd_ConsWholeNumber(VXCTXT* pctxt, uint32_t* padjusted, uint32_t rangeValue);
int pd_ConsWholeNumber64(VXCTXT* pctxt, uint64_t* padjusted, uint64_t rangeValue);
int pd_ConsInt64(VXCTXT* pctxt, int64_t* pvalue, int64_t lower, int64_t upper);
int pd_ConsInt8(VXCTXT* pctxt, int8_t* pvalue, int32_t lower, int32_t upper);
int pd_ConsInt16(VXCTXT* pctxt, int16_t* pvalue, int32_t lower, int32_t upper);
int pd_ConsInteger(VXCTXT* pctxt, int32_t* pvalue, int32_t lower, int32_t upper);
int pd_ConsUInt64(VXCTXT* pctxt, uint64_t* pvalue, uint64_t lower, uint64_t upper);
int pd_ConsUInt8(VXCTXT* pctxt, uint8_t* pvalue, uint32_t lower, uint32_t upper);
int pd_ConsUInt16(VXCTXT* pctxt, uint16_t* pvalue, uint32_t lower, uint32_t upper);
int pd_ConsUnsigned(VXCTXT* pctxt, uint32_t* pvalue, uint32_t lower, uint32_t upper);
int pd_ConsUInt64SignedBound(VXCTXT* pctxt, uint64_t* pvalue, int64_t lower, int64_t upper);
int pd_ConsUInt8SignedBound(VXCTXT* pctxt, uint8_t* pvalue, int32_t lower, int32_t upper);
int pd_ConsUInt16SignedBound(VXCTXT* pctxt, uint16_t* pvalue, int32_t lower, int32_t upper);
int pd_ConsUnsignedSignedBound(VXCTXT* pctxt, uint32_t* pvalue, int32_t lower, int32_t upper);
int pd_SemiConsInteger(VXCTXT* pctxt, int32_t* pvalue, int32_t lower);
int pd_SemiConsInt64(VXCTXT* pctxt, int64_t* pvalue, int64_t lower);
int pd_SemiConsUnsigned(VXCTXT* pctxt, uint32_t* pvalue, uint32_t lower);
int pd_SemiConsUInt64(VXCTXT* pctxt, uint64_t* pvalue, uint64_t lower);
int pd_SemiConsUInt64SignedBound(VXCTXT* pctxt, uint64_t* pvalue, int64_t lower);
int pd_UnconsInteger(VXCTXT* pctxt, int32_t* pvalue);
int pd_UnconsInt8(VXCTXT* pctxt, int8_t* pvalue);
int pd_UnconsInt16(VXCTXT* pctxt, int16_t* pvalue);
int pd_UnconsInt64(VXCTXT* pctxt, int64_t* pvalue);
int pd_UnconsUnsigned(VXCTXT* pctxt, uint32_t* pvalue);
int pd_UnconsUInt8(VXCTXT* pctxt, uint8_t* pvalue);
int pd_UnconsUInt16(VXCTXT* pctxt, uint16_t* pvalue);
int pd_UnconsUInt64(VXCTXT* pctxt, uint64_t* pvalue);
int pd_SmallNonNegWholeNumber(VXCTXT* pctxt, uint32_t* pvalue);

// Big-endian octets at the cursor into a number (count octets).

// Lengths, decoding: 0 for a complete length, 2 for a fragment with more
// to follow, or a negative status.
int pd_Length64(VXCTXT* pctxt, uint64_t* pvalue);
int pd_Length(VXCTXT* pctxt, uint32_t* pvalue);
int pd_UnconsLength64(VXCTXT* pctxt, uint64_t* pvalue);
int pd_UnconsLength(VXCTXT* pctxt, uint32_t* pvalue);
int pd_UnconsLen64Value(VXCTXT* pctxt, uint64_t* pvalue);
int pd_ConsLength(VXCTXT* pctxt, uint32_t* pvalue, unsigned nbits, uint32_t lower);
int pd_ConsLength64(VXCTXT* pctxt, uint64_t* pvalue, unsigned nbits, uint64_t lower);
int pd_SmallLength(VXCTXT* pctxt, uint32_t* pvalue);
// 1 when the next two bits are 1 1 (a fragment header); the cursor stays.
int pd_isFragmented(VXCTXT* pctxt);
// Total items of a possibly fragmented length, without moving the cursor.
int pd_GetComponentLength64(VXCTXT* pctxt, unsigned itemBits, uint64_t* ptotal);
int pd_GetComponentLength(VXCTXT* pctxt, unsigned itemBits);
int pd_GetBinStrDataOffset(VXCTXT* pctxt, uint32_t* pnumbits, bool bitStrFlag);

// ---------------------------------------------------------------------------
// Bit and octet strings.
int pe_BinaryStringData(VXCTXT* pctxt, uint64_t itemsLeft, uint64_t nbits, const uint8_t* data,
                        const Asn1SizeCnst* pSavedCnst, bool bitString);
int pe_BitString(VXCTXT* pctxt, uint64_t numbits, const uint8_t* data);
int pe_BitString32(VXCTXT* pctxt, const ASN1TBitStr32* pbitstr, uint32_t lower, uint32_t upper);
int pe_BitStringExt(VXCTXT* pctxt, uint64_t numbits, const uint8_t* data, uint64_t dataSize,
                    const uint8_t* extData);
int pe_OctetString(VXCTXT* pctxt, uint64_t numocts, const uint8_t* data);

int pd_BitString64(VXCTXT* pctxt, uint64_t* pnumbits, uint8_t* buffer, size_t bufsiz);
int pd_BitString(VXCTXT* pctxt, uint32_t* pnumbits, uint8_t* buffer, size_t bufsiz);
int pd_BitString32(VXCTXT* pctxt, ASN1TBitStr32* pbitstr, uint32_t lower, uint32_t upper);
int pd_DynBitString64(VXCTXT* pctxt, ASN1TDynBitStr64* pbitstr);
int pd_DynBitString(VXCTXT* pctxt, uint32_t* pnumbits, uint8_t** ppdata);
int pd_OctetString64(VXCTXT* pctxt, uint64_t* pnumocts, uint8_t* buffer, size_t bufsiz);
int pd_OctetString(VXCTXT* pctxt, uint32_t* pnumocts, uint8_t* buffer, size_t bufsiz);
int pd_DynOctetString64(VXCTXT* pctxt, ASN1TDynOctStr64* poctstr);
int pd_DynOctetString(VXCTXT* pctxt, uint32_t* pnumocts, uint8_t** ppdata);

// ---------------------------------------------------------------------------
// Character strings.

// A permitted alphabet: the characters (null: none given), then the
// canonical, unaligned and aligned bits per character.
struct CharSetRecord {
   const char* chars;
   uint32_t canonicalBits;
   uint32_t unalignedBits;
   uint32_t alignedBits;
};

int pe_ConstrainedString(VXCTXT* pctxt, const char* string, const CharSetRecord* pCharSet);
int pe_ConstrainedStringEx(VXCTXT* pctxt, const char* string, const char* chars, unsigned abits,
                           unsigned ubits, unsigned canonicalBits);
int uperEncConstrString(VXCTXT* pctxt, const char* string, const char* chars, unsigned nbits,
                        unsigned canonicalBits);
int pe_ConstrainedStringData(VXCTXT* pctxt, const char* string, const char* chars, unsigned nbits,
                             unsigned canonicalBits, uint64_t count);
int pe_VarWidthCharString(VXCTXT* pctxt, const char* string);

int pd_ConstrainedString(VXCTXT* pctxt, const char** pstring, const CharSetRecord* pCharSet);
int pd_ConstrainedStringEx(VXCTXT* pctxt, const char** pstring, const char* chars, unsigned abits,
                           unsigned ubits, unsigned canonicalBits);
int pd_ConstrFixedLenStringEx(VXCTXT* pctxt, char* dest, size_t destSize, const char* chars,
                              unsigned abits, unsigned ubits, unsigned canonicalBits);
int uperDecConstrString(VXCTXT* pctxt, const char** pstring, const char* chars, unsigned nbits,
                        unsigned canonicalBits);
int uperDecConstrFixedLenString(VXCTXT* pctxt, char* dest, size_t destSize, const char* chars,
                                unsigned nbits, unsigned canonicalBits);
int pd_ConstrainedStringData(VXCTXT* pctxt, char* dest, size_t destSize, uint64_t count,
                             const char* chars, unsigned nbits, unsigned canonicalBits);
int pd_DynConstrainedStringData(VXCTXT* pctxt, const char** pstring, uint64_t count,
                                const char* chars, unsigned nbits, unsigned canonicalBits);
int pd_VarWidthCharString(VXCTXT* pctxt, const char** pstring);

// ---------------------------------------------------------------------------
// Open types and unknown extension additions.
int pe_OpenType(VXCTXT* pctxt, uint64_t numocts, const uint8_t* data);
int pe_OpenTypeExt(VXCTXT* pctxt, const ASN1TSeqExt* pList);
int pe_OpenTypeExtBits(VXCTXT* pctxt, const ASN1TSeqExt* pList);
int pd_OpenType(VXCTXT* pctxt, const uint8_t** pdata, uint64_t* pnumocts);

#endif
