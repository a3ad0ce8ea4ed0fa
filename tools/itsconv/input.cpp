// itsconv: reading the inputs and cutting them into messages.
#include "input.h"

#include <emmintrin.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace itsconv {

namespace {

const size_t kBlock = 1 << 20;

inline bool isBlank(unsigned char c)
{
   return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
}

// A character as it can be quoted in a one-line message.
std::string shown(unsigned char c)
{
   char buf[8];
   if (c >= 0x20 && c < 0x7f)
      snprintf(buf, sizeof buf, "'%c'", c);
   else
      snprintf(buf, sizeof buf, "\\x%02x", c);
   return buf;
}

size_t countLines(const char* p, const char* end)
{
   size_t n = 0;
   while ((p = static_cast<const char*>(memchr(p, '\n', end - p))) != nullptr) {
      n++;
      p++;
   }
   return n;
}

size_t skipBom(std::string_view d)
{
   return d.size() >= 3 && d.compare(0, 3, "\xef\xbb\xbf") == 0 ? 3 : 0;
}

// Position behind the first `seq` at or after `from`, or npos.
size_t behind(std::string_view d, size_t from, const char* seq)
{
   size_t at = d.find(seq, from);
   return at == std::string::npos ? at : at + strlen(seq);
}

// Position behind the '>' closing a tag that starts at `from`, quotes
// honoured, or npos.
size_t tagEnd(std::string_view d, size_t from)
{
   char quote = 0;
   for (size_t i = from; i < d.size(); i++) {
      char c = d[i];
      if (quote) {
         if (c == quote) quote = 0;
      } else if (c == '"' || c == '\'') {
         quote = c;
      } else if (c == '>') {
         return i + 1;
      }
   }
   return std::string::npos;
}

// Steps over the XML construct starting with '<' at `i`: returns the
// position behind it (npos when it never closes) and its effect on the
// element depth (+1 start tag, -1 end tag, 0 anything else).
size_t xmlConstruct(std::string_view d, size_t i, int* depthChange)
{
   *depthChange = 0;
   if (d.compare(i, 4, "<!--") == 0) return behind(d, i + 4, "-->");
   if (d.compare(i, 9, "<![CDATA[") == 0) return behind(d, i + 9, "]]>");
   if (d.compare(i, 2, "<?") == 0) return behind(d, i + 2, "?>");
   if (d.compare(i, 2, "<!") == 0) {
      // A document type declaration; its internal subset is in brackets.
      int nest = 0;
      for (size_t j = i + 2; j < d.size(); j++) {
         if (d[j] == '[') nest++;
         if (d[j] == ']') nest--;
         if (d[j] == '>' && nest <= 0) return j + 1;
      }
      return std::string::npos;
   }
   size_t end = tagEnd(d, i + 1);
   if (end == std::string::npos) return end;
   if (d[i + 1] == '/')
      *depthChange = -1;
   else if (d[end - 2] != '/')
      *depthChange = 1;
   return end;
}

}  // namespace

bool readInput(const char* path, std::string* data, std::string* problem)
{
   int fd = 0;
   if (path != nullptr && strcmp(path, "-") != 0) {
      fd = open(path, O_RDONLY | O_CLOEXEC);
      if (fd < 0) {
         *problem = std::string("cannot open: ") + strerror(errno);
         return false;
      }
   }
   struct stat st;
   size_t expected = 0;
   if (fstat(fd, &st) == 0) {
      if (S_ISDIR(st.st_mode)) {
         if (fd != 0) close(fd);
         *problem = "is a directory";
         return false;
      }
      if (S_ISREG(st.st_mode)) expected = static_cast<size_t>(st.st_size);
   }
   // One spare byte, so a file read in one go needs no second block for the
   // end-of-file read.
   data->resize(expected + 1 > kBlock ? expected + 1 : kBlock);
   size_t used = 0;
   bool ok = true;
   for (;;) {
      if (used == data->size()) data->resize(data->size() * 2);
      ssize_t n = read(fd, &(*data)[used], data->size() - used);
      if (n < 0 && errno == EINTR) continue;
      if (n < 0) {
         *problem = std::string("cannot read: ") + strerror(errno);
         ok = false;
         break;
      }
      if (n == 0) break;
      used += static_cast<size_t>(n);
   }
   if (fd != 0) close(fd);
   data->resize(used);
   return ok;
}

