// The capture reader on capture files built here field by field, around
// real message encodings from the test data. Every file and frame is handed
// over in a heap block of exactly its size, so a read past it shows under
// AddressSanitizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "rtxCapture.h"

namespace {

using Bytes = std::vector<uint8_t>;
using vxcap::CaptureEvent;
using vxcap::CaptureReader;
using vxcap::ItsPacket;

Bytes fromHex(const std::string& hex)
{
   Bytes b;
   for (size_t i = 0; i + 1 < hex.size(); i += 2) b.push_back(std::stoi(hex.substr(i, 2), 0, 16));
   return b;
}

Bytes dataFile(const char* name)
{
   std::ifstream in(std::string(VX_TEST_DATA_DIR) + "/" + name);
   std::string hex;
   in >> hex;
   return fromHex(hex);
}

// The captured CAM of protocol version 1 (41 bytes) and the whole Ethernet
// frame of another captured CAM with that CAM alone beside it.
const Bytes& cam()
{
   static const Bytes b = dataFile("cam_captured_protocol1.uper.hex");
   return b;
}

// Appends big- or little-endian numbers.
struct Out {
   Bytes b;
   bool little = false;
   Out& u8(unsigned v)
   {
      b.push_back(static_cast<uint8_t>(v));
      return *this;
   }
   Out& u16(unsigned v) { return little ? u8(v).u8(v >> 8) : u8(v >> 8).u8(v); }
   Out& u32(uint32_t v) { return little ? u16(v & 0xffff).u16(v >> 16) : u16(v >> 16).u16(v); }
   Out& add(const Bytes& x)
   {
      b.insert(b.end(), x.begin(), x.end());
      return *this;
   }
   Out& zeros(size_t n)
   {
      b.insert(b.end(), n, 0);
      return *this;
   }
};

const Bytes kSource = {0x0a, 0x1b, 0x2c, 0x3d, 0x4e, 0x5f};

// GeoNetworking header type, subtype, extended header length.
struct GnKind {
   const char* name;
   unsigned ht, hst;
   size_t ext;
};
const GnKind kShb{"SHB", 5, 0, 28}, kTsb{"TSB", 5, 1, 28}, kGbc{"GBC", 4, 0, 44},
   kGac{"GAC", 3, 1, 44}, kGuc{"GUC", 2, 0, 48}, kBeacon{"BEACON", 1, 0, 24},
   kLsRequest{"LS-REQUEST", 6, 0, 36}, kLsReply{"LS-REPLY", 6, 1, 48};

// The common header onward: common header, extended header, BTP, message.
Bytes commonOnward(const Bytes& msg, const GnKind& k = kShb, char btp = 'B', unsigned port = 2001,
                   int payloadLength = -1)
{
   Out o;
   unsigned nh = btp == 'A' ? 1 : btp == 'B' ? 2 : 0;
   size_t pl = btp ? msg.size() + 4 : msg.size();
   o.u8(nh << 4).u8(k.ht << 4 | k.hst).u8(2).u8(0);
   o.u16(payloadLength >= 0 ? payloadLength : pl).u8(1).u8(0);
   for (size_t i = 0; i < k.ext; i++) o.u8(i + 1);
   if (btp) o.u16(port).u16(btp == 'A' ? 40000 : 0);
   return o.add(msg).b;
}

Bytes oerLength(size_t n)
{
   if (n < 128) return {static_cast<uint8_t>(n)};
   Bytes b;
   for (size_t v = n; v != 0; v >>= 8) b.insert(b.begin(), static_cast<uint8_t>(v));
   b.insert(b.begin(), static_cast<uint8_t>(0x80 | b.size()));
   return b;
}

Bytes varLength(size_t n)
{
   if (n < 0x80) return {static_cast<uint8_t>(n)};
   return {static_cast<uint8_t>(0x80 | n >> 8), static_cast<uint8_t>(n)};
}

enum Security {
   kNone,
   kUnsecuredV3,
   kSignedV3,
   kEncryptedV3,
   kUnsecuredV2,
   kSignedV2,
   kEncryptedV2
};

// A whole GeoNetworking packet: basic header, the envelope, the rest.
Bytes gnPacket(const Bytes& inner, Security sec = kNone)
{
   Out o;
   o.u8(sec == kNone ? 0x11 : 0x12).u8(0).u8(0x1a).u8(1);
   switch (sec) {
      case kNone:
         return o.add(inner).b;
      case kUnsecuredV3:
         return o.u8(3).u8(0x80).add(oerLength(inner.size())).add(inner).b;
      case kSignedV3:
         // hash algorithm, preamble with data present, data, header info...
         o.u8(3).u8(0x81).u8(0).u8(0x40).u8(3).u8(0x80).add(oerLength(inner.size())).add(inner);
         return o.u8(0x40).u8(3).zeros(70).b;
      case kEncryptedV3:
         return o.u8(3).u8(0x82).zeros(40).b;
      case kUnsecuredV2:
      case kSignedV2:
      case kEncryptedV2: {
         o.u8(2).u8(16);
         for (int i = 0; i < 16; i++) o.u8(0xf0 + i);
         o.u8(sec == kUnsecuredV2 ? 0 : sec == kSignedV2 ? 1 : 2);
         if (sec == kEncryptedV2) return o.u8(8).zeros(8).b;
         return o.add(varLength(inner.size())).add(inner).u8(0).b;
      }
   }
   return o.b;
}

enum Link {
   kEthernet,
   kEthernetVlan,
   kSll,
   kSll2,
   kWifi,
   kWifiQos,
   kWifiFromDs,
   kWifiFourAddr,
   kRadiotap
};

uint32_t linkType(Link l)
{
   switch (l) {
      case kEthernet:
      case kEthernetVlan:
         return vxcap::kLinkEthernet;
      case kSll:
         return vxcap::kLinkLinuxSll;
      case kSll2:
         return vxcap::kLinkLinuxSll2;
      case kRadiotap:
         return vxcap::kLinkRadiotap;
      default:
         return vxcap::kLinkIeee80211;
   }
}

Bytes wifi(const Bytes& gn, unsigned subtype, unsigned ds, uint16_t ethertype)
{
   Out o;
   o.u8(subtype << 4 | 2 << 2).u8(ds);
   o.u16(0);
   Bytes other(6, 0xee);
   // Address 2, 3 or 4 carries the source, by the distribution-system bits.
   o.add(Bytes(6, 0xff)).add(ds == 0 ? kSource : other).add(ds == 2 ? kSource : other).u16(0);
   if (ds == 3) o.add(kSource);
   if (subtype & 8) o.u16(0);
   o.add({0xaa, 0xaa, 0x03, 0, 0, 0}).u16(ethertype);
   return o.add(gn).b;
}

Bytes frame(const Bytes& gn, Link l = kEthernet, uint16_t ethertype = 0x8947)
{
   Out o;
   switch (l) {
      case kEthernet:
         return o.add(Bytes(6, 0xff)).add(kSource).u16(ethertype).add(gn).b;
      case kEthernetVlan:
         return o.add(Bytes(6, 0xff)).add(kSource).u16(0x8100).u16(7).u16(ethertype).add(gn).b;
      case kSll:
         return o.u16(0).u16(1).u16(6).add(kSource).u16(0).u16(ethertype).add(gn).b;
      case kSll2:
         return o.u16(ethertype).u16(0).u32(3).u16(1).u8(0).u8(6).add(kSource).u16(0).add(gn).b;
      case kWifi:
         return wifi(gn, 0, 0, ethertype);
      case kWifiQos:
         return wifi(gn, 8, 0, ethertype);
      case kWifiFromDs:
         return wifi(gn, 0, 2, ethertype);
      case kWifiFourAddr:
         return wifi(gn, 8, 3, ethertype);
      case kRadiotap: {
         // present: TSFT and flags; the flags say an FCS ends the frame.
         o.little = true;
         o.u8(0).u8(0).u16(17).u32(3).u32(0).u32(0).u8(0x10);  // TSFT at 8, flags at 16
         return o.add(wifi(gn, 8, 0, ethertype)).u32(0xdeadbeef).b;
      }
   }
   return o.b;
}

// pcap: frames stamped one second apart from `start`, the fraction 250 ms.
Bytes pcap(const std::vector<Bytes>& frames, uint32_t link, bool nanos = false, bool little = true)
{
   Out o;
   o.little = little;
   o.u32(nanos ? 0xa1b23c4d : 0xa1b2c3d4).u16(2).u16(4).u32(0).u32(0).u32(65535).u32(link);
   uint32_t t = 1700000000;
   for (const Bytes& f : frames)
      o.u32(t++).u32(nanos ? 250000000 : 250000).u32(f.size()).u32(f.size()).add(f);
   return o.b;
}

Out block(bool little, uint32_t type, const Bytes& body)
{
   Out o;
   o.little = little;
   size_t pad = (4 - body.size() % 4) % 4;
   uint32_t len = static_cast<uint32_t>(12 + body.size() + pad);
   o.u32(type).u32(len).add(body).zeros(pad).u32(len);
   return o;
}

Bytes section(bool little)
{
   Out b;
   b.little = little;
   b.u32(0x1a2b3c4d).u16(1).u16(0).u32(0xffffffff).u32(0xffffffff);
   return block(little, 0x0a0d0d0a, b.b).b;
}

// tsresol < 0: no option.
Bytes interfaceBlock(bool little, uint16_t link, int tsresol = -1)
{
   Out b;
   b.little = little;
   b.u16(link).u16(0).u32(0);
   if (tsresol >= 0) b.u16(9).u16(1).u8(tsresol).zeros(3);
   b.u16(0).u16(0);
   return block(little, 1, b.b).b;
}

Bytes enhancedBlock(bool little, uint32_t itf, uint64_t ticks, const Bytes& data)
{
   Out b;
   b.little = little;
   b.u32(itf).u32(ticks >> 32).u32(ticks & 0xffffffff).u32(data.size()).u32(data.size());
   return block(little, 6, b.add(data).b).b;
}

Bytes simpleBlock(bool little, const Bytes& data)
{
   Out b;
   b.little = little;
   return block(little, 3, b.u32(data.size()).add(data).b).b;
}

Bytes cat(std::initializer_list<Bytes> parts)
{
   Bytes b;
   for (const Bytes& p : parts) b.insert(b.end(), p.begin(), p.end());
   return b;
}

// What reading a whole file gave.
struct Seen {
   CaptureEvent ev;
   ItsPacket pkt;
   bool isFrame() const { return ev.kind == CaptureEvent::Frame; }
   Bytes message() const { return Bytes(pkt.message, pkt.message + pkt.messageLength); }
};

// Reads the file from a heap block of exactly its size; each frame is also
// parsed from an exact copy of its own, and both parses must agree.
std::vector<Seen> readAll(const Bytes& file, std::unique_ptr<uint8_t[]>* keep)
{
   keep->reset(new uint8_t[file.size()]);
   memcpy(keep->get(), file.data(), file.size());
   CaptureReader r;
   const char* problem = nullptr;
   std::vector<Seen> all;
   if (!r.open(keep->get(), file.size(), &problem)) {
      ADD_FAILURE() << "not opened: " << problem;
      return all;
   }
   Seen s;
   while (r.next(&s.ev)) {
      if (s.isFrame()) {
         const vxcap::CapturedFrame& f = s.ev.frame;
         EXPECT_GE(f.data, keep->get());
         EXPECT_LE(f.data + f.length, keep->get() + file.size());
         std::unique_ptr<uint8_t[]> own(new uint8_t[f.length]);
         memcpy(own.get(), f.data, f.length);
         vxcap::CapturedFrame copy = f;
         copy.data = own.get();
         ItsPacket alone;
         vxcap::parseFrame(copy, &alone);
         vxcap::parseFrame(f, &s.pkt);
         EXPECT_EQ(alone.outcome, s.pkt.outcome);
         EXPECT_EQ(alone.messageLength, s.pkt.messageLength);
         EXPECT_STREQ(alone.text, s.pkt.text);
      }
      all.push_back(s);
   }
   return all;
}

std::string gnName(const ItsPacket& p)
{
   char buf[16];
   return vxcap::gnTypeName(p.gnType, p.gnSubtype, buf);
}

std::string security(const ItsPacket& p)
{
   char buf[32];
   return vxcap::securityName(p.securityVersion, p.security, buf);
}

Bytes source(const ItsPacket& p) { return Bytes(p.source, p.source + p.sourceLength); }

// --- Link layers, packet types, envelopes ---------------------------------

TEST(CaptureLink, EveryLinkTypeGivesTheMessageAndItsSource)
{
   const Link links[] = {kEthernet, kEthernetVlan, kSll,          kSll2,    kWifi,
                         kWifiQos,  kWifiFromDs,   kWifiFourAddr, kRadiotap};
   for (Link l : links) {
      SCOPED_TRACE(testing::Message() << "link " << l);
      Bytes f = frame(gnPacket(commonOnward(cam())), l);
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(pcap({f}, linkType(l)), &keep);
      ASSERT_EQ(seen.size(), 1u);
      ASSERT_TRUE(seen[0].isFrame());
      EXPECT_EQ(seen[0].ev.frame.linkType, linkType(l));
      const ItsPacket& p = seen[0].pkt;
      ASSERT_EQ(p.outcome, ItsPacket::Message) << p.text;
      EXPECT_EQ(seen[0].message(), cam());
      EXPECT_EQ(source(p), kSource);
      EXPECT_EQ(p.port, 2001);
      EXPECT_EQ(p.btp, 'B');
      EXPECT_EQ(gnName(p), "SHB");
      EXPECT_EQ(security(p), "none");
   }
}

TEST(CaptureLink, OtherProtocolsAreNotGeoNetworking)
{
   Bytes gn = gnPacket(commonOnward(cam()));
   struct Case {
      Bytes frame;
      uint32_t link;
   } cases[] = {
      {frame(gn, kEthernet, 0x0800), vxcap::kLinkEthernet},
      {frame(gn, kEthernetVlan, 0x86dd), vxcap::kLinkEthernet},
      {frame(gn, kSll, 0x0800), vxcap::kLinkLinuxSll},
      {frame(gn, kWifiQos, 0x0800), vxcap::kLinkIeee80211},
      // an 802.11 acknowledgement: a control frame of 10 bytes
      {Bytes{0xd4, 0, 0, 0, 1, 2, 3, 4, 5, 6}, vxcap::kLinkIeee80211},
      // a protected data frame
      {[&] {
          Bytes w = frame(gn, kWifi);
          w[1] |= 0x40;
          return w;
       }(),
       vxcap::kLinkIeee80211},
      {frame(gn), 228},  // a link type the reader does not know
   };
   for (const Case& c : cases) {
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(pcap({c.frame}, c.link), &keep);
      ASSERT_EQ(seen.size(), 1u);
      EXPECT_EQ(seen[0].pkt.outcome, ItsPacket::NotGeoNetworking) << seen[0].pkt.text;
   }
}

TEST(CaptureGn, PacketTypesAndBtp)
{
   struct Case {
      GnKind kind;
      char btp;
      unsigned port;
   } cases[] = {{kShb, 'B', 2001},       {kTsb, 'A', 2002},    {kGbc, 'B', 2002},
                {kGac, 'A', 2004},       {kGuc, 'B', 2007},    {kBeacon, 'B', 2001},
                {kLsRequest, 'A', 2008}, {kLsReply, 'B', 2003}};
   for (const Case& c : cases) {
      SCOPED_TRACE(c.kind.name);
      Bytes f = frame(gnPacket(commonOnward(cam(), c.kind, c.btp, c.port)));
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(pcap({f}, vxcap::kLinkEthernet), &keep);
      ASSERT_EQ(seen.size(), 1u);
      const ItsPacket& p = seen[0].pkt;
      ASSERT_EQ(p.outcome, ItsPacket::Message) << p.text;
      EXPECT_EQ(gnName(p), c.kind.name);
      EXPECT_EQ(p.btp, c.btp);
      EXPECT_EQ(p.port, c.port);
      EXPECT_EQ(p.sourcePort, c.btp == 'A' ? 40000 : 0);
      EXPECT_EQ(seen[0].message(), cam());
      EXPECT_EQ(p.messageOffset, 14 + 4 + 8 + c.kind.ext + 4);
   }
}

TEST(CaptureGn, NoMessageWithoutBtp)
{
   // A beacon without payload, and IPv6 over GeoNetworking.
   Bytes beacon = commonOnward({}, kBeacon, 0);
   Bytes ipv6 = commonOnward(Bytes(40, 0x60), kShb, 0);
   ipv6[0] = 0x30;
   for (const Bytes& inner : {beacon, ipv6}) {
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(pcap({frame(gnPacket(inner))}, vxcap::kLinkEthernet), &keep);
      ASSERT_EQ(seen.size(), 1u);
      EXPECT_EQ(seen[0].pkt.outcome, ItsPacket::NoMessage);
      EXPECT_TRUE(seen[0].pkt.hasCommonHeader);
   }
}

TEST(CaptureSecurity, EnvelopesOfBothGenerations)
{
   struct Case {
      Security sec;
      const char* name;
      bool readable;
   } cases[] = {{kNone, "none", true},
                {kUnsecuredV3, "unsecured-v3", true},
                {kSignedV3, "signed-v3", true},
                {kEncryptedV3, "encrypted-v3", false},
                {kUnsecuredV2, "unsecured-v2", true},
                {kSignedV2, "signed-v2", true},
                {kEncryptedV2, "encrypted-v2", false}};
   for (const Case& c : cases) {
      SCOPED_TRACE(c.name);
      Bytes f = frame(gnPacket(commonOnward(cam(), kGbc), c.sec), kSll);
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(pcap({f}, vxcap::kLinkLinuxSll), &keep);
      ASSERT_EQ(seen.size(), 1u);
      const ItsPacket& p = seen[0].pkt;
      EXPECT_EQ(security(p), c.name);
      EXPECT_TRUE(p.hasBasicHeader);
      if (c.readable) {
         ASSERT_EQ(p.outcome, ItsPacket::Message) << p.text;
         EXPECT_EQ(seen[0].message(), cam());
         EXPECT_EQ(gnName(p), "GBC");
      } else {
         EXPECT_EQ(p.outcome, ItsPacket::Problem);
         EXPECT_STREQ(p.reason, "encrypted");
         EXPECT_FALSE(p.hasCommonHeader);
      }
   }
}

TEST(CaptureSecurity, LongLengthsAndSignedExternal)
{
   // A message of 300 bytes: OER length 82 01 2c, variable length 81 2c...
   Bytes big = cam();
   big.resize(300, 0x5a);
   for (Security sec : {kSignedV3, kSignedV2}) {
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(pcap({frame(gnPacket(commonOnward(big), sec))}, 1), &keep);
      ASSERT_EQ(seen[0].pkt.outcome, ItsPacket::Message) << seen[0].pkt.text;
      EXPECT_EQ(seen[0].message(), big);
   }
   // Signed data whose preamble says only a hash of external data is there.
   Out o;
   o.u8(0x12).u8(0).u8(0x1a).u8(1).u8(3).u8(0x81).u8(0).u8(0x20).zeros(40);
   std::unique_ptr<uint8_t[]> keep;
   auto seen = readAll(pcap({frame(o.b)}, 1), &keep);
   EXPECT_EQ(seen[0].pkt.outcome, ItsPacket::Problem);
   EXPECT_STREQ(seen[0].pkt.reason, "no-payload");
   EXPECT_EQ(security(seen[0].pkt), "signed-external-v3");
}

// The real frame: Ethernet, a signed packet of the older generation, SHB,
// BTP-B to 2001, then the CAM that was cut out of it, and a zero tail.
TEST(CaptureRealFrame, GivesTheBareCamBesideIt)
{
   Bytes f = dataFile("cam_captured_station1.ethernet-frame.hex");
   ASSERT_EQ(f.size(), 187u);
   std::unique_ptr<uint8_t[]> keep;
   auto seen = readAll(pcap({f}, vxcap::kLinkEthernet, true, false), &keep);
   ASSERT_EQ(seen.size(), 1u);
   const ItsPacket& p = seen[0].pkt;
   ASSERT_EQ(p.outcome, ItsPacket::Message) << p.text;
   EXPECT_EQ(seen[0].message(), dataFile("cam_captured_station1.uper.hex"));
   EXPECT_EQ(security(p), "signed-v2");
   EXPECT_EQ(gnName(p), "SHB");
   EXPECT_EQ(p.btp, 'B');
   EXPECT_EQ(p.port, 2001);
   EXPECT_EQ(p.gnVersion, 1);
   EXPECT_EQ(source(p), Bytes(6, 0));
}

// --- Capture files ---------------------------------------------------------

TEST(CaptureFile, PcapInBothByteOrdersAndTimeUnits)
{
   Bytes f1 = frame(gnPacket(commonOnward(cam())));
   Bytes f2 = frame(gnPacket(commonOnward(cam(), kTsb, 'A', 2002)), kEthernet, 0x0806);
   for (int variant = 0; variant < 4; variant++) {
      bool nanos = variant & 1, little = variant & 2;
      SCOPED_TRACE(variant);
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(pcap({f1, f2}, 1, nanos, little), &keep);
      ASSERT_EQ(seen.size(), 2u);
      for (size_t i = 0; i < 2; i++) {
         const vxcap::CapturedFrame& fr = seen[i].ev.frame;
         EXPECT_EQ(fr.number, i + 1);
         EXPECT_TRUE(fr.hasTime);
         EXPECT_EQ(fr.seconds, 1700000000 + static_cast<int64_t>(i));
         EXPECT_EQ(fr.nanos, 250000000u);
         EXPECT_EQ(fr.fractionDigits, nanos ? 9 : 6);
         EXPECT_EQ(fr.length, i == 0 ? f1.size() : f2.size());
         EXPECT_EQ(fr.originalLength, fr.length);
      }
      EXPECT_EQ(seen[0].ev.frame.offset, 24u);
      EXPECT_EQ(seen[1].ev.frame.offset, 24u + 16 + f1.size());
      EXPECT_EQ(seen[0].pkt.outcome, ItsPacket::Message);
      EXPECT_EQ(seen[1].pkt.outcome, ItsPacket::NotGeoNetworking);
   }
}

TEST(CaptureFile, PcapNgInterfacesUnitsAndSections)
{
   for (bool little : {true, false}) {
      SCOPED_TRACE(little);
      Bytes ethFrame = frame(gnPacket(commonOnward(cam()), kSignedV3));
      Bytes wifiFrame = frame(gnPacket(commonOnward(cam(), kGuc)), kRadiotap);
      Bytes file =
         cat({section(little), interfaceBlock(little, 1),
              block(little, 0x0bad, Bytes(20, 1)).b,  // unknown: skipped
              interfaceBlock(little, 127, 9),         // nanoseconds
              enhancedBlock(little, 0, 1700000000123456ull, ethFrame),
              enhancedBlock(little, 1, 1700000001987654321ull, wifiFrame),
              simpleBlock(little, ethFrame), interfaceBlock(little, 1, 12),  // picoseconds
              enhancedBlock(little, 2, 1700000003123456789ull, ethFrame),
              // a new section in the other byte order, with an
              // interface counting 2^-10 s
              section(!little), interfaceBlock(!little, 113, 0x8a),
              enhancedBlock(!little, 0, (uint64_t(1700000002) << 10) + 512,
                            frame(gnPacket(commonOnward(cam())), kSll))});
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(file, &keep);
      ASSERT_EQ(seen.size(), 5u);
      struct Want {
         uint32_t link, itf;
         bool time;
         int64_t sec;
         uint32_t nanos;
         uint8_t digits;
         const char* security;
      } want[] = {{1, 0, true, 1700000000, 123456000, 6, "signed-v3"},
                  {127, 1, true, 1700000001, 987654321, 9, "none"},
                  {1, 0, false, 0, 0, 0, "signed-v3"},
                  {1, 2, true, 1700000, 3123456, 9, "signed-v3"},
                  {113, 0, true, 1700000002, 500000000, 9, "none"}};
      for (size_t i = 0; i < 5; i++) {
         SCOPED_TRACE(i);
         const vxcap::CapturedFrame& f = seen[i].ev.frame;
         ASSERT_TRUE(seen[i].isFrame()) << seen[i].ev.text;
         EXPECT_EQ(f.number, i + 1);
         EXPECT_EQ(f.linkType, want[i].link);
         EXPECT_EQ(f.interfaceId, want[i].itf);
         EXPECT_EQ(f.hasTime, want[i].time);
         EXPECT_EQ(f.seconds, want[i].sec);
         EXPECT_EQ(f.nanos, want[i].nanos);
         EXPECT_EQ(f.fractionDigits, want[i].digits);
         ASSERT_EQ(seen[i].pkt.outcome, ItsPacket::Message) << seen[i].pkt.text;
         EXPECT_EQ(seen[i].message(), cam());
         EXPECT_EQ(security(seen[i].pkt), want[i].security);
      }
   }
}

TEST(CaptureFile, PcapNgTimeOffset)
{
   for (bool little : {true, false}) {
      // if_tsoffset: 3600 seconds added to every stamp of the interface.
      Out b;
      b.little = little;
      b.u16(1).u16(0).u32(0).u16(14).u16(8);
      b.u32(little ? 3600 : 0).u32(little ? 0 : 3600).u16(0).u16(0);
      Bytes file = cat({section(little), block(little, 1, b.b).b,
                        enhancedBlock(little, 0, 1000000, frame(gnPacket(commonOnward(cam()))))});
      std::unique_ptr<uint8_t[]> keep;
      auto seen = readAll(file, &keep);
      ASSERT_EQ(seen.size(), 1u);
      EXPECT_EQ(seen[0].ev.frame.seconds, 3601);
   }
}

// --- Bad input ---------------------------------------------------------------

struct Expect {
   bool frame;          // a frame event (then the packet's problem), or a problem event
   const char* reason;  // of the event's or the packet's problem
   uint64_t number;     // frame number of the problem event, 0 for the file
   bool fatal;
};

void expectProblems(const Bytes& file, std::vector<Expect> want)
{
   std::unique_ptr<uint8_t[]> keep;
   auto seen = readAll(file, &keep);
   ASSERT_EQ(seen.size(), want.size());
   for (size_t i = 0; i < want.size(); i++) {
      SCOPED_TRACE(i);
      const Seen& s = seen[i];
      if (want[i].frame) {
         ASSERT_TRUE(s.isFrame()) << s.ev.text;
         if (want[i].reason == nullptr) {
            EXPECT_EQ(s.pkt.outcome, ItsPacket::Message) << s.pkt.text;
         } else {
            EXPECT_EQ(s.pkt.outcome, ItsPacket::Problem);
            EXPECT_STREQ(s.pkt.reason, want[i].reason) << s.pkt.text;
            EXPECT_LE(s.pkt.problemOffset, s.ev.frame.length);
            EXPECT_NE(s.pkt.text[0], 0);
         }
      } else {
         ASSERT_FALSE(s.isFrame());
         EXPECT_STREQ(s.ev.reason, want[i].reason) << s.ev.text;
         EXPECT_EQ(s.ev.frameNumber, want[i].number) << s.ev.text;
         EXPECT_EQ(s.ev.fatal, want[i].fatal) << s.ev.text;
         EXPECT_LE(s.ev.offset, file.size());
      }
   }
}

TEST(CaptureBadFile, PcapCutShortOrLying)
{
   Bytes good = frame(gnPacket(commonOnward(cam())));
   Bytes file = pcap({good, good}, 1);
   // The second record's header cut short, then its data.
   expectProblems(Bytes(file.begin(), file.end() - good.size() - 5),
                  {{true, nullptr, 0, false}, {false, "truncated-file", 2, true}});
   expectProblems(Bytes(file.begin(), file.end() - 1),
                  {{true, nullptr, 0, false}, {false, "truncated-file", 2, true}});
   // A zero-length frame spoils itself alone.
   expectProblems(
      pcap({good, {}, good}, 1),
      {{true, nullptr, 0, false}, {false, "empty-frame", 2, false}, {true, nullptr, 0, false}});
   // A header alone is an empty capture; less is no capture at all.
   std::unique_ptr<uint8_t[]> keep;
   EXPECT_TRUE(readAll(pcap({}, 1), &keep).empty());
   Bytes header = pcap({}, 1);
   CaptureReader r;
   const char* why = nullptr;
   for (size_t n : {0, 3, 23}) {
      std::unique_ptr<uint8_t[]> cut(new uint8_t[n + 1]);
      memcpy(cut.get(), header.data(), n);
      EXPECT_FALSE(r.open(cut.get(), n, &why));
      EXPECT_NE(why, nullptr);
   }
   Bytes junk = {'G', 'I', 'F', '8', '9', 'a'};
   EXPECT_FALSE(r.open(junk.data(), junk.size(), &why));
}

TEST(CaptureBadFile, PcapNgBlockLengths)
{
   Bytes good = frame(gnPacket(commonOnward(cam())));
   Bytes head = cat({section(true), interfaceBlock(true, 1)});
   Bytes epb = enhancedBlock(true, 0, 1, good);
   auto withLength = [&](uint32_t len) {
      Bytes b = epb;
      memcpy(&b[4], &len, 4);
      return cat({head, b});
   };
   // Past the end, below the minimum, not a multiple of 4.
   expectProblems(withLength(static_cast<uint32_t>(epb.size() + 4)),
                  {{false, "truncated-file", 0, true}});
   expectProblems(withLength(8), {{false, "bad-block-length", 0, true}});
   expectProblems(withLength(static_cast<uint32_t>(epb.size() - 2)),
                  {{false, "bad-block-length", 0, true}});
   // The trailing copy of the length disagrees.
   expectProblems(withLength(static_cast<uint32_t>(epb.size() - 4)),
                  {{false, "bad-block-length", 0, true}});
   // A file cut inside a block, or inside the next block's header.
   Bytes two = cat({head, epb, epb});
   expectProblems(Bytes(two.begin(), two.end() - 1),
                  {{true, nullptr, 0, false}, {false, "truncated-file", 0, true}});
   expectProblems(Bytes(two.begin(), two.end() - epb.size() + 6),
                  {{true, nullptr, 0, false}, {false, "truncated-file", 0, true}});
   // A packet block of the minimum block size but below its own minimum.
   expectProblems(cat({head, block(true, 6, Bytes(8, 0)).b, epb}),
                  {{false, "short-block", 1, false}, {true, nullptr, 0, false}});
   // A packet on an interface never described; a section of another
   // byte-order magic.
   expectProblems(cat({section(true), epb}), {{false, "unknown-interface", 1, false}});
   Bytes bad = section(true);
   bad[8] = 0x77;
   expectProblems(bad, {{false, "bad-byte-order", 0, true}});
}

TEST(CaptureBadFile, PcapNgPacketsLyingAboutThemselves)
{
   Bytes good = frame(gnPacket(commonOnward(cam())));
   Bytes head = cat({section(true), interfaceBlock(true, 1)});
   Bytes epb = enhancedBlock(true, 0, 1, good);
   // Captured length beyond the block; a zero-length frame; an interface
   // that was never described. Each spoils its frame alone.
   Bytes past = epb;
   uint32_t big = static_cast<uint32_t>(good.size() + 40);
   memcpy(&past[20], &big, 4);
   expectProblems(
      cat({head, past, enhancedBlock(true, 0, 2, {}), enhancedBlock(true, 5, 3, good), epb}),
      {{false, "frame-past-block", 1, false},
       {false, "empty-frame", 2, false},
       {false, "unknown-interface", 3, false},
       {true, nullptr, 0, false}});
   // An interface option running past its block.
   Bytes itf = interfaceBlock(true, 1, 6);
   itf[18] = 200;  // if_tsresol's length
   expectProblems(cat({section(true), itf, epb}),
                  {{false, "option-past-block", 0, false}, {true, nullptr, 0, false}});
}

TEST(CaptureBadFrame, LinkLayerLengthsThatLie)
{
   Bytes gn = gnPacket(commonOnward(cam()));
   Bytes rt = frame(gn, kRadiotap);
   Bytes rtLong = rt;
   rtLong[2] = 0xff;  // radiotap length past the frame
   Bytes rtFlags = rt;
   rtFlags[2] = 16;  // the flags field lies past the radiotap header
   Bytes w = frame(gn, kWifiFourAddr);
   struct Case {
      Bytes f;
      uint32_t link;
      const char* reason;
   } cases[] = {
      {Bytes(13, 0), 1, "short-link-header"},
      {Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x81, 0, 0, 1}, 1, "short-link-header"},
      {Bytes(15, 0), 113, "short-link-header"},
      {Bytes(19, 0), 276, "short-link-header"},
      {Bytes(w.begin(), w.begin() + 31), 105, "short-link-header"},
      {Bytes(1, 0), 105, "short-link-header"},
      {rtLong, 127, "bad-radiotap-length"},
      {rtFlags, 127, "bad-radiotap-length"},
      {Bytes(rt.begin(), rt.begin() + 7), 127, "short-link-header"},
      {Bytes(rt.begin(), rt.begin() + 19), 127, "short-link-header"},
   };
   for (const Case& c : cases) {
      SCOPED_TRACE(c.reason);
      expectProblems(pcap({c.f}, c.link), {{true, c.reason, 0, false}});
   }
}

