// Runs a decoding body over an XML text three ways: in place over a memory
// stream, through the reader's own buffer, and through that buffer one byte
// per stream read. The body writes down what it decodes; the three logs,
// the final status and the first error must agree.
#ifndef XML_DECODE_FIXTURE_H
#define XML_DECODE_FIXTURE_H

#include <functional>
#include <string>

#include "rtXmlDec.h"
#include "xml_reader_fixture.h"

namespace xmltest {

using DecodeBody = std::function<std::string(VXCTXT*)>;

inline std::string decodeWith(VXCTXT* pctxt, const DecodeBody& body)
{
   if (rtXmlInitCtxtAppInfo(pctxt) != 0) return "NOINFO";
   std::string log;
   int stat = rtXmlpCreateReader(pctxt);
   if (stat == 0) log = body(pctxt);
   int final = rtxErrGetStatus(pctxt);
   log += " => " + std::to_string(stat != 0 ? stat : final);
   if (rtxErrGetErrorCnt(pctxt) > 0) log += " " + firstError(pctxt);
   return log;
}

inline std::string decodeXml(const std::string& text, const DecodeBody& body)
{
   return threeWays(text, [&](VXCTXT* p) { return decodeWith(p, body); });
}

}  // namespace xmltest

#endif
