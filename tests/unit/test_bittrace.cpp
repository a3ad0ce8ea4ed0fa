// The bit trace and the diagnostics: recording fields through the list
// functions and the PER helpers, golden texts of the trace printer, and
// the level filter and print streams of the diagnostic printers.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "pu_trace.h"
#include "rtxDiag.h"
#include "rtxDiagBitTrace.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "rtxPrintStream.h"
#include "rtxReadBytes.h"
#include "rtxStream.h"

namespace {

void collect(void* user, const char* fmt, va_list args)
{
   char buf[512];
   vsnprintf(buf, sizeof(buf), fmt, args);
   static_cast<std::string*>(user)->append(buf);
}

// One printed bit line: bits column, hex column, characters column.
std::string line(const std::string& bits, const std::string& hex, const std::string& chars)
{
   auto pad = [](std::string s, size_t w) { return s + std::string(w - s.size(), '-'); };
   return pad(bits, 35) + "    " + pad(hex, 8) + "    " + pad(chars, 4) + "\n";
}

std::string head(const std::string& name, int offset, int count)
{
   return name + "\nbit offset: " + std::to_string(offset) + "\tbit count: " +
          std::to_string(count) + "\tnext bit offset: " + std::to_string(offset + count) + "\n";
}

class BitTrace : public ::testing::Test {
 protected:
   VXCTXT ctx;
   std::string out;

   void SetUp() override
   {
      ASSERT_EQ(0, rtxInitContext(&ctx));
      ASSERT_EQ(0, rtxSetPrintStream(&ctx, collect, &out));
   }
   void TearDown() override { rtxFreeContext(&ctx); }

   void useBytes(uint8_t* data, size_t n) { ASSERT_EQ(0, rtxInitContextBuffer(&ctx, data, n)); }

   struct FieldDef {
      const char* name;
      uint64_t offset;
      uint64_t count;
   };
   std::vector<uint8_t> bytes;

   // A fresh trace list of the context, over a copy of `data`.
   VXRTDiagBitFieldList* startList(std::vector<uint8_t> data)
   {
      bytes = std::move(data);
      useBytes(bytes.data(), bytes.size());
      EXPECT_EQ(0, rtxDiagCtxtBitFieldListInit(&ctx));
      return ctx.pBitFldList;
   }

   // A fresh trace list over `data` holding the given fields, printed.
   void traceFields(std::vector<uint8_t> data, std::initializer_list<FieldDef> fields)
   {
      VXRTDiagBitFieldList* list = startList(std::move(data));
      for (const FieldDef& f : fields) field(list, f.name, f.offset, f.count);
      rtxDiagBitTracePrint(list, "data");
   }

   // Records a field of `count` bits at `offset` in `list`.
   void field(VXRTDiagBitFieldList* list, const char* name, uint64_t offset, uint64_t count)
   {
      ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, offset));
      ASSERT_NE(nullptr, rtxDiagNewBitField(list, name));
      ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, offset + count));
      rtxDiagSetBitFldCount(list);
   }
};

TEST_F(BitTrace, FieldsStartingMidByteContinueTheLine)
{
   traceFields({0xA5, 0x3C}, {{"first", 0, 3}, {"second", 3, 9}, {"third", 12, 4}});

   std::string expected = head("data first", 0, 3) + line("101", "", "") + "\n" +
                          head("data second", 3, 9) + line("---00101 0011", "a5", ".") + "\n" +
                          head("data third", 12, 4) +
                          line("-------- ----1100 ", "--3c", "-<") + "\n";
   EXPECT_EQ(expected, out);
}

TEST_F(BitTrace, UnclaimedBitsZeroBitFieldAndEndMidByte)
{
   traceFields({0xFF, 0x00}, {{"a", 0, 2}, {"z", 5, 0}, {"b", 5, 6}});

   // Bits 2..4 belong to no field; the zero-bit field prints the carried
   // line masked; the message ends in the middle of the second byte. The
   // unclaimed bits do not count in the byte's value.
   std::string expected = head("data a", 0, 2) + line("11xxx", "", "") + "\n" +
                          head("data z", 5, 0) + line("-----", "", "") + "\n" +
                          head("data b", 5, 6) + line("-----111 000", "c7", ".") + "\n";
   EXPECT_EQ(expected, out);
}