TEST(CaptureBadFrame, GeoNetworkingAndEnvelopeLengthsThatLie)
{
   Bytes inner = commonOnward(cam());
   auto withPl = [&](int pl) { return commonOnward(cam(), kShb, 'B', 2001, pl); };
   Bytes unknownHt = inner;
   unknownHt[1] = 0x70;
   Bytes oerPast = gnPacket(inner, kUnsecuredV3);
   oerPast[6] = 0x7f;  // the OER length: more than the packet holds
   Bytes oerForm = gnPacket(inner, kUnsecuredV3);
   oerForm[6] = 0x89;  // nine length bytes
   Bytes oerCut = gnPacket(inner, kUnsecuredV3);
   oerCut[6] = 0x84;
   oerCut.resize(9);  // the length bytes themselves cut short
   Bytes varPast = gnPacket(inner, kSignedV2);
   varPast[23] = 0x7f;  // the payload's variable length
   Bytes headerPast = gnPacket(inner, kSignedV2);
   headerPast[5] = 0xbf;  // the header-field vector's length: 2 bytes, 0x3ff0
   Bytes innerPl = gnPacket(inner, kSignedV3);
   innerPl[8 + 4 + 4] = 0xff;  // the common header's PL inside the envelope
   struct Case {
      Bytes gn;
      const char* reason;
   } cases[] = {
      {Bytes{0x11, 0, 0x1a}, "short-gn-header"},
      {Bytes{0x13, 0, 0x1a, 1}, "gn-next-header"},
      {gnPacket(Bytes(inner.begin(), inner.begin() + 7)), "short-gn-header"},
      {gnPacket(Bytes(inner.begin(), inner.begin() + 30)), "short-gn-header"},
      {gnPacket(unknownHt), "gn-header-type"},
      {gnPacket(withPl(static_cast<int>(cam().size()) + 5)), "gn-length"},
      {gnPacket(withPl(3)), "gn-length"},
      {gnPacket(commonOnward({}, kShb, 'B')), "empty-message"},
      {oerPast, "length-past-packet"},
      {oerForm, "bad-length"},
      {oerCut, "length-past-packet"},
      {varPast, "length-past-packet"},
      {headerPast, "length-past-packet"},
      {innerPl, "gn-length"},
      {Bytes{0x12, 0, 0x1a, 1}, "short-secured"},
      {Bytes{0x12, 0, 0x1a, 1, 3}, "short-secured"},
      {Bytes{0x12, 0, 0x1a, 1, 1, 0}, "security-version"},
      {Bytes{0x12, 0, 0x1a, 1, 3, 0x85, 0}, "security-content"},
      {Bytes{0x12, 0, 0x1a, 1, 2, 0, 7}, "security-content"},
      {Bytes{0x12, 0, 0x1a, 1, 3, 0x81, 0, 0x40, 3, 0x81}, "signed-content"},
   };
   for (const Case& c : cases) {
      SCOPED_TRACE(c.reason);
      expectProblems(pcap({frame(c.gn, kWifiQos)}, 105), {{true, c.reason, 0, false}});
   }
}

