// xmlGenWrite.h: the writing steps of the generated XML encoders. Each has
// the result of the general writer function named beside it, text and
// status alike; `XmlGenOut` is what an encoder learns of the context once.
#ifndef XMLGENWRITE_H
#define XMLGENWRITE_H

#include <cstring>

#include "asn1ErrorHandler.h"
#include "asn1Gen.h"
#include "rtXml.h"
#include "rtXmlDec.h"
#include "rtxError.h"
#include "rtxUTF8.h"

struct XmlGenOut {
   size_t pad;
};

VX_INLINE XmlGenOut xmlGenOutput(const VXCTXT* pctxt)
{
   (void)pctxt;
   return XmlGenOut{0};
}

// rtXmlEncStartElement(name, no namespace, no attributes, terminated): an
// empty name only terminates a pending start tag.
VX_INLINE int xmlGenStart(VXCTXT* pctxt, const XmlGenOut& out, const char* elemName)
{
   (void)out;
   return rtXmlEncStartElement(pctxt, elemName, nullptr, nullptr, true);
}

// rtXmlEncEndElement: "</name>", or "<name/>" with nothing since the start.
VX_INLINE int xmlGenEnd(VXCTXT* pctxt, const XmlGenOut& out, const char* elemName)
{
   (void)out;
   return rtXmlEncEndElement(pctxt, elemName, nullptr);
}

// rtXmlEncEmptyElement(name, terminated): "<name/>".
VX_INLINE int xmlGenEmpty(VXCTXT* pctxt, const XmlGenOut& out, const char* elemName)
{
   (void)out;
   return rtXmlEncEmptyElement(pctxt, elemName, nullptr, nullptr, true);
}

// rtXmlEncInt64 / rtXmlEncUInt64: "<name>-12</name>".
VX_INLINE int xmlGenInt(VXCTXT* pctxt, const XmlGenOut& out, int64_t value, const char* elemName)
{
   (void)out;
   return rtXmlEncInt64(pctxt, value, elemName, nullptr);
}

VX_INLINE int xmlGenUInt(VXCTXT* pctxt, const XmlGenOut& out, uint64_t value, const char* elemName)
{
   (void)out;
   return rtXmlEncUInt64(pctxt, value, elemName, nullptr);
}

// ---- further steps, over the general writer ----

// "<name><id/></name>": an enumerator or a boolean as an empty child element.
VX_INLINE int xmlGenNamed(VXCTXT* pctxt, const XmlGenOut& out, const char* id, const char* elemName)
{
   int stat = xmlGenStart(pctxt, out, elemName);
   if (stat == 0) stat = xmlGenEmpty(pctxt, out, id);
   if (stat == 0) stat = xmlGenEnd(pctxt, out, elemName);
   return stat;
}

// rtXmlEncBitString: "<name>0100</name>", one digit per bit, first bit first.
VX_INLINE int xmlGenBits(VXCTXT* pctxt, const XmlGenOut& out, uint64_t nbits, const uint8_t* data,
                         const char* elemName)
{
   (void)out;
   return rtXmlEncBitString(pctxt, nbits, data, elemName, nullptr);
}

// rtXmlEncBitStringExt: the same, bits past the first dataSize octets taken
// from extData.
VX_INLINE int xmlGenBitsExt(VXCTXT* pctxt, const XmlGenOut& out, uint64_t nbits,
                            const uint8_t* data, uint64_t dataSize, const uint8_t* extData,
                            const char* elemName)
{
   (void)out;
   return rtXmlEncBitStringExt(pctxt, nbits, data, dataSize, extData, elemName, nullptr);
}

// rtXmlEncHexBinary: "<name>0A1B</name>" (upper case in XER style).
VX_INLINE int xmlGenHex(VXCTXT* pctxt, const XmlGenOut& out, uint64_t nocts, const uint8_t* data,
                        const char* elemName)
{
   (void)out;
   return rtXmlEncHexBinary(pctxt, (int64_t)nocts, data, elemName, nullptr);
}

// rtXmlEncUTF8Str: "<name>text</name>" with & < > " ' escaped. A text with
// characters no document can hold fails with -24 (recorded).
VX_INLINE int xmlGenText(VXCTXT* pctxt, const XmlGenOut& out, const char* value,
                         const char* elemName)
{
   (void)out;
   if (!rtXmlIsCharData(value)) return VX_LOG_ERRNEW(pctxt, RTERR_INVCHAR);
   return rtXmlEncUTF8Str(pctxt, value, elemName, nullptr);
}

// An open type's octets as the content of the element: kept as they are
// when they are exactly one well-formed element, otherwise in hexadecimal,
// so that no octets of a sender's choosing break or add to the document.
inline int xmlGenOpenValue(VXCTXT* pctxt, const XmlGenOut& out, const uint8_t* data, uint64_t nocts,
                           const char* elemName)
{
   (void)out;
   if (rtXmlIsElementText(pctxt, data, nocts, nullptr, 0))
      return rtAsn1XmlEncOpenType(pctxt, data, nocts, elemName, nullptr);
   return rtXmlEncHexBinary(pctxt, (int64_t)nocts, data, elemName, nullptr);
}

// An alternative of an extensible CHOICE that the schema does not know: its
// octets on a line of their own, as one element if they are one whose name
// is none of the alternatives', otherwise as "<binext>" with hexadecimal.
inline int xmlGenUnknownAlt(VXCTXT* pctxt, const XmlGenOut& out, const ASN1OpenType* ot,
                            const char* const* names, size_t nnames)
{
   (void)out;
   if (rtXmlIsElementText(pctxt, ot->data, ot->numocts, names, nnames))
      return rtAsn1XmlEncOpenType(pctxt, ot->data, ot->numocts, nullptr, nullptr);
   return rtXmlEncHexBinary(pctxt, (int64_t)ot->numocts, ot->data, "binext", nullptr);
}

#endif
