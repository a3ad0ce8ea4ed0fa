// Generated XML writers: the text of each construct, the statuses of
// records that have no text form, and a whole CAM through its control
// class.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "CAM-PDU-Descriptions.h"
#include "CAM-PDU-DescriptionsXml.h"
#include "DSRCXml.h"
#include "ElectronicRegistrationIdentificationVehicleDataModuleXml.h"
#include "ITS-ContainerXml.h"
#include "VXJSONBuffers.h"
#include "VXXMLBuffers.h"
#include "asn1ErrorHandler.h"
#include "asn1per.h"
#include "itsgen_catalog.h"
#include "itsgen_test.h"
#include "rtXml.h"
#include "rtxDList.h"
#include "rtxError.h"
#include "rtxMemory.h"
#include "xmlGenWrite.h"

namespace {

// An XML encode buffer in the mode of the message classes (XER style),
// writing a fragment: the text starts at the first element.
struct Writer {
   VXXMLEncodeBuffer buf;
   Writer()
   {
      rtxCtxtSetFlag(ctxt(), VXCTXT_FLAG_NOXMLNS);
      rtXmlSetEncDocHdr(ctxt(), false);
   }
   VXCTXT* ctxt() { return buf.getCtxtPtr(); }
   std::string text() { return std::string((const char*)buf.getMsgPtr(), buf.getMsgLen()); }
   int errors() { return (int)rtxErrGetErrorCnt(ctxt()); }
   std::string report()
   {
      char* r = rtxErrGetText(ctxt(), nullptr, nullptr);
      std::string s = r != nullptr ? r : "";
      rtxMemFreePtr(ctxt(), r);
      return s;
   }
};

ASN1OpenType* openType(VXCTXT* pctxt, const std::string& octets)
{
   ASN1OpenType* ot = rtxMemAllocTypeZ(pctxt, ASN1OpenType);
   uint8_t* data = (uint8_t*)rtxMemAlloc(pctxt, octets.size() + 1);
   memcpy(data, octets.data(), octets.size());
   ot->data = data;
   ot->numocts = octets.size();
   return ot;
}

// The record of a CAM read from JSON, written through Vexil_CAM::EncodeTo.
int camJsonToXml(const std::string& json, std::string* xml)
{
   ASN1T_CAM record;
   Vexil_CAM control(record);
   VXJSONDecodeBuffer in((const uint8_t*)json.data(), json.size());
   int stat = control.DecodeFrom(in, 0);
   EXPECT_EQ(0, stat) << json;
   if (stat != 0) return stat;
   VXXMLEncodeBuffer out;
   stat = control.EncodeTo(out);
   if (stat == 0) xml->assign((const char*)out.getMsgPtr(), out.getMsgLen());
   return stat;
}

const char* const kCamJson = R"({
   "header":{"protocolVersion":2,"messageID":2,"stationID":1234},
   "cam":{
      "generationDeltaTime":1000,
      "camParameters":{
         "basicContainer":{
            "stationType":5,
            "referencePosition":{
               "latitude":483000000,"longitude":115000000,
               "positionConfidenceEllipse":{"semiMajorConfidence":100,"semiMinorConfidence":50,"semiMajorOrientation":900},
               "altitude":{"altitudeValue":50000,"altitudeConfidence":"alt-000-01"}
            }
         },
         "highFrequencyContainer":{
            "basicVehicleContainerHighFrequency":{
               "heading":{"headingValue":900,"headingConfidence":10},
               "speed":{"speedValue":1500,"speedConfidence":5},
               "driveDirection":"forward",
               "vehicleLength":{"vehicleLengthValue":45,"vehicleLengthConfidenceIndication":"noTrailerPresent"},
               "vehicleWidth":18,
               "longitudinalAcceleration":{"longitudinalAccelerationValue":-5,"longitudinalAccelerationConfidence":10},
               "curvature":{"curvatureValue":0,"curvatureConfidence":"unavailable"},
               "curvatureCalculationMode":"yawRateUsed",
               "yawRate":{"yawRateValue":-12,"yawRateConfidence":"unavailable"},
               "accelerationControl":"40"
            }
         }
      }
   }
})";

