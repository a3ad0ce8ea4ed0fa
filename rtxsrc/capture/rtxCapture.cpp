// Reading C-ITS messages out of packet captures: the capture file formats,
// then the layers of one frame (link layer, GeoNetworking, secured envelope,
// BTP). Every read is checked against the end of the bytes it belongs to.
#include "rtxCapture.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace vxcap {

namespace {

const uint32_t kBlockSection = 0x0A0D0D0A;
const uint32_t kBlockInterface = 1;
const uint32_t kBlockPacketObsolete = 2;
const uint32_t kBlockSimplePacket = 3;
const uint32_t kBlockEnhancedPacket = 6;

inline uint16_t be16(const uint8_t* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }
inline uint16_t le16(const uint8_t* p) { return static_cast<uint16_t>(p[1] << 8 | p[0]); }
inline uint32_t le32(const uint8_t* p)
{
   return static_cast<uint32_t>(p[3]) << 24 | static_cast<uint32_t>(p[2]) << 16 |
          static_cast<uint32_t>(p[1]) << 8 | p[0];
}
inline uint32_t be32(const uint8_t* p)
{
   return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
          static_cast<uint32_t>(p[2]) << 8 | p[3];
}

void vformat(char* buf, size_t size, const char* fmt, va_list ap)
{
   int n = vsnprintf(buf, size, fmt, ap);
   if (n < 0) buf[0] = 0;
}

}  // namespace

// ---------------------------------------------------------------------------
// Capture files

uint16_t CaptureReader::u16(size_t at) const
{
   return swapped_ ? le16(data_ + at) : be16(data_ + at);
}

uint32_t CaptureReader::u32(size_t at) const
{
   return swapped_ ? le32(data_ + at) : be32(data_ + at);
}

bool CaptureReader::fail(CaptureEvent* ev, uint64_t offset, uint64_t frame, bool fatal,
                         const char* reason, const char* fmt, ...)
{
   ev->kind = CaptureEvent::Problem;
   ev->offset = offset;
   ev->frameNumber = frame;
   ev->fatal = fatal;
   ev->reason = reason;
   va_list ap;
   va_start(ap, fmt);
   vformat(ev->text, sizeof ev->text, fmt, ap);
   va_end(ap);
   if (fatal) done_ = true;
   return true;
}

bool CaptureReader::open(const uint8_t* data, size_t size, const char** problem)
{
   *this = CaptureReader();
   data_ = data;
   size_ = size;
   if (size < 4) {
      *problem = "too short for a capture file";
      return false;
   }
   uint32_t magic = be32(data);
   if (magic == kBlockSection) {
      format_ = PcapNg;
      return true;
   }
   bool known = true;
   switch (magic) {
      case 0xa1b2c3d4:
         break;
      case 0xd4c3b2a1:
         swapped_ = true;
         break;
      case 0xa1b23c4d:
         pcapNanos_ = true;
         break;
      case 0x4d3cb2a1:
         swapped_ = pcapNanos_ = true;
         break;
      default:
         known = false;
   }
   if (!known) {
      *problem = "neither a pcap nor a pcapng file (unknown magic number)";
      return false;
   }
   if (size < 24) {
      *problem = "pcap file header cut short (24 bytes needed)";
      return false;
   }
   // The low 16 bits name the link type; the high ones may describe an FCS.
   pcapLinkType_ = u32(20) & 0xffff;
   format_ = Pcap;
   pos_ = 24;
   return true;
}

bool CaptureReader::next(CaptureEvent* ev)
{
   if (done_ || format_ == None) return false;
   return format_ == Pcap ? nextPcap(ev) : nextPcapNg(ev);
}

