// itsconv: reading the inputs and cutting them into messages.
#ifndef ITSCONV_INPUT_H
#define ITSCONV_INPUT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace itsconv {

// How the UPER side is written: hexadecimal digits, base64, or raw bytes.
enum class WireForm { Hex, Base64, Binary };

// One message's place in an input. `problem` is set when cutting already
// found it unusable (an object that never closes, text between documents).
struct Item {
   size_t begin = 0, end = 0;
   size_t line = 0;  // 1-based line of its first character, 0 for a whole binary file
   const char* problem = nullptr;
};

// Reads a whole file ("-" or null: standard input) in big blocks. On failure
// returns false with a one-line reason (no file name) in *problem.
bool readInput(const char* path, std::string* data, std::string* problem);

// A whole input: a regular file mapped (no copy, and its pages come in
// one pass), anything else read whole with readInput.
class InputBytes {
 public:
   InputBytes() = default;
   InputBytes(const InputBytes&) = delete;
   InputBytes& operator=(const InputBytes&) = delete;
   ~InputBytes();
   bool load(const char* path, std::string* problem);
   std::string_view view() const
   {
      return map_ != nullptr ? std::string_view(map_, size_) : std::string_view(copy_);
   }

 private:
   char* map_ = nullptr;
   size_t size_ = 0;
   std::string copy_;
};

// True when the bytes can't be text: control characters other than blanks,
// or bytes above 7-bit ASCII.
bool looksBinary(std::string_view data);

// Cutting: one message per non-blank line (hex, base64); a sequence of JSON
// objects; a sequence of XML documents.
void splitLines(std::string_view data, std::vector<Item>* items);
void splitJson(std::string_view data, std::vector<Item>* items);
void splitXml(std::string_view data, std::vector<Item>* items);

// Wire text to bytes. Hex takes any blanks, `0x` prefixes, `:`, `-` and `,`
// separators and either case; base64 the standard and the URL alphabet,
// padding optional. On failure returns false with a reason in *problem.
bool decodeHex(const char* p, const char* end, std::vector<char>* bytes, std::string* problem);
bool decodeBase64(const char* p, const char* end, std::vector<char>* bytes, std::string* problem);

// What a message text says about itself: the header's messageID (-1 when it
// has none), the name of its first top-level member, and for XML the root
// element's name.
struct TextHints {
   long messageId = -1;
   std::vector<std::string> members;
   std::string root;
};
void jsonHints(const char* p, const char* end, TextHints* hints);
void xmlHints(const char* p, const char* end, TextHints* hints);

}  // namespace itsconv

#endif
