// One fuzz target per message: the first input byte picks the path, the
// rest is the input of that path.
//   0: UPER bytes into asn1PD_<MSG> through the control class; the heap
//      must stay consistent and a decoded message must encode again (or
//      fail with the status of a value outside the root);
//   1: UPER bytes into etsi_<MSG>_to_json;
//   2: JSON text into etsi_<MSG>_from_json, and into asn1JsonDec_<MSG>
//      twice, in place and byte by byte;
//   3: UPER bytes into etsi_<MSG>_to_xml;
//   4: XML text into etsi_<MSG>_from_xml, and through the control class
//      twice, in place and byte by byte.
// Text written by _to_json must be strict JSON with no duplicate key, text
// written by _to_xml a well-formed document that _from_xml reads, and
// bytes made by either _from_ function must convert back. A failure other than the
// bare ones must come with a report.
// The exports must give 0 with their output set and no report, or a
// failure status with a report and no output. The readers take text in
// place only when they can leave what reading byte by byte leaves; the
// second reading of path 2 checks that they do.
#ifndef FUZZ_MESSAGE_H
#define FUZZ_MESSAGE_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "VXJSONBuffers.h"
#include "VXRTStream.h"
#include "VXXMLBuffers.h"
#include "asn1PerCppTypes.h"
#include "itscodec.h"
#include "rtxErrCodes.h"
#include "rtxMemBuf.h"
#include "rtxMemory.h"
#include "rtxStream.h"
#include "strict_json.h"

// etsi_delete_array releases new[] arrays with a scalar delete by design;
// the sanitizer's pairing check would stop every run at the first output.
extern "C" const char* __asan_default_options() { return "alloc_dealloc_mismatch=0"; }

typedef int (*ToJsonFn)(const char*, unsigned long, char**, char**, bool);
typedef int (*FromJsonFn)(const char*, char**, unsigned long*, char**, bool);

inline bool isFailure(int stat) { return stat < 0 || stat == 2; }

template <typename Rec, typename Ctl>
void fuzzUperDecoder(const uint8_t* data, size_t size)
{
   ASN1PERDecodeBuffer in(data, size, false);
   Rec rec;
   Ctl decoder(in, rec);
   int stat = decoder.DecodeFrom(in);
   if (stat != 0 && !isFailure(stat)) abort();
   if (rtxMemHeapCheckQuiet(&in.getCtxtPtr()->pMemHeap) != 0) abort();
   if (stat != 0) return;  // a failed move leaves the cursor where it failed, maybe past the end
   if (in.getCtxtPtr()->buffer.byteIndex > size) abort();
   ASN1PEREncodeBuffer out(false);
   Ctl encoder(out, rec);
   stat = encoder.EncodeTo(out);
   // Refusals by rule: an enumeration outside the root (-4), a size the
   // encoder tests (-16), and an unknown alternative index above 0xFFFFFF,
   // which the decoder accepts but no encoder writes (-60).
   if (stat != 0 && stat != RTERR_INVENUM && stat != RTERR_CONSVIO && stat != RTERR_NOTSUPP) {
      fprintf(stderr, "re-encoding a decoded message: status %d\n", stat);
      abort();
   }
   if (rtxMemHeapCheckQuiet(&out.getCtxtPtr()->pMemHeap) != 0) abort();
}

inline void checkOutputs(int stat, const void* out, const char* errorText)
{
   if (stat == 0 ? (out == nullptr || errorText != nullptr)
                 : (!isFailure(stat) || out != nullptr || errorText == nullptr))
      abort();
}

// Failures that are returned bare by rule and so come with an empty report:
// a value or size out of range (-16), an enumeration or alternative the
// writer does not know (-4, -9) and a fragmented length (2).
inline bool isBareByRule(int stat)
{
   return stat == RTERR_CONSVIO || stat == RTERR_INVENUM || stat == RTERR_INVOPT || stat == 2;
}

inline void fuzzToJson(ToJsonFn toJson, const uint8_t* data, size_t size)
{
   char* text = nullptr;
   char* errorText = nullptr;
   int stat = toJson((const char*)data, (unsigned long)size, &text, &errorText, false);
   checkOutputs(stat, text, errorText);
   // Whatever the wire holds, the text is strict JSON with no key twice in
   // an object (control bytes in strings, which the writer keeps, aside).
   if (stat == 0) {
      std::string problem = strictjson::checkStrictJson(text, true);
      if (!problem.empty()) {
         fprintf(stderr, "to_json wrote text that is not strict JSON: %s\n%s\n", problem.c_str(),
                 text);
         abort();
      }
   }
   if (stat != 0 && !isBareByRule(stat) && errorText[0] == 0) {
      fprintf(stderr, "to_json failed with %d and an empty report\n", stat);
      abort();
   }
   etsi_delete_array(text);
   etsi_delete_array(errorText);
}

