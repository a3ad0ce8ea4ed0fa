// The exported functions as a caller sees them, through libitscodec.so:
// round trips of the bundled CAMs, the exact text form, and the failure
// contract (status, report contents, exactly one output set).
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "export_files.h"
#include "itscodec.h"

namespace {

TextResult camToJson(const std::string& bytes) { return callToText(etsi_CAM_to_json, bytes); }

struct FromJson {
   int stat;
   std::string bytes, error;
   bool bytesSet, errorSet;
   unsigned long len;
};

FromJson camFromJson(const char* json)
{
   char* enc = reinterpret_cast<char*>(1);
   char* err = reinterpret_cast<char*>(1);
   FromJson r;
   r.len = 99;
   r.stat = etsi_CAM_from_json(json, &enc, &r.len, &err, false);
   r.bytesSet = enc != nullptr;
   r.errorSet = err != nullptr;
   if (enc) r.bytes.assign(enc, r.len);
   if (err) r.error = err;
   etsi_delete_array(enc);
   etsi_delete_array(err);
   return r;
}

TEST(Exports, CapturedCamRoundTripsByteForByte)
{
   for (const char* name : {"cam_captured_protocol1.uper.hex"}) {
      SCOPED_TRACE(name);
      std::string uper = readHexFile(name);
      ASSERT_FALSE(uper.empty());
      TextResult j = camToJson(uper);
      ASSERT_EQ(0, j.stat) << j.error;
      EXPECT_TRUE(j.textSet);
      EXPECT_FALSE(j.errorSet);
      FromJson u = camFromJson(j.text.c_str());
      ASSERT_EQ(0, u.stat) << u.error;
      EXPECT_FALSE(u.errorSet);
      EXPECT_EQ(uper, u.bytes);
      // and the text survives the way back too
      EXPECT_EQ(j.text, camToJson(u.bytes).text);
   }
}

TEST(Exports, TextFormHasThreeSpaceIndentAndNoFinalLineFeed)
{
   TextResult j = camToJson(readHexFile("cam_captured_protocol1.uper.hex"));
   ASSERT_EQ(0, j.stat) << j.error;
   const std::string head =
      "{\n"
      "   \"header\":{\n"
      "      \"protocolVersion\":1,\n"
      "      \"messageID\":2,\n"
      "      \"stationID\":78880133\n"
      "   },\n"
      "   \"cam\":{\n"
      "      \"generationDeltaTime\":";
   EXPECT_EQ(head, j.text.substr(0, head.size()));
   EXPECT_EQ('}', j.text.back());
   EXPECT_EQ(std::string::npos, j.text.find(": "));
}

TEST(Exports, EmptyTextFailsWithThreeRecords)
{
   FromJson u = camFromJson("");
   EXPECT_EQ(-50, u.stat);
   EXPECT_FALSE(u.bytesSet);
   EXPECT_EQ(0u, u.len);
   ASSERT_TRUE(u.errorSet);
   std::string r = normalise(u.error);
   size_t a = r.find("ERROR: Status -20\nInvalid parameter passed to function or method\n");
   size_t b = r.find("ERROR: Status -22\nContext is not initialized\n");
   size_t c = r.find("ERROR: Status -50\n");
   EXPECT_NE(std::string::npos, a) << r;
   EXPECT_NE(std::string::npos, b) << r;
   EXPECT_NE(std::string::npos, c) << r;
   EXPECT_TRUE(a < b && b < c) << r;
}

TEST(Exports, TextEndingAfterTheBraceFailsWithPeekAndReadRecords)
{
   FromJson u = camFromJson("{");
   EXPECT_EQ(-50, u.stat);
   std::string r = normalise(u.error);
   size_t a = r.find("ERROR: Status -1\nEncode buffer overflow\n");
   size_t b = r.find("ERROR: Status -17\nUnexpected end of file detected\n");
   size_t c = r.find("ERROR: Status -50\n");
   EXPECT_NE(std::string::npos, a) << r;
   EXPECT_TRUE(a < b && b < c && c != std::string::npos) << r;
}

TEST(Exports, TrailingTextAndTrailingBytesAreIgnored)
{
   std::string uper = readHexFile("cam_captured_protocol1.uper.hex");
   TextResult j = camToJson(uper + std::string("\x55\xAA\x00", 3));
   ASSERT_EQ(0, j.stat) << j.error;
   FromJson u = camFromJson((j.text + " garbage ]]").c_str());
   ASSERT_EQ(0, u.stat) << u.error;
   EXPECT_EQ(uper, u.bytes);
}

TEST(Exports, EmptyOrTruncatedUperGivesEndOfBuffer)
{
   TextResult j = camToJson(std::string("\x02", 1).substr(0, 0));
   EXPECT_EQ(-2, j.stat);
   EXPECT_FALSE(j.textSet);
   ASSERT_TRUE(j.errorSet);
   EXPECT_NE(std::string::npos,
             j.error.find("ERROR: Status -2\nUnexpected end of buffer on decode\nStack trace:\n"));
   std::string uper = readHexFile("cam_captured_station1.uper.hex");
   for (size_t n = 1; n < uper.size(); n += 7) {
      TextResult t = camToJson(uper.substr(0, n));
      EXPECT_NE(0, t.stat) << n;
      EXPECT_TRUE(t.errorSet != t.textSet) << n;
   }
}

TEST(Exports, DeleteArrayAcceptsNull) { etsi_delete_array(nullptr); }

TEST(Exports, RobustnessSamplesFailOrSucceedCleanly)
{
   // The malformed capture, and captures whose curvatureValue has another
   // width than this schema's, fail or succeed cleanly.
   for (const char* name : {"cam_malformed_yawrate.uper.hex", "cam_captured_station1.uper.hex",
                            "cam_captured_station55552.uper.hex"}) {
      TextResult j = camToJson(readHexFile(name));
      EXPECT_TRUE(j.textSet != j.errorSet) << name;
      EXPECT_EQ(j.stat == 0, j.textSet) << name;
   }
}

}  // namespace
