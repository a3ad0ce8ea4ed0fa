// xmlFastRead.h: the steps of the direct XML readers (XmlFast_<Type>).
//
// A direct reader walks a document held whole in memory, in the plain form
// the XML writers produce: no declaration or exactly the writer's, start
// and end tags without attributes or blanks, blanks only between elements,
// numbers as bare digits, text of printable ASCII without references, bit
// strings as digits, octet strings as pairs of hexadecimal digits. Every
// value it takes is one the event-driven reader (XmlDec_<Type>) takes in
// the same way; anything else (a comment, an attribute, an element it does
// not expect, a value outside its range, a text it would have to decode)
// makes it give up with XML_FAST_NO, and the caller reads the document
// again with the event-driven reader, which gives the result and the
// report. So a document gets the same record, or the same failure, either
// way; the direct reader only does the common case without events.
//
// Each step reads at `in->p` and never past `in->end`; a step that does not
// match leaves `in->p` where it was.
#ifndef XMLFASTREAD_H
#define XMLFASTREAD_H

#include <cstring>

#include "asn1Gen.h"
#include "rtxContext.h"
#include "rtxEnum.h"
#include "rtxMemory.h"

// The result of a direct reader that gives the document up.
#define XML_FAST_NO 1

struct XmlFastIn {
   const uint8_t* p;
   const uint8_t* end;
   VXCTXT* pctxt;
};

// The whole document of the context's input, when it is a memory stream
// from which nothing has been read yet.
bool xmlFastInput(VXCTXT* pctxt, XmlFastIn* in);

// The declaration, if any, and the root's start tag `<name>`: true when
// both are there in the plain form.
bool xmlFastRoot(XmlFastIn* in, const char* name, size_t n);

// After the root's end tag: nothing but blanks up to the end.
bool xmlFastTail(XmlFastIn* in);

// Marks the context's input as read to its end.
void xmlFastConsumed(VXCTXT* pctxt);

VX_INLINE bool xmlFastIsBlank(uint8_t c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }

VX_INLINE void xmlFastBlanks(XmlFastIn* in)
{
   const uint8_t* p = in->p;
   while (p < in->end && xmlFastIsBlank(*p)) p++;
   in->p = p;
}

// After blanks, the start tag of element `name` (n bytes): 1 for `<name>`,
// 2 for the empty element `<name/>`, 0 (nothing read) for anything else.
VX_INLINE int xmlFastOpen(XmlFastIn* in, const char* name, size_t n)
{
   xmlFastBlanks(in);
   const uint8_t* p = in->p;
   if ((size_t)(in->end - p) < n + 3 || p[0] != '<' || memcmp(p + 1, name, n) != 0) return 0;
   if (p[n + 1] == '>') {
      in->p = p + n + 2;
      return 1;
   }
   if (p[n + 1] == '/' && p[n + 2] == '>') {
      in->p = p + n + 3;
      return 2;
   }
   return 0;
}

// After blanks, the end tag `</name>`.
VX_INLINE bool xmlFastClose(XmlFastIn* in, const char* name, size_t n)
{
   xmlFastBlanks(in);
   const uint8_t* p = in->p;
   if ((size_t)(in->end - p) < n + 3 || p[0] != '<' || p[1] != '/' || memcmp(p + 2, name, n) != 0 ||
       p[n + 2] != '>')
      return false;
   in->p = p + n + 3;
   return true;
}

// The content of an element whose start tag gave `form` (1 or 2 of
// xmlFastOpen) through `read`, then its end tag. The content of an empty
// element is read from an empty input, which only a value that may be
// empty takes.
template <typename T>
VX_INLINE int xmlFastBody(XmlFastIn* in, int form, const char* name, size_t n,
                          int (*read)(XmlFastIn*, T*), T* pvalue)
{
   if (form == 2) {
      XmlFastIn none = {in->end, in->end, in->pctxt};
      return read(&none, pvalue);
   }
   if (read(in, pvalue) != 0) return XML_FAST_NO;
   return xmlFastClose(in, name, n) ? 0 : XML_FAST_NO;
}

