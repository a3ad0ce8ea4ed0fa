// Streams: reading from or writing to something other than the context's
// buffer. The record hangs off the context (pStream) and is a table of
// functions plus counters; each kind of stream installs its functions.
#ifndef RTXSTREAM_H
#define RTXSTREAM_H

#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "rtxContext.h"
#include "rtxReadBytes.h"

struct VXRTMEMBUF;

// The functions of one kind of stream. Counts are byte counts; results are
// a count (read, write), 0, or a negative status.
typedef long (*VXRTStreamReadProc)(VXRTSTREAM* pStream, uint8_t* pbuffer, size_t bufSize);
typedef long (*VXRTStreamWriteProc)(VXRTSTREAM* pStream, const uint8_t* data, size_t numocts);
typedef int (*VXRTStreamFlushProc)(VXRTSTREAM* pStream);
typedef int (*VXRTStreamCloseProc)(VXRTSTREAM* pStream);
typedef int (*VXRTStreamSkipProc)(VXRTSTREAM* pStream, size_t skipBytes);
typedef int (*VXRTStreamMarkProc)(VXRTSTREAM* pStream, size_t readAheadLimit);
typedef int (*VXRTStreamResetProc)(VXRTSTREAM* pStream);
typedef int (*VXRTStreamGetPosProc)(VXRTSTREAM* pStream, size_t* ppos);
typedef int (*VXRTStreamSetPosProc)(VXRTSTREAM* pStream, size_t pos);

struct VXRTSTREAM {
   VXRTStreamReadProc read;
   VXRTStreamWriteProc write;
   VXRTStreamFlushProc flush;
   VXRTStreamCloseProc close;
   VXRTStreamSkipProc skip;
   VXRTStreamMarkProc mark;
   VXRTStreamResetProc reset;
   VXRTStreamGetPosProc getPos;
   VXRTStreamSetPosProc setPos;
   void* extra;                    // data of this kind of stream
   uint64_t bufSize;               // context buffer capacity in context-buffer mode
   uint64_t readAheadLimit;        // limit given to mark
   uint64_t ioBytes;               // bytes before the start of the context buffer
   uint64_t markedBytesProcessed;  // ioBytes at the mark, or the marked index
   uint64_t bytesProcessed;        // bytes handed to the reader / taken from the writer
   uint64_t readAheadCount;        // bytes read since the mark
   uint64_t inputLimit;            // total number of bytes that may be read
   uint32_t id;                    // kind, VXRT_STREAM_ID_*
   VXRTMEMBUF* pCaptureBuf;        // collects all input, null if none
   uint16_t flags;                 // VXRT_STREAM_*
};

// Kinds of stream.
#define VXRT_STREAM_ID_FILE 1u
#define VXRT_STREAM_ID_SOCKET 2u
#define VXRT_STREAM_ID_MEMORY 3u
#define VXRT_STREAM_ID_BUFFERED 4u
#define VXRT_STREAM_ID_DIRECTBUF 5u
#define VXRT_STREAM_ID_CTXTBUF 6u

// Stream flags.
#define VXRT_STREAM_INPUT 0x0001u
#define VXRT_STREAM_OUTPUT 0x0002u
#define VXRT_STREAM_HEXTEXT 0x0800u
#define VXRT_STREAM_POSMARKED 0x1000u  // a context buffer index is held for a mark
#define VXRT_STREAM_MARKED 0x2000u     // mark supported, or a mark stands
#define VXRT_STREAM_BASE64 0x4000u
#define VXRT_STREAM_CTXTBUF 0x8000u  // reads go through the context's buffer

// Size of the context buffer in context-buffer mode, and the largest
// shortfall that is loaded through it rather than read straight.
#define VXRT_STREAM_CTXTBUFSIZE 1024u

// Whether the context reads through its stream: a stream is attached and
// the context is not told to work on its buffer alone.
VX_INLINE bool rtxCtxtHasLiveStream(const VXCTXT* pctxt)
{
   return pctxt->pStream != nullptr && (pctxt->flags & VXCTXT_FLAG_BUFONLY) == 0;
}

// Whether the bytes from the cursor to the end of the context buffer are
// the next bytes of the input, so that readers may take them in place: no
// live stream, context-buffer mode, or an attached memory stream (whose
// bytes are the buffer) read outside that mode with nothing to capture.
// In the last case *ppMemStream is that stream, whose counts a read must
// keep as the memory stream's read would; otherwise it is null.
VX_INLINE bool rtxInputIsBuffer(const VXCTXT* pctxt, VXRTSTREAM** ppMemStream)
{
   *ppMemStream = nullptr;
   VXRTSTREAM* pStream = rtxCtxtHasLiveStream(pctxt) ? pctxt->pStream : nullptr;
   if (pStream == nullptr || (pStream->flags & VXRT_STREAM_CTXTBUF) != 0) return true;
   if (pStream->id != VXRT_STREAM_ID_MEMORY || pStream->read == nullptr ||
       (pStream->flags & (VXRT_STREAM_INPUT | VXRT_STREAM_HEXTEXT)) != VXRT_STREAM_INPUT ||
       pStream->pCaptureBuf != nullptr)
      return false;
   *ppMemStream = pStream;
   return true;
}

