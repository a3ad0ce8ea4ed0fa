// JSON pull readers and the free-form parser, reading from a plain context
// buffer (no stream), where the end of input is -2.
#include <gtest/gtest.h>

#include <string>

#include "inplace_pair.h"
#include "rtJson.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxTxtRead.h"

namespace {

class JsonReader : public ::testing::Test {
 protected:
   VXCTXT ctx;
   std::string input;
   void SetUp() override { ASSERT_EQ(0, rtInitContext(&ctx)); }
   void TearDown() override { rtFreeContext(&ctx); }
   void feed(const std::string& s)
   {
      input = s;
      rtxErrReset(&ctx);
      ASSERT_EQ(0, rtxInitContextBuffer(&ctx, (uint8_t*)input.data(), input.size()));
   }
   char rest() const { return (char)ctx.buffer.data[ctx.buffer.byteIndex]; }
   // Parses the whole input with the free-form parser; returns the status
   // and stores the consumed text.
   int any(const std::string& s, std::string* out = nullptr)
   {
      feed(s);
      char* text = nullptr;
      int stat = rtJsonDecAnyType(&ctx, &text);
      if (out) *out = text ? text : "";
      return stat;
   }
};

TEST_F(JsonReader, MatchCharSkipsBlanksAndStopsOnOtherBytes)
{
   feed(" \t:x");
   EXPECT_EQ(0, rtJsonDecMatchChar(&ctx, ':'));
   feed(" ,");
   EXPECT_EQ(RTERR_INVCHAR, rtJsonDecMatchChar(&ctx, ':'));
   EXPECT_EQ(',', rest());
   EXPECT_EQ(0u, rtxErrGetErrorCnt(&ctx));  // bare status, no record
}

TEST_F(JsonReader, StringsDecodeShortEscapesButRefuseUnicodeEscapes)
{
   char* s = nullptr;
   feed("  \"a\\\"b\\\\\\/\\n\xc3\xa9\" ");
   ASSERT_EQ(0, rtJsonDecStringValue(&ctx, &s));
   EXPECT_STREQ("a\"b\\/\n\xc3\xa9", s);
   feed("\"a\\u0041\"");
   EXPECT_EQ(RTERR_INVCHAR, rtJsonDecStringValue(&ctx, &s));
   feed("\"open");
   EXPECT_EQ(RTERR_ENDOFBUF, rtJsonDecStringValue(&ctx, &s));
   feed("  5");
   EXPECT_EQ(RTERR_IDNOTFOU, rtJsonDecStringValue(&ctx, &s));
}

TEST_F(JsonReader, BooleansAcceptDigitsAndWords)
{
   uint8_t v = 9;
   feed(" true");
   ASSERT_EQ(0, rtJsonDecBool(&ctx, &v));
   EXPECT_EQ(1, v);
   feed("false");
   ASSERT_EQ(0, rtJsonDecBool(&ctx, &v));
   EXPECT_EQ(0, v);
   feed("1");
   ASSERT_EQ(0, rtJsonDecBool(&ctx, &v));
   EXPECT_EQ(1, v);
   feed("0");
   ASSERT_EQ(0, rtJsonDecBool(&ctx, &v));
   EXPECT_EQ(0, v);
   feed("tru");
   EXPECT_EQ(RTERR_IDNOTFOU, rtJsonDecBool(&ctx, &v));
   feed("yes");
   EXPECT_EQ(RTERR_IDNOTFOU, rtJsonDecBool(&ctx, &v));
   feed("null");
   EXPECT_EQ(0, rtJsonDecNull(&ctx));
   feed("nul");
   EXPECT_EQ(RTERR_IDNOTFOU, rtJsonDecNull(&ctx));
}

TEST_F(JsonReader, HexStringsFillFromTheRightOnOddDigits)
{
   uint8_t buf[2] = {0, 0};
   uint64_t n = 0;
   feed("\"abc\"");
   ASSERT_EQ(0, rtJsonDecHexStr64(&ctx, buf, &n, 2));
   EXPECT_EQ(2u, n);
   EXPECT_EQ(0x0A, buf[0]);
   EXPECT_EQ(0xBC, buf[1]);
   feed("\"abcde\"");
   EXPECT_EQ(RTERR_STROVFLW, rtJsonDecHexStr64(&ctx, buf, &n, 2));
   feed("\"xy\"");
   EXPECT_EQ(RTERR_INVCHAR, rtJsonDecHexStr64(&ctx, buf, nullptr, 2));
   ASN1TDynOctStr64 dyn{0, nullptr};
   feed("\"0102030405060708090A\"");
   ASSERT_EQ(0, rtJsonDecDynHexStr64(&ctx, &dyn));
   ASSERT_EQ(10u, dyn.numocts);
   EXPECT_EQ(0x0A, dyn.data[9]);
}

TEST_F(JsonReader, FixedBitStringsCheckSizeAndUnusedBits)
{
   uint8_t buf[2];
   feed("\"aac0\"");
   EXPECT_EQ(0, rtJsonDecFixedBitStrValue(&ctx, 10, buf, 2));
   feed("\"aac1\"");
   EXPECT_EQ(RTERR_BADVALUE, rtJsonDecFixedBitStrValue(&ctx, 10, buf, 2));
   feed("\"aa\"");
   EXPECT_EQ(RTERR_CONSVIO, rtJsonDecFixedBitStrValue(&ctx, 10, buf, 2));
   uint8_t* dyn = nullptr;
   feed("\"aac0\"");
   ASSERT_EQ(0, rtJsonDecFixedDynBitStr(&ctx, 10, &dyn));
   EXPECT_EQ(0xC0, dyn[1]);
}

TEST_F(JsonReader, BitStringObjectInEitherOrder)
{
   uint8_t buf[2];
   uint64_t nbits = 0;
   feed("{\"length\":9, \"value\":\"ff80\"}");
   ASSERT_EQ(0, rtJsonDecBitStrValue64(&ctx, &nbits, buf, 2));
   EXPECT_EQ(9u, nbits);
   feed("{\"value\":\"ff80\"}");
   EXPECT_EQ(RTERR_SETMISRQ, rtJsonDecBitStrValue64(&ctx, &nbits, buf, 2));
   EXPECT_EQ(0u, nbits);
   feed("{\"value\":\"ff80\",\"value\":\"00\"}");
   EXPECT_EQ(RTERR_UNEXPELEM, rtJsonDecBitStrValue64(&ctx, &nbits, buf, 2));
   feed("{\"value\":\"ff\",\"length\":9}");
   EXPECT_EQ(RTERR_BADVALUE, rtJsonDecBitStrValue64(&ctx, &nbits, buf, 2));
   feed("{\"value\":\"ff81\",\"length\":9}");
   EXPECT_EQ(RTERR_BADVALUE, rtJsonDecBitStrValue64(&ctx, &nbits, buf, 2));
   ASN1TDynOctStr64 ext{0, nullptr};
   feed("{\"value\":\"1234f0\",\"length\":20}");
   ASSERT_EQ(0, rtJsonDecBitStrValueExt64(&ctx, &nbits, buf, 1, &ext));
   EXPECT_EQ(20u, nbits);
   EXPECT_EQ(0x12, buf[0]);
   ASSERT_EQ(2u, ext.numocts);
   EXPECT_EQ(0xF0, ext.data[1]);
}

TEST_F(JsonReader, AnyTypeReturnsTheRawValueAndStopsAfterIt)
{
   std::string out;
   EXPECT_EQ(0, any("12,", &out));
   EXPECT_EQ("12", out);
   EXPECT_EQ(',', rest());
   EXPECT_EQ(0, any(" [1, 2 ] tail", &out));
   EXPECT_EQ("[1, 2 ]", out);
   EXPECT_EQ(0, any("{\"a\" : /* c */ {\"b\":[true,false,null]}}", &out));
   EXPECT_EQ("{\"a\" : /* c */ {\"b\":[true,false,null]}}", out);
   EXPECT_EQ(0, any("\"a\\u0041\\ud83d\\ude00\"", &out));
   EXPECT_EQ(0, any("[1.,-0.5e+3]", &out));
   EXPECT_EQ(RTERR_ENDOFBUF, any("12"));
}

TEST_F(JsonReader, AnyTypeErrorsByState)
{
   EXPECT_EQ(RTERR_EXPNAME, any("{\"a\":1,}"));
   EXPECT_EQ(RTERR_IDNOTFOU, any("{\"a\" 1}"));
   EXPECT_EQ(RTERR_UNBAL, any("[1}"));
   EXPECT_EQ(RTERR_UNBAL, any("]"));
   EXPECT_EQ(RTERR_INVREAL, any("[-x]"));
   EXPECT_EQ(RTERR_INVBOOL, any("[trie]"));
   EXPECT_EQ(RTERR_INVNULL, any("[nil]"));
   EXPECT_EQ(RTERR_UNICODE, any("\"\\u12G4\""));
   EXPECT_EQ(RTERR_UNICODE, any("\"\\ud83d\""));
   EXPECT_EQ(RTERR_INVCHAR, any("\"a\tb\""));
   EXPECT_EQ(RTERR_INVCHAR, any("\x01"));
}

TEST_F(JsonReader, AnyTypeWithoutOutputOnlyValidates)
{
   feed("\"\\ud83d\" ");
   // Without a text to look at, the surrogate test is skipped.
   EXPECT_EQ(0, rtJsonDecAnyType(&ctx, nullptr));
}

}  // namespace

