// jsonGen.h: the steps the generated JSON codecs (asn1JsonEnc_<Type>,
// asn1JsonDec_<Type>) share, so that the schema compiler writes only what
// differs from type to type.
#ifndef JSONGEN_H
#define JSONGEN_H

#include <cstring>
#include <new>
#include <type_traits>

#include "asn1ErrorHandler.h"
#include "asn1EventHandler.h"
#include "asn1Gen.h"
#include "rtJson.h"
#include "rtxBuffer.h"
#include "rtxCharStr.h"
#include "rtxDList.h"
#include "rtxDListBuf.h"
#include "rtxEnum.h"
#include "rtxError.h"
#include "rtxIndent.h"
#include "rtxMemory.h"
#include "rtxReadBytes.h"
#include "rtxTextOut.h"
#include "rtxTxtRead.h"
#include "rtxUTF8.h"

// ---- writing ----

// Literal text (a key with its quotes and colon) with a NUL kept behind it.
inline int jsonGenPut(VXCTXT* pctxt, const char* text, size_t n)
{
   int stat = rtxCheckOutputBuffer(pctxt, n + 1);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   uint8_t* p = pctxt->buffer.data + pctxt->buffer.byteIndex;
   memcpy(p, text, n);
   p[n] = 0;
   pctxt->buffer.byteIndex += n;
   pctxt->lastChar = (uint8_t)text[n - 1];
   return 0;
}

// A NUL behind the text written last (the number writers leave none).
inline int jsonGenTerminate(VXCTXT* pctxt)
{
   int stat = rtxCheckOutputBuffer(pctxt, 1);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   pctxt->buffer.data[pctxt->buffer.byteIndex] = 0;
   return 0;
}

// Room for n more bytes in the buffer as it is, without a stream to write
// to: the writers below then write in place, and otherwise take the
// general steps (which grow the buffer, or fail).
VX_INLINE uint8_t* jsonGenRoom(VXCTXT* pctxt, size_t n)
{
   VXRTBuffer& buf = pctxt->buffer;
   size_t need = n + (buf.bitOffset != 8 ? 1u : 0u);
   if (pctxt->pStream != 0 || buf.byteIndex + need > buf.size) return 0;
   return buf.data + buf.byteIndex;
}

// What the writers of breaks need to know of the context, found once per
// encoder: whether breaks may be written in place at all (indentation on,
// no indentation state, no stream, whole bytes) and, if so, the room kept
// beyond the text: a growing buffer of the writer's own must hold 16 bytes
// more, as its blanks are stored 16 at a time and may run past the text
// (not into it). Writing changes none of this; `pad` is huge when writing
// in place is off, so that no room test passes.
struct JsonGenOut {
   size_t pad;
};

VX_INLINE JsonGenOut jsonGenOutput(const VXCTXT* pctxt)
{
   JsonGenOut out;
   const VXRTBuffer& buf = pctxt->buffer;
   bool inPlace = pctxt->state == 0 && (pctxt->flags & VXCTXT_FLAG_NOINDENT) == 0 &&
                  pctxt->pStream == 0 && buf.bitOffset == 8;
   out.pad = inPlace ? (buf.dynamic ? 16 : 0) : SIZE_MAX / 4;
   return out;
}

// Room for a line break of `indent` blanks and `extra` bytes around it.
VX_INLINE uint8_t* jsonGenBreakRoom(VXCTXT* pctxt, const JsonGenOut& out, size_t indent,
                                    size_t extra)
{
   VXRTBuffer& buf = pctxt->buffer;
   if (buf.byteIndex + indent + extra + out.pad > buf.size) return 0;
   return buf.data + buf.byteIndex;
}

// A line break and `indent` blanks at p; returns the end.
VX_INLINE uint8_t* jsonGenBreak(const JsonGenOut& out, uint8_t* p, size_t indent)
{
   *p++ = '\n';
   return rtxTextPutRun(p, indent, ' ', out.pad != 0);
}

// A decimal number and the NUL behind it, as the number writers and
// jsonGenTerminate write them, straight into the buffer.
VX_INLINE bool jsonGenPutDecimal(VXCTXT* pctxt, uint64_t magnitude, bool minus)
{
   size_t n = rtxTextDigitCount(magnitude);
   size_t len = n + (minus ? 1 : 0);
   uint8_t* p = jsonGenRoom(pctxt, len + 1);
   if (p == 0) return false;
   if (minus) *p++ = '-';
   rtxTextPutDigits(p, n, magnitude);
   p[n] = 0;
   pctxt->buffer.byteIndex += len;
   pctxt->lastChar = p[n - 1];
   return true;
}