InputBytes::~InputBytes()
{
   if (map_ != nullptr) munmap(map_, size_);
}

bool InputBytes::load(const char* path, std::string* problem)
{
   if (path != nullptr && strcmp(path, "-") != 0) {
      int fd = open(path, O_RDONLY | O_CLOEXEC);
      if (fd < 0) {
         *problem = std::string("cannot open: ") + strerror(errno);
         return false;
      }
      struct stat st;
      if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0) {
         void* m = mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ,
                        MAP_PRIVATE | MAP_POPULATE, fd, 0);
         if (m != MAP_FAILED) {
            map_ = static_cast<char*>(m);
            size_ = static_cast<size_t>(st.st_size);
            close(fd);
            return true;
         }
      }
      close(fd);
   }
   return readInput(path, &copy_, problem);
}

bool looksBinary(std::string_view data)
{
   // Signed compares: the bytes from 0x80 up count as below 0x09.
   const char* p = data.data();
   const char* end = p + data.size();
   const __m128i tab = _mm_set1_epi8(0x09), cr = _mm_set1_epi8(0x0d);
   const __m128i space = _mm_set1_epi8(0x20), del = _mm_set1_epi8(0x7f);
   for (; end - p >= 16; p += 16) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
      __m128i bad = _mm_or_si128(_mm_or_si128(_mm_cmplt_epi8(v, tab), _mm_cmpeq_epi8(v, del)),
                                 _mm_and_si128(_mm_cmpgt_epi8(v, cr), _mm_cmplt_epi8(v, space)));
      if (_mm_movemask_epi8(bad) != 0) return true;
   }
   for (; p < end; p++) {
      unsigned char c = static_cast<unsigned char>(*p);
      if ((c < 0x20 && !isBlank(c)) || c >= 0x7f) return true;
   }
   return false;
}

void splitLines(std::string_view data, std::vector<Item>* items)
{
   const char* base = data.data();
   const char* end = base + data.size();
   const char* p = base + skipBom(data);
   size_t line = 1;
   while (p < end) {
      const char* eol = static_cast<const char*>(memchr(p, '\n', end - p));
      if (eol == nullptr) eol = end;
      const char* q = p;
      while (q < eol && isBlank(static_cast<unsigned char>(*q))) q++;
      if (q < eol) {
         Item item;
         item.begin = p - base;
         item.end = eol - base;
         item.line = line;
         items->push_back(item);
      }
      line++;
      p = eol + 1;
   }
}

void splitJson(std::string_view data, std::vector<Item>* items)
{
   std::string_view d = data;
   size_t i = skipBom(d), line = 1;
   while (i < d.size()) {
      char c = d[i];
      // Between objects: blanks, and the commas and brackets of an array
      // holding them.
      if (isBlank(static_cast<unsigned char>(c)) || c == ',' || c == '[' || c == ']') {
         if (c == '\n') line++;
         i++;
         continue;
      }
      Item item;
      item.begin = i;
      item.line = line;
      if (c != '{') {
         size_t next = d.find('{', i);
         if (next == std::string::npos) next = d.size();
         // Trailing blanks are not part of the quoted text.
         size_t last = next;
         while (last > i && isBlank(static_cast<unsigned char>(d[last - 1]))) last--;
         item.end = last;
         item.problem = "text outside a JSON object";
         line += countLines(d.data() + i, d.data() + next);
         i = next;
         items->push_back(item);
         continue;
      }
      int depth = 0;
      bool inString = false;
      size_t j = i;
      for (; j < d.size(); j++) {
         char ch = d[j];
         if (ch == '\n') line++;
         if (inString) {
            if (ch == '\\')
               j++;
            else if (ch == '"')
               inString = false;
            continue;
         }
         if (ch == '"') {
            inString = true;
         } else if (ch == '{' || ch == '[') {
            depth++;
         } else if (ch == '}' || ch == ']') {
            if (--depth == 0) break;
         }
      }
      if (j >= d.size()) {
         item.end = d.size();
         item.problem = "JSON object not closed at the end of the input";
         items->push_back(item);
         return;
      }
      item.end = j + 1;
      items->push_back(item);
      i = j + 1;
   }
}

