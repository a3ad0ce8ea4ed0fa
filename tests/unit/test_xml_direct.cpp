// The direct XML readers (XmlFast_<Type>) against the event-driven ones:
// whatever a document holds, a message decoded from memory (where the
// direct reader goes first) ends exactly as one decoded from a captured
// stream (event-driven reader only): same status, same report, same
// record. The cases pair each edit with the path it must take, so both
// outcomes of the direct reader are exercised.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "CAM-PDU-Descriptions.h"
#include "CAM-PDU-DescriptionsXml.h"
#include "DENM-PDU-Descriptions.h"
#include "DENM-PDU-DescriptionsXml.h"
#include "IVIM-PDU-Descriptions.h"
#include "IVIM-PDU-DescriptionsXml.h"
#include "MAPEM-PDU-Descriptions.h"
#include "MAPEM-PDU-DescriptionsXml.h"
#include "SPATEM-PDU-Descriptions.h"
#include "SPATEM-PDU-DescriptionsXml.h"
#include "SREM-PDU-Descriptions.h"
#include "SREM-PDU-DescriptionsXml.h"
#include "SSEM-PDU-Descriptions.h"
#include "SSEM-PDU-DescriptionsXml.h"
#include "VXRTStream.h"
#include "VXXMLBuffers.h"
#include "rtxError.h"
#include "rtxMemBuf.h"
#include "rtxStream.h"
#include "xmlFastRead.h"