VX_INLINE int jsonGenPutInt(VXCTXT* pctxt, int64_t value, int (*general)(VXCTXT*, int32_t))
{
   uint64_t magnitude = value < 0 ? 0u - (uint64_t)value : (uint64_t)value;
   if (VX_LIKELY(jsonGenPutDecimal(pctxt, magnitude, value < 0))) return 0;
   int stat = general(pctxt, (int32_t)value);
   if (stat != 0) return stat;
   return jsonGenTerminate(pctxt);
}

template <class T>
VX_INLINE int jsonGenPutUInt(VXCTXT* pctxt, T value, int (*general)(VXCTXT*, T))
{
   if (VX_LIKELY(jsonGenPutDecimal(pctxt, (uint64_t)value, false))) return 0;
   int stat = general(pctxt, value);
   if (stat != 0) return stat;
   return jsonGenTerminate(pctxt);
}

// An identifier of an enumeration as a string. Identifiers need no escapes,
// so in place it is the quotes around the bytes; the room asked for is what
// the general string writer reserves (every byte doubled, the quotes, a
// mark and the NUL), so that the buffer grows exactly when it would.
VX_INLINE int jsonGenPutName(VXCTXT* pctxt, const char* name, size_t n)
{
   uint8_t* p;
   if (VX_LIKELY(n != 0 && name[0] != 0 && (pctxt->flags & VXCTXT_FLAG_JSONSTR) == 0 &&
                 (p = jsonGenRoom(pctxt, 2 * n + 4)) != 0)) {
      p[0] = '"';
      memcpy(p + 1, name, n);
      p[n + 1] = '"';
      p[n + 2] = 0;
      pctxt->buffer.byteIndex += n + 2;
      return 0;
   }
   return rtJsonEncStringValue2(pctxt, name, n);
}

// `{` or `[`, one level deeper, and the break before the first member.
VX_INLINE int jsonGenOpen(VXCTXT* pctxt, const JsonGenOut& out, char bracket)
{
   size_t indent = (size_t)pctxt->indent + VXRT_INDENT_SPACES;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3)) != 0)) {
      *p++ = (uint8_t)bracket;
      p = jsonGenBreak(out, p, indent);
      *p = 0;
      pctxt->buffer.byteIndex += indent + 2;
      pctxt->lastChar = (uint8_t)bracket;
      pctxt->indent = (uint16_t)indent;
      return 0;
   }
   int stat = rtJsonEncChar(pctxt, bracket);
   if (stat != 0) return stat;
   rtxIndentIncr(pctxt);
   return rtJsonEncIndent(pctxt);
}

// One level up, the break, and `}` or `]`.
VX_INLINE int jsonGenClose(VXCTXT* pctxt, const JsonGenOut& out, char bracket)
{
   rtxIndentDecr(pctxt);
   size_t indent = pctxt->indent;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3)) != 0)) {
      p = jsonGenBreak(out, p, indent);
      *p++ = (uint8_t)bracket;
      *p = 0;
      pctxt->buffer.byteIndex += indent + 2;
      pctxt->lastChar = (uint8_t)bracket;
      return 0;
   }
   int stat = rtJsonEncIndent(pctxt);
   if (stat != 0) return stat;
   return rtJsonEncChar(pctxt, bracket);
}

// The comma that ends a member's line, and the break.
VX_INLINE int jsonGenNext(VXCTXT* pctxt, const JsonGenOut& out)
{
   size_t indent = pctxt->indent;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3)) != 0)) {
      *p++ = ',';
      p = jsonGenBreak(out, p, indent);
      *p = 0;
      pctxt->buffer.byteIndex += indent + 2;
      pctxt->lastChar = ',';
      return 0;
   }
   int stat = rtJsonEncChar(pctxt, ',');
   if (stat != 0) return stat;
   return rtJsonEncIndent(pctxt);
}

