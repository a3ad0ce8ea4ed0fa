// A strict JSON checker for tests and fuzz targets, independent of the
// library's own reader: the grammar of RFC 8259 exactly (no comments, no
// "1.", no control byte in a string unless allowed), and no key twice in one
// object, keys compared as a JSON reader compares them (escapes resolved).
// checkStrictJson returns "" for a good text, else what is wrong and where.
#ifndef ITSCODEC_TESTS_STRICT_JSON_H
#define ITSCODEC_TESTS_STRICT_JSON_H

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

namespace strictjson {

class Checker {
 public:
   Checker(const std::string& text, bool allowControlInStrings)
       : s_(text), allowControl_(allowControlInStrings)
   {
   }

   std::string run()
   {
      skipBlanks();
      if (!value(0)) return err_;
      skipBlanks();
      if (i_ != s_.size()) {
         fail("text behind the value");
         return err_;
      }
      return "";
   }

 private:
   const std::string& s_;
   bool allowControl_;
   size_t i_ = 0;
   std::string err_;

   bool fail(const std::string& what)
   {
      if (err_.empty()) err_ = what + " at offset " + std::to_string(i_);
      return false;
   }
   int peek() const { return i_ < s_.size() ? (uint8_t)s_[i_] : -1; }
   void skipBlanks()
   {
      while (i_ < s_.size() &&
             (s_[i_] == ' ' || s_[i_] == '\t' || s_[i_] == '\n' || s_[i_] == '\r'))
         i_++;
   }
   bool literal(const char* word)
   {
      for (size_t k = 0; word[k]; k++, i_++)
         if (peek() != (uint8_t)word[k]) return fail("bad literal");
      return true;
   }
   static int hexValue(int c)
   {
      if (c >= '0' && c <= '9') return c - '0';
      if (c >= 'a' && c <= 'f') return c - 'a' + 10;
      if (c >= 'A' && c <= 'F') return c - 'A' + 10;
      return -1;
   }
   // A string; its decoded code units go to *units (bytes >= 0x80 count as
   // one unit each, which keeps distinct texts distinct).
   bool string(std::u16string* units)
   {
      i_++;  // the opening quote
      for (;;) {
         int c = peek();
         if (c < 0) return fail("unterminated string");
         i_++;
         if (c == '"') return true;
         if (c < 0x20 && !allowControl_) return fail("control byte in a string");
         if (c != '\\') {
            units->push_back((char16_t)c);
            continue;
         }
         int e = peek();
         i_++;
         switch (e) {
            case '"':
            case '\\':
            case '/':
               units->push_back((char16_t)e);
               break;
            case 'b':
               units->push_back(0x08);
               break;
            case 'f':
               units->push_back(0x0C);
               break;
            case 'n':
               units->push_back(0x0A);
               break;
            case 'r':
               units->push_back(0x0D);
               break;
            case 't':
               units->push_back(0x09);
               break;
            case 'u': {
               unsigned u = 0;
               for (int d = 0; d < 4; d++, i_++) {
                  int h = hexValue(peek());
                  if (h < 0) return fail("bad \\u escape");
                  u = u * 16 + (unsigned)h;
               }
               units->push_back((char16_t)u);
               break;
            }
            default:
               i_--;
               return fail("bad escape");
         }
      }
   }
   bool digits()
   {
      if (peek() < '0' || peek() > '9') return fail("digit expected");
      while (peek() >= '0' && peek() <= '9') i_++;
      return true;
   }
   bool number()
   {
      if (peek() == '-') i_++;
      if (peek() == '0') {
         i_++;
      } else if (!digits()) {
         return false;
      }
      if (peek() == '.') {
         i_++;
         if (!digits()) return false;
      }
      if (peek() == 'e' || peek() == 'E') {
         i_++;
         if (peek() == '+' || peek() == '-') i_++;
         if (!digits()) return false;
      }
      return true;
   }
   bool value(int depth)
   {
      if (depth > 3000) return fail("nesting too deep for the checker");
      int c = peek();
      if (c == '{') {
         i_++;
         std::set<std::u16string> keys;
         skipBlanks();
         if (peek() == '}') {
            i_++;
            return true;
         }
         for (;;) {
            skipBlanks();
            if (peek() != '"') return fail("key expected");
            size_t at = i_;
            std::u16string key;
            if (!string(&key)) return false;
            if (!keys.insert(key).second) {
               i_ = at;
               return fail("duplicate key " + s_.substr(at, 40));
            }
            skipBlanks();
            if (peek() != ':') return fail("colon expected");
            i_++;
            skipBlanks();
            if (!value(depth + 1)) return false;
            skipBlanks();
            if (peek() == ',') {
               i_++;
               continue;
            }
            if (peek() == '}') {
               i_++;
               return true;
            }
            return fail("comma or brace expected");
         }
      }
      if (c == '[') {
         i_++;
         skipBlanks();
         if (peek() == ']') {
            i_++;
            return true;
         }
         for (;;) {
            skipBlanks();
            if (!value(depth + 1)) return false;
            skipBlanks();
            if (peek() == ',') {
               i_++;
               continue;
            }
            if (peek() == ']') {
               i_++;
               return true;
            }
            return fail("comma or bracket expected");
         }
      }
      if (c == '"') {
         std::u16string ignored;
         return string(&ignored);
      }
      if (c == 't') return literal("true");
      if (c == 'f') return literal("false");
      if (c == 'n') return literal("null");
      if (c == '-' || (c >= '0' && c <= '9')) return number();
      return fail("value expected");
   }
};

inline std::string checkStrictJson(const std::string& text, bool allowControlInStrings = false)
{
   return Checker(text, allowControlInStrings).run();
}

}  // namespace strictjson

#endif
