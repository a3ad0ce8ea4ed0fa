// Writing into the context's output buffer: making room, growing a dynamic
// buffer, appending bytes, and writing text and decimal numbers.
#ifndef RTXBUFFER_H
#define RTXBUFFER_H

#include "rtxContext.h"

// Makes room for `need` more bytes when the buffer cannot hold them. With a
// live output stream (not a memory stream) the encoded bytes are first
// written out. A dynamic buffer grows to size + max(size, need), through
// the heap or, with context flag VXCTXT_FLAG_SYSBUF, through the heap's
// system allocator. A buffer that is not dynamic gives -1; exhausted memory
// -10, the old block staying valid.
int rtxExpandOutputBuffer(VXCTXT* pctxt, size_t need);

// Makes sure `nbytes` bytes (plus the partly written byte, if any) can be
// stored at byteIndex. Inline: the fast path is two compares and no call.
VX_INLINE int rtxCheckOutputBuffer(VXCTXT* pctxt, size_t nbytes)
{
   size_t need = nbytes + (pctxt->buffer.bitOffset != 8 ? 1u : 0u);
   if (VX_LIKELY(pctxt->buffer.byteIndex + need <= pctxt->buffer.size)) return 0;
   return rtxExpandOutputBuffer(pctxt, need);
}

// Appends `nbytes` bytes at byteIndex (or writes them through to an attached
// output stream) and remembers the last one in lastChar. 0 or a status.
int rtxWriteBytes(VXCTXT* pctxt, const uint8_t* data, size_t nbytes);

// Writes a NUL-terminated text; null or empty writes nothing.
int rtxCopyAsciiText(VXCTXT* pctxt, const char* text);
int rtxCopyUTF8Text(VXCTXT* pctxt, const char* text);

// Decimal text of a number: a minus sign for a negative one, no padding.
int rtxTxtWriteInt(VXCTXT* pctxt, int32_t value);
int rtxTxtWriteUInt(VXCTXT* pctxt, uint32_t value);
int rtxTxtWriteInt64(VXCTXT* pctxt, int64_t value);
int rtxTxtWriteUInt64(VXCTXT* pctxt, uint64_t value);

#endif
