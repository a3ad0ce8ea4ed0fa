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
         *contextAliveInDtor = pctxt != nullptr && *contextDestroyed == 0 &&
                               rtxCheckContext(pctxt) == 0;
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

TEST(CtxtPtr, AssignmentDropsOldBeforeTakingNew)
{
   int destroyedB = 0;
   uint32_t seen = 99;
   TrackedContext* b = new TrackedContext(&destroyedB);
   VXRTCtxtPtr p(new WatchingContext(b, &seen));
   p = b;
   // The old context was gone before the new one was referenced.
   EXPECT_EQ(0u, seen);
   EXPECT_EQ(1u, b->getRefCount());
   p = nullptr;
   EXPECT_EQ(1, destroyedB);
   EXPECT_TRUE(p.isNull());
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

TEST(Context, TakesOverASetUpRecord)
{
   VXCTXT record;
   ASSERT_EQ(0, rtxInitContext(&record));
   void* heap = record.pMemHeap;
   VXRTCtxtPtr ctx(new VXRTContext(&record));
   EXPECT_TRUE(ctx->isInitialized());
   VXCTXT* own = ctx->getPtr();
   EXPECT_EQ(heap, own->pMemHeap);
   // The container stack now belongs to the new record.
   EXPECT_EQ(own, own->containerStack.pctxt);
   ASSERT_EQ(0, rtxCtxtPushContainerBytes(own, 1));
   // The original is not freed: the object's destructor frees the heap once.
}

TEST(Context, PlacementNewUsesContextHeap)
{
   struct Counted {
      int value;
      explicit Counted(int* constructed) : value(7) { (*constructed)++; }
   };
   VXRTCtxtPtr ctx(new VXRTContext());
   int constructed = 0;
   Counted* obj = new (ctx->getPtr()) Counted(&constructed);
   ASSERT_NE(nullptr, obj);
   EXPECT_EQ(7, obj->value);
   EXPECT_FALSE(rtxMemHeapIsEmpty(&ctx->getPtr()->pMemHeap));
   ctx->memFreePtr(obj);

   VXCTXT* none = nullptr;
   EXPECT_EQ(nullptr, new (none) Counted(&constructed));
   EXPECT_EQ(1, constructed);  // no construction without memory
}

TEST(Context, ASN1ContextCarriesASN1Info)
{
   testing::internal::CaptureStdout();
   bool was = rtxSetGlobalDiag(true);
   ASN1RtContext* ctx = new ASN1RtContext();
   rtxSetGlobalDiag(was);
   std::string out = testing::internal::GetCapturedStdout();
   VXRTCtxtPtr hold(ctx);
   EXPECT_TRUE(ctx->isInitialized());
   EXPECT_EQ(0, ctx->getStatus());
   EXPECT_NE(nullptr, ctx->getPtr()->pASN1Info);
   char expect[64];
   snprintf(expect, sizeof(expect), "context %x created, ref count = 0\n",
            (unsigned)(uintptr_t)ctx->getPtr());
   EXPECT_EQ(expect, out);

   // Nothing is printed with diagnostics off.
   testing::internal::CaptureStdout();
   VXRTCtxtPtr quiet(new ASN1RtContext());
   EXPECT_EQ("", testing::internal::GetCapturedStdout());

   VXRTCtxtPtr plain(new VXRTContext());
   EXPECT_EQ(nullptr, plain->getPtr()->pASN1Info);
}

TEST(Holder, MakesPlainContextWhenGivenNone)
{
   VXRTCtxtHolder holder(nullptr);
   ASSERT_NE(nullptr, holder.getCtxtPtr());
   EXPECT_EQ(nullptr, holder.getCtxtPtr()->pASN1Info);
   EXPECT_EQ(1u, holder.getContextObj()->getRefCount());
   {
      VXRTCtxtPtr temp = holder.getContext();
      EXPECT_EQ(2u, temp->getRefCount());
   }
   EXPECT_EQ(1u, holder.getContextObj()->getRefCount());

   ASN1RtContext* given = new ASN1RtContext();
   VXRTCtxtHolder holder2(given);
   EXPECT_EQ(given->getPtr(), holder2.getCtxtPtr());
   VX_LOG_ERRNEW(holder2.getCtxtPtr(), RTERR_ENDOFBUF);
   EXPECT_EQ(RTERR_ENDOFBUF, holder2.getStatus());
   holder2.resetErrorInfo();
   EXPECT_EQ(0, holder2.getStatus());
}

TEST(MessageBuffer, BaseOperations)
{
   FakeBuffer buf(VXRTMessageBufferIF::JSONEncode);
   EXPECT_EQ(0u, buf.getMsgLen());
   EXPECT_EQ(nullptr, buf.getMsgCopy());
   EXPECT_EQ(nullptr, buf.getAppInfo());

   uint8_t data[8] = {0};
   ASSERT_EQ(0, buf.initBuffer(data, sizeof(data)));
   EXPECT_EQ(data, buf.getMsgPtr());
   buf.getCtxtPtr()->buffer.byteIndex = 5;
   EXPECT_EQ(5u, buf.getByteIndex());

   buf.setDiag(1);
   EXPECT_NE(0u, buf.getCtxtPtr()->flags & VXCTXT_FLAG_DIAG);
   buf.setDiag(0);
   EXPECT_EQ(0u, buf.getCtxtPtr()->flags & VXCTXT_FLAG_DIAG);

   // With a failure standing, initBuffer and setDiag do nothing.
   VX_LOG_ERRNEW(buf.getCtxtPtr(), RTERR_INVENUM);
   uint8_t other[4] = {0};
   EXPECT_EQ(RTERR_INVENUM, buf.initBuffer(other, sizeof(other)));
   EXPECT_EQ(data, buf.getMsgPtr());
   buf.setDiag(1);
   EXPECT_EQ(0u, buf.getCtxtPtr()->flags & VXCTXT_FLAG_DIAG);
}

TEST(MessageBuffer, InitBufferFailureGetsPosition)
{
   FakeBuffer buf(VXRTMessageBufferIF::JSONEncode);
   buf.getCtxtPtr()->initCode = 0;  // a dead record refuses a buffer
   EXPECT_EQ(RTERR_NOTINIT, buf.initBuffer(nullptr, 0));
   VXRTErrInfo* err = lastError(buf.getCtxtPtr());
   ASSERT_NE(nullptr, err);
   EXPECT_EQ(2, err->stackCount);  // where noticed, and passed on by the buffer
   buf.getCtxtPtr()->initCode = VXCTXT_INITCODE;
}

TEST(MessageBuffer, ASN1BufferHasASN1Context)
{
   FakeASN1Buffer buf;
   EXPECT_NE(nullptr, buf.getCtxtPtr()->pASN1Info);
   EXPECT_EQ(0, buf.getStatus());

   // A 16-bit buffer is not supported, and the buffer remembers that.
   EXPECT_EQ(RTERR_NOTSUPP, buf.initBuffer(static_cast<unsigned short*>(nullptr)));
   EXPECT_EQ(RTERR_NOTSUPP, buf.getStatus());
   uint8_t data[4] = {0};
   EXPECT_EQ(RTERR_NOTSUPP, buf.initBuffer(data, sizeof(data)));

   FakeASN1Buffer buf2;
   const unsigned char* text = reinterpret_cast<const unsigned char*>("x");
   EXPECT_EQ(RTERR_NOTSUPP, buf2.initBuffer(text));
   EXPECT_EQ(0, buf2.getStatus());  // not remembered
   EXPECT_EQ(RTERR_INVENUM, buf2.setStatus(RTERR_INVENUM));
   EXPECT_EQ(RTERR_INVENUM, buf2.getStatus());
   buf2.resetErrorInfo();
   EXPECT_EQ(0, buf2.getStatus());
}

TEST(MessageBuffer, ASN1BufferHandlers)
{
   // A plain context gets its ASN.1 record when a handler is registered.
   FakeASN1Buffer buf(new VXRTContext());
   EXPECT_EQ(nullptr, buf.getCtxtPtr()->pASN1Info);
   auto* handler = reinterpret_cast<Asn1NamedEventHandler*>(&buf);
   ASSERT_EQ(0, buf.addEventHandler(handler));
   ASSERT_NE(nullptr, buf.getCtxtPtr()->pASN1Info);
   EXPECT_EQ(1u, buf.getCtxtPtr()->pASN1Info->eventHandlers.count);
   buf.removeEventHandler(handler);
   EXPECT_EQ(0u, buf.getCtxtPtr()->pASN1Info->eventHandlers.count);

   class PassAll : public Asn1ErrorHandler {
    public:
      int error(VXCTXT*, VexilCB*, int) override { return 0; }
   } passAll;
   ASSERT_EQ(0, buf.setErrorHandler(&passAll));
   EXPECT_EQ(0, Asn1ErrorHandler::invoke(buf.getCtxtPtr(), nullptr, RTERR_SETMISRQ));
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

TEST(Vexil, OwnContextIsASN1)
{
   TestControl control;
   ASSERT_NE(nullptr, control.getCtxtPtr());
   EXPECT_NE(nullptr, control.getCtxtPtr()->pASN1Info);
   EXPECT_EQ(nullptr, control.currentBuffer());
   void* p = control.memAlloc(16);
   ASSERT_NE(nullptr, p);
   p = control.memRealloc(p, 64);
   ASSERT_NE(nullptr, p);
   control.memFreePtr(p);
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

TEST(Vexil, SetMsgBufStoresInitResult)
{
   FakeBuffer buf(VXRTMessageBufferIF::PEREncode);
   TestControl control;
   EXPECT_EQ(0, control.setMsgBuf(buf, 0));
   EXPECT_EQ(&buf, control.currentBuffer());
   EXPECT_EQ(0, buf.initCalls);
   buf.initResult = RTERR_NOMEM;
   // The result of init becomes the status of the control object's context.
   EXPECT_EQ(RTERR_NOMEM, control.setMsgBuf(buf, 1));
   EXPECT_EQ(1, buf.initCalls);
   EXPECT_EQ(RTERR_NOMEM, control.getStatus());
   EXPECT_EQ(0, buf.getStatus());
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
      int records;  // in the error list afterwards
      int positions;  // in the last record (0: not looked at)
   } cases[] = {
      {false, RTERR_CONSVIO, true, 1, 1}, {false, RTERR_ENDOFBUF, true, 1, 2},
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

TEST(Vexil, NoContextGivesNotInitialized)
{
   FakeBuffer buf(VXRTMessageBufferIF::PERDecode);
   TestControl control(buf);
   control.dropContext();
   EXPECT_EQ(nullptr, control.getCtxtPtr());
   EXPECT_EQ(0, control.getStatus());
   EXPECT_EQ(RTERR_NOTINIT, control.Decode(0));
   EXPECT_EQ(RTERR_NOTINIT, control.Encode());
   EXPECT_EQ(RTERR_NOTINIT, control.setMsgBuf(buf, 1));
   EXPECT_EQ(0, control.decodeCalls);
   EXPECT_EQ(nullptr, control.memAlloc(8));
   EXPECT_EQ(nullptr, control.memRealloc(nullptr, 8));
   control.memFreePtr(nullptr);
   EXPECT_EQ(nullptr, control.getErrorText());
}

TEST(Vexil, BaseIsNotAPDU)
{
   FakeBuffer buf(VXRTMessageBufferIF::PERDecode, new ASN1RtContext());
   VexilType base(buf);
   EXPECT_EQ(ASN_E_NOTPDU, base.Decode(0));
   VXRTErrInfo* err = lastError(buf.getCtxtPtr());
   ASSERT_NE(nullptr, err);
   EXPECT_EQ(ASN_E_NOTPDU, err->status);
   EXPECT_EQ(1, err->stackCount);
   char* text = base.getErrorText();
   ASSERT_NE(nullptr, text);
   EXPECT_NE(std::string::npos,
             std::string(text).find("Attempt to invoke encode or decode method on a non-PDU type"));
   delete[] text;

   char small[512];
   EXPECT_EQ(small, base.getErrorText(small, sizeof(small)));
   EXPECT_NE(std::string::npos, std::string(small).find("-108"));

   FakeBuffer buf2(VXRTMessageBufferIF::PEREncode, new ASN1RtContext());
   VexilType base2(buf2);
   EXPECT_EQ(nullptr, base2.getErrorText());  // no report yet
   EXPECT_EQ(ASN_E_NOTPDU, base2.Encode());
   EXPECT_EQ(ASN_E_NOTPDU, base2.EncodeTo(buf2));
   base2.MemFree();
}

TEST(Pdu, FirstContextStays)
{
   VXRTContext* first = new VXRTContext();
   VXRTContext* second = new VXRTContext();
   VXRTCtxtPtr keepSecond(second);
   TestRecord rec;
   EXPECT_EQ(nullptr, rec.getCtxtPtr());
   rec.setContext(first);
   EXPECT_EQ(first, rec.context());
   EXPECT_EQ(1u, first->getRefCount());
   rec.setContext(second);
   EXPECT_EQ(first, rec.context());
   EXPECT_EQ(1u, second->getRefCount());
   rec.setContext(nullptr);  // only a null context clears it (and frees `first`)
   EXPECT_EQ(nullptr, rec.getCtxtPtr());
   rec.setContext(second);
   EXPECT_EQ(second, rec.context());
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