// Text of either form (`what` names it) into its export.
inline void fuzzFromText(const char* what, FromJsonFn fromText, ToJsonFn toText,
                         const uint8_t* data, size_t size)
{
   std::string text((const char*)data, size);  // NUL-terminated copy
   char* encoded = nullptr;
   unsigned long encodedLen = 0;
   char* errorText = nullptr;
   int stat = fromText(text.c_str(), &encoded, &encodedLen, &errorText, false);
   checkOutputs(stat, encoded, errorText);
   if (stat != 0 && encodedLen != 0) abort();
   if (stat != 0 && !isBareByRule(stat) && errorText[0] == 0) {
      fprintf(stderr, "from_%s failed with %d and an empty report\n", what, stat);
      abort();
   }
   // What was accepted converts back, unless it may hold a string or a
   // regional value of 16384 octets or more, which the UPER decoder refuses
   // by rule (only a text at least that long can).
   if (stat == 0 && size < 16384) {
      char* back = nullptr;
      char* backError = nullptr;
      int backStat = toText(encoded, encodedLen, &back, &backError, false);
      if (backStat != 0) {
         fprintf(stderr, "from_%s result does not convert back: %d\n%s\n", what, backStat,
                 backError);
         abort();
      }
      etsi_delete_array(back);
      etsi_delete_array(backError);
   }
   etsi_delete_array(encoded);
   etsi_delete_array(errorText);
}

// The text read by the message's JSON decoder through a memory stream on
// two contexts, the second with a capture buffer, which keeps it off every
// in-place path. Status, cursor, last byte, the stream's counts, the error
// count and, after success, the records written back as JSON must agree.
template <typename Rec>
void fuzzInPlaceReading(int (*dec)(VXCTXT*, Rec*), int (*enc)(VXCTXT*, const Rec*),
                        const std::string& text)
{
   if (text.empty()) return;  // a memory stream needs bytes
   VXCTXT ctx[2];
   VXRTMEMBUF cap;
   for (VXCTXT& c : ctx) {
      if (rtInitContext(&c) != 0) abort();
      if (rtxStreamMemoryAttach(&c, (const uint8_t*)text.data(), text.size(), VXRT_STREAM_INPUT) !=
             0 ||
          rtxStreamMark(&c, text.size() + 1) != 0)
         abort();
   }
   rtxMemBufInit(&ctx[1], &cap, 0);
   if (rtxStreamSetCapture(&ctx[1], &cap) != 0) abort();
   {
      Rec rec[2];
      int stat[2];
      for (int k = 0; k < 2; k++) stat[k] = dec(&ctx[k], &rec[k]);
      const VXCTXT &a = ctx[0], &b = ctx[1];
      if (stat[0] != stat[1] || a.buffer.byteIndex != b.buffer.byteIndex ||
          a.lastChar != b.lastChar || a.pStream->ioBytes != b.pStream->ioBytes ||
          a.pStream->bytesProcessed != b.pStream->bytesProcessed ||
          a.pStream->readAheadCount != b.pStream->readAheadCount ||
          rtxErrGetErrorCnt(&ctx[0]) != rtxErrGetErrorCnt(&ctx[1])) {
         fprintf(stderr, "in place and byte by byte differ: status %d/%d, cursor %llu/%llu\n",
                 stat[0], stat[1], (unsigned long long)a.buffer.byteIndex,
                 (unsigned long long)b.buffer.byteIndex);
         abort();
      }
      if (stat[0] == 0) {
         std::string written[2];
         for (int k = 0; k < 2; k++) {
            VXJSONEncodeBuffer out;
            int s = enc(out.getCtxtPtr(), &rec[k]);
            written[k] = std::to_string(s) + ":" + (s == 0 ? (const char*)out.getMsgPtr() : "");
         }
         if (written[0] != written[1]) {
            fprintf(stderr, "in place and byte by byte read different records\n");
            abort();
         }
      }
   }
   rtxMemBufFree(&cap);
   for (VXCTXT& c : ctx) rtFreeContext(&c);
}

