// Generated JSON codecs: the text form written for each construct, the
// statuses of bad text and bad records, and text -> record -> text round
// trips through nested types.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "AVIAEINumberingAndDataStructuresJson.h"
#include "AddGrpCJson.h"
#include "CAM-PDU-DescriptionsJson.h"
#include "DSRCJson.h"
#include "ElectronicRegistrationIdentificationVehicleDataModuleJson.h"
#include "ITS-ContainerJson.h"
#include "IVIJson.h"
#include "VXJSONBuffers.h"
#include "inplace_pair.h"
#include "rtxDList.h"
#include "rtxError.h"
#include "rtxMemory.h"

namespace {

// Runs a writer on a fresh growing buffer; the text on success.
template <class T>
int writeJson(int (*enc)(VXCTXT*, const T*), const T& rec, std::string* text)
{
   VXJSONEncodeBuffer buf;
   int stat = enc(buf.getCtxtPtr(), &rec);
   if (stat == 0) {
      text->assign((const char*)buf.getMsgPtr(), buf.getMsgLen());
      // The text is terminated in place.
      EXPECT_EQ(0, buf.getMsgPtr()[buf.getMsgLen()]);
   }
   return stat;
}

// The same for a character string, which is passed as its pointer.
int writeText(int (*enc)(VXCTXT*, const char*), const char* value, std::string* text)
{
   VXJSONEncodeBuffer buf;
   int stat = enc(buf.getCtxtPtr(), value);
   if (stat == 0) text->assign((const char*)buf.getMsgPtr(), buf.getMsgLen());
   return stat;
}

// A text being read; records decoded from it keep their parts in its heap,
// so they must not outlive it.
struct Reader {
   std::string text;
   VXJSONDecodeBuffer buf;
   explicit Reader(const std::string& t) : text(t), buf((const uint8_t*)text.data(), text.size()) {}
   VXCTXT* ctxt() { return buf.getCtxtPtr(); }
   template <class T>
   int read(int (*dec)(VXCTXT*, T*), T* rec)
   {
      return dec(ctxt(), rec);
   }
};

// Reads a text and writes the record back.
template <class T>
std::string roundTrip(int (*dec)(VXCTXT*, T*), int (*enc)(VXCTXT*, const T*), const std::string& in)
{
   Reader r(in);
   T rec{};
   int stat = r.read(dec, &rec);
   EXPECT_EQ(0, stat) << in;
   if (stat != 0) return "";
   std::string out;
   EXPECT_EQ(0, writeJson(enc, rec, &out));
   return out;
}

ASN1OpenType* heapOpenType(VXCTXT* pctxt, const void* data, size_t n)
{
   ASN1OpenType* ot = rtxMemAllocTypeZ(pctxt, ASN1OpenType);
   uint8_t* copy = (uint8_t*)rtxMemAlloc(pctxt, n);
   memcpy(copy, data, n);
   ot->data = copy;
   ot->numocts = n;
   return ot;
}

// A CAM with one member of most constructs: nested SEQUENCEs, a CHOICE,
// negative and extreme numbers, enumerations (one named "default"), a fixed
// bit string with a partial byte, and an empty list.
const char* const kCam =
   "{\n"
   "   \"header\":{\n"
   "      \"protocolVersion\":2,\n"
   "      \"messageID\":2,\n"
   "      \"stationID\":1234\n"
   "   },\n"
   "   \"cam\":{\n"
   "      \"generationDeltaTime\":100,\n"
   "      \"camParameters\":{\n"
   "         \"basicContainer\":{\n"
   "            \"stationType\":5,\n"
   "            \"referencePosition\":{\n"
   "               \"latitude\":487000000,\n"
   "               \"longitude\":-91000000,\n"
   "               \"positionConfidenceEllipse\":{\n"
   "                  \"semiMajorConfidence\":4095,\n"
   "                  \"semiMinorConfidence\":0,\n"
   "                  \"semiMajorOrientation\":3601\n"
   "               },\n"
   "               \"altitude\":{\n"
   "                  \"altitudeValue\":-100000,\n"
   "                  \"altitudeConfidence\":\"unavailable\"\n"
   "               }\n"
   "            }\n"
   "         },\n"
   "         \"highFrequencyContainer\":{\n"
   "            \"basicVehicleContainerHighFrequency\":{\n"
   "               \"heading\":{\n"
   "                  \"headingValue\":3601,\n"
   "                  \"headingConfidence\":127\n"
   "               },\n"
   "               \"speed\":{\n"
   "                  \"speedValue\":1500,\n"
   "                  \"speedConfidence\":1\n"
   "               },\n"
   "               \"driveDirection\":\"forward\",\n"
   "               \"vehicleLength\":{\n"
   "                  \"vehicleLengthValue\":1023,\n"
   "                  \"vehicleLengthConfidenceIndication\":\"trailerPresenceIsUnknown\"\n"
   "               },\n"
   "               \"vehicleWidth\":62,\n"
   "               \"longitudinalAcceleration\":{\n"
   "                  \"longitudinalAccelerationValue\":-160,\n"
   "                  \"longitudinalAccelerationConfidence\":102\n"
   "               },\n"
   "               \"curvature\":{\n"
   "                  \"curvatureValue\":-1023,\n"
   "                  \"curvatureConfidence\":\"onePerMeter-0-00002\"\n"
   "               },\n"
   "               \"curvatureCalculationMode\":\"yawRateNotUsed\",\n"
   "               \"yawRate\":{\n"
   "                  \"yawRateValue\":-32766,\n"
   "                  \"yawRateConfidence\":\"degSec-000-05\"\n"
   "               },\n"
   "               \"accelerationControl\":\"c2\",\n"
   "               \"lanePosition\":-1\n"
   "            }\n"
   "         },\n"
   "         \"lowFrequencyContainer\":{\n"
   "            \"basicVehicleContainerLowFrequency\":{\n"
   "               \"vehicleRole\":\"default\",\n"
   "               \"exteriorLights\":\"a0\",\n"
   "               \"pathHistory\":[\n"
   "                  \n"
   "               ]\n"
   "            }\n"
   "         }\n"
   "      }\n"
   "   }\n"
   "}";

}  // namespace

