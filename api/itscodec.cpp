// The exported transcoding functions: one-line forwarders into to_text and
// from_text, one pair per message and text format.
#include "itscodec.h"

#include "VXJSONBuffers.h"
#include "VXXMLBuffers.h"
#include "itsgen_all.h"
#include "transcode.h"

#define ITSCODEC_JSON_EXPORTS(MSG, ID, MEMBER)                                                     \
   template VX_EXPORT int to_text<ASN1T_##MSG, Vexil_##MSG, VXJSONEncodeBuffer>(                   \
      char const*, unsigned long, char**, char**, bool);                                           \
   template VX_EXPORT int from_text<ASN1T_##MSG, Vexil_##MSG, VXJSONDecodeBuffer>(                 \
      char const*, char**, unsigned long*, char**, bool);                                          \
   extern "C" int etsi_##MSG##_to_json(const char* encoded, unsigned long encodedLen, char** text, \
                                       char** errorText, bool verbose)                             \
   {                                                                                               \
      return to_text<ASN1T_##MSG, Vexil_##MSG, VXJSONEncodeBuffer>(encoded, encodedLen, text,      \
                                                                   errorText, (uint8_t)verbose);   \
   }                                                                                               \
   extern "C" int etsi_##MSG##_from_json(                                                          \
      const char* text, char** encoded, unsigned long* encodedLen, char** errorText, bool verbose) \
   {                                                                                               \
      return from_text<ASN1T_##MSG, Vexil_##MSG, VXJSONDecodeBuffer>(text, encoded, encodedLen,    \
                                                                     errorText, (uint8_t)verbose); \
   }

ITSCODEC_MESSAGES(ITSCODEC_JSON_EXPORTS)

#define ITSCODEC_XML_TO_EXPORTS(MSG, ID, MEMBER)                                                  \
   template VX_EXPORT int to_text<ASN1T_##MSG, Vexil_##MSG, VXXMLEncodeBuffer>(                   \
      char const*, unsigned long, char**, char**, bool);                                          \
   extern "C" int etsi_##MSG##_to_xml(const char* encoded, unsigned long encodedLen, char** text, \
                                      char** errorText, bool verbose)                             \
   {                                                                                              \
      return to_text<ASN1T_##MSG, Vexil_##MSG, VXXMLEncodeBuffer>(encoded, encodedLen, text,      \
                                                                  errorText, (uint8_t)verbose);   \
   }

ITSCODEC_MESSAGES(ITSCODEC_XML_TO_EXPORTS)
#define ITSCODEC_XML_READ_EXPORTS(MSG, ID, MEMBER)                                                 \
   template VX_EXPORT int from_text<ASN1T_##MSG, Vexil_##MSG, VXXMLDecodeBuffer>(                  \
      char const*, char**, unsigned long*, char**, bool);                                          \
   extern "C" int etsi_##MSG##_from_xml(const char* text, char** encoded,                          \
                                        unsigned long* encodedLen, char** errorText, bool verbose) \
   {                                                                                               \
      return from_text<ASN1T_##MSG, Vexil_##MSG, VXXMLDecodeBuffer>(text, encoded, encodedLen,     \
                                                                    errorText, (uint8_t)verbose);  \
   }

ITSCODEC_MESSAGES(ITSCODEC_XML_READ_EXPORTS)

// A single scalar delete, although every array handed out came from
// operator new[]: callers release everything through this one function and
// a null pointer is harmless. (AddressSanitizer reports the new[]/delete
// pairing; the export tests run with that one check switched off.)
extern "C" void etsi_delete_array(void* p) { ::operator delete(p); }
