// Whether a text can stand as XML character data at all: UTF-8 of
// characters that XML 1.0 admits. A string of the record may hold any byte
// its wire form allowed (control characters in an IA5String, broken
// sequences in a UTF8String); no escape can carry those into a document.
#include <cstring>

#include "rtXml.h"
#include "rtxUTF8.h"

bool rtXmlIsCharData(const char* text)
{
   if (text == nullptr) return true;
   const uint8_t* p = reinterpret_cast<const uint8_t*>(text);
   size_t n = strlen(text);
   for (size_t i = 0; i < n;) {
      uint8_t c = p[i];
      if (c < 0x80) {
         if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') return false;
         i++;
         continue;
      }
      int size = n - i > 4 ? 4 : (int)(n - i);
      int32_t code = rtxUTF8DecodeChar(nullptr, p + i, &size);
      if (code < 0 || size <= 0) return false;
      if ((code >= 0xD800 && code <= 0xDFFF) || code == 0xFFFE || code == 0xFFFF || code > 0x10FFFF)
         return false;
      i += (size_t)size;
   }
   return true;
}
