// Helpers shared by the units of the JSON reader.
#ifndef RTJSONINTERNAL_H
#define RTJSONINTERNAL_H

#include "rtxContext.h"
#include "rtxError.h"
#include "rtxReadBytes.h"
#include "rtxTxtRead.h"

inline bool rtJsonIsBlank(uint8_t b) { return b == 0x20 || (b >= 0x09 && b <= 0x0D); }

// Puts the byte read last back; reading never steps back past the start.
inline void rtJsonStepBack(VXCTXT* pctxt)
{
   VX_ASSERT(pctxt->buffer.byteIndex > 0);
   pctxt->buffer.byteIndex--;
}

inline int rtJsonHexNibble(uint8_t c)
{
   if (c >= '0' && c <= '9') return c - '0';
   if (c >= 'a' && c <= 'f') return c - 'a' + 10;
   if (c >= 'A' && c <= 'F') return c - 'A' + 10;
   return -1;
}

#endif
