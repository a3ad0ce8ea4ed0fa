// PER bit and octet strings, character strings and open types: X.691 forms,
// fragmentation, the missing closing length of bit strings, and failures.
#include <random>

#include "per_fixture.h"

using PerStr = PerTest;

static std::vector<uint8_t> pattern(size_t n, uint32_t seed)
{
   std::vector<uint8_t> v(n);
   std::mt19937 rng(seed);
   for (auto& b : v) b = (uint8_t)rng();
   return v;
}

// The first n bits of data as '0'/'1'.
static std::string bitText(const uint8_t* data, uint64_t n)
{
   std::string s;
   for (uint64_t i = 0; i < n; i++) s += (data[i / 8] >> (7 - i % 8)) & 1 ? '1' : '0';
   return s;
}

TEST_F(PerStr, BitStringsOfNineSixteenSeventeenBits)
{
   const uint8_t data[3] = {0xA5, 0xFF, 0xFF};
   for (uint64_t n : {9u, 16u, 17u}) {
      encodeMode();
      ASSERT_EQ(0, pe_BitString(pctxt, n, data));
      EXPECT_EQ(bitsOf(n, 8) + bitText(data, n), bits());  // unconstrained: length octet
      decodeOwnOutput();
      uint8_t back[3] = {0xEE, 0xEE, 0xEE};
      uint64_t count = 0;
      ASSERT_EQ(0, pd_BitString64(pctxt, &count, back, sizeof(back)));
      EXPECT_EQ(n, count);
      EXPECT_EQ(bitText(data, n), bitText(back, n));
      if (n % 8) {
         EXPECT_EQ(0, back[n / 8] & (0xFF >> (n % 8)));
      }  // unused bits are 0

      encodeMode();
      ASSERT_EQ(0, pu_setSizeConstraint(pctxt, n, n, 0, 0));  // fixed size: no length
      ASSERT_EQ(0, pe_BitString(pctxt, n, data));
      EXPECT_EQ(bitText(data, n), bits());
   }
   encodeMode();
   ASN1TBitStr32 b32 = {9, {0xA5, 0x80, 0, 0}};
   ASSERT_EQ(0, pe_BitString32(pctxt, &b32, 1, 32));
   EXPECT_EQ(bitsOf(8, 5) + bitText(b32.data, 9), bits());
   decodeOwnOutput();
   ASN1TBitStr32 back32 = {0, {0, 0, 0, 0}};
   ASSERT_EQ(0, pd_BitString32(pctxt, &back32, 1, 32));
   EXPECT_EQ(9u, back32.numbits);
   EXPECT_EQ(0, memcmp(b32.data, back32.data, 2));
   decodeFrom({0xF8});  // length field 31: 10 + 31 is above 32
   EXPECT_EQ(RTERR_CONSVIO, pd_BitString32(pctxt, &back32, 10, 32));
}

TEST_F(PerStr, FixedMemoryTooSmallForBits)
{
   decodeFrom({0x0A, 0xFF, 0xC0});
   uint8_t one[1];
   uint64_t n;
   EXPECT_EQ(RTERR_STROVFLW, pd_BitString64(pctxt, &n, one, sizeof(one)));
}

TEST_F(PerStr, OctetStringFragmentsAndClosingLength)
{
   const struct {
      uint64_t n;
      std::vector<std::pair<uint64_t, uint64_t>> pieces;
   } cases[] = {
      // (offset of the header in octets, header value) of each length written
      {0, {{0, 0x00}}},
      {127, {{0, 0x7F}}},
      {128, {{0, 0x8080}}},
      {16383, {{0, 0xBFFF}}},
      {16384, {{0, 0xC1}, {16385, 0x00}}},
      {65536, {{0, 0xC4}, {65537, 0x00}}},
      {100000, {{0, 0xC4}, {65537, 0xC2}, {65537 + 1 + 32768, 0x86A0}}},
   };
   for (auto& c : cases) {
      std::vector<uint8_t> data = pattern(c.n, (uint32_t)c.n);
      encodeMode();
      ASSERT_EQ(0, pe_OctetString(pctxt, c.n, data.data()));
      std::vector<uint8_t> out = bytes();
      uint64_t headerOctets = 0;
      for (auto& p : c.pieces) {
         unsigned width = p.second > 0xFF ? 2 : 1;
         ASSERT_LE(p.first + width, out.size());
         uint64_t got = width == 2 ? (uint64_t)out[p.first] << 8 | out[p.first + 1] : out[p.first];
         EXPECT_EQ(p.second, got) << "n " << c.n << " at " << p.first;
         headerOctets += width;
      }
      EXPECT_EQ(c.n + headerOctets, out.size()) << c.n;

      decodeFrom(out);
      ASN1TDynOctStr64 back = {0, nullptr};
      ASSERT_EQ(0, pd_DynOctetString64(pctxt, &back)) << c.n;
      ASSERT_EQ(c.n, back.numocts);
      EXPECT_TRUE(c.n == 0 ? back.data == nullptr : memcmp(back.data, data.data(), c.n) == 0);
      EXPECT_EQ(out.size() * 8, bitPos());
   }
}

