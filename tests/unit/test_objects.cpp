// The codec object layer: counted contexts, holders, message buffers,
// control objects and top-level records.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "ASN1MessageBuffer.h"
#include "ASN1RtContext.h"
#include "VXRTContext.h"
#include "VXRTMessageBuffer.h"
#include "VexilType.h"
#include "asn1ErrorHandler.h"
#include "rtxDiag.h"
#include "rtxError.h"

namespace {

// A context that counts its destruction.
class TrackedContext : public VXRTContext {
   int* mDestroyed;

 public:
   explicit TrackedContext(int* destroyed) : mDestroyed(destroyed) {}
   ~TrackedContext() override { (*mDestroyed)++; }
};

// A context that, when it dies, notes the reference count of another one.
class WatchingContext : public VXRTContext {
   VXRTContext* mOther;
   uint32_t* mSeen;

 public:
   WatchingContext(VXRTContext* other, uint32_t* seen) : mOther(other), mSeen(seen) {}
   ~WatchingContext() override { *mSeen = mOther->getRefCount(); }
};

// A buffer of any type over a given (or its own plain) context.
class FakeBuffer : public VXRTMessageBuffer {
 public:
   int initCalls = 0;
   int initResult = 0;
   explicit FakeBuffer(Type type, VXRTContext* pContext = nullptr)
       : VXRTMessageBuffer(type, pContext)
   {
   }
   bool isA(Type type) override { return type == mBufferType; }
   int init() override
   {
      initCalls++;
      return initResult;
   }
};

class FakeASN1Buffer : public ASN1MessageBuffer {
 public:
   FakeASN1Buffer() : ASN1MessageBuffer(PEREncode) {}
   explicit FakeASN1Buffer(VXRTContext* pContext) : ASN1MessageBuffer(PERDecode, pContext) {}
   bool isA(Type type) override { return type == mBufferType; }
};

// A top-level record: notes in its destructor whether its context was
// still alive.
class TestRecord : public ASN1TPDU {
 public:
   int* contextDestroyed = nullptr;
   bool* contextAliveInDtor = nullptr;
   void* part = nullptr;
   ~TestRecord() override
   {
      if (contextAliveInDtor != nullptr) {
         VXCTXT* pctxt = getCtxtPtr();
         *contextAliveInDtor =
            pctxt != nullptr && *contextDestroyed == 0 && rtxCheckContext(pctxt) == 0;
         if (part != nullptr && *contextAliveInDtor) rtxMemFreePtr(pctxt, part);
      }
   }
   VXRTContext* context() { return mpContext; }
};

// A control class whose decode is scripted: it binds the buffer, gives the
// record the buffer's context, and returns `result`, recorded first in the
// error list if `record` is set.
class TestControl : public VexilType {
 public:
   TestRecord* rec = nullptr;
   int result = 0;
   bool record = false;
   int decodeCalls = 0;

   TestControl() : VexilType() {}
   explicit TestControl(VXRTMessageBufferIF& buf) : VexilType(buf) {}
   TestControl(VXRTMessageBufferIF& buf, TestRecord& r) : VexilType(buf), rec(&r) {}
   explicit TestControl(TestRecord& r) : VexilType(), rec(&r) {}

