// JSON reader: string values and keys.
#include "rtJson.h"
#include "rtJsonInternal.h"

#include <cstring>

#include "rtxMemBuf.h"
#include "rtxMemory.h"

// The string reader. With `raw` the escapes are checked as always but kept
// as they stand in the text (a key kept whole with an unknown member).
static int decString(VXCTXT* pctxt, char** ppvalue, char* buffer, size_t bufsize, bool dynamic,
                     bool raw)
{
   int stat = rtJsonDecMatchChar(pctxt, '"');
   if (stat == RTERR_INVCHAR) {
      char found[2] = {(char)rtxTxtPeekChar2(pctxt, true), 0};
      rtxErrAddStrParm(pctxt, "\"");
      rtxErrAddStrParm(pctxt, found);
      return VX_LOG_ERRNEW(pctxt, RTERR_IDNOTFOU);
   }
   if (stat != 0) return VX_LOG_ERR(pctxt, stat);

   if (pctxt->flags & VXCTXT_FLAG_JSONSTR) {
      // Attribute form: a marker byte precedes the text.
      pctxt->flags &= ~VXCTXT_FLAG_JSONSTR;
      uint8_t mark;
      stat = rtxReadBytes(pctxt, &mark, 1);
      if (stat != 0) return VX_LOG_ERR(pctxt, stat);
      if (mark != 0x40) return VX_LOG_ERRNEW(pctxt, RTERR_INVCHAR);
   }

   VXRTSTREAM* pMemStream;
   if (dynamic && rtxInputIsBuffer(pctxt, &pMemStream) &&
       pctxt->buffer.byteIndex < pctxt->buffer.size) {
      // A string without escapes whose closing quote is in the buffer (a
      // key, mostly): one copy of exactly its length.
      const uint8_t* start = pctxt->buffer.data + pctxt->buffer.byteIndex;
      size_t avail = (size_t)(pctxt->buffer.size - pctxt->buffer.byteIndex);
      const uint8_t* quote = static_cast<const uint8_t*>(memchr(start, '"', avail));
      if (quote != nullptr && memchr(start, '\\', (size_t)(quote - start)) == nullptr) {
         size_t len = (size_t)(quote - start);
         char* value = static_cast<char*>(rtxMemAlloc(pctxt, len + 1));
         if (value == nullptr) return VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
         memcpy(value, start, len);
         value[len] = 0;
         stat = rtxReadBytes(pctxt, nullptr, len + 1);  // the text and its closing quote
         if (stat != 0) {
            rtxMemFreePtr(pctxt, value);
            return VX_LOG_ERR(pctxt, stat);
         }
         *ppvalue = value;
         return 0;
      }
   }

   VXRTMEMBUF membuf;
   if (dynamic) rtxMemBufInit(pctxt, &membuf, 128);
   size_t used = 0;
   bool escape = false;
   for (;;) {
      uint8_t b;
      stat = rtxReadBytes(pctxt, &b, 1);
      if (stat != 0) break;
      if (escape) {
         escape = false;
         if (raw) {
            if (strchr("bfnrt\"/\\", b) == nullptr || b == 0) {
               stat = RTERR_INVCHAR;
               break;
            }
            const uint8_t backslash = '\\';
            stat = rtxMemBufAppend(&membuf, &backslash, 1);  // raw reads are dynamic
            if (stat != 0) break;
         } else
            switch (b) {
               case 'b':
                  b = 0x08;
                  break;
               case 'f':
                  b = 0x0C;
                  break;
               case 'n':
                  b = 0x0A;
                  break;
               case 'r':
                  b = 0x0D;
                  break;
               case 't':
                  b = 0x09;
                  break;
               case '"':
               case '/':
               case '\\':
                  break;
               default:
                  stat = RTERR_INVCHAR;
                  break;  // \u included: refused here
            }
         if (stat != 0) break;
      } else if (b == '\\') {
         escape = true;
         continue;
      } else if (b == '"') {
         uint8_t nul = 0;
         if (dynamic) {
            stat = rtxMemBufAppend(&membuf, &nul, 1);
            if (stat == 0) {
               int len;
               *ppvalue = (char*)rtxMemBufGetData(&membuf, &len);
            }
         } else if (used < bufsize) {
            buffer[used] = 0;
         } else {
            stat = RTERR_STROVFLW;
         }
         break;
      }
      if (dynamic) {
         stat = rtxMemBufAppend(&membuf, &b, 1);
      } else if (used + 1 < bufsize) {
         buffer[used++] = (char)b;
      } else {
         stat = RTERR_STROVFLW;
      }
      if (stat != 0) break;
   }
   if (stat != 0) {
      if (dynamic) rtxMemBufFree(&membuf);
      if (stat == RTERR_ENDOFFILE || stat == RTERR_ENDOFBUF) return VX_LOG_ERR(pctxt, stat);
      return VX_LOG_ERRNEW(pctxt, stat);
   }
   return 0;
}

int rtJsonDecStringValueInternal(VXCTXT* pctxt, char** ppvalue, char* buffer, size_t bufsize,
                                 bool dynamic)
{
   return decString(pctxt, ppvalue, buffer, bufsize, dynamic, false);
}

int rtJsonDecStringValue(VXCTXT* pctxt, char** ppvalue)
{
   *ppvalue = nullptr;
   return decString(pctxt, ppvalue, nullptr, 0, true, false);
}

int rtJsonDecStringRaw(VXCTXT* pctxt, char** ppvalue)
{
   *ppvalue = nullptr;
   return decString(pctxt, ppvalue, nullptr, 0, true, true);
}
