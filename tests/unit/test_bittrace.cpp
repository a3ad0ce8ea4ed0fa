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
   return name + "\nbit offset: " + std::to_string(offset) +
          "\tbit count: " + std::to_string(count) +
          "\tnext bit offset: " + std::to_string(offset + count) + "\n";
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
                          head("data third", 12, 4) + line("-------- ----1100 ", "--3c", "-<") +
                          "\n";
   EXPECT_EQ(expected, out);
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

TEST_F(BitTrace, AddedFieldEndsAtTheCursor)
{
   VXRTDiagBitFieldList* list = startList({0xFF, 0xFF});
   ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, 11));
   VXRTDiagBitField* f = rtxDiagAddBitField(list, "Boolean", 3);
   ASSERT_NE(nullptr, f);
   EXPECT_EQ(8u, f->bitOffset);
   EXPECT_EQ(3u, f->bitCount);
   // A count beyond the cursor (a write that did not take place) starts at 0.
   f = rtxDiagAddBitField(list, "ConsUnsigned", 20);
   ASSERT_NE(nullptr, f);
   EXPECT_EQ(0u, f->bitOffset);
   EXPECT_EQ(nullptr, rtxDiagAddBitField(nullptr, "x", 1));
}

// A nested list is recorded in the positions of the value it describes:
// absolute ones when the value is read in place, from 0 when it was
// written into a buffer of its own. Attached under the open type's field,
// its positions count from the byte where that field begins.
TEST_F(BitTrace, NestedListIsRebasedOnTheOpenTypeField)
{
   for (uint64_t origin : {uint64_t(13), uint64_t(0)}) {
      SCOPED_TRACE(origin);
      VXRTDiagBitFieldList* list = startList({0x12, 0x34, 0x56, 0x78});
      field(list, "length", 0, 13);
      field(list, "OpenType", 13, 16);
      ASSERT_EQ(0, rtxCtxtSetBitOffset(&ctx, origin));
      VXRTDiagBitFieldList* nested = rtxDiagNewNestedList(&ctx);
      ASSERT_NE(nullptr, nested);
      field(nested, "inner1", origin, 4);
      field(nested, "inner2", origin + 4, 12);
      rtxDiagAttachNestedList(list, nested);

      VXRTDiagBitField* ot = static_cast<VXRTDiagBitField*>(list->fieldList.tail->data);
      EXPECT_EQ(nested, ot->pOpenTypeFields);
      ASSERT_EQ(3u, nested->fieldList.count);
      VXRTSListNode* node = nested->fieldList.head;
      const VXRTDiagBitField* base = static_cast<VXRTDiagBitField*>(node->data);
      EXPECT_EQ(nullptr, base->nameSuffix);
      EXPECT_EQ(5u, base->bitOffset);  // bit 13 is bit 5 of byte 1
      EXPECT_EQ(0u, static_cast<VXRTDiagBitField*>(node->next->data)->bitOffset);
      EXPECT_EQ(4u, static_cast<VXRTDiagBitField*>(node->next->next->data)->bitOffset);

      // Printed, the nested fields show the bits at 13..16 and 17..28.
      out.clear();
      rtxDiagBitTracePrint(list, "data");
      std::string nestedPart = "*** Open Type Data ***\n" + head("data inner1", 5, 4) +
                               line("-----100 0", "34", "4") + "\n" + head("data inner2", 9, 12) +
                               line("-------- -1010110 01111", "--56", "-V") + "\n***\n";
      EXPECT_NE(std::string::npos, out.find(nestedPart)) << out;
   }
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

}  // namespace