namespace {

std::string readFile(const std::string& path)
{
   std::ifstream in(path, std::ios::binary);
   return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// How a decode through the control class ended: status, report and the
// record written back as XML.
struct Outcome {
   int status = 0;
   std::string report, written;
};

template <typename Rec, typename Ctl>
Outcome decode(const std::string& text, bool captured)
{
   Outcome o;
   // The text without a NUL behind it, so that a read past its end shows
   // under the address sanitizer.
   std::vector<uint8_t> bytes(text.begin(), text.end());
   VXRTMemoryInputStream stream(bytes.data(), bytes.size());
   VXCTXT* pctxt = stream.getCtxtPtr();
   VXRTMEMBUF cap;
   rtxMemBufInit(pctxt, &cap, 0);
   if (captured) {
      EXPECT_EQ(0, rtxStreamSetCapture(pctxt, &cap));
   }
   {
      VXXMLDecodeBuffer in(stream);
      Rec rec;
      Ctl control(rec);
      o.status = control.DecodeFrom(in, 0);
      char* report = rtxErrGetText(pctxt, nullptr, nullptr);
      o.report = report != nullptr ? report : "";
      rtxMemFreePtr(pctxt, report);
      if (o.status == 0) {
         VXXMLEncodeBuffer out;
         EXPECT_EQ(0, control.EncodeTo(out));
         o.written.assign((const char*)out.getMsgPtr(), out.getMsgLen());
      }
   }
   rtxMemBufFree(&cap);
   return o;
}

// Whether the direct reader takes the whole document.
template <typename Rec>
bool takenDirectly(const std::string& text, const char* root, int (*fast)(XmlFastIn*, Rec*))
{
   std::vector<uint8_t> bytes(text.begin(), text.end());
   VXRTMemoryInputStream stream(bytes.data(), bytes.size());
   Rec rec;
   return xmlFastDocument(stream.getCtxtPtr(), root, strlen(root), fast, &rec);
}

// A report with its source positions taken out. Known difference: a value
// that fails inside collapsed white space across a line end is placed at
// the value's start when the event reader reads in place and at the byte
// when it reads byte by byte; it is the event reader's either way.
std::string withoutPositions(const std::string& report)
{
   return std::regex_replace(report, std::regex("at position [0-9:()]+"), "at position P");
}

// Compares both ways of reading; the status of the one in place.
template <typename Rec, typename Ctl>
int expectSameEnd(const std::string& text, const std::string& what)
{
   Outcome direct = decode<Rec, Ctl>(text, false), events = decode<Rec, Ctl>(text, true);
   EXPECT_EQ(events.status, direct.status) << what;
   EXPECT_EQ(withoutPositions(events.report), withoutPositions(direct.report)) << what;
   EXPECT_EQ(events.written, direct.written) << what;
   return direct.status;
}

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
   size_t at = text.find(from);
   EXPECT_NE(std::string::npos, at) << from;
   if (at != std::string::npos) text.replace(at, from.size(), to);
   return text;
}

TEST(XmlDirectReader, EndsAsTheEventReaderWhateverTheDocumentHolds)
{
   const std::string cam = readFile(std::string(VX_TEST_DATA_DIR) + "/cam_captured_protocol1.xml");
   ASSERT_FALSE(cam.empty());
   struct Case {
      const char* what;
      std::string text;
      bool direct;
   };
   const std::string lat = "<latitude>521697576</latitude>";
   const Case cases[] = {
      {"as written", cam, true},
      {"no declaration", cam.substr(cam.find("<CAM>")), true},
      {"line ends CR LF", replaced(cam, "\n   <header>", "\r\n   <header>"), true},
      {"negative number", replaced(cam, lat, "<latitude>-521697576</latitude>"), true},
      {"leading zeros", replaced(cam, lat, "<latitude>00521697576</latitude>"), true},
      {"blanks after the root", cam + " \n\t", true},
      // Everything below is left to the event-driven reader.
      {"blank inside a number", replaced(cam, lat, "<latitude> 521697576</latitude>"), false},
      {"plus sign", replaced(cam, lat, "<latitude>+521697576</latitude>"), false},
      {"nineteen digits", replaced(cam, lat, "<latitude>0000000000521697576</latitude>"), false},
      {"number out of range", replaced(cam, lat, "<latitude>900000002</latitude>"), false},
      {"no digits", replaced(cam, lat, "<latitude></latitude>"), false},
      {"empty number element", replaced(cam, lat, "<latitude/>"), false},
      {"comment", replaced(cam, "<header>", "<header><!-- c -->"), false},
      {"processing instruction", replaced(cam, "<header>", "<header><?pi x?>"), false},
      {"attribute", replaced(cam, "<header>", "<header a=\"1\">"), false},
      {"blank in a start tag", replaced(cam, "<header>", "<header >"), false},
      {"namespace prefix", replaced(cam, lat, "<p:latitude>521697576</p:latitude>"), false},
      {"character reference", replaced(cam, lat, "<latitude>&#53;21697576</latitude>"), false},
      {"CDATA", replaced(cam, lat, "<latitude><![CDATA[521697576]]></latitude>"), false},
      {"other declaration", replaced(cam, "encoding=\"UTF-8\"", "encoding=\"ISO-8859-1\""), false},
      {"byte order mark", "\xEF\xBB\xBF" + cam, false},
      {"blank before the root", " " + cam.substr(cam.find("<CAM>")), false},
      {"text after the root", cam + "x", false},
      {"second root", cam + "<CAM/>", false},
      {"document cut", cam.substr(0, cam.size() - 3), false},
      {"required component missing", replaced(cam, "<messageID>2</messageID>", ""), false},
      {"components swapped",
       replaced(replaced(cam, "<protocolVersion>1</protocolVersion>", "<messageID>2</messageID>"),
                "<messageID>2</messageID>\n      <stationID>",
                "<protocolVersion>1</protocolVersion>\n      <stationID>"),
       false},
      {"component twice", replaced(cam, lat, lat + lat), false},
      {"unknown element at an extension position",
       replaced(cam, "</basicContainer>", "<future>1</future></basicContainer>"), false},
      {"unknown element where nothing is extensible",
       replaced(cam, "</header>", "<future/></header>"), false},
      {"unknown enumerator", replaced(cam, "<forward/>", "<sideways/>"), false},
      {"enumerator as a pair of tags", replaced(cam, "<forward/>", "<forward></forward>"), false},
      {"enumerator as text", replaced(cam, "<forward/>", "forward"), false},
      {"text between components", replaced(cam, "<header>", "<header>x"), false},
      {"wrong end tag", replaced(cam, "</header>", "</headers>"), false},
      {"wrong root", replaced(replaced(cam, "<CAM>", "<DENM>"), "</CAM>", "</DENM>"), false},
      {"empty root", cam.substr(0, cam.find("<CAM>")) + "<CAM/>", false},
   };
   int direct = 0;
   for (const Case& c : cases) {
      EXPECT_EQ(c.direct, takenDirectly(c.text, "CAM", XmlFast_CAM)) << c.what;
      expectSameEnd<ASN1T_CAM, Vexil_CAM>(c.text, c.what);
      direct += c.direct;
   }
   EXPECT_EQ(6, direct);
}

TEST(XmlDirectReader, TakesTheMessagesTheWritersWrite)
{
   // The benchmark messages cover containers, lists, CHOICEs, strings,
   // bit strings and regional values of all four kinds of message.
   const std::string dir = std::string(VX_TEST_DATA_DIR) + "/../../bench/data/";
   const std::string cam = readFile(dir + "cam.xml"), denm = readFile(dir + "denm.xml"),
                     ivim = readFile(dir + "ivim.xml"), mapem = readFile(dir + "mapem.xml");
   ASSERT_FALSE(cam.empty() || denm.empty() || ivim.empty() || mapem.empty());
   EXPECT_TRUE(takenDirectly(cam, "CAM", XmlFast_CAM));
   EXPECT_TRUE(takenDirectly(denm, "DENM", XmlFast_DENM));
   EXPECT_TRUE(takenDirectly(ivim, "IVIM", XmlFast_IVIM));
   EXPECT_TRUE(takenDirectly(mapem, "MAPEM", XmlFast_MAPEM));
   expectSameEnd<ASN1T_CAM, Vexil_CAM>(cam, "cam");
   expectSameEnd<ASN1T_DENM, Vexil_DENM>(denm, "denm");
   expectSameEnd<ASN1T_IVIM, Vexil_IVIM>(ivim, "ivim");
   expectSameEnd<ASN1T_MAPEM, Vexil_MAPEM>(mapem, "mapem");
   const std::string data = std::string(VX_TEST_DATA_DIR) + "/";
   // The SPATEM's name holds character references: the event reader's.
   EXPECT_FALSE(takenDirectly(readFile(data + "spatem_sample.xml"), "SPATEM", XmlFast_SPATEM));
   EXPECT_TRUE(takenDirectly(readFile(data + "srem_sample.xml"), "SREM", XmlFast_SREM));
   EXPECT_TRUE(takenDirectly(readFile(data + "ssem_sample.xml"), "SSEM", XmlFast_SSEM));
}

// Small random edits of the writers' messages (a byte dropped, doubled or
// replaced by a markup character or digit, a run cut out or repeated): each
// edited document ends the same way read in place and read byte by byte,
// whichever reader takes it.
template <typename Rec, typename Ctl>
void expectSameEndUnderEdits(const std::string& text, uint32_t seed, int edits)
{
   std::mt19937 rng(seed);
   const char kBytes[] = "<>/ =&\n\t-0179aZ]";
   int read = 0;
   for (int i = 0; i < edits; i++) {
      std::string t = text;
      size_t at = rng() % t.size(), len = 1 + rng() % 24;
      switch (rng() % 5) {
         case 0:
            t.erase(at, 1);
            break;
         case 1:
            t.insert(at, 1, t[at]);
            break;
         case 2:
            t[at] = kBytes[rng() % (sizeof kBytes - 1)];
            break;
         case 3:
            t.erase(at, len);
            break;
         default:
            t.insert(at, t.substr(at, len));
            break;
      }
      const std::string what = "seed " + std::to_string(seed) + " edit " + std::to_string(i);
      read += expectSameEnd<Rec, Ctl>(t, what) == 0;
      if (::testing::Test::HasFailure()) return;
   }
   // Some edits leave a message that still reads (a digit for a digit, a
   // blank for a blank), whose records are then compared as well.
   EXPECT_GT(read, 0);
}

TEST(XmlDirectReader, EditedMessagesEndAsTheEventReader)
{
   const std::string dir = std::string(VX_TEST_DATA_DIR) + "/../../bench/data/";
   expectSameEndUnderEdits<ASN1T_CAM, Vexil_CAM>(readFile(dir + "cam.xml"), 1, 300);
   expectSameEndUnderEdits<ASN1T_DENM, Vexil_DENM>(readFile(dir + "denm.xml"), 2, 150);
   expectSameEndUnderEdits<ASN1T_IVIM, Vexil_IVIM>(readFile(dir + "ivim.xml"), 3, 300);
   expectSameEndUnderEdits<ASN1T_MAPEM, Vexil_MAPEM>(readFile(dir + "mapem.xml"), 4, 40);
   const std::string data = std::string(VX_TEST_DATA_DIR) + "/";
   expectSameEndUnderEdits<ASN1T_SPATEM, Vexil_SPATEM>(readFile(data + "spatem_sample.xml"), 5,
                                                       200);
   expectSameEndUnderEdits<ASN1T_SREM, Vexil_SREM>(readFile(data + "srem_sample.xml"), 6, 200);
   expectSameEndUnderEdits<ASN1T_SSEM, Vexil_SSEM>(readFile(data + "ssem_sample.xml"), 7, 200);
}

TEST(XmlDirectReader, StepsStopAtTheEndOfTheInput)
{
   // Every prefix of an element, with nothing behind it: each step gives
   // up without reading past the end (the sanitizer build checks reads).
   const std::string full = "<v><latitude>-12</latitude><true/><x>AB</x></v>";
   for (size_t n = 0; n < full.size(); n++) {
      std::vector<uint8_t> bytes(full.begin(), full.begin() + (ptrdiff_t)n);
      XmlFastIn in = {bytes.data(), bytes.data() + n, nullptr};
      int64_t number = 0;
      uint8_t flag = 0;
      if (xmlFastOpen(&in, "v", 1) != 1 || xmlFastOpen(&in, "latitude", 8) != 1 ||
          !xmlFastInt(&in, &number) || !xmlFastClose(&in, "latitude", 8) ||
          xmlFastBool(&in, &flag) != 0)
         continue;
      EXPECT_EQ(-12, number);
      EXPECT_EQ(1, flag);
      EXPECT_FALSE(xmlFastClose(&in, "v", 1)) << n;
   }
}

}  // namespace