// The comma that ends a member's line, the break and the next member's key
// in one step; otherwise the two steps one after the other.
VX_INLINE int jsonGenNextKey(VXCTXT* pctxt, const JsonGenOut& out, const char* key, size_t n)
{
   size_t indent = pctxt->indent;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3 + n)) != 0)) {
      *p++ = ',';
      p = jsonGenBreak(out, p, indent);
      memcpy(p, key, n);
      p[n] = 0;
      pctxt->buffer.byteIndex += indent + 2 + n;
      pctxt->lastChar = (uint8_t)key[n - 1];
      return 0;
   }
   int stat = jsonGenNext(pctxt, out);
   if (stat != 0) return stat;
   return jsonGenPut(pctxt, key, n);
}

// `{`, one level deeper, the break and the first member's key in one step;
// otherwise the two steps one after the other.
VX_INLINE int jsonGenOpenKey(VXCTXT* pctxt, const JsonGenOut& out, const char* key, size_t n)
{
   size_t indent = (size_t)pctxt->indent + VXRT_INDENT_SPACES;
   uint8_t* p;
   if (VX_LIKELY((p = jsonGenBreakRoom(pctxt, out, indent, 3 + n)) != 0)) {
      *p++ = '{';
      p = jsonGenBreak(out, p, indent);
      memcpy(p, key, n);
      p[n] = 0;
      pctxt->buffer.byteIndex += indent + 2 + n;
      pctxt->lastChar = (uint8_t)key[n - 1];
      pctxt->indent = (uint16_t)indent;
      return 0;
   }
   int stat = jsonGenOpen(pctxt, out, '{');
   if (stat != 0) return stat;
   return jsonGenPut(pctxt, key, n);
}

// A member that is a number, with what comes before its key: `lead` (a
// comma, or the brace that opens the object) and the break to `indent`,
// the key and the number, written in one step when the buffer has room
// for all of it; false, nothing written, otherwise. The text, last byte and
// NUL are those of jsonGenNextKey or jsonGenOpenKey and the number writer.
template <class T>
VX_INLINE bool jsonGenKeyNumber(VXCTXT* pctxt, const JsonGenOut& out, char lead, size_t indent,
                                const char* key, size_t n, T value)
{
   bool minus = std::is_signed<T>::value && value < 0;
   uint64_t magnitude = minus ? 0u - (uint64_t)(int64_t)value : (uint64_t)value;
   size_t digits = rtxTextDigitCount(magnitude);
   size_t len = digits + (minus ? 1 : 0);
   uint8_t* p = jsonGenBreakRoom(pctxt, out, indent, 3 + n + len);
   if (p == 0) return false;
   *p++ = (uint8_t)lead;
   p = jsonGenBreak(out, p, indent);
   memcpy(p, key, n);
   p += n;
   if (minus) *p++ = '-';
   rtxTextPutDigits(p, digits, magnitude);
   p[digits] = 0;
   pctxt->buffer.byteIndex += indent + 2 + n + len;
   pctxt->lastChar = p[digits - 1];
   return true;
}

template <class T>
VX_INLINE bool jsonGenNextKeyNumber(VXCTXT* pctxt, const JsonGenOut& out, const char* key, size_t n,
                                    T value)
{
   return jsonGenKeyNumber(pctxt, out, ',', pctxt->indent, key, n, value);
}

template <class T>
VX_INLINE bool jsonGenOpenKeyNumber(VXCTXT* pctxt, const JsonGenOut& out, const char* key, size_t n,
                                    T value)
{
   size_t indent = (size_t)pctxt->indent + VXRT_INDENT_SPACES;
   if (!jsonGenKeyNumber(pctxt, out, '{', indent, key, n, value)) return false;
   pctxt->indent = (uint16_t)indent;
   return true;
}

// ---- reading ----

// Where the text is read from, found once per object or array: whether the
// bytes from the cursor to the end of the buffer are the input
// (rtxInputIsBuffer) and the memory stream whose counts a read keeps, if
// any. Reading changes neither, except from not so to so (a stream put into
// context-buffer mode), so the steps of one decoder may use what its start
// found; each step still tests that the cursor is inside the buffer.
struct JsonGenIn {
   VXRTSTREAM* mem;
   bool direct;
};

VX_INLINE JsonGenIn jsonGenInput(const VXCTXT* pctxt)
{
   JsonGenIn in;
   in.direct = rtxInputIsBuffer(pctxt, &in.mem);
   return in;
}