TEST_F(PerStr, BitStringEndsWithItsLastFragment)
{
   std::vector<uint8_t> data = pattern(2048, 1);
   ASSERT_EQ(0, pe_BitString(pctxt, 16384, data.data()));
   std::vector<uint8_t> out = bytes();
   ASSERT_EQ(1u + 2048u, out.size());  // no closing zero length
   EXPECT_EQ(0xC1, out[0]);
   out.push_back(0x00);  // what a closing length would be
   decodeFrom(out);
   ASN1TDynBitStr64 back = {0, nullptr};
   ASSERT_EQ(0, pd_DynBitString64(pctxt, &back));
   EXPECT_EQ(16384u, back.numbits);
   EXPECT_EQ(0, memcmp(back.data, data.data(), 2048));

   encodeMode();
   std::vector<uint8_t> more = pattern(5000, 2);
   ASSERT_EQ(0, pe_BitString(pctxt, 39999, more.data()));
   decodeOwnOutput();
   ASSERT_EQ(0, pd_DynBitString64(pctxt, &back));
   EXPECT_EQ(39999u, back.numbits);
   EXPECT_EQ(bitText(more.data(), 39999), bitText(back.data, 39999));
}

TEST_F(PerStr, OctetStringSkippingAndEmpty)
{
   decodeFrom({0x03, 1, 2, 3, 0x00});
   uint64_t n = 0;
   ASSERT_EQ(0, pd_OctetString64(pctxt, &n, nullptr, 0));
   EXPECT_EQ(3u, n);
   EXPECT_EQ(32u, bitPos());
   ASN1TDynOctStr64 empty = {9, (uint8_t*)&n};
   ASSERT_EQ(0, pd_DynOctetString64(pctxt, &empty));
   EXPECT_EQ(0u, empty.numocts);
   EXPECT_EQ(nullptr, empty.data);
}

TEST_F(PerStr, OpenTypesOfZeroAndManyOctets)
{
   ASSERT_EQ(0, pe_OpenType(pctxt, 0, nullptr));
   EXPECT_EQ((std::vector<uint8_t>{0x01, 0x00}), bytes());
   decodeOwnOutput();
   const uint8_t* data = nullptr;
   uint64_t n = 0;
   ASSERT_EQ(0, pd_OpenType(pctxt, &data, &n));
   EXPECT_EQ(1u, n);  // one octet, not none
   EXPECT_EQ(0, data[0]);

   std::vector<uint8_t> big = pattern(16384, 3);
   encodeMode();
   ASSERT_EQ(0, rtxEncBits(pctxt, 5, 3));  // off a byte boundary
   ASSERT_EQ(0, pe_OpenType(pctxt, big.size(), big.data()));
   EXPECT_EQ(3u + 8 + 16384 * 8 + 8, bitPos());  // header, data, closing length 0
   decodeOwnOutput();
   uint32_t lead;
   ASSERT_EQ(0, rtxDecBits(pctxt, &lead, 3));
   ASSERT_EQ(0, pd_OpenType(pctxt, &data, &n));
   ASSERT_EQ(16384u, n);
   EXPECT_EQ(0, memcmp(big.data(), data, n));
   EXPECT_EQ(pu_getMsgLen(pctxt), input.size());

   decodeOwnOutput();
   ASSERT_EQ(0, rtxDecBits(pctxt, &lead, 3));
   ASSERT_EQ(0, pd_OpenType(pctxt, nullptr, &n));  // skipped
   EXPECT_EQ(16384u, n);
}

