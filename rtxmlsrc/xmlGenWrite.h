// xmlGenWrite.h: the writing steps of the generated XML encoders. Each gives
// the text and the status of the general writer function named beside it;
// what differs is the cost. An encoder learns once (`xmlGenOutput`) whether
// its markup may go straight into the buffer: UTF-8 out, no canonical form,
// no stream, no namespace declared, no attribute pending. Then a start tag
// is one room check, the break, the indentation and the name, and a number
// element is written whole. Namespace frames are not kept for these
// elements (plain output declares none); the element name stack is, so
// that reports name the element.
#ifndef XMLGENWRITE_H
#define XMLGENWRITE_H

#include <cstring>

#include "asn1ErrorHandler.h"
#include "asn1Gen.h"
#include "rtXml.h"
#include "rtXmlDec.h"
#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxTextOut.h"
#include "rtxUTF8.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

struct XmlGenOut {
   XmlCtxtInfo* info;  // null: every step takes the general writer
   uint32_t pad;       // room kept behind the text for 16-byte stores (growing buffers)
   uint32_t blanks;    // indentation by blanks on a growing buffer: a break is two stores
};

// An element name and its length; the compiler passes the literal's length,
// so that no step measures a name. A length of 0: an empty or null name,
// which the general writer handles.
struct XmlGenName {
   const char* s;
   size_t n;
};

VX_INLINE XmlGenName xmlGenNameOf(const char* s)
{
   return XmlGenName{s, s != nullptr ? strlen(s) : 0};
}

VX_INLINE XmlGenOut xmlGenOutput(const VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   // Attributes go aside only in canonical form, which the flag test covers.
   bool plain =
      info != nullptr && info->encoding == VXXMLUTF8 && pctxt->pStream == nullptr &&
      (pctxt->flags & (VXCTXT_FLAG_C14N | VXCTXT_FLAG_XSIATTR | VXCTXT_FLAG_XMLEMPTYTAG)) == 0 &&
      info->namespaceList.count == 0;
   uint32_t pad = pctxt->buffer.dynamic ? 32u : 0u;
   bool blanks = plain && pad != 0 && info->indent > 0 && info->indentChar == ' ';
   return XmlGenOut{plain ? info : nullptr, pad, blanks ? 1u : 0u};
}

// Out of line, for the rare cases of the steps below.
VXRTDListNode* xmlGenNewNameNode(VXCTXT* pctxt);
void xmlGenNameMismatch(VXCTXT* pctxt, const char* openName, const char* elemName);

VX_INLINE uint8_t* xmlGenCopy(uint8_t* p, const char* text, size_t n)
{
   memcpy(p, text, n);
   return p + n;
}

// Copies the n bytes of a name to p with two overlapping loads and stores
// of the widest size that fits, so a short name costs a few moves and no
// call, and nothing is read or written outside the n bytes.
VX_INLINE uint8_t* xmlGenCopyName(uint8_t* p, const char* s, size_t n)
{
   if (n >= 8) {
      if (n > 16) return xmlGenCopy(p, s, n);
      uint64_t a, b;
      memcpy(&a, s, 8);
      memcpy(&b, s + n - 8, 8);
      memcpy(p, &a, 8);
      memcpy(p + n - 8, &b, 8);
   } else if (n >= 4) {
      uint32_t a, b;
      memcpy(&a, s, 4);
      memcpy(&b, s + n - 4, 4);
      memcpy(p, &a, 4);
      memcpy(p + n - 4, &b, 4);
   } else if (n != 0) {
      // 1 to 3 bytes: first, middle and last.
      uint8_t a = (uint8_t)s[0], b = (uint8_t)s[n / 2], c = (uint8_t)s[n - 1];
      p[0] = a;
      p[n / 2] = b;
      p[n - 1] = c;
   }
   return p + n;
}