VX_INLINE bool jsonGenInPlace(const VXCTXT* pctxt, const JsonGenIn& in)
{
   return in.direct && pctxt->buffer.byteIndex < pctxt->buffer.size;
}

__attribute__((noinline)) inline int jsonGenMatchGeneral(VXCTXT* pctxt, char ch)
{
   int stat = rtJsonDecMatchCharGeneral(pctxt, ch);
   return stat == 0 ? 0 : VX_LOG_ERR(pctxt, stat);
}

// The character `ch` behind white space, read; a failure is recorded.
VX_INLINE int jsonGenMatchIn(VXCTXT* pctxt, const JsonGenIn& in, char ch)
{
   if (VX_LIKELY(jsonGenInPlace(pctxt, in))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size && buf.data[i] == (uint8_t)ch) {
         rtxTextCommit(pctxt, in.mem, i + 1, i + 1 - buf.byteIndex, (uint8_t)ch);
         return 0;
      }
   }
   return jsonGenMatchGeneral(pctxt, ch);
}

VX_INLINE int jsonGenMatch(VXCTXT* pctxt, char ch)
{
   return jsonGenMatchIn(pctxt, jsonGenInput(pctxt), ch);
}

// The next character that is not blank, left unread; 0 at the end, which
// a memory stream records as -1 (the read that follows adds its own).
// In place when that character is in the buffer.
__attribute__((noinline)) inline char jsonGenPeekGeneral(VXCTXT* pctxt)
{
   rtxTxtSkipWhitespace(pctxt);
   uint8_t next = 0;
   return rtxPeekByte(pctxt, &next) == 1 ? (char)next : 0;
}

VX_INLINE char jsonGenPeekIn(VXCTXT* pctxt, const JsonGenIn& in)
{
   if (VX_LIKELY(jsonGenInPlace(pctxt, in))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size) {
         uint8_t next = buf.data[i];
         // The skip reads the character and puts it back.
         rtxTextCommit(pctxt, in.mem, i, i + 1 - buf.byteIndex, next);
         return (char)next;
      }
   }
   return jsonGenPeekGeneral(pctxt);
}

VX_INLINE char jsonGenPeek(VXCTXT* pctxt) { return jsonGenPeekIn(pctxt, jsonGenInput(pctxt)); }

// The start of an object or array: `open` read, then a peek at what
// follows; when that is `close`, it is read too. 1 for the empty object
// or array read whole, 0 when members follow (the cursor on the first), or
// the failure of a read (recorded). The same steps as jsonGenMatch,
// jsonGenPeek and jsonGenMatch one after the other, in place when the
// characters lie in the buffer.
__attribute__((noinline)) inline int jsonGenOpenTail(VXCTXT* pctxt, char close)
{
   if (jsonGenPeek(pctxt) != close) return 0;
   int stat = jsonGenMatch(pctxt, close);
   return stat != 0 ? stat : 1;
}

__attribute__((noinline)) inline int jsonGenOpenGeneral(VXCTXT* pctxt, char open, char close)
{
   int stat = jsonGenMatch(pctxt, open);
   if (stat != 0) return stat;
   return jsonGenOpenTail(pctxt, close);
}

VX_INLINE int jsonGenOpenIn(VXCTXT* pctxt, const JsonGenIn& in, char open, char close)
{
   if (VX_LIKELY(jsonGenInPlace(pctxt, in))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t start = buf.byteIndex;
      uint64_t i = rtxTextSkipBlanks(buf, start);
      if (i < buf.size && buf.data[i] == (uint8_t)open) {
         uint64_t j = rtxTextSkipBlanks(buf, i + 1);
         if (j >= buf.size) {
            rtxTextCommit(pctxt, in.mem, i + 1, i + 1 - start, (uint8_t)open);
            return jsonGenOpenTail(pctxt, close);
         }
         uint8_t next = buf.data[j];
         // The peek reads the next character and puts it back; the match
         // of `close` reads it again.
         if (next == (uint8_t)close) {
            rtxTextCommit(pctxt, in.mem, j + 1, j + 2 - start, next);
            return 1;
         }
         rtxTextCommit(pctxt, in.mem, j, j + 1 - start, next);
         return 0;
      }
   }
   return jsonGenOpenGeneral(pctxt, open, close);
}