bool CaptureReader::nextPcap(CaptureEvent* ev)
{
   size_t left = size_ - pos_;
   if (left == 0) {
      done_ = true;
      return false;
   }
   size_t at = pos_;
   uint64_t number = ++frames_;
   if (left < 16)
      return fail(ev, at, number, true, "truncated-file",
                  "record header of frame %llu at offset %zu cut short: %zu of 16 bytes",
                  static_cast<unsigned long long>(number), at, left);
   uint32_t captured = u32(at + 8);
   if (captured > left - 16)
      return fail(ev, at, number, true, "truncated-file",
                  "frame %llu at offset %zu announces %u captured bytes, the file has %zu left",
                  static_cast<unsigned long long>(number), at, captured, left - 16);
   pos_ = at + 16 + captured;
   if (captured == 0)
      return fail(ev, at, number, false, "empty-frame", "frame %llu at offset %zu has no bytes",
                  static_cast<unsigned long long>(number), at);
   ev->kind = CaptureEvent::Frame;
   CapturedFrame& f = ev->frame;
   f = CapturedFrame();
   f.number = number;
   f.offset = at;
   f.hasTime = true;
   uint32_t sec = u32(at), frac = u32(at + 4);
   uint32_t perSecond = pcapNanos_ ? 1000000000u : 1000000u;
   f.seconds = static_cast<int64_t>(sec) + frac / perSecond;
   f.nanos = (frac % perSecond) * (pcapNanos_ ? 1u : 1000u);
   f.fractionDigits = pcapNanos_ ? 9 : 6;
   f.linkType = pcapLinkType_;
   f.data = data_ + at + 16;
   f.length = captured;
   f.originalLength = u32(at + 12);
   return true;
}

void CaptureReader::stampPcapNg(const Interface& itf, uint64_t ticks, CapturedFrame* f)
{
   f->hasTime = true;
   uint64_t sec, nanos;
   unsigned e = itf.unitExp;
   if (itf.binaryUnit) {
      sec = e == 0 ? ticks : ticks >> e;
      uint64_t frac = e == 0 ? 0 : ticks & ((uint64_t(1) << e) - 1);
      // frac < 2^e: keep frac * 10^9 below 2^64.
      if (e > 34) {
         frac >>= e - 34;
         e = 34;
      }
      nanos = e == 0 ? 0 : (frac * 1000000000u) >> e;
      // 2^-e s is exact in e decimal places.
      f->fractionDigits = static_cast<uint8_t>(itf.unitExp > 9 ? 9 : itf.unitExp);
   } else {
      uint64_t perSecond = 1;
      for (unsigned i = 0; i < e; i++) perSecond *= 10;
      sec = ticks / perSecond;
      uint64_t frac = ticks % perSecond;
      if (e <= 9) {
         for (unsigned i = e; i < 9; i++) frac *= 10;
         nanos = frac;
      } else {
         for (unsigned i = 9; i < e; i++) frac /= 10;
         nanos = frac;
      }
      f->fractionDigits = static_cast<uint8_t>(e > 9 ? 9 : e);
   }
   f->seconds = static_cast<int64_t>(sec) + itf.offsetSeconds;
   f->nanos = static_cast<uint32_t>(nanos);
}

bool CaptureReader::readSection(CaptureEvent* ev, size_t at)
{
   interfaceCount_ = 0;
   inSection_ = true;
   uint16_t major = u16(at + 12);
   if (major != 1)
      return fail(ev, at, 0, true, "unsupported-version",
                  "section header at offset %zu: pcapng major version %u, only 1 is read", at,
                  major);
   return false;
}