// Room for `n` bytes of markup after a break of `width` blanks, the NUL and
// the pad; on success p is the cursor, and a start tag still open (the
// root's, written unterminated) gets its ">" first.
VX_INLINE int xmlGenRoom(VXCTXT* pctxt, const XmlGenOut& out, size_t width, size_t n, uint8_t*& p)
{
   // A growing buffer needs no exact test: one byte more covers a partly
   // written byte, which the general test counts.
   size_t need = 1 + 1 + width + n + 1 + out.pad;
   VXRTBuffer& buf = pctxt->buffer;
   if (VX_UNLIKELY(out.pad == 0 || buf.byteIndex + need + 1 > buf.size)) {
      int stat = rtxCheckOutputBuffer(pctxt, need);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   }
   p = buf.data + buf.byteIndex;
   if (VX_UNLIKELY(pctxt->flags & VXCTXT_FLAG_XMLTAGOPEN)) {
      if (pctxt->state == XMLSTATE_SOE) *p++ = '>';
      pctxt->flags &= ~VXCTXT_FLAG_XMLTAGOPEN;
   }
   return 0;
}

// The indentation of the current level, in characters.
VX_INLINE size_t xmlGenWidth(const VXCTXT* pctxt, const XmlGenOut& out)
{
   return (size_t)pctxt->level * out.info->indent;
}

// The line feed (unless nothing is written yet) and the indentation of the
// current level at p, when indenting. Indenting by blanks with the pad
// behind, the line feed and the first 31 blanks are two 16-byte stores.
VX_INLINE uint8_t* xmlGenBreak(const VXCTXT* pctxt, const XmlGenOut& out, uint8_t* p, size_t width)
{
   size_t feed = pctxt->state != XMLSTATE_INITIAL ? 1 : 0;
#if defined(__SSE2__)
   if (VX_LIKELY(out.blanks != 0)) {
      static const char kLine[] = "\n                ";  // a line feed, 16 blanks
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                       _mm_loadu_si128(reinterpret_cast<const __m128i*>(kLine + 1 - feed)));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 16),
                       _mm_loadu_si128(reinterpret_cast<const __m128i*>(kLine + 1)));
      size_t total = width + feed;
      if (VX_UNLIKELY(total > 32)) rtxTextPutRun(p + 32, total - 32, ' ', true);
      return p + total;
   }
#endif
   const XmlCtxtInfo* info = out.info;
   if (info->indent == 0) return p;
   if (feed != 0) *p++ = '\n';
   return rtxTextPutRun(p, width, (uint8_t)info->indentChar, out.pad != 0);
}

// Ends the text written at p: the NUL behind it, the cursor and last byte.
VX_INLINE void xmlGenDone(VXCTXT* pctxt, uint8_t* p)
{
   *p = 0;
   pctxt->buffer.byteIndex = (size_t)(p - pctxt->buffer.data);
   pctxt->lastChar = p[-1];
}

// Writes a tag at the cursor: the break when `brk`, then `open` (1 or 2
// bytes: "<" or "</"), the name, `close` (">" or "/>"). 0 or a status.
VX_INLINE int xmlGenTag(VXCTXT* pctxt, const XmlGenOut& out, bool brk, const char* open,
                        size_t openLen, XmlGenName name, const char* close, size_t closeLen)
{
   size_t width = brk ? xmlGenWidth(pctxt, out) : 0;
   uint8_t* p = nullptr;
   int stat = xmlGenRoom(pctxt, out, width, openLen + name.n + closeLen, p);
   if (stat != 0) return stat;
   if (brk) p = xmlGenBreak(pctxt, out, p, width);
   for (size_t i = 0; i < openLen; i++) *p++ = (uint8_t)open[i];
   p = xmlGenCopyName(p, name.s, name.n);
   for (size_t i = 0; i < closeLen; i++) *p++ = (uint8_t)close[i];
   xmlGenDone(pctxt, p);
   return 0;
}