TEST_F(PerStr, ConstrainedSevenBitStrings)
{
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 20, 0, 0));
   ASSERT_EQ(0, uperEncConstrString(pctxt, "Hi!", nullptr, 7, 7));
   EXPECT_EQ(bitsOf(2, 5) + bitsOf('H', 7) + bitsOf('i', 7) + bitsOf('!', 7), bits());
   decodeOwnOutput();
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 20, 0, 0));
   const char* s = nullptr;
   ASSERT_EQ(0, uperDecConstrString(pctxt, &s, nullptr, 7, 7));
   EXPECT_STREQ("Hi!", s);

   decodeOwnOutput();
   char fixed[3];
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 20, 0, 0));
   EXPECT_EQ(RTERR_TOOBIG, uperDecConstrFixedLenString(pctxt, fixed, sizeof(fixed), nullptr, 7, 7));

   // Extension bit 1, then a general length of 10: above the extension's bound.
   decodeFrom({0x85, 0x00});
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 4, 5, 6));
   EXPECT_EQ(RTERR_STROVFLW, pd_ConstrainedStringEx(pctxt, &s, nullptr, 8, 7, 7));
   decodeFrom({0xC1});  // fragmented strings are refused with status 2
   EXPECT_EQ(RT_OK_FRAG, pd_ConstrainedStringEx(pctxt, &s, nullptr, 8, 7, 7));
}

TEST_F(PerStr, CharacterOutsideThePermittedAlphabet)
{
   EXPECT_EQ(RTERR_CONSVIO, pe_ConstrainedStringData(pctxt, "d", "abc", 2, 8, 1));
   EXPECT_EQ((std::vector<std::string>{"?", "d"}), errorParams());
   rtxErrReset(pctxt);
   EXPECT_EQ(RTERR_INVPARAM, pe_ConstrainedStringData(pctxt, "a", nullptr, 2, 8, 1));
   EXPECT_EQ(RTERR_INVPARAM, pe_ConstrainedString(pctxt, "a", nullptr));

   encodeMode();
   CharSetRecord abc = {"abc", 8, 2, 2};
   ASSERT_EQ(0, pe_ConstrainedString(pctxt, "cab", &abc));
   EXPECT_EQ(bitsOf(3, 8) + "10" + "00" + "01", bits());
   decodeOwnOutput();
   const char* s = nullptr;
   ASSERT_EQ(0, pd_ConstrainedString(pctxt, &s, &abc));
   EXPECT_STREQ("cab", s);
   decodeFrom({0x01, 0xC0});  // index 3 is beyond "abc"
   EXPECT_EQ(RTERR_CONSVIO, pd_ConstrainedString(pctxt, &s, &abc));
}

TEST_F(PerStr, VariableWidthStrings)
{
   ASSERT_EQ(0, pe_VarWidthCharString(pctxt, "\xC3\xA9t\xC3\xA9"));
   EXPECT_EQ((std::vector<uint8_t>{0x05, 0xC3, 0xA9, 't', 0xC3, 0xA9}), bytes());
   decodeOwnOutput();
   const char* s = nullptr;
   ASSERT_EQ(0, pd_VarWidthCharString(pctxt, &s));
   EXPECT_STREQ("\xC3\xA9t\xC3\xA9", s);

   decodeFrom({0x00});
   ASSERT_EQ(0, pd_VarWidthCharString(pctxt, &s));
   EXPECT_STREQ("", s);
   decodeFrom({0x03, 'a', 'b', 'c', 0x7F});
   ASSERT_EQ(0, pd_VarWidthCharString(pctxt, nullptr));
   EXPECT_EQ(32u, bitPos());
   decodeFrom({0x03, 'a'});
   EXPECT_EQ(RTERR_ENDOFBUF, pd_VarWidthCharString(pctxt, &s));
   encodeMode();
   EXPECT_EQ(RTERR_INVPARAM, pe_VarWidthCharString(pctxt, nullptr));
}
