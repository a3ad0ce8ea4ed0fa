// XML writer: the declaration, tags, indentation and the short form,
// escapes, numbers, hexadecimal and bit strings, encodings, namespaces,
// canonical attributes, and the encode buffer. Texts are compared whole.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "VXXMLBuffers.h"
#include "rtXml.h"
#include "rtxDList.h"
#include "rtxError.h"
#include "xml_writer_fixture.h"

namespace {

class XmlWriter : public XmlWriterContext {
 protected:
   XmlCtxtInfo* info() { return rtXmlGetCtxtInfo(&ctx); }
   void start(const char* name)
   {
      ASSERT_EQ(0, rtXmlEncStartElement(&ctx, name, nullptr, nullptr, false));
   }
   void end(const char* name) { ASSERT_EQ(0, rtXmlEncEndElement(&ctx, name, nullptr)); }
};

TEST_F(XmlWriter, ShortFormFromOpenAndFromClosedStartTag)
{
   rtXmlSetEncDocHdr(&ctx, false);
   start("a");
   end("a");
   EXPECT_EQ(XMLSTATE_EOE, ctx.state);
   ASSERT_EQ(0, rtXmlEncStartElement(&ctx, "b", nullptr, nullptr, true));
   EXPECT_EQ(0u, ctx.flags & VXCTXT_FLAG_XMLTAGOPEN);
   end("b");
   start("c");
   ASSERT_EQ(0, rtXmlEncTermStartElement(&ctx));
   end("c");
   EXPECT_EQ("<a/>\n<b/>\n<c/>", text());
}

TEST_F(XmlWriter, NoIndentationMeansNoLineFeeds)
{
   ASSERT_EQ(0, rtXmlSetFormatting(&ctx, false));
   ASSERT_EQ(0, rtXmlEncStartDocument(&ctx));
   start("r");
   ASSERT_EQ(0, rtXmlEncInt(&ctx, 7, "x", nullptr));
   start("y");
   ASSERT_EQ(0, rtXmlEncInt64(&ctx, INT64_MIN, "z", nullptr));
   end("y");
   end("r");
   EXPECT_EQ(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><r><x>7</x><y><z>-9223372036854775808</z></y></r>",
      text());
}

TEST_F(XmlWriter, IndentCharAndWidth)
{
   ASSERT_EQ(0, rtXmlSetIndent(&ctx, 1));
   ASSERT_EQ(0, rtXmlSetIndentChar(&ctx, '\t'));
   rtXmlSetEncDocHdr(&ctx, false);
   start("r");
   start("s");
   ASSERT_EQ(0, rtXmlEncUInt64(&ctx, UINT64_MAX, "t", nullptr));
   end("s");
   end("r");
   EXPECT_EQ("<r>\n\t<s>\n\t\t<t>18446744073709551615</t>\n\t</s>\n</r>", text());
}

TEST_F(XmlWriter, EscapesByMode)
{
   const char raw[] = "\t\n\r\"&'<>x";
   struct {
      uint32_t flags;
      uint8_t state;
      const char* expected;
   } cases[] = {
      {0, XMLSTATE_SOE, "\t\n\r&quot;&amp;&apos;&lt;&gt;x"},
      {0, XMLSTATE_ATTR, "&#x9;&#xA;&#xD;&quot;&amp;&apos;&lt;&gt;x"},
      {VXCTXT_FLAG_C14N, XMLSTATE_SOE, "\t\n&#xD;\"&amp;'&lt;&gt;x"},
      {VXCTXT_FLAG_C14N | VXCTXT_FLAG_NOXMLNS, XMLSTATE_SOE, "\t\n\r\"&amp;'&lt;&gt;x"},
      {VXCTXT_FLAG_C14N, XMLSTATE_ATTR, "&#x9;&#xA;&#xD;&quot;&amp;'&lt;>x"},
   };
   for (const auto& c : cases) {
      ctx.buffer.byteIndex = 0;
      ctx.flags = (ctx.flags & ~(VXCTXT_FLAG_C14N | VXCTXT_FLAG_NOXMLNS)) | c.flags;
      ctx.state = c.state;
      ASSERT_EQ(0, rtXmlEncStringValue2(&ctx, raw, sizeof raw - 1));
      EXPECT_EQ(c.expected, text()) << c.flags << "/" << (int)c.state;
      EXPECT_EQ(c.state == XMLSTATE_ATTR ? XMLSTATE_ATTR : XMLSTATE_CHARDATA, ctx.state);
   }
}

TEST_F(XmlWriter, ValuesOfQuotesOnlyComeOutWhole)
{
   std::string quotes(1000, '"');
   std::string apostrophes(1000, '\'');
   std::string expected;
   for (int i = 0; i < 1000; i++) expected += "&quot;";
   for (int i = 0; i < 1000; i++) expected += "&apos;";
   ASSERT_EQ(0, rtXmlEncStringValue(&ctx, quotes.c_str()));
   ASSERT_EQ(0, rtXmlEncStringValue(&ctx, apostrophes.c_str()));
   EXPECT_EQ(expected, text());
   ctx.buffer.byteIndex = 0;
   ctx.state = XMLSTATE_INITIAL;
   ASSERT_EQ(0, rtXmlEncUTF8Str(&ctx, "'", "q", nullptr));
   EXPECT_EQ("<q>&apos;</q>", text());
}

TEST_F(XmlWriter, EmptyTextLeavesStateAlone)
{
   ctx.state = XMLSTATE_EOE;
   ASSERT_EQ(0, rtXmlEncStringValue(&ctx, ""));
   ASSERT_EQ(0, rtXmlEncStringValue(&ctx, nullptr));
   EXPECT_EQ(XMLSTATE_EOE, ctx.state);
   EXPECT_EQ("", text());
}

TEST_F(XmlWriter, CDataFramingAndForbiddenEnd)
{
   VXXMLSTRING s{true, "a<b]]c"};
   ASSERT_EQ(0, rtXmlEncString(&ctx, &s, "v", nullptr));
   EXPECT_EQ("<v><![CDATA[a<b]]c]]></v>", text());
   ctx.buffer.byteIndex = 0;
   ctx.state = XMLSTATE_INITIAL;
   VXXMLSTRING bad{true, "x]]]>y"};
   EXPECT_EQ(RTERR_INVPARAM, rtXmlEncString(&ctx, &bad, "v", nullptr));
   EXPECT_EQ("<v><![CDATA[x]]]>", text());
   rtxErrReset(&ctx);
   // Canonical form writes no sections; an empty value is no section either.
   ctx.buffer.byteIndex = 0;
   ctx.state = XMLSTATE_EOE;
   ASSERT_EQ(1, ctx.level);  // the failed element stays open
   ctx.level = 0;
   VXXMLSTRING empty{true, ""};
   ASSERT_EQ(0, rtXmlEncString(&ctx, &empty, "e", nullptr));
   EXPECT_EQ("\n<e/>", text());
}

TEST_F(XmlWriter, HexStringsThroughTheEightyDigitArea)
{
   uint8_t octets[41];
   std::string expected;
   for (int i = 0; i < 41; i++) {
      octets[i] = (uint8_t)(0xA0 + i);
      char two[3];
      snprintf(two, sizeof two, "%02x", octets[i]);
      expected += two;
   }
   ASSERT_EQ(0, rtXmlEncHexStrValue(&ctx, 41, octets));
   EXPECT_EQ(expected, text());
   EXPECT_EQ(RTERR_TOOBIG, rtXmlEncHexStrValue(&ctx, -1, octets));
   rtxErrReset(&ctx);
   ctx.buffer.byteIndex = 0;
   ctx.state = XMLSTATE_INITIAL;
   ctx.flags |= VXCTXT_FLAG_XMLUPPERHEX;
   ASSERT_EQ(0, rtXmlEncHexBinary(&ctx, 1, octets, "h", nullptr));
   ASSERT_EQ(0, rtXmlEncHexBinary(&ctx, 0, octets, "z", nullptr));
   // The bit also tells rtFreeContext to release the record itself.
   ctx.flags &= ~VXCTXT_FLAG_XMLUPPERHEX;
   EXPECT_EQ("<h>A0</h>\n<z/>", text());
   EXPECT_EQ(XMLSTATE_EOE, ctx.state);
}

TEST_F(XmlWriter, BitStringsWithSpillAreaAndNamedBits)
{
   const uint8_t root[] = {0xF0};
   const uint8_t ext[] = {0x80};
   ASSERT_EQ(0, rtXmlEncBitStringExt(&ctx, 10, root, 1, ext, nullptr, nullptr));
   EXPECT_EQ("1111000010", text());
   EXPECT_EQ(RTERR_TOOBIG,
             rtXmlEncBitStringExt(&ctx, 1, root, 0x2000000000000000ull, ext, nullptr, nullptr));
   rtxErrReset(&ctx);
   ctx.buffer.byteIndex = 0;
   ctx.state = XMLSTATE_INITIAL;
   static const XmlNamedBitsDict kNames[] = {
      {"zero", 0, 4}, {"two", 2, 3}, {"three", 3, 5}, {"nine", 9, 4}, {nullptr, 0, 0}};
   const uint8_t set[] = {0xB0, 0xFF};  // bits 0, 2, 3 set; bit 9 beyond the count
   ASSERT_EQ(0, rtXmlEncNamedBits(&ctx, kNames, 8, set, "n", nullptr));
   const uint8_t none[] = {0x40};
   ASSERT_EQ(0, rtXmlEncNamedBits(&ctx, kNames, 8, none, "m", nullptr));
   EXPECT_EQ("<n>zero two three</n>\n<m/>", text());
}

TEST_F(XmlWriter, MismatchedEndNameIsRecordedAndWritingGoesOn)
{
   rtXmlSetEncDocHdr(&ctx, false);
   start("a");
   ASSERT_EQ(0, rtXmlEncInt(&ctx, 1, "x", nullptr));
   EXPECT_EQ(0, rtXmlEncEndElement(&ctx, "b", nullptr));
   EXPECT_EQ(RTERR_IDNOTFOU, rtxErrGetLastError(&ctx));
   EXPECT_EQ("<a>\n   <x>1</x>\n</b>", text());
   char* report = rtxErrGetText(&ctx, nullptr, nullptr);
   ASSERT_NE(nullptr, report);
   EXPECT_NE(nullptr, strstr(report, "expected = a, parsed = b"));
}

TEST(XmlEncodeBuffer, CallersMemoryDoesNotGrow)
{
   uint8_t mem[8];
   VXXMLEncodeBuffer buf(mem, sizeof mem);
   buf.setFragment();
   EXPECT_EQ(RTERR_BUFOVFLW, buf.startElement("longer-than-eight"));
}

TEST(XmlEncodeBuffer, ContextReleaseFreesOpenLevels)
{
   VXXMLEncodeBuffer buf;
   VXCTXT* pctxt = buf.getCtxtPtr();
   VXXMLNamespace ns{"p", "urn:p"};
   VXRTDList attrs;
   rtxDListInit(&attrs);
   rtxDListAppend(pctxt, &attrs, &ns);
   ASSERT_EQ(0, buf.startElement("a", &ns, &attrs));
   ASSERT_EQ(0, buf.startElement("b"));
   buf.setNamespace("urn:q", "q");
   EXPECT_EQ(2u, pctxt->elemNameStack.count);
}

}  // namespace
