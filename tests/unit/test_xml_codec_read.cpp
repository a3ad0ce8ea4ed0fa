// Generated XML readers, type by type: what each construct accepts and the
// record it fills, where the exports can not show it (records, kept text,
// the forms of bit strings, lists and alternatives).
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "CAM-PDU-DescriptionsXml.h"
#include "DSRCXml.h"
#include "ElectronicRegistrationIdentificationVehicleDataModuleXml.h"
#include "ITS-ContainerXml.h"
#include "VXXMLBuffers.h"
#include "rtxError.h"
#include "xmlGenRead.h"

namespace {

// A document being read; records decoded from it keep their parts in its
// heap, so they must not outlive it. The root element holds the value, as
// the root of a message holds the message's content.
struct XmlDoc {
   std::string text;
   VXXMLDecodeBuffer buf;
   explicit XmlDoc(const std::string& t) : text(t), buf((const uint8_t*)text.data(), text.size()) {}
   VXCTXT* ctxt() { return buf.getCtxtPtr(); }
   template <class T>
   int read(int (*dec)(VXCTXT*, T*), T* rec)
   {
      VXCTXT* p = ctxt();
      int stat = xmlGenDecStart(p);
      if (stat == 0) stat = rtXmlpMatchStartTag(p, "v", 0);
      if (stat == 0) stat = dec(p, rec);
      if (stat == 0) stat = rtXmlpMatchEndTag(p, -1);
      return stat != 0 ? stat : xmlGenDecFinish(p);
   }
};

std::string keptText(const ASN1OpenType* ot)
{
   return std::string(reinterpret_cast<const char*>(ot->data), ot->numocts);
}

TEST(XmlCodecRead, SequenceOfOptionalsReadsEmptyAndKeepsUnknownElements)
{
   {
      XmlDoc d("<v/>");
      ASN1T_ITS_VehicleIdentification rec;
      memset(&rec.m, 0xFF, sizeof(rec.m));
      ASSERT_EQ(0, d.read(XmlDec_ITS_VehicleIdentification, &rec));
      EXPECT_FALSE(rec.m.wMInumberPresent);
      EXPECT_FALSE(rec.m.vDSPresent);
      EXPECT_EQ(0u, rec.extElem1.count);
   }
   {
      // Unknown elements at the extension position: kept whole, with their
      // line ends normalised; a known one behind them is not taken back.
      XmlDoc d("<v><vDS>ABCDEF</vDS><x a='1'>t\r\n</x><y/></v>");
      ASN1T_ITS_VehicleIdentification rec;
      ASSERT_EQ(0, d.read(XmlDec_ITS_VehicleIdentification, &rec));
      EXPECT_TRUE(rec.m.vDSPresent);
      EXPECT_STREQ("ABCDEF", rec.vDS);
      ASSERT_EQ(2u, rec.extElem1.count);
      EXPECT_EQ("<x a='1'>t\n</x>", keptText((const ASN1OpenType*)rec.extElem1.head->data));
      EXPECT_EQ("<y/>", keptText((const ASN1OpenType*)rec.extElem1.tail->data));
   }
}

TEST(XmlCodecRead, CharacterStringsAreTestedForSizeAndSevenBits)
{
   auto vds = [](const std::string& value) {
      XmlDoc d("<v>" + value + "</v>");
      ASN1T_ITS_VDS rec = nullptr;
      return d.read(XmlDec_ITS_VDS, &rec);
   };
   EXPECT_EQ(0, vds("ABCDEF"));
   EXPECT_EQ(0, vds("A&amp;CDEF"));
   EXPECT_EQ(-16, vds("ABCDE"));
   EXPECT_EQ(-16, vds("ABCDEFG"));
   EXPECT_EQ(-24, vds("ABCD\xC3\xA9"));
}

TEST(XmlCodecRead, BitStringsByForm)
{
   {
      // SIZE(8, ...): the root byte in place, further bits in a block of their own.
      XmlDoc d("<v>10000001 0101</v>");
      ASN1T_ETSI_DSRC_LaneAttributes_Vehicle rec;
      ASSERT_EQ(-24, d.read(XmlDec_ETSI_DSRC_LaneAttributes_Vehicle, &rec));
      XmlDoc e("<v>100000010101</v>");
      ASSERT_EQ(0, e.read(XmlDec_ETSI_DSRC_LaneAttributes_Vehicle, &rec));
      EXPECT_EQ(12, rec.numbits);
      EXPECT_EQ(0x81, rec.data[0]);
      ASSERT_NE(nullptr, rec.extdata);
      EXPECT_EQ(0x50, rec.extdata[0]);
      XmlDoc f("<v>10000001</v>");
      ASSERT_EQ(0, f.read(XmlDec_ETSI_DSRC_LaneAttributes_Vehicle, &rec));
      EXPECT_EQ(8, rec.numbits);
      EXPECT_EQ(nullptr, rec.extdata);
      XmlDoc g("<v>1</v>");
      ASSERT_EQ(0, g.read(XmlDec_ETSI_DSRC_LaneAttributes_Vehicle, &rec));
      EXPECT_EQ(1, rec.numbits);
      XmlDoc h("<v>" + std::string(256, '1') + "</v>");
      EXPECT_EQ(-16, h.read(XmlDec_ETSI_DSRC_LaneAttributes_Vehicle, &rec));
   }
   {
      // A fixed size without named bits (SIZE(8)): the count must match.
      ASN1T_ITS_ExteriorLights rec;
      XmlDoc d("<v>11000000</v>");
      ASSERT_EQ(0, d.read(XmlDec_ITS_ExteriorLights, &rec));
      EXPECT_EQ(0xC0, rec.data[0]);
      XmlDoc e("<v>1100000</v>");
      EXPECT_EQ(-16, e.read(XmlDec_ITS_ExteriorLights, &rec));
   }
}

TEST(XmlCodecRead, ChoiceAlternativesNullAndUnknown)
{
   {
      XmlDoc d("<v><euVehilcleCategoryG/></v>");
      ASN1T_EuVehicleCategoryCode rec;
      ASSERT_EQ(0, d.read(XmlDec_EuVehicleCategoryCode, &rec));
      EXPECT_EQ(6u, rec.t);
   }
   {
      XmlDoc d("<v><euVehicleCategoryN><n2/></euVehicleCategoryN></v>");
      ASN1T_EuVehicleCategoryCode rec;
      ASSERT_EQ(0, d.read(XmlDec_EuVehicleCategoryCode, &rec));
      EXPECT_EQ(3u, rec.t);
      EXPECT_EQ(1u, rec.u.euVehicleCategoryN);
   }
   {
      // Not extensible: an unknown alternative, and none at all.
      XmlDoc d("<v><euVehicleCategoryX/></v>");
      ASN1T_EuVehicleCategoryCode rec;
      EXPECT_EQ(-41, d.read(XmlDec_EuVehicleCategoryCode, &rec));
      XmlDoc e("<v></v>");
      EXPECT_EQ(-9, e.read(XmlDec_EuVehicleCategoryCode, &rec));
   }
   {
      // Extensible: the unknown alternative is kept as its text.
      XmlDoc d("<v><laterAlternative><a>1</a></laterAlternative></v>");
      ASN1T_HighFrequencyContainer rec;
      ASSERT_EQ(0, d.read(XmlDec_HighFrequencyContainer, &rec));
      EXPECT_EQ(3u, rec.t);
      ASSERT_NE(nullptr, rec.u.extElem1);
      EXPECT_EQ("<laterAlternative><a>1</a></laterAlternative>", keptText(rec.u.extElem1));
   }
}

TEST(XmlCodecRead, ListsOfEnumeratorsAndInlineArrays)
{
   {
      // Items named after the item's type, the value a child element.
      XmlDoc d(
         "<v><NodeAttributeXY><stopLine/></NodeAttributeXY>"
         "<NodeAttributeXY><reserved/></NodeAttributeXY></v>");
      ASN1T_ETSI_DSRC_NodeAttributeXYList rec;
      ASSERT_EQ(0, d.read(XmlDec_ETSI_DSRC_NodeAttributeXYList, &rec));
      ASSERT_EQ(2, rec.n);
      EXPECT_EQ(1u, rec.elem[0]);
      EXPECT_EQ(0u, rec.elem[1]);
   }
   auto lanes = [](int n) {
      std::string text = "<v>";
      for (int i = 0; i < n; i++) text += "<LaneID>" + std::to_string(i) + "</LaneID>";
      XmlDoc d(text + "</v>");
      ASN1T_ETSI_DSRC_EnabledLaneList rec;
      int stat = d.read(XmlDec_ETSI_DSRC_EnabledLaneList, &rec);
      if (stat == 0) {
         EXPECT_EQ(n, rec.n);
      }
      return stat;
   };
   // SIZE(1..16), an array of 17 slots.
   EXPECT_EQ(-16, lanes(0));
   EXPECT_EQ(0, lanes(1));
   EXPECT_EQ(0, lanes(16));
   EXPECT_EQ(-16, lanes(17));
   EXPECT_EQ(-16, lanes(40));
}

}  // namespace
