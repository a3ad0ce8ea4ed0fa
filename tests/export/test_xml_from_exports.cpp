// etsi_<MSG>_from_xml as a caller sees it: XML texts give the same UPER
// bytes as the same content in JSON; the XML rules of the readers (order,
// required elements, enumerators and booleans as child elements, ranges,
// list sizes, kept unknown elements); and the failure contract (status,
// report with the element's path, exactly one output set).
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>

#include "export_files.h"
#include "itscodec.h"

namespace {

struct FromText {
   int stat;
   std::string bytes, error;
   bool bytesSet, errorSet;
   unsigned long len;
};

using FromFn = int (*)(const char*, char**, unsigned long*, char**, bool);

FromText fromText(FromFn fn, const std::string& text)
{
   char* enc = reinterpret_cast<char*>(1);
   char* err = reinterpret_cast<char*>(1);
   FromText r;
   r.len = 99;
   r.stat = fn(text.c_str(), &enc, &r.len, &err, false);
   r.bytesSet = enc != nullptr;
   r.errorSet = err != nullptr;
   if (enc) r.bytes.assign(enc, r.len);
   if (err) r.error = err;
   etsi_delete_array(enc);
   etsi_delete_array(err);
   // Exactly one output, and the length goes with the bytes.
   EXPECT_NE(r.bytesSet, r.errorSet);
   EXPECT_EQ(r.stat == 0, r.bytesSet);
   if (!r.bytesSet) {
      EXPECT_EQ(0u, r.len);
   }
   return r;
}

std::string stackLines(int n)
{
   std::string lines;
   for (int i = 0; i < n; i++) lines += "  Module: M Line N\n";
   return lines;
}

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
   size_t at = text.find(from);
   EXPECT_NE(std::string::npos, at) << from;
   if (at != std::string::npos) text.replace(at, from.size(), to);
   return text;
}

FromText camXml(const std::string& text) { return fromText(etsi_CAM_from_xml, text); }