// Every prefix of a frame, and every prefix of a file, is read without
// stepping past it: a cut frame is a problem or not GeoNetworking at all,
// never a message running past its end.
TEST(CaptureBadFrame, EveryCutIsReadInsideItsBytes)
{
   Bytes big = cam();
   big.resize(200, 1);
   std::vector<std::pair<Bytes, uint32_t>> frames = {
      {frame(gnPacket(commonOnward(big, kGbc), kSignedV3), kRadiotap), 127},
      {frame(gnPacket(commonOnward(cam(), kLsReply), kSignedV2), kWifiFourAddr), 105},
      {dataFile("cam_captured_station1.ethernet-frame.hex"), 1},
      {frame(gnPacket(commonOnward(cam(), kTsb, 'A'), kUnsecuredV3), kSll2), 276},
   };
   for (const auto& fr : frames) {
      const Bytes& f = fr.first;
      size_t whole = 0;
      for (size_t n = 1; n <= f.size(); n++) {
         std::unique_ptr<uint8_t[]> cut(new uint8_t[n]);
         memcpy(cut.get(), f.data(), n);
         vxcap::CapturedFrame cf;
         cf.data = cut.get();
         cf.length = n;
         cf.linkType = fr.second;
         ItsPacket p;
         vxcap::parseFrame(cf, &p);
         if (p.outcome == ItsPacket::Message) {
            EXPECT_LE(p.messageOffset + p.messageLength, n);
            whole++;
         }
      }
      // Only the cuts that leave the message whole (the trailer, FCS or
      // padding gone) still give it.
      EXPECT_GE(whole, 1u);
   }
   std::vector<Bytes> blocks = {section(false), interfaceBlock(false, 127, 9),
                                enhancedBlock(false, 0, 5, frames[0].first),
                                simpleBlock(false, frames[0].first)};
   Bytes file;
   std::vector<size_t> ends;  // a cut there leaves whole blocks: no problem
   for (const Bytes& b : blocks) {
      file.insert(file.end(), b.begin(), b.end());
      ends.push_back(file.size());
   }
   for (size_t n = 4; n < file.size(); n++) {
      std::unique_ptr<uint8_t[]> cut(new uint8_t[n]);
      memcpy(cut.get(), file.data(), n);
      CaptureReader r;
      const char* why;
      ASSERT_TRUE(r.open(cut.get(), n, &why));
      CaptureEvent ev;
      bool fatal = false;
      while (r.next(&ev)) {
         if (ev.kind == CaptureEvent::Problem) {
            fatal = fatal || ev.fatal;
            continue;
         }
         EXPECT_LE(ev.frame.data + ev.frame.length, cut.get() + n);
         ItsPacket p;
         vxcap::parseFrame(ev.frame, &p);
      }
      bool atEnd = std::find(ends.begin(), ends.end(), n) != ends.end();
      EXPECT_EQ(fatal, !atEnd) << n;  // any other cut shows as a cut file
   }
}

}  // namespace
