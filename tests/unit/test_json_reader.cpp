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

}  // namespace
