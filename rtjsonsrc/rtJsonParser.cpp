// JSON reader: the single-character matcher, keywords and the byte-level
// helpers the other readers share.
#include "rtJson.h"
#include "rtJsonInternal.h"

#include "rtxError.h"

int rtJsonDecMatchCharGeneral(VXCTXT* pctxt, char ch)
{
   if (!rtJsonIsBlank((uint8_t)ch)) rtxSkipBufferedWhitespace(pctxt);
   for (;;) {
      uint8_t b;
      int stat = rtxReadBytes(pctxt, &b, 1);
      if (stat < 0) return VX_LOG_ERR(pctxt, stat);
      if (b == (uint8_t)ch) return 0;
      if (!rtJsonIsBlank(b)) {
         rtJsonStepBack(pctxt);
         return RTERR_INVCHAR;
      }
   }
}

// Reads up to n bytes for a keyword check; returns how many were read. A
// short read is the keyword's failure, not one of its own: the record the
// read left is taken back.
static size_t readUpTo(VXCTXT* pctxt, char* buf, size_t n)
{
   size_t got = 0;
   while (got < n) {
      uint8_t b;
      uint64_t nerr = rtxErrGetErrorCnt(pctxt);
      if (rtxReadBytes(pctxt, &b, 1) != 0) {
         uint64_t added = rtxErrGetErrorCnt(pctxt) - nerr;
         if (added > 0) rtxErrResetLastErrors(pctxt, (int)added);
         break;
      }
      buf[got++] = (char)b;
   }
   buf[got] = 0;
   return got;
}

int rtJsonDecBool(VXCTXT* pctxt, uint8_t* pvalue)
{
   rtxTxtSkipWhitespace(pctxt);
   char text[8] = {0};
   size_t got = readUpTo(pctxt, text, 1);
   bool ok = false;
   if (got == 1) {
      switch (text[0]) {
         case '0':
            *pvalue = 0;
            ok = true;
            break;  // digits accepted on purpose
         case '1':
            *pvalue = 1;
            ok = true;
            break;
         case 'f':
            ok = readUpTo(pctxt, text + 1, 4) == 4 && strcmp(text, "false") == 0;
            if (ok) *pvalue = 0;
            break;
         case 't':
            ok = readUpTo(pctxt, text + 1, 3) == 3 && strcmp(text, "true") == 0;
            if (ok) *pvalue = 1;
            break;
         default:
            break;
      }
   }
   if (ok) return 0;
   rtxErrAddStrParm(pctxt, "true|false");
   rtxErrAddStrParm(pctxt, text);
   return VX_LOG_ERRNEW(pctxt, RTERR_IDNOTFOU);
}

// Exactly four bytes at the cursor, no whitespace skipped: callers have
// peeked at the 'n' already.
int rtJsonDecNull(VXCTXT* pctxt)
{
   char text[8] = {0};
   if (readUpTo(pctxt, text, 4) == 4 && memcmp(text, "null", 4) == 0) return 0;
   rtxErrAddStrParm(pctxt, "null");
   rtxErrAddStrParm(pctxt, text);
   return VX_LOG_ERRNEW(pctxt, RTERR_IDNOTFOU);
}