// rtXmlEncStartElement(name, no namespace, no attributes, terminated): an
// empty name only terminates a pending start tag.
VX_INLINE int xmlGenStart(VXCTXT* pctxt, const XmlGenOut& out, XmlGenName name)
{
   if (out.info == nullptr || name.n == 0)
      return rtXmlEncStartElement(pctxt, name.s, nullptr, nullptr, true);
   XmlCtxtInfo* info = out.info;
   VXRTDListNode* node = info->freeNameNodes;
   if (VX_LIKELY(node != nullptr))
      info->freeNameNodes = node->next;
   else if ((node = xmlGenNewNameNode(pctxt)) == nullptr)
      return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   int stat = xmlGenTag(pctxt, out, true, "<", 1, name, ">", 1);
   if (stat != 0) {
      node->next = info->freeNameNodes;
      info->freeNameNodes = node;
      return stat;
   }
   node->data = (void*)name.s;
   rtxDListAppendNode(&pctxt->elemNameStack, node);
   pctxt->level++;
   pctxt->state = XMLSTATE_SOE;
   return 0;
}

// rtXmlEncEndElement: "</name>", on a line of its own behind elements, or
// "<name/>" when nothing was written since the start tag.
VX_INLINE int xmlGenEnd(VXCTXT* pctxt, const XmlGenOut& out, XmlGenName name)
{
   if (out.info == nullptr || name.n == 0) return rtXmlEncEndElement(pctxt, name.s, nullptr);
   VXRTDList& names = pctxt->elemNameStack;
   VXRTDListNode* node = names.tail;
   if (VX_UNLIKELY(node == nullptr || node->data != name.s))
      xmlGenNameMismatch(pctxt, node != nullptr ? (const char*)node->data : "", name.s);
   pctxt->level--;
   int stat;
   if (pctxt->state == XMLSTATE_SOE) {
      // "<a>" with nothing behind it becomes "<a/>"; a start tag still open
      // takes the "/>" directly.
      if ((stat = rtxCheckOutputBuffer(pctxt, 3)) != 0) return VX_LOG_ERR(pctxt, stat);
      uint8_t* p = pctxt->buffer.data + pctxt->buffer.byteIndex;
      if (pctxt->flags & VXCTXT_FLAG_XMLTAGOPEN)
         pctxt->flags &= ~VXCTXT_FLAG_XMLTAGOPEN;
      else if (p != pctxt->buffer.data)
         p--;
      *p++ = '/';
      *p++ = '>';
      xmlGenDone(pctxt, p);
   } else {
      bool own = pctxt->state == XMLSTATE_EOE || pctxt->state == XMLSTATE_COMMENT;
      if ((stat = xmlGenTag(pctxt, out, own, "</", 2, name, ">", 1)) != 0) return stat;
   }
   pctxt->state = XMLSTATE_EOE;
   if (node != nullptr) {
      names.tail = node->prev;
      if (node->prev != nullptr)
         node->prev->next = nullptr;
      else
         names.head = nullptr;
      names.count--;
      node->next = out.info->freeNameNodes;
      out.info->freeNameNodes = node;
   }
   return 0;
}

// rtXmlEncEmptyElement(name, terminated): "<name/>".
VX_INLINE int xmlGenEmpty(VXCTXT* pctxt, const XmlGenOut& out, XmlGenName name)
{
   if (out.info == nullptr || name.n == 0)
      return rtXmlEncEmptyElement(pctxt, name.s, nullptr, nullptr, true);
   int stat = xmlGenTag(pctxt, out, true, "<", 1, name, "/>", 2);
   if (stat != 0) return stat;
   pctxt->state = XMLSTATE_EOE;
   return 0;
}

// "<name>digits</name>" in one piece, as rtXmlEncInt64 / rtXmlEncUInt64
// write it (nothing can fail once the room is there).
VX_INLINE int xmlGenNumber(VXCTXT* pctxt, const XmlGenOut& out, uint64_t magnitude, bool minus,
                           XmlGenName name)
{
   size_t digits = rtxTextDigitCount(magnitude);
   size_t width = xmlGenWidth(pctxt, out);
   uint8_t* p = nullptr;
   int stat = xmlGenRoom(pctxt, out, width, 2 * name.n + 5 + 1 + digits, p);
   if (stat != 0) return stat;
   p = xmlGenBreak(pctxt, out, p, width);
   *p++ = '<';
   p = xmlGenCopyName(p, name.s, name.n);
   *p++ = '>';
   if (minus) *p++ = '-';
   rtxTextPutDigits(p, digits, magnitude);
   p += digits;
   *p++ = '<';
   *p++ = '/';
   p = xmlGenCopyName(p, name.s, name.n);
   *p++ = '>';
   xmlGenDone(pctxt, p);
   pctxt->state = XMLSTATE_EOE;
   return 0;
}