TEST(JsonCodecs, BrokenCamTextsFailCleanly)
{
   const std::string cam = kCam;
   // Every cut short text fails: the closing brace is always missing.
   for (size_t n = 0; n < cam.size(); n++) {
      Reader r(cam.substr(0, n));
      ASN1T_CAM rec;
      EXPECT_LT(r.read(asn1JsonDec_CAM, &rec), 0) << n;
   }
   // One byte replaced (at every third position, by turns with each of
   // these): a status, never a crash (run under the sanitizers).
   const char replacements[] = {'"', '{', '}', '[', ']', ',', ':', 'n', '-', '9', '\0', '\\'};
   int failures = 0;
   for (size_t i = 0; i < cam.size(); i += 3) {
      for (size_t k = 0; k < 4; k++) {
         char c = replacements[(i / 3 + k * 3) % sizeof replacements];
         if (cam[i] == c) continue;
         std::string text = cam;
         text[i] = c;
         Reader r(text);
         ASN1T_CAM rec;
         int stat = r.read(asn1JsonDec_CAM, &rec);
         EXPECT_LE(stat, 0);
         failures += stat < 0;
      }
   }
   EXPECT_GT(failures, 0);
}

TEST(JsonCodecs, SequenceWithRegionsAndUnknownAdditions)
{
   VXJSONEncodeBuffer heapOwner;
   VXCTXT* pctxt = heapOwner.getCtxtPtr();

   ASN1T_ETSI_GrpC_Position3D_addGrpC known;
   known.altitude.altitudeValue = 500;
   known.altitude.altitudeConfidence = 0;
   ASN1T_ETSI_DSRC_Position3D_regional_element withKnown, withRaw;
   withKnown.regionId = 3;
   withKnown.regExtValue.t = 1;
   withKnown.regExtValue.u.addGrpC = &known;
   withRaw.regionId = 5;
   withRaw.regExtValue.t = 0;
   withRaw.regExtValue.u.openType = heapOpenType(pctxt, "[1]", 3);

   ASN1T_ETSI_DSRC_Position3D pos;
   pos.lat = 100;
   pos.long_ = -200;
   pos.m.regionalPresent = 1;
   rtxDListAppend(pctxt, &pos.regional, &withKnown);
   rtxDListAppend(pctxt, &pos.regional, &withRaw);
   // Additions as received: text left by a reader (NUL included), a null
   // node for an absent one, and octets of an encoding.
   rtxDListAppend(pctxt, &pos.extElem1, heapOpenType(pctxt, "\"x\":1", 6));
   rtxDListAppend(pctxt, &pos.extElem1, nullptr);
   rtxDListAppend(pctxt, &pos.extElem1, heapOpenType(pctxt, "\x01\x02", 2));

   const std::string expected =
      "{\n"
      "   \"lat\":100,\n"
      "   \"long\":-200,\n"
      "   \"regional\":[\n"
      "      {\n"
      "         \"regionId\":3,\n"
      "         \"regExtValue\":{\n"
      "            \"altitude\":{\n"
      "               \"altitudeValue\":500,\n"
      "               \"altitudeConfidence\":\"alt-000-01\"\n"
      "            }\n"
      "         }\n"
      "      },\n"
      "      {\n"
      "         \"regionId\":5,\n"
      "         \"regExtValue\":{\"value\" : \"[1]\"}\n"
      "      }\n"
      "   ],\n"
      "   \"x\":1,\"_ext_3\":\"0102\"\n"
      "}";
   std::string text;
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ETSI_DSRC_Position3D, pos, &text));
   EXPECT_EQ(expected, text);

   // Read back: region 3 becomes the known record (the value read before
   // its key), other regions keep the raw text, additions keep their text.
   std::string reordered = expected;
   reordered.replace(reordered.find("\"regionId\":3,"), 13, "");
   const std::string valueEnd = "\n         }\n      },";
   reordered.replace(reordered.find(valueEnd), valueEnd.size(),
                     "\n         },\"regionId\":3\n      },");
   Reader r(reordered);
   ASN1T_ETSI_DSRC_Position3D back;
   ASSERT_EQ(0, r.read(asn1JsonDec_ETSI_DSRC_Position3D, &back));
   EXPECT_FALSE(back.m.elevationPresent);
   ASSERT_EQ(2u, back.regional.count);
   auto* first = (ASN1T_ETSI_DSRC_Position3D_regional_element*)back.regional.head->data;
   auto* second = (ASN1T_ETSI_DSRC_Position3D_regional_element*)back.regional.tail->data;
   ASSERT_EQ(1u, first->regExtValue.t);
   EXPECT_EQ(500, first->regExtValue.u.addGrpC->altitude.altitudeValue);
   ASSERT_EQ(0u, second->regExtValue.t);
   EXPECT_EQ("{\"value\" : \"[1]\"}", std::string((const char*)second->regExtValue.u.openType->data,
                                                  second->regExtValue.u.openType->numocts));
   ASSERT_EQ(2u, back.extElem1.count);
   auto* ext = (ASN1OpenType*)back.extElem1.tail->data;
   EXPECT_EQ(std::string("\"_ext_3\":\"0102\"") + '\0',
             std::string((const char*)ext->data, ext->numocts));
}

