// Bit cursor: single bits, fields, arrays, cursor moves, buffer growth, and
// the PER message buffers over it.
#include <random>

#include "ASN1RtContext.h"
#include "asn1EventHandler.h"
#include "asn1PerCppTypes.h"
#include "per_fixture.h"

using BitCursor = PerTest;

TEST_F(BitCursor, ThirteenBitsFromBoundaryLeaveThreeFreeZeroBits)
{
   ctx.buffer.data[1] = 0xFF;  // the buffer is never cleared beforehand
   ASSERT_EQ(0, rtxEncBits(pctxt, 0x1FFF, 13));
   EXPECT_EQ(1u, ctx.buffer.byteIndex);
   EXPECT_EQ(3, ctx.buffer.bitOffset);
   EXPECT_EQ(0xF8, ctx.buffer.data[1]);
}

TEST_F(BitCursor, WritesCutWideValuesAndRefuseLargeCounts)
{
   ASSERT_EQ(0, rtxEncBits(pctxt, 0xF5, 4));
   EXPECT_EQ("0101", bits());
   EXPECT_EQ(RTERR_INVPARAM, rtxEncBits(pctxt, 1, 33));
   EXPECT_EQ(RTERR_INVPARAM, rtxEncBitsFromSize(pctxt, 1, 65));
   EXPECT_EQ(4u, bitPos());
   ASSERT_EQ(0, rtxEncBit(pctxt, 0x100));  // only the low byte counts
   ASSERT_EQ(0, rtxEncBit(pctxt, 0x02));
   EXPECT_EQ("010101", bits());
}

TEST_F(BitCursor, Bits64WritesHighPartThenLowAndLosesErrors)
{
   uint64_t v = 0x2AB12345678ull;  // 42 bits
   ASSERT_EQ(0, pe_bits64(pctxt, v, 42));
   EXPECT_EQ(bitsOf(v, 42), bits());

   uint8_t small[1];
   ASSERT_EQ(0, pu_setBuffer(pctxt, small, sizeof(small), false));
   EXPECT_EQ(0, pe_bits64(pctxt, v, 42));  // fails inside, reports success
   EXPECT_EQ(0u, bitPos());
   EXPECT_NE(0, rtxErrGetStatus(pctxt));
}

TEST_F(BitCursor, DynamicBufferGrowsBySizeOrNeed)
{
   ASSERT_EQ(1024u, ctx.buffer.size);
   std::vector<uint8_t> block(1024, 0xA5);
   ASSERT_EQ(0, rtxEncBitsFromByteArray(pctxt, block.data(), 1024 * 8));
   EXPECT_EQ(1024u, ctx.buffer.size);
   ASSERT_EQ(0, rtxEncBits(pctxt, 0x3C, 8));
   EXPECT_EQ(2048u, ctx.buffer.size);

   encodeMode();
   std::vector<uint8_t> big(5000, 0x5A);
   ASSERT_EQ(0, rtxEncBitsFromByteArray(pctxt, big.data(), 5000 * 8));
   EXPECT_EQ(6024u, ctx.buffer.size);
   EXPECT_EQ(big, bytes());
}

TEST_F(BitCursor, FixedOutputBufferOverflows)
{
   uint8_t out[2];
   ASSERT_EQ(0, pu_setBuffer(pctxt, out, sizeof(out), false));
   ASSERT_EQ(0, rtxEncBits(pctxt, 0xFFFF, 16));
   EXPECT_EQ(RTERR_BUFOVFLW, rtxEncBit(pctxt, 1));
}

