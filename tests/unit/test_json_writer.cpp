// JSON writer pieces: escapes, hexadecimal and bit strings, unknown
// additions and open types, written into a growing context buffer.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "rtJson.h"
#include "rtxBuffer.h"
#include "rtxDList.h"
#include "rtxError.h"
#include "rtxIndent.h"
#include "rtxMemory.h"

namespace {

class JsonWriter : public ::testing::Test {
 protected:
   VXCTXT ctx;
   void SetUp() override
   {
      ASSERT_EQ(0, rtInitContext(&ctx));
      ASSERT_EQ(0, rtxInitContextBuffer(&ctx, nullptr, 0));
   }
   void TearDown() override { rtFreeContext(&ctx); }
   std::string text() const
   {
      return std::string((const char*)ctx.buffer.data, ctx.buffer.byteIndex);
   }
   bool terminated() const { return ctx.buffer.data[ctx.buffer.byteIndex] == 0; }
   ASN1OpenType openType(const char* bytes, size_t n)
   {
      return ASN1OpenType{n, (const uint8_t*)bytes};
   }
};

TEST_F(JsonWriter, StringEscapesOnlyTheSevenShortForms)
{
   const char in[] = "a\"b\\c\b\f\n\r\t/\x01\x7f\xc3\xa9";
   ASSERT_EQ(0, rtJsonEncStringValue2(&ctx, in, sizeof in - 1));
   EXPECT_EQ("\"a\\\"b\\\\c\\b\\f\\n\\r\\t/\x01\x7f\xc3\xa9\"", text());
   EXPECT_TRUE(terminated());
}

TEST_F(JsonWriter, NullAndNulLeadingStringsAreEmpty)
{
   ASSERT_EQ(0, rtJsonEncStringValue(&ctx, nullptr));
   ASSERT_EQ(0, rtJsonEncStringValue2(&ctx, "\0abc", 4));
   EXPECT_EQ("\"\"\"\"", text());
}

TEST_F(JsonWriter, PairHasBlanksAroundColonOnlyWhenIndented)
{
   ASSERT_EQ(0, rtJsonEncStringPair(&ctx, "k", "v"));
   rtxIndentIncr(&ctx);
   ASSERT_EQ(0, rtJsonEncStringObject(&ctx, "value", "[1]"));
   EXPECT_EQ("\"k\":\"v\"{\"value\" : \"[1]\"}", text());
   EXPECT_EQ(RTERR_BADVALUE, rtJsonEncStringPair(&ctx, "", "v"));
   EXPECT_EQ(RTERR_BADVALUE, rtJsonEncStringRaw(&ctx, nullptr));
}

TEST_F(JsonWriter, IndentationIsThreeSpacesPerLevelAndNeverNegative)
{
   rtxIndentDecr(&ctx);
   EXPECT_EQ(0, ctx.indent);
   rtxIndentIncr(&ctx);
   rtxIndentIncr(&ctx);
   EXPECT_EQ(2, rtxGetIndentLevels(&ctx));
   ASSERT_EQ(0, rtJsonEncIndent(&ctx));
   EXPECT_EQ("\n      ", text());
   ctx.flags |= VXCTXT_FLAG_NOINDENT;
   ASSERT_EQ(0, rtJsonEncIndent(&ctx));
   EXPECT_EQ("\n      ", text());
}

TEST_F(JsonWriter, HexIsLowerCase)
{
   const uint8_t b[] = {0x0A, 0xBC, 0xFF};
   ASSERT_EQ(0, rtJsonEncHexStr(&ctx, 3, b));
   ASSERT_EQ(0, rtJsonEncHexValue(&ctx, 1, b));
   EXPECT_EQ("\"0abcff\"0a", text());
}

TEST_F(JsonWriter, FixedBitStringsMaskThePartialByte)
{
   const uint8_t ten[] = {0xAA, 0xFF};  // 1010101011 plus six stray bits
   const uint8_t ones[] = {0xFF, 0xFF};
   ASSERT_EQ(0, rtJsonEncFixedBitStrValue(&ctx, 10, ten));
   ASSERT_EQ(0, rtJsonEncFixedBitStrValue(&ctx, 0, ten));
   ASSERT_EQ(0, rtJsonEncFixedBitStrValue(&ctx, 3, ones));
   ASSERT_EQ(0, rtJsonEncFixedBitStrValue(&ctx, 16, ones));
   EXPECT_EQ("\"aac0\"\"\"\"e0\"\"ffff\"", text());
}

TEST_F(JsonWriter, VariableBitStringIsAnObjectWithLength)
{
   const uint8_t nine[] = {0xFF, 0x80};
   ASSERT_EQ(0, rtJsonEncBitStrValue(&ctx, 9, nine));
   EXPECT_EQ("{\n   \"value\":\"ff80\",\n   \"length\":9\n}", text());
   EXPECT_EQ(0, ctx.indent);
}

TEST_F(JsonWriter, ExtensibleBitStringJoinsRootAndExtensionBytes)
{
   const uint8_t root[] = {0x12};
   const uint8_t ext[] = {0x34, 0xF0};
   ASSERT_EQ(0, rtJsonEncBitStrValueExt(&ctx, 20, root, 1, ext));
   EXPECT_EQ("{\n   \"value\":\"1234f0\",\n   \"length\":20\n}", text());
}

TEST_F(JsonWriter, UnknownAdditionsOnOneLineWithPositionSuffixes)
{
   ASN1OpenType a = openType("\x01\x02", 2);
   ASN1OpenType raw = openType("\"a\":1", 6);  // with its NUL: text from a text decoder
   ASN1TSeqExt list;
   rtxDListInit(&list);
   rtxDListAppend(&ctx, &list, nullptr);
   rtxDListAppend(&ctx, &list, &a);
   rtxDListAppend(&ctx, &list, nullptr);
   rtxDListAppend(&ctx, &list, &raw);
   ASSERT_EQ(0, rtJsonAsn1EncOpenTypeExt(&ctx, &list, false));
   EXPECT_EQ("\"_ext_2\":\"0102\",\"a\":1", text());
}

TEST_F(JsonWriter, ExtElemWithoutNulOrWithControlsIsHex)
{
   ASN1OpenType noNul = openType("\"a\":1", 5);
   ASN1OpenType ctrl = openType("a\nb", 4);
   ASSERT_EQ(0, rtJsonEncExtElemWithSuffix(&ctx, &noNul, 3));
   ASSERT_EQ(0, rtJsonAsn1EncExtElem(&ctx, &ctrl));
   EXPECT_EQ("\"_ext_3\":\"2261223a31\"\"_ext\":\"610a6200\"", text());
}

TEST_F(JsonWriter, OpenTypeIsValidatedAndWrappedAsValue)
{
   rtxIndentIncr(&ctx);
   ASSERT_EQ(0, rtJsonAsn1EncOpenType(&ctx, (const uint8_t*)"[1]", 3));
   EXPECT_EQ("{\"value\" : \"[1]\"}", text());
   // No octets, or a bare number at the very end (no byte behind it), are
   // not a value: the key before them would stand alone.
   for (const uint8_t* data : {(const uint8_t*)nullptr, (const uint8_t*)"x"}) {
      EXPECT_EQ(RTERR_ENDOFBUF, rtJsonAsn1EncOpenType(&ctx, data, 0));
      EXPECT_EQ(1u, rtxErrGetErrorCnt(&ctx));
      rtxErrReset(&ctx);
   }
   EXPECT_EQ(RTERR_ENDOFBUF, rtJsonAsn1EncOpenType(&ctx, (const uint8_t*)"123", 3));
   EXPECT_EQ(1u, rtxErrGetErrorCnt(&ctx));
   rtxErrReset(&ctx);
   const uint8_t ff = 0xFF;
   EXPECT_EQ(RTERR_INVCHAR, rtJsonAsn1EncOpenType(&ctx, &ff, 1));
}

TEST_F(JsonWriter, FixedBufferOverflowIsReported)
{
   uint8_t small[4];
   VXCTXT fixed;
   ASSERT_EQ(0, rtInitContext(&fixed));
   ASSERT_EQ(0, rtxInitContextBuffer(&fixed, small, sizeof small));
   EXPECT_EQ(RTERR_BUFOVFLW, rtJsonEncStringValue(&fixed, "too long"));
   EXPECT_EQ(RTERR_BUFOVFLW, rtxErrGetLastError(&fixed));
   rtFreeContext(&fixed);
}

}  // namespace