// Lines of a text joined by line feeds, without one behind the last.
std::string lines(std::initializer_list<const char*> l)
{
   std::string s;
   for (const char* x : l) {
      if (!s.empty()) s += "\n";
      s += x;
   }
   return s;
}

TEST(XmlWriteMessage, CamTextByteForByte)
{
   std::string xml;
   ASSERT_EQ(0, camJsonToXml(kCamJson, &xml));
   const std::string expected = lines({
      R"(<?xml version="1.0" encoding="UTF-8"?>)",
      "<CAM>",
      "   <header>",
      "      <protocolVersion>2</protocolVersion>",
      "      <messageID>2</messageID>",
      "      <stationID>1234</stationID>",
      "   </header>",
      "   <cam>",
      "      <generationDeltaTime>1000</generationDeltaTime>",
      "      <camParameters>",
      "         <basicContainer>",
      "            <stationType>5</stationType>",
      "            <referencePosition>",
      "               <latitude>483000000</latitude>",
      "               <longitude>115000000</longitude>",
      "               <positionConfidenceEllipse>",
      "                  <semiMajorConfidence>100</semiMajorConfidence>",
      "                  <semiMinorConfidence>50</semiMinorConfidence>",
      "                  <semiMajorOrientation>900</semiMajorOrientation>",
      "               </positionConfidenceEllipse>",
      "               <altitude>",
      "                  <altitudeValue>50000</altitudeValue>",
      "                  <altitudeConfidence>",
      "                     <alt-000-01/>",
      "                  </altitudeConfidence>",
      "               </altitude>",
      "            </referencePosition>",
      "         </basicContainer>",
      "         <highFrequencyContainer>",
      "            <basicVehicleContainerHighFrequency>",
      "               <heading>",
      "                  <headingValue>900</headingValue>",
      "                  <headingConfidence>10</headingConfidence>",
      "               </heading>",
      "               <speed>",
      "                  <speedValue>1500</speedValue>",
      "                  <speedConfidence>5</speedConfidence>",
      "               </speed>",
      "               <driveDirection>",
      "                  <forward/>",
      "               </driveDirection>",
      "               <vehicleLength>",
      "                  <vehicleLengthValue>45</vehicleLengthValue>",
      "                  <vehicleLengthConfidenceIndication>",
      "                     <noTrailerPresent/>",
      "                  </vehicleLengthConfidenceIndication>",
      "               </vehicleLength>",
      "               <vehicleWidth>18</vehicleWidth>",
      "               <longitudinalAcceleration>",
      "                  <longitudinalAccelerationValue>-5</longitudinalAccelerationValue>",
      "                  "
      "<longitudinalAccelerationConfidence>10</longitudinalAccelerationConfidence>",
      "               </longitudinalAcceleration>",
      "               <curvature>",
      "                  <curvatureValue>0</curvatureValue>",
      "                  <curvatureConfidence>",
      "                     <unavailable/>",
      "                  </curvatureConfidence>",
      "               </curvature>",
      "               <curvatureCalculationMode>",
      "                  <yawRateUsed/>",
      "               </curvatureCalculationMode>",
      "               <yawRate>",
      "                  <yawRateValue>-12</yawRateValue>",
      "                  <yawRateConfidence>",
      "                     <unavailable/>",
      "                  </yawRateConfidence>",
      "               </yawRate>",
      "               <accelerationControl>0100000</accelerationControl>",
      "            </basicVehicleContainerHighFrequency>",
      "         </highFrequencyContainer>",
      "      </camParameters>",
      "   </cam>",
      "</CAM>",
   });
   EXPECT_EQ(expected, xml);
}

// ---- one construct at a time ----