TEST_F(BitCursor, ZeroCountsAndLimitsOfReads)
{
   decodeFrom({0xB6, 0x12, 0x34, 0x56, 0x78, 0x9A});
   uint8_t b = 0x77;
   uint32_t w = 0x77;
   EXPECT_EQ(0, rtxDecBitsToByte(pctxt, &b, 0));
   EXPECT_EQ(0x77, b);  // left unwritten on purpose
   EXPECT_EQ(0, rtxDecBits(pctxt, &w, 0));
   EXPECT_EQ(0u, w);
   EXPECT_EQ(RTERR_TOOBIG, rtxDecBits(pctxt, &w, 33));
   EXPECT_EQ(RTERR_TOOBIG, rtxDecBitsToByte(pctxt, &b, 9));
   uint16_t h = 0;
   EXPECT_EQ(RTERR_TOOBIG, rtxDecBitsToUInt16(pctxt, &h, 17));
   EXPECT_EQ(0u, bitPos());

   ASSERT_EQ(0, rtxDecBitsToByte(pctxt, &b, 3));
   EXPECT_EQ(5, b);  // 101
   ASSERT_EQ(0, rtxDecBitsToUInt16(pctxt, &h, 10));
   EXPECT_EQ((0xB612u >> 3) & 0x3FF, h);
}

TEST_F(BitCursor, SizeReadOfFortyBitsKeepsTheLastThirtyTwo)
{
   decodeFrom({0xAB, 0x12, 0x34, 0x56, 0x78});
   uint64_t v = 0;
   ASSERT_EQ(0, rtxDecBitsToSize(pctxt, &v, 40));
   EXPECT_EQ(0x12345678u, v);
   EXPECT_EQ(40u, bitPos());
}

TEST_F(BitCursor, ByteArrayReadChecksRoomAndSkipsWithoutDestination)
{
   decodeFrom({0xFF, 0x80, 0x00});
   uint8_t one[1];
   EXPECT_EQ(RTERR_STROVFLW, rtxDecBitsToByteArray(pctxt, one, 1, 9));
   ASSERT_EQ(0, rtxDecBitsToByteArray(pctxt, nullptr, 0, 9));
   EXPECT_EQ(9u, bitPos());
}

TEST_F(BitCursor, MovesStopAtTheEnds)
{
   decodeFrom({0x00, 0x00});
   EXPECT_EQ(RTERR_ENDOFBUF, rtxMoveBitCursor(pctxt, -1));
   ASSERT_EQ(0, rtxMoveBitCursor(pctxt, 16));
   EXPECT_EQ(16u, bitPos());
   ASSERT_EQ(0, rtxMoveBitCursor(pctxt, -5));
   EXPECT_EQ(RTERR_ENDOFBUF, rtxMoveBitCursor(pctxt, 6));
   EXPECT_EQ(17u, bitPos());  // left where the move failed
   rtxErrReset(pctxt);
   uint8_t bit;
   EXPECT_EQ(RTERR_ENDOFBUF, rtxDecBit(pctxt, &bit));
}

TEST_F(BitCursor, TruncatedInputStacksEachCallersPosition)
{
   decodeFrom({0x12});
   int64_t v;
   EXPECT_EQ(RTERR_ENDOFBUF, pd_ConsInt64(pctxt, &v, 0, 0xFFFFF));
   ASSERT_NE(nullptr, lastError());
   EXPECT_EQ(RTERR_ENDOFBUF, lastError()->status);
   std::vector<std::string> mods = errorModules();
   ASSERT_GE(mods.size(), 3u);
   EXPECT_NE(mods.end(), std::find(mods.begin(), mods.end(), "rtxsrc/rtxBitDecode"));
   EXPECT_EQ("rtpersrc/pd_ConsWholeNumber64", mods.back());
   EXPECT_EQ(1u, ctx.errInfo.count);  // one record gaining positions
}

// Reference writer and reader: one bit at a time.
static void refWrite(std::vector<uint8_t>& out, uint64_t& pos, uint64_t value, unsigned nbits)
{
   for (unsigned i = nbits; i-- > 0; pos++) {
      if (pos / 8 >= out.size()) out.push_back(0);
      if ((value >> i) & 1) out[pos / 8] |= (uint8_t)(0x80 >> (pos % 8));
   }
}

