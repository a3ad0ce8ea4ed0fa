// Reading text at the cursor: white space, a peek at the next character,
// and decimal numbers. All read through rtxReadBytes, so they work on the
// context's buffer alone and through a stream alike. A byte read too many
// is put back by stepping byteIndex back.
#ifndef RTXTXTREAD_H
#define RTXTXTREAD_H

#include "rtxContext.h"

// Skips 0x09..0x0D and blanks. The end of the input is no failure.
int rtxTxtSkipWhitespace(VXCTXT* pctxt);
// The next byte, not consumed (white space first skipped if `skipWs`);
// -2 at the end of the input.
int rtxTxtPeekChar(VXCTXT* pctxt, char* pch, bool skipWs);
// The same, returning the byte, or 0 on any failure.
char rtxTxtPeekChar2(VXCTXT* pctxt, bool skipWs);

// A signed decimal number with optional sign: -24 if no digit comes, -23 if
// it is out of range. The end of a buffer (-2) ends the number normally.
int rtxTxtReadInt32(VXCTXT* pctxt, int32_t* pvalue);
int rtxTxtReadInt16(VXCTXT* pctxt, int16_t* pvalue);
int rtxTxtReadInt8(VXCTXT* pctxt, int8_t* pvalue);
// An unsigned decimal number with optional "+": -23 if out of range. A text
// that does not start with a digit gives 0 and status 0, the byte unread.
int rtxTxtReadUInt32(VXCTXT* pctxt, uint32_t* pvalue);
int rtxTxtReadUInt64(VXCTXT* pctxt, uint64_t* pvalue);
int rtxTxtReadUInt16(VXCTXT* pctxt, uint16_t* pvalue);
int rtxTxtReadUInt8(VXCTXT* pctxt, uint8_t* pvalue);

#endif
