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
   size_t pad;         // room kept behind the text for 16-byte runs of blanks
};

// Where the name of a start tag written in place lies in the output: its
// offset (the buffer may move as it grows) and length, for the end tag to
// copy. A length of SIZE_MAX: the start tag took the general writer.
struct XmlGenTagRef {
   size_t at;
   size_t len;
};

VX_INLINE XmlGenOut xmlGenOutput(const VXCTXT* pctxt)
{
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   // Attributes go aside only in canonical form, which the flag test covers.
   bool plain =
      info != nullptr && info->encoding == VXXMLUTF8 && pctxt->pStream == nullptr &&
      (pctxt->flags & (VXCTXT_FLAG_C14N | VXCTXT_FLAG_XSIATTR | VXCTXT_FLAG_XMLEMPTYTAG)) == 0 &&
      info->namespaceList.count == 0;
   return XmlGenOut{plain ? info : nullptr, pctxt->buffer.dynamic ? 16u : 0u};
}

// Out of line, for the rare cases of the steps below.
VXRTDListNode* xmlGenNewNameNode(VXCTXT* pctxt);
void xmlGenNameMismatch(VXCTXT* pctxt, const char* openName, const char* elemName);

VX_INLINE size_t xmlGenNameLength(const char* name)
{
   size_t n = 0;
   while (name[n] != 0) n++;
   return n;
}

VX_INLINE uint8_t* xmlGenCopy(uint8_t* p, const char* text, size_t n)
{
   memcpy(p, text, n);
   return p + n;
}

// Names of this length or longer are measured before the room check; shorter ones
// are copied and measured in one pass, into room reserved for the longest.
constexpr size_t kXmlGenShortName = 48;

// Copies the name to p while measuring it; its length, or SIZE_MAX (and a
// partial copy) when it is longer than kXmlGenShortName.
VX_INLINE size_t xmlGenScanCopy(uint8_t* p, const char* name)
{
   // Four bytes a round: one bound test per round instead of per byte.
   for (size_t n = 0; n < kXmlGenShortName; n += 4) {
      char c0 = name[n];
      if (c0 == 0) return n;
      p[n] = (uint8_t)c0;
      char c1 = name[n + 1];
      if (c1 == 0) return n + 1;
      p[n + 1] = (uint8_t)c1;
      char c2 = name[n + 2];
      if (c2 == 0) return n + 2;
      p[n + 2] = (uint8_t)c2;
      char c3 = name[n + 3];
      if (c3 == 0) return n + 3;
      p[n + 3] = (uint8_t)c3;
   }
   return SIZE_MAX;
}

// n bytes from src to dst, both in the output buffer with 16 bytes of room
// behind them, 16 at a time; dst lies behind the whole of src.
VX_INLINE uint8_t* xmlGenCopyPadded(uint8_t* dst, const uint8_t* src, size_t n)
{
#if defined(__SSE2__)
   for (size_t k = 0; k < n; k += 16) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + k));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + k), v);
      __asm__("" : "+r"(k));
   }
   return dst + n;
#else
   return xmlGenCopy(dst, (const char*)src, n);
#endif
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
// current level at p, when indenting. With blanks and the pad behind, the
// line feed and the first 15 blanks are one 16-byte store.
VX_INLINE uint8_t* xmlGenBreak(const VXCTXT* pctxt, const XmlGenOut& out, uint8_t* p, size_t width)
{
   const XmlCtxtInfo* info = out.info;
   if (info->indent == 0) return p;
   size_t feed = pctxt->state != XMLSTATE_INITIAL ? 1 : 0;
#if defined(__SSE2__)
   if (out.pad != 0 && info->indentChar == ' ') {
      static const char kLine[] = "\n                ";  // a line feed, 16 blanks
      _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                       _mm_loadu_si128(reinterpret_cast<const __m128i*>(kLine + 1 - feed)));
      size_t total = width + feed;
      if (VX_UNLIKELY(total > 16)) {
         // Up to 32 in a second store: the room holds the pad behind them.
         if (total <= 32)
            _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 16),
                             _mm_loadu_si128(reinterpret_cast<const __m128i*>(kLine + 1)));
         else
            rtxTextPutRun(p + 16, total - 16, ' ', true);
      }
      return p + total;
   }
