// The capture reader: any bytes as a capture file, every frame through the
// frame parser. Whatever the file says, every frame lies inside the input,
// every message inside its frame, the number of events is bounded by the
// input's length, and a fatal problem ends the reading.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "rtxCapture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
   vxcap::CaptureReader reader;
   const char* problem = nullptr;
   if (!reader.open(data, size, &problem)) {
      if (problem == nullptr) abort();
      return 0;
   }
   vxcap::CaptureEvent ev;
   size_t events = 0;
   bool fatal = false;
   while (reader.next(&ev)) {
      if (fatal || ++events > size) abort();
      if (ev.kind == vxcap::CaptureEvent::Problem) {
         if (ev.reason == nullptr || ev.text[0] == 0 || ev.offset > size) abort();
         fatal = ev.fatal;
         continue;
      }
      const vxcap::CapturedFrame& f = ev.frame;
      if (f.length == 0 || f.data < data || f.data + f.length > data + size) abort();
      if (f.nanos > 999999999u) abort();
      vxcap::ItsPacket pkt;
      vxcap::parseFrame(f, &pkt);
      if (pkt.outcome == vxcap::ItsPacket::Message) {
         if (pkt.messageLength == 0 || pkt.message != f.data + pkt.messageOffset ||
             pkt.messageOffset + pkt.messageLength > f.length)
            abort();
      } else if (pkt.outcome == vxcap::ItsPacket::Problem) {
         if (pkt.reason == nullptr || pkt.text[0] == 0 || pkt.problemOffset > f.length) abort();
      }
      if (pkt.sourceLength > sizeof pkt.source) abort();
      // The names written for every message: within their buffers.
      char gn[16], sec[32];
      if (strlen(vxcap::gnTypeName(pkt.gnType, pkt.gnSubtype, gn)) >= sizeof gn) abort();
      if (strlen(vxcap::securityName(pkt.securityVersion, pkt.security, sec)) >= sizeof sec)
         abort();
   }
   if (reader.position() > size) abort();
   return 0;
}
