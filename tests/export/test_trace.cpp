// The bit trace of the exports: with `verbose`, what a call prints on
// standard output (captured around the call), in both directions, after a
// failed decode, and for every sample message against its encoding.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "export_files.h"
#include "itscodec.h"

namespace {

// What fn() writes to standard output (file descriptor 1), through a
// temporary file.
std::string captureStdout(const std::function<void()>& fn)
{
   fflush(stdout);
   FILE* tmp = tmpfile();
   if (tmp == nullptr) return "<no temporary file>";
   int saved = dup(1);
   dup2(fileno(tmp), 1);
   fn();
   fflush(stdout);
   dup2(saved, 1);
   close(saved);
   std::string out;
   rewind(tmp);
   char buf[4096];
   size_t n;
   while ((n = fread(buf, 1, sizeof(buf), tmp)) > 0) out.append(buf, n);
   fclose(tmp);
   return out;
}

using ToText = int (*)(const char*, unsigned long, char**, char**, bool);
using FromText = int (*)(const char*, char**, unsigned long*, char**, bool);

// One call of an export: its status, output (text or bytes), report and
// what it printed.
struct Call {
   int stat = 0;
   std::string out, error, printed;
};

Call toText(ToText fn, const std::string& bytes, bool verbose)
{
   Call c;
   char* text = nullptr;
   char* err = nullptr;
   c.printed =
      captureStdout([&] { c.stat = fn(bytes.data(), bytes.size(), &text, &err, verbose); });
   if (text) c.out = text;
   if (err) c.error = err;
   etsi_delete_array(text);
   etsi_delete_array(err);
   return c;
}

Call fromText(FromText fn, const std::string& text, bool verbose)
{
   Call c;
   char* enc = nullptr;
   char* err = nullptr;
   unsigned long len = 0;
   c.printed = captureStdout([&] { c.stat = fn(text.c_str(), &enc, &len, &err, verbose); });
   if (enc) c.out.assign(enc, len);
   if (err) c.error = err;
   etsi_delete_array(enc);
   etsi_delete_array(err);
   return c;
}

// A CAM of a road-side unit with one protected zone: the header, the basic
// container, the CHOICE of the high-frequency container, a list of one
// element with three optional components, a 42-bit number, an extensible
// INTEGER and an ENUMERATED of one root value (no index bits).
const char* const kRsuCamJson =
   R"({"header":{"protocolVersion":2,"messageID":2,"stationID":1234},)"
   R"("cam":{"generationDeltaTime":1000,"camParameters":{)"
   R"("basicContainer":{"stationType":15,"referencePosition":{)"
   R"("latitude":483000000,"longitude":115000000,)"
   R"("positionConfidenceEllipse":{"semiMajorConfidence":100,"semiMinorConfidence":50,)"
   R"("semiMajorOrientation":900},)"
   R"("altitude":{"altitudeValue":50000,"altitudeConfidence":"alt-000-01"}}},)"
   R"("highFrequencyContainer":{"rsuContainerHighFrequency":{"protectedCommunicationZonesRSU":[)"
   R"({"protectedZoneType":"cenDsrcTolling","expiryTime":500000000000,)"
   R"("protectedZoneLatitude":483100000,"protectedZoneLongitude":115100000,)"
   R"("protectedZoneRadius":50,"protectedZoneID":7}]}}}}})";

const char* const kRsuCamHex =
   "0202000004d203e800fa4ddcf80e44929800c8064708493e00a1c3a3529440052706e6072261b60188000007";

std::string fromHex(const std::string& hex)
{
   std::string bytes;
   for (size_t i = 0; i + 1 < hex.size(); i += 2)
      bytes += (char)std::stoi(hex.substr(i, 2), nullptr, 16);
   return bytes;
}

// The printed blocks of a trace: name line, position line and bit lines up
// to the blank line, as separate strings (a nested open type's marker
// lines are blocks of their own).
std::vector<std::string> blocks(const std::string& trace)
{
   std::vector<std::string> out;
   std::istringstream in(trace);
   std::string line, cur;
   while (std::getline(in, line)) {
      if (line == "*** Open Type Data ***" || line == "***") {
         out.push_back(line + "\n");
         continue;
      }
      cur += line + "\n";
      if (line.empty()) {
         out.push_back(cur);
         cur.clear();
      }
   }
   if (!cur.empty()) out.push_back(cur);
   return out;
}

// The golden trace of the road-side unit CAM (tests/data/cam_rsu.trace).
// Checked by hand once: each field's offset and count were laid against
// the schema (protocolVersion, messageID 8 bits; stationID 32;
// generationDeltaTime 16; extension bit and 2 presence bits of
// CamParameters; extension bit of BasicContainer; stationType 8; latitude
// 31 bits holding value + 900000000; longitude 32 bits holding value +
// 1800000000; three 12-bit confidence values; altitude 20 bits holding
// value + 100000; the 4-bit confidence; the CHOICE's extension bit and
// 1-bit index 1; the extension bit and presence bit of the RSU container;
// the list count - 1 in 4 bits; 3 presence bits; the enumeration's
// extension bit; expiryTime in 42 bits; the zone's latitude and longitude;
// the radius's extension bit and value - 1 in 8 bits; the zone ID in 27),
// the bits of each field in the hexadecimal above read back to the JSON
// value, the offsets follow each other with no gap, and the last field
// ends on bit 352, the end of the 44 bytes.
std::string rsuCamTrace() { return readDataFile("cam_rsu.trace"); }

TEST(Trace, DecodingACamPrintsEveryFieldInWireOrder)
{
   std::string golden = rsuCamTrace();
   ASSERT_FALSE(golden.empty());
   Call quiet = toText(etsi_CAM_to_json, fromHex(kRsuCamHex), false);
   ASSERT_EQ(0, quiet.stat) << quiet.error;
   EXPECT_EQ("", quiet.printed);

   Call traced = toText(etsi_CAM_to_json, fromHex(kRsuCamHex), true);
   ASSERT_EQ(0, traced.stat) << traced.error;
   EXPECT_EQ(golden, traced.printed);
   // The trace does not change the result.
   EXPECT_EQ(quiet.out, traced.out);
   EXPECT_EQ("", traced.error);
}

TEST(Trace, EncodingTheSameCamPrintsTheSameFields)
{
   Call quiet = fromText(etsi_CAM_from_json, kRsuCamJson, false);
   ASSERT_EQ(0, quiet.stat) << quiet.error;
   EXPECT_EQ(fromHex(kRsuCamHex), quiet.out);
   EXPECT_EQ("", quiet.printed);

   // The text side (the JSON reader) prints nothing; the PER writer's
   // fields are those the reader found in the same bits.
   Call traced = fromText(etsi_CAM_from_json, kRsuCamJson, true);
   ASSERT_EQ(0, traced.stat) << traced.error;
   EXPECT_EQ(quiet.out, traced.out);
   EXPECT_EQ(rsuCamTrace(), traced.printed);
}

TEST(Trace, AFailedDecodeShowsTheFieldsReadUpToTheFailure)
{
   // Cut after 30 bytes (240 bits): the decoder stops inside expiryTime,
   // which starts at bit 211 and needs 42 bits.
   std::string cut = fromHex(kRsuCamHex).substr(0, 30);
   Call quiet = toText(etsi_CAM_to_json, cut, false);
   Call traced = toText(etsi_CAM_to_json, cut, true);
   EXPECT_EQ(-2, traced.stat);
   EXPECT_EQ(quiet.stat, traced.stat);
   EXPECT_EQ(quiet.error, traced.error);
   EXPECT_EQ("", traced.out);
   EXPECT_NE(std::string::npos, traced.error.find("Unexpected end of buffer on decode"));

   // The 22 fields up to the zone's extension bit are printed as in the
   // whole message; then expiryTime, of which only the first of its two
   // reads (the upper 10 bits, 0001110100 = 116 = 500000000000 >> 32) found
   // its bits.
   std::vector<std::string> whole = blocks(rsuCamTrace());
   ASSERT_GE(whole.size(), 22u);
   std::string expected;
   for (size_t i = 0; i < 22; i++) expected += whole[i];
   expected +=
      "data ConsUnsigned\n"
      "bit offset: 211\tbit count: 10\tnext bit offset: 221\n"
      "-------- -------- ---00011 10100---    ----c3--    --.-\n"
      "\n";
   EXPECT_EQ(expected, traced.printed);
}

TEST(Trace, AFailedEncodeShowsTheFieldsWrittenUpToTheFailure)
{
   // An empty list of zones passes the JSON reader, which tests no list
   // sizes; the PER writer refuses it (SIZE(1..16)) before the count.
   std::string json = kRsuCamJson;
   size_t from = json.find("[{"), to = json.find("}]");
   ASSERT_NE(std::string::npos, from);
   json.replace(from, to + 2 - from, "[]");
   Call traced = fromText(etsi_CAM_from_json, json, true);
   EXPECT_EQ(-16, traced.stat);
   EXPECT_EQ("", traced.out);
   // The writer returns the status bare: no report lines.
   EXPECT_EQ("", traced.error);

   // The fields up to the presence bit of the list, as in the whole
   // message.
   std::vector<std::string> whole = blocks(rsuCamTrace());
   ASSERT_GE(whole.size(), 19u);
   std::string expected;
   for (size_t i = 0; i < 19; i++) expected += whole[i];
   EXPECT_EQ(expected, traced.printed);
}

// ---- every sample message: the trace covers the encoding --------------------

struct Field {
   std::string name;
   uint64_t offset, count;
   int depth;       // 0 at the top, 1 inside an open type's nested fields
   bool unclaimed;  // an "x" in its bit lines: bits no field claimed
};

std::vector<Field> parseTrace(const std::string& trace)
{
   std::vector<Field> out;
   static const std::regex head("bit offset: (\\d+)\tbit count: (\\d+)\tnext bit offset: (\\d+)");
   std::istringstream in(trace);
   std::string line, name;
   int depth = 0;
   while (std::getline(in, line)) {
      std::smatch m;
      if (line == "*** Open Type Data ***") {
         depth++;
      } else if (line == "***") {
         depth--;
      } else if (line.compare(0, 4, "data") == 0) {
         name = line.size() > 5 ? line.substr(5) : "";
      } else if (std::regex_match(line, m, head)) {
         out.push_back({name, std::stoull(m[1]), std::stoull(m[2]), depth, false});
      } else if (!line.empty() && !out.empty() &&
                 line.substr(0, 35).find('x') != std::string::npos) {
         out.back().unclaimed = true;
      }
   }
   return out;
}

// Names of the same bits as the decoder and the encoder print them.
std::string writerName(std::string name)
{
   if (name == "bits") return "BitString";
   if (name == "octets") return "OctetString";
   return name;
}

struct Sample {
   const char* name;
   const char* file;  // JSON, relative to the test data folder
   ToText toJson;
   FromText fromJson;
};

class TraceOfEverySample : public ::testing::TestWithParam<Sample> {};

TEST_P(TraceOfEverySample, FieldsTileTheEncodingAndBothDirectionsAgree)
{
   const Sample& s = GetParam();
   std::string json = readDataFile(s.file);
   ASSERT_FALSE(json.empty()) << s.file;
   Call enc = fromText(s.fromJson, json, true);
   ASSERT_EQ(0, enc.stat) << enc.error;
   Call dec = toText(s.toJson, enc.out, true);
   ASSERT_EQ(0, dec.stat) << dec.error;

   std::vector<Field> read = parseTrace(dec.printed), written = parseTrace(enc.printed);
   ASSERT_FALSE(read.empty());
   ASSERT_EQ(read.size(), written.size());
   for (size_t i = 0; i < read.size(); i++) {
      SCOPED_TRACE("field " + std::to_string(i) + " " + read[i].name);
      EXPECT_EQ(writerName(read[i].name), written[i].name);
      EXPECT_EQ(read[i].offset, written[i].offset);
      EXPECT_EQ(read[i].count, written[i].count);
      EXPECT_EQ(read[i].depth, written[i].depth);
   }

   // At the top, each field begins where the one before ended, and the
   // last ends in the last byte: no bit of the message is left out. The
   // nested fields of an open type tile its octets the same way.
   uint64_t next = 0;
   std::vector<uint64_t> outer;  // the position after each open type
   int depth = 0;
   for (const Field& f : read) {
      SCOPED_TRACE(f.name + " at " + std::to_string(f.offset));
      while (f.depth < depth) {
         next = outer.back();
         outer.pop_back();
         depth--;
      }
      if (f.depth > depth) {
         // The nested positions count from the byte where the open type's
         // octets begin.
         outer.push_back(next);
         next = f.offset;
         depth = f.depth;
      }
      EXPECT_FALSE(f.unclaimed);
      EXPECT_EQ(next, f.offset);
      next = f.offset + f.count;
   }
   while (depth-- > 0) {
      next = outer.back();
      outer.pop_back();
   }
   EXPECT_LE(next, enc.out.size() * 8);
   EXPECT_GT(next + 8, enc.out.size() * 8);
}

INSTANTIATE_TEST_SUITE_P(
   All, TraceOfEverySample,
   ::testing::Values(
      Sample{"CamContainers", "cam_containers.json", etsi_CAM_to_json, etsi_CAM_from_json},
      Sample{"Cam", "../../bench/data/cam.json", etsi_CAM_to_json, etsi_CAM_from_json},
      Sample{"Denm", "../../bench/data/denm.json", etsi_DENM_to_json, etsi_DENM_from_json},
      Sample{"Spatem", "spatem_sample.json", etsi_SPATEM_to_json, etsi_SPATEM_from_json},
      Sample{"Mapem", "../../bench/data/mapem.json", etsi_MAPEM_to_json, etsi_MAPEM_from_json},
      Sample{"Ivim", "../../bench/data/ivim.json", etsi_IVIM_to_json, etsi_IVIM_from_json},
      Sample{"Srem", "srem_sample.json", etsi_SREM_to_json, etsi_SREM_from_json},
      Sample{"Ssem", "ssem_sample.json", etsi_SSEM_to_json, etsi_SSEM_from_json}),
   [](const ::testing::TestParamInfo<Sample>& info) { return std::string(info.param.name); });

}  // namespace