TEST(JsonCodecs, UnknownMembersComeBackAtTheEndOnOneLine)
{
   const std::string in = "{\"future\":[1, {\"a\":null}],\"lat\":1,\"long\":2,\"later\":\"x\"}";
   EXPECT_EQ("{\n   \"lat\":1,\n   \"long\":2,\n   \"future\":[1, {\"a\":null}],\"later\":\"x\"\n}",
             roundTrip(asn1JsonDec_ETSI_DSRC_Position3D, asn1JsonEnc_ETSI_DSRC_Position3D, in));

   // A type without extension marker refuses an unknown key.
   Reader r("{\"protocolVersion\":1,\"messageID\":2,\"stationID\":3,\"x\":1}");
   ASN1T_ITS_ItsPduHeader header;
   EXPECT_EQ(RTERR_NOTINSET, r.read(asn1JsonDec_ITS_ItsPduHeader, &header));
}

TEST(JsonCodecs, SequencesThatBeginWithOptionalMembers)
{
   // The comma depends on what was written before, known only at run time.
   EXPECT_EQ(
      "{\n   \"rsuGNSSOffset\":{\n      \"node-XY1\":{\n         \"x\":1,\n"
      "         \"y\":-2\n      }\n   },\n   \"z\":true\n}",
      roundTrip(asn1JsonDec_ETSI_GrpC_ConnectionManeuverAssist_addGrpC,
                asn1JsonEnc_ETSI_GrpC_ConnectionManeuverAssist_addGrpC,
                "{\"z\":true,\"rsuGNSSOffset\":{\"node-XY1\":{\"y\":-2,\"x\":1}}}"));
   // No member before the additions: no comma, and their own break after
   // the one that opened the object.
   const std::string onlyAdditions = "{\n   \n   \"z\":true\n}";
   EXPECT_EQ(onlyAdditions,
             roundTrip(asn1JsonDec_ETSI_GrpC_ConnectionManeuverAssist_addGrpC,
                       asn1JsonEnc_ETSI_GrpC_ConnectionManeuverAssist_addGrpC, onlyAdditions));
   EXPECT_EQ("{\n   \n}", roundTrip(asn1JsonDec_ETSI_GrpC_ConnectionManeuverAssist_addGrpC,
                                    asn1JsonEnc_ETSI_GrpC_ConnectionManeuverAssist_addGrpC, "{}"));
}

