// PER integers and lengths: X.691 forms, this run-time's deliberate
// differences, failure statuses, and random round trips.
#include <random>

#include "per_fixture.h"

using PerInt = PerTest;

TEST_F(PerInt, ConstrainedWholeNumberWidthAndRangeCheck)
{
   ASSERT_EQ(0, pe_ConsWholeNumber(pctxt, 7, 8));
   EXPECT_EQ("111", bits());
   EXPECT_EQ(RTERR_BADVALUE, pe_ConsWholeNumber(pctxt, 8, 8));
   ASSERT_EQ(0, pe_ConsWholeNumber(pctxt, 0xFFFFFFFF, 0xFFFFFFFF));  // the full range
   EXPECT_EQ(3u + 32u, bitPos());
}

TEST_F(PerInt, ConstrainedIntegerStatusesDiffer)
{
   ASSERT_EQ(0, pe_ConsInt64(pctxt, -1, -1, -1));
   EXPECT_EQ(0u, bitPos());  // a single value takes no bits
   EXPECT_EQ(RTERR_CONSVIO, pe_ConsInt64(pctxt, 5, 0, 3));
   EXPECT_EQ((std::vector<std::string>{"'value'", "5"}), errorParams());
   rtxErrReset(pctxt);
   EXPECT_EQ(RTERR_BADVALUE, pe_ConsUInt64(pctxt, 5, 1, 4));  // -14, not -16
   rtxErrReset(pctxt);
   EXPECT_EQ(RTERR_CONSVIO, pe_ConsUInt64SignedBound(pctxt, 2, 3, 9));
}

TEST_F(PerInt, DecodedValueAboveUpperBoundNamesElementAndValue)
{
   decodeFrom({0xE0});  // 111
   ASSERT_EQ(0, rtxCtxtPushElemName(pctxt, "speed"));
   int64_t v = -1;
   EXPECT_EQ(RTERR_CONSVIO, pd_ConsInt64(pctxt, &v, 0, 5));
   EXPECT_EQ((std::vector<std::string>{"speed", "7"}), errorParams());
   EXPECT_EQ(-1, v);
}

TEST_F(PerInt, NarrowDecodersRefuseValuesOutsideTheirWidth)
{
   decodeFrom({0xFF, 0xFF});
   int8_t i8;
   EXPECT_EQ(RTERR_TOOBIG, pd_ConsInt8(pctxt, &i8, 0, 1023));
   decodeFrom({0x00});
   uint64_t u;
   EXPECT_EQ(RTERR_TOOBIG, pd_ConsUInt64SignedBound(pctxt, &u, -3, 3));  // -3 read
}

TEST_F(PerInt, RangeEndsRoundTrip)
{
   const int64_t bounds[][2] = {{0, 1},         {-1, 0},        {-900000000, 900000001},
                                {1, 127},       {0, 86400},     {INT64_MIN, INT64_MAX},
                                {INT64_MIN, 0}, {-5, INT64_MAX}};
   for (auto& b : bounds) {
      for (int64_t v : {b[0], b[1]}) {
         encodeMode();
         ASSERT_EQ(0, pe_ConsInt64(pctxt, v, b[0], b[1]));
         uint64_t span = (uint64_t)b[1] - (uint64_t)b[0];
         EXPECT_EQ(rtxUInt64BitLen(span), bitPos()) << b[0] << ".." << b[1];
         decodeOwnOutput();
         int64_t back = 0;
         ASSERT_EQ(0, pd_ConsInt64(pctxt, &back, b[0], b[1]));
         EXPECT_EQ(v, back);
      }
   }
   encodeMode();
   ASSERT_EQ(0, pe_ConsUInt64(pctxt, UINT64_MAX, 0, UINT64_MAX));
   EXPECT_EQ(64u, bitPos());
   decodeOwnOutput();
   uint64_t u = 0;
   ASSERT_EQ(0, pd_ConsUInt64(pctxt, &u, 0, UINT64_MAX));
   EXPECT_EQ(UINT64_MAX, u);
}

TEST_F(PerInt, UnconstrainedIntegersUseShortestTwosComplement)
{
   const struct {
      int32_t v;
      std::vector<uint8_t> wire;
   } cases[] = {
      {0, {0x01, 0x00}},    {127, {0x01, 0x7F}},        {128, {0x02, 0x00, 0x80}},
      {-128, {0x01, 0x80}}, {-129, {0x02, 0xFF, 0x7F}}, {INT32_MIN, {0x04, 0x80, 0, 0, 0}},
   };
   for (auto& c : cases) {
      encodeMode();
      ASSERT_EQ(0, pe_UnconsInt32Unaligned(pctxt, c.v));
      EXPECT_EQ(c.wire, bytes()) << c.v;
      decodeOwnOutput();
      int32_t back = 1;
      ASSERT_EQ(0, pd_UnconsInteger(pctxt, &back));
      EXPECT_EQ(c.v, back);
   }
}

