// Helpers shared by the writer units: output of ASCII markup in the output
// encoding after room has been reserved once for a whole tag.
#ifndef RTXMLINTERNAL_H
#define RTXMLINTERNAL_H

#include "rtXml.h"
#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxTextOut.h"

// Bytes per character in the output encoding: two for the UTF-16 forms.
VX_INLINE size_t xmlUnitSize(const VXCTXT* pctxt)
{
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   return (info != nullptr && info->encoding >= VXXMLUTF16 && info->encoding <= VXXMLUTF16LE) ? 2
                                                                                              : 1;
}

// Stores n ASCII characters at the cursor in the output encoding; the room
// must have been reserved (rtXmlCheckBuffer).
VX_INLINE void xmlPutRaw(VXCTXT* pctxt, const char* text, size_t n)
{
   if (n == 0) return;
   VXRTBuffer& buf = pctxt->buffer;
   uint8_t* p = buf.data + buf.byteIndex;
   const XmlCtxtInfo* info = rtXmlGetCtxtInfo(pctxt);
   uint32_t enc = info != nullptr ? info->encoding : VXXMLUTF8;
   if (enc < VXXMLUTF16 || enc > VXXMLUTF16LE) {
      memcpy(p, text, n);
      buf.byteIndex += n;
   } else {
      // UTF-16 without suffix puts the low byte first, as the little-endian form.
      bool bigEndian = enc == VXXMLUTF16BE;
      for (size_t i = 0; i < n; i++) {
         *p++ = bigEndian ? 0 : (uint8_t)text[i];
         *p++ = bigEndian ? (uint8_t)text[i] : 0;
      }
      buf.byteIndex += 2 * n;
   }
   pctxt->lastChar = (uint8_t)text[n - 1];
}

// Repeats one ASCII character n times; room reserved.
VX_INLINE void xmlPutRepeat(VXCTXT* pctxt, char ch, size_t n)
{
   if (n == 0) return;
   if (xmlUnitSize(pctxt) == 1) {
      memset(pctxt->buffer.data + pctxt->buffer.byteIndex, (uint8_t)ch, n);
      pctxt->buffer.byteIndex += n;
      pctxt->lastChar = (uint8_t)ch;
   } else {
      for (size_t i = 0; i < n; i++) xmlPutRaw(pctxt, &ch, 1);
   }
}

// Puts a NUL behind the text without counting it; one byte must be reserved.
VX_INLINE void xmlTerminate(VXCTXT* pctxt) { pctxt->buffer.data[pctxt->buffer.byteIndex] = 0; }

// Reserves room for n characters plus a terminating NUL byte.
VX_INLINE int xmlReserve(VXCTXT* pctxt, size_t n)
{
   return rtxCheckOutputBuffer(pctxt, n * xmlUnitSize(pctxt) + 1);
}

// Markup that may be stored directly as bytes in one step: UTF-8 out, no
// canonical form (and so no side buffer), no xsi:nil and no "/>" pending.
VX_INLINE bool xmlPlainMarkup(const VXCTXT* pctxt, const XmlCtxtInfo* info)
{
   return info->encoding == VXXMLUTF8 &&
          (pctxt->flags & (VXCTXT_FLAG_C14N | VXCTXT_FLAG_XSIATTR | VXCTXT_FLAG_XMLEMPTYTAG)) == 0;
}

// The line feed (unless nothing is written yet) and `width` indentation
// characters at p, when indenting; returns the position behind them.
VX_INLINE uint8_t* xmlPutBreak(const VXCTXT* pctxt, const XmlCtxtInfo* info, uint8_t* p,
                               size_t width)
{
   if (info->indent == 0) return p;
   if (pctxt->state != XMLSTATE_INITIAL) *p++ = '\n';
   // A growing buffer with 16 bytes to spare behind the run takes it 16 at a
   // time; the bytes past it are written over next.
   const VXRTBuffer& buf = pctxt->buffer;
   bool padded = buf.dynamic && (size_t)(p - buf.data) + width + 16 <= buf.size;
   return rtxTextPutRun(p, width, (uint8_t)info->indentChar, padded);
}

// Copies a name; names are short, so without a library call for most.
VX_INLINE uint8_t* xmlCopyName(uint8_t* p, const char* name, size_t n)
{
   if (n > 24) {
      memcpy(p, name, n);
      return p + n;
   }
   for (size_t i = 0; i < n; i++) p[i] = (uint8_t)name[i];
   return p + n;
}

// Writes ASCII markup: reserve, store, terminate.
int xmlWriteAscii(VXCTXT* pctxt, const char* text, size_t n);

// The value writers leave state 4 (character data) unless inside an
// attribute value.
VX_INLINE void xmlSetCharDataState(VXCTXT* pctxt)
{
   if (pctxt->state != XMLSTATE_ATTR) pctxt->state = XMLSTATE_CHARDATA;
}

// Records a failure of this unit with its position and returns it.
#define XML_FAIL(pctxt, stat) VX_LOG_ERR(pctxt, stat)

#endif
