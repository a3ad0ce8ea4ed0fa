// Text helpers: number and string conversions, text readers and writers,
// UTF-8, hexadecimal and bit helpers, and the output buffer's growth.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rtxBitString.h"
#include "rtxBuffer.h"
#include "rtxCharStr.h"
#include "rtxError.h"
#include "rtxHexStr.h"
#include "rtxMemory.h"
#include "rtxStream.h"
#include "rtxTxtRead.h"
#include "rtxUTF8.h"

namespace {

class Text : public ::testing::Test {
 protected:
   VXCTXT ctx;
   std::string input;
   void SetUp() override { ASSERT_EQ(0, rtxInitContext(&ctx)); }
   void TearDown() override { rtxFreeContext(&ctx); }
   // Makes `s` the context's buffer, without a stream.
   void feed(const std::string& s)
   {
      input = s;
      rtxErrReset(&ctx);
      ASSERT_EQ(0, rtxInitContextBuffer(&ctx, (uint8_t*)input.data(), input.size()));
   }
   // A fresh dynamic output buffer of `size` bytes.
   void output(size_t size)
   {
      rtxErrReset(&ctx);
      ASSERT_EQ(0, rtxInitContextBuffer(&ctx, nullptr, size));
   }
   std::string written() const
   {
      return std::string((const char*)ctx.buffer.data, ctx.buffer.byteIndex);
   }
};

// A number reader of one type, its result given back as decimal text; the
// value starts as 99, so that a reader that stores nothing shows.
using NumberReader = int (*)(VXCTXT*, std::string*);
template <typename T, int (*read)(VXCTXT*, T*)>
int readAsText(VXCTXT* pctxt, std::string* text)
{
   T v = 99;
   int stat = read(pctxt, &v);
   *text = std::to_string(v);
   return stat;
}

const int kSomeFailure = 1;  // any negative status

TEST_F(Text, PeekAndWhitespace)
{
   feed(" \r\n\t\v\fx y");
   char c = 0;
   ASSERT_EQ(0, rtxTxtPeekChar(&ctx, &c, false));
   EXPECT_EQ(' ', c);
   EXPECT_EQ(0u, ctx.buffer.byteIndex);
   ASSERT_EQ(0, rtxTxtPeekChar(&ctx, &c, true));
   EXPECT_EQ('x', c);
   EXPECT_EQ(6u, ctx.buffer.byteIndex);  // white space consumed, x not
   feed("   ");
   EXPECT_EQ(0, rtxTxtSkipWhitespace(&ctx));  // the end is no failure
   EXPECT_EQ(3u, ctx.buffer.byteIndex);
   EXPECT_EQ(0u, rtxErrGetErrorCnt(&ctx));
   EXPECT_EQ(RTERR_ENDOFBUF, rtxTxtPeekChar(&ctx, &c, true));
   EXPECT_EQ(1u, rtxErrGetErrorCnt(&ctx));
   EXPECT_EQ(0, rtxTxtPeekChar2(&ctx, true));
   feed("z");
   EXPECT_EQ('z', rtxTxtPeekChar2(&ctx, true));
}

TEST_F(Text, NumberAtTheEndOfAMemoryStreamFails)
{
   // A memory stream reports its end as -17, which the number readers pass on.
   static const char text[] = "42";
   ASSERT_EQ(0, rtxStreamMemoryAttach(&ctx, (const uint8_t*)text, 2, VXRT_STREAM_INPUT));
   int32_t v;
   EXPECT_EQ(RTERR_ENDOFFILE, rtxTxtReadInt32(&ctx, &v));
   static const char text2[] = "42 ";
   ASSERT_EQ(0, rtxStreamMemoryAttach(&ctx, (const uint8_t*)text2, 3, VXRT_STREAM_INPUT));
   ASSERT_EQ(0, rtxTxtReadInt32(&ctx, &v));
   EXPECT_EQ(42, v);
   rtxErrReset(&ctx);
   EXPECT_EQ(0, rtxTxtSkipWhitespace(&ctx));  // the stream's end is no failure here
   EXPECT_EQ(0u, rtxErrGetErrorCnt(&ctx));
   EXPECT_EQ(0, rtxTxtPeekChar2(&ctx, false));
}

TEST_F(Text, UTF8EncodeDecodeRoundTrip)
{
   const uint32_t codes[] = {0,        0x7F,     0x80,     0x7FF,     0x800,     0xFFFF,    0x10000,
                             0x10FFFF, 0x1FFFFF, 0x200000, 0x3FFFFFF, 0x4000000, 0x7FFFFFFF};
   const size_t sizes[] = {1, 1, 2, 2, 3, 3, 4, 4, 4, 5, 5, 6, 6};
   for (size_t i = 0; i < sizeof codes / sizeof codes[0]; i++) {
      uint8_t buf[8];
      ASSERT_EQ(sizes[i], rtxUTF8CharSize(codes[i])) << std::hex << codes[i];
      ASSERT_EQ((int)sizes[i], rtxUTF8EncodeChar(codes[i], buf, sizeof buf));
      EXPECT_EQ(RTERR_BUFOVFLW, rtxUTF8EncodeChar(codes[i], buf, sizes[i] - 1));
      int size = 8;
      EXPECT_EQ((int32_t)codes[i], rtxUTF8DecodeChar(&ctx, buf, &size));
      EXPECT_EQ((int)sizes[i], size);
   }
   uint8_t euro[3];
   ASSERT_EQ(3, rtxUTF8EncodeChar(0x20AC, euro, 3));
   EXPECT_EQ(0, memcmp("\xE2\x82\xAC", euro, 3));
   EXPECT_EQ(0u, rtxErrGetErrorCnt(&ctx));
}

TEST_F(Text, UTF8MalformedSequences)
{
   // A continuation byte where a lead is wanted; a lead without its
   // continuation; bytes that can never lead; a cut-off sequence.
   const char* bad[] = {"\x80", "a\xC3(", "\xE2\x82", "ok\xFE", "\xFF", "\xF8\x88\x80\x80"};
   for (const char* s : bad) {
      rtxErrReset(&ctx);
      EXPECT_EQ(RTERR_INVUTF8, rtxValidateUTF8(&ctx, s)) << s;
      EXPECT_EQ(RTERR_INVUTF8, rtxErrGetLastError(&ctx));
   }
   // Two records: an empty one first, then the -18 with the byte index.
   rtxErrReset(&ctx);
   EXPECT_EQ(RTERR_INVUTF8, rtxValidateUTF8(&ctx, "ab\xC3("));
   EXPECT_EQ(2u, rtxErrGetErrorCnt(&ctx));
   EXPECT_EQ(0, rtxErrGetFirstError(&ctx));
   VXRTErrInfo* rec = static_cast<VXRTErrInfo*>(ctx.errInfo.tail->data);
   ASSERT_EQ(1, rec->parmCount);
   EXPECT_STREQ("3", rec->parms[0]);

   rtxErrReset(&ctx);
   uint8_t cut[] = {0xE2, 0x82, 0xAC};
   int size = 2;
   EXPECT_EQ(RTERR_INVUTF8, rtxUTF8DecodeChar(&ctx, cut, &size));

   rtxErrReset(&ctx);
   EXPECT_EQ(
      0, rtxValidateUTF8(&ctx, "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xFC\x84\x80\x80\x80\x80"));
   EXPECT_EQ(0u, rtxErrGetErrorCnt(&ctx));
}

}  // namespace
