// Generic input: reading bytes at the cursor, whether the context reads its
// buffer alone or through a stream.
#ifndef RTXREADBYTES_H
#define RTXREADBYTES_H

#include "rtxContext.h"

// Reads nocts bytes into pdata (null: skips them). 0, or a negative status:
// -2 at the end of a buffer without stream, -17 at the end of a stream.
// rtxReadBytes (inline, in rtxStream.h) serves reads that lie in the
// context buffer itself and passes the others to rtxReadBytesGeneral.
int rtxReadBytesGeneral(VXCTXT* pctxt, uint8_t* pdata, size_t nocts);

// The byte at the cursor without moving it: 1 with the byte, 0 if none is
// left, or a negative status (-1 at the end of a memory stream).
int rtxPeekByte(VXCTXT* pctxt, uint8_t* pbyte);

// Makes sure nbytes bytes can be read at the cursor: 0, or -2 without a
// stream, or -17 with a context-buffer stream when they cannot be had.
int rtxCheckInputBuffer(VXCTXT* pctxt, size_t nbytes);

// A position token valid on every kind of input; rtxResetToPos goes back.
int rtxMarkPos(VXCTXT* pctxt, size_t* ppos);
int rtxResetToPos(VXCTXT* pctxt, size_t pos);

// The inline rtxReadBytes needs the stream record.
#include "rtxStream.h"

#endif