// An empty SEQUENCE, bit string digits (first bit first), upper-case
// hexadecimal, escaped text, and a NULL alternative as an empty element.
TEST(XmlWriteConstruct, LeafAndEmptyForms)
{
   Writer w;
   ASN1T_ETSI_GrpC_ConnectionManeuverAssist_addGrpC empty;
   ASSERT_EQ(0, XmlEnc_ETSI_GrpC_ConnectionManeuverAssist_addGrpC(w.ctxt(), &empty, "a", nullptr));
   ASN1T_ITS_AccelerationControl ac = {{0x82}};  // bits 0 and 6 of 7
   ASSERT_EQ(0, XmlEnc_ITS_AccelerationControl(w.ctxt(), &ac, "b", nullptr));
   ASN1T_ETSI_DSRC_TemporaryID id = {{0x0a, 0x1b, 0xfe, 0x00}};
   ASSERT_EQ(0, XmlEnc_ETSI_DSRC_TemporaryID(w.ctxt(), &id, "c", nullptr));
   ASSERT_EQ(0, XmlEnc_ETSI_DSRC_DescriptiveName(w.ctxt(), "a&b<c>d\"e'f", "d", nullptr));
   ASN1T_EuVehicleCategoryCode code;
   code.t = 6;  // euVehilcleCategoryG
   ASSERT_EQ(0, XmlEnc_EuVehicleCategoryCode(w.ctxt(), &code, "e", nullptr));
   EXPECT_EQ(
      lines({"<a/>", "<b>1000001</b>", "<c>0A1BFE00</c>", "<d>a&amp;b&lt;c&gt;d&quot;e&apos;f</d>",
             "<e>", "   <euVehilcleCategoryG/>", "</e>"}),
      w.text());
}

// Characters no document can hold (control characters, broken UTF-8), as
// the wire form of a string may bring them: -24, nothing written.
TEST(XmlWriteConstruct, StringsWithCharactersXmlCanNotHoldFail)
{
   for (const char* bad : {"ab\x01", "\x1f", "caf\xc3", "\xed\xa0\x80"}) {
      Writer w;
      EXPECT_EQ(RTERR_INVCHAR, XmlEnc_ETSI_DSRC_DescriptiveName(w.ctxt(), bad, "name", nullptr));
      EXPECT_EQ("", w.text());
      EXPECT_EQ(1, w.errors());
   }
   Writer w;
   ASSERT_EQ(0, XmlEnc_ETSI_DSRC_DescriptiveName(w.ctxt(), "t\tu\xc3\xa9", "name", nullptr));
   EXPECT_EQ("<name>t\tu\xc3\xa9</name>", w.text());
}

TEST(XmlWriteConstruct, EnumerationListItemsAreNamedAfterTheType)
{
   Writer w;
   ASN1T_ETSI_DSRC_NodeAttributeXYList list;
   list.n = 2;
   list.elem[0] = 3;
   list.elem[1] = 200;  // outside the table
   ASSERT_EQ(0, XmlEnc_ETSI_DSRC_NodeAttributeXYList(w.ctxt(), &list, "localNode", nullptr));
   std::string id3 = ASN1T_ETSI_DSRC_NodeAttributeXY_ToString(3);
   EXPECT_EQ(lines({"<localNode>", "   <NodeAttributeXY>", ("      <" + id3 + "/>").c_str(),
                    "   </NodeAttributeXY>", "   <NodeAttributeXY>", "      <_UNKNOWN_/>",
                    "   </NodeAttributeXY>", "</localNode>"}),
             w.text());
}

// A Position3D with a regional list: the known value of region 3 as its
// type's element one level inside regExtValue.
struct Position3D {
   VXCTXT* pctxt;
   ASN1T_ETSI_DSRC_Position3D rec;
   ASN1T_ETSI_DSRC_Position3D_regional_element elem;
   ASN1T_ETSI_GrpC_Position3D_addGrpC grpc;
   explicit Position3D(VXCTXT* c) : pctxt(c)
   {
      rec.lat = 1;
      rec.long_ = -2;
      rec.m.regionalPresent = 1;
      elem.regionId = 3;
      elem.regExtValue.t = 1;
      elem.regExtValue.u.addGrpC = &grpc;
      grpc.altitude.altitudeValue = 700;
      grpc.altitude.altitudeConfidence = 0;
      rtxDListAppend(pctxt, &rec.regional, &elem);
   }
};