TEST_F(BitCursor, RandomFieldsRoundTripAtX691Positions)
{
   std::mt19937_64 rng(20261121);
   for (int round = 0; round < 40; round++) {
      encodeMode();
      std::vector<uint8_t> ref;
      uint64_t refPos = 0;
      std::vector<std::pair<uint64_t, unsigned>> fields;
      for (int i = 0; i < 100; i++) {
         unsigned n = 1 + (unsigned)(rng() % 64);
         uint64_t v = rng() & (n == 64 ? ~0ull : ((1ull << n) - 1));
         fields.emplace_back(v, n);
         if (n <= 32)
            ASSERT_EQ(0, rtxEncBits(pctxt, (uint32_t)v, n));
         else
            ASSERT_EQ(0, rtxEncBitsFromSize(pctxt, v, n));
         refWrite(ref, refPos, v, n);
         ASSERT_EQ(refPos, bitPos());
      }
      ASSERT_EQ(ref, bytes());
      decodeOwnOutput();
      for (auto& f : fields) {
         uint64_t got = 0;
         if (f.second <= 32) {
            uint32_t w = 0;
            ASSERT_EQ(0, rtxDecBits(pctxt, &w, f.second));
            got = w;
         } else {
            uint32_t hi = 0, lo = 0;
            ASSERT_EQ(0, rtxDecBits(pctxt, &hi, f.second - 32));
            ASSERT_EQ(0, rtxDecBits(pctxt, &lo, 32));
            got = (uint64_t)hi << 32 | lo;
         }
         ASSERT_EQ(f.first, got);
      }
      EXPECT_EQ(refPos, bitPos());
   }
}

TEST_F(BitCursor, RandomByteArraysAtAnyOffsetRoundTrip)
{
   std::mt19937 rng(7);
   for (int round = 0; round < 500; round++) {
      encodeMode();
      unsigned lead = rng() % 8;
      uint64_t nbits = rng() % 200;
      std::vector<uint8_t> src(nbits / 8 + 2);
      for (auto& b : src) b = (uint8_t)rng();
      ASSERT_EQ(0, rtxEncBits(pctxt, 0x55, lead));
      ASSERT_EQ(0, rtxEncBitsFromByteArray(pctxt, src.data(), nbits));
      ASSERT_EQ(0, rtxEncBit(pctxt, 1));  // a marker right behind the array
      ASSERT_EQ(lead + nbits + 1, bitPos());

      std::vector<uint8_t> ref;
      uint64_t pos = 0;
      refWrite(ref, pos, 0x55, lead);
      for (uint64_t i = 0; i < nbits; i++) refWrite(ref, pos, (src[i / 8] >> (7 - i % 8)) & 1, 1);
      refWrite(ref, pos, 1, 1);
      ASSERT_EQ(ref, bytes()) << "lead " << lead << " bits " << nbits;

      decodeOwnOutput();
      ASSERT_EQ(0, rtxMoveBitCursor(pctxt, (int32_t)lead));
      std::vector<uint8_t> back(src.size(), 0xEE);
      ASSERT_EQ(0, rtxDecBitsToByteArray(pctxt, back.data(), back.size(), nbits));
      for (uint64_t i = 0; i < (nbits + 7) / 8; i++) {
         uint8_t mask = i < nbits / 8 ? 0xFF : (uint8_t)(0xFF00 >> (nbits % 8));
         ASSERT_EQ(src[i] & mask, back[i]) << "byte " << i;  // low bits cleared
      }
      uint8_t marker = 0;
      ASSERT_EQ(0, rtxDecBit(pctxt, &marker));
      ASSERT_EQ(1, marker);
   }
}

TEST_F(BitCursor, ExtensionPresenceBitsFollowTheList)
{
   ASN1OpenType present = {2, (const uint8_t*)"\x01\x02"};
   VXRTDListNode n3 = {nullptr, nullptr, nullptr};
   VXRTDListNode n2 = {&present, &n3, nullptr};
   VXRTDListNode n1 = {nullptr, &n2, nullptr};
   ASN1TSeqExt list = {3, &n1, &n3};
   ASN1TSeqExt empty = {0, nullptr, nullptr};
   ASSERT_EQ(0, pe_OpenTypeExtBits(pctxt, nullptr));
   ASSERT_EQ(0, pe_OpenTypeExtBits(pctxt, &empty));
   EXPECT_EQ(0u, bitPos());
   ASSERT_EQ(0, pe_OpenTypeExtBits(pctxt, &list));
   EXPECT_EQ("010", bits());
   // Only the present addition has content: length 2 and its octets.
   ASSERT_EQ(0, pe_OpenTypeExt(pctxt, &list));
   EXPECT_EQ("010" + bitsOf(0x020102, 24), bits());
}