TEST_F(BitTrace, FullLinesAndZeroBitFieldOnEmptyLine)
{
   traceFields({'A', 'B', 'C', 'D', 0x80}, {{"word", 0, 33}, {"z", 33, 0}});

   std::string expected =
      head("data word", 0, 33) +
      "01000001 01000010 01000011 01000100    41424344    ABCD\n" + line("1", "", "") + "\n" +
      head("data z", 33, 0) + line("-", "", "") + "\n";
   EXPECT_EQ(expected, out);

   // A zero-bit field on an empty line has no bit line at all.
   out.clear();
   traceFields({0, 0, 0, 0}, {{"all", 0, 32}, {"end", 32, 0}});
   EXPECT_EQ(head("data all", 0, 32) +
                "00000000 00000000 00000000 00000000    00000000    ....\n\n" +
                head("data end", 32, 0) + "\n",
             out);
}

TEST_F(BitTrace, NestedOpenTypeListWithBaseOffset)
{
   VXRTDiagBitFieldList* list = startList({0x12, 0x34, 0x56});
   field(list, "length", 0, 8);
   field(list, "OpenType", 8, 16);

   // The nested encoding's positions count from its own start; a first
   // field without name and count carries the base that makes them
   // positions in the bytes from where the open type begins.
   VXRTDiagBitFieldList* nested = rtxMemAllocTypeZ(&ctx, VXRTDiagBitFieldList);
   ASSERT_NE(nullptr, nested);
   rtxDiagBitFieldListInit(&ctx, nested);
   ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, 4));
   ASSERT_NE(nullptr, rtxDiagNewBitField(nested, nullptr));
   field(nested, "inner1", 0, 4);
   field(nested, "inner2", 4, 8);
   static_cast<VXRTDiagBitField*>(list->fieldList.tail->data)->pOpenTypeFields = nested;

   rtxDiagBitTracePrint(list, "data");
   std::string expected =
      head("data length", 0, 8) + line("00010010 ", "12", ".") + "\n" +
      head("data OpenType", 8, 16) + line("-------- 00110100 01010110 ", "--3456", "-4V") + "\n" +
      "*** Open Type Data ***\n" + head("data inner1", 4, 4) + line("----0100 ", "34", "4") + "\n" +
      head("data inner2", 8, 8) + line("-------- 01010110 ", "--56", "-V") + "\n" + "***\n";
   EXPECT_EQ(expected, out);
}

TEST_F(BitTrace, SecondPrintShowsOnlyNewFields)
{
   VXRTDiagBitFieldList* list = startList({0xF0});
   field(list, "a", 0, 4);
   rtxDiagBitTracePrint(list, "data");
   EXPECT_EQ(head("data a", 0, 4) + line("1111", "", "") + "\n", out);

   out.clear();
   rtxDiagBitTracePrint(list, "data");
   EXPECT_EQ("", out);

   field(list, "b", 4, 4);
   rtxDiagBitTracePrint(list, "data");
   EXPECT_EQ(head("data b", 4, 4) + line("----0000 ", "f0", ".") + "\n", out);
}

TEST_F(BitTrace, NamesFromTheElementStackAndLongSuffix)
{
   VXRTDiagBitFieldList* list = startList({0});
   ASSERT_EQ(0, rtxCtxtPushElemName(&ctx, "cam"));
   ASSERT_EQ(0, rtxCtxtPushElemName(&ctx, "speed"));
   const char* longSuffix = "0123456789abcdefghijklmnopqrstuvwxyz";  // 36 characters
   field(list, longSuffix, 0, 0);
   rtxDiagBitFldAppendNamePart(list, "value");
   rtxDiagBitTracePrint(list, "data");
   EXPECT_EQ(0u, out.find("data.cam.speed.value 0123456789abcdefghijklmnopqrstuv\n"));
}

