// Lists, stacks, growing arrays, the segmented list buffer, the memory
// buffer and the enumeration lookup, all over a real context and heap.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rtxDList.h"
#include "rtxDynPtrArray.h"
#include "rtxEnum.h"
#include "rtxError.h"
#include "rtxIntStack.h"
#include "rtxMemBuf.h"
#include "rtxMemory.h"
#include "rtxSList.h"
#include "rtxStack.h"

namespace {

class Containers : public ::testing::Test {
 protected:
   VXCTXT ctx;
   void SetUp() override { ASSERT_EQ(0, rtxInitContext(&ctx)); }
   void TearDown() override { rtxFreeContext(&ctx); }
};

// A list of pointers into `values`, in order.
void fill(VXCTXT* pctxt, VXRTDList* list, std::vector<int>& values)
{
   rtxDListInit(list);
   for (int& v : values) ASSERT_NE(nullptr, rtxDListAppend(pctxt, list, &v));
}

std::vector<int> contents(const VXRTDList& list)
{
   std::vector<int> out;
   for (VXRTDListNode* n = list.head; n; n = n->next) out.push_back(*static_cast<int*>(n->data));
   return out;
}

// Walks backwards too, so that broken prev links show.
std::vector<int> contentsBackwards(const VXRTDList& list)
{
   std::vector<int> out;
   for (VXRTDListNode* n = list.tail; n; n = n->prev) out.insert(out.begin(), *(int*)n->data);
   return out;
}

TEST_F(Containers, ListInsertRemoveAndFind)
{
   std::vector<int> v = {0, 1, 2, 3, 4, 5};
   VXRTDList list;
   fill(&ctx, &list, v);
   ASSERT_EQ(6u, list.count);

   int a = 10, b = 11, c = 12, d = 13;
   ASSERT_NE(nullptr, rtxDListInsert(&ctx, &list, 0, &a));           // head
   ASSERT_NE(nullptr, rtxDListInsert(&ctx, &list, 3, &b));           // middle
   ASSERT_NE(nullptr, rtxDListInsert(&ctx, &list, list.count, &c));  // tail
   EXPECT_EQ(nullptr, rtxDListInsert(&ctx, &list, list.count + 1, &d));
   EXPECT_EQ((std::vector<int>{10, 0, 1, 11, 2, 3, 4, 5, 12}), contents(list));
   EXPECT_EQ(contents(list), contentsBackwards(list));

   EXPECT_EQ(3, rtxDListFindIndexByData(&list, &b));
   EXPECT_EQ(-1, rtxDListFindIndexByData(&list, &d));
   EXPECT_EQ(&a, rtxDListFindFirstData(&list));

   VXRTDListNode* nb = rtxDListFindByData(&list, &b);
   ASSERT_NE(nullptr, nb);
   ASSERT_NE(nullptr, rtxDListInsertAfter(&ctx, &list, nb, &d));
   ASSERT_NE(nullptr, rtxDListInsertBefore(&ctx, &list, nb, &d));
   EXPECT_EQ((std::vector<int>{10, 0, 1, 13, 11, 13, 2, 3, 4, 5, 12}), contents(list));

   rtxDListFreeNode(&ctx, &list, nb);
   rtxDListFreeNode(&ctx, &list, list.head);
   rtxDListFreeNode(&ctx, &list, list.tail);
   EXPECT_EQ((std::vector<int>{0, 1, 13, 13, 2, 3, 4, 5}), contents(list));
   EXPECT_EQ(contents(list), contentsBackwards(list));
   EXPECT_EQ(8u, list.count);
   rtxDListFreeNodes(&ctx, &list);
   EXPECT_EQ(0u, list.count);
   EXPECT_EQ(nullptr, list.head);
   EXPECT_EQ(nullptr, rtxDListFindFirstData(&list));
}

TEST_F(Containers, FreeAllRecognisesNodeAndDataInOneBlock)
{
   VXRTDList list;
   rtxDListInit(&list);
   void* data = nullptr;
   VXRTDListNode* joint = rtxDListAllocNodeAndData(&ctx, 32, &data);
   ASSERT_NE(nullptr, joint);
   EXPECT_EQ((void*)(joint + 1), data);
   rtxDListAppendNode(&list, joint);
   char* separate = static_cast<char*>(rtxMemAlloc(&ctx, 8));
   ASSERT_NE(nullptr, rtxDListAppend(&ctx, &list, separate));
   ASSERT_NE(nullptr, rtxDListAppendCharArray(&ctx, &list, 3, "abcdef"));
   EXPECT_STREQ("abc", static_cast<char*>(list.tail->data));
   // A free of the joint data would be an invalid free under the sanitizer.
   rtxDListFreeAll(&ctx, &list);
   EXPECT_EQ(0u, list.count);
   EXPECT_EQ(nullptr, list.tail);
}

TEST_F(Containers, FreeSkipsFreesWithoutAHeap)
{
   // A context that never got a heap: nodes that are not the heap's must not
   // be handed to it, and the list still ends empty.
   VXCTXT bare;
   rtxPreInitContext(&bare);
   VXRTDListNode nodes[2] = {};
   VXRTDList list;
   rtxDListInit(&list);
   rtxDListAppendNode(&list, &nodes[0]);
   rtxDListAppendNode(&list, &nodes[1]);
   rtxDListFreeAll(&bare, &list);
   EXPECT_EQ(0u, list.count);
   EXPECT_EQ(nullptr, list.head);
}

// A row as the generated tables carry it: the lookup fields and an index.
struct IndexedRow {
   const char* name;
   int32_t value;
   uint16_t namelen;
   uint16_t transformedIdx;
};

TEST(EnumLookup, BisectionFindsEveryNameAndOnlyWholeNames)
{
   static const IndexedRow rows[] = {
      {"a", 5, 1, 0},  {"ab", 3, 2, 0},     {"abc", 0, 3, 0},  {"b", 1, 1, 0},
      {"ba", 4, 2, 0}, {"lane-1", 6, 6, 0}, {"zeta", 2, 4, 0},
   };
   const size_t n = sizeof rows / sizeof rows[0];
   for (size_t i = 0; i < n; i++) {
      EXPECT_EQ((int)i, rtxLookupEnum(rows[i].name, (size_t)-1, rows, n)) << rows[i].name;
      EXPECT_EQ((int)i, rtxLookupEnum(rows[i].name, rows[i].namelen, rows, n));
      EXPECT_EQ((int)i, rtxLookupEnumByValue(rows[i].value, rows, n));
   }
   EXPECT_EQ(RTERR_INVENUM, rtxLookupEnum("zet", (size_t)-1, rows, n));    // prefix
   EXPECT_EQ(RTERR_INVENUM, rtxLookupEnum("zetas", (size_t)-1, rows, n));  // longer
   EXPECT_EQ(RTERR_INVENUM, rtxLookupEnum("lane", (size_t)-1, rows, n));
   EXPECT_EQ(RTERR_INVENUM, rtxLookupEnum("", (size_t)-1, rows, n));
   EXPECT_EQ(RTERR_INVENUM, rtxLookupEnum("0", (size_t)-1, rows, n));
   EXPECT_EQ(RTERR_INVENUM, rtxLookupEnum("zz", (size_t)-1, rows, n));
   // The length bounds the text: the rest need not be terminated.
   EXPECT_EQ(1, rtxLookupEnum("abx", 2, rows, n));
   EXPECT_EQ(4, rtxLookupEnum("ba\"}", 2, rows, n));
   EXPECT_EQ(RTERR_INVENUM, rtxLookupEnumByValue(7, rows, n));
   EXPECT_EQ(RTERR_INVENUM, rtxLookupEnum("a", (size_t)-1, rows, 0));

   static const VXRTEnumItem plain[] = {{"off", 0, 3}, {"on", 1, 2}};
   EXPECT_EQ(1, rtxLookupEnum("on", (size_t)-1, plain, 2));
   EXPECT_EQ(0, rtxLookupEnumByValue(0, plain, 2));
}

}  // namespace
