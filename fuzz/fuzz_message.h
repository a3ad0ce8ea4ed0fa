// One fuzz target per message: the first input byte picks the path, the
// rest is the input of that path.
//   0: UPER bytes into asn1PD_<MSG> through the control class; the heap
//      must stay consistent and a decoded message must encode again (or
//      fail with the status of a value outside the root);
//   1: UPER bytes into etsi_<MSG>_to_json;
//   2: JSON text into etsi_<MSG>_from_json.
// The exports must give 0 with their output set and no report, or a
// failure status with a report and no output.
#ifndef FUZZ_MESSAGE_H
#define FUZZ_MESSAGE_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include "asn1PerCppTypes.h"
#include "itscodec.h"
#include "rtxErrCodes.h"
#include "rtxMemory.h"

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
   if (stat == 0 ? (out == nullptr || errorText != nullptr) : (!isFailure(stat) || out != nullptr || errorText == nullptr))
      abort();
}

inline void fuzzToJson(ToJsonFn toJson, const uint8_t* data, size_t size)
{
   char* text = nullptr;
   char* errorText = nullptr;
   int stat = toJson((const char*)data, (unsigned long)size, &text, &errorText, false);
   checkOutputs(stat, text, errorText);
   etsi_delete_array(text);
   etsi_delete_array(errorText);
}

inline void fuzzFromJson(FromJsonFn fromJson, const uint8_t* data, size_t size)
{
   std::string text((const char*)data, size);  // NUL-terminated copy
   char* encoded = nullptr;
   unsigned long encodedLen = 0;
   char* errorText = nullptr;
   int stat = fromJson(text.c_str(), &encoded, &encodedLen, &errorText, false);
   checkOutputs(stat, encoded, errorText);
   if (stat != 0 && encodedLen != 0) abort();
   etsi_delete_array(encoded);
   etsi_delete_array(errorText);
}

template <typename Rec, typename Ctl>
int fuzzMessage(ToJsonFn toJson, FromJsonFn fromJson, const uint8_t* data, size_t size)
{
   if (size == 0) return 0;
   switch (data[0] % 3) {
   case 0: fuzzUperDecoder<Rec, Ctl>(data + 1, size - 1); break;
   case 1: fuzzToJson(toJson, data + 1, size - 1); break;
   default: fuzzFromJson(fromJson, data + 1, size - 1); break;
   }
   return 0;
}

#define FUZZ_MESSAGE_TARGET(MSG)                                                             \
   extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)                   \
   {                                                                                         \
      return fuzzMessage<ASN1T_##MSG, Vexil_##MSG>(etsi_##MSG##_to_json, etsi_##MSG##_from_json, \
                                                   data, size);                              \
   }

#endif
