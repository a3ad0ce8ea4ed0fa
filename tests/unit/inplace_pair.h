// Two contexts reading the same text through a memory stream: `fast` as
// the readers find it, so they take it in place, and `bytewise` with a
// capture buffer, which keeps every reader on its byte-by-byte path.
// expectSameEnd compares what both leave behind.
#ifndef INPLACE_PAIR_H
#define INPLACE_PAIR_H

#include <gtest/gtest.h>

#include <string>

#include "rtContext.h"
#include "rtxError.h"
#include "rtxMemBuf.h"
#include "rtxStream.h"

struct InPlacePair {
   std::string text;
   VXCTXT fast, bytewise;
   VXRTMEMBUF cap;

   InPlacePair(const std::string& t, size_t markLimit) : text(t)
   {
      EXPECT_EQ(0, rtInitContext(&fast));
      EXPECT_EQ(0, rtInitContext(&bytewise));
      rtxMemBufInit(&bytewise, &cap, 0);
      for (VXCTXT* p : {&fast, &bytewise}) {
         EXPECT_EQ(0, rtxStreamMemoryAttach(p, (const uint8_t*)text.data(), text.size(),
                                            VXRT_STREAM_INPUT));
         EXPECT_EQ(0, rtxStreamMark(p, markLimit));
      }
      EXPECT_EQ(0, rtxStreamSetCapture(&bytewise, &cap));
   }
   ~InPlacePair()
   {
      rtxMemBufFree(&cap);
      rtFreeContext(&fast);
      rtFreeContext(&bytewise);
   }
   InPlacePair(const InPlacePair&) = delete;
   InPlacePair& operator=(const InPlacePair&) = delete;

   // Cursor, last byte, the memory stream's counts and the error records.
   void expectSameEnd(const std::string& where)
   {
      const VXCTXT &a = fast, &b = bytewise;
      EXPECT_EQ(b.buffer.byteIndex, a.buffer.byteIndex) << where;
      EXPECT_EQ(b.lastChar, a.lastChar) << where;
      EXPECT_EQ(b.pStream->bytesProcessed, a.pStream->bytesProcessed) << where;
      EXPECT_EQ(b.pStream->ioBytes, a.pStream->ioBytes) << where;
      EXPECT_EQ(b.pStream->readAheadCount, a.pStream->readAheadCount) << where;
      EXPECT_EQ(rtxErrGetErrorCnt(&bytewise), rtxErrGetErrorCnt(&fast)) << where;
      EXPECT_EQ(rtxErrGetLastError(&bytewise), rtxErrGetLastError(&fast)) << where;
   }
};

#endif