TEST(XmlWriteRegional, KnownValueIsTheElementOfItsType)
{
   Writer w;
   Position3D p(w.ctxt());
   ASSERT_EQ(0, XmlEnc_ETSI_DSRC_Position3D(w.ctxt(), &p.rec, "refPoint", nullptr));
   EXPECT_EQ(lines({"<refPoint>", "   <lat>1</lat>", "   <long>-2</long>", "   <regional>",
                    "      <SEQUENCE>", "         <regionId>3</regionId>", "         <regExtValue>",
                    "            <Position3D-addGrpC>", "               <altitude>",
                    "                  <altitudeValue>700</altitudeValue>",
                    "                  <altitudeConfidence>", "                     <alt-000-01/>",
                    "                  </altitudeConfidence>", "               </altitude>",
                    "            </Position3D-addGrpC>", "         </regExtValue>",
                    "      </SEQUENCE>", "   </regional>", "</refPoint>"}),
             w.text());
}

TEST(XmlWriteRegional, RawValueOfAKnownRegionTypeFails)
{
   Writer w;
   Position3D p(w.ctxt());
   p.elem.regionId = 1;
   p.elem.regExtValue.t = 0;
   p.elem.regExtValue.u.openType = openType(w.ctxt(), "\x01\x02");
   EXPECT_EQ(RTERR_INVOPT, XmlEnc_ETSI_DSRC_Position3D(w.ctxt(), &p.rec, "refPoint", nullptr));
   EXPECT_EQ(1, w.errors());
   EXPECT_NE(std::string::npos, w.report().find("ERROR: Status -9\n")) << w.report();
}

TEST(XmlWriteRegional, RawValuesAreHexadecimalUnlessOneElement)
{
   Writer w;
   ASN1T_ETSI_DSRC_AdvisorySpeed_regional list;
   rtxDListInit(&list);
   ASN1T_ETSI_DSRC_AdvisorySpeed_regional_element e[3];
   const char* raw[3] = {"\x0a\x1b", "<ext a=\"1\">x</ext>", "<a>&</a>"};
   for (int i = 0; i < 3; i++) {
      e[i].regionId = (uint8_t)(i + 1);
      e[i].regExtValue.data = (const uint8_t*)raw[i];
      e[i].regExtValue.numocts = strlen(raw[i]);
      rtxDListAppend(w.ctxt(), &list, &e[i]);
   }
   ASSERT_EQ(0, XmlEnc_ETSI_DSRC_AdvisorySpeed_regional(w.ctxt(), &list, "regional", nullptr));
   EXPECT_EQ(
      lines({"<regional>", "   <SEQUENCE>", "      <regionId>1</regionId>",
             "      <regExtValue>0A1B</regExtValue>", "   </SEQUENCE>", "   <SEQUENCE>",
             "      <regionId>2</regionId>",
             "      <regExtValue><ext a=\"1\">x</ext></regExtValue>", "   </SEQUENCE>",
             "   <SEQUENCE>", "      <regionId>3</regionId>",
             // not well-formed: written as its octets
             "      <regExtValue>3C613E263C2F613E</regExtValue>", "   </SEQUENCE>", "</regional>"}),
      w.text());
}

// Unknown extension additions behind the known components: one element of
// a new name as its text, anything else as <binext>.
TEST(XmlWriteExtension, UnknownAdditionsAsTextOrBinext)
{
   Writer w;
   ASN1T_ETSI_DSRC_Position3D rec;
   rec.lat = 5;
   rec.long_ = 6;
   rtxDListAppend(w.ctxt(), &rec.extElem1, openType(w.ctxt(), "<speedLimit>50</speedLimit>"));
   rtxDListAppend(w.ctxt(), &rec.extElem1, openType(w.ctxt(), "\x01\xff"));
   // the name of a known component would read back as that component
   rtxDListAppend(w.ctxt(), &rec.extElem1, openType(w.ctxt(), "<lat>7</lat>"));
   ASSERT_EQ(0, XmlEnc_ETSI_DSRC_Position3D(w.ctxt(), &rec, "refPoint", nullptr));
   EXPECT_EQ(lines({"<refPoint>", "   <lat>5</lat>", "   <long>6</long>",
                    "   <speedLimit>50</speedLimit>", "   <binext>01FF</binext>",
                    "   <binext>3C6C61743E373C2F6C61743E</binext>", "</refPoint>"}),
             w.text());
}

