// Runs XML texts through the pull reader three ways and writes down what
// it hands out: in place over a memory stream, through the reader's own
// buffer from the same stream (a capture buffer keeps it off the in-place
// path), and through that buffer one byte per stream read.
#ifndef XML_READER_FIXTURE_H
#define XML_READER_FIXTURE_H

#include <gtest/gtest.h>

#include <string>

#include "inplace_pair.h"
#include "rtXml.h"
#include "rtXmlPull.h"
#include "rtxError.h"
#include "rtxMemory.h"

namespace xmltest {

// The memory stream's read, one byte at a time.
inline VXRTStreamReadProc& memoryRead()
{
   static VXRTStreamReadProc proc = nullptr;
   return proc;
}
inline long readOneByte(VXRTSTREAM* pStream, uint8_t* pbuffer, size_t bufSize)
{
   return memoryRead()(pStream, pbuffer, bufSize > 0 ? 1 : 0);
}

inline std::string printable(const uint8_t* p, size_t n)
{
   std::string s;
   for (size_t i = 0; i < n; i++) {
      if (p[i] < 32 || p[i] >= 127) {
         char hex[8];
         snprintf(hex, sizeof hex, "\\x%02X", p[i]);
         s += hex;
      } else {
         s += (char)p[i];
      }
   }
   return s;
}

// The first error's message, as the report gives it.
inline std::string firstError(VXCTXT* pctxt)
{
   char buf[512];
   if (rtxErrGetErrorCnt(pctxt) == 0) return "";
   rtxErrGetMsgTextBuf(pctxt, buf, sizeof buf);
   std::string s(buf);
   size_t nl = s.find('\n');
   return nl == std::string::npos ? s : s.substr(0, nl);
}

struct EventLogOptions {
   uint32_t wsMode = 0;
   bool positions = false;  // the source position behind each event
   int maxEvents = 200;
};

// One line per event: start tags "<name" (with "/" when empty), end tags
// "</name", data in quotes with "*" for the last chunk, "DOC", "END",
// comments, "PI", "DOCTYPE"; a failure as "ERR status: message".
inline std::string eventLog(XmlReader* r, int first, const EventLogOptions& o)
{
   std::string log;
   int ev = first;
   for (int i = 0; i < o.maxEvents; i++) {
      const uint8_t* name;
      size_t len;
      switch (ev) {
         case XMLRD_STARTDOC:
            log += "DOC";
            break;
         case XMLRD_STARTTAG:
            rtXmlRdGetTagName(r, &name, &len, nullptr);
            log += "<" + printable(name, len) + (r->emptyElement ? "/" : "");
            break;
         case XMLRD_ENDTAG:
            rtXmlRdGetTagName(r, &name, &len, nullptr);
            log += "</" + printable(name, len);
            break;
         case XMLRD_DATA:
            log += "'" + printable(r->contentPtr, r->contentLen) + "'" + (r->lastChunk ? "*" : "");
            break;
         case XMLRD_ENDDOC:
            log += "END";
            break;
         case XMLRD_COMMENT:
            log += "!--" + printable(r->contentPtr, r->contentLen);
            break;
         case XMLRD_PI:
            log += "PI";
            break;
         case XMLRD_DOCTYPE:
            log += "DOCTYPE";
            break;
         default:
            log += "ERR " + std::to_string(ev) + ": " + firstError(r->mpCtxt);
            return log;
      }
      if (ev != XMLRD_STARTDOC && ev != XMLRD_ENDDOC && ev != XMLRD_PI && ev != XMLRD_DOCTYPE &&
          ev != XMLRD_COMMENT)
         log += "@" + std::to_string(r->lastEventLevel);
      if (o.positions) {
         uint32_t line, col, bytes;
         rtXmlRdGetSourcePosition(r, &line, &col, &bytes, false);
         log += " [" + std::to_string(line) + ":" + std::to_string(col) + "/" +
                std::to_string(bytes) + "]";
      }
      if (ev == XMLRD_ENDDOC) return log;
      log += " ";
      ev = rtXmlRdNext(r);
   }
   return log;
}

// The reader over one context; the first event was taken at creation.
inline std::string readWith(VXCTXT* pctxt, const EventLogOptions& o, XmlReader** keep = nullptr)
{
   XmlReader* r = rtXmlRdCreateXmlReader(pctxt);
   if (r == nullptr) return "NULL " + firstError(pctxt);
   r->wsMode = o.wsMode;
   int first = rtxErrGetErrorCnt(pctxt) > 0 ? rtxErrGetLastError(pctxt) : (int)r->lastEvent;
   std::string log = eventLog(r, first, o);
   if (keep != nullptr)
      *keep = r;
   else
      rtXmlpFreeReader(pctxt, r);
   return log;
}

// Runs `fn` over the text in place, through the reader's buffer and byte
// by byte, expects the three results to agree and returns the first.
template <typename Fn>
std::string threeWays(const std::string& text, Fn fn) {
   std::string logs[3];
   {
      InPlacePair pair(text, 0);
      logs[0] = fn(&pair.fast);
      logs[1] = fn(&pair.bytewise);
   }
   {
      InPlacePair pair(text, 0);
      memoryRead() = pair.bytewise.pStream->read;
      pair.bytewise.pStream->read = readOneByte;
      logs[2] = fn(&pair.bytewise);
   }
   EXPECT_EQ(logs[0], logs[1]) << "through the buffer: " << printable((const uint8_t*)text.data(), text.size());
   EXPECT_EQ(logs[0], logs[2]) << "byte by byte: " << printable((const uint8_t*)text.data(), text.size());
   return logs[0];
}

// The log of the in-place reading, after checking that the two buffered
// readings give the same, positions and messages included.
inline std::string readXml(const std::string& text, uint32_t wsMode = 0)
{
   EventLogOptions o;
   o.wsMode = wsMode;
   o.positions = true;
   threeWays(text, [&](VXCTXT* p) { return readWith(p, o); });
   o.positions = false;
   InPlacePair pair(text, 0);
   return readWith(&pair.fast, o);
}

}  // namespace xmltest

#endif
