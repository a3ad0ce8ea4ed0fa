// The generated type layer: constructors, value tables, the free walk and
// the region list classes, over every record the catalog lists.
#include <gtest/gtest.h>

#include <cstring>
#include <new>
#include <string>

#include "itsgen_catalog.h"
#include "rtxDList.h"
#include "rtxMemory.h"

namespace {

// ---- constructors ------------------------------------------------------------

// Builds R in storage filled with ones, so that only what the constructor
// clears reads as zero.
template <class R, class Check>
void constructOverOnes(Check check)
{
   alignas(R) unsigned char raw[sizeof(R)];
   memset(raw, 0xFF, sizeof raw);
   R* r = new (raw) R();
   check(*r);
   r->~R();
}

template <class R>
void expectFlagsCleared(const char* name)
{
   static_assert(sizeof(R::m) == sizeof(uint32_t), "presence flags are one 32-bit word");
   constructOverOnes<R>([&](R& r) {
      uint32_t word;
      memcpy(&word, &r.m, sizeof word);
      EXPECT_EQ(word, 0u) << name;
   });
}

template <class R>
void expectChoiceCleared(const char* name)
{
   constructOverOnes<R>([&](R& r) {
      EXPECT_EQ(r.t, 0u) << name;
      const unsigned char* u = reinterpret_cast<const unsigned char*>(&r.u);
      for (size_t i = 0; i < sizeof r.u; i++) ASSERT_EQ(u[i], 0) << name << " byte " << i;
   });
}

template <class R>
void expectExtensionListEmpty(const char* name)
{
   constructOverOnes<R>([&](R& r) {
      EXPECT_EQ(r.extElem1.count, 0u) << name;
      EXPECT_EQ(r.extElem1.head, nullptr) << name;
      EXPECT_EQ(r.extElem1.tail, nullptr) << name;
   });
}

TEST(TypeLayer, OpenTypesWithRowsConstructRaw)
{
   int n = 0;
#define X(R, F)                                 \
   constructOverOnes<R>([&](R& r) {             \
      EXPECT_EQ(r.F.t, 0u) << #R;               \
      EXPECT_EQ(r.F.u.openType, nullptr) << #R; \
   });                                          \
   n++;
   ITSGEN_SELECTOR_RECORDS(X)
#undef X
   EXPECT_EQ(n, 9);  // eight region-keyed types and the message frame
}

// ---- value tables -----------------------------------------------------------------

template <class Item>
void checkEnumTable(const char* type, const Item* tab, size_t n, const char* (*toString)(int32_t))
{
   ASSERT_GT(n, 0u) << type;
   for (size_t i = 0; i < n; i++) {
      const Item& row = tab[i];
      ASSERT_EQ(strlen(row.name), row.namelen) << type;
      if (i > 0) {
         EXPECT_LT(strcmp(tab[i - 1].name, row.name), 0) << type << " not sorted at " << i;
      }
      // Every identifier is found, at its own row.
      EXPECT_EQ(rtxLookupEnum(row.name, row.namelen, tab, n), (int)i) << type << " " << row.name;
      EXPECT_EQ(rtxLookupEnum(row.name, (size_t)-1, tab, n), (int)i) << type << " " << row.name;
      // A proper prefix is not the identifier.
      if (row.namelen > 1) {
         int k = rtxLookupEnum(row.name, row.namelen - 1u, tab, n);
         if (k >= 0) {
            EXPECT_EQ(tab[k].namelen, row.namelen - 1u) << type << " prefix of " << row.name;
         }
      }
      std::string longer = std::string(row.name) + "x";
      int k = rtxLookupEnum(longer.c_str(), longer.size(), tab, n);
      if (k >= 0) {
         EXPECT_EQ(longer, tab[k].name) << type;
      }
      // ToString goes through the index column to the row of the value.
      EXPECT_STREQ(toString(row.value), row.name) << type;
   }
   for (size_t v = 0; v < n; v++) EXPECT_EQ(tab[tab[v].transidx].value, (int32_t)v) << type;
   EXPECT_STREQ(toString(-1), "_UNKNOWN_") << type;
   EXPECT_STREQ(toString((int32_t)n), "_UNKNOWN_") << type;
   EXPECT_STREQ(toString(0x7FFFFFFF), "_UNKNOWN_") << type;
}

TEST(TypeLayer, NamedBitTablesInBitOrderWithClosingRow)
{
   const auto* tab = g_ASN1T_ITS_DrivingLaneStatus_NAMEDBITTAB;
   EXPECT_STREQ(tab[0].name, "outermostLaneClosed");
   EXPECT_EQ(tab[0].bitnum, 1);
   EXPECT_EQ(tab[1].bitnum, 2);
   EXPECT_EQ(tab[2].name, nullptr);
   const auto* lights = g_ASN1T_ITS_ExteriorLights_NAMEDBITTAB;
   for (int i = 0; i < 8; i++) {
      EXPECT_EQ(lights[i].bitnum, i);
      EXPECT_EQ(lights[i].namelen, strlen(lights[i].name));
   }
   EXPECT_EQ(lights[8].name, nullptr);
}

// ---- freeing deep records -----------------------------------------------------------

// A context whose heap gives empty blocks back, so that an empty heap after
// a free walk means every allocation of the record was released.
class HeapRecord : public ::testing::Test {
 protected:
   VexilType ctl;
   VXCTXT* pctxt = nullptr;

