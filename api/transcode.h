// The two generic procedures behind the exported functions: UPER bytes to
// text (to_text) and text to UPER bytes (from_text), templates over the
// message record, its control class and the text buffer class. Each call
// builds everything on its own stack, copies the result (or the report of
// the failing side's context) into operator new[] memory, and destroys its
// objects in reverse order of construction.
#ifndef ITSCODEC_TRANSCODE_H
#define ITSCODEC_TRANSCODE_H

#include <cstring>

#include "VXRTStream.h"
#include "asn1PerCppTypes.h"
#include "rtxError.h"
#include "rtxMemory.h"

namespace itscodec_detail {

// The report of a context as a caller-owned, NUL-terminated copy. A status
// returned bare leaves the error list empty: the report is then "".
inline char* copyReport(VXCTXT* pctxt)
{
   char* heapText = rtxErrGetText(pctxt, nullptr, nullptr);
   size_t n = strlen(heapText);
   char* out = new char[n + 1];
   strcpy(out, heapText);
   rtxMemFreePtr(pctxt, heapText);
   return out;
}

// The report of a failed step: the records of the context the step ran
// on, or, when that one holds none but the status came from records that
// an earlier step left behind (a decode that succeeded after reading past
// the end of a BOOLEAN, whose -2 then stands as the control object's
// status), those records. A status returned bare finds neither: "".
inline char* copyReportOf(VXCTXT* pctxt, VXCTXT* earlier)
{
   if (pctxt->errInfo.count == 0 && earlier != nullptr && earlier->errInfo.count != 0)
      return copyReport(earlier);
   return copyReport(pctxt);
}

}  // namespace itscodec_detail

template <class Record, class Control, class Buffer>
VX_EXPORT int to_text(char const* encoded, unsigned long encodedLen, char** text, char** errorText,
                      bool verbose)
{
   int stat = 0;
   *text = nullptr;
   *errorText = nullptr;
   ASN1PERDecodeBuffer decodeBuffer((const uint8_t*)encoded, encodedLen, 0);
   Record record;
   Control control(decodeBuffer, record);
   Buffer textBuffer;
   if (verbose) {
      decodeBuffer.setTrace(1);
      decodeBuffer.setDiag(1);
   }
   stat = control.Decode(0);
   if (verbose) decodeBuffer.binDump("data");  // also after a failure: shows what was read
   if (stat != 0) {
      *errorText = itscodec_detail::copyReport(control.getCtxtPtr());
      return stat;
   }
   stat = control.EncodeTo(textBuffer);
   if (stat != 0) {
      *errorText = itscodec_detail::copyReportOf(textBuffer.getCtxtPtr(), control.getCtxtPtr());
      return stat;
   }
   size_t n = textBuffer.getMsgLen();
   char* out = new char[n + 1];
   memcpy(out, textBuffer.getMsgPtr(), n);
   out[n] = 0;
   *text = out;
   return 0;
}

template <class Record, class Control, class Buffer>
VX_EXPORT int from_text(char const* text, char** encoded, unsigned long* encodedLen,
                        char** errorText, bool verbose)
{
   Record record;
   Control control(record);
   int stat = 0;
   *encoded = nullptr;
   *encodedLen = 0;
   *errorText = nullptr;
   ASN1PEREncodeBuffer encodeBuffer(0);
   if (verbose) {
      encodeBuffer.setTrace(1);
      encodeBuffer.setDiag(1);
   }
   size_t length = strlen(text);
   VXRTMemoryInputStream stream((const uint8_t*)text, length);  // reads the caller's text in place
   Buffer decodeBuffer(stream);
   stat = control.DecodeFrom(decodeBuffer, 0);
   if (stat != 0) {
      *errorText = itscodec_detail::copyReport(decodeBuffer.getCtxtPtr());
      return stat;
   }
   stat = control.EncodeTo(encodeBuffer);
   if (verbose) encodeBuffer.binDump("data");
   if (stat != 0) {
      *errorText = itscodec_detail::copyReportOf(encodeBuffer.getCtxtPtr(), control.getCtxtPtr());
      return stat;
   }
   size_t n = encodeBuffer.getMsgLen();
   char* out = new char[n];
   memcpy(out, encodeBuffer.getMsgPtr(), n);
   *encoded = out;
   *encodedLen = n;
   return 0;
}

#endif