TEST(PerBuffers, EncodeBufferKindCopyAndReset)
{
   ASN1PEREncodeBuffer enc(false);
   EXPECT_TRUE(enc.isA(VXRTMessageBufferIF::PEREncode));
   EXPECT_FALSE(enc.isA(VXRTMessageBufferIF::PERDecode));
   VXCTXT* c = enc.getCtxtPtr();
   ASSERT_NE(nullptr, c->pASN1Info);
   ASSERT_EQ(0, pe_ConsUInt64(c, 300, 0, 1000));
   EXPECT_EQ(2u, enc.getMsgLen());
   uint8_t* copy = enc.getMsgCopy();
   ASSERT_NE(nullptr, copy);
   EXPECT_EQ(0, memcmp(copy, enc.getMsgPtr(), 2));
   EXPECT_EQ(300u >> 2, copy[0]);
   delete[] copy;
   ASSERT_EQ(0, enc.init());
   EXPECT_EQ(0u, enc.getMsgLen());
}

TEST(PerBuffers, DecodeBufferReadsCallerBytesAndPeeks)
{
   const uint8_t msg[] = {0xC3, 0x5A};
   ASN1PERDecodeBuffer dec(msg, sizeof(msg), false);
   EXPECT_TRUE(dec.isA(VXRTMessageBufferIF::PERDecode));
   EXPECT_FALSE(dec.isA(VXRTMessageBufferIF::PEREncode));
   EXPECT_EQ(msg, dec.getMsgPtr());
   uint32_t v = 0;
   ASSERT_EQ(0, dec.decodeBits(4, v));
   EXPECT_EQ(0xCu, v);
   uint8_t peek = 0;
   ASSERT_EQ(0, dec.peekByte(peek));
   EXPECT_EQ(0x35, peek);
   EXPECT_EQ(1u, dec.getMsgLen());  // still inside the first byte
   ASSERT_EQ(0, dec.byteAlign());   // unaligned: no effect
   EXPECT_EQ(4u, pu_getMsgLenBits(dec.getCtxtPtr()));
   uint8_t rest[2];
   EXPECT_EQ(RTERR_ENDOFBUF, dec.decodeBytes(2, rest, sizeof(rest)));
}

// Records events in order.
class RecordingHandler : public Asn1NamedEventHandler {
 public:
   std::string log;
   void startElement(const char* name, int index) override
   {
      log += std::string("<") + name + std::to_string(index);
   }
   void endElement(const char* name, int) override { log += std::string(">") + name; }
   void uIntValue(uint32_t v) override { log += "=" + std::to_string(v); }
};

TEST(PerEvents, HandlersReceiveEventsAndAnEmptyListIsHarmless)
{
   VXCTXT c;
   ASSERT_EQ(0, rtxInitContext(&c));
   ASSERT_EQ(nullptr, c.pASN1Info);
   Asn1NamedEventHandler::invokeUIntValue(&c, 1);  // no information record: nothing
   Asn1NamedEventHandler64::invokeStartElement(&c, "speed", -1);
   ASSERT_NE(nullptr, c.pASN1Info);  // created by the start event

   RecordingHandler h1, h2;
   ASSERT_EQ(0, rtAddEventHandler(&c, &h1));
   ASSERT_EQ(0, rtAddEventHandler(&c, &h2));
   Asn1NamedEventHandler64::invokeStartElement(&c, "elem", 3);
   Asn1NamedEventHandler::invokeUIntValue(&c, 42);
   Asn1NamedEventHandler64::invokeEndElement(&c, "elem", 3);
   EXPECT_EQ("<elem3=42>elem", h1.log);
   EXPECT_EQ(h1.log, h2.log);
   rtFreeContext(&c);
}