   int DecodeFrom(VXRTMessageBufferIF& buf, unsigned char /*initFlag*/) override
   {
      decodeCalls++;
      int stat = setMsgBuf(buf, 1);
      if (stat != 0) return stat;
      if (rec != nullptr) {
         rec->setContext(buf.getContext());
         rec->part = rtxMemAlloc(buf.getCtxtPtr(), 64);
      }
      if (record) return VX_LOG_ERRNEW(buf.getCtxtPtr(), result);
      return result;
   }
   int EncodeTo(VXRTMessageBufferIF& /*buf*/) override { return result; }
   void dropContext() { mpContext = nullptr; }
   VXRTMessageBufferIF* currentBuffer() const { return mpMsgBuf; }
};

VXRTErrInfo* lastError(VXCTXT* pctxt)
{
   return pctxt->errInfo.tail ? static_cast<VXRTErrInfo*>(pctxt->errInfo.tail->data) : nullptr;
}

TEST(CtxtPtr, ContextDiesWithItsLastReference)
{
   int destroyed = 0;
   TrackedContext* ctx = new TrackedContext(&destroyed);
   EXPECT_EQ(0u, ctx->getRefCount());
   EXPECT_TRUE(ctx->isInitialized());
   {
      VXRTCtxtPtr a(ctx);
      EXPECT_EQ(1u, ctx->getRefCount());
      {
         VXRTCtxtPtr b(a);
         VXRTCtxtPtr c;
         c = a;
         EXPECT_EQ(3u, ctx->getRefCount());
         EXPECT_EQ(ctx->getPtr(), c.getCtxtPtr());
      }
      EXPECT_EQ(1u, ctx->getRefCount());
      EXPECT_EQ(0, destroyed);
      {
         VXRTCtxtPtr temp = VXRTCtxtPtr(a);  // a counted temporary
         EXPECT_EQ(2u, ctx->getRefCount());
      }
      EXPECT_EQ(0, destroyed);
   }
   EXPECT_EQ(1, destroyed);

   VXRTCtxtPtr empty;
   EXPECT_TRUE(empty.isNull());
   EXPECT_EQ(nullptr, empty.getCtxtPtr());
}

TEST(Context, StatusFollowsErrorList)
{
   VXRTCtxtPtr ctx(new VXRTContext());
   EXPECT_EQ(0, ctx->getStatus());
   VX_LOG_ERRNEW(ctx->getPtr(), RTERR_INVENUM);
   EXPECT_EQ(RTERR_INVENUM, ctx->getStatus());
   EXPECT_EQ(RTERR_NOTSUPP, ctx->setStatus(RTERR_NOTSUPP));
   EXPECT_EQ(RTERR_NOTSUPP, ctx->getStatus());  // the object's own status first

   size_t len = 0;
   char* report = ctx->getErrorInfo(&len);
   ASSERT_NE(nullptr, report);
   EXPECT_EQ(strlen(report), len);
   EXPECT_NE(std::string::npos, std::string(report).find("ERROR: Status -4"));
   delete[] report;

   char buf[512];
   size_t size = sizeof(buf);
   EXPECT_EQ(buf, ctx->getErrorInfo(buf, size));
   EXPECT_NE(std::string::npos, std::string(buf).find("ERROR: Status -4"));

   ctx->resetErrorInfo();
   EXPECT_EQ(0, ctx->getStatus());
}

TEST(Vexil, ControlSharesBufferContext)
{
   FakeBuffer buf(VXRTMessageBufferIF::PERDecode, new ASN1RtContext());
   TestControl control(buf);
   EXPECT_EQ(buf.getCtxtPtr(), control.getCtxtPtr());
   EXPECT_EQ(2u, buf.getContext()->getRefCount() - 1);  // buffer, control (+ temporary)
   EXPECT_EQ(&buf, control.currentBuffer());

   TestControl copy(control);
   EXPECT_EQ(control.getCtxtPtr(), copy.getCtxtPtr());
   EXPECT_EQ(&buf, copy.currentBuffer());

   VXRTContext* shared = new VXRTContext();
   VXRTCtxtPtr keep(shared);
   VexilType onContext(*shared);
   EXPECT_EQ(shared->getPtr(), onContext.getCtxtPtr());
   EXPECT_EQ(2u, shared->getRefCount());
   EXPECT_EQ(nullptr, onContext.getCtxtPtr()->pASN1Info);  // shared as it is
}

TEST(Vexil, FailureStopsSetMsgBufAtOnce)
{
   FakeBuffer buf(VXRTMessageBufferIF::PERDecode);
   TestControl control;
   VX_LOG_ERRNEW(control.getCtxtPtr(), RTERR_BADVALUE);
   EXPECT_NE(0, control.getStatus());
   EXPECT_EQ(RTERR_BADVALUE, control.setMsgBuf(buf, 1));
   EXPECT_EQ(nullptr, control.currentBuffer());
   EXPECT_EQ(0, buf.initCalls);
   EXPECT_EQ(RTERR_BADVALUE, control.Decode(0));
   EXPECT_EQ(0, control.decodeCalls);
}

// What the control object adds to the codec's result: a -16 that the decoder
// recorded stays as it is; other recorded failures get one more position; a
// bare failure gets a record of its own; success and positive counts pass;
// encoding adds a position even to a -16.
TEST(Vexil, StatusesPassedOnWithPositions)
{
   const struct {
      bool encode;
      int result;
      bool record;
      int records;    // in the error list afterwards
      int positions;  // in the last record (0: not looked at)
   } cases[] = {
      {false, RTERR_CONSVIO, true, 1, 1},  {false, RTERR_ENDOFBUF, true, 1, 2},
      {false, RTERR_INVENUM, false, 1, 1}, {false, 2, false, 0, 0},
      {true, RTERR_CONSVIO, false, 1, 0},
   };
   for (const auto& c : cases) {
      SCOPED_TRACE(c.result);
      FakeBuffer buf(c.encode ? VXRTMessageBufferIF::PEREncode : VXRTMessageBufferIF::PERDecode,
                     new ASN1RtContext());
      TestControl control(buf);
      control.result = c.result;
      control.record = c.record;
      EXPECT_EQ(c.result, c.encode ? control.Encode() : control.Decode(0));
      EXPECT_EQ((unsigned)c.records, buf.getCtxtPtr()->errInfo.count);
      if (c.positions == 0) continue;
      VXRTErrInfo* err = lastError(buf.getCtxtPtr());
      ASSERT_NE(nullptr, err);
      ASSERT_EQ(c.positions, err->stackCount);
      if (c.positions == 2) {
         EXPECT_NE(std::string::npos, std::string(err->stack[1].module).find("VexilType"));
      }
   }
}

// Bytes to text: the decode buffer is built first and dies last, so the
// record's context outlives the record.
TEST(Lifecycle, ToTextOrder)
{
   int destroyed = 0;
   bool aliveInDtor = false;
   {
      FakeBuffer decodeBuf(VXRTMessageBufferIF::PERDecode, new TrackedContext(&destroyed));
      TestRecord rec;
      rec.contextDestroyed = &destroyed;
      rec.contextAliveInDtor = &aliveInDtor;
      TestControl control(decodeBuf, rec);
      FakeBuffer textBuf(VXRTMessageBufferIF::JSONEncode);
      ASSERT_EQ(0, control.Decode(0));
      EXPECT_EQ(decodeBuf.getCtxtPtr(), rec.getCtxtPtr());
      EXPECT_EQ(3u, decodeBuf.getContext()->getRefCount() - 1);  // buffer, control, record
   }
   EXPECT_TRUE(aliveInDtor);
   EXPECT_EQ(1, destroyed);
}

// Text to bytes: the record is built first and dies last; once the decode
// buffer and the control object are gone, its reference is the last one,
// and dropping it destroys the context.
TEST(Lifecycle, FromTextRecordHoldsLastReference)
{
   int destroyed = 0;
   bool aliveInDtor = false;
   {
      TestRecord rec;
      rec.contextDestroyed = &destroyed;
      rec.contextAliveInDtor = &aliveInDtor;
      {
         TestControl control(rec);
         FakeBuffer encodeBuf(VXRTMessageBufferIF::PEREncode, new ASN1RtContext());
         {
            FakeBuffer decodeBuf(VXRTMessageBufferIF::JSONDecode, new TrackedContext(&destroyed));
            ASSERT_EQ(0, control.DecodeFrom(decodeBuf, 0));
            EXPECT_NE(control.getCtxtPtr(), rec.getCtxtPtr());
            EXPECT_EQ(decodeBuf.getCtxtPtr(), rec.getCtxtPtr());
            ASSERT_NE(nullptr, rec.part);
         }
         EXPECT_EQ(0, destroyed);
         EXPECT_EQ(1u, rec.context()->getRefCount());
      }
      EXPECT_EQ(0, destroyed);
   }
   EXPECT_TRUE(aliveInDtor);
   EXPECT_EQ(1, destroyed);
}

}  // namespace
