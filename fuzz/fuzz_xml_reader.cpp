// The XML pull reader, and the decoding layer over it. The first input byte
// picks the whitespace mode (low two bits), whether the reader asks for
// names and values at each start tag (bit 2), and whether the element
// functions walk the text instead (bit 3, with unknown elements refused
// or kept by bit 4); the rest is the text. It is read twice, in place over a
// memory stream and through the reader's own buffer (a capture buffer keeps
// it off the in-place path): every event, its data, the source position and
// every status must agree, and the number of events is bounded by the
// length of the text.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "rtXml.h"
#include "rtXmlDec.h"
#include "rtXmlPull.h"
#include "rtxError.h"
#include "rtxMemBuf.h"
#include "rtxMemory.h"
#include "rtxStream.h"

namespace {

std::string readAll(const uint8_t* text, size_t size, bool buffered, uint32_t wsMode, bool probe)
{
   VXCTXT ctx;
   if (rtInitContext(&ctx) != 0) abort();
   VXRTMEMBUF capture;
   rtxMemBufInit(&ctx, &capture, 0);
   std::string log;
   if (rtxStreamMemoryAttach(&ctx, text, size, VXRT_STREAM_INPUT) == 0) {
      if (buffered && rtxStreamSetCapture(&ctx, &capture) != 0) abort();
      XmlReader* r = rtXmlRdCreateXmlReader(&ctx);
      if (r == nullptr) abort();
      r->wsMode = wsMode;
      int ev = rtxErrGetErrorCnt(&ctx) > 0 ? rtxErrGetLastError(&ctx) : (int)r->lastEvent;
      size_t steps = 0;
      while (ev > 0 && ev != XMLRD_ENDDOC) {
         log += std::to_string(ev) + "@" + std::to_string(r->lastEventLevel);
         if (ev == XMLRD_DATA || ev == XMLRD_COMMENT)
            log.append((const char*)r->contentPtr, (size_t)r->contentLen);
         if (ev == XMLRD_STARTTAG && probe) {
            const uint8_t* name;
            size_t len;
            int16_t ns;
            rtXmlRdGetTagName(r, &name, &len, &ns);
            log.append((const char*)name, len);
            int count = rtXmlRdGetAttributeCount(r);
            for (int i = 0; i < count; i++) {
               rtXmlRdGetAttributeName(r, (size_t)i, &name, &len, &ns);
               log.append((const char*)name, len);
               if (rtXmlRdSelectAttribute(r, (size_t)i) == 0) {
                  XmlDataCtxt d;
                  int n = rtXmlRdFirstData(r, &d);
                  while (n >= 0 && d.mode == 1) {
                     log.append((const char*)d.chunk, d.chunkLen);
                     n = rtXmlRdNextData(r, &d);
                  }
                  r->attrMode = 0;
               }
            }
         }
         uint32_t line, col, bytes;
         rtXmlRdGetSourcePosition(r, &line, &col, &bytes, false);
         log += "[" + std::to_string(line) + ":" + std::to_string(col) + "]";
         if (++steps > 3 * size + 10) abort();  // no stalling
         ev = rtXmlRdNext(r);
      }
      log += "=" + std::to_string(ev) + "/" + std::to_string(rtxErrGetErrorCnt(&ctx));
      char buf[512];
      if (rtxErrGetErrorCnt(&ctx) > 0) log += rtxErrGetMsgTextBuf(&ctx, buf, sizeof buf);
      rtXmlpFreeReader(&ctx, r);
   }
   rtxMemBufFree(&capture);
   rtFreeContext(&ctx);
   return log;
}

const XmlElemDescr kRows[] = {{"a", 1, 0, 1}, {"b", 1, 0, 2}, {"c", 1, 0, 3}, {"d", 1, 0, 4},
                              {"e", 1, 0, 5}};

bool endedClean(const std::string& log) {
   static const std::string kEnd = "#" + std::to_string(XML_OK_EOB);
   return log.size() >= kEnd.size() && log.compare(log.size() - kEnd.size(), kEnd.size(), kEnd) == 0;
}

// Elements by table down the levels: each known name reads one kind of
// value or holds more elements, unknown ones are kept as text or refused.
std::string walk(VXCTXT* p, bool refuse, int depth, size_t* budget) {
   std::string log;
   for (;;) {
      if ((*budget)-- == 0) abort();  // no stalling
      int id = rtXmlpGetNextElemID(p, kRows, 5, -1, refuse);
      log += "#" + std::to_string(id);
      if (id == XML_OK_EOB || (id < 0 && id != RTERR_UNEXPELEM)) return log;
      int stat = 0;
      const char* text = nullptr;
      switch (id) {
         case 1: { int64_t v = 0; stat = rtXmlpDecInt64(p, &v); log += std::to_string(v); break; }
         case 2: { bool v = false; stat = rtXmlpDecBool(p, &v); log += v ? "T" : "F"; break; }
         case 3: { ASN1TDynOctStr64 v{0, nullptr}; stat = rtXmlpDecDynHexStr(p, &v); log += std::to_string(v.numocts); break; }
         case 4: stat = rtXmlpDecDynUTF8Str(p, &text); break;
         case 5:
            if (depth < 8) {
               std::string inner = walk(p, refuse, depth + 1, budget);
               log += "(" + inner + ")";
               if (!endedClean(inner)) return log;
            }
            break;
         default: stat = rtXmlpDecAnyElem(p, &text); break;
      }
      if (text != nullptr) log += text;
      log += "=" + std::to_string(stat);
      if (stat < 0 && stat != RTERR_TOOBIG && stat != RTERR_INVCHAR && stat != RTERR_BADVALUE &&
          stat != RTERR_INVHEXS && stat != RTERR_INVFORMAT && stat != RTERR_INVUTF8)
         return log;
      stat = rtXmlpMatchEndTag(p, -1);
      if (stat < 0) return log + "end" + std::to_string(stat);
   }
}

std::string decodeAll(const uint8_t* text, size_t size, bool buffered, bool refuse) {
   VXCTXT ctx;
   if (rtInitContext(&ctx) != 0 || rtXmlInitCtxtAppInfo(&ctx) != 0) abort();
   VXRTMEMBUF capture;
   rtxMemBufInit(&ctx, &capture, 0);
   std::string log;
   if (rtxStreamMemoryAttach(&ctx, text, size, VXRT_STREAM_INPUT) == 0) {
      if (buffered && rtxStreamSetCapture(&ctx, &capture) != 0) abort();
      int stat = rtXmlpCreateReader(&ctx);
      if (stat == 0) stat = rtXmlpMatchStartTag(&ctx, "r", 0);
      size_t budget = 3 * size + 10;
      // After a failure of the reader the decoder stops, as the codecs do.
      if (stat == 0) log = walk(&ctx, refuse, 0, &budget);
      if (stat == 0 && endedClean(log))
         log += "/" + std::to_string(rtXmlpMatchEndTag(&ctx, -1));
      log += "=" + std::to_string(rtxErrGetStatus(&ctx));
   }
   rtxMemBufFree(&capture);
   rtFreeContext(&ctx);
   return log;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
   if (size < 2) return 0;
   uint32_t wsMode = data[0] & 3;
   if (wsMode == 3) wsMode = 0;
   bool probe = (data[0] & 4) != 0;
   if (data[0] & 8) {
      bool refuse = (data[0] & 16) != 0;
      if (decodeAll(data + 1, size - 1, false, refuse) != decodeAll(data + 1, size - 1, true, refuse))
         abort();
      return 0;
   }
   std::string a = readAll(data + 1, size - 1, false, wsMode, probe);
   std::string b = readAll(data + 1, size - 1, true, wsMode, probe);
   if (a != b) abort();
   return 0;
}