TEST(XmlWriteExtension, UnknownAlternativeOnItsOwnLine)
{
   Writer w;
   ASN1T_HighFrequencyContainer hf;
   hf.t = 3;  // past the two known alternatives
   hf.u.extElem1 = openType(w.ctxt(), "<rsuContainerHighFrequency2/>");
   ASSERT_EQ(0, XmlEnc_HighFrequencyContainer(w.ctxt(), &hf, "hf", nullptr));
   EXPECT_EQ(lines({"<hf>", "   <rsuContainerHighFrequency2/>", "</hf>"}), w.text());

   Writer b;
   hf.u.extElem1 = openType(b.ctxt(), "</hf><x>");
   ASSERT_EQ(0, XmlEnc_HighFrequencyContainer(b.ctxt(), &hf, "hf", nullptr));
   EXPECT_EQ(lines({"<hf>", "   <binext>3C2F68663E3C783E</binext>", "</hf>"}), b.text());
}

// ---- records without a text form ----

// A value outside its constraint: -16 from the function holding the test,
// nothing recorded, whether the test stands in the type's own writer, in a
// SEQUENCE for an inline number, on a string length or on a list count.
TEST(XmlWriteRange, OutsideTheConstraintIsBareMinus16)
{
   Writer w;
   EXPECT_EQ(RTERR_CONSVIO, XmlEnc_ITS_VehicleWidth(w.ctxt(), 63, "vehicleWidth", nullptr));
   ASN1T_ITS_Heading h;
   h.headingValue = 900;
   h.headingConfidence = 0;  // 1..127
   EXPECT_EQ(RTERR_CONSVIO, XmlEnc_ITS_Heading(w.ctxt(), &h, "heading", nullptr));
   std::string longName(64, 'x');
   EXPECT_EQ(RTERR_CONSVIO,
             XmlEnc_ETSI_DSRC_DescriptiveName(w.ctxt(), longName.c_str(), "name", nullptr));
   ASN1T_ETSI_DSRC_NodeAttributeXYList list;
   list.n = 9;  // 1..8
   EXPECT_EQ(RTERR_CONSVIO,
             XmlEnc_ETSI_DSRC_NodeAttributeXYList(w.ctxt(), &list, "localNode", nullptr));
   EXPECT_EQ(0, w.errors());
   EXPECT_EQ("", w.report());
}

TEST(XmlWriteRange, ChoiceWithoutValidAlternativeIsMinus9)
{
   for (uint32_t t : {0u, 7u}) {
      Writer w;
      ASN1T_EuVehicleCategoryCode code;
      code.t = t;
      EXPECT_EQ(RTERR_INVOPT, XmlEnc_EuVehicleCategoryCode(w.ctxt(), &code, "category", nullptr));
      EXPECT_EQ(1, w.errors());
   }
   // an extensible CHOICE: the first index past the root needs its octets
   Writer w;
   ASN1T_HighFrequencyContainer hf;
   hf.t = 3;
   hf.u.extElem1 = nullptr;
   EXPECT_EQ(RTERR_INVOPT, XmlEnc_HighFrequencyContainer(w.ctxt(), &hf, "hf", nullptr));
   hf.t = 4;
   EXPECT_EQ(RTERR_INVOPT, XmlEnc_HighFrequencyContainer(w.ctxt(), &hf, "hf", nullptr));
}

