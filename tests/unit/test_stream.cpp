// Streams: the memory stream over the caller's bytes, context-buffer mode
// over a chunked test stream, the generic input functions and their end
// statuses, mark/reset, capture, and the stream classes.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "VXRTStream.h"
#include "rtxError.h"
#include "rtxMemBuf.h"
#include "rtxMemory.h"
#include "rtxReadBytes.h"
#include "rtxStream.h"
#include "rtxTxtRead.h"

namespace {

const uint8_t* bytesOf(const std::string& s) { return reinterpret_cast<const uint8_t*>(s.data()); }

// Statuses of the error list, oldest first.
std::vector<int> errorStatuses(VXCTXT* pctxt)
{
   std::vector<int> out;
   for (VXRTDListNode* n = pctxt->errInfo.head; n != nullptr; n = n->next)
      out.push_back(static_cast<VXRTErrInfo*>(n->data)->status);
   return out;
}

// Reads `n` bytes one small piece at a time, appending them to `out`.
void readPieces(VXCTXT* pctxt, size_t n, size_t piece, std::vector<uint8_t>& out)
{
   while (n > 0) {
      size_t k = std::min(n, piece);
      std::vector<uint8_t> b(k);
      ASSERT_EQ(0, rtxReadBytes(pctxt, b.data(), k));
      out.insert(out.end(), b.begin(), b.end());
      n -= k;
   }
}

class Stream : public ::testing::Test {
 protected:
   VXCTXT ctx;
   std::string text;  // the caller's bytes of a memory stream
   std::vector<uint8_t> got;
   void SetUp() override { ASSERT_EQ(0, rtxInitContext(&ctx)); }
   void TearDown() override { rtxFreeContext(&ctx); }
   void attachText(const std::string& s, int flags = VXRT_STREAM_INPUT)
   {
      text = s;
      ASSERT_EQ(0, rtxStreamMemoryAttach(&ctx, bytesOf(text), text.size(), flags));
   }
};

// ---- memory stream ----

TEST_F(Stream, MemoryAttachReadsTheCallersBytesInPlace)
{
   attachText("{\"a\":1}");
   EXPECT_EQ(bytesOf(text), ctx.buffer.data);
   EXPECT_EQ(text.size(), ctx.buffer.size);
   EXPECT_EQ(VXRT_STREAM_ID_MEMORY, ctx.pStream->id);
   EXPECT_TRUE(rtxStreamIsReadable(&ctx));
   EXPECT_FALSE(rtxStreamIsWritable(&ctx));

   uint8_t b[4] = {};
   EXPECT_EQ(1, rtxPeekByte(&ctx, b));
   EXPECT_EQ('{', b[0]);
   EXPECT_EQ(0u, ctx.buffer.byteIndex);
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 3));
   EXPECT_EQ(0, memcmp(b, "{\"a", 3));
   EXPECT_EQ('a', ctx.lastChar);
   EXPECT_EQ(3u, ctx.pStream->bytesProcessed);
   ASSERT_EQ(0, rtxReadBytes(&ctx, nullptr, 2));  // skips
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 2));
   EXPECT_EQ(0, memcmp(b, "1}", 2));
   EXPECT_TRUE(errorStatuses(&ctx).empty());
}

// White space skipped in place leaves what the byte-wise skip leaves (a
// capture buffer keeps the other context on the byte-wise path), at the
// next token and at the end of the text.
TEST_F(Stream, WhitespaceSkipInPlaceMatchesTheByteWiseSkip)
{
   for (std::string text : {" \n\t\r x", "  \n "}) {
      VXCTXT a, b;
      ASSERT_EQ(0, rtxInitContext(&a));
      ASSERT_EQ(0, rtxInitContext(&b));
      VXRTMEMBUF cap;
      rtxMemBufInit(&b, &cap, 0);
      for (VXCTXT* p : {&a, &b})
         ASSERT_EQ(0, rtxStreamMemoryAttach(p, bytesOf(text), text.size(), VXRT_STREAM_INPUT));
      ASSERT_EQ(0, rtxStreamSetCapture(&b, &cap));
      EXPECT_EQ(0, rtxTxtSkipWhitespace(&a));
      EXPECT_EQ(0, rtxTxtSkipWhitespace(&b));
      EXPECT_EQ(b.buffer.byteIndex, a.buffer.byteIndex) << text;
      EXPECT_EQ(b.lastChar, a.lastChar) << text;
      EXPECT_EQ(b.pStream->bytesProcessed, a.pStream->bytesProcessed) << text;
      EXPECT_EQ(b.pStream->ioBytes, a.pStream->ioBytes) << text;
      EXPECT_EQ(rtxErrGetErrorCnt(&b), rtxErrGetErrorCnt(&a)) << text;
      rtxMemBufFree(&cap);
      rtxFreeContext(&a);
      rtxFreeContext(&b);
   }
}

