// etsi_<MSG>_to_xml as a caller sees it: the text of the bundled CAMs, and
// the failure contract (status, report, exactly one output set) for bytes
// that do not decode and for a record that has no XML form.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>

#include "export_files.h"
#include "itscodec.h"

namespace {

// UPER bytes of a message given as JSON.
std::string fromJson(int (*fn)(const char*, char**, unsigned long*, char**, bool), const char* json)
{
   char* enc = nullptr;
   char* err = nullptr;
   unsigned long len = 0;
   int stat = fn(json, &enc, &len, &err, false);
   EXPECT_EQ(0, stat) << (err ? err : "");
   std::string bytes = enc != nullptr ? std::string(enc, len) : "";
   etsi_delete_array(enc);
   etsi_delete_array(err);
   return bytes;
}

TEST(XmlToExports, CapturedCamIsOneRootElementWithItsValues)
{
   for (const char* name : {"cam_captured_protocol1.uper.hex"}) {
      SCOPED_TRACE(name);
      std::string uper = readHexFile(name);
      TextResult x = callToText(etsi_CAM_to_xml, uper);
      ASSERT_EQ(0, x.stat) << x.error;
      EXPECT_TRUE(x.textSet);
      EXPECT_FALSE(x.errorSet);
      const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CAM>\n   <header>\n";
      EXPECT_EQ(head, x.text.substr(0, head.size()));
      EXPECT_EQ("\n</CAM>", x.text.substr(x.text.size() - 7));
      // the station of the JSON text is the station of the XML text
      TextResult j = callToText(etsi_CAM_to_json, uper);
      ASSERT_EQ(0, j.stat);
      std::smatch mj, mx;
      ASSERT_TRUE(std::regex_search(j.text, mj, std::regex("\"stationID\":(\\d+)")));
      ASSERT_TRUE(std::regex_search(x.text, mx, std::regex("<stationID>(\\d+)</stationID>")));
      EXPECT_EQ(mj[1], mx[1]);
   }
}

TEST(XmlToExports, BytesThatDoNotDecodeReportThePerStatus)
{
   TextResult empty = callToText(etsi_CAM_to_xml, "");
   EXPECT_EQ(-2, empty.stat);
   EXPECT_FALSE(empty.textSet);
   ASSERT_TRUE(empty.errorSet);
   EXPECT_EQ(0u, normalise(empty.error)
                    .find("ERROR: Status -2\nUnexpected end of buffer on decode\nStack trace:\n"))
      << empty.error;

   // the same status and report as the JSON export of the same bytes
   std::string bad = readHexFile("cam_malformed_yawrate.uper.hex");
   TextResult x = callToText(etsi_CAM_to_xml, bad);
   TextResult j = callToText(etsi_CAM_to_json, bad);
   EXPECT_NE(0, x.stat);
   EXPECT_EQ(j.stat, x.stat);
   EXPECT_FALSE(x.textSet);
   ASSERT_TRUE(x.errorSet);
   EXPECT_EQ(normalise(j.error), normalise(x.error));
}

// A SPATEM whose intersection carries a regional value of region 1: UPER
// keeps the octets, but on a type whose region 3 is known a raw value has no
// XML form (-9), reported from the XML side with the element it stood in.
const char* const kSpatemRegion1 = R"({
   "header":{"protocolVersion":2,"messageID":4,"stationID":7},
   "spat":{
      "intersections":[{
         "id":{"id":12},
         "revision":1,
         "status":"0000",
         "states":[{"signalGroup":2,"state-time-speed":[{"eventState":"stop-And-Remain"}]}],
         "regional":[{"regionId":1,"regExtValue":"0a1b"}]
      }]
   }
})";

// The same message with the value on SPAT, whose regions are all unknown.
const char* const kSpatemRawOnSpat = R"({
   "header":{"protocolVersion":2,"messageID":4,"stationID":7},
   "spat":{
      "intersections":[{
         "id":{"id":12},
         "revision":1,
         "status":"0000",
         "states":[{"signalGroup":2,"state-time-speed":[{"eventState":"stop-And-Remain"}]}]
      }],
      "regional":[{"regionId":9,"regExtValue":"0a1b"}]
   }
})";

TEST(XmlToExports, RawRegionalValueOfAKnownRegionTypeIsMinus9)
{
   std::string uper = fromJson(etsi_SPATEM_from_json, kSpatemRegion1);
   ASSERT_FALSE(uper.empty());
   ASSERT_EQ(0, callToText(etsi_SPATEM_to_json, uper).stat);
   TextResult x = callToText(etsi_SPATEM_to_xml, uper);
   EXPECT_EQ(-9, x.stat);
   EXPECT_FALSE(x.textSet);
   ASSERT_TRUE(x.errorSet);
   std::string r = normalise(x.error);
   EXPECT_EQ(0u, r.find("ERROR: Status -9\n")) << r;
   EXPECT_NE(
      std::string::npos,
      r.find("Element name: SPATEM.spat.intersections.IntersectionState.regional.SEQUENCE\n"))
      << r;
   EXPECT_NE(std::string::npos, r.find("Module: M Line N")) << r;
}

// Every message export: the text of a decodable message is one root
// element of the message's name; truncated bytes fail with one output.
TEST(XmlToExports, EveryMessageHasItsRootAndFailsCleanly)
{
   struct {
      const char* root;
      ToTextFn fn;
   } all[] = {{"CAM", etsi_CAM_to_xml},       {"DENM", etsi_DENM_to_xml},
              {"SPATEM", etsi_SPATEM_to_xml}, {"MAPEM", etsi_MAPEM_to_xml},
              {"IVIM", etsi_IVIM_to_xml},     {"SREM", etsi_SREM_to_xml},
              {"SSEM", etsi_SSEM_to_xml}};
   for (auto& m : all) {
      SCOPED_TRACE(m.root);
      TextResult r = callToText(m.fn, std::string("\x02", 1));
      EXPECT_LT(r.stat, 0);
      EXPECT_FALSE(r.textSet);
      EXPECT_TRUE(r.errorSet);
   }
   // a raw value on a type without a known region: hexadecimal octets
   std::string spatem = fromJson(etsi_SPATEM_from_json, kSpatemRawOnSpat);
   TextResult s = callToText(etsi_SPATEM_to_xml, spatem);
   ASSERT_EQ(0, s.stat) << s.error;
   EXPECT_NE(std::string::npos, s.text.find("\n<SPATEM>\n   <header>")) << s.text;
   EXPECT_NE(std::string::npos,
             s.text.find("            <regionId>9</regionId>\n"
                         "            <regExtValue>223061316222</regExtValue>\n"))
      << s.text;
   EXPECT_EQ("\n</SPATEM>", s.text.substr(s.text.size() - 10));
}

}  // namespace