TEST(JsonCodecs, AbsentOptionalsNullAndDuplicates)
{
   ASN1T_ETSI_DSRC_Position3D pos;
   {
      Reader r("{\"lat\":1,\"elevation\":null,\"long\":2}");
      ASSERT_EQ(0, r.read(asn1JsonDec_ETSI_DSRC_Position3D, &pos));
      EXPECT_FALSE(pos.m.elevationPresent);
   }
   {
      // null still counts as an occurrence.
      Reader r("{\"lat\":1,\"elevation\":null,\"long\":2,\"elevation\":7}");
      EXPECT_EQ(RTERR_SETDUPL, r.read(asn1JsonDec_ETSI_DSRC_Position3D, &pos));
   }
   {
      Reader r("{\"lat\":1,\"lat\":1,\"long\":2}");
      EXPECT_EQ(RTERR_SETDUPL, r.read(asn1JsonDec_ETSI_DSRC_Position3D, &pos));
   }
   {
      // A required member takes no null: the number reader refuses it.
      Reader r("{\"lat\":null,\"long\":2}");
      EXPECT_EQ(RTERR_INVCHAR, r.read(asn1JsonDec_ETSI_DSRC_Position3D, &pos));
   }
   {
      Reader r("{\"lat\":1}");
      EXPECT_EQ(RTERR_SETMISRQ, r.read(asn1JsonDec_ETSI_DSRC_Position3D, &pos));
   }
   {
      Reader r("{\"lat\":1,\"long\":2,}");
      EXPECT_NE(0, r.read(asn1JsonDec_ETSI_DSRC_Position3D, &pos));
   }
   // Written: an absent optional leaves no trace.
   pos.lat = 1;
   pos.long_ = 2;
   pos.m.elevationPresent = 0;
   pos.m.regionalPresent = 0;
   rtxDListInit(&pos.extElem1);
   std::string text;
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ETSI_DSRC_Position3D, pos, &text));
   EXPECT_EQ("{\n   \"lat\":1,\n   \"long\":2\n}", text);
}