TEST_F(Stream, ReadPastTheEndOfMemoryIs17)
{
   attachText("abc");
   uint8_t b[4];
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 2));
   EXPECT_EQ(RTERR_ENDOFFILE, rtxReadBytes(&ctx, b, 2));
   EXPECT_EQ(std::vector<int>{RTERR_ENDOFFILE}, errorStatuses(&ctx));
}

TEST_F(Stream, PeekPastTheEndOfMemoryIs1ThenReadIs17)
{
   attachText("ab");
   uint8_t b[2];
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 2));
   EXPECT_EQ(RTERR_BUFOVFLW, rtxPeekByte(&ctx, b));
   // The cursor is left at 0 with an empty buffer.
   EXPECT_EQ(0u, ctx.buffer.byteIndex);
   EXPECT_EQ(0u, ctx.buffer.size);
   EXPECT_GT(0, rtxReadBytes(&ctx, b, 1));
   EXPECT_EQ((std::vector<int>{RTERR_BUFOVFLW, RTERR_ENDOFFILE}), errorStatuses(&ctx));
   EXPECT_EQ(RTERR_MULTIPLE, rtxErrGetStatus(&ctx));
}

TEST_F(Stream, LoadingMidMemoryNeverMovesTheCallersBytes)
{
   static const char text[] = "abcdef";  // read-only storage
   const uint8_t* bytes = reinterpret_cast<const uint8_t*>(text);
   ASSERT_EQ(0, rtxStreamMemoryAttach(&ctx, bytes, 6, VXRT_STREAM_INPUT));
   uint8_t b;
   ASSERT_EQ(0, rtxReadBytes(&ctx, &b, 1));
   EXPECT_EQ(RTERR_BUFOVFLW, rtxStreamLoadInputBuffer(&ctx, 3));
   EXPECT_STREQ("abcdef", text);
   EXPECT_EQ(1u, ctx.buffer.byteIndex);
   EXPECT_EQ(6u, ctx.buffer.size);
}

TEST_F(Stream, EndOfBufferWithoutStreamIs2AndPeekIs0)
{
   uint8_t data[2] = {1, 2};
   ASSERT_EQ(0, rtxInitContextBuffer(&ctx, data, 2));
   uint8_t b[3];
   EXPECT_EQ(RTERR_ENDOFBUF, rtxReadBytes(&ctx, b, 3));
   EXPECT_EQ(0u, ctx.buffer.byteIndex);  // nothing consumed
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 2));
   EXPECT_EQ(0, rtxPeekByte(&ctx, b));
   rtxErrReset(&ctx);  // a second record would turn the result into -50
   EXPECT_EQ(RTERR_ENDOFBUF, rtxCheckInputBuffer(&ctx, 1));
   EXPECT_EQ(0, rtxReadBytes(&ctx, b, 0));
}