// Reads nocts bytes into pdata (null: skips them); see rtxReadBytesGeneral.
// Inline when the bytes lie in the context buffer and the buffer is the
// input (rtxInputIsBuffer); everything else goes to rtxReadBytesGeneral.
VX_INLINE int rtxReadBytes(VXCTXT* pctxt, uint8_t* pdata, size_t nocts)
{
   VXRTSTREAM* pMemStream;
   if (VX_LIKELY(pctxt != nullptr && nocts != 0 && pctxt->buffer.byteIndex < pctxt->buffer.size &&
                 nocts <= pctxt->buffer.size - pctxt->buffer.byteIndex &&
                 rtxInputIsBuffer(pctxt, &pMemStream))) {
      VXRTBuffer& buf = pctxt->buffer;
      if (pdata != nullptr) memcpy(pdata, buf.data + buf.byteIndex, nocts);
      buf.byteIndex += nocts;
      pctxt->lastChar = buf.data[buf.byteIndex - 1];
      if (pMemStream != nullptr) {
         pMemStream->ioBytes += nocts;
         pMemStream->bytesProcessed += nocts;
         if (pMemStream->readAheadLimit != 0) pMemStream->readAheadCount += nocts;
      }
      return 0;
   }
   return rtxReadBytesGeneral(pctxt, pdata, nocts);
}

// In-place text reading. rtxTextInPlace tells whether the unread bytes of
// the buffer may be scanned directly (the buffer is the input and holds at
// least one unread byte). rtxTextCommit then moves the cursor to `index` and
// leaves what reading byte by byte leaves: `reads` bytes counted as read by
// a memory stream (bytes read and put back again included) and `last`, the
// byte read last, in lastChar.
VX_INLINE bool rtxTextInPlace(const VXCTXT* pctxt, VXRTSTREAM** ppMemStream)
{
   return pctxt->buffer.byteIndex < pctxt->buffer.size && rtxInputIsBuffer(pctxt, ppMemStream);
}

VX_INLINE void rtxTextCommit(VXCTXT* pctxt, VXRTSTREAM* pMemStream, uint64_t index, uint64_t reads,
                             uint8_t last)
{
   pctxt->buffer.byteIndex = index;
   pctxt->lastChar = last;
   if (pMemStream != nullptr) {
      pMemStream->ioBytes += reads;
      pMemStream->bytesProcessed += reads;
      if (pMemStream->readAheadLimit != 0) pMemStream->readAheadCount += reads;
   }
}

VX_INLINE bool rtxTextIsBlank(uint8_t c) { return c == ' ' || (c >= 0x09 && c <= 0x0D); }

// The index of the first byte at or after `i` that is not white space, or
// the buffer size. Every byte above the blank is no white space, which one
// comparison tells for the byte met most often. A line break and the
// blanks of an indentation, the white space of indented text, are passed by
// a line-break test and a search for the first byte other than a blank, 32
// bytes at a time (two lines' depth of most texts); any other white space,
// and what is left of a buffer short of 32 bytes, by the general test,
// sixteen bytes at a time where the buffer has them.
VX_INLINE uint64_t rtxTextSkipBlanks(const VXRTBuffer& buf, uint64_t i)
{
   if (i < buf.size) {
      uint8_t c = buf.data[i];
      if (c > ' ' || !rtxTextIsBlank(c)) return i;
      if (c == '\n') i++;
   }
#if defined(__SSE2__)
   const __m128i space = _mm_set1_epi8(' ');
   while (i + 32 <= buf.size) {
      __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf.data + i));
      __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf.data + i + 16));
      unsigned blanks = (unsigned)_mm_movemask_epi8(_mm_cmpeq_epi8(lo, space)) |
                        ((unsigned)_mm_movemask_epi8(_mm_cmpeq_epi8(hi, space)) << 16);
      if (blanks != 0xFFFFFFFFu) {
         i += (unsigned)__builtin_ctz(~blanks);
         uint8_t c = buf.data[i];
         if (c > ' ' || !rtxTextIsBlank(c)) return i;
         break;
      }
      i += 32;
   }
   const __m128i nine = _mm_set1_epi8(9);
   const __m128i four = _mm_set1_epi8(4);
   while (i + 16 <= buf.size) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf.data + i));
      __m128i ctl = _mm_sub_epi8(v, nine);  // 0..4 for HT..CR
      __m128i blank =
         _mm_or_si128(_mm_cmpeq_epi8(v, space), _mm_cmpeq_epi8(_mm_min_epu8(ctl, four), ctl));
      unsigned other = ~(unsigned)_mm_movemask_epi8(blank) & 0xFFFFu;
      if (other != 0) return i + (unsigned)__builtin_ctz(other);
      i += 16;
   }