TEST(JsonCodecs, NumbersOutOfRangeBothWays)
{
   std::string text;
   ASN1T_ITS_Latitude lat = 900000002;
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ITS_Latitude, lat, &text));
   lat = -900000001;
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ITS_Latitude, lat, &text));
   lat = 900000001;
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ITS_Latitude, lat, &text));
   EXPECT_EQ("900000001", text);
   ASN1T_ITS_VehicleLengthValue len = 0;
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ITS_VehicleLengthValue, len, &text));
   ASN1T_ETSI_DSRC_MsgCount count = 128;  // 8-bit field, range 0..127
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ETSI_DSRC_MsgCount, count, &text));
   ASN1T_ITS_TimestampIts ts = 0x40000000000ULL;
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ITS_TimestampIts, ts, &text));
   ASN1T_ITS_ProtectedZoneRadius radius = 4000000000u;  // extensible: any number
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ITS_ProtectedZoneRadius, radius, &text));
   EXPECT_EQ("4000000000", text);

   struct Case {
      const char* text;
      int stat;
   };
   const Case lats[] = {{"900000002,", RTERR_CONSVIO},
                        {"-900000001,", RTERR_CONSVIO},
                        {"-900000000,", 0},
                        {"abc", RTERR_INVCHAR},
                        {"99999999999", RTERR_TOOBIG}};
   for (const Case& c : lats) {
      Reader r(c.text);
      EXPECT_EQ(c.stat, r.read(asn1JsonDec_ITS_Latitude, &lat)) << c.text;
   }
   // Unsigned: a text without digits reads as 0, which is out of range here.
   const Case lengths[] = {
      {"0,", RTERR_CONSVIO}, {"1024,", RTERR_CONSVIO}, {"null", RTERR_CONSVIO}, {"1023,", 0}};
   for (const Case& c : lengths) {
      Reader r(c.text);
      EXPECT_EQ(c.stat, r.read(asn1JsonDec_ITS_VehicleLengthValue, &len)) << c.text;
   }
   // A number the 8-bit field holds but the range does not: -16. One the
   // reader itself refuses leaves the field's value in range: its status.
   Reader big("200,");
   EXPECT_EQ(RTERR_CONSVIO, big.read(asn1JsonDec_ETSI_DSRC_MsgCount, &count));
   Reader huge("300,");
   EXPECT_EQ(RTERR_TOOBIG, huge.read(asn1JsonDec_ETSI_DSRC_MsgCount, &count));
}

TEST(JsonCodecs, Enumerations)
{
   std::string text;
   ASN1T_ITS_DriveDirection dir = 1;
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ITS_DriveDirection, dir, &text));
   EXPECT_EQ("\"backward\"", text);
   dir = 3;
   EXPECT_EQ(RTERR_INVENUM, writeJson(asn1JsonEnc_ITS_DriveDirection, dir, &text));
   // The mark of an unknown value received on the wire (extensible type).
   ASN1T_ITS_CurvatureCalculationMode mode = 0x7FFFFFFF;
   EXPECT_EQ(RTERR_INVENUM, writeJson(asn1JsonEnc_ITS_CurvatureCalculationMode, mode, &text));

   Reader ok(" \"unavailable\"");
   ASSERT_EQ(0, ok.read(asn1JsonDec_ITS_DriveDirection, &dir));
   EXPECT_EQ(2u, dir);
   // Only the whole identifier, in its own case, is one.
   for (const char* near : {"\"Forward\"", "\"forwar\"", "\"forwardd\"", "\"\""}) {
      Reader r(near);
      EXPECT_EQ(RTERR_INVENUM, r.read(asn1JsonDec_ITS_DriveDirection, &dir)) << near;
   }
   Reader number("1");
   EXPECT_NE(0, number.read(asn1JsonDec_ITS_DriveDirection, &dir));
}