// After a member or element: a comma read (1), or else `close` read (0),
// or the failure of reading the one or the other (recorded). The same
// steps as a peek and then jsonGenMatch of the comma or of `close`.
__attribute__((noinline)) inline int jsonGenNextGeneral(VXCTXT* pctxt, char close)
{
   int stat;
   if (jsonGenPeek(pctxt) != ',') {
      stat = jsonGenMatch(pctxt, close);
      return stat;
   }
   stat = jsonGenMatch(pctxt, ',');
   return stat != 0 ? stat : 1;
}

VX_INLINE int jsonGenNextIn(VXCTXT* pctxt, const JsonGenIn& in, char close)
{
   if (VX_LIKELY(jsonGenInPlace(pctxt, in))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size) {
         uint8_t next = buf.data[i];
         // Read twice: by the peek and by the match.
         if (next == ',') {
            rtxTextCommit(pctxt, in.mem, i + 1, i + 2 - buf.byteIndex, next);
            return 1;
         }
         if (next == (uint8_t)close) {
            rtxTextCommit(pctxt, in.mem, i + 1, i + 2 - buf.byteIndex, next);
            return 0;
         }
      }
   }
   return jsonGenNextGeneral(pctxt, close);
}

// A number of a member, read with the input test of the decoder that
// holds it (the field's reader otherwise).
template <class T>
VX_INLINE int jsonGenReadNumber(VXCTXT* pctxt, const JsonGenIn& in, T* pvalue)
{
   return rtxTxtReadNumberAt(pctxt, jsonGenInPlace(pctxt, in), in.mem, pvalue);
}

// After a member: 1 when a comma follows (read), 0 when anything else
// does (left unread, as jsonGenPeek leaves it), or the failure of reading
// the comma. In place when the next character is in the buffer.
__attribute__((noinline)) inline int jsonGenCommaGeneral(VXCTXT* pctxt)
{
   if (jsonGenPeek(pctxt) != ',') return 0;
   int stat = jsonGenMatch(pctxt, ',');
   return stat != 0 ? stat : 1;
}

VX_INLINE int jsonGenComma(VXCTXT* pctxt)
{
   VXRTSTREAM* pMemStream;
   if (VX_LIKELY(rtxTextInPlace(pctxt, &pMemStream))) {
      const VXRTBuffer& buf = pctxt->buffer;
      uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
      if (i < buf.size) {
         uint8_t next = buf.data[i];
         // The peek reads the character and puts it back; the match then
         // reads it again.
         if (next != ',') {
            rtxTextCommit(pctxt, pMemStream, i, i + 1 - buf.byteIndex, next);
            return 0;
         }
         rtxTextCommit(pctxt, pMemStream, i + 1, i + 2 - buf.byteIndex, next);
         return 1;
      }
   }
   return jsonGenCommaGeneral(pctxt);
}

// A string read for a lookup (a key, an identifier): len bytes at text,
// either in the input itself or, when it had to be read byte by byte, in
// the heap string `heap`.
struct JsonGenText {
   const char* text;
   size_t len;
   char* heap;
};

// A quoted string without escapes or NUL bytes whose closing quote, and
// `follow` behind it unless that is 0, lie in the buffer: taken in place,
// the cursor left behind the last of them. Otherwise false, nothing read.
VX_INLINE bool jsonGenTextInPlace(VXCTXT* pctxt, const JsonGenIn& in, JsonGenText* out, char follow)
{
   if (!jsonGenInPlace(pctxt, in) || (pctxt->flags & VXCTXT_FLAG_JSONSTR) != 0) return false;
   const VXRTBuffer& buf = pctxt->buffer;
   uint64_t i = rtxTextSkipBlanks(buf, buf.byteIndex);
   if (i >= buf.size || buf.data[i] != '"') return false;
   uint64_t start = ++i;
   i = rtxTextFindQuote(buf, i);
   if (i >= buf.size || buf.data[i] != '"') return false;
   uint64_t end = i + 1;
   if (follow != 0) {
      end = rtxTextSkipBlanks(buf, end);
      if (end >= buf.size || buf.data[end] != (uint8_t)follow) return false;
      end++;
   }
   out->text = (const char*)buf.data + start;
   out->len = (size_t)(i - start);
   out->heap = 0;
   rtxTextCommit(pctxt, in.mem, end, end - buf.byteIndex, buf.data[end - 1]);
   return true;
}

