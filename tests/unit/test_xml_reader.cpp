// XML pull reader: events of well-formed and broken texts by machine, the
// whitespace modes, references, positions in error reports, byte forms,
// values, attributes and namespaces, marks and filtered events. Every text
// is read in place, through the reader's buffer and byte by byte, and the
// three readings must agree.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rtXmlPullInternal.h"
#include "xml_reader_fixture.h"

namespace {

using xmltest::readXml;

struct Case {
   const char* text;
   const char* events;
};

void expectEvents(const std::vector<Case>& cases, uint32_t wsMode = 0)
{
   for (const auto& c : cases)
      EXPECT_EQ(c.events, readXml(c.text, wsMode))
         << xmltest::printable((const uint8_t*)c.text, strlen(c.text));
}

TEST(XmlReader, DocumentStart)
{
   expectEvents({
      {"<a/>", "<a/@1 ''*@1 </a@1 END"},
      {"<a></a>", "<a@1 ''*@1 </a@1 END"},
      {"<?xml version=\"1.0\"?>\n<a>x</a>", "DOC <a@1 'x'*@1 </a@1 END"},
      {"\xEF\xBB\xBF<a/>", "<a/@1 ''*@1 </a@1 END"},
      {"#~ \t<a/>", "<a/@1 ''*@1 </a@1 END"},
      {"<?xml version=\"1.0\"?>\xEF\xBB\xBF<a/>",
       "DOC ERR -25: Invalid XML state for attempted operation"},
      {"<![CDATA[x]]><a/>", "ERR -25: Invalid XML state for attempted operation"},
      {"<?xml version=\"1.0\"?><![CDATA[x]]><a/>",
       "DOC ERR -25: Invalid XML state for attempted operation"},
      {"x<a/>", "ERR -25: Invalid XML state for attempted operation"},
      {"7<a/>", "ERR -25: Invalid XML state for attempted operation"},
      {"<_a/>", "ERR -25: Invalid XML state for attempted operation"},
      {"<r><_a/></r>", "<r@1 <_a/@2 ''*@2 </_a@2 </r@1 END"},
      {"<!-- c --><?pi x?><a/>", "!-- c -- PI <a/@1 ''*@1 </a@1 END"},
      {"<?xml version=\"1.0\"?><!--c--><a/>", "DOC !--c-- <a/@1 ''*@1 </a@1 END"},
      {"<?xml version=\"1.0\"?>  <?pi?><a/>", "DOC PI <a/@1 ''*@1 </a@1 END"},
      {"<!DOCTYPE a [<!ENTITY x \"a>b\"><!ELEMENT a 'c>d'><!-- > --><?p >?>]><a/>",
       "DOCTYPE <a/@1 ''*@1 </a@1 END"},
      {"<?xml version=\"1.0\"?><!DOCTYPE a><a/>", "DOC DOCTYPE <a/@1 ''*@1 </a@1 END"},
      {"<a/>\x01garbage<<", "<a/@1 ''*@1 </a@1 END"},
      {"<a></a>tail", "<a@1 ''*@1 </a@1 END"},
   });
}

TEST(XmlReader, StartAndEndTags)
{
   expectEvents({
      {"<a b='x'/>", "<a/@1 ''*@1 </a@1 END"},
      {"<a b = \"x\"/>", "<a/@1 ''*@1 </a@1 END"},
      {"<a b =\"x\" c='y' d:e= \"z\"  ></a>", "<a@1 ''*@1 </a@1 END"},
      {"<a b = 'x'/>", "ERR -201: Invalid symbol 'x' detected in XML stream at position 1:9"},
      {"<p:a.b-c_1 :x='1'></p:a.b-c_1 >", "<a.b-c_1@1 ''*@1 </a.b-c_1@1 END"},
      {"<:a></:a>", "ERR -25: Invalid XML state for attempted operation"},
      {"<a></b>",
       "<a@1 ERR -202: Start/end XML tags mismatch: expected 'a', parsed 'b' at position 1:6"},
      {"<a><b></a>",
       "<a@1 <b@2 ERR -202: Start/end XML tags mismatch: expected 'b', parsed 'a' at position 1:9"},
      {"<a></ab>",
       "<a@1 ERR -202: Start/end XML tags mismatch: expected 'a', parsed 'ab' at position 1:7"},
      {"<a b>", "ERR -201: Invalid symbol '>' detected in XML stream at position 1:5"},
      {"<a b=x>", "ERR -201: Invalid symbol 'x' detected in XML stream at position 1:6"},
      {"<a b='x'c='y'/>", "<a/@1 ''*@1 </a@1 END"},
      {"<a /x>", "ERR -201: Invalid symbol 'x' detected in XML stream at position 1:5"},
      {"<a b='1'/x>", "ERR -201: Invalid symbol 'x' detected in XML stream at position 1:10"},
      {"<a:>", "ERR -201: Invalid symbol '>' detected in XML stream at position 1:4"},
      {"<a b:='1'>", "ERR -201: Invalid symbol '=' detected in XML stream at position 1:6"},
      {"<a b c='1'>", "ERR -201: Invalid symbol 'c' detected in XML stream at position 1:6"},
      {"<a></ a>", "<a@1 ERR -201: Invalid symbol ' ' detected in XML stream at position 1:6"},
      {"<a></a b>", "<a@1 ERR -201: Invalid symbol 'b' detected in XML stream at position 1:8"},
      {"<a></:>", "<a@1 ERR -201: Invalid symbol '>' detected in XML stream at position 1:7"},
      {"<a\xBF/>", "ERR -201: Invalid symbol '\xBF' detected in XML stream at position 1:2(3)"},
      {"<a", "END"},
      {"<a>text", "<a@1 END"},
   });
}

TEST(XmlReader, CharactersAndLineEnds)
{
   expectEvents({
      {"<a>x<b>y</b>z</a>", "<a@1 'x'@1 <b@2 'y'*@2 </b@2 'z'*@1 </a@1 END"},
      {"<r><b>x</b><a/></r>", "<r@1 <b@2 'x'*@2 </b@2 <a/@2 </a@2 </r@1 END"},
      {"<a>a\rb</a>", "<a@1 'a'@1 '\\x0A'@1 'b'*@1 </a@1 END"},
      {"<a>a\r\nb</a>", "<a@1 'a'@1 '\\x0Ab'*@1 </a@1 END"},
      {"<a>\r\r\nb</a>", "<a@1 '\\x0Ab'*@1 </a@1 END"},
      {"<a>\rb</a>", "<a@1 '\\x0A'@1 'b'*@1 </a@1 END"},
      {"<a>x<<a/>", "<a@1 ERR -201: Invalid symbol '<' detected in XML stream at position 1:6"},
      {"<a>x\x02</a>",
       "<a@1 ERR -201: Invalid symbol '\\x02' detected in XML stream at position 1:5"},
      {"<a>x<!--c-->y</a>", "<a@1 'x'@1 !--c-- 'y'*@1 </a@1 END"},
      {"<a>x<![CDATA[y]]>z</a>", "<a@1 'x'@1 'y'*@1 'z'*@1 </a@1 END"},
      {"<a><![CDATA[]]]]></a>", "<a@1 ']]'*@1 </a@1 END"},
      {"<a><![CDATA[a\r\nb\rc]x]]></a>", "<a@1 'a'@1 '\\x0Ab'@1 '\\x0A'@1 'c]x'*@1 </a@1 END"},
      {"<a><![CDAT[x]]></a>",
       "<a@1 ERR -201: Invalid symbol '[' detected in XML stream at position 1:11"},
      {"<a><!Dx></a>", "<a@1 DOCTYPE ''*@1 </a@1 END"},
   });
}

TEST(XmlReader, References)
{
   expectEvents({
      {"<a>&lt;&gt;&amp;&quot;&apos;</a>", "<a@1 '<'@1 '>'@1 '&'@1 '\"'@1 '''@1 ''*@1 </a@1 END"},
      {"<a>x&#x41;&#65;y</a>", "<a@1 'x'@1 'A'@1 'A'@1 'y'*@1 </a@1 END"},
      {"<a>&#xe9;</a>", "<a@1 '\\xC3\\xA9'@1 ''*@1 </a@1 END"},
      {"<a>&#X41;</a>", "<a@1 ERR -204: Bad character reference '&#X41;' found at position 1:8"},
      {"<a>&nbsp;</a>", "<a@1 ERR -204: Bad character reference '&nbsp;' found at position 1:8"},
      {"<a>&#x;</a>", "<a@1 ERR -204: Bad character reference '&#x;' found at position 1:6"},
      // The value wraps at 32 bits: code point 0.
      {"<a>&#4294967296;</a>", "<a@1 '\\x00'@1 ''*@1 </a@1 END"},
      {"<a>& b</a>", "<a@1 ERR -201: Invalid symbol ' ' detected in XML stream at position 1:5"},
   });
}

TEST(XmlReader, CollapsedWhiteSpace)
{
   expectEvents(
      {
         {"<a>  a   b  </a>", "<a@1 'a'@1 ' '@1 'b'@1 ''*@1 </a@1 END"},
         {"<a>a&#10;b</a>", "<a@1 'a'@1 ' '@1 'b'*@1 </a@1 END"},
         {"<a>&#10;a</a>", "<a@1 'a'*@1 </a@1 END"},
         {"<a>a &amp; b</a>", "<a@1 'a'@1 ' '@1 '&'@1 ' '@1 'b'*@1 </a@1 END"},
         {"<a>a&amp;</a>", "<a@1 'a'@1 '&'@1 ''*@1 </a@1 END"},
         {"<a> </a>", "<a@1 ''*@1 </a@1 END"},
         {"<a><![CDATA[  x  y ]]></a>", "<a@1 'x'@1 ' '@1 'y'@1 ''*@1 </a@1 END"},
         {"<a><![CDATA[x ]z ]]]]></a>", "<a@1 'x'@1 ' '@1 ']z'@1 ' '@1 ']]'*@1 </a@1 END"},
         {"<a><![CDATA[x]]></a>", "<a@1 'x'*@1 </a@1 END"},
      },
      2);
}

TEST(XmlReader, ReplacedWhiteSpace)
{
   expectEvents(
      {
         {"<a>a\rb&#9;c</a>", "<a@1 'a'@1 ' '@1 'b'@1 ' '@1 'c'*@1 </a@1 END"},
         {"<a><![CDATA[a\rb]]></a>", "<a@1 'a'@1 ' '@1 'b'*@1 </a@1 END"},
      },
      1);
}

TEST(XmlReader, CommentsAndInstructions)
{
   expectEvents({
      {"<a><!-- x - y --></a>", "<a@1 !-- x - y -- ''*@1 </a@1 END"},
      {"<a><!-- a -- b --></a>",
       "<a@1 ERR -201: Invalid symbol ' ' detected in XML stream at position 1:13"},
      {"<a><?p a?b ?\?></a>", "<a@1 PI ''*@1 </a@1 END"},
      {"<a><!x></a>", "<a@1 DOCTYPE ''*@1 </a@1 END"},
      {"<!x><a/>", "DOCTYPE <a/@1 ''*@1 </a@1 END"},
      {"<!-x><a/>", "ERR -25: Invalid XML state for attempted operation"},
      {"<?xml version='1.0'?><!-x><a/>", "DOC ERR -25: Invalid XML state for attempted operation"},
      {"<?xml version='1.0'?><!x><a/>", "DOC DOCTYPE <a/@1 ''*@1 </a@1 END"},
      {"<?xml version='1.0'?>x", "DOC ERR -25: Invalid XML state for attempted operation"},
      {"<a><!-x></a>", "<a@1 ERR -25: Invalid XML state for attempted operation"},
      {"<!DOCTYPE a [<!-x>]><a/>",
       "ERR -201: Invalid symbol 'x' detected in XML stream at position 1:17"},
      {"<!DOCTYPE a [<x>]><a/>",
       "ERR -201: Invalid symbol 'x' detected in XML stream at position 1:15"},
      {"<!DOCTYPE a [<!1>]><a/>",
       "ERR -201: Invalid symbol '1' detected in XML stream at position 1:16"},
      {"<!DOCTYPE \"a\"><a/>", "DOCTYPE <a/@1 ''*@1 </a@1 END"},
      {"<!DOCTYPE a 'b>c' \"d>e\"><a/>", "DOCTYPE <a/@1 ''*@1 </a@1 END"},
   });
}

TEST(XmlReader, PositionsInReports)
{
   expectEvents({
      {"<a>\x01</a>",
       "<a@1 ERR -201: Invalid symbol '\\x01' detected in XML stream at position 1:4"},
      {"<a>\xC3\xA9\x01",
       "<a@1 ERR -201: Invalid symbol '\\x01' detected in XML stream at position 1:5(6)"},
   });
   struct {
      const char* text;
      const char* where;
   } cases[] = {
      {"<a>\x01</a>", "at position 1:4"},
      {"<a>\xC3\xA9\x01", "at position 1:5(6)"},
      {"<a>\r\n<b>\r<c>\n  <d\x01", "at position 4:5"},
      {"<a></b>", "at position 1:6"},
   };
   for (const auto& c : cases) {
      InPlacePair pair(c.text, 0);
      for (VXCTXT* p : {&pair.fast, &pair.bytewise}) {
         XmlReader* r = rtXmlRdCreateXmlReader(p);
         while (rtXmlRdNext(r) > 0 && r->lastEvent != XMLRD_ENDDOC) {
         }
         rtXmlpFreeReader(p, r);
         ASSERT_GE(rtxErrGetErrorCnt(p), 1u);
         const VXRTErrInfo* e = static_cast<const VXRTErrInfo*>(p->errInfo.head->data);
         ASSERT_GE(e->parmCount, 2);
         EXPECT_STREQ(c.where, e->parms[e->parmCount - 1]) << c.text;
      }
   }
}

TEST(XmlReader, EndOfTheRootLeavesTheStreamBehindIt)
{
   const char* texts[] = {"<a>x</a>  trailing", "<r><a/></r>garbage", "<a/>", "<a b='1'/>\n"};
   for (const char* t : texts) {
      InPlacePair pair(t, 0);
      for (VXCTXT* p : {&pair.fast, &pair.bytewise}) {
         XmlReader* r = rtXmlRdCreateXmlReader(p);
         int ev = 0;
         while ((ev = rtXmlRdNext(r)) > 0 && !(ev == XMLRD_ENDTAG && r->depth == 0)) {
         }
         EXPECT_EQ(XMLRD_ENDDOC, rtXmlRdNext(r));
         rtXmlpFreeReader(p, r);
      }
      pair.expectSameEnd(t);
      EXPECT_EQ(strchr(t, '>') != nullptr ? std::string(t).rfind('>', strlen(t)) : 0,
                pair.fast.buffer.byteIndex - 1)
         << t;
   }
}

TEST(XmlReader, EmptyMemoryBufferGivesNoReader)
{
   VXCTXT ctx;
   ASSERT_EQ(0, rtInitContext(&ctx));
   uint8_t none[1] = {0};
   ASSERT_EQ(0, rtxInitContextBuffer(&ctx, none, 0));
   EXPECT_EQ(nullptr, rtXmlRdCreateXmlReader(&ctx));
   EXPECT_EQ(RTERR_ENDOFBUF, rtxErrGetLastError(&ctx));
   // With bytes, the context's buffer is read in place; its end is -29.
   uint8_t text[] = "<a>";
   rtxErrReset(&ctx);
   ASSERT_EQ(0, rtxInitContextBuffer(&ctx, text, 3));
   XmlReader* r = rtXmlRdCreateXmlReader(&ctx);
   ASSERT_NE(nullptr, r);
   EXPECT_EQ(XMLRD_STARTTAG, (int)r->lastEvent);
   EXPECT_EQ(3u, ctx.buffer.byteIndex);
   EXPECT_EQ(XMLRD_ENDDOC, rtXmlRdNext(r));
   EXPECT_EQ(RTERR_READERR, rtxErrGetLastError(&ctx));
   rtXmlpFreeReader(&ctx, r);
   rtFreeContext(&ctx);
}

class XmlReaderApi : public ::testing::Test {
 protected:
   VXCTXT ctx;
   XmlReader* r = nullptr;
   std::string text;
   VXRTMEMBUF capture;
   // In place, or (buffered) through the reader's buffer.
   void open(const std::string& t, bool buffered = false)
   {
      text = t;
      ASSERT_EQ(0, rtInitContext(&ctx));
      ASSERT_EQ(0, rtXmlInitCtxtAppInfo(&ctx));
      rtxMemBufInit(&ctx, &capture, 0);
      ASSERT_EQ(0, rtxStreamMemoryAttach(&ctx, (const uint8_t*)text.data(), text.size(),
                                         VXRT_STREAM_INPUT));
      if (buffered) {
         ASSERT_EQ(0, rtxStreamSetCapture(&ctx, &capture));
      }
      r = rtXmlRdCreateXmlReader(&ctx);
      ASSERT_NE(nullptr, r);
      rtXmlGetCtxtInfo(&ctx)->pXmlReader = r;
   }
   void TearDown() override
   {
      rtxMemBufFree(&capture);
      rtFreeContext(&ctx);
   }
   std::string chunk(const XmlDataCtxt& d) { return std::string((const char*)d.chunk, d.chunkLen); }
   // The chunks of the current element's value, "|" behind the last.
   std::string value()
   {
      XmlDataCtxt d;
      std::string v;
      int n = rtXmlRdFirstData(r, &d);
      if (n < 0) return "ERR" + std::to_string(n);
      if (d.mode == 0 && !d.lastChunk) return v;
      for (;;) {
         v += chunk(d) + (d.lastChunk ? "|" : "");
         if (d.lastChunk) return v;
         n = rtXmlRdNextData(r, &d);
         if (n < 0) return "ERR" + std::to_string(n);
         if (d.mode == 0) return v;
      }
   }
};

TEST_F(XmlReaderApi, ValueEndsAtItsFirstCDataSection)
{
   open("<a>x<![CDATA[y]]>z</a>");
   EXPECT_EQ("xy|", value());
   EXPECT_TRUE(r->isCData);
}

TEST_F(XmlReaderApi, ValuesOfEmptyAndNestedElements)
{
   open("<r><e/><f></f><g>1<h/>2</g><i>a&amp;b</i></r>");
   ASSERT_EQ(XMLRD_STARTTAG, rtXmlRdNext(r));
   EXPECT_TRUE(rtXmlRdIsEmpty(r));
   EXPECT_EQ("|", value());
   EXPECT_EQ(XMLRD_DATA, rtXmlRdNext(r));
   EXPECT_EQ(XMLRD_ENDTAG, rtXmlRdNext(r));
   ASSERT_EQ(XMLRD_STARTTAG, rtXmlRdNext(r));
   EXPECT_TRUE(rtXmlRdIsEmpty(r));
   EXPECT_EQ("|", value());
   ASSERT_EQ(0, rtXmlRdNextTag(r));
   EXPECT_FALSE(rtXmlRdIsEmpty(r));
   EXPECT_EQ("1", value());  // the child ends the value
   ASSERT_EQ(0, rtXmlRdNextTag(r));
   EXPECT_EQ("a&b|", value());
   XmlDataCtxt d;
   EXPECT_EQ(XML_E_INVMODE, rtXmlRdFirstData(r, &d));
   EXPECT_EQ(XML_E_INVMODE, rtXmlRdNextData(r, &d));
}

TEST_F(XmlReaderApi, ValueCutByTheEndOfInput)
{
   open("<a>xy");
   EXPECT_EQ("ERR-206", value());
}

class XmlReaderMarks : public XmlReaderApi, public ::testing::WithParamInterface<bool> {};

TEST_P(XmlReaderMarks, RewindReadsTheSameEventsAgain)
{
   std::string body;
   for (int i = 0; i < 20; i++) body += "<i>" + std::to_string(i) + "</i>";
   open("<r>" + body + "<last/></r>", GetParam());
   ASSERT_EQ(0, rtXmlRdNextTag(r));
   ASSERT_EQ(0, rtXmlRdMarkPos(r));
   xmltest::EventLogOptions o;
   o.maxEvents = 61;  // up to </last>, before the root closes and the marks go
   std::string first = xmltest::eventLog(r, (int)r->lastEvent, o);
   ASSERT_EQ(0, rtXmlRdRewindToMarkedPos(r)) << first;
   std::string again = xmltest::eventLog(r, (int)r->lastEvent, o);
   EXPECT_EQ(first, again);
   EXPECT_NE(std::string::npos, first.find("'19'*@2"));
   ASSERT_EQ(0, rtXmlRdResetMarkedPos(r));
   EXPECT_EQ(RTERR_NULLPTR, rtXmlRdResetMarkedPos(r));
}

INSTANTIATE_TEST_SUITE_P(InPlaceAndBuffered, XmlReaderMarks, ::testing::Bool());

// Any bytes end in an event or a failure: the reader never stalls. A run of
// events is bounded by the length of the text.
TEST(XmlReaderRobustness, ArbitraryBytesEndInLinearManySteps)
{
   uint32_t seed = 12345;
   const char alphabet[] = "<>/?!-=\"'&;:._ aZ9\r\n\t[]CDAT#x\x01\xC3\xBF";
   for (int round = 0; round < 300; round++) {
      std::string t;
      size_t n = 1 + (seed >> 7) % 120;
      for (size_t i = 0; i < n; i++) {
         seed = seed * 1103515245u + 12345u;
         t += alphabet[(seed >> 16) % (sizeof alphabet - 1)];
      }
      if (round % 3 == 0) t = "<a b='1'>" + t;
      InPlacePair pair(t, 0);
      std::string logs[2];
      int i = 0;
      for (VXCTXT* p : {&pair.fast, &pair.bytewise}) {
         XmlReader* r = rtXmlRdCreateXmlReader(p);
         ASSERT_NE(nullptr, r);
         int ev = rtxErrGetErrorCnt(p) > 0 ? -1 : (int)r->lastEvent;
         size_t steps = 0;
         while (ev > 0 && ev != XMLRD_ENDDOC) {
            ev = rtXmlRdNext(r);
            ASSERT_LE(++steps, 3 * t.size() + 10)
               << xmltest::printable((const uint8_t*)t.data(), t.size());
         }
         logs[i++] =
            std::to_string(ev) + " " + std::to_string(steps) + " " + xmltest::firstError(p);
         rtXmlpFreeReader(p, r);
      }
      EXPECT_EQ(logs[0], logs[1]) << xmltest::printable((const uint8_t*)t.data(), t.size());
   }
}

}  // namespace

#ifdef VX_XMLRD_ROW_STATS
// Scratch builds count the rows of the state tables the tests reach.
namespace {
class RowStats : public ::testing::Environment {
 public:
   void TearDown() override
   {
      static const struct {
         const char* name;
         int rows;
      } kTables[] = {{"document start", 5}, {"after declaration", 5}, {"main", 4},
                     {"declaration", 2},    {"instruction", 2},       {"comment", 3},
                     {"start tag", 17},     {"end tag", 5},           {"characters", 12},
                     {"CDATA", 18},         {"DOCTYPE", 15}};
      int reached = 0, total = 0;
      for (int t = 0; t < XMLRD_TABLE_COUNT; t++) {
         std::string missed;
         for (int row = 0; row < kTables[t].rows; row++) {
            total++;
            if (g_xmlRdRowHits[t][row] > 0)
               reached++;
            else
               missed += " " + std::to_string(row + 1);
         }
         printf("%-18s rows not reached:%s\n", kTables[t].name,
                missed.empty() ? " none" : missed.c_str());
      }
      printf("state-table rows reached: %d of %d\n", reached, total);
   }
};
const auto* const kRowStats = ::testing::AddGlobalTestEnvironment(new RowStats);
}  // namespace
#endif