TEST_F(BitTrace, ListFunctionsRecordSplitAndDisable)
{
   VXRTDiagBitFieldList* list = startList({0, 0, 0, 0});
   ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, 2));
   VXRTDiagBitField* f = rtxDiagNewBitField(list, "SemiCons");
   ASSERT_NE(nullptr, f);
   EXPECT_EQ(2u, f->bitOffset);
   ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, 10));
   rtxDiagInsBitFieldLen(list);
   ASSERT_EQ(2u, list->fieldList.count);
   EXPECT_STREQ("length", f->nameSuffix);
   EXPECT_EQ(8u, f->bitCount);
   VXRTDiagBitField* g = static_cast<VXRTDiagBitField*>(list->fieldList.tail->data);
   EXPECT_STREQ("SemiCons", g->nameSuffix);
   EXPECT_EQ(10u, g->bitOffset);
   ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, 16));
   rtxDiagSetBitFldOffset(list);  // no count yet: the start moves
   EXPECT_EQ(16u, g->bitOffset);
   ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, 26));
   rtxDiagSetBitFldCount(list);
   EXPECT_EQ(10u, g->bitCount);
   rtxDiagSetBitFldOffset(list);  // has a count: stays
   EXPECT_EQ(16u, g->bitOffset);
   rtxDiagSetBitFldNameSuffix(list, "octets");
   EXPECT_STREQ("octets", g->nameSuffix);

   EXPECT_TRUE(rtxDiagSetBitFldDisabled(list, true));
   EXPECT_TRUE(rtxDiagSetBitFldDisabled(list, true));
   EXPECT_EQ(nullptr, rtxDiagNewBitField(list, "x"));
   EXPECT_TRUE(rtxDiagSetBitFldDisabled(list, false));
   EXPECT_FALSE(rtxDiagSetBitFldDisabled(list, false));
   EXPECT_FALSE(rtxDiagSetBitFldDisabled(list, false));  // does not go below 0
   EXPECT_NE(nullptr, rtxDiagNewBitField(list, "y"));
   EXPECT_EQ(3u, list->fieldList.count);

   rtxDiagBitFieldListReset(list);
   EXPECT_EQ(0u, list->fieldList.count);
}

TEST_F(BitTrace, NullListIsAcceptedEverywhere)
{
   EXPECT_EQ(nullptr, rtxDiagNewBitField(nullptr, "x"));
   rtxDiagSetBitFldOffset(nullptr);
   rtxDiagSetBitFldCount(nullptr);
   rtxDiagInsBitFieldLen(nullptr);
   rtxDiagBitFldAppendNamePart(nullptr, "n");
   EXPECT_TRUE(rtxDiagSetBitFldDisabled(nullptr, false));
   rtxDiagBitTracePrint(nullptr, "data");
   pu_bindump(&ctx, "data");
   pu_bindump(nullptr, "data");
   EXPECT_EQ("", out);
}

TEST_F(BitTrace, PerHelpersRecordOnlyWhileTraceIsOn)
{
   uint8_t data[2] = {0xC0, 0x00};
   useBytes(data, 2);
   PU_NEWFIELD(&ctx, "ConsInteger");  // trace off: nothing, no list
   EXPECT_EQ(nullptr, ctx.pBitFldList);

   EXPECT_FALSE(pu_setTrace(&ctx, true));
   ASSERT_NE(nullptr, ctx.pBitFldList);
   EXPECT_NE(0u, ctx.flags & VXCTXT_FLAG_TRACE);
   PU_NEWFIELD(&ctx, "ConsInteger");
   ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, 3));
   PU_SETBITCOUNT(&ctx);
   EXPECT_TRUE(pu_setTrace(&ctx, false));
   PU_NEWFIELD(&ctx, "ignored");
   EXPECT_EQ(1u, ctx.pBitFldList->fieldList.count);

   pu_bindump(&ctx, "data");
   EXPECT_EQ(head("data ConsInteger", 0, 3) + line("110", "", "") + "\n", out);
   PU_RESETTRACE(&ctx);
   EXPECT_EQ(0u, ctx.pBitFldList->fieldList.count);
}

long readFromString(VXRTSTREAM* s, uint8_t* buf, size_t n)
{
   std::string* src = static_cast<std::string*>(s->extra);
   size_t take = std::min(n, src->size());
   memcpy(buf, src->data(), take);
   src->erase(0, take);
   return (long)take;
}

TEST_F(BitTrace, StreamInputIsPrintedFromTheCaptureBuffer)
{
   std::string source = "\x81\x42";
   ASSERT_EQ(0, rtxStreamInit(&ctx));
   ctx.pStream->read = readFromString;
   ctx.pStream->extra = &source;
   ctx.pStream->id = VXRT_STREAM_ID_FILE;
   ctx.pStream->flags = VXRT_STREAM_INPUT;
   ASSERT_EQ(0, rtxDiagCtxtBitFieldListInit(&ctx));
   VXRTDiagBitFieldList* list = ctx.pBitFldList;
   ASSERT_NE(nullptr, list->pCaptureBuf);

   uint8_t b;
   ASSERT_EQ(0, rtxReadBytes(&ctx, &b, 1));
   ASSERT_NE(nullptr, rtxDiagNewBitField(list, "octet"));
   ASSERT_EQ(0, rtxReadBytes(&ctx, &b, 1));
   rtxDiagSetBitFldCount(list);
   rtxDiagBitTracePrint(list, "data");
   EXPECT_EQ(head("data octet", 8, 8) + line("01000010 ", "42", "B") + "\n", out);

   // Without the capture the printer has no bytes: it says so and stops.
   out.clear();
   list->pCaptureBuf = nullptr;
   list->curNode = nullptr;
   rtxSetDiag(&ctx, true);
   rtxDiagBitTracePrint(list, "data");
   EXPECT_EQ("~E ERROR: capture buffer was not assigned to stream\n", out);
   rtxStreamClose(&ctx);
}

