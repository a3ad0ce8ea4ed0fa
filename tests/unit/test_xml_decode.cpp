// XML decoding layer: the root, element tables and sequence positions,
// the value readers, kept elements and open types, and the writers that
// put kept text back. Every text is decoded in place, through the reader's
// buffer and byte by byte, with the same results.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rtxDList.h"
#include "xml_decode_fixture.h"
#include "xml_writer_fixture.h"

namespace {

using xmltest::decodeXml;

std::string hex(const uint8_t* p, uint64_t n)
{
   std::string s;
   char b[3];
   for (uint64_t i = 0; i < n; i++) {
      snprintf(b, sizeof b, "%02X", p[i]);
      s += b;
   }
   return s;
}

// Decodes <v>...</v> with one value reader; the reader's log or status.
using ValueReader = std::function<std::string(VXCTXT*)>;

std::string value(const std::string& content, const ValueReader& rd)
{
   return decodeXml("<v>" + content + "</v>", [&](VXCTXT* p) {
      if (rtXmlpMatchStartTag(p, "v", 0) != 0) return std::string("nomatch");
      std::string log = rd(p);
      int stat = rtXmlpMatchEndTag(p, -1);
      return stat == 0 ? log : log + " end " + std::to_string(stat);
   });
}

template <typename T, typename Fn>
ValueReader number(Fn fn)
{
   return [fn](VXCTXT* p) {
      T v{};
      int stat = fn(p, &v);
      return stat != 0 ? "E" + std::to_string(stat) : std::to_string(v);
   };
}

struct ValueCase {
   const char* content;
   ValueReader reader;
   const char* expected;
};

void expectValues(const std::vector<ValueCase>& cases)
{
   for (const auto& c : cases) EXPECT_EQ(c.expected, value(c.content, c.reader)) << c.content;
}

TEST(XmlDecode, Numbers)
{
   auto i32 = number<int32_t>(rtXmlpDecInt);
   auto u32 = number<uint32_t>(rtXmlpDecUInt);
   auto i64 = number<int64_t>(rtXmlpDecInt64);
   auto u64 = number<uint64_t>(rtXmlpDecUInt64);
   auto i8 = number<int>([](VXCTXT* p, int* v) {
      int8_t x = 0;
      int s = rtXmlpDecInt8(p, &x);
      *v = x;
      return s;
   });
   auto u8 = number<unsigned>([](VXCTXT* p, unsigned* v) {
      uint8_t x = 0;
      int s = rtXmlpDecUInt8(p, &x);
      *v = x;
      return s;
   });
   auto i16 = number<int>([](VXCTXT* p, int* v) {
      int16_t x = 0;
      int s = rtXmlpDecInt16(p, &x);
      *v = x;
      return s;
   });
   auto u16 = number<unsigned>([](VXCTXT* p, unsigned* v) {
      uint16_t x = 0;
      int s = rtXmlpDecUInt16(p, &x);
      *v = x;
      return s;
   });
   expectValues({
      {"+5", i32, "5 => 0"},
      {" \n 12 \t", i32, "12 => 0"},
      {"1 2", i32, "E-24 => -24 Character is not within the defined character set at position 1:5"},
      {"", i32, "E-21 => -21 Invalid value format at position 1:3"},
      {"-", i32, "E-24 => -24 Character is not within the defined character set at position 1:4"},
      {"2147483647", i32, "2147483647 => 0"},
      {"-2147483648", i32, "-2147483648 => 0"},
      {"2147483648", i32,
       "E-23 => -23 Value will not fit in target variable: element 'v' at position 1:12 v"},
      {"00000000002147483647", i32, "2147483647 => 0"},
      {"12a", i32, "E-24 => -24 Character is not within the defined character set at position 1:5"},
      {"-0", u32, "0 => 0"},
      {"-000", u32, "0 => 0"},
      {"-1", u32, "E-24 => -24 Character is not within the defined character set at position 1:4"},
      {"4294967295", u32, "4294967295 => 0"},
      {"4294967296", u32,
       "E-23 => -23 Value will not fit in target variable: element 'v' at position 1:12 v"},
      {"9223372036854775807", i64, "9223372036854775807 => 0"},
      {"-9223372036854775808", i64, "-9223372036854775808 => 0"},
      {"-9223372036854775809", i64,
       "E-23 => -23 Value will not fit in target variable: element 'v' at position 1:22 v"},
      {"18446744073709551615", u64, "18446744073709551615 => 0"},
      {"18446744073709551616", u64,
       "E-23 => -23 Value will not fit in target variable: element 'v' at position 1:22 v"},
      {"129", i8, "-127 => 0"},
      {"130", i8,
       "E-23 => -23 Value will not fit in target variable: element 'v' at position 1:5 v"},
      {"-128", i8, "-128 => 0"},
      {"255", u8, "255 => 0"},
      {"256", u8,
       "E-23 => -23 Value will not fit in target variable: element 'v' at position 1:5 v"},
      {"-32768", i16, "-32768 => 0"},
      {"32768", i16,
       "E-23 => -23 Value will not fit in target variable: element 'v' at position 1:7 v"},
      {"65535", u16, "65535 => 0"},
      {"1&#50;", i32, "12 => 0"},
      {"<!--c-->7", i32, "7 => 0"},
   });
}

TEST(XmlDecode, BooleansAndEmpty)
{
   auto b = [](VXCTXT* p) {
      bool v = false;
      int s = rtXmlpDecBool(p, &v);
      return s != 0 ? "E" + std::to_string(s) : std::string(v ? "T" : "F");
   };
   auto empty = [](VXCTXT* p) { return "E" + std::to_string(rtXmlDecEmptyElement(p)); };
   expectValues({
      {"true", b, "T => 0"},
      {" false ", b, "F => 0"},
      {"1", b, "T => 0"},
      {"0", b, "F => 0"},
      {"tru", b, "E-14 => -14 Value not valid for its type at position 1:6"},
      {"falsey", b, "E-14 => -14 Value not valid for its type at position 1:3"},
      {"01", b, "E-14 => -14 Value not valid for its type at position 1:5"},
      {"", b, "E-21 => -21 Invalid value format at position 1:3"},
      {"", empty, "E0 => 0"},
      {"<!-- c -->", empty, "E0 => 0"},
      {" ", empty, "E-220 => -220 Element is not empty, as is required. at position 1:4"},
      {"<x/>", empty, "E-220 => -50 Element is not empty, as is required. at position 1:7"},
   });
   EXPECT_EQ("E0 => 0", decodeXml("<v/>", [&](VXCTXT* p) {
                rtXmlpMatchStartTag(p, "v", 0);
                return empty(p);
             }));
}

TEST(XmlDecode, Strings)
{
   auto str = [](VXCTXT* p) {
      VXXMLSTRING s{false, nullptr};
      int stat = rtXmlpDecXmlStr(p, &s);
      return stat != 0 ? "E" + std::to_string(stat)
                       : std::string(s.cdata ? "C:" : "") + "[" + s.value + "]";
   };
   auto collapsed = [str](VXCTXT* p) {
      rtXmlpSetWhiteSpaceMode(p, 1);
      return str(p);
   };
   expectValues({
      {"", str, "[] => 0"},
      {" a &amp; b\r\n", str, "[ a & b\n] => 0"},
      {"a\tb\nc", collapsed, "[a b c] => 0"},
      {"<![CDATA[<x>]]>", str, "C:[<x>] => 0"},
      {"caf\xC3\xA9", str, "[caf\xC3\xA9] => 0"},
   });
   // Declared UTF-8 is checked; undeclared is taken as it is.
   auto bad = [&](const std::string& decl) {
      return decodeXml(decl + "<v>\xC3(</v>", [&](VXCTXT* p) {
         rtXmlpMatchStartTag(p, "v", 0);
         return str(p);
      });
   };
   EXPECT_EQ("[\xC3(] => 0", bad(""));
   EXPECT_EQ("E-18 => -18 Invalid UTF-8 character at index at position 1:43",
             bad("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));
}

// A SEQUENCE { a INTEGER, b INTEGER OPTIONAL, c INTEGER, ... }: positions
// 0 to 2 and the extension position 3; the last required one is 2.
const XmlElemDescr kRows[] = {{"a", 1, 0, 1}, {"b", 1, 0, 2}, {"c", 1, 0, 3}, {nullptr, 0, 0, 0}};
const XmlGroupDescr kGroups[] = {{0, 1, -1}, {1, 2, -1}, {2, 1, -1}, {3, 0, 99}};

std::string decodeSeq(VXCTXT* p)
{
   std::string log;
   int stat = rtXmlpMatchStartTag(p, "Seq", 0);
   if (stat != 0) return "root " + std::to_string(stat);
   for (int32_t pos = 0; pos < 4;) {
      int id = rtXmlpGetNextSeqElemID(p, kRows, kGroups, pos, 2, false);
      if (id == XML_OK_EOB) break;
      if (id < 0) return log + " E" + std::to_string(id);
      if (id == 99) {
         do {
            const char* text = nullptr;
            if ((stat = rtXmlpDecAnyElem(p, &text)) != 0)
               return log + " any " + std::to_string(stat);
            log += " ext[" + std::string(text) + "]";
            rtXmlpMatchEndTag(p, -1);
            id = rtXmlpGetNextElemID(p, kRows + 3, 0, -1, false);
         } while (id == RTERR_UNEXPELEM);
         if (id < 0) return log + " E" + std::to_string(id);
         rtXmlpMarkLastEventActive(p);
         break;
      }
      int32_t v = 0;
      stat = rtXmlpDecInt(p, &v);
      log += " " + std::string(kRows[id - 1].name) + "=" +
             (stat == 0 ? std::to_string(v) : "E" + std::to_string(stat));
      rtXmlpMatchEndTag(p, -1);
      pos = id;
   }
   stat = rtXmlpMatchEndTag(p, -1);
   return stat == 0 ? log : log + " end " + std::to_string(stat);
}

TEST(XmlDecode, SequencePositions)
{
   struct Case {
      const char* text;
      const char* log;
   };
   const Case cases[] = {
      {"<Seq><a>1</a><b>2</b><c>3</c></Seq>", " a=1 b=2 c=3 => 0"},
      {"<Seq>\n <a>1</a>\n <c>3</c>\n</Seq>", " a=1 c=3 => 0"},
      {"<Seq><a>1</a><b>2</b></Seq>", " a=1 b=2 E-209 => -209 One or more required element missed"},
      // An unknown element at a required position is noted and passed
      // over; the document is read to its end and the status comes last.
      {"<Seq><x>9</x><a>1</a><c>3</c></Seq>",
       " a=1 c=3 => -41 Unexpected element \"x\" found at position 1:8"},
      {"<Seq><a>1</a><c>3</c><x><!--k--> y </x><z/></Seq>",
       " a=1 c=3 ext[<x><!--k--> y </x>] ext[<z/>] => 0"},
      // Known but out of order: the extension position takes it as kept.
      {"<Seq><a>1</a><c>3</c><b>2</b></Seq>", " a=1 c=3 ext[<b>2</b>] => 0"},
      {"<Seq><a>1</a><b>2</b><b>2</b><c>3</c></Seq>",
       " a=1 b=2 c=3 => -41 Unexpected element \"b\" found at position 1:24"},
      {"<Seq><a>1</a><c>3<q/></c></Seq>",
       " a=1 c=3 => -41 Unexpected element \"q\" found at position 1:21"},
      {"<Seq><a>1</a><c>3</c></Seq",
       " a=1 c=3 E-206 => -206 Unexpected end-of-file (document) found"},
      {"<Seq><a><a>1</a></a></Seq>", " a=E-21 E-50 => -50 Invalid value format at position 1:11"},
   };
   for (const auto& c : cases) EXPECT_EQ(c.log, decodeXml(c.text, decodeSeq)) << c.text;
}

TEST(XmlDecode, Root)
{
   struct Case {
      const char* text;
      const char* log;
   };
   const Case cases[] = {
      // The root alone is matched over the length of the parsed name.
      {"<S><a>1</a><c>2</c></S>", " a=1 c=2 => 0"},
      {"<Seqx/>", "root -213 => -213 Unexpected identifier encountered:"},
      {"<ns:Seq xmlns:ns=\"urn:x\"><ns:a>1</ns:a><c>2</c></ns:Seq>", " a=1 c=2 => 0"},
      {"<?xml version=\"1.0\"?>\n<!-- c --><Seq><a>1</a><c>2</c></Seq>", " a=1 c=2 => 0"},
      // An undeclared prefix is noted and the decode runs on.
      {"<Seq><p:a>1</p:a><c>2</c></Seq>",
       " a=1 c=2 => -215 Namespace URI for prefix 'p' not found at position 1:10"},
   };
   for (const auto& c : cases) EXPECT_EQ(c.log, decodeXml(c.text, decodeSeq)) << c.text;
}

TEST(XmlDecode, ElementNamesInReports)
{
   std::string text = "<Seq><a>1</a><c>x</c></Seq>";
   InPlacePair pair(text, 0);
   ASSERT_EQ(0, rtXmlInitCtxtAppInfo(&pair.fast));
   ASSERT_EQ(0, rtXmlpCreateReader(&pair.fast));
   decodeSeq(&pair.fast);
   char buf[1024];
   std::string report = rtxErrGetTextBuf(&pair.fast, buf, sizeof buf);
   EXPECT_NE(std::string::npos, report.find("Element name: Seq.c")) << report;
}

TEST(XmlDecode, KeptElements)
{
   auto kept = [](const std::string& inner) {
      return decodeXml("<r>" + inner + "</r>", [](VXCTXT* p) {
         rtXmlpMatchStartTag(p, "r", 0);
         int id = rtXmlpGetNextElemID(p, kRows, 0, -1, false);
         if (id != RTERR_UNEXPELEM) return "id " + std::to_string(id);
         const char* text = nullptr;
         int stat = rtXmlpDecAnyElem(p, &text);
         if (stat != 0) return "E" + std::to_string(stat);
         rtXmlpMatchEndTag(p, -1);
         return "[" + std::string(text) + "]" + std::to_string(rtXmlpMatchEndTag(p, -1));
      });
   };
   EXPECT_EQ("[<k a='1\n2'>x\n<![CDATA[<y>\n]]>&amp;<!-- c\n --><e/></k>]0 => 0",
             kept("<k a='1\r\n2'>x\r<![CDATA[<y>\r\n]]>&amp;<!-- c\r --><e/><?pi?></k>"));
   EXPECT_EQ("[<k><k></k></k>]0 => 0", kept("<k><k></k></k>"));
   EXPECT_EQ("E-202 => -202 Start/end XML tags mismatch: expected 'j', parsed 'r' at position 1:12",
             kept("<k><j>"));
}

TEST(XmlDecode, OpenTypes)
{
   auto open = [](const std::string& inner) {
      return value(inner, [](VXCTXT* p) {
         ASN1OpenType ot{0, nullptr};
         int stat = rtAsn1XmlpDecOpenType(p, &ot);
         return stat != 0 ? "E" + std::to_string(stat)
                          : std::to_string(ot.numocts) + ":" + hex(ot.data, ot.numocts);
      });
   };
   EXPECT_EQ("2:0ABC => 0", open("abc"));
   EXPECT_EQ("3:616267 => 0", open("abg"));
   EXPECT_EQ("0: => 0", open(""));
   EXPECT_EQ("4:3C782F3E => 0", open("<x/>"));
}

class XmlOpenTypeWriter : public XmlWriterContext {
 protected:
   std::string ext(const std::vector<std::string>& items)
   {
      EXPECT_EQ(0, rtXmlEncStartElement(&ctx, "p", nullptr, nullptr, false));
      VXRTDList list;
      rtxDListInit(&list);
      std::vector<ASN1OpenType> ots(items.size());
      for (size_t i = 0; i < items.size(); i++) {
         ots[i] = {items[i].size(), (const uint8_t*)items[i].data()};
         rtxDListAppend(&ctx, &list, &ots[i]);
      }
      static const char* const kNames[] = {"a", "speed"};
      EXPECT_EQ(0, rtAsn1XmlEncOpenTypeExt(&ctx, &list, kNames, 2));
      EXPECT_EQ(0, rtXmlEncEndElement(&ctx, "p", nullptr));
      EXPECT_EQ(0u, rtxErrGetErrorCnt(&ctx));
      std::string s = text();
      return s.substr(s.rfind("<p>"));
   }
};

TEST_F(XmlOpenTypeWriter, KeptTextOnlyWhenOneUnknownElement)
{
   EXPECT_EQ("<p>\n   <x>1</x>\n   <y/>\n</p>", ext({"<x>1</x>", "<y/>"}));
   EXPECT_EQ("<p>\n   <q:x xmlns:q='u'><![CDATA[a]]></q:x>\n</p>",
             ext({"<q:x xmlns:q='u'><![CDATA[a]]></q:x>"}));
   EXPECT_EQ("<p>\n   <binext>3c73706565643e393c2f73706565643e</binext>\n</p>",
             ext({"<speed>9</speed>"}));
   EXPECT_EQ("<p>\n   <binext>3c782f3e3c792f3e</binext>\n</p>", ext({"<x/><y/>"}));
   EXPECT_EQ("<p>\n   <binext>3c782f3e20</binext>\n</p>", ext({"<x/> "}));
   EXPECT_EQ("<p>\n   <binext>3c613e3c2f623e</binext>\n</p>", ext({"<a></b>"}));
   EXPECT_EQ("<p>\n   <binext>3c6b3a612f3e</binext>\n</p>", ext({"<k:a/>"}));
   EXPECT_EQ("<p>\n   <binext>0102</binext>\n</p>", ext({std::string("\x01\x02", 2)}));
}

TEST_F(XmlOpenTypeWriter, NamedAndEmpty)
{
   const uint8_t bin[] = {0xAB, 0x01};
   const char text[] = "<t>v</t>";
   ASSERT_EQ(0, rtXmlEncStartElement(&ctx, "p", nullptr, nullptr, false));
   EXPECT_EQ(0, rtAsn1XmlEncOpenType(&ctx, bin, 2, "o", nullptr));
   EXPECT_EQ(0, rtAsn1XmlEncOpenType(&ctx, nullptr, 0, nullptr, nullptr));
   EXPECT_EQ(0, rtAsn1XmlEncOpenType(&ctx, (const uint8_t*)text, 8, "o", "n"));
   EXPECT_EQ(0, rtXmlEncEndElement(&ctx, "p", nullptr));
   std::string s((const char*)ctx.buffer.data, ctx.buffer.byteIndex);
   EXPECT_EQ("<p>\n   <o>ab01</o>\n   <binext/>\n   <n:o><t>v</t></n:o>\n</p>",
             s.substr(s.find("<p>")));
}

}  // namespace