VX_INLINE int xmlGenInt(VXCTXT* pctxt, const XmlGenOut& out, int64_t value, XmlGenName name)
{
   if (out.info == nullptr || name.n == 0) return rtXmlEncInt64(pctxt, value, name.s, nullptr);
   uint64_t magnitude = value < 0 ? 0u - (uint64_t)value : (uint64_t)value;
   return xmlGenNumber(pctxt, out, magnitude, value < 0, name);
}

VX_INLINE int xmlGenUInt(VXCTXT* pctxt, const XmlGenOut& out, uint64_t value, XmlGenName name)
{
   if (out.info == nullptr || name.n == 0) return rtXmlEncUInt64(pctxt, value, name.s, nullptr);
   return xmlGenNumber(pctxt, out, value, false, name);
}

// ---- further steps, over the general writer ----

// "<name>", "<id/>" one level deeper, "</name>", each on its own line: an
// enumerator or a boolean as an empty child element. In place it is one
// room check for the three tags; the text is that of xmlGenStart,
// xmlGenEmpty and xmlGenEnd in a row.
VX_INLINE int xmlGenNamed(VXCTXT* pctxt, const XmlGenOut& out, const char* id, size_t idLen,
                          XmlGenName name)
{
   if (out.info == nullptr || name.n == 0) {
      int stat = xmlGenStart(pctxt, out, name);
      if (stat == 0) stat = xmlGenEmpty(pctxt, out, XmlGenName{id, idLen});
      if (stat == 0) stat = xmlGenEnd(pctxt, out, name);
      return stat;
   }
   size_t n = name.n;
   size_t width = xmlGenWidth(pctxt, out);
   size_t inner = width + out.info->indent;
   uint8_t* p = nullptr;
   // Three breaks (two more line feeds than the room counts) and the tags.
   int stat = xmlGenRoom(pctxt, out, width + inner + width + 2, (n + 2) + (idLen + 3) + (n + 3), p);
   if (stat != 0) return stat;
   p = xmlGenBreak(pctxt, out, p, width);
   *p++ = '<';
   p = xmlGenCopyName(p, name.s, n);
   *p++ = '>';
   pctxt->state = XMLSTATE_SOE;
   p = xmlGenBreak(pctxt, out, p, inner);
   *p++ = '<';
   p = xmlGenCopyName(p, id, idLen);
   *p++ = '/';
   *p++ = '>';
   p = xmlGenBreak(pctxt, out, p, width);
   *p++ = '<';
   *p++ = '/';
   p = xmlGenCopyName(p, name.s, n);
   *p++ = '>';
   xmlGenDone(pctxt, p);
   pctxt->state = XMLSTATE_EOE;
   return 0;
}

// The longest bit or octet string a step writes in place; longer ones take
// the general writer (none of this schema's fixed fields is).
constexpr uint64_t kXmlGenInPlaceChars = 256;

// "<name>" and the value's characters and "</name>" in one piece: the break,
// the start tag, `fill` writing nchars characters at p, the end tag. The
// text and state of the general value element writers.
template <class Fill>
VX_INLINE int xmlGenValueElement(VXCTXT* pctxt, const XmlGenOut& out, XmlGenName name,
                                 size_t nchars, Fill fill)
{
   size_t width = xmlGenWidth(pctxt, out);
   uint8_t* p = nullptr;
   int stat = xmlGenRoom(pctxt, out, width, 2 * name.n + 5 + nchars, p);
   if (stat != 0) return stat;
   p = xmlGenBreak(pctxt, out, p, width);
   *p++ = '<';
   p = xmlGenCopyName(p, name.s, name.n);
   *p++ = '>';
   fill(p);
   p += nchars;
   *p++ = '<';
   *p++ = '/';
   p = xmlGenCopyName(p, name.s, name.n);
   *p++ = '>';
   xmlGenDone(pctxt, p);
   pctxt->state = XMLSTATE_EOE;
   return 0;
}

