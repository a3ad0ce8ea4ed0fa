#include "rtxCharStr.h"

#include "rtxContext.h"
#include "rtxMemory.h"

char* rtxStrcat(char* dest, size_t bufsiz, const char* src)
{
   if (dest == nullptr || src == nullptr) return nullptr;
   return rtxStrncat(dest, bufsiz, src, strlen(src));
}

char* rtxStrncat(char* dest, size_t bufsiz, const char* src, size_t nchars)
{
   if (dest == nullptr || src == nullptr || bufsiz == 0) return nullptr;
   const char* end = static_cast<const char*>(memchr(dest, 0, bufsiz));
   if (end == nullptr) return nullptr;  // dest is not terminated within its capacity
   size_t used = (size_t)(end - dest);
   const char* srcEnd = static_cast<const char*>(memchr(src, 0, nchars));
   size_t n = srcEnd ? (size_t)(srcEnd - src) : nchars;
   if (n >= bufsiz - used) return nullptr;
   memcpy(dest + used, src, n);
   dest[used + n] = 0;
   return dest;
}

char* rtxStrcpy(char* dest, size_t bufsiz, const char* src)
{
   if (dest == nullptr || src == nullptr) return nullptr;
   size_t n = strlen(src);
   if (n >= bufsiz) return nullptr;
   memcpy(dest, src, n + 1);
   return dest;
}

char* rtxStrncpy(char* dest, size_t bufsiz, const char* src, size_t nchars)
{
   if (dest == nullptr || src == nullptr || bufsiz == 0) return nullptr;
   const char* srcEnd = static_cast<const char*>(memchr(src, 0, nchars));
   size_t n = srcEnd ? (size_t)(srcEnd - src) : nchars;
   if (n >= bufsiz) {
      // Too long: cut, terminated at the last place.
      memcpy(dest, src, bufsiz - 1);
      dest[bufsiz - 1] = 0;
      return nullptr;
   }
   memcpy(dest, src, n);
   dest[n] = 0;
   return dest;
}

char* rtxStrndup(VXCTXT* pctxt, const char* src, size_t nchars)
{
   if (src == nullptr) return nullptr;
   const char* srcEnd = static_cast<const char*>(memchr(src, 0, nchars));
   size_t n = srcEnd ? (size_t)(srcEnd - src) : nchars;
   char* p = static_cast<char*>(rtxMemAlloc(pctxt, n + 1));
   if (p == nullptr) return nullptr;
   memcpy(p, src, n);
   p[n] = 0;
   return p;
}

char* rtxStrdup(VXCTXT* pctxt, const char* src)
{
   if (src == nullptr) return nullptr;
   return rtxStrndup(pctxt, src, strlen(src));
}

char* rtxStrJoin(VXCTXT* pctxt, const char* str1, const char* str2, const char* str3,
                 const char* str4, const char* str5)
{
   const char* parts[5] = {str1, str2, str3, str4, str5};
   size_t lens[5];
   size_t total = 0;
   for (int i = 0; i < 5; i++) {
      lens[i] = parts[i] ? strlen(parts[i]) : 0;
      total += lens[i];
   }
   if (total == 0) return nullptr;
   char* p = static_cast<char*>(rtxMemAlloc(pctxt, total + 1));
   if (p == nullptr) return nullptr;
   size_t at = 0;
   for (int i = 0; i < 5; i++) {
      if (lens[i] == 0) continue;
      memcpy(p + at, parts[i], lens[i]);
      at += lens[i];
   }
   p[at] = 0;
   return p;
}

namespace {

// Decimal text of a magnitude with an optional minus sign. The digits are
// produced from the unsigned magnitude, so the lowest signed value needs no
// negation of a signed number.
int uintToCharStr(uint64_t magnitude, bool negative, char* buffer, size_t size, char padchar)
{
   if (buffer == nullptr || size < 2) return RTERR_INVPARAM;
   char digits[24];
   size_t nd = 0;
   do {
      digits[nd++] = (char)('0' + (magnitude % 10));
      magnitude /= 10;
   } while (magnitude != 0);
   size_t len = nd + (negative ? 1 : 0);
   size_t room = size - 1;
   if (len > room) return RTERR_BUFOVFLW;
   size_t width = (padchar != 0) ? room : len;
   size_t at = 0;
   if (padchar == '0' && negative) buffer[at++] = '-';
   for (size_t i = len; i < width; i++) buffer[at++] = padchar;
   if (padchar != '0' && negative) buffer[at++] = '-';
   while (nd > 0) buffer[at++] = digits[--nd];
   buffer[at] = 0;
   return (int)at;
}

}  // namespace

int rtxIntToCharStr(int32_t value, char* buffer, size_t size, char padchar)
{
   return rtxInt64ToCharStr(value, buffer, size, padchar);
}

int rtxUIntToCharStr(uint32_t value, char* buffer, size_t size, char padchar)
{
   return uintToCharStr(value, false, buffer, size, padchar);
}

int rtxInt64ToCharStr(int64_t value, char* buffer, size_t size, char padchar)
{
   bool negative = value < 0;
   uint64_t magnitude = negative ? 0u - (uint64_t)value : (uint64_t)value;
   return uintToCharStr(magnitude, negative, buffer, size, padchar);
}

int rtxUInt64ToCharStr(uint64_t value, char* buffer, size_t size, char padchar)
{
   return uintToCharStr(value, false, buffer, size, padchar);
}

int rtxSizeToCharStr(size_t value, char* buffer, size_t size, char padchar)
{
   return uintToCharStr(value, false, buffer, size, padchar);
}