bool CaptureReader::readInterface(CaptureEvent* ev, size_t at, size_t blockLen)
{
   if (interfaceCount_ == kMaxInterfaces)
      return fail(ev, at, 0, true, "too-many-interfaces",
                  "interface block at offset %zu: more than %u interfaces in one section", at,
                  kMaxInterfaces);
   Interface& itf = interfaces_[interfaceCount_++];
   itf = Interface{0, 0, false, 6, 0};
   if (blockLen < 20)
      return fail(ev, at, 0, false, "short-block",
                  "interface block at offset %zu: length %zu below the minimum 20", at, blockLen);
   itf.linkType = u16(at + 8);
   itf.snapLength = u32(at + 12);
   size_t p = at + 16, end = at + blockLen - 4;
   while (end - p >= 4) {
      uint16_t code = u16(p), len = u16(p + 2);
      if (code == 0) break;
      size_t padded = (static_cast<size_t>(len) + 3) & ~static_cast<size_t>(3);
      if (padded > end - p - 4)
         return fail(ev, p, 0, false, "option-past-block",
                     "interface block at offset %zu: option %u of %u bytes at offset %zu runs "
                     "past the block",
                     at, code, len, p);
      const uint8_t* v = data_ + p + 4;
      if (code == 9 && len >= 1) {
         bool binary = (v[0] & 0x80) != 0;
         unsigned e = v[0] & 0x7f;
         if ((binary && e > 63) || (!binary && e > 19))
            return fail(ev, p, 0, false, "bad-time-unit",
                        "interface block at offset %zu: time unit 0x%02x is beyond what 64 bits "
                        "count; microseconds assumed",
                        at, v[0]);
         itf.binaryUnit = binary;
         itf.unitExp = static_cast<uint8_t>(e);
      } else if (code == 14 && len >= 8) {
         // Seconds to add, one 64-bit number in the section's byte order.
         uint64_t off = 0;
         for (unsigned i = 0; i < 8; i++)
            off = swapped_ ? off | static_cast<uint64_t>(v[i]) << (8 * i) : off << 8 | v[i];
         itf.offsetSeconds = static_cast<int64_t>(off);
      }
      p += 4 + padded;
   }
   return false;
}

bool CaptureReader::nextPcapNg(CaptureEvent* ev)
{
   for (;;) {
      size_t left = size_ - pos_;
      if (left == 0) {
         done_ = true;
         return false;
      }
      size_t at = pos_;
      if (left < 12)
         return fail(ev, at, 0, true, "truncated-file",
                     "block at offset %zu cut short: %zu bytes left, a block has at least 12", at,
                     left);
      uint32_t type = be32(data_ + at);
      if (type == kBlockSection) {
         uint32_t bom = be32(data_ + at + 8);
         if (bom == 0x1a2b3c4d)
            swapped_ = false;
         else if (bom == 0x4d3c2b1a)
            swapped_ = true;
         else
            return fail(ev, at + 8, 0, true, "bad-byte-order",
                        "section header at offset %zu: byte-order magic %08x is neither "
                        "1a2b3c4d nor its reverse",
                        at, bom);
      } else {
         type = u32(at);
      }
      if (!inSection_ && type != kBlockSection)
         return fail(ev, at, 0, true, "no-section",
                     "block at offset %zu precedes any section header", at);
      uint32_t len = u32(at + 4);
      if (len < 12 || len % 4 != 0)
         return fail(ev, at + 4, 0, true, "bad-block-length",
                     "block of type %u at offset %zu: total length %u is %s", type, at, len,
                     len < 12 ? "below the minimum 12" : "not a multiple of 4");
      if (len > left)
         return fail(ev, at + 4, 0, true, "truncated-file",
                     "block of type %u at offset %zu: total length %u runs past the end of the "
                     "file (%zu bytes left)",
                     type, at, len, left);
      if (u32(at + len - 4) != len)
         return fail(ev, at + len - 4, 0, true, "bad-block-length",
                     "block of type %u at offset %zu: trailing length %u differs from %u", type, at,
                     u32(at + len - 4), len);
      pos_ = at + len;
      switch (type) {
         case kBlockSection:
            if (len < 28)
               return fail(ev, at + 4, 0, true, "short-block",
                           "section header at offset %zu: length %u below the minimum 28", at, len);
            if (readSection(ev, at)) return true;
            continue;
         case kBlockInterface:
            if (readInterface(ev, at, len)) return true;
            continue;
         case kBlockEnhancedPacket:
         case kBlockPacketObsolete:
         case kBlockSimplePacket:
            break;
         default:
            continue;  // statistics, name resolution, custom blocks...
      }
      uint64_t number = ++frames_;
      bool simple = type == kBlockSimplePacket;
      size_t head = simple ? 16 : 32;  // everything but the data
      if (len < head)
         return fail(ev, at, number, false, "short-block",
                     "frame %llu: packet block at offset %zu has length %u, below the minimum "
                     "%zu",
                     static_cast<unsigned long long>(number), at, len, head);
      uint32_t itfId = simple ? 0 : type == kBlockPacketObsolete ? u16(at + 8) : u32(at + 8);
      if (itfId >= interfaceCount_)
         return fail(ev, at, number, false, "unknown-interface",
                     "frame %llu at offset %zu: interface %u is not described in its section",
                     static_cast<unsigned long long>(number), at, itfId);
      const Interface& itf = interfaces_[itfId];
      size_t room = len - head;
      uint32_t captured, original;
      if (simple) {
         original = u32(at + 8);
         size_t c = original;
         if (c > room) c = room;
         if (itf.snapLength != 0 && c > itf.snapLength) c = itf.snapLength;
         captured = static_cast<uint32_t>(c);
      } else {
         captured = u32(at + 20);
         original = u32(at + 24);
         if (captured > room)
            return fail(ev, at + 20, number, false, "frame-past-block",
                        "frame %llu: packet block at offset %zu announces %u captured bytes, "
                        "it has room for %zu",
                        static_cast<unsigned long long>(number), at, captured, room);
      }
      if (captured == 0)
         return fail(ev, at, number, false, "empty-frame", "frame %llu at offset %zu has no bytes",
                     static_cast<unsigned long long>(number), at);
      ev->kind = CaptureEvent::Frame;
      CapturedFrame& f = ev->frame;
      f = CapturedFrame();
      f.number = number;
      f.offset = at;
      f.linkType = itf.linkType;
      f.interfaceId = itfId;
      f.data = data_ + at + (simple ? 12 : 28);
      f.length = captured;
      f.originalLength = original;
      if (!simple) stampPcapNg(itf, static_cast<uint64_t>(u32(at + 12)) << 32 | u32(at + 16), &f);
      return true;
   }
}