std::string readFile(const std::string& path)
{
   std::ifstream in(path, std::ios::binary);
   EXPECT_TRUE(in.good()) << path;
   return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

struct Twin {
   const char* json;  // relative to the repository
   const char* xml;
   FromFn fromJson, fromXml;
};

// The XML twins were written from the JSON files by tools/json2xml.py.
const Twin kTwins[] = {
   {"bench/data/cam.json", "bench/data/cam.xml", etsi_CAM_from_json, etsi_CAM_from_xml},
   {"bench/data/denm.json", "bench/data/denm.xml", etsi_DENM_from_json, etsi_DENM_from_xml},
   {"bench/data/ivim.json", "bench/data/ivim.xml", etsi_IVIM_from_json, etsi_IVIM_from_xml},
   {"bench/data/mapem.json", "bench/data/mapem.xml", etsi_MAPEM_from_json, etsi_MAPEM_from_xml},
   {"tests/data/spatem_sample.json", "tests/data/spatem_sample.xml", etsi_SPATEM_from_json,
    etsi_SPATEM_from_xml},
   {"tests/data/srem_sample.json", "tests/data/srem_sample.xml", etsi_SREM_from_json,
    etsi_SREM_from_xml},
   {"tests/data/ssem_sample.json", "tests/data/ssem_sample.xml", etsi_SSEM_from_json,
    etsi_SSEM_from_xml},
};

std::string repoPath(const std::string& rel)
{
   return std::string(VX_TEST_DATA_DIR) + "/../../" + rel;
}

// A CAM with a high- and a low-frequency container and a public transport
// container: numbers, enumerators, a boolean, bit and octet strings, a list.
const std::string kCamXml = readFile(repoPath("tests/data/cam_containers.xml"));
const std::string kCamJson = readFile(repoPath("tests/data/cam_containers.json"));

TEST(XmlFromExports, SampleMessagesOfEveryKindReadAsTheirJsonTwins)
{
   for (const Twin& t : kTwins) {
      SCOPED_TRACE(t.xml);
      FromText j = fromText(t.fromJson, readFile(repoPath(t.json)));
      ASSERT_EQ(0, j.stat) << j.error;
      FromText x = fromText(t.fromXml, readFile(repoPath(t.xml)));
      ASSERT_EQ(0, x.stat) << x.error;
      EXPECT_EQ(j.bytes, x.bytes);
   }
   // A captured CAM, through its JSON text and the same conversion: the
   // bytes it was captured as.
   FromText cam = camXml(readFile(repoPath("tests/data/cam_captured_protocol1.xml")));
   ASSERT_EQ(0, cam.stat) << cam.error;
   EXPECT_EQ(readHexFile("cam_captured_protocol1.uper.hex"), cam.bytes);
}

TEST(XmlFromExports, CamReadsAsItsJsonTwin)
{
   FromText j = fromText(etsi_CAM_from_json, kCamJson);
   ASSERT_EQ(0, j.stat) << j.error;
   FromText x = camXml(kCamXml);
   ASSERT_EQ(0, x.stat) << x.error;
   EXPECT_EQ(j.bytes, x.bytes);
   // Layout between elements is not data; without the declaration, on one
   // line, the document is the same.
   std::string flat =
      std::regex_replace(kCamXml.substr(kCamXml.find("<CAM>")), std::regex(">\\s+<"), "><");
   FromText f = camXml(flat);
   ASSERT_EQ(0, f.stat) << f.error;
   EXPECT_EQ(j.bytes, f.bytes);
}

TEST(XmlFromExports, EnumeratorsAndBooleansAreChildElements)
{
   FromText ok = camXml(kCamXml);
   ASSERT_EQ(0, ok.stat) << ok.error;
   // An empty child with an end tag of its own is the same value.
   FromText longForm = camXml(replaced(kCamXml, "<forward/>", "<forward></forward>"));
   ASSERT_EQ(0, longForm.stat) << longForm.error;
   EXPECT_EQ(ok.bytes, longForm.bytes);
   // Text is not a child element: the value is missing.
   FromText text = camXml(replaced(kCamXml, "<driveDirection>\n                  <forward/>",
                                   "<driveDirection>forward"));
   EXPECT_EQ(-209, text.stat);
   EXPECT_NE(std::string::npos, text.error.find("ERROR: Status -209\n")) << text.error;
   // Content inside the enumerator, and a name not in the type.
   EXPECT_EQ(-220, camXml(replaced(kCamXml, "<forward/>", "<forward>x</forward>")).stat);
   FromText unknown = camXml(replaced(kCamXml, "<forward/>", "<sideways/>"));
   EXPECT_EQ(-4, unknown.stat);
   // <false/> changes the bytes; anything else is recorded and the value is missing.
   FromText f = camXml(replaced(kCamXml, "<true/>", "<false/>"));
   ASSERT_EQ(0, f.stat) << f.error;
   EXPECT_NE(ok.bytes, f.bytes);
   FromText bad = camXml(replaced(kCamXml, "<true/>", "<yes/>"));
   EXPECT_EQ(-50, bad.stat);
   EXPECT_NE(std::string::npos, bad.error.find("ERROR: Status -41\n")) << bad.error;
   EXPECT_NE(std::string::npos, bad.error.find("ERROR: Status -209\n")) << bad.error;
}

TEST(XmlFromExports, ValuesAndSizesOutsideTheirConstraints)
{
   struct Case {
      const char* from;
      const char* to;
   } cases[] = {
      {"<headingConfidence>10<", "<headingConfidence>200<"},
      {"<headingConfidence>10<", "<headingConfidence>0<"},
      {"<yawRateValue>-5<", "<yawRateValue>-32767<"},
      {"<accelerationControl>0100000<", "<accelerationControl>01000001<"},
      {"<ptActivationData>0A1b<", "<ptActivationData><"},
   };
   for (const Case& c : cases) {
      SCOPED_TRACE(c.to);
      FromText r = camXml(replaced(kCamXml, c.from, c.to));
      EXPECT_EQ(-16, r.stat);
      EXPECT_NE(std::string::npos, r.error.find("ERROR: Status -16\n")) << r.error;
   }
   // Text where a number stands, and a number beyond 64 bits.
   EXPECT_EQ(-24, camXml(replaced(kCamXml, "<speedValue>1500<", "<speedValue>fast<")).stat);
   EXPECT_EQ(
      -23,
      camXml(replaced(kCamXml, "<speedValue>1500<", "<speedValue>99999999999999999999<")).stat);
}

TEST(XmlFromExports, ListCountsOutsideTheSizeConstraint)
{
   // pathHistory is SIZE(0..40): 40 items pass, 41 do not.
   const std::string item =
      "<PathPoint><pathPosition><deltaLatitude>1</deltaLatitude><deltaLongitude>2</deltaLongitude>"
      "<deltaAltitude>3</deltaAltitude></pathPosition></PathPoint>";
   size_t open = kCamXml.find("<pathHistory>") + 13;
   size_t close = kCamXml.find("</pathHistory>");
   auto withItems = [&](int n) {
      std::string items;
      for (int i = 0; i < n; i++) items += item;
      return kCamXml.substr(0, open) + items + kCamXml.substr(close);
   };
   EXPECT_EQ(0, camXml(withItems(0)).stat);
   EXPECT_EQ(0, camXml(withItems(40)).stat);
   FromText over = camXml(withItems(41));
   EXPECT_EQ(-16, over.stat);
   // An item of another name.
   FromText other = camXml(replaced(kCamXml, "<PathPoint>", "<Point>"));
   EXPECT_EQ(-41, other.stat);
}

TEST(XmlFromExports, ReportsNameTheElementPath)
{
   FromText range = camXml(replaced(kCamXml, "<headingConfidence>10<", "<headingConfidence>200<"));
   EXPECT_EQ(
      "ERROR: Status -16\n"
      "Value constraint violation: field ?, value ?\n"
      "Element name: CAM.cam.camParameters.highFrequencyContainer."
      "basicVehicleContainerHighFrequency.heading.headingConfidence\n"
      "Stack trace:\n" +
         stackLines(6),
      normalise(range.error));
   FromText missing = camXml(
      "<CAM><header><protocolVersion>2</protocolVersion><messageID>2</messageID></header></CAM>");
   EXPECT_EQ(-209, missing.stat);
   EXPECT_EQ(
      "ERROR: Status -209\n"
      "One or more required element missed\n"
      "Element name: CAM.header\n"
      "Stack trace:\n" +
         stackLines(3),
      normalise(missing.error));
   FromText root = camXml("<DENM/>");
   EXPECT_EQ(-213, root.stat);
   EXPECT_EQ(
      "ERROR: Status -213\n"
      "Unexpected identifier encountered:\n"
      "   expected = '':CAM,\n"
      "   parsed = '':DENM at position 1:7\n"
      "Stack trace:\n" +
         stackLines(2),
      normalise(root.error));
}

TEST(XmlFromExports, OrderAndRequiredComponents)
{
   // A required component missing at the end of its parent.
   FromText missing = camXml(replaced(kCamXml, "<headingConfidence>10</headingConfidence>", ""));
   EXPECT_EQ(-209, missing.stat);
   std::string r = normalise(missing.error);
   EXPECT_NE(std::string::npos, r.find("ERROR: Status -209\nOne or more required element missed\n"))
      << r;
   EXPECT_EQ(std::string::npos, r.find("ERROR", 1)) << "one record: " << r;
   EXPECT_NE(std::string::npos, r.find("Element name: CAM.cam.camParameters")) << r;
   // An optional component before a required one it was swapped with: the
   // second is unknown at the first's place, recorded and passed over, and
   // the status comes out after the whole document was read.
   FromText swapped = camXml(replaced(
      kCamXml,
      "<pathPosition>\n                        <deltaLatitude>10</deltaLatitude>\n"
      "                        <deltaLongitude>-20</deltaLongitude>\n"
      "                        <deltaAltitude>3</deltaAltitude>\n"
      "                     </pathPosition>\n"
      "                     <pathDeltaTime>7</pathDeltaTime>",
      "<pathDeltaTime>7</pathDeltaTime><pathPosition><deltaLatitude>10</deltaLatitude>"
      "<deltaLongitude>-20</deltaLongitude><deltaAltitude>3</deltaAltitude></pathPosition>"));
   EXPECT_EQ(-41, swapped.stat);
   EXPECT_NE(std::string::npos, swapped.error.find("pathDeltaTime")) << swapped.error;
   // Two required ones swapped: the first is refused, the second is then
   // missing.
   FromText both =
      camXml(replaced(kCamXml,
                      "<headingValue>900</headingValue>\n                  "
                      "<headingConfidence>10</headingConfidence>",
                      "<headingConfidence>10</headingConfidence><headingValue>900</headingValue>"));
   EXPECT_EQ(-50, both.stat);
   size_t a = both.error.find("ERROR: Status -41\n");
   size_t b = both.error.find("ERROR: Status -209\n");
   EXPECT_TRUE(a != std::string::npos && a < b && b != std::string::npos) << both.error;
}

TEST(XmlFromExports, UnknownElementAtAnExtensiblePositionIsCarried)
{
   // basicContainer ends with an extension marker: an element behind
   // referencePosition becomes an extension addition, its XML the octets.
   std::string text = replaced(kCamXml, "</referencePosition>\n         </basicContainer>",
                               "</referencePosition>\n<future a=\"1\"><x/></future>\n"
                               "         </basicContainer>");
   FromText x = camXml(text);
   ASSERT_EQ(0, x.stat) << x.error;
   FromText plain = camXml(kCamXml);
   EXPECT_NE(plain.bytes, x.bytes);
   char* json = nullptr;
   char* err = nullptr;
   ASSERT_EQ(0, etsi_CAM_to_json(x.bytes.data(), x.bytes.size(), &json, &err, false)) << err;
   std::string j = json;
   etsi_delete_array(json);
   // The kept text, octet for octet, in the unknown addition of JSON.
   std::string hex;
   for (unsigned char c : std::string("<future a=\"1\"><x/></future>")) {
      char d[3];
      snprintf(d, sizeof(d), "%02x", c);
      hex += d;
   }
   EXPECT_NE(std::string::npos, j.find(hex)) << j;
   // At a required position an unknown element is an error.
   FromText req = camXml(replaced(kCamXml, "<stationType>", "<future/><stationType>"));
   EXPECT_EQ(-41, req.stat);
}

TEST(XmlFromExports, RootAndEmptyText)
{
   FromText other = camXml(replaced(replaced(kCamXml, "<CAM>", "<DENM>"), "</CAM>", "</DENM>"));
   EXPECT_EQ(-213, other.stat);
   std::string r = normalise(other.error);
   EXPECT_EQ(std::string::npos, r.find("ERROR", 1)) << "one record: " << r;
   EXPECT_NE(std::string::npos, r.find("parsed = '':DENM")) << r;
   FromText empty = camXml("");
   EXPECT_EQ(-50, empty.stat);
   std::string e = normalise(empty.error);
   size_t a = e.find("ERROR: Status -20\n");
   size_t b = e.find("ERROR: Status -22\n");
   size_t c = e.find("ERROR: Status -50\n");
   EXPECT_TRUE(a != std::string::npos && a < b && b < c && c != std::string::npos) << e;
   EXPECT_NE(0, camXml("<CAM>").stat);
   EXPECT_NE(0, camXml("<CAM><header></CAM>").stat);
}

// A MAPEM whose regional extension has a known type (regionId 3): the
// record of that type is read from the element named after it, as JSON
// reads it from the value's object.
TEST(XmlFromExports, RegionalExtensionOfAKnownType)
{
   const std::string xml =
      "<MAPEM><header><protocolVersion>2</protocolVersion><messageID>5</messageID>"
      "<stationID>7</stationID></header><map><msgIssueRevision>3</msgIssueRevision>"
      "<regional><SEQUENCE><regionId>3</regionId><regExtValue><MapData-addGrpC/></regExtValue>"
      "</SEQUENCE></regional></map></MAPEM>";
   const std::string json =
      "{\"header\":{\"protocolVersion\":2,\"messageID\":5,\"stationID\":7},"
      "\"map\":{\"msgIssueRevision\":3,\"regional\":[{\"regionId\":3,\"regExtValue\":{}}]}}";
   FromText x = fromText(etsi_MAPEM_from_xml, xml);
   ASSERT_EQ(0, x.stat) << x.error;
   FromText j = fromText(etsi_MAPEM_from_json, json);
   ASSERT_EQ(0, j.stat) << j.error;
   EXPECT_EQ(j.bytes, x.bytes);
   // Another region has no known type here; another element is not it.
   FromText region = fromText(etsi_MAPEM_from_xml, replaced(xml, "<regionId>3<", "<regionId>1<"));
   EXPECT_EQ(-9, region.stat);
   EXPECT_NE(std::string::npos, region.error.find("ERROR: Status -9\n")) << region.error;
   FromText name = fromText(etsi_MAPEM_from_xml, replaced(xml, "<MapData-addGrpC/>", "<Other/>"));
   EXPECT_EQ(-41, name.stat);
   // The list of regional extensions is SIZE(1..4).
   FromText none = fromText(
      etsi_MAPEM_from_xml,
      replaced(xml,
               xml.substr(xml.find("<SEQUENCE>"), xml.find("</regional>") - xml.find("<SEQUENCE>")),
               ""));
   EXPECT_EQ(-16, none.stat);
}

TEST(XmlFromExports, TruncatedAndMutatedTextsFailCleanly)
{
   // Every prefix of the CAM, and bytes replaced through it: a status of
   // 0, or a negative one with a report; one output either way.
   for (size_t n = 0; n < kCamXml.size(); n++) {
      FromText r = camXml(kCamXml.substr(0, n));
      ASSERT_LT(r.stat, 0) << n;
      ASSERT_FALSE(r.error.empty()) << n;
   }
   for (size_t at = 0; at < kCamXml.size(); at += 5) {
      for (char c : {'<', '>', '/', 'x', '&', '"', '\xC3'}) {
         std::string text = kCamXml;
         text[at] = c;
         FromText r = camXml(text);
         ASSERT_TRUE(r.stat == 0 || (r.stat < 0 && !r.error.empty())) << at << " " << c;
      }
   }
}

}  // namespace
