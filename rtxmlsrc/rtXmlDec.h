// XML engine, decoding side: what the per-type decoders call on top of the
// pull reader. Elements are matched against static tables and come back as
// identifiers; values are read from the current element; unknown elements
// are kept as their source text, and written back by the open type writers.
//
// Every function takes the context and finds the reader through pXMLInfo.
// Matched elements are pushed on the context's element name stack for the
// error reports: an unknown element as "<unknown>", a wildcard match as "*".
#ifndef RTXMLDEC_H
#define RTXMLDEC_H

#include "asn1type.h"
#include "rtXml.h"
#include "rtXmlPull.h"

// A row of an element table. A row of length 0 is a wildcard; namespace
// index 0 or 0xFFFF matches any namespace.
struct XmlElemDescr {
   const char* name;
   uint64_t nameLen;
   uint16_t nsIndex;
   uint16_t id;
};

// A row of a SEQUENCE's group table, one per component and one for the
// extension position: the first element row open there, the number of rows
// open, and the identifier returned for an unknown element (-1: none).
struct XmlGroupDescr {
   int32_t row;
   int32_t count;
   int32_t anyCase;
};

// Returned by the element functions when no further element follows.
#define XML_OK_EOB 0x7FFFFFFF

// Reader.
int rtXmlpCreateReader(VXCTXT* pctxt);
XmlReader* rtXmlpGetReader(VXCTXT* pctxt);

// Elements.
int rtXmlpMatchStartTag(VXCTXT* pctxt, const char* name, uint16_t nsIndex);
int rtXmlpMatchEndTag(VXCTXT* pctxt, int32_t level);
int rtXmlpGetNextElem(VXCTXT* pctxt, const uint8_t** pName, size_t* pNameLen, int32_t level);
int rtXmlpGetNextElemID(VXCTXT* pctxt, const XmlElemDescr* table, size_t count, int32_t level,
                        bool errorOnUnknown);
int rtXmlpGetNextSeqElemID(VXCTXT* pctxt, const XmlElemDescr* table, const XmlGroupDescr* groups,
                           int32_t pos, int32_t lastRequired, bool optionalTail);
int rtXmlpGetNextSeqElemID2(VXCTXT* pctxt, const XmlElemDescr* table, const XmlGroupDescr* groups,
                            int32_t groupCount, int32_t pos, int32_t lastRequired,
                            bool optionalTail, bool joinNext);
void rtXmlpMarkLastEventActive(VXCTXT* pctxt);
bool rtXmlpIsLastEventDone(VXCTXT* pctxt);
int32_t rtXmlpGetCurrentLevel(VXCTXT* pctxt);
bool rtXmlpIsEmptyElement(VXCTXT* pctxt);
int rtXmlDecEmptyElement(VXCTXT* pctxt);
void rtXmlpSetWhiteSpaceMode(VXCTXT* pctxt, uint32_t mode);

// Numbers, with optional "+" or "-" and white space around.
int rtXmlpDecInt(VXCTXT* pctxt, int32_t* pvalue);
int rtXmlpDecInt8(VXCTXT* pctxt, int8_t* pvalue);
int rtXmlpDecInt16(VXCTXT* pctxt, int16_t* pvalue);
int rtXmlpDecInt64(VXCTXT* pctxt, int64_t* pvalue);
int rtXmlpDecUInt(VXCTXT* pctxt, uint32_t* pvalue);
int rtXmlpDecUInt8(VXCTXT* pctxt, uint8_t* pvalue);
int rtXmlpDecUInt16(VXCTXT* pctxt, uint16_t* pvalue);
int rtXmlpDecUInt64(VXCTXT* pctxt, uint64_t* pvalue);

// "true", "false", "1" or "0".
int rtXmlpDecBool(VXCTXT* pctxt, bool* pvalue);

// Bit strings as digit strings, left-aligned into `bufsize` bytes; a null
// data pointer only checks.
int rtXmlpDecBitString64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnbits, uint64_t bufsize);
int rtXmlpDecBitString(VXCTXT* pctxt, uint8_t* data, uint32_t* pnbits, uint64_t bufsize);
// Bits past `bufsize` bytes into a spill on the context's heap (*extdata).
int rtXmlpDecBitStringExt64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnbits, uint8_t** extdata,
                            uint64_t bufsize);
int rtXmlpDecBitStringExt(VXCTXT* pctxt, uint8_t* data, uint32_t* pnbits, uint8_t** extdata,
                          uint64_t bufsize);
// Named bits separated by white space; names not in the table are passed
// over. The count is the highest bit set + 1 (1 for no name).
int rtXmlpDecNamedBits64(VXCTXT* pctxt, const XmlNamedBitsDict* table, uint8_t* data,
                         uint64_t* pnbits, uint64_t bufsize);
int rtXmlpDecNamedBits(VXCTXT* pctxt, const XmlNamedBitsDict* table, uint8_t* data,
                       uint32_t* pnbits, uint64_t bufsize);

// Hexadecimal octets; an odd count of digits reads as if led by a "0".
int rtXmlpDecHexStr64(VXCTXT* pctxt, uint8_t* data, uint64_t* pnocts, uint64_t bufsize);
int rtXmlpDecHexStr(VXCTXT* pctxt, uint8_t* data, uint32_t* pnocts, uint64_t bufsize);
int rtXmlpDecDynHexStr64(VXCTXT* pctxt, ASN1TDynOctStr64* pvalue);
int rtXmlpDecDynHexStr(VXCTXT* pctxt, ASN1TDynOctStr64* pvalue);

// Text values, copied to the heap (null out pointer: skipped).
int rtXmlpDecXmlStr(VXCTXT* pctxt, VXXMLSTRING* pvalue);
int rtXmlpDecDynUTF8Str(VXCTXT* pctxt, const char** ppvalue);

// Kept content: the current element whole, or the content of the element
// just started, rebuilt as text.
int rtXmlpDecAnyElem(VXCTXT* pctxt, const char** ppvalue);
int rtXmlpDecAny2(VXCTXT* pctxt, const char** ppvalue);

// Open types and unknown extension additions.
int rtAsn1XmlpDecOpenType(VXCTXT* pctxt, ASN1OpenType* pvalue);
int rtAsn1XmlEncOpenType(VXCTXT* pctxt, const uint8_t* data, uint64_t nocts, const char* elemName,
                         const char* nsPrefix);
// `names` are the components of the parent: a kept element of such a name
// is written in hexadecimal, as is anything that is not one element.
int rtAsn1XmlEncOpenTypeExt(VXCTXT* pctxt, const ASN1TSeqExt* pList, const char* const* names,
                            size_t nnames);
// Whether the octets are exactly one well-formed element whose name is
// none of `names`. Nothing is recorded in the context.
bool rtXmlIsElementText(VXCTXT* pctxt, const uint8_t* data, uint64_t nocts,
                        const char* const* names, size_t nnames);

#endif