#endif
   while (i < buf.size && rtxTextIsBlank(buf.data[i])) i++;
   return i;
}

// The index of the first quote, backslash or NUL at or after `i`, or the
// buffer size: the end of a string that needs no unescaping.
VX_INLINE uint64_t rtxTextFindQuote(const VXRTBuffer& buf, uint64_t i)
{
#if defined(__SSE2__)
   const __m128i quote = _mm_set1_epi8('"');
   const __m128i backslash = _mm_set1_epi8('\\');
   const __m128i zero = _mm_setzero_si128();
   while (i + 16 <= buf.size) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf.data + i));
      __m128i hit = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, quote), _mm_cmpeq_epi8(v, zero)),
                                 _mm_cmpeq_epi8(v, backslash));
      unsigned mask = (unsigned)_mm_movemask_epi8(hit);
      if (mask != 0) return i + (unsigned)__builtin_ctz(mask);
      i += 16;
   }
#endif
   while (i < buf.size) {
      uint8_t b = buf.data[i];
      if (b == '"' || b == '\\' || b == 0) break;
      i++;
   }
   return i;
}

// Reads over the white space (space, HT to CR) at the cursor that lies in
// the buffer when the buffer is the input, leaving the state reading it
// byte by byte leaves; the byte-wise readers then carry on from there.
VX_INLINE void rtxSkipBufferedWhitespace(VXCTXT* pctxt)
{
   VXRTSTREAM* pMemStream;
   if (pctxt == nullptr || !rtxInputIsBuffer(pctxt, &pMemStream)) return;
   const VXRTBuffer& buf = pctxt->buffer;
   uint64_t i = buf.byteIndex;
   while (i < buf.size && (buf.data[i] == ' ' || (buf.data[i] >= 0x09 && buf.data[i] <= 0x0D))) i++;
   if (i > buf.byteIndex) rtxReadBytes(pctxt, nullptr, (size_t)(i - buf.byteIndex));
}

// Closes an existing stream and allocates a fresh, zeroed record.
int rtxStreamInit(VXCTXT* pctxt);

// Makes the caller's bytes the context's buffer, without copying, and
// installs the memory stream functions. flags: VXRT_STREAM_INPUT or
// VXRT_STREAM_OUTPUT, optionally VXRT_STREAM_HEXTEXT. -20 for null or empty data.
int rtxStreamMemoryAttach(VXCTXT* pctxt, const uint8_t* pMemBuf, size_t bufSize, uint16_t flags);
// The whole of an attached memory input stream, in place, when nothing has
// been read from it yet (and it is neither read as hexadecimal text nor
// captured, which needs every byte to pass through the stream).
bool rtxStreamMemoryUnread(VXCTXT* pctxt, const uint8_t** pdata, size_t* psize);

long rtxStreamRead(VXCTXT* pctxt, uint8_t* pbuffer, size_t bufSize);
long rtxStreamReadDirect(VXCTXT* pctxt, uint8_t* pbuffer, size_t bufSize);
int rtxStreamSkip(VXCTXT* pctxt, size_t skipBytes);
int rtxStreamMark(VXCTXT* pctxt, size_t readAheadLimit);
int rtxStreamReset(VXCTXT* pctxt);
bool rtxStreamMarkSupported(VXCTXT* pctxt);
int rtxStreamFlush(VXCTXT* pctxt);
int rtxStreamClose(VXCTXT* pctxt);
int rtxStreamRelease(VXCTXT* pctxt);
int rtxStreamWrite(VXCTXT* pctxt, const uint8_t* data, size_t numocts);

bool rtxStreamIsOpened(VXCTXT* pctxt);
bool rtxStreamIsReadable(VXCTXT* pctxt);
bool rtxStreamIsWritable(VXCTXT* pctxt);
int rtxStreamGetIOBytes(VXCTXT* pctxt, size_t* pvalue);
int rtxStreamGetPos(VXCTXT* pctxt, size_t* ppos);
int rtxStreamSetPos(VXCTXT* pctxt, size_t pos);

// Capture of all input into a memory buffer (null stops capturing).
int rtxStreamSetCapture(VXCTXT* pctxt, VXRTMEMBUF* pmembuf);
VXRTMEMBUF* rtxStreamGetCapture(VXCTXT* pctxt);

// Context-buffer mode: reads go through a 1024-byte buffer of the context.
int rtxStreamInitCtxtBuf(VXCTXT* pctxt);
int rtxStreamRemoveCtxtBuf(VXCTXT* pctxt);
// Makes `nbytes` bytes available at the cursor, loading from the stream.
int rtxStreamLoadInputBuffer(VXCTXT* pctxt, size_t nbytes);

#endif
