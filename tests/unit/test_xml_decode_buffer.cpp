// VXXMLDecodeBuffer: its two ways of reading (a memory range through a
// stream of its own, a caller's stream whose context it shares), its kind,
// and the well-formedness check, which must leave the stream where it was.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "VXRTStream.h"
#include "VXXMLBuffers.h"
#include "rtXmlDec.h"
#include "rtxError.h"

namespace {

// Reads <a><b>N</b></a> through the buffer's context: N, or the status.
int decodeB(VXXMLDecodeBuffer& buf)
{
   VXCTXT* p = buf.getCtxtPtr();
   int32_t v = 0;
   int stat = rtXmlpCreateReader(p);
   if (stat == 0) stat = rtXmlpMatchStartTag(p, "a", 0);
   static const XmlElemDescr kB[] = {{"b", 1, 0, 1}};
   if (stat == 0) stat = rtXmlpGetNextElemID(p, kB, 1, -1, true) == 1 ? 0 : -1;
   if (stat == 0) stat = rtXmlpDecInt(p, &v);
   if (stat == 0) stat = rtXmlpMatchEndTag(p, -1);
   if (stat == 0) stat = rtXmlpMatchEndTag(p, -1);
   if (stat == 0) stat = rtxErrGetStatus(p);
   return stat != 0 ? stat : v;
}

size_t posOf(VXRTInputStream& s)
{
   size_t pos = 12345;
   EXPECT_EQ(0, s.getPosition(&pos));
   return pos;
}

TEST(XmlDecodeBuffer, OwnsItsStreamOrSharesTheCallers)
{
   const std::string text = "<a><b>42</b></a>";
   VXRTMemoryInputStream stream((const uint8_t*)text.data(), text.size());
   VXXMLDecodeBuffer shared(stream);
   EXPECT_EQ(stream.getCtxtPtr(), shared.getCtxtPtr());
   EXPECT_EQ(42, decodeB(shared));
   EXPECT_EQ(text.size(), posOf(stream));

   VXXMLDecodeBuffer owned((const uint8_t*)text.data(), text.size());
   EXPECT_NE(stream.getCtxtPtr(), owned.getCtxtPtr());
   EXPECT_EQ(42, decodeB(owned));
}

TEST(XmlDecodeBuffer, KindInitAndMaxErrors)
{
   const char text[] = "<a/>";
   VXXMLDecodeBuffer buf((const uint8_t*)text, strlen(text));
   EXPECT_EQ(5, (int)VXRTMessageBufferIF::XMLDecode);
   EXPECT_TRUE(buf.isA(VXRTMessageBufferIF::XMLDecode));
   EXPECT_FALSE(buf.isA(VXRTMessageBufferIF::XMLEncode));
   EXPECT_FALSE(buf.isA(VXRTMessageBufferIF::JSONDecode));
   EXPECT_EQ(0, buf.init());
   XmlCtxtInfo* info = rtXmlGetCtxtInfo(buf.getCtxtPtr());
   ASSERT_NE(nullptr, info);
   buf.setMaxErrors(7);
   EXPECT_EQ(7u, info->maxSaxErrors);
}

// The root's name, read without taking anything from the stream: the
// decode that follows starts where the name was read.
TEST(XmlDecodeBuffer, ParseElementNameLeavesTheStreamWhereItWas)
{
   {
      const char text[] = "<?xml version=\"1.0\"?><!-- c -->\n<a><b>7</b></a>";
      VXXMLDecodeBuffer buf((const uint8_t*)text, sizeof text - 1);
      char* name = nullptr;
      ASSERT_EQ(0, buf.parseElementName(&name));
      EXPECT_STREQ("a", name);
      EXPECT_EQ(7, decodeB(buf));
   }
   {
      const char text[] = "<p:SPATEM xmlns:p=\"urn:x\"/>";
      VXXMLDecodeBuffer buf((const uint8_t*)text, sizeof text - 1);
      char* name = nullptr;
      ASSERT_EQ(0, buf.parseElementName(&name));
      EXPECT_STREQ("SPATEM", name);
   }
   for (const char* bad : {"", "  <!-- only a comment -->", "<1a/>"}) {
      VXXMLDecodeBuffer buf((const uint8_t*)bad, strlen(bad));
      char* name = reinterpret_cast<char*>(1);
      EXPECT_GT(0, buf.parseElementName(&name)) << bad;
      EXPECT_EQ(nullptr, name) << bad;
      EXPECT_LT(0u, rtxErrGetErrorCnt(buf.getCtxtPtr())) << bad;
   }
}

}  // namespace
