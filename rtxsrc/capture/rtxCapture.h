// Reading C-ITS messages out of packet captures (pcap and pcapng files).
//
// The reader walks a capture held in memory (mapped or read whole by the
// caller) and never copies a frame: every pointer it hands out points into
// the caller's bytes, which must outlive what it hands out. Nothing is read
// outside the given bytes, whatever the lengths inside them say.
//
//   CaptureReader reader;
//   if (!reader.open(bytes, size, &problem)) ...   // not a capture file
//   CaptureEvent ev;
//   while (reader.next(&ev)) {
//      if (ev.kind == CaptureEvent::Frame) {
//         ItsPacket pkt;
//         parseFrame(ev.frame, &pkt);               // link layer, GN, BTP
//      }
//   }
//
// Standard library only; no state beyond the reader object.
#ifndef RTXCAPTURE_H
#define RTXCAPTURE_H

#include <cstddef>
#include <cstdint>

namespace vxcap {

// Link types the frame reader understands.
enum LinkType : uint32_t {
   kLinkEthernet = 1,
   kLinkIeee80211 = 105,
   kLinkLinuxSll = 113,
   kLinkRadiotap = 127,
   kLinkLinuxSll2 = 276,
};

// One captured frame, as the file gives it.
struct CapturedFrame {
   uint64_t number = 0;         // 1-based count of packet records and blocks
   uint64_t offset = 0;         // of its record or block in the file
   bool hasTime = false;        // pcapng simple packet blocks have none
   int64_t seconds = 0;         // since 1970-01-01T00:00:00Z
   uint32_t nanos = 0;          // 0..999999999
   uint8_t fractionDigits = 0;  // digits the file's time unit justifies (0..9)
   uint32_t linkType = 0;
   uint32_t interfaceId = 0;  // pcapng interface, 0 for pcap
   const uint8_t* data = nullptr;
   size_t length = 0;  // captured bytes at data
   uint32_t originalLength = 0;
};

// What next() met: a frame, or a problem. A problem of the file stops the
// reading (`fatal`): its framing can not be trusted further. A problem of a
// frame (`frameNumber` non-zero) spoils that frame alone.
struct CaptureEvent {
   enum Kind { Frame, Problem } kind = Frame;
   CapturedFrame frame;
   uint64_t offset = 0;       // of the problem in the file
   uint64_t frameNumber = 0;  // the spoilt frame, 0 for the file's own problems
   bool fatal = false;
   const char* reason = nullptr;  // short key ("truncated-file", ...)
   char text[160] = {0};          // one line in words
};

class CaptureReader {
 public:
   enum Format { None, Pcap, PcapNg };

   // Recognises the file by its first bytes. False (and a reason in
   // *problem) when it is neither pcap nor pcapng or its header is cut short.
   bool open(const uint8_t* data, size_t size, const char** problem);
   Format format() const { return format_; }

   // The next frame or problem; false at the end of the file and after a
   // fatal problem.
   bool next(CaptureEvent* ev);

   // Bytes walked so far.
   uint64_t position() const { return pos_; }

 private:
   struct Interface {
      uint32_t linkType;
      uint32_t snapLength;
      bool binaryUnit;  // unit is 2^-unitExp s, else 10^-unitExp s
      uint8_t unitExp;
      int64_t offsetSeconds;
   };
   bool nextPcap(CaptureEvent* ev);
   bool nextPcapNg(CaptureEvent* ev);
   bool readSection(CaptureEvent* ev, size_t at);
   bool readInterface(CaptureEvent* ev, size_t at, size_t blockLen);
   void stampPcapNg(const Interface& itf, uint64_t ticks, CapturedFrame* f);
   bool fail(CaptureEvent* ev, uint64_t offset, uint64_t frame, bool fatal, const char* reason,
             const char* fmt, ...) __attribute__((format(printf, 7, 8)));
   uint16_t u16(size_t at) const;
   uint32_t u32(size_t at) const;

   const uint8_t* data_ = nullptr;
   size_t size_ = 0;
   size_t pos_ = 0;
   Format format_ = None;
   bool swapped_ = false;  // file byte order differs from big-endian reads
   bool done_ = false;
   uint64_t frames_ = 0;
   // pcap
   uint32_t pcapLinkType_ = 0;
   bool pcapNanos_ = false;
   // pcapng: the interfaces of the current section
   static const unsigned kMaxInterfaces = 256;
   Interface interfaces_[kMaxInterfaces];
   unsigned interfaceCount_ = 0;
   bool inSection_ = false;
};

// GeoNetworking header types (the HT field).
enum GnType : uint8_t {
   kGnAny = 0,
   kGnBeacon = 1,
   kGnGeoUnicast = 2,
   kGnGeoAnycast = 3,
   kGnGeoBroadcast = 4,
   kGnTopoBroadcast = 5,
   kGnLocationService = 6,
};

// How the GN packet was secured, as its envelope says.
enum SecurityKind : uint8_t {
   kSecNone,            // basic header NH 1: no envelope
   kSecUnsecured,       // an envelope with plain data
   kSecSigned,          // signed, payload inside (signature not verified)
   kSecSignedExternal,  // signed over data carried elsewhere
   kSecEncrypted,       // payload can not be read without keys
   kSecSignedEncrypted,
};

// What one frame holds for a C-ITS reader.
struct ItsPacket {
   enum Outcome {
      NotGeoNetworking,  // another protocol: not a C-ITS frame
      Message,           // a message was found: message/messageLength
      NoMessage,         // GN without a BTP payload (beacon, location service, IPv6)
      Problem,           // GN, but the message can not be found: reason/text
   } outcome = NotGeoNetworking;

   uint8_t source[8] = {0};  // link-layer source address
   uint8_t sourceLength = 0;
   bool hasBasicHeader = false;  // a GeoNetworking basic header was read
   uint8_t gnVersion = 0;
   uint8_t gnType = 0;     // HT (GnType), valid once the common header is read
   uint8_t gnSubtype = 0;  // HST
   bool hasCommonHeader = false;
   uint8_t securityVersion = 0;  // 0: none, 2 or 3
   SecurityKind security = kSecNone;
   uint8_t btp = 0;          // 'A', 'B', or 0 when there is no BTP header
   uint16_t port = 0;        // BTP destination port
   uint16_t sourcePort = 0;  // BTP-A source port, BTP-B destination port info
   const uint8_t* message = nullptr;
   size_t messageLength = 0;
   size_t messageOffset = 0;  // of the message in the frame

   const char* reason = nullptr;  // short key for a Problem or NoMessage
   size_t problemOffset = 0;      // in the frame
   char text[160] = {0};
};

// Reads the link layer, GeoNetworking, the secured envelope and BTP of one
// frame. Never reads outside frame.data[0, frame.length).
void parseFrame(const CapturedFrame& frame, ItsPacket* out);

// Short names: "SHB", "TSB", "GBC", "GAC", "GUC", "BEACON", "LS-REQUEST",
// "LS-REPLY", "ANY", or "HT<n>/<m>" in buf for others.
const char* gnTypeName(uint8_t ht, uint8_t hst, char buf[16]);

// "none", "unsecured-v3", "signed-v2", "encrypted-v3", ... in buf.
const char* securityName(uint8_t version, SecurityKind kind, char buf[32]);

}  // namespace vxcap

#endif
