// Hostile input through the JSON exports: what a sender puts on the wire
// can not add structure to the text a receiver reads, a kept member keeps
// its escapes, a 7-bit string refuses what seven bits can not carry, and a
// failure that was recorded is always in the report.
#include <gtest/gtest.h>

#include <string>

#include "itscodec.h"
#include "strict_json.h"

namespace {

typedef int (*ToJsonFn)(const char*, unsigned long, char**, char**, bool);
typedef int (*FromJsonFn)(const char*, char**, unsigned long*, char**, bool);

struct Result {
   int stat;
   std::string out, error;
};

std::string unhex(const std::string& hex)
{
   std::string bytes;
   for (size_t i = 0; i + 1 < hex.size(); i += 2)
      bytes += (char)std::stoi(hex.substr(i, 2), nullptr, 16);
   return bytes;
}

Result toJson(ToJsonFn fn, const std::string& bytes)
{
   char* text = nullptr;
   char* err = nullptr;
   Result r;
   r.stat = fn(bytes.data(), bytes.size(), &text, &err, false);
   if (text) r.out = text;
   if (err) r.error = err;
   etsi_delete_array(text);
   etsi_delete_array(err);
   return r;
}

Result fromJson(FromJsonFn fn, const std::string& json)
{
   char* enc = nullptr;
   char* err = nullptr;
   unsigned long len = 0;
   Result r;
   r.stat = fn(json.c_str(), &enc, &len, &err, false);
   if (enc) r.out.assign(enc, len);
   if (err) r.error = err;
   etsi_delete_array(enc);
   etsi_delete_array(err);
   return r;
}

size_t count(const std::string& text, const std::string& what)
{
   size_t n = 0;
   for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) n++;
   return n;
}

TEST(JsonExportsBadInput, WireOctetsCanNotInjectMembers)
{
   // The CAM's BasicContainer carries an unknown addition whose octets are
   // the text "stationType":0 and a NUL: a known name of that object.
   const std::string cam = unhex(
      "ff445e3e771c6b3a1bd5fd82da01113e37c07c0014ae000002022044e6e8c2e8d2dedca8f2e0ca447460007c63e0"
      "1"
      "d9c1080060504f927ba0799c5dfd9aec473600000");
   Result r = toJson(etsi_CAM_to_json, cam);
   ASSERT_EQ(0, r.stat) << r.error;
   EXPECT_EQ("", strictjson::checkStrictJson(r.out));
   EXPECT_EQ(1u, count(r.out, "\"stationType\""));
   EXPECT_NE(std::string::npos, r.out.find("\"_ext_1\":\"2273746174696f6e54797065223a3000\""));
   // Written back, the hexadecimal member is kept as text: no second
   // stationType appears on the way either.
   Result back = fromJson(etsi_CAM_from_json, r.out);
   ASSERT_EQ(0, back.stat) << back.error;
   Result again = toJson(etsi_CAM_to_json, back.out);
   ASSERT_EQ(0, again.stat) << again.error;
   EXPECT_EQ(r.out, again.out);
}

TEST(JsonExportsBadInput, KeptMemberKeepsItsEscapes)
{
   const std::string srem =
      "{\"header\":{\"protocolVersion\":2,\"messageID\":9,\"stationID\":1},\"srm\":{\"second\":0,"
      "\"requestor\":{\"id\":{\"stationID\":0},\"z\\\"z\":1,\"a\\/b\\\\\":[\"\\n\"]}}}";
   Result wire = fromJson(etsi_SREM_from_json, srem);
   ASSERT_EQ(0, wire.stat) << wire.error;
   Result text = toJson(etsi_SREM_to_json, wire.out);
   ASSERT_EQ(0, text.stat) << text.error;
   EXPECT_NE(std::string::npos, text.out.find("\"z\\\"z\":1,\"a\\/b\\\\\":[\"\\n\"]")) << text.out;
   EXPECT_EQ("", strictjson::checkStrictJson(text.out));
   Result wire2 = fromJson(etsi_SREM_from_json, text.out);
   ASSERT_EQ(0, wire2.stat) << wire2.error;
   EXPECT_EQ(wire.out, wire2.out);
}

TEST(JsonExportsBadInput, SevenBitStringsRefuseWiderCharacters)
{
   const std::string head =
      "{\"header\":{\"protocolVersion\":2,\"messageID\":9,\"stationID\":1},\"srm\":{\"second\":0,"
      "\"requestor\":{\"id\":{\"stationID\":0},\"routeName\":\"";
   for (const char* name : {"\xC3\xA9", "a\x80", "\x7F\xFF"}) {
      Result r = fromJson(etsi_SREM_from_json, head + name + "\"}}}");
      EXPECT_EQ(-24, r.stat) << name;
      EXPECT_NE(
         std::string::npos,
         r.error.find("ERROR: Status -24\nCharacter is not within the defined character set\n"))
         << r.error;
   }
   // The whole 7-bit range passes and comes back unchanged.
   Result ok = fromJson(etsi_SREM_from_json, head + "\x7F ~" + "\"}}}");
   ASSERT_EQ(0, ok.stat) << ok.error;
   EXPECT_NE(std::string::npos,
             toJson(etsi_SREM_to_json, ok.out).out.find("\"routeName\":\"\x7F ~\""));
}

TEST(JsonExportsBadInput, FailuresLeftByTheDecodeAreReported)
{
   // Both decode "successfully" after a BOOLEAN read past the end, leaving
   // -2 records behind; the failure comes when the text is written.
   Result cam =
      toJson(etsi_CAM_to_json,
             unhex("00000000000000002b000000000000000000000000000000007c00000000000000000000"
                   "00000000000000000000000000"));
   EXPECT_EQ(-2, cam.stat);
   EXPECT_EQ(0u, cam.error.find("ERROR: Status -2\nUnexpected end of buffer on decode\n"))
      << cam.error;
   Result spat = toJson(
      etsi_SPATEM_to_json,
      unhex(
         "00000000000020e00000002432000000000000000000058700000000000000000600000009009300000056000"
         "0"
         "007100000000081c00000000103a37a100000000000000008c0c00000021000000000000000000004c4d0000"
         "00000000000000008d310000000000002100c90000006000000000900000004c4f000000000010004200e61b"
         "000000000000002c090000000000001400e9a8000000004121000075880000"));
   EXPECT_EQ(-50, spat.stat);
   EXPECT_EQ(2u, count(spat.error, "ERROR: Status -2\n")) << spat.error;
   EXPECT_EQ(1u, count(spat.error, "ERROR: Status -50\n")) << spat.error;
}

}  // namespace