// Element `name` holding a value read by `read`: 0 when read, -1 when the
// next element is another, XML_FAST_NO when it does not read.
template <typename T>
VX_INLINE int xmlFastElem(XmlFastIn* in, const char* name, size_t n, int (*read)(XmlFastIn*, T*),
                          T* pvalue)
{
   int form = xmlFastOpen(in, name, n);
   if (form == 0) return -1;
   return xmlFastBody(in, form, name, n, read, pvalue);
}

// The document of the context's input, when it is whole in memory and
// unread, with the root element `root` (n bytes) holding a value `read`
// takes into *pvalue: true when read, and the input is then used up.
// False leaves the document, unread, to the event-driven reader.
template <typename T>
bool xmlFastDocument(VXCTXT* pctxt, const char* root, size_t n, int (*read)(XmlFastIn*, T*),
                     T* pvalue)
{
   XmlFastIn in;
   if (!xmlFastInput(pctxt, &in) || !xmlFastRoot(&in, root, n) || read(&in, pvalue) != 0 ||
       !xmlFastClose(&in, root, n) || !xmlFastTail(&in))
      return false;
   xmlFastConsumed(pctxt);
   return true;
}

// Decimal digits, at most 18 of them so that no value overflows, right up
// to the '<' of the end tag; a leading '-' when `isSigned`. The event-driven
// reader takes the same text as the same value.
VX_INLINE bool xmlFastNumber(XmlFastIn* in, bool isSigned, uint64_t* pmag, bool* pneg)
{
   const uint8_t* p = in->p;
   const uint8_t* end = in->end;
   bool neg = false;
   if (isSigned && p < end && *p == '-') {
      neg = true;
      p++;
   }
   const uint8_t* first = p;
   uint64_t value = 0;
   while (p < end && (unsigned)(*p - '0') <= 9u) {
      value = value * 10 + (unsigned)(*p - '0');
      p++;
   }
   size_t digits = (size_t)(p - first);
   if (digits == 0 || digits > 18 || p == end || *p != '<') return false;
   in->p = p;
   *pmag = value;
   *pneg = neg;
   return true;
}

VX_INLINE bool xmlFastInt(XmlFastIn* in, int64_t* pvalue)
{
   uint64_t mag;
   bool neg;
   if (!xmlFastNumber(in, true, &mag, &neg)) return false;
   *pvalue = neg ? -(int64_t)mag : (int64_t)mag;
   return true;
}

VX_INLINE bool xmlFastUInt(XmlFastIn* in, uint64_t* pvalue)
{
   bool neg;
   return xmlFastNumber(in, false, pvalue, &neg);
}

// A BOOLEAN: <true/> or <false/>, between blanks.
int xmlFastBool(XmlFastIn* in, uint8_t* pvalue);

// An ENUMERATED: the identifier as an empty element between blanks, found
// in the type's table (sorted by name).
int xmlFastEnum(XmlFastIn* in, const VXEnumItem* items, size_t count, uint32_t* pvalue);

// Text of printable ASCII characters other than '&' and ']' up to the
// '<' of the end tag, copied to the context's heap with a NUL. Empty text
// is left to the event-driven reader.
int xmlFastText(XmlFastIn* in, const char** ptext, size_t* plen);

// '0' and '1' digits up to the '<' of the end tag into `data` (at most
// `bufsize` bytes), first bit highest; each byte is cleared as it is begun.
int xmlFastBits(XmlFastIn* in, uint8_t* data, uint64_t* pnbits, size_t bufsize);

// A BIT STRING of SIZE(lo, ...) as xmlGenDecBitStrExt reads it: the root
// part into `rootBytes` bytes of `data`, bits beyond it into a new heap
// block `*pext`; more than 255 bits are left to the event-driven reader.
int xmlFastBitStrExt(XmlFastIn* in, uint8_t* data, size_t rootBytes, uint8_t* pnbits,
                     uint8_t** pext);

// Pairs of hexadecimal digits up to the '<' of the end tag, into `data` (at
// most `bufsize` octets) or, with `data` null, into a new block of the
// context's heap (null for no octets).
int xmlFastHex(XmlFastIn* in, uint8_t* data, size_t bufsize, uint64_t* pnocts, uint8_t** pdyn);

#endif
