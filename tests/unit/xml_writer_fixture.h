// A context set up for the XML writer, writing into a growing buffer of
// its own, released after each test.
#ifndef XML_WRITER_FIXTURE_H
#define XML_WRITER_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "rtXml.h"

class XmlWriterContext : public ::testing::Test {
 protected:
   VXCTXT ctx;
   void SetUp() override
   {
      ASSERT_EQ(0, rtInitContext(&ctx));
      ASSERT_EQ(0, rtXmlInitCtxtAppInfo(&ctx));
      ASSERT_EQ(0, rtXmlSetEncBufPtr(&ctx, nullptr, 0));
   }
   void TearDown() override { rtFreeContext(&ctx); }
   std::string text() const
   {
      return std::string((const char*)ctx.buffer.data, ctx.buffer.byteIndex);
   }
};

#endif