#endif
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
// bytes: "<" or "</"), the name, `close` (">" or "/>"). Growing buffers
// take the name in one pass; the others measure it first. 0 or a status.
VX_INLINE int xmlGenTag(VXCTXT* pctxt, const XmlGenOut& out, bool brk, const char* open,
                        size_t openLen, const char* elemName, const char* close, size_t closeLen,
                        XmlGenTagRef* ref = nullptr)
{
   size_t width = brk ? xmlGenWidth(pctxt, out) : 0;
   uint8_t* p = nullptr;
   int stat;
   if (VX_LIKELY(out.pad != 0)) {
      uint32_t flags = pctxt->flags;
      stat = xmlGenRoom(pctxt, out, width, openLen + kXmlGenShortName + closeLen, p);
      if (stat != 0) return stat;
      if (brk) p = xmlGenBreak(pctxt, out, p, width);
      for (size_t i = 0; i < openLen; i++) *p++ = (uint8_t)open[i];
      size_t n = xmlGenScanCopy(p, elemName);
      if (VX_LIKELY(n != SIZE_MAX)) {
         if (ref != nullptr) *ref = XmlGenTagRef{(size_t)(p - pctxt->buffer.data), n};
         p += n;
         for (size_t i = 0; i < closeLen; i++) *p++ = (uint8_t)close[i];
         xmlGenDone(pctxt, p);
         return 0;
      }
      pctxt->flags = flags;  // a long name: start again, measured
   }
   size_t n = xmlGenNameLength(elemName);
   if ((stat = xmlGenRoom(pctxt, out, width, openLen + n + closeLen, p)) != 0) return stat;
   if (brk) p = xmlGenBreak(pctxt, out, p, width);
   for (size_t i = 0; i < openLen; i++) *p++ = (uint8_t)open[i];
   if (ref != nullptr) *ref = XmlGenTagRef{(size_t)(p - pctxt->buffer.data), n};
   p = xmlGenCopy(p, elemName, n);
   for (size_t i = 0; i < closeLen; i++) *p++ = (uint8_t)close[i];
   xmlGenDone(pctxt, p);
   return 0;
}

// rtXmlEncStartElement(name, no namespace, no attributes, terminated): an
// empty name only terminates a pending start tag. With `ref`, where the
// name went, for xmlGenEnd.
VX_INLINE int xmlGenStart(VXCTXT* pctxt, const XmlGenOut& out, const char* elemName,
                          XmlGenTagRef* ref = nullptr)
{
   if (ref != nullptr) *ref = XmlGenTagRef{0, SIZE_MAX};
   if (out.info == nullptr || elemName == nullptr || elemName[0] == 0)
      return rtXmlEncStartElement(pctxt, elemName, nullptr, nullptr, true);
   XmlCtxtInfo* info = out.info;
   VXRTDListNode* node = info->freeNameNodes;
   if (VX_LIKELY(node != nullptr))
      info->freeNameNodes = node->next;
   else if ((node = xmlGenNewNameNode(pctxt)) == nullptr)
      return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   int stat = xmlGenTag(pctxt, out, true, "<", 1, elemName, ">", 1, ref);
   if (stat != 0) {
      node->next = info->freeNameNodes;
      info->freeNameNodes = node;
      return stat;
   }
   node->data = (void*)elemName;
   rtxDListAppendNode(&pctxt->elemNameStack, node);
   pctxt->level++;
   pctxt->state = XMLSTATE_SOE;
   return 0;
}