// Turns every fault it is asked about into "go on".
class Lenient : public Asn1ErrorHandler {
 public:
   int calls = 0;
   int error(VXCTXT*, VexilCB*, int) override
   {
      calls++;
      return 0;
   }
};

TEST(XmlWriteRange, EnumerationComponentAboveItsTableGoesToTheErrorHandler)
{
   ASN1T_ITS_Altitude alt;
   alt.altitudeValue = 10;
   alt.altitudeConfidence = 16;  // 16 identifiers
   {
      Writer w;
      EXPECT_EQ(RTERR_INVENUM, XmlEnc_ITS_Altitude(w.ctxt(), &alt, "altitude", nullptr));
      EXPECT_NE(std::string::npos, w.report().find("ERROR: Status -4\n")) << w.report();
      EXPECT_NE(std::string::npos, w.report().find("Element name: altitude\n")) << w.report();
   }
   {
      // a handler that lets it pass: the value writes as "_UNKNOWN_"
      Writer w;
      Lenient h;
      ASSERT_EQ(0, Asn1ErrorHandler::setErrorHandler(w.ctxt(), &h));
      ASSERT_EQ(0, XmlEnc_ITS_Altitude(w.ctxt(), &alt, "altitude", nullptr));
      EXPECT_EQ(1, h.calls);
      EXPECT_EQ(
         lines({"<altitude>", "   <altitudeValue>10</altitudeValue>", "   <altitudeConfidence>",
                "      <_UNKNOWN_/>", "   </altitudeConfidence>", "</altitude>"}),
         w.text());
      Asn1ErrorHandler::setErrorHandler(w.ctxt(), nullptr);
   }
}

// ---- every type ----

// Whether the text is one well-formed element named `name`, closing at its
// very end (nothing of a value may stand behind the root).
::testing::AssertionResult isOneElement(const std::string& text, const std::string& name)
{
   VXXMLDecodeBuffer in((const uint8_t*)text.data(), text.size());
   if (!in.isWellFormed()) return ::testing::AssertionFailure() << "not well-formed:\n" << text;
   std::string shortForm = "<" + name + "/>", end = "</" + name + ">";
   bool closes =
      (text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0) ||
      text == shortForm;
   if (text.compare(0, name.size() + 1, "<" + name) != 0 || !closes)
      return ::testing::AssertionFailure() << "not one element " << name << ":\n" << text;
   return ::testing::AssertionSuccess();
}

class XmlEveryType : public ::testing::TestWithParam<size_t> {
 protected:
   const ItsTestType& T() const { return itsTestTypes[GetParam()]; }
};

// Records decoded from random bytes (unknown additions and alternatives,
// raw regional values, enumerators past the root among them) write either
// well-formed text or fail with a status: no octets of the input can break
// the document.
TEST_P(XmlEveryType, RecordsFromRandomBytesWriteWellFormedTextOrFail)
{
   const ItsTestType& T = this->T();
   ItsTestRng rng(GetParam() * 7919 + 3);
   for (int i = 0; i < 32; i++) {
      std::vector<uint8_t> in(1 + rng.below(40));
      itsTestRandomBytes(rng, in.data(), in.size());
      VXCTXT pc;
      ASSERT_EQ(0, rtInitASN1RtContext(&pc));
      void* rec = T.make(&pc);
      if (pu_setBuffer(&pc, in.data(), in.size(), false) == 0 && T.perDecode(&pc, rec) == 0) {
         Writer w;
         int stat = T.xmlEncode(w.ctxt(), rec, T.name);
         EXPECT_LE(stat, 0) << T.name;
         if (stat == 0) {
            EXPECT_TRUE(isOneElement(w.text(), T.name)) << T.name;
         }
      }
      T.release(&pc, rec);
      rtFreeContext(&pc);
   }
}

INSTANTIATE_TEST_SUITE_P(All, XmlEveryType, ::testing::Range((size_t)0, (size_t)ITSGEN_TYPE_COUNT),
                         [](const ::testing::TestParamInfo<size_t>& info) {
                            return std::string(itsTestTypes[info.param].name);
                         });

}  // namespace
