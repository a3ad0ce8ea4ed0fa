#include "rtxUTF8.h"

#include "rtxBuffer.h"
#include "rtxCharStr.h"
#include "rtxContext.h"
#include "rtxError.h"
#include "rtxMemory.h"

namespace {

// Length of the sequence a lead byte starts, 0 for a byte that cannot lead.
size_t leadLength(uint8_t b)
{
   if (b < 0x80) return 1;
   if (b < 0xC0) return 0;  // continuation byte
   if (b < 0xE0) return 2;
   if (b < 0xF0) return 3;
   if (b < 0xF8) return 4;
   if (b < 0xFC) return 5;
   if (b < 0xFE) return 6;
   return 0;
}

const uint8_t kLeadMask[7] = {0, 0x7F, 0x1F, 0x0F, 0x07, 0x03, 0x01};

enum DecodeResult { kDecoded, kMalformed, kTruncated };

// Decodes one sequence of at most `avail` bytes. On success *len is its
// length; otherwise *len is the index of the offending byte (for a cut-off
// sequence, `avail`).
DecodeResult decodeOne(const uint8_t* p, size_t avail, uint32_t* code, size_t* len)
{
   size_t n = leadLength(p[0]);
   if (n == 0) {
      *len = 0;
      return kMalformed;
   }
   uint32_t c = p[0] & kLeadMask[n];
   for (size_t i = 1; i < n; i++) {
      if (i >= avail) {
         *len = avail;
         return kTruncated;
      }
      if ((p[i] & 0xC0) != 0x80) {
         *len = i;
         return kMalformed;
      }
      c = (c << 6) | (p[i] & 0x3F);
   }
   *code = c;
   *len = n;
   return kDecoded;
}

// A malformed sequence stands as two records: an empty one, then the -18
// with the byte index.
int invalidUTF8(VXCTXT* pctxt, size_t index)
{
   if (pctxt != nullptr) {
      rtxErrNewNode(pctxt);
      rtxErrAddSizeParm(pctxt, index);
      VX_LOG_ERRNEW(pctxt, RTERR_INVUTF8);
   }
   return RTERR_INVUTF8;
}

// Walks a NUL-terminated text; with a buffer, stores each code point cut to
// 16 bits. The number of characters, -1 or -18.
int decodeText(VXCTXT* pctxt, const char* text, uint16_t* buffer, size_t capacity)
{
   const uint8_t* p = reinterpret_cast<const uint8_t*>(text);
   size_t i = 0, count = 0;
   while (p[i] != 0) {
      uint32_t code;
      size_t len;
      // The NUL fails the continuation test, so no read passes the end.
      if (decodeOne(p + i, SIZE_MAX, &code, &len) != kDecoded) return invalidUTF8(pctxt, i + len);
      if (buffer != nullptr) {
         if (count + 1 >= capacity) {
            if (pctxt != nullptr) VX_LOG_ERRNEW(pctxt, RTERR_BUFOVFLW);
            return RTERR_BUFOVFLW;
         }
         buffer[count] = (uint16_t)code;
      }
      count++;
      i += len;
   }
   if (buffer != nullptr && capacity > 0) buffer[count] = 0;
   return count > 0x7FFFFFFF ? 0x7FFFFFFF : (int)count;
}

}  // namespace

size_t rtxUTF8LenBytes(const char* text) { return text != nullptr ? strlen(text) : 0; }

size_t rtxCalcUTF8Len(const char* text, size_t nbytes)
{
   if (text == nullptr) return 0;
   const uint8_t* p = reinterpret_cast<const uint8_t*>(text);
   size_t count = 0;
   for (size_t i = 0; i < nbytes; count++) {
      size_t n = leadLength(p[i]);
      if (n == 0) return 0;
      i += n;
   }
   return count;
}

size_t rtxUTF8Len(const char* text) { return rtxCalcUTF8Len(text, rtxUTF8LenBytes(text)); }

