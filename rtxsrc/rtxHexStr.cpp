#include "rtxHexStr.h"

namespace {

int hexValue(char c)
{
   if (c >= '0' && c <= '9') return c - '0';
   if (c >= 'a' && c <= 'f') return c - 'a' + 10;
   if (c >= 'A' && c <= 'F') return c - 'A' + 10;
   return -1;
}

bool isSeparator(char c) { return c == ' ' || c == ',' || (c >= 0x09 && c <= 0x0D); }

bool isPrefixAt(const char* text, size_t i, size_t length)
{
   return text[i] == '0' && i + 1 < length && (text[i + 1] == 'x' || text[i + 1] == 'X');
}

// Walks the groups of digits. With `bytes` null it only counts; otherwise it
// stores, failing with -13 beyond `capacity`. The text has been checked.
int64_t convertGroups(const char* text, size_t length, uint8_t* bytes, size_t capacity)
{
   size_t nbytes = 0;
   size_t i = 0;
   while (i < length) {
      if (isSeparator(text[i])) {
         i++;
         continue;
      }
      if (isPrefixAt(text, i, length)) {
         i += 2;
         continue;
      }
      size_t start = i;
      while (i < length && hexValue(text[i]) >= 0 && !isPrefixAt(text, i, length)) i++;
      size_t ndigits = i - start;
      size_t groupBytes = (ndigits + 1) / 2;
      if (bytes != nullptr) {
         if (groupBytes > capacity - nbytes) return RTERR_STROVFLW;
         size_t k = start;
         uint8_t* out = bytes + nbytes;
         if (ndigits % 2 != 0) *out++ = (uint8_t)hexValue(text[k++]);
         for (; k < i; k += 2) *out++ = (uint8_t)(hexValue(text[k]) << 4 | hexValue(text[k + 1]));
      }
      nbytes += groupBytes;
   }
   return (int64_t)nbytes;
}

// First pass: only digits, separators and prefixes are allowed.
bool checkText(const char* text, size_t length)
{
   for (size_t i = 0; i < length; i++) {
      if (isPrefixAt(text, i, length)) {
         i++;
         continue;
      }
      if (hexValue(text[i]) < 0 && !isSeparator(text[i])) return false;
   }
   return true;
}

}  // namespace

int rtxByteToHexChar(uint8_t byte, char* buffer, size_t size)
{
   static const char kDigits[] = "0123456789abcdef";
   if (buffer == nullptr || size < 3) return RTERR_BUFOVFLW;
   buffer[0] = kDigits[byte >> 4];
   buffer[1] = kDigits[byte & 0x0F];
   buffer[2] = 0;
   return 0;
}

int64_t rtxHexCharsToBin(const char* text, size_t length, uint8_t* bytes, size_t capacity)
{
   if (text == nullptr) return 0;
   if (length == 0) length = strlen(text);
   if (length == 0) return 0;
   if (!checkText(text, length)) return RTERR_INVHEXS;
   int64_t count = convertGroups(text, length, nullptr, 0);
   if (bytes == nullptr) return count;
   if (count > (int64_t)capacity) return RTERR_STROVFLW;
   return convertGroups(text, length, bytes, capacity);
}

int64_t rtxHexCharsToBinCount(const char* text, size_t length)
{
   return rtxHexCharsToBin(text, length, nullptr, 0);
}