// ---------------------------------------------------------------------------
// One frame

namespace {

// The bytes of one frame and the packet being filled.
struct FrameParser {
   const uint8_t* d;
   ItsPacket* out;

   void problem(const char* reason, size_t at, const char* fmt, ...)
      __attribute__((format(printf, 4, 5)))
   {
      out->outcome = ItsPacket::Problem;
      out->reason = reason;
      out->problemOffset = at;
      va_list ap;
      va_start(ap, fmt);
      vformat(out->text, sizeof out->text, fmt, ap);
      va_end(ap);
   }
   void noMessage(const char* reason, const char* text)
   {
      out->outcome = ItsPacket::NoMessage;
      out->reason = reason;
      snprintf(out->text, sizeof out->text, "%s", text);
   }
   void notGn(const char* reason)
   {
      out->outcome = ItsPacket::NotGeoNetworking;
      out->reason = reason;
   }
   void source(size_t at, size_t n)
   {
      if (n > sizeof out->source) n = sizeof out->source;
      memcpy(out->source, d + at, n);
      out->sourceLength = static_cast<uint8_t>(n);
   }

   void link(uint32_t linkType, size_t n);
   void ieee80211(size_t at, size_t end);
   void geoNetworking(size_t at, size_t end);
   bool secured(size_t* at, size_t* end);
   bool securedV3(size_t* at, size_t* end);
   bool securedV2(size_t* at, size_t* end);
   bool oerLength(size_t* at, size_t end, size_t* len);
   bool varLength(size_t* at, size_t end, size_t* len);
   void common(size_t at, size_t end);
};

void FrameParser::link(uint32_t linkType, size_t n)
{
   switch (linkType) {
      case kLinkEthernet: {
         if (n < 14)
            return problem("short-link-header", 0,
                           "Ethernet frame of %zu bytes, shorter than its 14-byte header", n);
         source(6, 6);
         size_t at = 12;
         uint16_t type = be16(d + at);
         // 802.1Q and 802.1ad tags: 4 bytes each, the EtherType behind them.
         while (type == 0x8100 || type == 0x88a8) {
            if (n - at < 6)
               return problem("short-link-header", at,
                              "VLAN tag at byte %zu runs past the frame of %zu bytes", at, n);
            at += 4;
            type = be16(d + at);
         }
         if (type != 0x8947) return notGn("ethertype");
         return geoNetworking(at + 2, n);
      }
      case kLinkLinuxSll: {
         if (n < 16)
            return problem("short-link-header", 0,
                           "Linux cooked frame of %zu bytes, shorter than its 16-byte header", n);
         source(6, be16(d + 4));
         if (be16(d + 14) != 0x8947) return notGn("ethertype");
         return geoNetworking(16, n);
      }
      case kLinkLinuxSll2: {
         if (n < 20)
            return problem("short-link-header", 0,
                           "Linux cooked (v2) frame of %zu bytes, shorter than its 20-byte header",
                           n);
         source(12, d[11]);
         if (be16(d) != 0x8947) return notGn("ethertype");
         return geoNetworking(20, n);
      }
      case kLinkIeee80211:
         return ieee80211(0, n);
      case kLinkRadiotap: {
         if (n < 8)
            return problem("short-link-header", 0,
                           "radiotap frame of %zu bytes, shorter than the 8-byte radiotap header",
                           n);
         if (d[0] != 0)
            return problem("bad-radiotap", 0, "radiotap version %u, only 0 is read", d[0]);
         size_t rtLen = le16(d + 2);
         if (rtLen < 8 || rtLen > n)
            return problem("bad-radiotap-length", 2,
                           "radiotap length %zu lies: the frame has %zu bytes and the header at "
                           "least 8",
                           rtLen, n);
         // The present words chain through bit 31; the fields follow them,
         // each aligned to its size from the header's start.
         size_t at = 4;
         uint32_t first = le32(d + 4), word = first;
         for (;;) {
            at += 4;
            if (!(word & 0x80000000u)) break;
            if (rtLen - at < 4)
               return problem("bad-radiotap-length", at,
                              "radiotap present words run past its length %zu", rtLen);
            word = le32(d + at);
         }
         size_t fcs = 0, fields = at;
         if (first & 1) at = ((at + 7) & ~static_cast<size_t>(7)) + 8;  // TSFT
         if (first & 2) {
            if (at >= rtLen)
               return problem("bad-radiotap-length", fields,
                              "radiotap flags field at byte %zu lies past its length %zu", at,
                              rtLen);
            if (d[at] & 0x10) fcs = 4;
         }
         if (n - rtLen < fcs)
            return problem("short-link-header", rtLen,
                           "frame check sequence announced, but only %zu bytes follow the "
                           "radiotap header",
                           n - rtLen);
         return ieee80211(rtLen, n - fcs);
      }
      default:
         return notGn("link-type");
   }
}

void FrameParser::ieee80211(size_t at, size_t end)
{
   size_t n = end - at;
   if (n < 2)
      return problem("short-link-header", at, "802.11 frame control cut short: %zu bytes", n);
   uint8_t fc0 = d[at], fc1 = d[at + 1];
   unsigned version = fc0 & 3, type = fc0 >> 2 & 3, subtype = fc0 >> 4;
   // Management and control frames, and data frames without a body, carry
   // no GeoNetworking; neither do frames protected at the link layer.
   if (version != 0 || type != 2 || (subtype & 4) != 0) return notGn("80211-no-data");
   if (fc1 & 0x40) return notGn("80211-protected");
   unsigned ds = fc1 & 3;
   bool qos = (subtype & 8) != 0;
   size_t header = 24 + (ds == 3 ? 6 : 0) + (qos ? 2 : 0) + (qos && (fc1 & 0x80) ? 4 : 0);
   if (n < header)
      return problem("short-link-header", at,
                     "802.11 data header of %zu bytes runs past the frame (%zu bytes)", header, n);
   // The source address: address 2 without a distribution system, address
   // 3 coming from one, address 4 between two.
   source(at + (ds == 2 ? 16 : ds == 3 ? 24 : 10), 6);
   size_t llc = at + header;
   static const uint8_t kSnap[6] = {0xaa, 0xaa, 0x03, 0, 0, 0};
   if (end - llc < 8 || memcmp(d + llc, kSnap, 6) != 0) return notGn("llc");
   if (be16(d + llc + 6) != 0x8947) return notGn("ethertype");
   geoNetworking(llc + 8, end);
}

void FrameParser::geoNetworking(size_t at, size_t end)
{
   out->outcome = ItsPacket::Problem;  // until the message is found
   if (end - at < 4)
      return problem("short-gn-header", at,
                     "GeoNetworking basic header at byte %zu cut short: %zu of 4 bytes", at,
                     end - at);
   out->hasBasicHeader = true;
   out->gnVersion = d[at] >> 4;
   unsigned next = d[at] & 15;
   at += 4;
   if (next == 2) {
      if (!secured(&at, &end)) return;
   } else if (next != 1) {
      return problem("gn-next-header", at - 4,
                     "GeoNetworking basic header: next header %u is neither a common header (1) "
                     "nor a secured packet (2)",
                     next);
   }
   common(at, end);
}

// The secured envelope: on success [*at, *end) holds the common header
// onward.
bool FrameParser::secured(size_t* at, size_t* end)
{
   if (*end - *at < 1) {
      problem("short-secured", *at, "secured packet at byte %zu is empty", *at);
      return false;
   }
   out->securityVersion = d[*at];
   if (d[*at] == 3) return securedV3(at, end);
   if (d[*at] == 2) return securedV2(at, end);
   problem("security-version", *at, "secured packet at byte %zu: protocol version %u, not 2 or 3",
           *at, d[*at]);
   out->securityVersion = 0;
   return false;
}

bool FrameParser::oerLength(size_t* at, size_t end, size_t* len)
{
   size_t p = *at;
   if (end - p < 1) {
      problem("short-secured", p, "OER length at byte %zu lies past the packet", p);
      return false;
   }
   uint8_t b = d[p++];
   uint64_t v = b;
   if (b & 0x80) {
      unsigned k = b & 0x7f;
      if (k == 0 || k > 8) {
         problem("bad-length", p - 1, "OER length at byte %zu announces %u length bytes", p - 1, k);
         return false;
      }
      if (end - p < k) {
         problem("length-past-packet", p - 1,
                 "OER length at byte %zu: %u length bytes run past the packet", p - 1, k);
         return false;
      }
      v = 0;
      for (unsigned i = 0; i < k; i++) v = v << 8 | d[p++];
   }
   if (v > end - p) {
      problem("length-past-packet", *at,
              "OER length %llu at byte %zu runs past the packet (%zu bytes left)",
              static_cast<unsigned long long>(v), *at, end - p);
      return false;
   }
   *at = p;
   *len = static_cast<size_t>(v);
   return true;
}

// The length of the older envelope: the leading 1 bits of its first byte
// count the bytes that follow.
bool FrameParser::varLength(size_t* at, size_t end, size_t* len)
{
   size_t p = *at;
   if (end - p < 1) {
      problem("short-secured", p, "variable length at byte %zu lies past the packet", p);
      return false;
   }
   uint8_t b = d[p];
   unsigned more = 0;
   while (more < 8 && (b & (0x80 >> more))) more++;
   if (more > 3) {
      problem("bad-length", p, "variable length at byte %zu: first byte 0x%02x", p, b);
      return false;
   }
   if (end - p < 1 + more) {
      problem("length-past-packet", p,
              "variable length at byte %zu: its %u further bytes run past the packet", p, more);
      return false;
   }
   uint64_t v = b & (0x7f >> more);
   for (unsigned i = 1; i <= more; i++) v = v << 8 | d[p + i];
   p += 1 + more;
   if (v > end - p) {
      problem("length-past-packet", *at,
              "variable length %llu at byte %zu runs past the packet (%zu bytes left)",
              static_cast<unsigned long long>(v), *at, end - p);
      return false;
   }
   *at = p;
   *len = static_cast<size_t>(v);
   return true;
}

bool FrameParser::securedV3(size_t* at, size_t* end)
{
   size_t p = *at;
   if (*end - p < 2) {
      problem("short-secured", p, "secured packet at byte %zu cut short after its version", p);
      return false;
   }
   uint8_t content = d[p + 1];
   p += 2;
   switch (content) {
      case 0x80:
         out->security = kSecUnsecured;
         break;
      case 0x81: {
         out->security = kSecSigned;
         // Hash algorithm, then the payload's preamble.
         if (*end - p < 2) {
            problem("short-secured", p, "signed data at byte %zu cut short", p);
            return false;
         }
         uint8_t preamble = d[p + 1];
         p += 2;
         if (!(preamble & 0x40)) {
            out->security = kSecSignedExternal;
            problem("no-payload", p - 1,
                    "signed data without data of its own (preamble 0x%02x): it signs external "
                    "data",
                    preamble);
            return false;
         }
         if (*end - p < 2) {
            problem("short-secured", p, "signed payload at byte %zu cut short", p);
            return false;
         }
         if (d[p] != 3 || d[p + 1] != 0x80) {
            problem("signed-content", p,
                    "signed payload at byte %zu holds version %u content 0x%02x, not unsecured "
                    "data of version 3",
                    p, d[p], d[p + 1]);
            return false;
         }
         p += 2;
         break;
      }
      case 0x82:
         out->security = kSecEncrypted;
         problem("encrypted", *at, "encrypted payload: it can not be read without keys");
         return false;
      default:
         problem("security-content", p - 1,
                 "secured packet at byte %zu: content 0x%02x is none of unsecured, signed or "
                 "encrypted",
                 p - 1, content);
         return false;
   }
   size_t len;
   if (!oerLength(&p, *end, &len)) return false;
   *at = p;
   *end = p + len;
   return true;
}

bool FrameParser::securedV2(size_t* at, size_t* end)
{
   size_t p = *at + 1;
   size_t len;
   if (!varLength(&p, *end, &len)) return false;  // header fields, skipped
   p += len;
   if (*end - p < 1) {
      problem("short-secured", p, "secured packet: payload field at byte %zu lies past the packet",
              p);
      return false;
   }
   uint8_t type = d[p++];
   switch (type) {
      case 0:
         out->security = kSecUnsecured;
         break;
      case 1:
         out->security = kSecSigned;
         break;
      case 2:
         out->security = kSecEncrypted;
         problem("encrypted", p - 1, "encrypted payload: it can not be read without keys");
         return false;
      case 3:
         out->security = kSecSignedExternal;
         problem("no-payload", p - 1, "signed external payload: the data is not in the packet");
         return false;
      case 4:
         out->security = kSecSignedEncrypted;
         problem("encrypted", p - 1,
                 "signed and encrypted payload: it can not be read without keys");
         return false;
      default:
         problem("security-content", p - 1,
                 "secured packet: payload type %u at byte %zu is none of 0 to 4", type, p - 1);
         return false;
   }
   if (!varLength(&p, *end, &len)) return false;
   *at = p;
   *end = p + len;
   return true;
}

// Extended header length by header type and subtype; 0 for unknown ones.
size_t extendedLength(unsigned ht, unsigned hst)
{
   switch (ht) {
      case kGnBeacon:
      case kGnGeoUnicast:
         return hst == 0 ? (ht == kGnBeacon ? 24 : 48) : 0;
      case kGnGeoAnycast:
      case kGnGeoBroadcast:
         return hst <= 2 ? 44 : 0;
      case kGnTopoBroadcast:
         return hst <= 1 ? 28 : 0;
      case kGnLocationService:
         return hst == 0 ? 36 : hst == 1 ? 48 : 0;
      default:
         return 0;
   }
}

void FrameParser::common(size_t at, size_t end)
{
   if (end - at < 8)
      return problem("short-gn-header", at,
                     "GeoNetworking common header at byte %zu cut short: %zu of 8 bytes", at,
                     end - at);
   unsigned next = d[at] >> 4, ht = d[at + 1] >> 4, hst = d[at + 1] & 15;
   size_t payload = be16(d + at + 4);
   out->hasCommonHeader = true;
   out->gnType = static_cast<uint8_t>(ht);
   out->gnSubtype = static_cast<uint8_t>(hst);
   size_t ext = extendedLength(ht, hst);
   if (ext == 0)
      return problem("gn-header-type", at + 1,
                     "GeoNetworking header type %u, subtype %u at byte %zu is unknown", ht, hst,
                     at + 1);
   at += 8;
   if (end - at < ext)
      return problem("short-gn-header", at,
                     "GeoNetworking extended header at byte %zu cut short: %zu of %zu bytes", at,
                     end - at, ext);
   at += ext;
   if (payload > end - at)
      return problem("gn-length", at - ext - 4,
                     "GeoNetworking payload length %zu runs past the packet (%zu bytes left)",
                     payload, end - at);
   if (next == 3) return noMessage("ipv6", "IPv6 over GeoNetworking");
   if (next == 0) {
      if (payload == 0) return noMessage("no-payload", "GeoNetworking packet without a payload");
      return noMessage("no-transport", "GeoNetworking payload of an unnamed transport");
   }
   if (next != 1 && next != 2)
      return problem("gn-next-header", at - ext - 8,
                     "GeoNetworking common header: next header %u is none of BTP-A, BTP-B, IPv6",
                     next);
   if (payload < 4)
      return problem("gn-length", at - ext - 4,
                     "GeoNetworking payload of %zu bytes has no room for the 4-byte BTP header",
                     payload);
   out->btp = next == 1 ? 'A' : 'B';
   out->port = be16(d + at);
   out->sourcePort = be16(d + at + 2);
   if (payload == 4)
      return problem("empty-message", at + 4, "BTP header for port %u without a message",
                     out->port);
   out->outcome = ItsPacket::Message;
   out->message = d + at + 4;
   out->messageLength = payload - 4;
   out->messageOffset = at + 4;
}

}  // namespace