   void SetUp() override
   {
      pctxt = ctl.getCtxtPtr();
      ASSERT_NE(pctxt, nullptr);
      rtxMemHeapSetFlags(&pctxt->pMemHeap, RT_MH_FREEEMPTYBLOCK);
      ASSERT_TRUE(rtxMemHeapIsEmpty(&pctxt->pMemHeap));
   }
   template <class T>
   T* make()
   {
      T* p = static_cast<T*>(rtxMemAlloc(pctxt, sizeof(T)));
      EXPECT_NE(p, nullptr);
      return new (p) T();
   }
   const char* str(const char* s)
   {
      char* p = static_cast<char*>(rtxMemAlloc(pctxt, strlen(s) + 1));
      strcpy(p, s);
      return p;
   }
   ASN1OpenType* openType(size_t n)
   {
      ASN1OpenType* ot = make<ASN1OpenType>();
      uint8_t* d = static_cast<uint8_t*>(rtxMemAlloc(pctxt, n));
      memset(d, 0xA5, n);
      ot->numocts = n;
      ot->data = d;
      return ot;
   }
   void append(ASN1TSeqOfList* list, void* data)
   {
      ASSERT_NE(rtxDListAppend(pctxt, list, data), nullptr);
   }
   void expectHeapEmptyAndSound()
   {
      EXPECT_EQ(rtxMemHeapCheckQuiet(&pctxt->pMemHeap), 0);
      EXPECT_TRUE(rtxMemHeapIsEmpty(&pctxt->pMemHeap));
   }
};

TEST_F(HeapRecord, IvimOfChoicesOfSequencesWithStringsAndOpenTypes)
{
   ASN1T_IVIM ivim;
   ASN1T_IVI_IviStructure& ivi = ivim.ivi;
   ivi.m.optionalPresent = 1;
   // A general container: a list of parts, each with sign codes and texts.
   ASN1T_IVI_IviContainer* giv = make<ASN1T_IVI_IviContainer>();
   giv->t = 2;
   giv->u.giv = make<ASN1TSeqOfList>();
   rtxDListInit(giv->u.giv);
   for (int p = 0; p < 3; p++) {
      ASN1T_IVI_GicPart* part = make<ASN1T_IVI_GicPart>();
      ASN1T_IVI_RSCode* code = make<ASN1T_IVI_RSCode>();
      code->code.t = 2;
      code->code.u.iso14823 = make<ASN1T_IVI_ISO14823Code>();
      code->code.u.iso14823->m.attributesPresent = 1;
      ASN1T_IVI_ISO14823Attributes_element* attr = make<ASN1T_IVI_ISO14823Attributes_element>();
      attr->t = 8;  // ddd: a SEQUENCE with a list of SEQUENCEs with UTF-8 strings
      attr->u.ddd = make<ASN1T_IVI_DDD>();
      ASN1T_IVI_DDD_IO* io = make<ASN1T_IVI_DDD_IO>();
      io->m.stnTextPresent = 1;
      io->stnText = str("Hauptbahnhof");
      io->m.drPresent = 1;
      ASN1T_IVI_DestinationRoad* road = make<ASN1T_IVI_DestinationRoad>();
      road->m.ronTextPresent = 1;
      road->ronText = str("A9");
      append(&io->dr, road);
      append(&attr->u.ddd->ioList, io);
      append(&code->code.u.iso14823->attributes, attr);
      append(&part->roadSignCodes, code);
      part->m.extraTextPresent = 1;
      ASN1T_IVI_Text* text = make<ASN1T_IVI_Text>();
      text->textContent = str("Stau");
      append(&part->extraText, text);
      // unknown additions: present, absent, present
      append(&part->extElem1, openType(4));
      append(&part->extElem1, nullptr);
      append(&part->extElem1, openType(9));
      append(giv->u.giv, part);
   }
   append(&ivi.optional, giv);
   // An alternative this schema does not know.
   ASN1T_IVI_IviContainer* unknown = make<ASN1T_IVI_IviContainer>();
   unknown->t = 6;
   unknown->u.extElem1 = openType(12);
   append(&ivi.optional, unknown);
   // A text container whose unbounded octets and strings hang below a list.
   ASN1T_IVI_IviContainer* tc = make<ASN1T_IVI_IviContainer>();
   tc->t = 4;
   tc->u.tc = make<ASN1TSeqOfList>();
   rtxDListInit(tc->u.tc);
   ASN1T_IVI_TcPart* tpart = make<ASN1T_IVI_TcPart>();
   tpart->data.numocts = 5;
   tpart->data.data = static_cast<uint8_t*>(rtxMemAlloc(pctxt, 5));
   tpart->m.detectionZoneIdsPresent = 1;
   tpart->detectionZoneIds.n = 2;
   tpart->detectionZoneIds.elem =
      static_cast<ASN1T_IVI_Zid*>(rtxMemAlloc(pctxt, 2 * sizeof(ASN1T_IVI_Zid)));
   append(tc->u.tc, tpart);
   append(&ivi.optional, tc);
   ASSERT_FALSE(rtxMemHeapIsEmpty(&pctxt->pMemHeap));

   asn1Free_IVIM(pctxt, &ivim);
   expectHeapEmptyAndSound();
   EXPECT_EQ(ivi.optional.count, 0u);
   asn1Free_IVIM(pctxt, &ivim);  // a second walk finds nothing left
   expectHeapEmptyAndSound();
}

TEST_F(HeapRecord, AbsentOptionalsAndEmptyChoicesAreNotVisited)
{
   ASN1T_ITS_DangerousGoodsExtended dg;
   // Never decoded: m is clear, so the string pointers are not looked at.
   dg.emergencyActionCode = reinterpret_cast<const char*>(0x1);
   dg.phoneNumber = reinterpret_cast<const char*>(0x1);
   dg.companyName = reinterpret_cast<const char*>(0x1);
   asn1Free_ITS_DangerousGoodsExtended(pctxt, &dg);
   EXPECT_EQ(dg.companyName, reinterpret_cast<const char*>(0x1));
   ASN1T_HighFrequencyContainer hf;
   asn1Free_HighFrequencyContainer(pctxt, &hf);
   EXPECT_EQ(hf.t, 0u);
   asn1Free_HighFrequencyContainer(pctxt, nullptr);
   EXPECT_TRUE(rtxMemHeapIsEmpty(&pctxt->pMemHeap));
}

TEST_F(HeapRecord, FastCopyLeavesOpenTypeBytesToTheirOwner)
{
   static const uint8_t input[4] = {1, 2, 3, 4};
   ASN1T_HighFrequencyContainer hf;
   hf.t = 3;
   hf.u.extElem1 = make<ASN1OpenType>();
   hf.u.extElem1->numocts = 4;
   hf.u.extElem1->data = input;  // points into the input, not the heap
   pctxt->flags |= VXCTXT_FLAG_FASTCOPY;
   asn1Free_HighFrequencyContainer(pctxt, &hf);
   pctxt->flags &= ~VXCTXT_FLAG_FASTCOPY;
   EXPECT_EQ(hf.u.extElem1, nullptr);
   expectHeapEmptyAndSound();
}

TEST(TypeLayer, MessageRecordFreesItsPartsOnDestruction)
{
   ASN1RtContext* ctx = new ASN1RtContext();
   VXRTCtxtPtr keep(ctx);  // outlives the record, so its heap can be looked at
   VXCTXT* pctxt = ctx->getPtr();
   rtxMemHeapSetFlags(&pctxt->pMemHeap, RT_MH_FREEEMPTYBLOCK);
   {
      ASN1T_CAM cam;
      cam.setContext(ctx);
      ASN1T_HighFrequencyContainer& hf = cam.cam.camParameters.highFrequencyContainer;
      hf.t = 1;
      void* mem = rtxMemAlloc(pctxt, sizeof(ASN1T_BasicVehicleContainerHighFrequency));
      ASSERT_NE(mem, nullptr);
      hf.u.basicVehicleContainerHighFrequency =
         new (mem) ASN1T_BasicVehicleContainerHighFrequency();
      ASSERT_FALSE(rtxMemHeapIsEmpty(&pctxt->pMemHeap));
   }
   EXPECT_TRUE(rtxMemHeapIsEmpty(&pctxt->pMemHeap));
   EXPECT_EQ(ctx->getRefCount(), 1u);
}

// ---- list control classes -------------------------------------------------------------

template <class Cls, class Elem, class Key, class KeyOf>
void checkRegionList(VexilType& ctl, const char* name, KeyOf keyOf)
{
   ASN1TSeqOfList list;
   rtxDListInit(&list);
   Cls cls(ctl, list);
   EXPECT_EQ(cls.GetIE((Key)3), nullptr) << name << ": empty list";
   Elem* e[3];
   const Key keys[3] = {1, 3, 3};
   for (int i = 0; i < 3; i++) {
      e[i] = cls.AppendNewElement();
      ASSERT_NE(e[i], nullptr) << name;
      keyOf(*e[i]) = keys[i];
   }
   EXPECT_EQ(list.count, 3u) << name;
   EXPECT_EQ(cls.GetIE((Key)3), e[1]) << name;
   EXPECT_EQ(cls.GetIE((Key)1), e[0]) << name;
   EXPECT_EQ(cls.GetIE((Key)7), nullptr) << name;
   ASN1TSeqOfList found;
   rtxDListInit(&found);
   EXPECT_EQ(cls.GetAllIEs((Key)3, &found), 0) << name;
   ASSERT_EQ(found.count, 2u) << name;
   EXPECT_EQ(found.head->data, e[1]) << name;
   EXPECT_EQ(found.tail->data, e[2]) << name;
   EXPECT_EQ(cls.GetAllIEs((Key)200, &found), 0) << name;
   EXPECT_EQ(found.count, 2u) << name;
   rtxDListFreeNodes(ctl.getCtxtPtr(), &found);
   cls.freeMemory();
   EXPECT_EQ(list.count, 0u) << name;
}

TEST_F(HeapRecord, ListClassesAppendConstructedElements)
{
   int n = 0;
#define X(C, E)                            \
   {                                       \
      ASN1TSeqOfList list;                 \
      rtxDListInit(&list);                 \
      C cls(ctl, list);                    \
      E* a = cls.AppendNewElement();       \
      E* b = cls.NewElement();             \
      ASSERT_NE(a, nullptr) << #C;         \
      ASSERT_NE(b, nullptr) << #C;         \
      cls.Append(b);                       \
      EXPECT_EQ(list.count, 2u) << #C;     \
      EXPECT_EQ(list.tail->data, b) << #C; \
      cls.freeMemory();                    \
      EXPECT_EQ(list.count, 0u) << #C;     \
      n++;                                 \
   }
   ITSGEN_LIST_CLASSES(X)
#undef X
   EXPECT_EQ(n, 76);  // all 77 list classes but ITS_Traces, whose elements are lists
   expectHeapEmptyAndSound();
}

TEST(TypeLayer, BitStringClassesWorkOnTheRecordBytes)
{
   ASN1T_ITS_DrivingLaneStatus dls;
   memset(&dls, 0, sizeof dls);
   Vexil_ITS_DrivingLaneStatus v(dls);
   EXPECT_EQ(v.getCapacity(), 16u);
   EXPECT_EQ(v.set(2), 0);
   EXPECT_EQ(dls.numbits, 3);
   EXPECT_EQ(dls.data[0], 0x20);
   EXPECT_TRUE(v.isSet(2));
   EXPECT_EQ(v.clear(2), 0);
   EXPECT_FALSE(v.isSet(2));
   EXPECT_EQ(v.set(16), RTERR_OUTOFBND);
   ASN1T_CountryCode cc;
   memset(&cc, 0, sizeof cc);
   Vexil_CountryCode c(cc);
   EXPECT_EQ(c.getCapacity(), 16u);  // 10 bits, rounded up to whole bytes
   EXPECT_EQ(c.set(9), 0);
   EXPECT_EQ(cc.data[1], 0x40);
   ASN1T_ETSI_DSRC_LaneAttributes_Vehicle veh;
   memset(&veh, 0, sizeof veh);
   Vexil_ETSI_DSRC_LaneAttributes_Vehicle vv(veh);
   EXPECT_EQ(vv.getExtData(), &veh.extdata);
}

TEST(TypeLayer, CatalogMatchesTheSchema)
{
   EXPECT_EQ(ITSGEN_TYPE_COUNT, 522);
   EXPECT_EQ(ITSGEN_CONTROL_CLASS_COUNT, 151);
}

}  // namespace
