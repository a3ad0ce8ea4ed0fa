// xmlGenWrite.h: the writing steps of the generated XML encoders. Each has
// the result of the general writer function named beside it, text and
// status alike; `XmlGenOut` is what an encoder learns of the context once.
#ifndef XMLGENWRITE_H
#define XMLGENWRITE_H

#include "asn1ErrorHandler.h"
#include "asn1Gen.h"
#include "rtXml.h"
#include "rtxError.h"

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

VX_INLINE int xmlGenUInt(VXCTXT* pctxt, const XmlGenOut& out, uint64_t value,
                         const char* elemName)
{
   (void)out;
   return rtXmlEncUInt64(pctxt, value, elemName, nullptr);
}

#endif