TEST_F(Stream, BadArgumentsGiveStatusesWithoutCrash)
{
   uint8_t b[2];
   EXPECT_GT(0, rtxReadBytes(nullptr, b, 1));
   EXPECT_GT(0, rtxPeekByte(nullptr, b));
   EXPECT_GT(0, rtxPeekByte(&ctx, nullptr));
   EXPECT_GT(0, rtxCheckInputBuffer(nullptr, 1));
   EXPECT_GT(0, rtxStreamMemoryAttach(nullptr, b, 1, VXRT_STREAM_INPUT));
   EXPECT_EQ(0, rtxStreamClose(&ctx));  // no stream
   EXPECT_EQ(0, rtxStreamRelease(&ctx));
   EXPECT_EQ(RTERR_NOTINIT, rtxStreamRead(&ctx, b, 1));
   rtxErrReset(&ctx);
   EXPECT_EQ(RTERR_INVPARAM, rtxStreamMemoryAttach(&ctx, nullptr, 5, VXRT_STREAM_INPUT));
   rtxErrReset(&ctx);
   EXPECT_EQ(RTERR_INVPARAM, rtxStreamMemoryAttach(&ctx, b, 0, VXRT_STREAM_INPUT));
   rtxErrReset(&ctx);
   EXPECT_EQ(RTERR_INVPARAM, rtxStreamMemoryAttach(&ctx, b, 1, 0));
   EXPECT_EQ(nullptr, ctx.pStream);
}

TEST_F(Stream, MemoryMarkResetAndPositions)
{
   attachText("0123456789");
   uint8_t b[4];
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 2));
   EXPECT_TRUE(rtxStreamMarkSupported(&ctx));
   ASSERT_EQ(0, rtxStreamMark(&ctx, 100));
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 3));
   ASSERT_EQ(0, rtxStreamReset(&ctx));
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 1));
   EXPECT_EQ('2', b[0]);

   size_t pos = 0;
   ASSERT_EQ(0, rtxMarkPos(&ctx, &pos));
   EXPECT_EQ(3u, pos);
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 4));
   ASSERT_EQ(0, rtxResetToPos(&ctx, pos));
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 1));
   EXPECT_EQ('3', b[0]);

   ASSERT_EQ(0, rtxStreamSkip(&ctx, 2));
   ASSERT_EQ(0, rtxReadBytes(&ctx, b, 1));
   EXPECT_EQ('6', b[0]);
   EXPECT_GT(0, rtxStreamSkip(&ctx, 10));  // more than remains
}

TEST_F(Stream, CaptureOfMemoryStreamHoldsTheTextOnce)
{
   attachText("capture me");
   VXRTMEMBUF cap;
   rtxMemBufInit(&ctx, &cap, 0);
   ASSERT_EQ(0, rtxStreamSetCapture(&ctx, &cap));
   EXPECT_EQ(&cap, rtxStreamGetCapture(&ctx));
   readPieces(&ctx, text.size(), 3, got);
   ASSERT_EQ(text.size(), rtxMemBufGetDataLen(&cap));
   EXPECT_EQ(0, memcmp(text.data(), rtxMemBufGetData(&cap, nullptr), text.size()));
   rtxMemBufFree(&cap);
}

// ---- context-buffer mode ----

// ---- classes ----

TEST(StreamClasses, MemoryInputStreamReadsAndClosesOnDestruction)
{
   std::string text = "[1,2]";
   VXRTCtxtPtr keep;
   {
      VXRTMemoryInputStream stream(bytesOf(text), text.size());
      ASSERT_TRUE(stream.isInitialized());
      EXPECT_TRUE(stream.isOpened());
      EXPECT_TRUE(stream.isA(VXRT_STREAM_ID_MEMORY));
      EXPECT_TRUE(stream.markSupported());
      uint8_t b[2];
      EXPECT_EQ(2, stream.read(b, 2));
      EXPECT_EQ(2u, stream.currentPos());
      ASSERT_EQ(0, stream.mark(10));
      EXPECT_EQ(2, stream.read(b, 2));
      ASSERT_EQ(0, stream.reset());
      ASSERT_EQ(0, stream.skip(1));
      EXPECT_EQ(3u, stream.currentPos());
      ASSERT_EQ(0, stream.setPosition(0));
      EXPECT_EQ(0u, stream.currentPos());
      keep = stream.getContext();
   }
   // The context outlives the stream object; the stream itself is closed.
   ASSERT_FALSE(keep.isNull());
   EXPECT_EQ(nullptr, keep.getCtxtPtr()->pStream);
   EXPECT_EQ(nullptr, keep.getCtxtPtr()->buffer.data);
   EXPECT_EQ("[1,2]", text);
}

}  // namespace