// rtXmlEncBitString: "<name>0100</name>", one digit per bit, first bit
// first; no bits is "<name/>".
VX_INLINE int xmlGenBits(VXCTXT* pctxt, const XmlGenOut& out, uint64_t nbits, const uint8_t* data,
                         XmlGenName name)
{
   if (out.info == nullptr || name.n == 0 || nbits == 0 || nbits > kXmlGenInPlaceChars)
      return rtXmlEncBitString(pctxt, nbits, data, name.s, nullptr);
   return xmlGenValueElement(pctxt, out, name, (size_t)nbits, [&](uint8_t* p) {
      for (uint64_t i = 0; i < nbits; i++)
         p[i] = (uint8_t)('0' + ((data[i >> 3] >> (7 - (i & 7))) & 1));
   });
}

// rtXmlEncBitStringExt: the same, bits past the first dataSize octets taken
// from extData.
VX_INLINE int xmlGenBitsExt(VXCTXT* pctxt, const XmlGenOut& out, uint64_t nbits,
                            const uint8_t* data, uint64_t dataSize, const uint8_t* extData,
                            XmlGenName name)
{
   (void)out;
   return rtXmlEncBitStringExt(pctxt, nbits, data, dataSize, extData, name.s, nullptr);
}

// rtXmlEncHexBinary: "<name>0A1B</name>", upper case in XER style; no
// octets is "<name/>".
VX_INLINE int xmlGenHex(VXCTXT* pctxt, const XmlGenOut& out, uint64_t nocts, const uint8_t* data,
                        XmlGenName name)
{
   if (out.info == nullptr || name.n == 0 || nocts == 0 || nocts > kXmlGenInPlaceChars / 2)
      return rtXmlEncHexBinary(pctxt, (int64_t)nocts, data, name.s, nullptr);
   const char* digits = (pctxt->flags & (VXCTXT_FLAG_NOXMLNS | VXCTXT_FLAG_XMLUPPERHEX))
                           ? "0123456789ABCDEF"
                           : "0123456789abcdef";
   return xmlGenValueElement(pctxt, out, name, (size_t)(2 * nocts), [&](uint8_t* p) {
      for (uint64_t i = 0; i < nocts; i++) {
         p[2 * i] = (uint8_t)digits[data[i] >> 4];
         p[2 * i + 1] = (uint8_t)digits[data[i] & 0x0F];
      }
   });
}

// rtXmlEncUTF8Str: "<name>text</name>" with & < > " ' escaped. A text with
// characters no document can hold fails with -24 (recorded).
VX_INLINE int xmlGenText(VXCTXT* pctxt, const XmlGenOut& out, const char* value, XmlGenName name)
{
   (void)out;
   if (!rtXmlIsCharData(value)) return VX_LOG_ERRNEW(pctxt, RTERR_INVCHAR);
   return rtXmlEncUTF8Str(pctxt, value, name.s, nullptr);
}

// An open type's octets as the content of the element: kept as they are
// when they are exactly one well-formed element, otherwise in hexadecimal,
// so that no octets of a sender's choosing break or add to the document.
inline int xmlGenOpenValue(VXCTXT* pctxt, const XmlGenOut& out, const uint8_t* data, uint64_t nocts,
                           XmlGenName name)
{
   (void)out;
   if (rtXmlIsElementText(pctxt, data, nocts, nullptr, 0))
      return rtAsn1XmlEncOpenType(pctxt, data, nocts, name.s, nullptr);
   return rtXmlEncHexBinary(pctxt, (int64_t)nocts, data, name.s, nullptr);
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
