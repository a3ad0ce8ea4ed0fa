// Context set-up and tear-down, buffer and cursor, name and container stacks.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "rtContext.h"
#include "rtxContext.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxStream.h"

namespace {

class ContextTest : public ::testing::Test {
 protected:
   VXCTXT ctxt;
   VXCTXT* pctxt = &ctxt;
   void SetUp() override { ASSERT_EQ(0, rtxInitContext(pctxt)); }
   void TearDown() override
   {
      if (ctxt.initCode == VXCTXT_INITCODE) rtxFreeContext(pctxt);
   }
};

TEST_F(ContextTest, NullBufferGivesZeroedDynamicWorkBuffer)
{
   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, nullptr, 0));
   ASSERT_NE(nullptr, ctxt.buffer.data);
   EXPECT_EQ(1024u, ctxt.buffer.size);
   EXPECT_EQ(1, ctxt.buffer.dynamic);
   EXPECT_EQ(0u, ctxt.buffer.byteIndex);
   EXPECT_EQ(8, ctxt.buffer.bitOffset);
   for (size_t i = 0; i < 1024; i++) ASSERT_EQ(0, ctxt.buffer.data[i]) << i;
   EXPECT_EQ(0u, ctxt.flags & VXCTXT_FLAG_SYSBUF);

   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, nullptr, 10));
   EXPECT_EQ(10u, ctxt.buffer.size);
}

TEST_F(ContextTest, CallerBufferIsTakenAsItIs)
{
   uint8_t data[4] = {1, 2, 3, 4};
   ctxt.buffer.byteIndex = 3;
   ctxt.buffer.bitOffset = 2;
   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, data, 0));
   EXPECT_EQ(data, ctxt.buffer.data);
   EXPECT_EQ(0u, ctxt.buffer.size);
   EXPECT_EQ(0, ctxt.buffer.dynamic);
   EXPECT_EQ(0u, ctxt.buffer.byteIndex);
   EXPECT_EQ(8, ctxt.buffer.bitOffset);

   ASSERT_EQ(0, rtxCtxtSetBufPtr(pctxt, data, sizeof(data)));
   EXPECT_EQ(4u, ctxt.buffer.size);
   EXPECT_NE(0u, ctxt.flags & VXCTXT_FLAG_BUFONLY);
}

// With a stream in context-buffer mode the work buffer comes from the system
// allocator and is given back when the buffer is replaced (ASan's leak check
// catches a miss).
TEST_F(ContextTest, ContextBufferModeUsesSystemAllocator)
{
   VXRTSTREAM stream;
   memset(&stream, 0, sizeof(stream));
   stream.flags = VXRT_STREAM_CTXTBUF;
   ctxt.pStream = &stream;
   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, nullptr, 64));
   EXPECT_NE(0u, ctxt.flags & VXCTXT_FLAG_SYSBUF);
   EXPECT_EQ(64u, ctxt.buffer.size);
   EXPECT_EQ(1, ctxt.buffer.dynamic);
   // Not a heap block: the heap's own records stay empty.
   EXPECT_TRUE(rtxMemHeapIsEmpty(&ctxt.pMemHeap));

   uint8_t data[2] = {0};
   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, data, 2));
   EXPECT_EQ(0u, ctxt.flags & VXCTXT_FLAG_SYSBUF);
   EXPECT_EQ(data, ctxt.buffer.data);

   // Other stream modes leave the buffer as it was; only the cursor moves.
   stream.flags = VXRT_STREAM_INPUT;
   ctxt.buffer.byteIndex = 1;
   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, nullptr, 0));
   EXPECT_EQ(data, ctxt.buffer.data);
   EXPECT_EQ(2u, ctxt.buffer.size);
   EXPECT_EQ(0, ctxt.buffer.dynamic);
   EXPECT_EQ(0u, ctxt.buffer.byteIndex);
   ctxt.pStream = nullptr;
}

TEST_F(ContextTest, DeadContextIsRefused)
{
   ctxt.initCode = 0;
   EXPECT_EQ(RTERR_NOTINIT, rtxCheckContext(pctxt));
   EXPECT_EQ(RTERR_NOTINIT, rtxInitContextBuffer(pctxt, nullptr, 0));
   EXPECT_EQ(nullptr, ctxt.buffer.data);
   EXPECT_EQ(RTERR_NOTINIT, rtxErrGetLastError(pctxt));
   ctxt.initCode = VXCTXT_INITCODE;
}