TEST_F(PerInt, UnsignedWithTopBitTakesALeadingZeroOctet)
{
   ASSERT_EQ(0, pe_UnconsUInt32Unaligned(pctxt, 0x80000000u));
   EXPECT_EQ((std::vector<uint8_t>{0x05, 0x00, 0x80, 0x00, 0x00, 0x00}), bytes());
   decodeOwnOutput();
   uint32_t u = 0;
   ASSERT_EQ(0, pd_UnconsUnsigned(pctxt, &u));
   EXPECT_EQ(0x80000000u, u);
   decodeOwnOutput();
   int32_t s;
   EXPECT_EQ(RTERR_TOOBIG, pd_UnconsInteger(pctxt, &s));  // five octets do not fit
   decodeFrom({0x01, 0x80});
   EXPECT_EQ(RTERR_TOOBIG, pd_UnconsUnsigned(pctxt, &u));  // that would be negative

   encodeMode();
   ASSERT_EQ(0, pe_UnconsUInt64Unaligned(pctxt, UINT64_MAX));
   EXPECT_EQ(8u * 10, bitPos());
   decodeOwnOutput();
   uint64_t u64 = 0;
   ASSERT_EQ(0, pd_UnconsUInt64(pctxt, &u64));
   EXPECT_EQ(UINT64_MAX, u64);
}

TEST_F(PerInt, SemiConstrainedLowerBoundIsAnEmptyLength)
{
   ASSERT_EQ(0, pe_SemiConsUInt64(pctxt, 0, 0));
   EXPECT_EQ((std::vector<uint8_t>{0x00}), bytes());
   encodeMode();
   ASSERT_EQ(0, pe_SemiConsUInt64(pctxt, 256, 0));
   EXPECT_EQ((std::vector<uint8_t>{0x02, 0x01, 0x00}), bytes());
   encodeMode();
   ASSERT_EQ(0, pe_SemiConsInt64(pctxt, -5, -5));
   EXPECT_EQ((std::vector<uint8_t>{0x00}), bytes());

   // Both the empty and the standard form of the lower bound decode.
   for (auto wire : {std::vector<uint8_t>{0x00}, std::vector<uint8_t>{0x01, 0x00}}) {
      decodeFrom(wire);
      int64_t v = 0;
      ASSERT_EQ(0, pd_SemiConsInt64(pctxt, &v, -5));
      EXPECT_EQ(-5, v);
   }
   decodeFrom({0x09, 1, 2, 3, 4, 5, 6, 7, 8, 9});
   uint64_t u;
   EXPECT_EQ(RTERR_TOOBIG, pd_SemiConsUInt64(pctxt, &u, 0));
   decodeFrom({0x01, 0x10});
   EXPECT_EQ(RTERR_TOOBIG, pd_SemiConsUInt64SignedBound(pctxt, &u, -17));
}

TEST_F(PerInt, SmallNonNegativeWholeNumbers)
{
   ASSERT_EQ(0, pe_SmallNonNegWholeNumber(pctxt, 63));
   EXPECT_EQ("0111111", bits());
   encodeMode();
   ASSERT_EQ(0, pe_SmallNonNegWholeNumber(pctxt, 64));
   EXPECT_EQ("1" + bitsOf(1, 8) + bitsOf(0x40, 8), bits());
   encodeMode();
   EXPECT_EQ(RTERR_NOTSUPP, pe_SmallNonNegWholeNumber(pctxt, 0x1000000));
   EXPECT_EQ((std::vector<std::string>{"very large SmallNonNegWholeNumber"}), errorParams());
   EXPECT_EQ(0u, bitPos());

   for (uint32_t v : {0u, 63u, 64u, 255u, 256u, 0xFFFFFFu}) {
      encodeMode();
      ASSERT_EQ(0, pe_SmallNonNegWholeNumber(pctxt, v));
      decodeOwnOutput();
      uint32_t back = 1;
      ASSERT_EQ(0, pd_SmallNonNegWholeNumber(pctxt, &back));
      EXPECT_EQ(v, back);
   }
   decodeOwnOutput();
   ASSERT_EQ(0, pd_SmallNonNegWholeNumber(pctxt, nullptr));  // a null output is allowed
}

