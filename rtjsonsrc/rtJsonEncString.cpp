// JSON writer: characters, strings and their escapes, keys, keywords.
#include "rtJson.h"

#include "rtxBuffer.h"
#include "rtxError.h"
#include "rtxIndent.h"

// Reserves n bytes plus the terminator; returns the write position or null
// with the failure recorded.
static inline uint8_t* reserve(VXCTXT* pctxt, size_t n, int* pstat)
{
   int stat = rtxCheckOutputBuffer(pctxt, n + 1);
   if (stat != 0) {
      *pstat = VX_LOG_ERR(pctxt, stat);
      return nullptr;
   }
   return pctxt->buffer.data + pctxt->buffer.byteIndex;
}

static inline void commit(VXCTXT* pctxt, size_t n)
{
   pctxt->buffer.byteIndex += n;
   pctxt->buffer.data[pctxt->buffer.byteIndex] = 0;
}

static int putBytes(VXCTXT* pctxt, const char* bytes, size_t n)
{
   int stat = 0;
   uint8_t* p = reserve(pctxt, n, &stat);
   if (!p) return stat;
   memcpy(p, bytes, n);
   commit(pctxt, n);
   return 0;
}

int rtJsonEncChar(VXCTXT* pctxt, char ch)
{
   int stat = 0;
   uint8_t* p = reserve(pctxt, 1, &stat);
   if (!p) return stat;
   *p = (uint8_t)ch;
   pctxt->lastChar = (uint8_t)ch;
   commit(pctxt, 1);
   return 0;
}

int rtJsonEncIndent(VXCTXT* pctxt)
{
   if (pctxt->state != 0) {
      uint8_t c = pctxt->lastChar;
      if (c != '{' && c != ',' && c != '[' && c != 0) {
         int stat = rtJsonEncChar(pctxt, ',');
         if (stat != 0) return stat;
      }
      return 0;
   }
   return rtxWriteIndent(pctxt);
}

int rtJsonEncStringValue2(VXCTXT* pctxt, const char* text, size_t length)
{
   if (text == nullptr || text[0] == 0) length = 0;
   // Worst case every byte doubles, plus the two quotes and an attribute mark.
   int stat = 0;
   uint8_t* p = reserve(pctxt, length * 2 + 3, &stat);
   if (!p) return stat;
   uint8_t* q = p;
   *q++ = '"';
   if (length > 0 && (pctxt->flags & VXCTXT_FLAG_JSONSTR)) {
      if (text[0] != 0x40) *q++ = 0x40;
      pctxt->flags &= ~VXCTXT_FLAG_JSONSTR;
   }
   for (size_t i = 0; i < length; i++) {
      uint8_t c = (uint8_t)text[i];
      switch (c) {
         case 0x08:
            *q++ = '\\';
            *q++ = 'b';
            break;
         case 0x09:
            *q++ = '\\';
            *q++ = 't';
            break;
         case 0x0A:
            *q++ = '\\';
            *q++ = 'n';
            break;
         case 0x0C:
            *q++ = '\\';
            *q++ = 'f';
            break;
         case 0x0D:
            *q++ = '\\';
            *q++ = 'r';
            break;
         case '"':
            *q++ = '\\';
            *q++ = '"';
            break;
         case '\\':
            *q++ = '\\';
            *q++ = '\\';
            break;
         default:
            *q++ = c;
      }
   }
   *q++ = '"';
   commit(pctxt, (size_t)(q - p));
   return 0;
}

int rtJsonEncStringValue(VXCTXT* pctxt, const char* text)
{
   return rtJsonEncStringValue2(pctxt, text, text ? strlen(text) : 0);
}

int rtJsonEncCharStr(VXCTXT* pctxt, const char* text) { return rtJsonEncStringValue(pctxt, text); }

int rtJsonEncChars(VXCTXT* pctxt, const char* text, size_t length)
{
   return rtJsonEncStringValue2(pctxt, text, length);
}

int rtJsonEncStringPair2(VXCTXT* pctxt, const char* key, size_t keyLen, const char* value,
                         size_t valueLen)
{
   int stat = rtJsonEncStringValue2(pctxt, key, keyLen);
   if (stat != 0) return stat;
   // The only colon with blanks around it: the value member of an open type.
   stat = (pctxt->indent != 0) ? putBytes(pctxt, " : ", 3) : putBytes(pctxt, ":", 1);
   if (stat != 0) return stat;
   return rtJsonEncStringValue2(pctxt, value, valueLen);
}

int rtJsonEncStringPair(VXCTXT* pctxt, const char* key, const char* value)
{
   if (key == nullptr || key[0] == 0) return RTERR_BADVALUE;
   return rtJsonEncStringPair2(pctxt, key, strlen(key), value, value ? strlen(value) : 0);
}

int rtJsonEncStringObject2(VXCTXT* pctxt, const char* key, size_t keyLen, const char* value,
                           size_t valueLen)
{
   int stat = rtJsonEncChar(pctxt, '{');
   if (stat == 0) stat = rtJsonEncStringPair2(pctxt, key, keyLen, value, valueLen);
   if (stat == 0) stat = rtJsonEncChar(pctxt, '}');
   return stat;
}

int rtJsonEncStringObject(VXCTXT* pctxt, const char* key, const char* value)
{
   if (key == nullptr || key[0] == 0) return RTERR_BADVALUE;
   return rtJsonEncStringObject2(pctxt, key, strlen(key), value, value ? strlen(value) : 0);
}

int rtJsonEncStringNull(VXCTXT* pctxt) { return putBytes(pctxt, "null", 4); }

int rtJsonEncStringRaw(VXCTXT* pctxt, const char* text)
{
   if (text == nullptr || text[0] == 0) return RTERR_BADVALUE;
   return putBytes(pctxt, text, strlen(text));
}

int rtJsonEncBoolValue(VXCTXT* pctxt, bool value)
{
   return value ? putBytes(pctxt, "true", 4) : putBytes(pctxt, "false", 5);
}
