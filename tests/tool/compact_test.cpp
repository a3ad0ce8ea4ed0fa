// The converter's JSON Lines writer on texts around the library's layout:
// blank lines, tabs and carriage returns in the indentation, deep
// indentation, long lines, blanks and escapes within lines, every length
// around the step of 64 bytes. Each instruction set is held to a byte-by-byte
// reading of the rule. (That the library's own texts come out with no blank
// outside strings is tested on the converter's output.)
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "input.h"
#include "output.h"

namespace {

// Each line feed goes with the blanks behind it; everything else stays.
std::string reference(const std::string& text)
{
   std::string out;
   size_t i = 0;
   while (i < text.size() && strchr(" \n\t\r", text[i]) != nullptr) i++;
   for (; i < text.size(); i++) {
      if (text[i] != '\n') {
         out += text[i];
         continue;
      }
      while (i + 1 < text.size() && strchr(" \n\t\r", text[i + 1]) != nullptr) i++;
   }
   return out;
}

// Pretty-printed JSON-like text: lines of indentation and members, strings
// drawn from characters that matter to the writer.
std::string randomText(std::mt19937* rng)
{
   auto pick = [&](int n) { return static_cast<int>((*rng)() % static_cast<unsigned>(n)); };
   static const char* const pieces[] = {
      "a", "Z", "0", " ",    "  ",   ":",   ",",   "{",
      "}", "[", "]", "\\\"", "\\\\", "\\n", "\\t", "\\u0041",
   };
   std::string text;
   int lines = 1 + pick(12);
   for (int l = 0; l < lines; l++) {
      text.append(3 * static_cast<size_t>(pick(16)), ' ');
      if (pick(20) == 0) text += "\t\r\n  ";
      int members = 1 + pick(3);
      for (int m = 0; m < members; m++) {
         text += '"';
         int len = pick(50);
         for (int i = 0; i < len; i++) text += pieces[pick(sizeof pieces / sizeof *pieces)];
         text += '"';
         static const char* const between[] = {":",  " : ", ":\t", ",",  "\r",
                                               ":{", "[",   "}",   "],", " "};
         text += between[pick(sizeof between / sizeof *between)];
         if (pick(3) == 0) text += std::to_string(pick(100000));
      }
      if (l + 1 < lines) text += '\n';
   }
   return text;
}

typedef size_t (*Compact)(char*, const char*, size_t);

void checkSteps(const std::string& text)
{
   std::string want = reference(text);
   std::vector<std::pair<const char*, Compact>> steps;
   steps.push_back({"a byte at a time", itsconv::compactJsonScalar});
#if defined(__x86_64__)
   if (__builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt"))
      steps.push_back({"SSSE3", itsconv::compactJsonSsse3});
   if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi2"))
      steps.push_back({"AVX-512 VBMI2", itsconv::compactJsonVbmi2});
#endif
   for (const auto& step : steps) {
      // Exactly the text's bytes, so a read past its end shows under ASan.
      std::unique_ptr<char[]> in(new char[text.size()]);
      memcpy(in.get(), text.data(), text.size());
      std::string out(text.size() + 64, '\0');
      size_t n = step.second(&out[0], in.get(), text.size());
      ASSERT_EQ(out.substr(0, n), want) << step.first << " on\n" << text;
   }
   itsconv::OutBuf buf;
   buf.push('>');
   itsconv::appendCompactJson(&buf, text.data(), text.size());
   ASSERT_EQ(std::string(buf.data(), buf.size()), ">" + want);
}

TEST(CompactJson, RandomLinesEveryRegisterWidth)
{
   std::mt19937 rng(2024);
   for (int i = 0; i < 3000; i++) checkSteps(randomText(&rng));
}

TEST(CompactJson, EveryCutOfOneText)
{
   // Each prefix puts the line ends and the text's end at another offset
   // from the register width.
   std::mt19937 rng(7);
   std::string text = randomText(&rng) + "\n" + std::string(40, ' ') + "\"a b\" : [1, 2]\n}";
   for (size_t n = 0; n <= text.size(); n++) checkSteps(text.substr(0, n));
}

TEST(CompactJson, LibraryLayout)
{
   checkSteps(
      "{\n   \"header\":{\n      \"protocolVersion\":2\n   },\n   \"v\":{\"value\" : \"0a\"},\n"
      "   \"name\":\"Main  St. \\\"A\\\"\",\n   \"list\":[\n      1,\n      2\n   ]\n}");
   checkSteps(std::string(100, ' ') + "\"deep\":1");
   checkSteps("\"" + std::string(200, 'x') + " y\"");
}

}  // namespace

namespace {

// Hexadecimal digits of every run length around the sixteen read at once,
// in either case: the bytes they stand for; one character that is no digit
// anywhere in them: the error names it and its column.
TEST(DecodeHex, RunsAndBadCharactersAtEveryColumn)
{
   std::mt19937 rng(11);
   const char* digits[] = {"0123456789abcdef", "0123456789ABCDEF"};
   for (int len = 0; len <= 80; len += 2) {
      std::string text;
      std::vector<char> want;
      for (int i = 0; i < len; i += 2) {
         unsigned b = rng() % 256;
         text += digits[rng() % 2][b >> 4];
         text += digits[rng() % 2][b & 15];
         want.push_back(static_cast<char>(b));
      }
      std::vector<char> got;
      std::string problem;
      ASSERT_TRUE(itsconv::decodeHex(text.data(), text.data() + text.size(), &got, &problem))
         << text;
      ASSERT_EQ(got, want) << text;
      for (int at = 0; at < len; at++) {
         for (char bad : std::string("gG@`/;\x80\xe1")) {
            std::string broken = text;
            broken[at] = bad;
            ASSERT_FALSE(
               itsconv::decodeHex(broken.data(), broken.data() + broken.size(), &got, &problem));
            ASSERT_NE(problem.find("at column " + std::to_string(at + 1)), std::string::npos)
               << problem;
         }
      }
   }
}

}  // namespace
