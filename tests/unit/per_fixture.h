// Test fixture of the PER engine tests: a context with ASN.1 information, a
// growing output buffer, input from a vector, and views of the error record.
#ifndef PER_FIXTURE_H
#define PER_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "asn1per.h"
#include "rtxError.h"

class PerTest : public ::testing::Test {
 protected:
   VXCTXT ctx;
   VXCTXT* pctxt = &ctx;
   std::vector<uint8_t> input;

   void SetUp() override
   {
      ASSERT_EQ(0, rtInitASN1RtContext(pctxt));
      ASSERT_EQ(0, pu_setBuffer(pctxt, nullptr, 0, false));
   }
   void TearDown() override { rtFreeContext(pctxt); }

   // Starts a fresh encoding (dynamic buffer) in the given variant.
   void encodeMode(bool aligned = false)
   {
      rtxErrReset(pctxt);
      ASSERT_EQ(0, pu_setBuffer(pctxt, nullptr, 0, aligned));
   }
   // Decodes from a copy of bytes.
   void decodeFrom(const std::vector<uint8_t>& bytes, bool aligned = false)
   {
      rtxErrReset(pctxt);
      input = bytes;
      ASSERT_EQ(0, pu_setBuffer(pctxt, input.data(), input.size(), aligned));
   }
   // Decodes what has been encoded so far.
   void decodeOwnOutput(bool aligned = false) { decodeFrom(bytes(), aligned); }

   uint64_t bitPos() const { return pu_getMsgLenBits(pctxt); }

   std::vector<uint8_t> bytes() const
   {
      return std::vector<uint8_t>(ctx.buffer.data, ctx.buffer.data + pu_getMsgLen(pctxt));
   }
   // The encoded bits as '0'/'1' characters, exactly as far as written.
   std::string bits() const
   {
      std::string s;
      for (uint64_t i = 0; i < bitPos(); i++)
         s += (ctx.buffer.data[i / 8] >> (7 - i % 8)) & 1 ? '1' : '0';
      return s;
   }

   const VXRTErrInfo* lastError() const
   {
      return ctx.errInfo.tail ? static_cast<const VXRTErrInfo*>(ctx.errInfo.tail->data) : nullptr;
   }
   std::vector<std::string> errorParams() const
   {
      std::vector<std::string> v;
      if (const VXRTErrInfo* e = lastError())
         for (unsigned i = 0; i < e->parmCount; i++) v.push_back(e->parms[i] ? e->parms[i] : "");
      return v;
   }
   std::vector<std::string> errorModules() const
   {
      std::vector<std::string> v;
      if (const VXRTErrInfo* e = lastError())
         for (unsigned i = 0; i < e->stackCount; i++) v.push_back(e->stack[i].module);
      return v;
   }
};

// Bits of a value, high bit first, for building expected encodings.
inline std::string bitsOf(uint64_t value, unsigned nbits)
{
   std::string s;
   for (unsigned i = nbits; i-- > 0;) s += (value >> i) & 1 ? '1' : '0';
   return s;
}

#endif