size_t rtxUTF8CharSize(uint32_t code)
{
   if (code < 0x80) return 1;
   if ((code & 0xFFFFF800u) == 0) return 2;
   if ((code & 0xFFFF0000u) == 0) return 3;
   if ((code & 0xFFE00000u) == 0) return 4;
   if ((code & 0xFC000000u) == 0) return 5;
   return 6;
}

int rtxUTF8EncodeChar(uint32_t code, uint8_t* buffer, size_t size)
{
   static const uint8_t kLead[7] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
   size_t n = rtxUTF8CharSize(code);
   if (buffer == nullptr || n > size) return RTERR_BUFOVFLW;
   if (n == 1) {
      buffer[0] = (uint8_t)code;
      return 1;
   }
   for (size_t i = n - 1; i > 0; i--) {
      buffer[i] = (uint8_t)(0x80 | (code & 0x3F));
      code >>= 6;
   }
   buffer[0] = (uint8_t)(kLead[n] | code);
   return (int)n;
}

int32_t rtxUTF8DecodeChar(VXCTXT* pctxt, const uint8_t* text, int* size)
{
   if (text == nullptr || size == nullptr || *size <= 0) return invalidUTF8(pctxt, 0);
   uint32_t code;
   size_t len;
   if (decodeOne(text, (size_t)*size, &code, &len) != kDecoded) return invalidUTF8(pctxt, len);
   *size = (int)len;
   // Six-byte forms reach 31 bits at most, so the code stays positive.
   return (int32_t)code;
}

int rtxUTF8ToUnicode(VXCTXT* pctxt, const char* text, uint16_t* buffer, size_t capacity)
{
   if (text == nullptr) return 0;
   if (buffer == nullptr) return RTERR_INVPARAM;
   return decodeText(pctxt, text, buffer, capacity);
}

int rtxValidateUTF8(VXCTXT* pctxt, const char* text)
{
   if (text == nullptr) return 0;
   int stat = decodeText(pctxt, text, nullptr, 0);
   return stat < 0 ? stat : 0;
}

size_t rtxUCSGetUTF8ByteCnt(const uint16_t* units)
{
   size_t n = 0;
   if (units != nullptr) {
      for (; *units != 0; units++) n += rtxUTF8CharSize(*units);
   }
   return n;
}

char* rtxUCSToDynUTF8(VXCTXT* pctxt, const uint16_t* units)
{
   if (units == nullptr) return nullptr;
   size_t total = rtxUCSGetUTF8ByteCnt(units);
   uint8_t* out = static_cast<uint8_t*>(rtxMemAlloc(pctxt, total + 1));
   if (out == nullptr) {
      VX_LOG_ERRNEW(pctxt, RTERR_NOMEM);
      return nullptr;
   }
   size_t at = 0;
   for (; *units != 0; units++) at += (size_t)rtxUTF8EncodeChar(*units, out + at, total - at);
   out[at] = 0;
   return reinterpret_cast<char*>(out);
}

char* rtxUTF8Strdup(VXCTXT* pctxt, const char* text) { return rtxStrdup(pctxt, text); }

char* rtxUTF8Strndup(VXCTXT* pctxt, const char* text, size_t nbytes)
{
   return rtxStrndup(pctxt, text, nbytes);
}

char* rtxUTF8Strcpy(char* dest, size_t bufsiz, const char* src)
{
   return rtxStrcpy(dest, bufsiz, src);
}

char* rtxUTF8Strncpy(char* dest, size_t bufsiz, const char* src, size_t nbytes)
{
   return rtxStrncpy(dest, bufsiz, src, nbytes);
}

int rtxUTF8Strncmp(const char* a, const char* b, size_t nbytes)
{
   if (a == nullptr || b == nullptr) return (a == b) ? 0 : (a == nullptr ? -1 : 1);
   const uint8_t* p = reinterpret_cast<const uint8_t*>(a);
   const uint8_t* q = reinterpret_cast<const uint8_t*>(b);
   for (size_t i = 0; i < nbytes; i++) {
      if (p[i] != q[i]) return p[i] < q[i] ? -1 : 1;
      if (p[i] == 0) break;
   }
   return 0;
}