inline void fuzzToXml(ToJsonFn toXml, FromJsonFn fromXml, const uint8_t* data, size_t size)
{
   char* text = nullptr;
   char* errorText = nullptr;
   int stat = toXml((const char*)data, (unsigned long)size, &text, &errorText, false);
   checkOutputs(stat, text, errorText);
   if (stat != 0 && !isBareByRule(stat) && errorText[0] == 0) {
      fprintf(stderr, "to_xml failed with %d and an empty report\n", stat);
      abort();
   }
   // Whatever the wire holds, the text is a document the reader takes.
   if (stat == 0) {
      VXXMLDecodeBuffer check((const uint8_t*)text, strlen(text));
      if (!check.isWellFormed()) {
         fprintf(stderr, "to_xml wrote text that is not well-formed:\n%s\n", text);
         abort();
      }
      char* back = nullptr;
      unsigned long backLen = 0;
      char* backError = nullptr;
      int backStat = fromXml(text, &back, &backLen, &backError, false);
      if (backStat != 0 && !isBareByRule(backStat)) {
         fprintf(stderr, "to_xml text does not read back: %d\n%s\n%s\n", backStat, backError, text);
         abort();
      }
      etsi_delete_array(back);
      etsi_delete_array(backError);
   }
   etsi_delete_array(text);
   etsi_delete_array(errorText);
}

// The XML text decoded through the control class on two memory streams,
// the second with a capture buffer, which keeps the reader off its in-place
// path: status, error count and the records written back must agree.
template <typename Rec, typename Ctl>
void fuzzXmlInPlaceReading(const std::string& text)
{
   if (text.empty()) return;
   std::string written[2];
   for (int k = 0; k < 2; k++) {
      VXRTMemoryInputStream stream((const uint8_t*)text.data(), text.size());
      VXCTXT* pctxt = stream.getCtxtPtr();
      VXRTMEMBUF cap;
      rtxMemBufInit(pctxt, &cap, 0);
      if (k == 1 && rtxStreamSetCapture(pctxt, &cap) != 0) abort();
      {
         VXXMLDecodeBuffer in(stream);
         Rec rec;
         Ctl control(rec);
         int stat = control.DecodeFrom(in, 0);
         written[k] = std::to_string(stat) + "/" + std::to_string(rtxErrGetErrorCnt(pctxt));
         if (stat == 0) {
            VXXMLEncodeBuffer out;
            int s = control.EncodeTo(out);
            written[k] += ":" + std::to_string(s) + ":" +
                          (s == 0 ? std::string((const char*)out.getMsgPtr(), out.getMsgLen())
                                  : std::string());
         }
      }
      rtxMemBufFree(&cap);
   }
   if (written[0] != written[1]) {
      fprintf(stderr, "XML in place and byte by byte differ:\n%s\n%s\n", written[0].c_str(),
              written[1].c_str());
      abort();
   }
}

template <typename Rec, typename Ctl>
int fuzzMessage(ToJsonFn toJson, FromJsonFn fromJson, ToJsonFn toXml, FromJsonFn fromXml,
                int (*dec)(VXCTXT*, Rec*), int (*enc)(VXCTXT*, const Rec*), const uint8_t* data,
                size_t size)
{
   if (size == 0) return 0;
   switch (data[0] % 5) {
      case 0:
         fuzzUperDecoder<Rec, Ctl>(data + 1, size - 1);
         break;
      case 1:
         fuzzToJson(toJson, data + 1, size - 1);
         break;
      case 2:
         fuzzFromText("json", fromJson, toJson, data + 1, size - 1);
         fuzzInPlaceReading(dec, enc, std::string((const char*)data + 1, size - 1));
         break;
      case 3:
         fuzzToXml(toXml, fromXml, data + 1, size - 1);
         break;
      default:
         fuzzFromText("xml", fromXml, toXml, data + 1, size - 1);
         fuzzXmlInPlaceReading<Rec, Ctl>(std::string((const char*)data + 1, size - 1));
         break;
   }
   return 0;
}

#define FUZZ_MESSAGE_TARGET(MSG)                                                                   \
   extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)                         \
   {                                                                                               \
      return fuzzMessage<ASN1T_##MSG, Vexil_##MSG>(                                                \
         etsi_##MSG##_to_json, etsi_##MSG##_from_json, etsi_##MSG##_to_xml, etsi_##MSG##_from_xml, \
         asn1JsonDec_##MSG, asn1JsonEnc_##MSG, data, size);                                        \
   }

#endif