// A string value for a lookup.
__attribute__((noinline)) inline int jsonGenReadTextGeneral(VXCTXT* pctxt, JsonGenText* out)
{
   out->heap = 0;
   int stat = rtJsonDecStringValue(pctxt, &out->heap);
   if (stat != 0) return stat;
   out->text = out->heap;
   out->len = strlen(out->heap);
   return 0;
}

VX_INLINE int jsonGenReadText(VXCTXT* pctxt, JsonGenText* out)
{
   if (VX_LIKELY(jsonGenTextInPlace(pctxt, jsonGenInput(pctxt), out, 0))) return 0;
   return jsonGenReadTextGeneral(pctxt, out);
}

// A member's key and its colon. The key is kept as written, escapes and
// all: no identifier of the schema holds a character that needs one, so
// the lookup is unchanged, and an unknown member is kept exactly as it
// stood in the text.
__attribute__((noinline)) inline int jsonGenReadKeyGeneral(VXCTXT* pctxt, JsonGenText* key)
{
   key->heap = 0;
   int stat = rtJsonDecStringRaw(pctxt, &key->heap);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   stat = rtJsonDecMatchChar(pctxt, ':');
   if (stat != 0) {
      rtxMemFreePtr(pctxt, key->heap);
      key->heap = 0;
      return VX_LOG_ERR(pctxt, stat);
   }
   key->text = key->heap;
   key->len = strlen(key->heap);
   return 0;
}

// Where a key would start if it lies in place (white space skipped, the
// string mode off), or UINT64_MAX.
VX_INLINE uint64_t jsonGenKeyStart(VXCTXT* pctxt, const JsonGenIn& in)
{
   if (!jsonGenInPlace(pctxt, in) || (pctxt->flags & VXCTXT_FLAG_JSONSTR) != 0) return UINT64_MAX;
   return rtxTextSkipBlanks(pctxt->buffer, pctxt->buffer.byteIndex);
}

// Whether the n bytes at `at` are `lit`, a key with its quotes and colon
// and nothing to unescape: then it is read as jsonGenReadKeyIn reads it in
// place (cursor behind the colon, the same counts and last byte).
VX_INLINE bool jsonGenKeyIs(VXCTXT* pctxt, const JsonGenIn& in, uint64_t at, const char* lit,
                            size_t n)
{
   const VXRTBuffer& buf = pctxt->buffer;
   if (at > buf.size || n > buf.size - at || memcmp(buf.data + at, lit, n) != 0) return false;
   rtxTextCommit(pctxt, in.mem, at + n, at + n - buf.byteIndex, (uint8_t)':');
   return true;
}

// A member that is a number, read ahead in place in one step: at `at`
// (from jsonGenKeyStart) the key `lit` of n bytes, with its quotes and
// colon, then the number as its field's reader takes it, then white space
// and a comma or `close`. Returns the index of that comma or `close`, or 0
// when the text is not so (nothing is read; the steps one by one follow).
// *reads is what those steps count as read: the key match, the number
// reader and jsonGenNextIn add up to the bytes passed and four more; the
// peek for `null` before an optional member's value (`peeked`), which
// passes the blanks before the value for the number reader, adds one.
template <class T>
VX_INLINE uint64_t jsonGenNumberAhead(const VXCTXT* pctxt, uint64_t at, const char* lit, size_t n,
                                      char close, bool peeked, T* pvalue, uint64_t* reads)
{
   const VXRTBuffer& buf = pctxt->buffer;
   if (at > buf.size || n > buf.size - at || memcmp(buf.data + at, lit, n) != 0) return 0;
   uint64_t from = at + n;
   uint64_t end = rtxTextNumberFrom(buf, from, pvalue);
   if (end == 0) return 0;
   uint64_t k = rtxTextSkipBlanks(buf, end);
   if (k >= buf.size || (buf.data[k] != ',' && buf.data[k] != (uint8_t)close)) return 0;
   *reads = k + (peeked ? 5 : 4) - buf.byteIndex;
   return k;
}

// Takes what jsonGenNumberAhead found: the cursor behind the comma or
// `close` at k, which is the last byte read; 1 for a comma, 0 for `close`.
VX_INLINE int jsonGenAheadCommit(VXCTXT* pctxt, const JsonGenIn& in, uint64_t k, uint64_t reads)
{
   uint8_t c = pctxt->buffer.data[k];
   rtxTextCommit(pctxt, in.mem, k + 1, reads, c);
   return c == ',' ? 1 : 0;
}