void splitXml(std::string_view data, std::vector<Item>* items)
{
   std::string_view d = data;
   const size_t npos = std::string::npos;
   size_t i = skipBom(d), line = 1;
   size_t docStart = npos, docLine = 0;
   while (i < d.size()) {
      char c = d[i];
      if (isBlank(static_cast<unsigned char>(c))) {
         if (c == '\n') line++;
         i++;
         continue;
      }
      if (c != '<' || (i + 1 < d.size() && d[i + 1] == '/')) {
         // Text, or an end tag, outside any document.
         size_t next = d.find('<', i + 1);
         if (next == npos) next = d.size();
         size_t last = next;
         while (last > i && isBlank(static_cast<unsigned char>(d[last - 1]))) last--;
         Item item;
         item.begin = i;
         item.end = last;
         item.line = line;
         item.problem = "text outside an XML document";
         items->push_back(item);
         line += countLines(d.data() + i, d.data() + next);
         i = next;
         docStart = npos;
         continue;
      }
      int change = 0;
      bool declaration = d.compare(i, 2, "<?") == 0;
      bool root = d.compare(i, 2, "<!") != 0 && !declaration;
      // A document starts with its declaration or, without one, its root.
      if (docStart == npos && (declaration || root)) {
         docStart = i;
         docLine = line;
      }
      size_t end = root ? i : xmlConstruct(d, i, &change);
      if (root) {
         // The root element: walk to the end tag that closes it.
         int depth = 0;
         do {
            size_t lt = d.find('<', end);
            if (lt == npos) {
               end = npos;
               break;
            }
            end = xmlConstruct(d, lt, &change);
            if (end == npos) break;
            depth += change;
         } while (depth > 0);
      }
      if (end == npos) {
         Item item;
         item.begin = docStart != npos ? docStart : i;
         item.end = d.size();
         item.line = docStart != npos ? docLine : line;
         item.problem = "XML document not closed at the end of the input";
         items->push_back(item);
         return;
      }
      line += countLines(d.data() + i, d.data() + end);
      if (root) {
         Item item;
         item.begin = docStart;
         item.end = end;
         item.line = docLine;
         items->push_back(item);
         docStart = npos;
      }
      i = end;
   }
}

bool decodeHex(const char* p, const char* end, std::vector<char>* bytes, std::string* problem)
{
   // 0-15 digit, 16 blank, 17 separator, 18 anything else.
   static const struct Table {
      unsigned char v[256];
      Table()
      {
         memset(v, 18, sizeof v);
         for (int c = 0; c < 10; c++) v['0' + c] = static_cast<unsigned char>(c);
         for (int c = 0; c < 6; c++) {
            v['a' + c] = static_cast<unsigned char>(10 + c);
            v['A' + c] = static_cast<unsigned char>(10 + c);
         }
         for (unsigned char c : {' ', '\t', '\n', '\r', '\f', '\v'}) v[c] = 16;
         for (unsigned char c : {':', '-', ','}) v[c] = 17;
      }
   } table;
   // Room for every byte the digits can make; cut to size at the end.
   bytes->resize(static_cast<size_t>(end - p) / 2 + 1);
   char* out = bytes->data();
   // Digits alone go sixteen at a time, then two at a time; from the first
   // other character on, one at a time.
   const char* q = p;
#if defined(__SSE2__)
   while (end - q >= 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q));
      // A digit is c - '0' <= 9, a letter (c | 0x20) - 'a' <= 5, unsigned.
      const __m128i dv = _mm_sub_epi8(v, _mm_set1_epi8('0'));
      const __m128i lv = _mm_sub_epi8(_mm_or_si128(v, _mm_set1_epi8(0x20)), _mm_set1_epi8('a'));
      const __m128i digit = _mm_cmpeq_epi8(_mm_min_epu8(dv, _mm_set1_epi8(9)), dv);
      const __m128i letter = _mm_cmpeq_epi8(_mm_min_epu8(lv, _mm_set1_epi8(5)), lv);
      if (_mm_movemask_epi8(_mm_or_si128(digit, letter)) != 0xFFFF) break;
      const __m128i val = _mm_or_si128(_mm_and_si128(digit, dv),
                                       _mm_and_si128(letter, _mm_add_epi8(lv, _mm_set1_epi8(10))));
      // Each 16-bit pair holds the high digit in its low byte: high << 4 | low.
      const __m128i pair = _mm_or_si128(_mm_and_si128(_mm_slli_epi16(val, 4), _mm_set1_epi16(0xF0)),
                                        _mm_srli_epi16(val, 8));
      _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(pair, pair));
      out += 8;
      q += 16;
   }