TEST(JsonCodecs, BitStrings)
{
   std::string text;
   ASN1T_CountryCode cc;
   cc.numbits = 10;
   cc.data[0] = 0xAA;
   cc.data[1] = 0xFF;  // bits past the tenth are not written
   ASSERT_EQ(0, writeJson(asn1JsonEnc_CountryCode, cc, &text));
   EXPECT_EQ("\"aac0\"", text);
   cc.numbits = 9;
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_CountryCode, cc, &text));
   {
      Reader r("\"aac0\"");
      ASN1T_CountryCode back;
      ASSERT_EQ(0, r.read(asn1JsonDec_CountryCode, &back));
      EXPECT_EQ(10u, back.numbits);
      EXPECT_EQ(0xAA, back.data[0]);
      EXPECT_EQ(0xC0, back.data[1]);
      Reader lowBits("\"aac1\"");
      EXPECT_EQ(RTERR_BADVALUE, lowBits.read(asn1JsonDec_CountryCode, &back));
   }

   ASN1T_ITS_DrivingLaneStatus lanes;
   lanes.numbits = 9;
   lanes.data[0] = 0x55;
   lanes.data[1] = 0x80;
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ITS_DrivingLaneStatus, lanes, &text));
   EXPECT_EQ("{\n   \"value\":\"5580\",\n   \"length\":9\n}", text);
   lanes.numbits = 15;
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ITS_DrivingLaneStatus, lanes, &text));
   lanes.numbits = 0;
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ITS_DrivingLaneStatus, lanes, &text));
   {
      Reader r("{\"length\":3,\"value\":\"e0\"}");
      ASN1T_ITS_DrivingLaneStatus back;
      ASSERT_EQ(0, r.read(asn1JsonDec_ITS_DrivingLaneStatus, &back));
      EXPECT_EQ(3u, back.numbits);
      EXPECT_EQ(0xE0, back.data[0]);
      Reader tooLong("{\"value\":\"fffe\",\"length\":15}");
      EXPECT_EQ(RTERR_CONSVIO, tooLong.read(asn1JsonDec_ITS_DrivingLaneStatus, &back));
   }

   // Extensible size: the bits past the root go to a block of their own.
   Reader ext("{\"value\":\"ff01\",\"length\":16}");
   ASN1T_ETSI_DSRC_LaneAttributes_Vehicle veh;
   ASSERT_EQ(0, ext.read(asn1JsonDec_ETSI_DSRC_LaneAttributes_Vehicle, &veh));
   EXPECT_EQ(16u, veh.numbits);
   ASSERT_NE(nullptr, veh.extdata);
   EXPECT_EQ(0x01, veh.extdata[0]);
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ETSI_DSRC_LaneAttributes_Vehicle, veh, &text));
   EXPECT_EQ("{\n   \"value\":\"ff01\",\n   \"length\":16\n}", text);
}

TEST(JsonCodecs, OctetAndCharacterStrings)
{
   std::string text;
   ASN1T_ITS_PtActivationData act;
   act.numocts = 3;
   memcpy(act.data, "\x0a\xbc\xff", 3);
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ITS_PtActivationData, act, &text));
   EXPECT_EQ("\"0abcff\"", text);
   act.numocts = 21;
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ITS_PtActivationData, act, &text));
   Reader empty("\"\"");
   EXPECT_EQ(RTERR_CONSVIO, empty.read(asn1JsonDec_ITS_PtActivationData, &act));
   Reader tooMany("\"000102030405060708090a0b0c0d0e0f1011121314\"");
   EXPECT_EQ(RTERR_STROVFLW, tooMany.read(asn1JsonDec_ITS_PtActivationData, &act));

   ASN1T_ETSI_DSRC_DescriptiveName name = "Kreuzung \"Nord\"";
   ASSERT_EQ(0, writeText(asn1JsonEnc_ETSI_DSRC_DescriptiveName, name, &text));
   EXPECT_EQ("\"Kreuzung \\\"Nord\\\"\"", text);
   name = "";
   EXPECT_EQ(RTERR_CONSVIO, writeText(asn1JsonEnc_ETSI_DSRC_DescriptiveName, name, &text));
   Reader vds("\"ABCDEFG\"");
   ASN1T_ITS_VDS v = nullptr;
   EXPECT_EQ(RTERR_CONSVIO, vds.read(asn1JsonDec_ITS_VDS, &v));

   // Inline strings of a SEQUENCE: 24 characters pass, 25 do not.
   const std::string head =
      "{\"dangerousGoodsType\":\"explosives1\",\"unNumber\":1,\"elevatedTemperature\":true,"
      "\"tunnelsRestricted\":false,\"limitedQuantity\":0,\"phoneNumber\":\"";
   ASN1T_ITS_DangerousGoodsExtended dg;
   Reader fits(head + std::string(24, '1') + "\"}");
   ASSERT_EQ(0, fits.read(asn1JsonDec_ITS_DangerousGoodsExtended, &dg));
   EXPECT_TRUE(dg.m.phoneNumberPresent);
   EXPECT_EQ(std::string(24, '1'), dg.phoneNumber);
   Reader over(head + std::string(25, '1') + "\"}");
   EXPECT_EQ(RTERR_CONSVIO, over.read(asn1JsonDec_ITS_DangerousGoodsExtended, &dg));

   // The company name counts characters, not bytes: 24 two-byte letters fit.
   std::string name24;
   for (int i = 0; i < 24; i++) name24 += "\xC3\xA9";
   const std::string named =
      "{\"dangerousGoodsType\":\"explosives1\",\"unNumber\":1,\"elevatedTemperature\":true,"
      "\"tunnelsRestricted\":false,\"limitedQuantity\":0,\"companyName\":\"";
   Reader wide(named + name24 + "\"}");
   ASSERT_EQ(0, wide.read(asn1JsonDec_ITS_DangerousGoodsExtended, &dg));
   EXPECT_EQ(name24, dg.companyName);
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ITS_DangerousGoodsExtended, dg, &text));
   EXPECT_NE(std::string::npos, text.find("\"companyName\":\"" + name24 + "\"\n}"));
   const std::string name25 = name24 + "a";
   dg.companyName = name25.c_str();
   EXPECT_EQ(RTERR_CONSVIO, writeJson(asn1JsonEnc_ITS_DangerousGoodsExtended, dg, &text));
   Reader wider(named + name25 + "\"}");
   EXPECT_EQ(RTERR_CONSVIO, wider.read(asn1JsonDec_ITS_DangerousGoodsExtended, &dg));
}