#include "VXJSONBuffers.h"
#include "VXRTStream.h"
#include "jsonGen.h"
#include "rtxMemBuf.h"
#include "rtxStream.h"

namespace {

// Through the decode buffer over a memory stream, as the exports read text:
// the end of the text is -17, and the buffer shares the stream's context.
TEST(JsonDecodeBuffer, ReadsTheCallersTextThroughAMemoryStream)
{
   const char text[] = "{\"a\":[1,2]} trailing";
   VXRTMemoryInputStream stream((const uint8_t*)text, strlen(text));
   VXJSONDecodeBuffer buf(stream);
   EXPECT_TRUE(buf.isA(VXRTMessageBufferIF::JSONDecode));
   EXPECT_FALSE(buf.isA(VXRTMessageBufferIF::JSONEncode));
   EXPECT_EQ(0u, buf.getMsgLen());
   EXPECT_EQ(stream.getCtxtPtr(), buf.getCtxtPtr());
   char* out = nullptr;
   ASSERT_EQ(0, rtJsonDecAnyType(buf.getCtxtPtr(), &out));
   EXPECT_STREQ("{\"a\":[1,2]}", out);

   const char num[] = "12";
   VXJSONDecodeBuffer owned((const uint8_t*)num, 2);
   EXPECT_EQ(RTERR_ENDOFFILE, rtJsonDecAnyType(owned.getCtxtPtr(), nullptr));
}

TEST(JsonEncodeBuffer, StartsEmptyAndTerminated)
{
   VXJSONEncodeBuffer buf;
   EXPECT_TRUE(buf.isA(VXRTMessageBufferIF::JSONEncode));
   EXPECT_EQ(0u, buf.getMsgLen());
   EXPECT_EQ(0, buf.getMsgPtr()[0]);
   ASSERT_EQ(0, rtJsonEncStringValue(buf.getCtxtPtr(), "x"));
   EXPECT_EQ(3u, buf.getMsgLen());
   EXPECT_STREQ("\"x\"", (const char*)buf.getMsgPtr());
   EXPECT_EQ(0, buf.init());
   EXPECT_EQ(0u, buf.getMsgLen());
}

// The readers scan text in place when it lies in the buffer; a capture
// buffer keeps the other context on the byte-wise path. Both must end in
// the same state: status, value, cursor, last byte, the memory stream's
// counts and the error records, at the end of the text and on failures too.
TEST(JsonInPlace, ReadersLeaveWhatTheByteWiseReadersLeave)
{
   typedef std::string (*Op)(VXCTXT*);
   struct Case {
      const char* name;
      Op op;
   };
   static const Case ops[] = {
      {"match", [](VXCTXT* c) { return std::to_string(rtJsonDecMatchChar(c, ':')); }},
      {"skip", [](VXCTXT* c) { return std::to_string(rtxTxtSkipWhitespace(c)); }},
      {"peek", [](VXCTXT* c) { return std::string(1, jsonGenPeek(c)); }},
      {"comma", [](VXCTXT* c) { return std::to_string(jsonGenComma(c)); }},
      {"open",
       [](VXCTXT* c) { return std::to_string(jsonGenOpenIn(c, jsonGenInput(c), '{', '}')); }},
      {"next", [](VXCTXT* c) { return std::to_string(jsonGenNextIn(c, jsonGenInput(c), '}')); }},
      {"i32",
       [](VXCTXT* c) {
          int32_t v = 7;
          int s = rtxTxtReadInt32(c, &v);
          return std::to_string(s) + "/" + std::to_string(v);
       }},
      {"i8",
       [](VXCTXT* c) {
          int8_t v = 7;
          int s = rtxTxtReadInt8(c, &v);
          return std::to_string(s) + "/" + std::to_string(v);
       }},
      {"u32",
       [](VXCTXT* c) {
          uint32_t v = 7;
          int s = rtxTxtReadUInt32(c, &v);
          return std::to_string(s) + "/" + std::to_string(v);
       }},
      {"u16",
       [](VXCTXT* c) {
          uint16_t v = 7;
          int s = rtxTxtReadUInt16(c, &v);
          return std::to_string(s) + "/" + std::to_string(v);
       }},
      {"u64",
       [](VXCTXT* c) {
          uint64_t v = 7;
          int s = rtxTxtReadUInt64(c, &v);
          return std::to_string(s) + "/" + std::to_string(v);
       }},
      {"key",
       [](VXCTXT* c) {
          JsonGenText k = {0, 0, 0};
          int s = jsonGenReadKey(c, &k);
          std::string r = std::to_string(s) + "/" + (s == 0 ? std::string(k.text, k.len) : "");
          jsonGenTextRelease(c, &k);
          return r;
       }},
      // The expected key compared in place, any other read: as "key" leaves it.
      {"expected key",
       [](VXCTXT* c) {
          JsonGenIn in = jsonGenInput(c);
          if (jsonGenKeyIs(c, in, jsonGenKeyStart(c, in), "\"lane\":", 7))
             return std::string("0/lane");
          JsonGenText k = {0, 0, 0};
          int s = jsonGenReadKeyIn(c, in, &k);
          std::string r = std::to_string(s) + "/" + (s == 0 ? std::string(k.text, k.len) : "");
          jsonGenTextRelease(c, &k);
          return r;
       }},
      {"hex",
       [](VXCTXT* c) {
          uint8_t d[3] = {7, 7, 7};
          uint64_t n = 9;
          int s = rtJsonDecHexData64(c, d, &n, sizeof d);
          return std::to_string(s) + "/" + std::to_string(n) + "/" + std::to_string(d[0]) + "." +
                 std::to_string(d[1]) + "." + std::to_string(d[2]);
       }},
      {"text",
       [](VXCTXT* c) {
          JsonGenText k = {0, 0, 0};
          int s = jsonGenReadText(c, &k);
          std::string r = std::to_string(s) + "/" + (s == 0 ? std::string(k.text, k.len) : "");
          jsonGenTextRelease(c, &k);
          return r;
       }},
   };
   static const char* const texts[] = {
      " \n :1",
      ":",
      "  ",
      "x",
      " 42,",
      "-128]",
      "-129 ",
      "+255}",
      "255",
      "65536,",
      "-0 ",
      "- 1,",
      "+x",
      "2147483647 ",
      "-2147483648,",
      "2147483648 ",
      "18446744073709551615,",
      "18446744073709551616,",
      "007 ",
      "\t\"lane\" :2",
      "\"lane\"",
      "\"lane\" x",
      "\"a\\\"b\":1",
      "\"\":",
      "\"abc",
      "\"ab\"  ",
      ",",
      " \n\t, ",
      "999999999 ",
      "1234567890,",
      "4294967295 ",
      "4294967296 ",
      "-2147483649,",
      "00000000000042 ",
      "123456789",
      "{",
      " { } ",
      "{\n \"a\"",
      "{x",
      " }",
      "}x",
      "\t,}",
      // Indentation longer than sixteen bytes, plain and with other white space in it.
      "\n                                  \"k\":1",
      "\n                 \t          \r\n   ,",
      "\r\n                                   }",
      "                                ",
      "\n                    \t                       \"lane\":3,",
      "\n                                        7 ",
      "\n   \"lane\":1",
      "\"lane\":",
      "\"lanes\":1",
      "\"lane\"",
      "\"lan",
      "abc\"",
      "0A1b2c3d\"",
      "0a1b2c",
      "12345",
      "aBcD\" ",
      "ab\"",
   };
   for (const Case& op : ops) {
      for (const char* t : texts) {
         InPlacePair pair(t, 64);
         std::string ra = op.op(&pair.fast), rb = op.op(&pair.bytewise);
         std::string where = std::string(op.name) + " on '" + t + "'";
         EXPECT_EQ(rb, ra) << where;
         pair.expectSameEnd(where);
      }
   }
}

}  // namespace