TEST_F(ContextTest, ContainerBitsCarryIntoNextByte)
{
   uint8_t data[8] = {0};
   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, data, sizeof(data)));
   ASSERT_EQ(0, rtxCtxtSetBitOffset(pctxt, 5));  // byte 0, 3 bits free
   ASSERT_EQ(0, rtxCtxtPushContainerBits(pctxt, 5));
   EXPECT_EQ(5u, rtxCtxtGetContainerRemBits(pctxt));
   EXPECT_TRUE(rtxCtxtContainerHasRemBits(pctxt));

   ASSERT_EQ(0, rtxCtxtSetBitOffset(pctxt, 9));
   EXPECT_EQ(1u, rtxCtxtGetContainerRemBits(pctxt));
   ASSERT_EQ(0, rtxCtxtSetBitOffset(pctxt, 10));
   EXPECT_EQ(0u, rtxCtxtGetContainerRemBits(pctxt));
   EXPECT_TRUE(rtxCtxtContainerEnd(pctxt));
   ASSERT_EQ(0, rtxCtxtSetBitOffset(pctxt, 12));  // past the end
   EXPECT_EQ(0u, rtxCtxtGetContainerRemBits(pctxt));

   // An end that lands exactly on a byte boundary.
   ASSERT_EQ(0, rtxCtxtSetBitOffset(pctxt, 13));
   ASSERT_EQ(0, rtxCtxtPushContainerBits(pctxt, 3));
   EXPECT_EQ(3u, rtxCtxtGetContainerRemBits(pctxt));
   ASSERT_EQ(0, rtxCtxtSetBitOffset(pctxt, 16));
   EXPECT_TRUE(rtxCtxtContainerEnd(pctxt));

   rtxCtxtPopContainer(pctxt);
   // Back to the outer container, which ended at bit 10.
   EXPECT_TRUE(rtxCtxtContainerEnd(pctxt));
   rtxCtxtPopContainer(pctxt);
   // No container: against the end of the buffer.
   EXPECT_EQ(48u, rtxCtxtGetContainerRemBits(pctxt));
   rtxCtxtPopContainer(pctxt);  // empty: harmless
}

TEST_F(ContextTest, CopyContextTakesCursorNotHeapOrErrors)
{
   uint8_t data[4] = {0};
   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, data, sizeof(data)));
   ctxt.buffer.byteIndex = 2;
   ctxt.flags = VXCTXT_FLAG_FASTCOPY;

   VXCTXT copy;
   ASSERT_EQ(0, rtxInitContext(&copy));
   rtxCopyContext(&copy, pctxt);
   EXPECT_EQ(data, copy.buffer.data);
   EXPECT_EQ(2u, copy.buffer.byteIndex);
   EXPECT_EQ(VXCTXT_FLAG_FASTCOPY, copy.flags);
   EXPECT_NE(ctxt.pMemHeap, copy.pMemHeap);

   VX_LOG_ERRNEW(&copy, RTERR_ENDOFBUF);
   EXPECT_EQ(1u, rtxErrGetErrorCnt(&copy));
   EXPECT_EQ(0u, rtxErrGetErrorCnt(pctxt));
   rtxFreeContext(&copy);
}

static int g_freeHookCalls;
static int countingFreeHook(VXCTXT* pctxt)
{
   g_freeHookCalls++;
   EXPECT_NE(0u, pctxt->flags & VXCTXT_FLAG_FREEING);
   return 0;
}

TEST_F(ContextTest, FreeContextReleasesEverything)
{
   ASSERT_EQ(0, rtCtxtInitASN1Info(pctxt));
   ASSERT_EQ(0, rtAddEventHandler(pctxt, pctxt));
   ASSERT_EQ(0, rtxInitContextBuffer(pctxt, nullptr, 0));
   ASSERT_EQ(0, rtxCtxtPushContainerBytes(pctxt, 4));
   VX_LOG_ERRNEW(pctxt, RTERR_INVENUM);

   g_freeHookCalls = 0;
   ctxt.freeHook = countingFreeHook;
   rtxFreeContext(pctxt);
   EXPECT_EQ(1, g_freeHookCalls);
   // With a hook, the hook decides; the init code is left alone.
   EXPECT_EQ(VXCTXT_INITCODE, ctxt.initCode);
   EXPECT_EQ(nullptr, ctxt.pASN1Info);
   EXPECT_EQ(nullptr, ctxt.buffer.data);
   EXPECT_EQ(nullptr, ctxt.pMemHeap);
   EXPECT_EQ(0u, rtxErrGetErrorCnt(pctxt));
   ctxt.initCode = 0;  // nothing left to free in TearDown
}

TEST(RtContext, ASN1InfoAndEventHandlers)
{
   VXCTXT ctxt;
   ASSERT_EQ(0, rtxInitContext(&ctxt));
   EXPECT_EQ(nullptr, ctxt.pASN1Info);
   int a = 0, b = 0;
   // Registration creates the information record when missing.
   ASSERT_EQ(0, rtAddEventHandler(&ctxt, &a));
   ASSERT_NE(nullptr, ctxt.pASN1Info);
   VXASN1Info* info = ctxt.pASN1Info;
   EXPECT_EQ(&rtCtxtFreeASN1Info, info->freeHook);
   EXPECT_EQ(&rtCtxtResetASN1Info, info->resetHook);
   ASSERT_EQ(0, rtAddEventHandler(&ctxt, &b));
   EXPECT_EQ(2u, info->eventHandlers.count);
   EXPECT_EQ(&a, info->eventHandlers.head->data);
   rtRemoveEventHandler(&ctxt, &a);
   EXPECT_EQ(1u, info->eventHandlers.count);
   EXPECT_EQ(&b, info->eventHandlers.head->data);
   // A second init keeps the record it has.
   EXPECT_EQ(0, rtCtxtInitASN1Info(&ctxt));
   EXPECT_EQ(info, ctxt.pASN1Info);
   EXPECT_EQ(0, rtCtxtResetASN1Info(&ctxt, info));
   EXPECT_EQ(0u, info->eventHandlers.count);
   EXPECT_EQ(RTERR_NOTINIT, rtCtxtFreeASN1Info(&ctxt, nullptr));
   rtxFreeContext(&ctxt);
}

}  // namespace