void parseFrame(const CapturedFrame& frame, ItsPacket* out)
{
   *out = ItsPacket();
   FrameParser p{frame.data, out};
   if (frame.length == 0 || frame.data == nullptr)
      return p.problem("empty-frame", 0, "the frame has no bytes");
   p.link(frame.linkType, frame.length);
}

const char* gnTypeName(uint8_t ht, uint8_t hst, char buf[16])
{
   switch (ht) {
      case kGnBeacon:
         if (hst == 0) return "BEACON";
         break;
      case kGnGeoUnicast:
         if (hst == 0) return "GUC";
         break;
      case kGnGeoAnycast:
         if (hst <= 2) return "GAC";
         break;
      case kGnGeoBroadcast:
         if (hst <= 2) return "GBC";
         break;
      case kGnTopoBroadcast:
         if (hst == 0) return "SHB";
         if (hst == 1) return "TSB";
         break;
      case kGnLocationService:
         if (hst == 0) return "LS-REQUEST";
         if (hst == 1) return "LS-REPLY";
         break;
      case kGnAny:
         return "ANY";
   }
   snprintf(buf, 16, "HT%u/%u", ht, hst);
   return buf;
}

const char* securityName(uint8_t version, SecurityKind kind, char buf[32])
{
   const char* k = "none";
   switch (kind) {
      case kSecNone:
         return "none";
      case kSecUnsecured:
         k = "unsecured";
         break;
      case kSecSigned:
         k = "signed";
         break;
      case kSecSignedExternal:
         k = "signed-external";
         break;
      case kSecEncrypted:
         k = "encrypted";
         break;
      case kSecSignedEncrypted:
         k = "signed-encrypted";
         break;
   }
   // Called once per message: no formatted printing.
   size_t n = strlen(k);
   memcpy(buf, k, n);
   buf[n++] = '-';
   buf[n++] = 'v';
   if (version >= 100) buf[n++] = static_cast<char>('0' + version / 100);
   if (version >= 10) buf[n++] = static_cast<char>('0' + version / 10 % 10);
   buf[n++] = static_cast<char>('0' + version % 10);
   buf[n] = 0;
   return buf;
}

}  // namespace vxcap
