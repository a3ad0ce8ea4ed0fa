// itsconv: the output of a run of messages.
#ifndef ITSCONV_OUTPUT_H
#define ITSCONV_OUTPUT_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

namespace itsconv {

// A growing byte buffer that, unlike std::string, does not clear what it
// hands out for writing: results are appended straight into it.
class OutBuf {
 public:
   // Room for n more bytes; write them, then commit what was written.
   char* reserve(size_t n)
   {
      if (size_ + n > cap_) grow(n);
      return data_.get() + size_;
   }
   void commit(size_t n) { size_ += n; }
   void append(const char* p, size_t n)
   {
      memcpy(reserve(n), p, n);
      size_ += n;
   }
   void append(const std::string& s) { append(s.data(), s.size()); }
   void push(char c) { *reserve(1) = c, size_++; }
   const char* data() const { return data_.get(); }
   size_t size() const { return size_; }
   void clear() { size_ = 0; }

 private:
   void grow(size_t n);
   std::unique_ptr<char[]> data_;
   size_t size_ = 0, cap_ = 0;
};

// Writes n bytes to the descriptor, going on after interruptions: 0, or the
// errno that stopped it.
int writeAll(int fd, const char* p, size_t n);

// Bytes as lower-case hexadecimal digits, or as base64 (standard alphabet,
// padded).
void appendHex(OutBuf* out, const char* bytes, size_t n);
void appendBase64(OutBuf* out, const char* bytes, size_t n);

// The library's JSON text on one line: each line feed is dropped with the
// indentation behind it.
void appendCompactJson(OutBuf* out, const char* text, size_t n);

// The same into d, which has room for n + 64 bytes, by instruction set:
// any, SSSE3 with POPCNT, AVX-512 BW with VBMI2. Return the length written.
size_t compactJsonScalar(char* d, const char* text, size_t n);
#if defined(__x86_64__)
size_t compactJsonSsse3(char* d, const char* text, size_t n);
size_t compactJsonVbmi2(char* d, const char* text, size_t n);
#endif

}  // namespace itsconv

#endif