VX_INLINE int jsonGenReadKeyIn(VXCTXT* pctxt, const JsonGenIn& in, JsonGenText* key)
{
   if (VX_LIKELY(jsonGenTextInPlace(pctxt, in, key, ':'))) return 0;
   return jsonGenReadKeyGeneral(pctxt, key);
}

VX_INLINE int jsonGenReadKey(VXCTXT* pctxt, JsonGenText* key)
{
   return jsonGenReadKeyIn(pctxt, jsonGenInput(pctxt), key);
}

inline void jsonGenTextRelease(VXCTXT* pctxt, JsonGenText* t)
{
   if (t->heap != 0) rtxMemFreePtr(pctxt, t->heap);
   t->heap = 0;
}

// The string as a heap string of the caller's (a copy when it was taken in
// place); null, recorded, when memory is exhausted.
inline char* jsonGenTextTake(VXCTXT* pctxt, JsonGenText* t)
{
   char* s = t->heap;
   t->heap = 0;
   if (s != 0) return s;
   s = static_cast<char*>(rtxMemAlloc(pctxt, t->len + 1));
   if (s == 0) {
      VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      return 0;
   }
   memcpy(s, t->text, t->len);
   s[t->len] = 0;
   return s;
}

// A member not known to the type, kept whole as the text "key":value with
// its NUL counted in numocts. The key is released here.
inline int jsonGenDecMemberText(VXCTXT* pctxt, char* key, ASN1OpenType** pout)
{
   char* value = 0;
   int stat = rtJsonDecAnyType(pctxt, &value);
   if (stat != 0) {
      rtxMemFreePtr(pctxt, key);
      return VX_LOG_ERR(pctxt, stat);
   }
   char* text = rtxUTF8StrJoin(pctxt, "\"", key, "\":", value, 0);
   rtxMemFreePtr(pctxt, key);
   rtxMemFreePtr(pctxt, value);
   ASN1OpenType* item = text != 0 ? rtxMemAllocTypeZ(pctxt, ASN1OpenType) : 0;
   if (item == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   item->numocts = strlen(text) + 1;
   item->data = (const uint8_t*)text;
   *pout = item;
   return 0;
}

// The same, appended to the unknown additions of a SEQUENCE.
inline int jsonGenDecExtMember(VXCTXT* pctxt, char* key, ASN1TSeqExt* ext)
{
   ASN1OpenType* item = 0;
   int stat = jsonGenDecMemberText(pctxt, key, &item);
   if (stat != 0) return stat;
   if (rtxDListAppend(pctxt, ext, item) == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   return 0;
}

// The value of an open type as raw text (numocts without the NUL).
inline int jsonGenDecRawTextTo(VXCTXT* pctxt, ASN1OpenType* out)
{
   char* text = 0;
   int stat = rtJsonDecAnyType(pctxt, &text);
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);
   out->numocts = strlen(text);
   out->data = (const uint8_t*)text;
   return 0;
}

// The same into a new open type.
inline int jsonGenDecRawText(VXCTXT* pctxt, ASN1OpenType** pout)
{
   ASN1OpenType* item = rtxMemAllocTypeZ(pctxt, ASN1OpenType);
   if (item == 0) return VX_LOG_ERR(pctxt, RTERR_NOMEM);
   *pout = item;
   return jsonGenDecRawTextTo(pctxt, item);
}

// Reading a value from a text of its own: *saved keeps the input the
// context was on, given back by jsonGenTextEnd.
inline int jsonGenTextBegin(VXCTXT* pctxt, VXCTXT* saved, const ASN1OpenType* text)
{
   rtxCopyContext(saved, pctxt);
   pctxt->pStream = 0;
   memset(&pctxt->buffer, 0, sizeof(pctxt->buffer));
   int stat = rtxInitContextBuffer(pctxt, (uint8_t*)text->data, text->numocts);
   if (stat != 0) {
      rtxCopyContext(pctxt, saved);
      return VX_LOG_ERR(pctxt, stat);
   }
   return 0;
}

inline void jsonGenTextEnd(VXCTXT* pctxt, VXCTXT* saved) { rtxCopyContext(pctxt, saved); }

#endif
