// The exported transcoding functions: one-line forwarders into to_text and
// from_text, one pair per message and text format.
#include "itscodec.h"

#include "CAM-PDU-Descriptions.h"
#include "DENM-PDU-Descriptions.h"
#include "IVIM-PDU-Descriptions.h"
#include "MAPEM-PDU-Descriptions.h"
#include "SPATEM-PDU-Descriptions.h"
#include "SREM-PDU-Descriptions.h"
#include "SSEM-PDU-Descriptions.h"
#include "VXJSONBuffers.h"
#include "transcode.h"

#define ITSCODEC_JSON_EXPORTS(MSG)                                                             \
   template VX_EXPORT int to_text<ASN1T_##MSG, Vexil_##MSG, VXJSONEncodeBuffer>(               \
      char const*, unsigned long, char**, char**, bool);                                       \
   template VX_EXPORT int from_text<ASN1T_##MSG, Vexil_##MSG, VXJSONDecodeBuffer>(             \
      char const*, char**, unsigned long*, char**, bool);                                      \
   extern "C" int etsi_##MSG##_to_json(const char* encoded, unsigned long encodedLen,          \
                                       char** text, char** errorText, bool verbose) {          \
      return to_text<ASN1T_##MSG, Vexil_##MSG, VXJSONEncodeBuffer>(encoded, encodedLen, text,  \
                                                                   errorText, (uint8_t)verbose); \
   }                                                                                           \
   extern "C" int etsi_##MSG##_from_json(const char* text, char** encoded,                     \
                                         unsigned long* encodedLen, char** errorText,          \
                                         bool verbose) {                                       \
      return from_text<ASN1T_##MSG, Vexil_##MSG, VXJSONDecodeBuffer>(                          \
         text, encoded, encodedLen, errorText, (uint8_t)verbose);                              \
   }

ITSCODEC_JSON_EXPORTS(CAM)
ITSCODEC_JSON_EXPORTS(DENM)
ITSCODEC_JSON_EXPORTS(SPATEM)
ITSCODEC_JSON_EXPORTS(MAPEM)
ITSCODEC_JSON_EXPORTS(IVIM)
ITSCODEC_JSON_EXPORTS(SREM)
ITSCODEC_JSON_EXPORTS(SSEM)

// A single scalar delete, although every array handed out came from
// operator new[]: callers release everything through this one function and
// a null pointer is harmless. (AddressSanitizer reports the new[]/delete
// pairing; the export tests run with that one check switched off.)
extern "C" void etsi_delete_array(void* p) { ::operator delete(p); }
