// JSON engine: the writer pieces the per-type encoders call, the pull
// readers the per-type decoders call, and the one free-form parser
// (rtJsonDecAnyType) used for open types and unknown keys.
#ifndef RTJSON_H
#define RTJSON_H

#include "asn1type.h"
#include "rtxContext.h"
#include "rtxReadBytes.h"

// ---- writer ----
int rtJsonEncIndent(VXCTXT* pctxt);
int rtJsonEncStringValue2(VXCTXT* pctxt, const char* text, size_t length);
int rtJsonEncStringValue(VXCTXT* pctxt, const char* text);
int rtJsonEncCharStr(VXCTXT* pctxt, const char* text);
int rtJsonEncChars(VXCTXT* pctxt, const char* text, size_t length);
int rtJsonEncStringPair2(VXCTXT* pctxt, const char* key, size_t keyLen, const char* value,
                         size_t valueLen);
int rtJsonEncStringPair(VXCTXT* pctxt, const char* key, const char* value);
int rtJsonEncStringObject(VXCTXT* pctxt, const char* key, const char* value);
int rtJsonEncStringObject2(VXCTXT* pctxt, const char* key, size_t keyLen, const char* value,
                           size_t valueLen);
int rtJsonEncStringNull(VXCTXT* pctxt);
int rtJsonEncStringRaw(VXCTXT* pctxt, const char* text);
int rtJsonEncBoolValue(VXCTXT* pctxt, bool value);
int rtJsonEncHexValue(VXCTXT* pctxt, uint64_t nocts, const uint8_t* data);
int rtJsonEncHexStr(VXCTXT* pctxt, uint64_t nocts, const uint8_t* data);
int rtJsonEncFixedBitStrValue(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data);
int rtJsonEncBitStrValue(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data);
int rtJsonEncBitStrValueExt(VXCTXT* pctxt, uint64_t nbits, const uint8_t* data, size_t rootSize,
                            const uint8_t* extData);
int rtJsonEncExtElemWithSuffix(VXCTXT* pctxt, const ASN1OpenType* pOpenType, int suffix);
int rtJsonAsn1EncExtElem(VXCTXT* pctxt, const ASN1OpenType* pOpenType);
int rtJsonAsn1EncOpenTypeExt(VXCTXT* pctxt, const ASN1TSeqExt* pList, bool writeNulls);
int rtJsonAsn1EncOpenType(VXCTXT* pctxt, const uint8_t* data, uint64_t numocts);
// Whether an unknown addition is text that may stand in the text as it is:
// exactly one well-formed member "key":value, NUL-terminated, printable
// 7-bit. *keyLen is then the length of the key as written (it starts behind
// the opening quote).
bool rtJsonIsMemberText(VXCTXT* pctxt, const ASN1OpenType* ot, uint64_t* keyLen);
// The additions of an object with `names` (the object's component names)
// reserved: a member text is written as it stands only when its key is none
// of them and no other member of the list writes the same key; every other
// addition is written "_ext_N":"<hex>".
int rtJsonAsn1EncOpenTypeExtIn(VXCTXT* pctxt, const ASN1TSeqExt* pList, bool writeNulls,
                               const char* const* names, size_t nnames);
// The unknown alternative of a CHOICE, with the alternatives' names reserved.
int rtJsonAsn1EncExtElemIn(VXCTXT* pctxt, const ASN1OpenType* pOpenType, const char* const* names,
                           size_t nnames);

// Writes one character and keeps the text NUL-terminated behind it.
int rtJsonEncChar(VXCTXT* pctxt, char ch);

// ---- reader ----
// The character `ch` behind white space (none skipped if `ch` is blank
// itself): 0, or -24 with the cursor on the other character, or the read's
// failure. Inline when the character is in the buffer, read in place.
int rtJsonDecMatchCharGeneral(VXCTXT* pctxt, char ch);
VX_INLINE int rtJsonDecMatchChar(VXCTXT* pctxt, char ch)
{
   VXRTSTREAM* pMemStream;
   if (VX_LIKELY(!rtxTextIsBlank((uint8_t)ch) && rtxTextInPlace(pctxt, &pMemStream))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size && buf.data[i] == (uint8_t)ch) {
         rtxTextCommit(pctxt, pMemStream, i + 1, i + 1 - buf.byteIndex, (uint8_t)ch);
         return 0;
      }
   }
   return rtJsonDecMatchCharGeneral(pctxt, ch);
}
int rtJsonDecStringValue(VXCTXT* pctxt, char** ppvalue);
// A string with its escapes checked but kept as written (on the heap).
int rtJsonDecStringRaw(VXCTXT* pctxt, char** ppvalue);
int rtJsonDecStringValueInternal(VXCTXT* pctxt, char** ppvalue, char* buffer, size_t bufsize,
                                 bool dynamic);
int rtJsonDecBool(VXCTXT* pctxt, uint8_t* pvalue);
int rtJsonDecNull(VXCTXT* pctxt);
int rtJsonDecHexStr64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnocts, uint64_t bufsize);
int rtJsonDecHexData64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnocts, uint64_t bufsize);
int rtJsonDecDynHexStr64(VXCTXT* pctxt, ASN1TDynOctStr64* pvalue);
int rtJsonDecDynHexData64(VXCTXT* pctxt, ASN1TDynOctStr64* pvalue);
int rtJsonDecFixedBitStrValue(VXCTXT* pctxt, uint64_t nbits, uint8_t* data, uint64_t bufsize);
int rtJsonDecFixedDynBitStr(VXCTXT* pctxt, uint64_t nbits, uint8_t** ppdata);
int rtJsonDecBitStrValue64(VXCTXT* pctxt, uint64_t* pnbits, uint8_t* data, uint64_t bufsize);
int rtJsonDecBitStrValueExt64(VXCTXT* pctxt, uint64_t* pnbits, uint8_t* data, uint64_t rootSize,
                              ASN1TDynOctStr64* pext);
int rtJsonDecAnyType(VXCTXT* pctxt, char** ppvalue);

#endif