TEST_F(PerInt, SmallLengths)
{
   ASSERT_EQ(0, pe_SmallLength(pctxt, 64));
   EXPECT_EQ("0111111", bits());
   encodeMode();
   ASSERT_EQ(0, pe_SmallLength(pctxt, 65));
   EXPECT_EQ("1" + bitsOf(65, 8), bits());
   encodeMode();
   ASSERT_EQ(0, pe_SmallLength(pctxt, 0));  // not tested: 63 in six bits
   EXPECT_EQ("0111111", bits());
   decodeFrom({0x02});
   uint32_t n = 0;
   ASSERT_EQ(0, pd_SmallLength(pctxt, &n));
   EXPECT_EQ(2u, n);
}

TEST_F(PerInt, UnconstrainedLengthForms)
{
   const struct {
      uint64_t n;
      std::vector<uint8_t> wire;
      int covered;
   } cases[] = {
      {0, {0x00}, 0},           {127, {0x7F}, 127},
      {128, {0x80, 0x80}, 128}, {16383, {0xBF, 0xFF}, 16383},
      {16384, {0xC1}, 16384},   {65536, {0xC4}, 65536},
      {100000, {0xC4}, 65536},  {49152, {0xC3}, 49152},
   };
   for (auto& c : cases) {
      encodeMode();
      EXPECT_EQ(c.covered, pe_Length(pctxt, c.n)) << c.n;
      EXPECT_EQ(c.wire, bytes()) << c.n;
      decodeOwnOutput();
      uint64_t back = 1;
      EXPECT_EQ(c.n >= 16384 ? RT_OK_FRAG : 0, pd_Length64(pctxt, &back));
      EXPECT_EQ((uint64_t)c.covered, back);
   }
}

TEST_F(PerInt, ConstrainedLengthConsumesTheOneShotConstraint)
{
   decodeFrom({0x80});
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 4, 0, 0));
   uint64_t n = 0;
   ASSERT_EQ(0, pd_Length64(pctxt, &n));
   EXPECT_EQ(3u, n);  // 10 + 1
   EXPECT_EQ(2u, bitPos());
   EXPECT_EQ(0u, pu_copySizeConstraint(pctxt).rootUpper);

   decodeFrom({});
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 4, 0, 0));
   EXPECT_EQ(RTERR_ENDOFBUF, pd_Length64(pctxt, &n));
   Asn1SizeCnst after = pu_copySizeConstraint(pctxt);
   EXPECT_EQ(0u, after.rootLower | after.rootUpper | after.extLower | after.extUpper);
}

TEST_F(PerInt, LargeUpperBoundUsesTheGeneralFormWithoutBoundTest)
{
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 0, 100000, 0, 0));
   EXPECT_EQ(1000, pe_Length(pctxt, 1000));
   EXPECT_EQ((std::vector<uint8_t>{0x83, 0xE8}), bytes());
   decodeFrom({0x81, 0x00});
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 20000, 70000, 0, 0));
   uint64_t n = 0;
   EXPECT_EQ(0, pd_Length64(pctxt, &n));  // below the lower bound, still taken
   EXPECT_EQ(256u, n);
}

TEST_F(PerInt, ExtensibleSizeAndViolations)
{
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 4, 5, 10));
   EXPECT_EQ(6, pe_Length(pctxt, 6));
   EXPECT_EQ("1" + bitsOf(6, 8), bits());
   decodeOwnOutput();
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 4, 5, 10));
   uint64_t n = 0;
   ASSERT_EQ(0, pd_Length64(pctxt, &n));
   EXPECT_EQ(6u, n);

   encodeMode();
   ASSERT_EQ(0, pu_setSizeConstraint(pctxt, 1, 4, 0, 0));
   ASSERT_EQ(0, rtxCtxtPushElemName(pctxt, "lanes"));
   EXPECT_EQ(RTERR_CONSVIO, pe_Length(pctxt, 5));
   EXPECT_EQ((std::vector<std::string>{"lanes", "5"}), errorParams());
   EXPECT_EQ(0u, pu_copySizeConstraint(pctxt).rootUpper);
}