#endif
   while (end - q >= 2) {
      unsigned a = table.v[static_cast<unsigned char>(q[0])];
      unsigned b = table.v[static_cast<unsigned char>(q[1])];
      if ((a | b) >= 16) break;
      *out++ = static_cast<char>(a << 4 | b);
      q += 2;
   }
   int high = -1;
   size_t digits = static_cast<size_t>(q - p);
   bool tokenStart = q == p;
   for (; q < end; q++) {
      unsigned char c = static_cast<unsigned char>(*q);
      unsigned v = table.v[c];
      if (v < 16) {
         // "0x" in front of a group of digits is a prefix, not a digit.
         if (c == '0' && tokenStart && q + 1 < end && (q[1] == 'x' || q[1] == 'X')) {
            q++;
            tokenStart = false;
            continue;
         }
         tokenStart = false;
         digits++;
         if (high < 0) {
            high = static_cast<int>(v);
         } else {
            *out++ = static_cast<char>(high << 4 | static_cast<int>(v));
            high = -1;
         }
      } else if (v < 18) {
         tokenStart = true;
      } else {
         *problem = "not hexadecimal: " + shown(c) + " at column " + std::to_string(q - p + 1);
         return false;
      }
   }
   bytes->resize(static_cast<size_t>(out - bytes->data()));
   if (high >= 0) {
      *problem = "odd number of hexadecimal digits (" + std::to_string(digits) + ")";
      return false;
   }
   return true;
}

bool decodeBase64(const char* p, const char* end, std::vector<char>* bytes, std::string* problem)
{
   // 0-63 symbol, 64 blank, 65 padding, 66 anything else.
   static const struct Table {
      unsigned char v[256];
      Table()
      {
         memset(v, 66, sizeof v);
         const char* symbols = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
         for (int i = 0; i < 64; i++)
            v[static_cast<unsigned char>(symbols[i])] = static_cast<unsigned char>(i);
         v['-'] = 62;
         v['_'] = 63;
         for (unsigned char c : {' ', '\t', '\n', '\r', '\f', '\v'}) v[c] = 64;
         v['='] = 65;
      }
   } table;
   bytes->clear();
   unsigned bits = 0, nbits = 0;
   size_t symbols = 0;
   bool padding = false;
   for (const char* q = p; q < end; q++) {
      unsigned char c = static_cast<unsigned char>(*q);
      unsigned v = table.v[c];
      if (v == 64) continue;
      if (v == 65) {
         padding = true;
         continue;
      }
      if (v > 65 || padding) {
         *problem = "not base64: " + shown(c) + " at column " + std::to_string(q - p + 1);
         return false;
      }
      symbols++;
      bits = (bits << 6 | v) & 0xffffff;
      nbits += 6;
      if (nbits >= 8) {
         nbits -= 8;
         bytes->push_back(static_cast<char>(bits >> nbits));
      }
   }
   if (symbols % 4 == 1) {
      *problem = "base64 of " + std::to_string(symbols) + " symbols is cut short";
      return false;
   }
   return true;
}

