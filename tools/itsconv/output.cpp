// itsconv: the output of a run of messages.
#include "output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace itsconv {

void OutBuf::grow(size_t n)
{
   size_t cap = cap_ < 65536 ? 65536 : cap_;
   while (cap < size_ + n) cap *= 2;
   std::unique_ptr<char[]> bigger(new char[cap]);
   if (size_ > 0) memcpy(bigger.get(), data_.get(), size_);
   data_.swap(bigger);
   cap_ = cap;
}

int writeAll(int fd, const char* p, size_t n)
{
   while (n > 0) {
      ssize_t k = write(fd, p, n);
      if (k < 0 && errno == EINTR) continue;
      if (k < 0) return errno;
      p += k;
      n -= static_cast<size_t>(k);
   }
   return 0;
}

void appendHex(OutBuf* out, const char* bytes, size_t n)
{
   static const char digits[] = "0123456789abcdef";
   char* d = out->reserve(2 * n);
   for (size_t i = 0; i < n; i++) {
      unsigned char b = static_cast<unsigned char>(bytes[i]);
      d[2 * i] = digits[b >> 4];
      d[2 * i + 1] = digits[b & 15];
   }
   out->commit(2 * n);
}

void appendBase64(OutBuf* out, const char* bytes, size_t n)
{
   static const char symbols[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
   char* d = out->reserve((n + 2) / 3 * 4);
   char* start = d;
   const unsigned char* s = reinterpret_cast<const unsigned char*>(bytes);
   size_t i = 0;
   for (; i + 3 <= n; i += 3) {
      unsigned v = s[i] << 16 | s[i + 1] << 8 | s[i + 2];
      *d++ = symbols[v >> 18];
      *d++ = symbols[v >> 12 & 63];
      *d++ = symbols[v >> 6 & 63];
      *d++ = symbols[v & 63];
   }
   if (i < n) {
      unsigned v = s[i] << 16 | (i + 1 < n ? s[i + 1] << 8 : 0);
      *d++ = symbols[v >> 18];
      *d++ = symbols[v >> 12 & 63];
      *d++ = i + 1 < n ? symbols[v >> 6 & 63] : '=';
      *d++ = '=';
   }
   out->commit(static_cast<size_t>(d - start));
}

void appendCompactJson(OutBuf* out, const char* text, size_t n)
{
   typedef size_t (*Compact)(char*, const char*, size_t);
   // ITSCONV_SIMD=ssse3 or =scalar holds a processor to that way (tests).
   static const Compact compact = [] {
      const char* force = getenv("ITSCONV_SIMD");
      std::string way = force != nullptr ? force : "";
#if defined(__x86_64__)
      if (way.empty() && __builtin_cpu_supports("avx512bw") &&
          __builtin_cpu_supports("avx512vbmi2"))
         return compactJsonVbmi2;
      if (way != "scalar" && __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt"))
         return compactJsonSsse3;
#endif
      return compactJsonScalar;
   }();
   char* d = out->reserve(n + 64);
   out->commit(compact(d, text, n));
}

}  // namespace itsconv