int rtxUTF8Strcmp(const char* a, const char* b) { return rtxUTF8Strncmp(a, b, SIZE_MAX); }

bool rtxUTF8StrEqual(const char* a, const char* b) { return rtxUTF8Strcmp(a, b) == 0; }

bool rtxUTF8StrnEqual(const char* a, const char* b, size_t nbytes)
{
   return rtxUTF8Strncmp(a, b, nbytes) == 0;
}

char* rtxUTF8StrRefOrDup(VXCTXT* pctxt, const char* text)
{
   if (text == nullptr) return nullptr;
   if (rtxMemHeapCheckPtr(VX_HEAP(pctxt), text)) {
      void* p = rtxMemHeapAutoPtrRef(VX_HEAP(pctxt), const_cast<char*>(text));
      if (p != nullptr) return static_cast<char*>(p);
   }
   return rtxStrdup(pctxt, text);
}

char* rtxUTF8StrJoin(VXCTXT* pctxt, const char* s1, const char* s2, const char* s3, const char* s4,
                     const char* s5)
{
   return rtxStrJoin(pctxt, s1, s2, s3, s4, s5);
}

namespace {

enum class Target { kLatin1, kUTF16BE, kUTF16LE };

void put16(uint8_t* out, size_t& at, uint32_t unit, Target target)
{
   uint8_t hi = (uint8_t)(unit >> 8), lo = (uint8_t)unit;
   out[at++] = target == Target::kUTF16LE ? lo : hi;
   out[at++] = target == Target::kUTF16LE ? hi : lo;
}

// Converts through a small scratch area that is flushed with rtxWriteBytes,
// so that an attached output stream is served as well as the buffer.
int convertUTF8(VXCTXT* pctxt, const char* text, size_t nbytes, Target target)
{
   if (text == nullptr || nbytes == 0) return 0;
   const uint8_t* p = reinterpret_cast<const uint8_t*>(text);
   uint8_t out[256];
   size_t at = 0;
   for (size_t i = 0; i < nbytes;) {
      uint32_t code;
      size_t len;
      DecodeResult r = decodeOne(p + i, nbytes - i, &code, &len);
      if (r == kTruncated) break;
      bool fits = target == Target::kLatin1 ? code <= 0xFF : code <= 0x10FFFF;
      if (r == kMalformed || !fits) {
         if (at > 0) rtxWriteBytes(pctxt, out, at);
         VX_LOG_ERRNEW(pctxt, RTERR_INVCHAR);
         return RTERR_INVCHAR;
      }
      if (target == Target::kLatin1) {
         out[at++] = (uint8_t)code;
      } else if (code < 0x10000) {
         put16(out, at, code, target);
      } else {
         code -= 0x10000;
         put16(out, at, 0xD800 | (code >> 10), target);
         put16(out, at, 0xDC00 | (code & 0x3FF), target);
      }
      i += len;
      if (at > sizeof(out) - 4) {
         int stat = rtxWriteBytes(pctxt, out, at);
         if (stat != 0) return stat;
         at = 0;
      }
   }
   return rtxWriteBytes(pctxt, out, at);
}

}  // namespace

int rtxStreamUTF8ToLatin1(VXCTXT* pctxt, const char* text, size_t nbytes)
{
   return convertUTF8(pctxt, text, nbytes, Target::kLatin1);
}

int rtxStreamUTF8ToUTF16(VXCTXT* pctxt, const char* text, size_t nbytes)
{
   return convertUTF8(pctxt, text, nbytes, Target::kUTF16BE);
}

int rtxStreamUTF8ToUTF16BE(VXCTXT* pctxt, const char* text, size_t nbytes)
{
   return convertUTF8(pctxt, text, nbytes, Target::kUTF16BE);
}

int rtxStreamUTF8ToUTF16LE(VXCTXT* pctxt, const char* text, size_t nbytes)
{
   return convertUTF8(pctxt, text, nbytes, Target::kUTF16LE);
}