namespace {

// A small walker over a JSON text that only needs to find keys: strings,
// and values skipped as a whole.
struct JsonWalk {
   const char* p;
   const char* end;

   void blanks()
   {
      while (p < end && isBlank(static_cast<unsigned char>(*p))) p++;
   }
   bool at(char c)
   {
      blanks();
      if (p < end && *p == c) {
         p++;
         return true;
      }
      return false;
   }
   // A string after its opening quote; its raw characters into *out.
   void string(std::string* out)
   {
      const char* start = p;
      while (p < end && *p != '"') p += *p == '\\' ? 2 : 1;
      if (out) out->assign(start, p < end ? p : end);
      if (p < end) p++;
   }
   void value()
   {
      blanks();
      if (p >= end) return;
      if (*p == '"') {
         p++;
         string(nullptr);
         return;
      }
      if (*p == '{' || *p == '[') {
         int depth = 0;
         for (; p < end; p++) {
            if (*p == '"') {
               p++;
               string(nullptr);
               p--;
            } else if (*p == '{' || *p == '[') {
               depth++;
            } else if ((*p == '}' || *p == ']') && --depth == 0) {
               p++;
               return;
            }
         }
         return;
      }
      while (p < end && *p != ',' && *p != '}' && *p != ']' &&
             !isBlank(static_cast<unsigned char>(*p)))
         p++;
   }
   // Calls f(key) for each member of the object at p; f reads or skips the
   // value.
   template <typename F>
   void members(F f)
   {
      if (!at('{')) return;
      std::string key;
      while (p < end) {
         if (!at('"')) return;
         string(&key);
         if (!at(':')) return;
         f(key);
         if (!at(',')) return;
      }
   }
};

// The XML element name of the tag whose '<' is at p, without a prefix.
std::string tagName(const char* p, const char* end)
{
   const char* start = p + 1;
   if (start < end && *start == '/') start++;
   const char* q = start;
   while (q < end && !isBlank(static_cast<unsigned char>(*q)) && *q != '>' && *q != '/') q++;
   const char* colon = static_cast<const char*>(memchr(start, ':', q - start));
   return std::string(colon ? colon + 1 : start, q);
}

}  // namespace

void jsonHints(const char* p, const char* end, TextHints* hints)
{
   JsonWalk w{p, end};
   w.members([&](const std::string& key) {
      hints->members.push_back(key);
      if (key != "header") {
         w.value();
         return;
      }
      w.blanks();
      if (w.p >= w.end || *w.p != '{') {
         w.value();
         return;
      }
      w.members([&](const std::string& inner) {
         w.blanks();
         if (inner == "messageID" && w.p < w.end && *w.p >= '0' && *w.p <= '9')
            hints->messageId = strtol(w.p, nullptr, 10);
         w.value();
      });
      w.at('}');
   });
}

void xmlHints(const char* p, const char* end, TextHints* hints)
{
   std::string d(p, end);
   int depth = 0;
   bool inHeader = false;
   size_t i = 0;
   while ((i = d.find('<', i)) != std::string::npos) {
      int change = 0;
      size_t next = xmlConstruct(d, i, &change);
      if (next == std::string::npos) return;
      if (change != 0 || (d[i + 1] != '!' && d[i + 1] != '?')) {
         bool endTag = d[i + 1] == '/';
         int level = endTag ? depth - 1 : depth;  // 0 for the root
         std::string name = tagName(d.data() + i, d.data() + d.size());
         if (!endTag) {
            if (level == 0) hints->root = name;
            if (level == 1) {
               hints->members.push_back(name);
               inHeader = name == "header";
            }
            if (level == 2 && inHeader && name == "messageID" && change > 0) {
               const char* digits = d.data() + next;
               while (isBlank(static_cast<unsigned char>(*digits))) digits++;
               if (*digits >= '0' && *digits <= '9') hints->messageId = strtol(digits, nullptr, 10);
            }
         }
         depth += change;
      }
      i = next;
   }
}

}  // namespace itsconv