// rtXmlEncEndElement: "</name>", on a line of its own behind elements, or
// "<name/>" when nothing was written since the start tag. With the start
// tag's `ref`, the name is copied from the start tag.
VX_INLINE int xmlGenEnd(VXCTXT* pctxt, const XmlGenOut& out, const char* elemName,
                        const XmlGenTagRef* ref = nullptr)
{
   if (out.info == nullptr || elemName == nullptr || elemName[0] == 0)
      return rtXmlEncEndElement(pctxt, elemName, nullptr);
   VXRTDList& names = pctxt->elemNameStack;
   VXRTDListNode* node = names.tail;
   if (VX_UNLIKELY(node == nullptr || node->data != elemName))
      xmlGenNameMismatch(pctxt, node != nullptr ? (const char*)node->data : "", elemName);
   pctxt->level--;
   uint8_t* p = nullptr;
   int stat;
   if (pctxt->state == XMLSTATE_SOE) {
      // "<a>" with nothing behind it becomes "<a/>"; a start tag still open
      // takes the "/>" directly.
      if ((stat = rtxCheckOutputBuffer(pctxt, 3)) != 0) return VX_LOG_ERR(pctxt, stat);
      p = pctxt->buffer.data + pctxt->buffer.byteIndex;
      if (pctxt->flags & VXCTXT_FLAG_XMLTAGOPEN)
         pctxt->flags &= ~VXCTXT_FLAG_XMLTAGOPEN;
      else if (p != pctxt->buffer.data)
         p--;
      *p++ = '/';
      *p++ = '>';
      xmlGenDone(pctxt, p);
   } else {
      bool own = pctxt->state == XMLSTATE_EOE || pctxt->state == XMLSTATE_COMMENT;
      if (ref != nullptr && ref->len != SIZE_MAX && out.pad != 0) {
         // The name lies in the buffer: copied 16 bytes a step, from
         // before the cursor to behind it (room kept for the overshoot).
         size_t width = own ? xmlGenWidth(pctxt, out) : 0;
         if ((stat = xmlGenRoom(pctxt, out, width, ref->len + 3, p)) != 0) return stat;
         if (own) p = xmlGenBreak(pctxt, out, p, width);
         *p++ = '<';
         *p++ = '/';
         p = xmlGenCopyPadded(p, pctxt->buffer.data + ref->at, ref->len);
         *p++ = '>';
         xmlGenDone(pctxt, p);
      } else if ((stat = xmlGenTag(pctxt, out, own, "</", 2, elemName, ">", 1)) != 0) {
         return stat;
      }
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
VX_INLINE int xmlGenEmpty(VXCTXT* pctxt, const XmlGenOut& out, const char* elemName)
{
   if (out.info == nullptr || elemName == nullptr || elemName[0] == 0)
      return rtXmlEncEmptyElement(pctxt, elemName, nullptr, nullptr, true);
   int stat = xmlGenTag(pctxt, out, true, "<", 1, elemName, "/>", 2);
   if (stat != 0) return stat;
   pctxt->state = XMLSTATE_EOE;
   return 0;
}

// What follows a number element's name: ">", the digits, "</", the name
// again (by `copyName`, which returns the end of the copy) and ">"; the
// writer's state behind it.
template <class CopyName>
VX_INLINE void xmlGenNumberRest(VXCTXT* pctxt, uint8_t* p, bool minus, uint64_t magnitude,
                                size_t digits, CopyName copyName)
{
   *p++ = '>';
   if (minus) *p++ = '-';
   rtxTextPutDigits(p, digits, magnitude);
   p += digits;
   *p++ = '<';
   *p++ = '/';
   p = copyName(p);
   *p++ = '>';
   xmlGenDone(pctxt, p);
   pctxt->state = XMLSTATE_EOE;
}

// "<name>digits</name>" in one piece, as rtXmlEncInt64 / rtXmlEncUInt64
// write it (nothing can fail once the room is there).
VX_INLINE int xmlGenNumber(VXCTXT* pctxt, const XmlGenOut& out, uint64_t magnitude, bool minus,
                           const char* elemName, size_t known = SIZE_MAX)
{
   size_t digits = rtxTextDigitCount(magnitude);
   size_t width = xmlGenWidth(pctxt, out);
   uint8_t* p = nullptr;
   int stat;
   if (known != SIZE_MAX) {
      // A component's name: its length is given, the copies are moves.
      stat = xmlGenRoom(pctxt, out, width, 2 * known + 5 + 1 + digits, p);
      if (stat != 0) return stat;
      p = xmlGenBreak(pctxt, out, p, width);
      *p++ = '<';
      memcpy(p, elemName, known);
      xmlGenNumberRest(pctxt, p + known, minus, magnitude, digits, [&](uint8_t* to) {
         memcpy(to, elemName, known);
         return to + known;
      });
      return 0;
   }
   if (VX_LIKELY(out.pad != 0)) {
      // A growing buffer: room for the longest short name, the name copied
      // as it is measured, the end tag's copy taken from the start tag.
      uint32_t flags = pctxt->flags;
      stat = xmlGenRoom(pctxt, out, width, 2 * kXmlGenShortName + 5 + 1 + digits, p);
      if (stat != 0) return stat;
      p = xmlGenBreak(pctxt, out, p, width);
      *p++ = '<';
      const uint8_t* name = p;
      size_t n = xmlGenScanCopy(p, elemName);
      if (VX_LIKELY(n != SIZE_MAX)) {
         xmlGenNumberRest(pctxt, p + n, minus, magnitude, digits,
                          [&](uint8_t* to) { return xmlGenCopyPadded(to, name, n); });
         return 0;
      }
      pctxt->flags = flags;  // a long name: start again, measured
   }
   size_t n = xmlGenNameLength(elemName);
   stat = xmlGenRoom(pctxt, out, width, 2 * n + 5 + 1 + digits, p);
   if (stat != 0) return stat;
   p = xmlGenBreak(pctxt, out, p, width);
   *p++ = '<';
   p = xmlGenCopy(p, elemName, n);
   xmlGenNumberRest(pctxt, p, minus, magnitude, digits,
                    [&](uint8_t* to) { return xmlGenCopy(to, elemName, n); });
   return 0;
}

VX_INLINE int xmlGenInt(VXCTXT* pctxt, const XmlGenOut& out, int64_t value, const char* elemName)
{
   if (out.info == nullptr || elemName == nullptr || elemName[0] == 0)
      return rtXmlEncInt64(pctxt, value, elemName, nullptr);
   uint64_t magnitude = value < 0 ? 0u - (uint64_t)value : (uint64_t)value;
   return xmlGenNumber(pctxt, out, magnitude, value < 0, elemName);
}

VX_INLINE int xmlGenUInt(VXCTXT* pctxt, const XmlGenOut& out, uint64_t value, const char* elemName)
{
   if (out.info == nullptr || elemName == nullptr || elemName[0] == 0)
      return rtXmlEncUInt64(pctxt, value, elemName, nullptr);
   return xmlGenNumber(pctxt, out, value, false, elemName);
}

// The same for a component whose literal name of n bytes the compiler
// knows: with n a constant, the name is copied by moves.
VX_INLINE int xmlGenInt(VXCTXT* pctxt, const XmlGenOut& out, int64_t value, const char* elemName,
                        size_t n)
{
   if (out.info == nullptr || n == 0) return rtXmlEncInt64(pctxt, value, elemName, nullptr);
   uint64_t magnitude = value < 0 ? 0u - (uint64_t)value : (uint64_t)value;
   return xmlGenNumber(pctxt, out, magnitude, value < 0, elemName, n);
}

VX_INLINE int xmlGenUInt(VXCTXT* pctxt, const XmlGenOut& out, uint64_t value, const char* elemName,
                         size_t n)
{
   if (out.info == nullptr || n == 0) return rtXmlEncUInt64(pctxt, value, elemName, nullptr);
   return xmlGenNumber(pctxt, out, value, false, elemName, n);
}

// ---- further steps, over the general writer ----

// "<name>", "<id/>" one level deeper, "</name>", each on its own line: an
// enumerator or a boolean as an empty child element. In place it is one
// room check for the three tags; the text is that of xmlGenStart,
// xmlGenEmpty and xmlGenEnd in a row.
VX_INLINE int xmlGenNamed(VXCTXT* pctxt, const XmlGenOut& out, const char* id, size_t idLen,
                          const char* elemName)
{
   if (out.info == nullptr || elemName == nullptr || elemName[0] == 0) {
      int stat = xmlGenStart(pctxt, out, elemName);
      if (stat == 0) stat = xmlGenEmpty(pctxt, out, id);
      if (stat == 0) stat = xmlGenEnd(pctxt, out, elemName);
      return stat;
   }
   size_t n = xmlGenNameLength(elemName);
   size_t width = xmlGenWidth(pctxt, out);
   size_t inner = width + out.info->indent;
   uint8_t* p = nullptr;
   // Three breaks (two more line feeds than the room counts) and the tags.
   int stat = xmlGenRoom(pctxt, out, width + inner + width + 2, (n + 2) + (idLen + 3) + (n + 3), p);
   if (stat != 0) return stat;
   p = xmlGenBreak(pctxt, out, p, width);
   *p++ = '<';
   const uint8_t* name = p;
   p = xmlGenCopy(p, elemName, n);
   *p++ = '>';
   pctxt->state = XMLSTATE_SOE;
   p = xmlGenBreak(pctxt, out, p, inner);
   *p++ = '<';
   p = xmlGenCopy(p, id, idLen);
   *p++ = '/';
   *p++ = '>';
   p = xmlGenBreak(pctxt, out, p, width);
   *p++ = '<';
   *p++ = '/';
   // From the start tag: 16 bytes a step where the pad allows.
   p = out.pad != 0 ? xmlGenCopyPadded(p, name, n) : xmlGenCopy(p, (const char*)name, n);
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
VX_INLINE int xmlGenValueElement(VXCTXT* pctxt, const XmlGenOut& out, const char* elemName,
                                 size_t nchars, Fill fill)
{
   size_t n = xmlGenNameLength(elemName);
   size_t width = xmlGenWidth(pctxt, out);
   uint8_t* p = nullptr;
   int stat = xmlGenRoom(pctxt, out, width, 2 * n + 5 + nchars, p);
   if (stat != 0) return stat;
   p = xmlGenBreak(pctxt, out, p, width);
   *p++ = '<';
   const uint8_t* name = p;
   p = xmlGenCopy(p, elemName, n);
   *p++ = '>';
   fill(p);
   p += nchars;
   *p++ = '<';
   *p++ = '/';
   p = out.pad != 0 ? xmlGenCopyPadded(p, name, n) : xmlGenCopy(p, (const char*)name, n);
   *p++ = '>';
   xmlGenDone(pctxt, p);
   pctxt->state = XMLSTATE_EOE;
   return 0;
}

// rtXmlEncBitString: "<name>0100</name>", one digit per bit, first bit
// first; no bits is "<name/>".
VX_INLINE int xmlGenBits(VXCTXT* pctxt, const XmlGenOut& out, uint64_t nbits, const uint8_t* data,
                         const char* elemName)
{
   if (out.info == nullptr || elemName == nullptr || elemName[0] == 0 || nbits == 0 ||
       nbits > kXmlGenInPlaceChars)
      return rtXmlEncBitString(pctxt, nbits, data, elemName, nullptr);
   return xmlGenValueElement(pctxt, out, elemName, (size_t)nbits, [&](uint8_t* p) {
      for (uint64_t i = 0; i < nbits; i++)
         p[i] = (uint8_t)('0' + ((data[i >> 3] >> (7 - (i & 7))) & 1));
   });
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

// rtXmlEncHexBinary: "<name>0A1B</name>", upper case in XER style; no
// octets is "<name/>".
VX_INLINE int xmlGenHex(VXCTXT* pctxt, const XmlGenOut& out, uint64_t nocts, const uint8_t* data,
                        const char* elemName)
{
   if (out.info == nullptr || elemName == nullptr || elemName[0] == 0 || nocts == 0 ||
       nocts > kXmlGenInPlaceChars / 2)
      return rtXmlEncHexBinary(pctxt, (int64_t)nocts, data, elemName, nullptr);
   const char* digits = (pctxt->flags & (VXCTXT_FLAG_NOXMLNS | VXCTXT_FLAG_XMLUPPERHEX))
                           ? "0123456789ABCDEF"
                           : "0123456789abcdef";
   return xmlGenValueElement(pctxt, out, elemName, (size_t)(2 * nocts), [&](uint8_t* p) {
      for (uint64_t i = 0; i < nocts; i++) {
         p[2 * i] = (uint8_t)digits[data[i] >> 4];
         p[2 * i + 1] = (uint8_t)digits[data[i] & 0x0F];
      }
   });
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