// ---- diagnostics ----

TEST_F(BitTrace, DiagLevelFilter)
{
   // Text without a level mark always passes; ~E/~W/~I/~D need levels 0..3
   // (either case), any other mark more than 3.
   const struct {
      int level;
      const char* text;
      bool shown;
   } cases[] = {
      {0, "plain text", true}, {0, "~E error", true},  {0, "~e error", true},
      {0, "~W warning", false}, {1, "~w warning", true}, {1, "~I info", false},
      {2, "~I info", true},    {2, "~D debug", false}, {3, "~d debug", true},
      {3, "~Q other", false},  {3, "~", false},        {9, "~Q other", true},
   };
   for (const auto& c : cases) {
      ctx.diagLevel = c.level;
      EXPECT_EQ(c.shown, checkDiagLevel(&ctx, c.text)) << c.level << " " << c.text;
   }
   EXPECT_TRUE(checkDiagLevel(nullptr, "~D debug"));
}

TEST_F(BitTrace, DiagSwitchesAndStreamPrinting)
{
   rtxDiagStream(&ctx, "off %d\n", 1);
   EXPECT_EQ("", out);
   EXPECT_FALSE(rtxSetDiag(&ctx, true));
   EXPECT_TRUE(rtxDiagEnabled(&ctx));
   rtxDiagStream(&ctx, "on %d\n", 2);
   rtxDiagStream(&ctx, "~D hidden at level 0\n");
   rtxDiagStream(&ctx, "~E ERROR: shown\n");
   EXPECT_EQ("on 2\n~E ERROR: shown\n", out);
   EXPECT_TRUE(rtxSetDiag(&ctx, false));
   EXPECT_FALSE(rtxDiagTraceLevelEnabled(&ctx, 0));
   rtxDiagSetTraceLevel(&ctx, 2);
   EXPECT_TRUE(rtxDiagEnabled(&ctx));
   EXPECT_TRUE(rtxDiagTraceLevelEnabled(&ctx, 2));
   EXPECT_FALSE(rtxDiagTraceLevelEnabled(&ctx, 3));

   // The global switch enables every context, also a null one.
   VXCTXT other;
   ASSERT_EQ(0, rtxInitContext(&other));
   EXPECT_FALSE(rtxDiagEnabled(&other));
   EXPECT_FALSE(rtxSetGlobalDiag(true));
   EXPECT_TRUE(rtxDiagEnabled(&other));
   EXPECT_TRUE(rtxDiagEnabled(nullptr));
   EXPECT_TRUE(rtxSetGlobalDiag(false));
   EXPECT_FALSE(rtxDiagEnabled(nullptr));
   rtxFreeContext(&other);
}

TEST_F(BitTrace, PrintStreamPreferenceAndStdout)
{
   std::string global;
   ASSERT_EQ(0, rtxSetGlobalPrintStream(collect, &global));
   rtxPrintToStream(&ctx, "mine\n");
   VXCTXT other;
   ASSERT_EQ(0, rtxInitContext(&other));
   rtxPrintToStream(&other, "global\n");
   ASSERT_EQ(0, rtxSetGlobalPrintStream(nullptr, nullptr));
   EXPECT_EQ("mine\n", out);
   EXPECT_EQ("global\n", global);

   EXPECT_EQ(RTERR_INVPARAM, rtxSetPrintStream(&other, nullptr, nullptr));
   testing::internal::CaptureStdout();
   rtxPrintToStream(&other, "to stdout %s\n", "ok");
   rtxDiagPrint(&other, "diag off\n");
   rtxSetDiag(&other, true);
   rtxDiagPrint(&other, "diag %d\n", 7);
   EXPECT_EQ("to stdout ok\ndiag 7\n", testing::internal::GetCapturedStdout());
   EXPECT_EQ(0, rtxPrintStreamRelease(&ctx));
   EXPECT_EQ(nullptr, ctx.pPrintStream);
   rtxFreeContext(&other);
}

}  // namespace