TEST_F(PerInt, ComponentLengthAddsFragmentsWithoutMoving)
{
   std::vector<uint8_t> wire = {0xC1};
   wire.resize(1 + 16384, 0xAB);
   wire.push_back(0x05);
   wire.resize(wire.size() + 5, 0xCD);
   decodeFrom(wire);
   uint64_t total = 0;
   ASSERT_EQ(0, pd_GetComponentLength64(pctxt, 8, &total));
   EXPECT_EQ(16389u, total);
   EXPECT_EQ(0u, bitPos());
   EXPECT_EQ(16389, pd_GetComponentLength(pctxt, 8));
   decodeFrom({0xC1, 0x00});
   EXPECT_EQ(RTERR_ENDOFBUF, pd_GetComponentLength(pctxt, 8));
}

// Octets of the shortest two's complement form of v.
static unsigned twosCompOctets(int64_t v)
{
   unsigned n = 1;
   while (n < 8 && !(v >= -(1ll << (8 * n - 1)) && v < (1ll << (8 * n - 1)))) n++;
   return n;
}

TEST_F(PerInt, RandomIntegersRoundTripAtX691BitCounts)
{
   std::mt19937_64 rng(4242);
   for (int i = 0; i < 3000; i++) {
      auto rnd = [&] {
         uint64_t r = rng() >> (rng() % 64);
         return (int64_t)((rng() & 1) ? ~r : r);
      };
      int64_t a = rnd(), b = rnd();
      int64_t lower = std::min(a, b), upper = std::max(a, b);
      uint64_t span = (uint64_t)upper - (uint64_t)lower;
      int64_t value =
         (int64_t)((uint64_t)lower + (span == UINT64_MAX ? rng() : rng() % (span + 1)));

      encodeMode();
      ASSERT_EQ(0, pe_ConsInt64(pctxt, value, lower, upper));
      ASSERT_EQ(rtxUInt64BitLen(span), bitPos());
      uint64_t mark = bitPos();
      ASSERT_EQ(0, pe_UnconsInt64Unaligned(pctxt, value));
      ASSERT_EQ(8u * (1 + twosCompOctets(value)), bitPos() - mark);
      mark = bitPos();
      ASSERT_EQ(0, pe_SemiConsInt64(pctxt, value, lower));
      uint64_t t = (uint64_t)value - (uint64_t)lower;
      ASSERT_EQ(t == 0 ? 8u : 8u + 8u * ((rtxUInt64BitLen(t) + 7) / 8), bitPos() - mark);
      uint32_t small = (uint32_t)(rng() % 0x1000000);
      ASSERT_EQ(0, pe_SmallNonNegWholeNumber(pctxt, small));

      decodeOwnOutput();
      int64_t c = 0, u = 0, s = 0;
      uint32_t sm = 0;
      ASSERT_EQ(0, pd_ConsInt64(pctxt, &c, lower, upper));
      ASSERT_EQ(0, pd_UnconsInt64(pctxt, &u));
      ASSERT_EQ(0, pd_SemiConsInt64(pctxt, &s, lower));
      ASSERT_EQ(0, pd_SmallNonNegWholeNumber(pctxt, &sm));
      ASSERT_EQ(value, c);
      ASSERT_EQ(value, u);
      ASSERT_EQ(value, s);
      ASSERT_EQ(small, sm);
   }
}

TEST_F(PerInt, RandomLengthsRoundTrip)
{
   std::mt19937 rng(99);
   for (int i = 0; i < 3000; i++) {
      uint64_t lower = rng() % 300, upper = lower + rng() % 70000;
      uint64_t n = lower + rng() % (upper - lower + 1);
      encodeMode();
      ASSERT_EQ(0, pu_setSizeConstraint(pctxt, lower, upper, 0, 0));
      int covered = pe_Length(pctxt, n);
      uint64_t expectCovered =
         upper < 65536 || n < 16384 ? n : std::min<uint64_t>(n / 16384, 4) * 16384;
      ASSERT_EQ((int)expectCovered, covered);
      uint64_t expectBits = upper < 65536 ? rtxUInt64BitLen(upper - lower)
                            : n < 128     ? 8
                            : n < 16384   ? 16
                                          : 8;
      ASSERT_EQ(expectBits, bitPos()) << lower << ".." << upper << " n " << n;
      decodeOwnOutput();
      ASSERT_EQ(0, pu_setSizeConstraint(pctxt, lower, upper, 0, 0));
      uint64_t back = 0;
      int stat = pd_Length64(pctxt, &back);
      ASSERT_EQ(upper >= 65536 && n >= 16384 ? RT_OK_FRAG : 0, stat);
      ASSERT_EQ((uint64_t)covered, back);
   }
}