TEST(JsonCodecs, ChoiceAlternatives)
{
   // Unknown alternative of an extensible CHOICE: kept as text and written
   // back inside the object.
   EXPECT_EQ("{\n   \"future\":{\"a\":[1,2]}\n}",
             roundTrip(asn1JsonDec_HighFrequencyContainer, asn1JsonEnc_HighFrequencyContainer,
                       "{\"future\":{\"a\":[1,2]}}"));
   ASN1T_HighFrequencyContainer hf;
   {
      Reader r("{\"future\":1}");
      ASSERT_EQ(0, r.read(asn1JsonDec_HighFrequencyContainer, &hf));
      EXPECT_EQ(3u, hf.t);
   }
   {
      Reader second("{\"rsuContainerHighFrequency\":{},\"x\":1}");
      EXPECT_EQ(RTERR_INVCHAR, second.read(asn1JsonDec_HighFrequencyContainer, &hf));
   }
   std::string text;
   hf.t = 4;  // past the one unknown alternative a reader can store
   EXPECT_EQ(RTERR_INVOPT, writeJson(asn1JsonEnc_HighFrequencyContainer, hf, &text));

   // Without marker an unknown key is refused; NULL alternatives read null.
   ASN1T_EuVehicleCategoryCode code;
   Reader unknown("{\"euVehicleCategoryX\":1}");
   EXPECT_EQ(RTERR_INVOPT, unknown.read(asn1JsonDec_EuVehicleCategoryCode, &code));
   EXPECT_EQ("{\n   \"euVehilcleCategoryT\":null\n}",
             roundTrip(asn1JsonDec_EuVehicleCategoryCode, asn1JsonEnc_EuVehicleCategoryCode,
                       "{\"euVehilcleCategoryT\": null}"));
}

TEST(JsonCodecs, MessageFrameSelectsItsValueByKey)
{
   // The value stands before its key and is decoded once the key is known.
   Reader r("{\"value\":{\"msgIssueRevision\":5},\"messageId\":18}");
   ASN1T_ETSI_DSRC_MessageFrame frame;
   ASSERT_EQ(0, r.read(asn1JsonDec_ETSI_DSRC_MessageFrame, &frame));
   ASSERT_EQ(1u, frame.value.t);
   EXPECT_EQ(5u, frame.value.u.mapData->msgIssueRevision);
   std::string text;
   ASSERT_EQ(0, writeJson(asn1JsonEnc_ETSI_DSRC_MessageFrame, frame, &text));
   EXPECT_EQ("{\n   \"messageId\":18,\n   \"value\":{\n      \"msgIssueRevision\":5\n   }\n}",
             text);

   // A failure inside the selected value is reported, and reading the outer
   // text goes on where it was.
   Reader bad("{\"messageId\":18,\"value\":{\"msgIssueRevision\":500}}");
   EXPECT_NE(0, bad.read(asn1JsonDec_ETSI_DSRC_MessageFrame, &frame));
   Reader other("{\"messageId\":200,\"value\":{\"x\":1}}");
   ASSERT_EQ(0, other.read(asn1JsonDec_ETSI_DSRC_MessageFrame, &frame));
   EXPECT_EQ(0u, frame.value.t);
}
